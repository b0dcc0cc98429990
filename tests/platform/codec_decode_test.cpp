// CryptDecodeObject(Ex): the published size protocol, the exact sizes of
// the small fixed structures, structure types named by OID strings, the
// private key usage period type, allocation, and CRLs the object decoder
// alone would refuse.
#include "tests/platform/crypto_pki_support.h"

#include <gtest/gtest.h>

namespace {

using pki_test::Bytes;
using pki_test::hex;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
const Bytes kBasicConstraintsCa3 = hex("30 06 01 01 FF 02 01 03");

// The output of the private key usage period type.
struct PrivateKeyUsagePeriod {
    FILETIME* pNotBefore;
    FILETIME* pNotAfter;
};

BOOL decode(LPCSTR type, const Bytes& der, void* out, DWORD* size, DWORD encoding = kEncoding) {
    return CryptDecodeObject(encoding, type, der.data(), DWORD(der.size()), 0, out, size);
}

TEST(CryptDecodeObject, SizeQueryThenDecodeAndShortBufferReportsMoreData) {
    const Bytes eku = hex("30 14 06 08 2B 06 01 05 05 07 03 01 06 08 2B 06 01 05 05 07 03 02");
    DWORD size = 0;
    ASSERT_TRUE(decode(X509_ENHANCED_KEY_USAGE, eku, nullptr, &size));
    std::vector<std::uint64_t> buffer(size / 8 + 1);
    DWORD short_size = size - 1;
    EXPECT_FALSE(decode(X509_ENHANCED_KEY_USAGE, eku, buffer.data(), &short_size));
    EXPECT_EQ(DWORD(ERROR_MORE_DATA), GetLastError());
    EXPECT_EQ(size, short_size);

    DWORD large = size + 64;
    ASSERT_TRUE(decode(X509_ENHANCED_KEY_USAGE, eku, buffer.data(), &large));
    EXPECT_EQ(size, large);
    EXPECT_STREQ(szOID_PKIX_KP_CLIENT_AUTH, reinterpret_cast<const CTL_USAGE*>(buffer.data())->rgpszUsageIdentifier[1]);
}

TEST(CryptDecodeObject, SmallFixedStructuresDecodeOneShotIntoTheirExactSize) {
    struct Case {
        LPCSTR type;
        Bytes der;
        DWORD exact;
    };
    const Case cases[] = {
        {X509_BASIC_CONSTRAINTS2, kBasicConstraintsCa3, 12},
        {X509_POLICY_CONSTRAINTS, hex("30 06 80 01 00 81 01 02"), 16},
        {X509_ENUMERATED, hex("0A 01 01"), 4},
        {X509_INTEGER, hex("02 02 01 00"), 4},
    };
    for (const Case& c : cases) {
        DWORD queried = 0;
        ASSERT_TRUE(decode(c.type, c.der, nullptr, &queried));
        EXPECT_EQ(c.exact, queried);
        // Exactly the structure, with a guard behind it that must survive.
        std::vector<std::uint8_t> buffer(c.exact + 8, 0xCC);
        DWORD size = c.exact;
        ASSERT_TRUE(decode(c.type, c.der, buffer.data(), &size)) << GetLastError();
        EXPECT_EQ(Bytes(8, 0xCC), Bytes(buffer.begin() + c.exact, buffer.end()));
    }
    CERT_BASIC_CONSTRAINTS2_INFO basic{};
    DWORD size = sizeof basic;
    ASSERT_TRUE(decode(szOID_BASIC_CONSTRAINTS2, kBasicConstraintsCa3, &basic, &size));
    EXPECT_TRUE(basic.fCA && basic.fPathLenConstraint && basic.dwPathLenConstraint == 3);
}

TEST(CryptDecodeObject, ExtensionOidStringsNameTheirPublishedStructures) {
    struct Case {
        LPCSTR oid;
        LPCSTR type;
        Bytes der;
    };
    const Case cases[] = {
        {szOID_BASIC_CONSTRAINTS2, X509_BASIC_CONSTRAINTS2, kBasicConstraintsCa3},
        {szOID_CRL_REASON_CODE, X509_ENUMERATED, hex("0A 01 01")},
        {szOID_KEY_USAGE, X509_KEY_USAGE, hex("03 02 01 86")},
        {szOID_SUBJECT_KEY_IDENTIFIER, X509_OCTET_STRING, hex("04 03 01 02 03")},
        {szOID_CRL_NUMBER, X509_INTEGER, hex("02 01 05")},
        {szOID_AUTHORITY_KEY_IDENTIFIER2, X509_AUTHORITY_KEY_ID2, hex("30 05 80 03 AA BB CC")},
        {szOID_SUBJECT_ALT_NAME2, X509_ALTERNATE_NAME, hex("30 0D 82 0B 65 78 61 6D 70 6C 65 2E 63 6F 6D")},
        {szOID_FRESHEST_CRL, X509_CRL_DIST_POINTS,
         hex("30 15 30 13 A0 11 A0 0F 86 0D 68 74 74 70 3A 2F 2F 63 61 2F 63 72 6C")},
    };
    for (const Case& c : cases) {
        DWORD by_oid = 0, by_constant = 0;
        ASSERT_TRUE(decode(c.oid, c.der, nullptr, &by_oid)) << c.oid;
        ASSERT_TRUE(decode(c.type, c.der, nullptr, &by_constant)) << c.oid;
        EXPECT_EQ(by_constant, by_oid) << c.oid;
    }
}

TEST(CryptDecodeObject, PrivateKeyUsagePeriodTypeGivesPointersToThePresentBounds) {
    // [0] 20240101000000Z and [1] 20500101000000Z; then [1] alone.
    const Bytes both = hex("30 22 80 0F 32 30 32 34 30 31 30 31 30 30 30 30 30 30 5A"
                           "81 0F 32 30 35 30 30 31 30 31 30 30 30 30 30 30 5A");
    auto period = pki_test::decode_alloc<PrivateKeyUsagePeriod>(MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT, both);
    ASSERT_TRUE(period && period->pNotBefore && period->pNotAfter);
    EXPECT_EQ(pki_test::ticks(pki_test::filetime_of(2024, 1, 1, 0, 0, 0)), pki_test::ticks(*period->pNotBefore));
    EXPECT_EQ(pki_test::ticks(pki_test::filetime_of(2050, 1, 1, 0, 0, 0)), pki_test::ticks(*period->pNotAfter));

    const Bytes after_only = hex("30 11 81 0F 32 30 35 30 30 31 30 31 30 30 30 30 30 30 5A");
    auto half = pki_test::decode_alloc<PrivateKeyUsagePeriod>(MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT, after_only);
    ASSERT_TRUE(half && half->pNotAfter);
    EXPECT_EQ(nullptr, half->pNotBefore);
}

TEST(CryptDecodeObject, RefusalsCarryAPublishedLastError) {
    struct Case {
        const char* what;
        LPCSTR type;
        Bytes der;
        DWORD encoding;
        DWORD error;  // 0: any non-zero error
    };
    const Case cases[] = {
        {"unknown OID type", "1.2.3.4", kBasicConstraintsCa3, kEncoding, DWORD(ERROR_FILE_NOT_FOUND)},
        {"type the decoder lacks", X509_NAME_CONSTRAINTS, kBasicConstraintsCa3, kEncoding,
         DWORD(ERROR_FILE_NOT_FOUND)},
        {"other encoding", X509_BASIC_CONSTRAINTS2, kBasicConstraintsCa3, X509_NDR_ENCODING,
         DWORD(ERROR_FILE_NOT_FOUND)},
        {"wrong tag", X509_BASIC_CONSTRAINTS2, hex("31 06 01 01 FF 02 01 03"), kEncoding, DWORD(CRYPT_E_ASN1_BADTAG)},
        {"empty input", X509_BASIC_CONSTRAINTS2, Bytes(), kEncoding, DWORD(CRYPT_E_ASN1_EOD)},
        {"truncated", X509_BASIC_CONSTRAINTS2, hex("30 06 01 01 FF"), kEncoding, 0},
        {"bad bounds", MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT, hex("30 03 80 01 41"), kEncoding, 0},
    };
    for (const Case& c : cases) {
        DWORD size = 0;
        SetLastError(0);
        EXPECT_FALSE(decode(c.type, c.der, nullptr, &size, c.encoding)) << c.what;
        if (c.error != 0) {
            EXPECT_EQ(c.error, GetLastError()) << c.what;
        }
        EXPECT_NE(0u, GetLastError()) << c.what;
    }
}

TEST(CryptDecodeObjectEx, AllocFlagUsesTheCallersAllocatorAndHandsOutNothingOnFailure) {
    static int allocations = 0;
    CRYPT_DECODE_PARA para{sizeof para,
                           [](size_t n) -> LPVOID {
                               ++allocations;
                               return CryptMemAlloc(ULONG(n));
                           },
                           [](LPVOID p) { CryptMemFree(p); }};
    void* out = nullptr;
    DWORD size = 0;
    ASSERT_TRUE(CryptDecodeObjectEx(kEncoding, X509_BASIC_CONSTRAINTS2, kBasicConstraintsCa3.data(),
                                    DWORD(kBasicConstraintsCa3.size()), CRYPT_DECODE_ALLOC_FLAG, &para, &out, &size));
    EXPECT_EQ(1, allocations);
    EXPECT_EQ(sizeof(CERT_BASIC_CONSTRAINTS2_INFO), size);
    EXPECT_TRUE(static_cast<CERT_BASIC_CONSTRAINTS2_INFO*>(out)->fCA);
    para.pfnFree(out);

    out = nullptr;
    EXPECT_FALSE(CryptDecodeObjectEx(kEncoding, X509_ENUMERATED, hex("0A 05 01").data(), 3, CRYPT_DECODE_ALLOC_FLAG,
                                     &para, &out, &size));
    EXPECT_EQ(nullptr, out);
}

TEST(CryptDecodeObject, CertificateSignatureIsLittleEndianUnlessAskedOtherwise) {
    const Bytes cert =
        pki_test::self_signed_certificate(pki_test::key_of(pki_test::Family::ec_p256), {EVP_sha256(), false});
    auto reversed = pki_test::decode_alloc<CERT_SIGNED_CONTENT_INFO>(X509_CERT, cert);
    auto as_encoded = pki_test::decode_alloc<CERT_SIGNED_CONTENT_INFO>(X509_CERT, cert,
                                                                       CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG);
    ASSERT_TRUE(reversed && as_encoded);
    const CRYPT_BIT_BLOB& a = reversed->Signature;
    Bytes tail(cert.end() - as_encoded->Signature.cbData, cert.end());
    EXPECT_EQ(tail, Bytes(as_encoded->Signature.pbData, as_encoded->Signature.pbData + tail.size()));
    std::reverse(tail.begin(), tail.end());
    EXPECT_EQ(tail, Bytes(a.pbData, a.pbData + a.cbData));
}

TEST(CryptDecodeObject, VersionOneAndEntrylessCrlsDecodeSignedAndBare) {
    EVP_PKEY* key = pki_test::key_of(pki_test::Family::ec_p256);
    const pki_test::Signing sha256{EVP_sha256(), false};
    struct Case {
        const char* what;
        Bytes der;
        DWORD version;
        DWORD entries;
    };
    const Case cases[] = {
        {"v1 with an entry", pki_test::crl(key, sha256, {7}, 0), CRL_V1, 1},
        {"v1 without entries", pki_test::crl(key, sha256, {}, 0), CRL_V1, 0},
        {"v2 without entries or extensions", pki_test::crl(key, sha256, {}, 1), CRL_V2, 0},
        {"v2 with two entries", pki_test::crl(key, sha256, {7, 300}, 1), CRL_V2, 2},
    };
    for (const Case& c : cases) {
        const pki_test::Range tbs = pki_test::to_be_signed(c.der);
        const Bytes bare(c.der.begin() + long(tbs.offset), c.der.begin() + long(tbs.offset + tbs.size));
        for (const DWORD flags : {DWORD(0), DWORD(CRYPT_DECODE_TO_BE_SIGNED_FLAG)}) {
            auto info = pki_test::decode_alloc<CRL_INFO>(X509_CERT_CRL_TO_BE_SIGNED, flags ? bare : c.der, flags);
            ASSERT_TRUE(info) << c.what << " " << std::hex << GetLastError();
            EXPECT_EQ(c.version, info->dwVersion) << c.what;
            EXPECT_EQ(c.entries, info->cCRLEntry) << c.what;
            EXPECT_EQ(0u, info->cExtension) << c.what;
            if (c.entries != 0) {
                const CRYPT_INTEGER_BLOB& serial = info->rgCRLEntry[0].SerialNumber;
                EXPECT_EQ(hex("07"), Bytes(serial.pbData, serial.pbData + serial.cbData)) << c.what;
            }
        }
    }
}

}  // namespace
