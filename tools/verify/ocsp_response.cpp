// OpenSSL's type names clash with the platform's, so this file sees only
// OpenSSL.
#include "tools/verify/ocsp_response.h"

#include <algorithm>
#include <memory>

#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/ocsp.h>

namespace verify_tool {
namespace {

struct ResponseFree {
    void operator()(OCSP_RESPONSE* response) const { OCSP_RESPONSE_free(response); }
};
struct BasicFree {
    void operator()(OCSP_BASICRESP* basic) const { OCSP_BASICRESP_free(basic); }
};
struct BignumFree {
    void operator()(BIGNUM* n) const { BN_free(n); }
};

std::unique_ptr<OCSP_RESPONSE, ResponseFree> parse(const unsigned char* der, size_t size) {
    const unsigned char* p = der;
    std::unique_ptr<OCSP_RESPONSE, ResponseFree> response(d2i_OCSP_RESPONSE(nullptr, &p, static_cast<long>(size)));
    if (response && p != der + size) response.reset();
    ERR_clear_error();
    return response;
}

std::vector<unsigned char> magnitude(const ASN1_INTEGER* serial) {
    const std::unique_ptr<BIGNUM, BignumFree> n(ASN1_INTEGER_to_BN(serial, nullptr));
    if (!n) return {};
    std::vector<unsigned char> bytes(static_cast<size_t>(BN_num_bytes(n.get())));
    BN_bn2bin(n.get(), bytes.data());
    return bytes;
}

}  // namespace

bool is_ocsp_response(const std::vector<unsigned char>& der) {
    return !der.empty() && parse(der.data(), der.size()) != nullptr;
}

std::optional<int> ocsp_revocation_reason(const unsigned char* der, size_t size,
                                          const std::vector<unsigned char>& serial) {
    const auto response = parse(der, size);
    if (!response || OCSP_response_status(response.get()) != OCSP_RESPONSE_STATUS_SUCCESSFUL) return std::nullopt;
    const std::unique_ptr<OCSP_BASICRESP, BasicFree> basic(OCSP_response_get1_basic(response.get()));
    ERR_clear_error();
    if (!basic) return std::nullopt;

    std::vector<unsigned char> wanted(serial);
    wanted.erase(wanted.begin(), std::find_if(wanted.begin(), wanted.end(), [](unsigned char b) { return b != 0; }));
    for (int i = 0; i < OCSP_resp_count(basic.get()); ++i) {
        OCSP_SINGLERESP* single = OCSP_resp_get0(basic.get(), i);
        ASN1_INTEGER* id_serial = nullptr;
        // OpenSSL 3 hands the id out const but takes it non-const here.
        auto* id = const_cast<OCSP_CERTID*>(OCSP_SINGLERESP_get0_id(single));
        if (OCSP_id_get0_info(nullptr, nullptr, nullptr, &id_serial, id) == 0 || magnitude(id_serial) != wanted)
            continue;
        int reason = OCSP_REVOKED_STATUS_NOSTATUS;
        if (OCSP_single_get0_status(single, &reason, nullptr, nullptr, nullptr) != V_OCSP_CERTSTATUS_REVOKED) continue;
        if (reason == OCSP_REVOKED_STATUS_NOSTATUS) return std::nullopt;
        return reason;
    }
    return std::nullopt;
}

}  // namespace verify_tool
