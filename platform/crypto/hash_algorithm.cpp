#include "platform/crypto/hash_algorithm.h"

#include <maren/oid_info.h>

namespace maren::crypto {

std::optional<DigestKind> hash_of_algid(ALG_ID algid) {
    switch (algid) {
    case CALG_MD5: return DigestKind::md5;
    case CALG_SHA1: return DigestKind::sha1;
    case CALG_SHA_256: return DigestKind::sha256;
    case CALG_SHA_384: return DigestKind::sha384;
    case CALG_SHA_512: return DigestKind::sha512;
    default: return std::nullopt;
    }
}

std::optional<DigestKind> hash_of_oid(const char* oid) {
    if (oid == nullptr) return std::nullopt;
    const CRYPT_OID_INFO* info =
        CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(oid), CRYPT_HASH_ALG_OID_GROUP_ID);
    if (info == nullptr) return std::nullopt;
    return hash_of_algid(info->Algid);
}

}  // namespace maren::crypto
