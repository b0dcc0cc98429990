#include "nimbole/public_key_copy.h"

#include <cstdlib>
#include <cstring>

namespace halden::nimbole {
namespace {

// A malloc copy of n bytes; null for n == 0 and on failure (told apart by
// the caller through n).
BYTE* copy_bytes(const BYTE* p, DWORD n) {
    if (n == 0 || p == nullptr) return nullptr;
    auto* out = static_cast<BYTE*>(std::malloc(n));
    if (out != nullptr) std::memcpy(out, p, n);
    return out;
}

}  // namespace

bool copy_key_info(CERT_PUBLIC_KEY_INFO* to, const CERT_PUBLIC_KEY_INFO* from) {
    if (to == nullptr) return false;
    *to = CERT_PUBLIC_KEY_INFO{};
    if (from == nullptr) return false;

    CERT_PUBLIC_KEY_INFO copy{};
    bool ok = true;
    if (from->Algorithm.pszObjId != nullptr) {
        const size_t n = std::strlen(from->Algorithm.pszObjId) + 1;
        copy.Algorithm.pszObjId = static_cast<LPSTR>(std::malloc(n));
        if (copy.Algorithm.pszObjId != nullptr) std::memcpy(copy.Algorithm.pszObjId, from->Algorithm.pszObjId, n);
        ok = copy.Algorithm.pszObjId != nullptr;
    }
    const CRYPT_OBJID_BLOB& parameters = from->Algorithm.Parameters;
    copy.Algorithm.Parameters.pbData = copy_bytes(parameters.pbData, parameters.cbData);
    copy.Algorithm.Parameters.cbData = copy.Algorithm.Parameters.pbData ? parameters.cbData : 0;
    ok = ok && (parameters.cbData == 0 || parameters.pbData == nullptr || copy.Algorithm.Parameters.pbData);

    const CRYPT_BIT_BLOB& bits = from->PublicKey;
    copy.PublicKey.pbData = copy_bytes(bits.pbData, bits.cbData);
    copy.PublicKey.cbData = copy.PublicKey.pbData ? bits.cbData : 0;
    copy.PublicKey.cUnusedBits = bits.cUnusedBits;
    ok = ok && (bits.cbData == 0 || bits.pbData == nullptr || copy.PublicKey.pbData);

    if (!ok) {
        free_key_info(&copy);
        return false;
    }
    *to = copy;
    return true;
}

void free_key_info(CERT_PUBLIC_KEY_INFO* key) noexcept {
    if (key == nullptr) return;
    std::free(key->Algorithm.pszObjId);
    std::free(key->Algorithm.Parameters.pbData);
    std::free(key->PublicKey.pbData);
    *key = CERT_PUBLIC_KEY_INFO{};
}

bool same_public_key(const CERT_PUBLIC_KEY_INFO& a, const CERT_PUBLIC_KEY_INFO& b) {
    return CertComparePublicKeyInfo(X509_ASN_ENCODING, const_cast<CERT_PUBLIC_KEY_INFO*>(&a),
                                    const_cast<CERT_PUBLIC_KEY_INFO*>(&b)) != FALSE;
}

}  // namespace halden::nimbole
