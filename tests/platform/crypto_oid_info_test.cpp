// CryptFindOIDInfo, TSCryptGetDefaultSignatureOIDInfo and
// CryptHashCertificate.
#include "tests/platform/crypto_pki_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

DWORD extra_word(const CRYPT_OID_INFO* info, std::size_t index) {
    DWORD word = 0xFFFFFFFF;
    if (info->ExtraInfo.cbData >= (index + 1) * sizeof(DWORD))
        std::memcpy(&word, info->ExtraInfo.pbData + index * sizeof(DWORD), sizeof word);
    return word;
}

const CRYPT_OID_INFO* by_oid(const char* oid, DWORD group, DWORD key_flags = 0) {
    return CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY | key_flags, const_cast<char*>(oid), group);
}

TEST(CryptFindOIDInfo, SignatureAlgorithmsAreFoundByOidNamePairOfIdsAlike) {
    struct Case {
        const char* oid;
        ALG_ID hash;
        ALG_ID public_key;
        DWORD flags;
    };
    const Case cases[] = {
        {szOID_RSA_SHA1RSA, CALG_SHA1, CALG_RSA_SIGN, 0},  // RSA takes NULL parameters
        {szOID_RSA_SHA512RSA, CALG_SHA_512, CALG_RSA_SIGN, 0},
        {szOID_ECDSA_SHA384, CALG_SHA_384, CALG_ECDSA, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG},
        {szOID_X957_SHA1DSA, CALG_SHA1, CALG_DSS_SIGN, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG},
    };
    for (const Case& c : cases) {
        const CRYPT_OID_INFO* info = by_oid(c.oid, CRYPT_SIGN_ALG_OID_GROUP_ID);
        ASSERT_NE(nullptr, info) << c.oid;
        EXPECT_EQ(c.hash, info->Algid);
        EXPECT_EQ(c.public_key, extra_word(info, 0));
        EXPECT_EQ(c.flags, extra_word(info, 1));
        ALG_ID pair[2] = {c.hash, c.public_key};
        EXPECT_EQ(info, CryptFindOIDInfo(CRYPT_OID_INFO_SIGN_KEY, pair, 0));
        EXPECT_EQ(info, CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, const_cast<wchar_t*>(info->pwszName),
                                         CRYPT_SIGN_ALG_OID_GROUP_ID));
    }
    // Names compare without regard to ASCII case.
    EXPECT_EQ(by_oid(szOID_ECDSA_SHA384, 0), CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, const_cast<wchar_t*>(L"SHA384ecdsa"), 0));
}

TEST(CryptFindOIDInfo, GroupsNarrowTheSearchAndUnknownKeysMiss) {
    const char* streebog = "1.2.643.7.1.1.2.2";
    EXPECT_NE(nullptr, by_oid(streebog, CRYPT_HASH_ALG_OID_GROUP_ID | CRYPT_OID_DISABLE_SEARCH_DS_FLAG));
    EXPECT_EQ(nullptr, by_oid(streebog, CRYPT_SIGN_ALG_OID_GROUP_ID));
    EXPECT_NE(nullptr, by_oid(szOID_PKIX_KP_OCSP_SIGNING, 0));
    ALG_ID sha256 = CALG_SHA_256;
    const CRYPT_OID_INFO* hash = CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &sha256, CRYPT_HASH_ALG_OID_GROUP_ID);
    ASSERT_NE(nullptr, hash);
    EXPECT_STREQ(szOID_NIST_sha256, hash->pszOID);

    // A DSA key signs only: a lookup for encryption keys passes it by.
    EXPECT_NE(nullptr, by_oid(szOID_X957_DSA, 0, CRYPT_OID_INFO_PUBKEY_SIGN_KEY_FLAG));
    EXPECT_EQ(nullptr, by_oid(szOID_X957_DSA, 0, CRYPT_OID_INFO_PUBKEY_ENCRYPT_KEY_FLAG));

    EXPECT_EQ(nullptr, by_oid("1.2.3.4", 0));
    EXPECT_EQ(nullptr, CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, nullptr, 0));
    ALG_ID pseudo = CALG_OID_INFO_PARAMETERS;
    EXPECT_EQ(nullptr, CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &pseudo, 0));
}

TEST(TSCryptGetDefaultSignatureOIDInfo, EachKeyAlgorithmHasItsSignatureAlgorithm) {
    const std::pair<const char*, const char*> cases[] = {
        {szOID_RSA_RSA, szOID_RSA_SHA1RSA},
        {szOID_ECC_PUBLIC_KEY, szOID_ECDSA_SHA256},
        {"1.2.643.7.1.1.1.1", "1.2.643.7.1.1.3.2"},
        {"1.2.643.7.1.1.1.2", "1.2.643.7.1.1.3.3"},
    };
    for (const auto& c : cases) {
        const CRYPT_OID_INFO* info = TSCryptGetDefaultSignatureOIDInfo(c.first);
        ASSERT_NE(nullptr, info) << c.first;
        EXPECT_STREQ(c.second, info->pszOID);
        EXPECT_EQ(DWORD(CRYPT_SIGN_ALG_OID_GROUP_ID), info->dwGroupId);
    }
    EXPECT_EQ(nullptr, TSCryptGetDefaultSignatureOIDInfo("1.2.3.4"));
    EXPECT_EQ(DWORD(NTE_BAD_ALGID), GetLastError());
}

TEST(CryptHashCertificate, DigestsWithTheSizeProtocol) {
    const BYTE abc[] = {'a', 'b', 'c'};
    BYTE hash[64];
    DWORD size = 0;
    ASSERT_TRUE(CryptHashCertificate(0, 0, 0, abc, 3, nullptr, &size));
    ASSERT_TRUE(CryptHashCertificate(0, 0, 0, abc, 3, hash, &size));
    EXPECT_EQ(pki_test::hex("A9993E364706816ABA3E25717850C26C9CD0D89D"), pki_test::Bytes(hash, hash + size));
    size = 31;
    EXPECT_FALSE(CryptHashCertificate(0, CALG_SHA_256, 0, abc, 3, hash, &size));
    EXPECT_EQ(DWORD(ERROR_MORE_DATA), GetLastError());
    EXPECT_EQ(32u, size);
    EXPECT_FALSE(CryptHashCertificate(0, CALG_RSA_SIGN, 0, abc, 3, hash, &size));
    EXPECT_EQ(DWORD(NTE_BAD_ALGID), GetLastError());
}

}  // namespace
