// The area contract of TSDecodeObject: measuring and writing passes, exact,
// short and larger areas, unknown constants, and the peeling of signed
// wrappers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

const struct {
    uintptr_t type;
    const char *der;
} kInputs[] = {
    {7, "30 1A 31 0B 30 09 06 03 55 04 06 13 02 44 45 31 0B 30 09 06 03 55 04 03 0C 02 C3 A9"},
    {20, "30 0F 31 0D 30 0B 06 03 55 04 03 13 04 54 65 73 74"},
    {24, "1E 04 00 41 00 42"},
    {34, "30 07 02 01 01 04 00 05 00"},
    {36, "30 14 06 08 2B 06 01 05 05 07 03 01 06 08 2B 06 01 05 05 07 03 02"},
    {26, "03 03 06 FF C0"},
    {28, "02 09 00 FF EE DD CC BB AA 99 88"},
    {73, "06 06 2A 86 48 86 F7 0D"},
    {30, "18 0F 32 30 32 34 30 31 30 31 30 30 30 30 30 30 5A"},
    {27, "02 01 05"},
};

TEST(AreaContract, MeasuredSizeSufficesShortAreasFailInsideAndSurplusStaysUntouched) {
    for (const auto &c : kInputs) {
        SCOPED_TRACE(c.der);
        const Bytes der = hex(c.der);
        const LPCSTR type = constant(c.type);
        DWORD size = 0;
        ASSERT_TRUE(TSDecodeObject(0, type, der.data(), DWORD(der.size()), 0, nullptr, &size));
        // Two-pass call with a short area: the size grows, the last error and
        // the area stay as they were.
        std::vector<BYTE> area(size + 64, 0xCC);
        DWORD given = size - 1;
        SetLastError(kUntouched);
        EXPECT_FALSE(TSDecodeObject(0, type, der.data(), DWORD(der.size()), 0, area.data(), &given));
        EXPECT_EQ(given, size);
        EXPECT_EQ(GetLastError(), kUntouched);
        EXPECT_EQ(area, std::vector<BYTE>(size + 64, 0xCC));
        // A larger area: only the measured size is written.
        given = DWORD(area.size());
        ASSERT_TRUE(TSDecodeObject(0, type, der.data(), DWORD(der.size()), 0, area.data(), &given));
        EXPECT_EQ(given, size);
        EXPECT_EQ(std::vector<BYTE>(area.begin() + size, area.end()), std::vector<BYTE>(64, 0xCC));
        // The writing pass alone into areas allocated to the byte: never a
        // write past them (the address sanitizer watches), and a failure
        // once even the padding of the last item can't explain the shortfall.
        for (DWORD n = 0; n <= size; ++n) {
            std::unique_ptr<BYTE[]> exact(new BYTE[n ? n : 1]);
            DWORD shortSize = n;
            const BOOL ok = TSDecodeObject(1, type, der.data(), DWORD(der.size()), 0, exact.get(), &shortSize);
            EXPECT_EQ(shortSize, n);
            if (n == size) {
                EXPECT_TRUE(ok);
            } else if (n + 8 <= size) {
                EXPECT_FALSE(ok) << n << " of " << size;
            }
        }
    }
}

TEST(AreaContract, ConstantsOutsideTheTableAreInvalidParameters) {
    const Bytes der = hex("30 03 02 01 05");
    for (uintptr_t type : {uintptr_t(0), uintptr_t(11), uintptr_t(33), uintptr_t(0x1004), uintptr_t(0x80C9),
                           reinterpret_cast<uintptr_t>("2.5.29.19")}) {
        SCOPED_TRACE(type);
        DWORD size = 1234;
        SetLastError(kUntouched);
        EXPECT_FALSE(TSDecodeObject(0, constant(type), der.data(), DWORD(der.size()), 0, nullptr, &size));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(size, 0u);
        BYTE area[32];
        std::memset(area, 0x5A, sizeof area);
        DWORD given = sizeof area;
        EXPECT_FALSE(TSDecodeObject(1, constant(type), der.data(), DWORD(der.size()), 0, area, &given));
        for (BYTE b : area) ASSERT_EQ(b, 0x5A);
    }
}

TEST(AreaContract, IntegersAreFourBytesSignExtended) {
    EXPECT_EQ(decode(X509_INTEGER, hex("02 01 05")).size, 4u);
    EXPECT_EQ(*decode(X509_INTEGER, hex("02 01 80")).as<DWORD>(), 0xFFFFFF80u);
    EXPECT_EQ(*decode(X509_INTEGER, hex("02 04 7F FF FF FF")).as<DWORD>(), 0x7FFFFFFFu);
    EXPECT_EQ(*decode(X509_ENUMERATED, hex("0A 01 01")).as<DWORD>(), 1u);
    for (const char *der : {"02 05 00 80 00 00 00", "02 00", ""}) EXPECT_EQ(decode(X509_INTEGER, hex(der)).error, kUntouched);
}

TEST(SignedWrapperPeeling, MalformedWrappersFailBeforeAnyDecoder) {
    const struct {
        const char *der;
        DWORD error;
    } cases[] = {
        {"", kUntouched},
        {"31 03 02 01 00", kUntouched},
        {"30", DWORD(CRYPT_E_ASN1_EOD)},
        {"30 85 00 00 00 00 01 30", DWORD(CRYPT_E_ASN1_EOD)},
        {"30 84 00 00 01", DWORD(CRYPT_E_ASN1_EOD)},
        {"30 7F", kUntouched},  // the declared length is not compared; nothing is behind
    };
    for (LPCSTR type : {X509_CERT_TO_BE_SIGNED, X509_CERT_CRL_TO_BE_SIGNED, X509_CERT_REQUEST_TO_BE_SIGNED}) {
        for (const auto &c : cases) EXPECT_EQ(decode(type, hex(c.der)).error, c.error) << c.der;
    }
    // The CRL looks inside the inner element too.
    EXPECT_EQ(decode(X509_CERT_CRL_TO_BE_SIGNED, hex("30 03 30 85 01")).error, DWORD(CRYPT_E_ASN1_EOD));
    EXPECT_EQ(decode(X509_CERT_CRL_TO_BE_SIGNED, hex("30 02 30 00")).error, kUntouched);
}

// A seed of the fuzz corpus: one selector byte, then the DER.
std::filesystem::path corpusDir() {
    const char *root = std::getenv("HALDEN_TEST_SOURCE_DIR");
    return std::filesystem::path(root ? root : ".") / "fuzz/corpus/decode";
}
Bytes seed(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
Bytes seedBody(const char *name) {
    const Bytes all = seed(corpusDir() / name);
    return all.empty() ? all : Bytes(all.begin() + 1, all.end());
}

TEST(SignedWrapperPeeling, SignedAndBareToBeSignedDecodeAlike) {
    const Bytes signedCert = seedBody("leaf_tbs_signed.bin"), bareCert = seedBody("leaf_tbs_bare.bin");
    // A bare TBSCertificate has A0 or 02 inside its SEQUENCE: never peeled.
    const Decoded fromSigned = decode(X509_CERT_TO_BE_SIGNED, signedCert);
    const Decoded fromBare = decode(X509_CERT_TO_BE_SIGNED, bareCert);
    ASSERT_TRUE(fromSigned.ok && fromBare.ok && decode(X509_CERT_TO_BE_SIGNED, bareCert, 0x2).ok);
    EXPECT_EQ(fromSigned.size, fromBare.size);
    EXPECT_EQ(fromSigned.as<CERT_INFO>()->dwVersion, 2u);
    EXPECT_FALSE(decode(X509_CERT_TO_BE_SIGNED, signedCert, 0x2).ok);  // the flag stops the peeling

    const Decoded crlSigned = decode(X509_CERT_CRL_TO_BE_SIGNED, seedBody("crl_signed.bin"));
    const Decoded crlBare = decode(X509_CERT_CRL_TO_BE_SIGNED, seedBody("crl_tbs_bare.bin"));
    ASSERT_TRUE(crlSigned.ok && crlBare.ok);
    EXPECT_EQ(crlSigned.as<CRL_INFO>()->cCRLEntry, crlBare.as<CRL_INFO>()->cCRLEntry);
    // A version-less bare list starts SEQUENCE, SEQUENCE, OID: not peeled,
    // and refused for want of its version.
    EXPECT_FALSE(decode(X509_CERT_CRL_TO_BE_SIGNED, hex("30 20 30 0D 06 09 2A 86 48 86 F7 0D 01 01 0B 05 00 30 00"
                                                        "17 0D 32 34 30 31 30 31 30 30 30 30 30 30 5A"))
                     .ok);
}

TEST(AreaContract, EverySeedOfTheFuzzCorpusDecodes) {
    // The selector order of fuzz/decode_fuzzer.cpp; one past the end is the
    // private key usage period.
    const uintptr_t kSelectors[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10,     12,     14,     15,     16,     17,
                                    20, 23, 24, 25, 26, 27, 28, 29, 30, 31,     32,     34,     35,     36,     38,
                                    46, 47, 51, 54, 56, 57, 64, 73, 0x1000, 0x1001, 0x80C6, 0x80C7, 0x80C8};
    const size_t count = sizeof kSelectors / sizeof kSelectors[0];
    int seeds = 0;
    for (const auto &entry : std::filesystem::directory_iterator(corpusDir())) {
        SCOPED_TRACE(entry.path().filename().string());
        const Bytes all = seed(entry.path());
        ASSERT_GE(all.size(), 2u);
        const Bytes body(all.begin() + 1, all.end());
        const size_t selector = (all[0] & 0x7Fu) % (count + 1);
        ++seeds;
        if (selector == count) {
            DWORD size = 0;
            EXPECT_TRUE(TSDecodePrivateKeyUsagePeriod(1, nullptr, body.data(), DWORD(body.size()), 0, nullptr, &size));
        } else {
            EXPECT_TRUE(decode(constant(kSelectors[selector]), body, (all[0] & 0x80) ? 0x2 : 0).ok)
                << "constant " << kSelectors[selector];
        }
    }
    EXPECT_GE(seeds, 30);
}

}  // namespace
