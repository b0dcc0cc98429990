// CryptFindOIDInfo over maren's static table, and the default signature
// algorithm of a public key algorithm.
#include <cstring>

#include <maren/errors.h>
#include <maren/host.h>
#include <maren/oid_info.h>
#include <maren/oids.h>

#include "platform/crypto/oid_info_table.h"

namespace maren::crypto {
namespace {

bool is_pseudo_algid(ALG_ID algid) { return algid == CALG_OID_INFO_CNG_ONLY || algid == CALG_OID_INFO_PARAMETERS; }

DWORD extra_word(const CRYPT_OID_INFO& info, std::size_t index) {
    if (info.ExtraInfo.pbData == nullptr || info.ExtraInfo.cbData < (index + 1) * sizeof(DWORD)) return 0;
    DWORD word = 0;
    std::memcpy(&word, info.ExtraInfo.pbData + index * sizeof(DWORD), sizeof word);
    return word;
}

// Names compare without regard to ASCII case; other characters exactly.
bool same_name(const wchar_t* a, const wchar_t* b) {
    auto fold = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? wchar_t(c - L'A' + L'a') : c; };
    for (; *a != 0 && *b != 0; ++a, ++b)
        if (fold(*a) != fold(*b)) return false;
    return *a == *b;
}

// The OID key's high bits narrow public key entries to signing or
// encrypting ones.
bool passes_key_flags(const CRYPT_OID_INFO& info, DWORD key_flags) {
    if (info.dwGroupId != CRYPT_PUBKEY_ALG_OID_GROUP_ID) return true;
    const DWORD flags = extra_word(info, 0);
    if ((key_flags & CRYPT_OID_INFO_PUBKEY_SIGN_KEY_FLAG) && (flags & CRYPT_OID_PUBKEY_ENCRYPT_ONLY_FLAG)) return false;
    if ((key_flags & CRYPT_OID_INFO_PUBKEY_ENCRYPT_KEY_FLAG) && (flags & CRYPT_OID_PUBKEY_SIGN_ONLY_FLAG)) return false;
    return true;
}

bool matches(const CRYPT_OID_INFO& info, DWORD key_type, DWORD key_flags, const void* key) {
    switch (key_type) {
    case CRYPT_OID_INFO_OID_KEY:
        return std::strcmp(info.pszOID, static_cast<const char*>(key)) == 0 && passes_key_flags(info, key_flags);
    case CRYPT_OID_INFO_NAME_KEY:
        return same_name(info.pwszName, static_cast<const wchar_t*>(key));
    case CRYPT_OID_INFO_ALGID_KEY:
        return !is_pseudo_algid(info.Algid) && info.Algid == *static_cast<const ALG_ID*>(key);
    case CRYPT_OID_INFO_SIGN_KEY: {
        const auto* pair = static_cast<const ALG_ID*>(key);
        return info.dwGroupId == CRYPT_SIGN_ALG_OID_GROUP_ID && !is_pseudo_algid(info.Algid) &&
               info.Algid == pair[0] && extra_word(info, 0) == pair[1];
    }
    default:
        return false;
    }
}

struct DefaultSignature {
    const char* public_key;
    const char* signature;
};

// The signature algorithm a key of each kind signs with by default.
const DefaultSignature kDefaultSignatures[] = {
    {szOID_RSA_RSA, szOID_RSA_SHA1RSA},
    {szOID_RSA_SSA_PSS, szOID_RSA_SSA_PSS},
    {szOID_ECC_PUBLIC_KEY, szOID_ECDSA_SHA256},
    {szOID_X957_DSA, szOID_X957_SHA1DSA},
    {"1.3.101.112", "1.3.101.112"},
    {"1.2.643.7.1.1.1.1", "1.2.643.7.1.1.3.2"},
    {"1.2.643.7.1.1.1.2", "1.2.643.7.1.1.3.3"},
};

}  // namespace
}  // namespace maren::crypto

extern "C" {

PCCRYPT_OID_INFO CryptFindOIDInfo(DWORD dwKeyType, void* pvKey, DWORD dwGroupId) {
    using namespace maren::crypto;
    if (pvKey == nullptr) return nullptr;
    // Flags ride in the high words of both arguments.
    const DWORD key_type = dwKeyType & ~DWORD(CRYPT_OID_INFO_OID_KEY_FLAGS_MASK);
    const DWORD key_flags = dwKeyType & CRYPT_OID_INFO_OID_KEY_FLAGS_MASK;
    const DWORD group = dwGroupId & 0xFFFF;
    const OidInfoTable table = oid_info_table();
    for (std::size_t i = 0; i < table.count; ++i) {
        const CRYPT_OID_INFO& info = table.entries[i];
        if (group != 0 && info.dwGroupId != group) continue;
        if (matches(info, key_type, key_flags, pvKey)) return &info;
    }
    return nullptr;
}

const CRYPT_OID_INFO* TSCryptGetDefaultSignatureOIDInfo(LPCSTR pszPubKeyOID) {
    using namespace maren::crypto;
    if (pszPubKeyOID != nullptr) {
        for (const DefaultSignature& d : kDefaultSignatures) {
            if (std::strcmp(d.public_key, pszPubKeyOID) != 0) continue;
            return CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(d.signature),
                                    CRYPT_SIGN_ALG_OID_GROUP_ID);
        }
    }
    SetLastError(DWORD(NTE_BAD_ALGID));
    return nullptr;
}

}
