#include "platform/crypto/oid_info_table.h"

#include <maren/oids.h>

namespace maren::crypto {
namespace {

// ExtraInfo words. A public key entry holds its flags; a signature entry
// holds the public key's ALG_ID, then its flags.
DWORD kNoNullParameters[] = {CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};
DWORD kSignOnlyNoNull[] = {CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG | CRYPT_OID_PUBKEY_SIGN_ONLY_FLAG};
DWORD kRsaSign[] = {CALG_RSA_SIGN, 0};
DWORD kRsaPssSign[] = {CALG_RSA_SIGN, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};
DWORD kEcdsaSign[] = {CALG_ECDSA, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};
DWORD kDsaSign[] = {CALG_DSS_SIGN, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};
DWORD kEd25519Sign[] = {CALG_OID_INFO_CNG_ONLY, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};
DWORD kGost256Sign[] = {kAlgGostR3410_2012_256, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};
DWORD kGost512Sign[] = {kAlgGostR3410_2012_512, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG};

template <std::size_t N>
CRYPT_DATA_BLOB words(DWORD (&w)[N]) {
    return CRYPT_DATA_BLOB{static_cast<DWORD>(sizeof w), reinterpret_cast<BYTE*>(w)};
}

CRYPT_OID_INFO entry(const char* oid, const wchar_t* name, DWORD group, ALG_ID algid,
                     CRYPT_DATA_BLOB extra = CRYPT_DATA_BLOB{0, nullptr}) {
    CRYPT_OID_INFO info{};
    info.cbSize = sizeof info;
    info.pszOID = oid;
    info.pwszName = name;
    info.dwGroupId = group;
    info.Algid = algid;
    info.ExtraInfo = extra;
    return info;
}

constexpr DWORD kHash = CRYPT_HASH_ALG_OID_GROUP_ID;
constexpr DWORD kPubKey = CRYPT_PUBKEY_ALG_OID_GROUP_ID;
constexpr DWORD kSign = CRYPT_SIGN_ALG_OID_GROUP_ID;
constexpr DWORD kExt = CRYPT_EXT_OR_ATTR_OID_GROUP_ID;
constexpr DWORD kEku = CRYPT_ENHKEY_USAGE_OID_GROUP_ID;

}  // namespace

OidInfoTable oid_info_table() {
    static const CRYPT_OID_INFO table[] = {
        entry(szOID_OIWSEC_sha1, L"sha1", kHash, CALG_SHA1),
        entry(szOID_RSA_MD5, L"md5", kHash, CALG_MD5),
        entry(szOID_NIST_sha256, L"sha256", kHash, CALG_SHA_256),
        entry(szOID_NIST_sha384, L"sha384", kHash, CALG_SHA_384),
        entry(szOID_NIST_sha512, L"sha512", kHash, CALG_SHA_512),
        entry("1.2.643.7.1.1.2.2", L"GOST R 34.11-2012 256", kHash, kAlgGostR3411_2012_256,
              words(kNoNullParameters)),
        entry("1.2.643.7.1.1.2.3", L"GOST R 34.11-2012 512", kHash, kAlgGostR3411_2012_512,
              words(kNoNullParameters)),

        entry(szOID_RSA_RSA, L"RSA", kPubKey, CALG_RSA_KEYX),
        entry(szOID_RSA_SSA_PSS, L"RSASSA-PSS", kPubKey, CALG_RSA_SIGN, words(kSignOnlyNoNull)),
        entry(szOID_ECC_PUBLIC_KEY, L"ECC", kPubKey, CALG_OID_INFO_PARAMETERS, words(kNoNullParameters)),
        entry(szOID_ECC_CURVE_P256, L"nistP256", kPubKey, CALG_OID_INFO_PARAMETERS),
        entry(szOID_ECC_CURVE_P384, L"nistP384", kPubKey, CALG_OID_INFO_PARAMETERS),
        entry(szOID_ECC_CURVE_P521, L"nistP521", kPubKey, CALG_OID_INFO_PARAMETERS),
        entry(szOID_X957_DSA, L"DSA", kPubKey, CALG_DSS_SIGN, words(kSignOnlyNoNull)),
        entry("1.3.101.112", L"Ed25519", kPubKey, CALG_OID_INFO_CNG_ONLY, words(kSignOnlyNoNull)),
        entry("1.2.643.7.1.1.1.1", L"GOST R 34.10-2012 256", kPubKey, kAlgGostR3410_2012_256,
              words(kNoNullParameters)),
        entry("1.2.643.7.1.1.1.2", L"GOST R 34.10-2012 512", kPubKey, kAlgGostR3410_2012_512,
              words(kNoNullParameters)),

        entry(szOID_RSA_SHA1RSA, L"sha1RSA", kSign, CALG_SHA1, words(kRsaSign)),
        entry(szOID_RSA_SHA256RSA, L"sha256RSA", kSign, CALG_SHA_256, words(kRsaSign)),
        entry(szOID_RSA_SHA384RSA, L"sha384RSA", kSign, CALG_SHA_384, words(kRsaSign)),
        entry(szOID_RSA_SHA512RSA, L"sha512RSA", kSign, CALG_SHA_512, words(kRsaSign)),
        entry(szOID_RSA_MD5RSA, L"md5RSA", kSign, CALG_MD5, words(kRsaSign)),
        entry(szOID_OIWSEC_sha1RSASign, L"sha1RSA", kSign, CALG_SHA1, words(kRsaSign)),
        entry(szOID_RSA_SSA_PSS, L"RSASSA-PSS", kSign, CALG_OID_INFO_PARAMETERS, words(kRsaPssSign)),
        entry(szOID_ECDSA_SHA1, L"sha1ECDSA", kSign, CALG_SHA1, words(kEcdsaSign)),
        entry(szOID_ECDSA_SHA256, L"sha256ECDSA", kSign, CALG_SHA_256, words(kEcdsaSign)),
        entry(szOID_ECDSA_SHA384, L"sha384ECDSA", kSign, CALG_SHA_384, words(kEcdsaSign)),
        entry(szOID_ECDSA_SHA512, L"sha512ECDSA", kSign, CALG_SHA_512, words(kEcdsaSign)),
        entry(szOID_X957_SHA1DSA, L"sha1DSA", kSign, CALG_SHA1, words(kDsaSign)),
        entry(szOID_OIWSEC_dsaSHA1, L"dsaSHA1", kSign, CALG_SHA1, words(kDsaSign)),
        entry("2.16.840.1.101.3.4.3.2", L"sha256DSA", kSign, CALG_SHA_256, words(kDsaSign)),
        entry("1.3.101.112", L"Ed25519", kSign, CALG_OID_INFO_CNG_ONLY, words(kEd25519Sign)),
        entry("1.2.643.7.1.1.3.2", L"GOST R 34.11-2012/34.10-2012 256", kSign, kAlgGostR3411_2012_256,
              words(kGost256Sign)),
        entry("1.2.643.7.1.1.3.3", L"GOST R 34.11-2012/34.10-2012 512", kSign, kAlgGostR3411_2012_512,
              words(kGost512Sign)),

        entry(szOID_SUBJECT_KEY_IDENTIFIER, L"Subject Key Identifier", kExt, 0),
        entry(szOID_KEY_USAGE, L"Key Usage", kExt, 0),
        entry(szOID_PRIVATEKEY_USAGE_PERIOD, L"Private Key Usage Period", kExt, 0),
        entry(szOID_SUBJECT_ALT_NAME2, L"Subject Alternative Name", kExt, 0),
        entry(szOID_ISSUER_ALT_NAME2, L"Issuer Alternative Name", kExt, 0),
        entry(szOID_BASIC_CONSTRAINTS2, L"Basic Constraints", kExt, 0),
        entry(szOID_CRL_NUMBER, L"CRL Number", kExt, 0),
        entry(szOID_CRL_REASON_CODE, L"CRL Reason Code", kExt, 0),
        entry(szOID_DELTA_CRL_INDICATOR, L"Delta CRL Indicator", kExt, 0),
        entry(szOID_ISSUING_DIST_POINT, L"Issuing Distribution Point", kExt, 0),
        entry(szOID_CRL_DIST_POINTS, L"CRL Distribution Points", kExt, 0),
        entry(szOID_CERT_POLICIES, L"Certificate Policies", kExt, 0),
        entry(szOID_POLICY_MAPPINGS, L"Policy Mappings", kExt, 0),
        entry(szOID_AUTHORITY_KEY_IDENTIFIER2, L"Authority Key Identifier", kExt, 0),
        entry(szOID_POLICY_CONSTRAINTS, L"Policy Constraints", kExt, 0),
        entry(szOID_ENHANCED_KEY_USAGE, L"Enhanced Key Usage", kExt, 0),
        entry(szOID_FRESHEST_CRL, L"Freshest CRL", kExt, 0),
        entry(szOID_AUTHORITY_INFO_ACCESS, L"Authority Information Access", kExt, 0),

        entry(szOID_PKIX_KP_SERVER_AUTH, L"Server Authentication", kEku, 0),
        entry(szOID_PKIX_KP_CLIENT_AUTH, L"Client Authentication", kEku, 0),
        entry(szOID_PKIX_KP_CODE_SIGNING, L"Code Signing", kEku, 0),
        entry(szOID_PKIX_KP_EMAIL_PROTECTION, L"Secure Email", kEku, 0),
        entry(szOID_PKIX_KP_TIMESTAMP_SIGNING, L"Time Stamping", kEku, 0),
        entry(szOID_PKIX_KP_OCSP_SIGNING, L"OCSP Signing", kEku, 0),
    };
    return OidInfoTable{table, sizeof table / sizeof table[0]};
}

}  // namespace maren::crypto
