// OpenSSL's type names clash with the platform's, so this file sees only
// OpenSSL.
#include "tests/tools/ocsp_fixture.h"

#include <memory>
#include <stdexcept>

#include <openssl/ocsp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace ocsp_fixture {
namespace {

using test_pki::Bytes;

template <typename T, void (*Free)(T*)>
using Owned = std::unique_ptr<T, std::integral_constant<decltype(Free), Free>>;

Owned<X509, X509_free> x509(const Bytes& der) {
    const unsigned char* p = der.data();
    Owned<X509, X509_free> cert(d2i_X509(nullptr, &p, static_cast<long>(der.size())));
    if (!cert) throw std::runtime_error("not a certificate");
    return cert;
}

std::string text_of(BIO* bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return std::string(data, static_cast<size_t>(size));
}

}  // namespace

Bytes response(const test_pki::Identity& ca, const Bytes& ca_cert, const Bytes& leaf_cert, Status status,
               int reason) {
    const auto issuer = x509(ca_cert), leaf = x509(leaf_cert);
    Owned<OCSP_BASICRESP, OCSP_BASICRESP_free> basic(OCSP_BASICRESP_new());
    const Owned<ASN1_TIME, ASN1_TIME_free> now(X509_gmtime_adj(nullptr, 0)), later(X509_gmtime_adj(nullptr, 86400));
    OCSP_CERTID* id = OCSP_cert_to_id(EVP_sha1(), leaf.get(), issuer.get());
    const bool revoked = status == Status::revoked;
    OCSP_basic_add1_status(basic.get(), id, revoked ? V_OCSP_CERTSTATUS_REVOKED : V_OCSP_CERTSTATUS_GOOD,
                           revoked ? reason : 0, revoked ? now.get() : nullptr, now.get(), later.get());
    OCSP_CERTID_free(id);
    if (OCSP_basic_sign(basic.get(), issuer.get(), ca.key(), EVP_sha256(), nullptr, 0) != 1)
        throw std::runtime_error("cannot sign the OCSP response");
    Owned<OCSP_RESPONSE, OCSP_RESPONSE_free> whole(OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic.get()));
    unsigned char* out = nullptr;
    const int size = i2d_OCSP_RESPONSE(whole.get(), &out);
    Bytes der(out, out + size);
    OPENSSL_free(out);
    return der;
}

std::string key_pem(const test_pki::Identity& identity) {
    const Owned<BIO, BIO_free_all> bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(bio.get(), identity.key(), nullptr, nullptr, 0, nullptr, nullptr);
    return text_of(bio.get());
}

std::string index_line(const Bytes& cert_der, Status status) {
    const auto cert = x509(cert_der);
    const Owned<BIGNUM, BN_free> serial(ASN1_INTEGER_to_BN(X509_get0_serialNumber(cert.get()), nullptr));
    const std::unique_ptr<char, void (*)(void*)> hex(BN_bn2hex(serial.get()), [](void* p) { OPENSSL_free(p); });
    // The responder finds a line by serial number; the name is not read.
    const bool revoked = status == Status::revoked;
    return std::string(revoked ? "R" : "V") + "\t491231235959Z\t" + (revoked ? "250101000000Z,keyCompromise" : "") +
           "\t" + hex.get() + "\tunknown\t/CN=unused\n";
}

}  // namespace ocsp_fixture
