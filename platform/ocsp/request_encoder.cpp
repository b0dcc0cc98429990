#include <openssl/err.h>
#include <openssl/ocsp.h>
#include <openssl/rand.h>

#include <memory>

#include <maren/errors.h>

#include "platform/ocsp/ocsp_config.h"
#include "platform/ocsp/request_encoder.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

struct RequestFree {
    void operator()(OCSP_REQUEST* request) const { OCSP_REQUEST_free(request); }
};
struct CertIdFree {
    void operator()(OCSP_CERTID* id) const { OCSP_CERTID_free(id); }
};

constexpr int kNonceBytes = 16;

[[noreturn]] void encoding_failed(const char* what) {
    ERR_clear_error();
    OCSP_FAIL(CRYPT_E_BAD_ENCODE, what);
}

}  // namespace

EncodedRequest encode_request(const std::vector<CertIdState>& ids, bool with_nonce) {
    std::unique_ptr<OCSP_REQUEST, RequestFree> request(OCSP_REQUEST_new());
    if (!request) encoding_failed("request");
    for (const CertIdState& id : ids) {
        const Bytes der = id.encode();
        const unsigned char* cursor = der.data();
        std::unique_ptr<OCSP_CERTID, CertIdFree> cid(d2i_OCSP_CERTID(nullptr, &cursor, static_cast<long>(der.size())));
        if (!cid) encoding_failed("certificate identity");
        if (OCSP_request_add0_id(request.get(), cid.get()) == nullptr) encoding_failed("single request");
        static_cast<void>(cid.release());
    }

    EncodedRequest out;
    if (with_nonce) {
        unsigned char nonce[kNonceBytes];
        if (RAND_bytes(nonce, sizeof nonce) != 1 || OCSP_request_add1_nonce(request.get(), nonce, sizeof nonce) != 1)
            encoding_failed("nonce");
        const int at = OCSP_REQUEST_get_ext_by_NID(request.get(), NID_id_pkix_OCSP_Nonce, -1);
        const ASN1_OCTET_STRING* value = at >= 0 ? X509_EXTENSION_get_data(OCSP_REQUEST_get_ext(request.get(), at))
                                                 : nullptr;
        if (value == nullptr) encoding_failed("nonce");
        const unsigned char* data = ASN1_STRING_get0_data(value);
        out.nonce.assign(data, data + ASN1_STRING_length(value));
    }

    unsigned char* der = nullptr;
    const int size = i2d_OCSP_REQUEST(request.get(), &der);
    if (size <= 0) encoding_failed("request");
    out.der.assign(der, der + size);
    OPENSSL_free(der);
    return out;
}

}  // namespace Tarsis::PKI::OCSP::detail
