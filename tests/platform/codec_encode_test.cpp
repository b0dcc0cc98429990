// CryptEncodeObjectEx: integers of both kinds with their sign bytes, the
// other simple values, the size protocol and allocation; round trips
// through CryptDecodeObject.
#include "tests/platform/crypto_pki_support.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using pki_test::Bytes;
using pki_test::hex;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

Bytes encode(LPCSTR type, const void* value) {
    DWORD size = 0;
    if (!CryptEncodeObjectEx(kEncoding, type, value, 0, nullptr, nullptr, &size)) return Bytes{0xEE};
    Bytes out(size);
    if (!CryptEncodeObjectEx(kEncoding, type, value, 0, nullptr, out.data(), &size)) return Bytes{0xEF};
    return out;
}

TEST(CryptEncodeObjectEx, MultiByteIntegersAreLittleEndianAndKeepTheirSign) {
    struct Case {
        LPCSTR type;
        Bytes little_endian;
        Bytes der;
        Bytes decoded;  // the minimal little-endian form
    };
    const Case cases[] = {
        {X509_MULTI_BYTE_INTEGER, hex("03 02 01"), hex("02 03 01 02 03"), hex("03 02 01")},
        {X509_MULTI_BYTE_INTEGER, hex("80"), hex("02 01 80"), hex("80")},           // -128
        {X509_MULTI_BYTE_INTEGER, hex("80 00"), hex("02 02 00 80"), hex("80 00")},  // +128 keeps its sign byte
        {X509_MULTI_BYTE_INTEGER, hex("FF FF"), hex("02 01 FF"), hex("FF")},        // redundant sign byte dropped
        {X509_MULTI_BYTE_INTEGER, hex("01 00 00"), hex("02 01 01"), hex("01")},
        {X509_MULTI_BYTE_INTEGER, Bytes(), hex("02 01 00"), hex("00")},
        {X509_MULTI_BYTE_UINT, hex("80"), hex("02 02 00 80"), hex("80")},  // unsigned: a sign byte is added
        {X509_MULTI_BYTE_UINT, hex("FF FF 00"), hex("02 03 00 FF FF"), hex("FF FF")},
        {X509_MULTI_BYTE_UINT, hex("00 00"), hex("02 01 00"), Bytes()},
    };
    for (const Case& c : cases) {
        Bytes le = c.little_endian;
        CRYPT_INTEGER_BLOB blob{DWORD(le.size()), le.empty() ? nullptr : le.data()};
        const Bytes der = encode(c.type, &blob);
        EXPECT_EQ(c.der, der);
        auto back = pki_test::decode_alloc<CRYPT_INTEGER_BLOB>(c.type, der);
        ASSERT_TRUE(back);
        EXPECT_EQ(c.decoded, Bytes(back->pbData, back->pbData + back->cbData));
    }
}

TEST(CryptEncodeObjectEx, SmallIntegersAndEnumeratedRoundTrip) {
    for (int v : {0, 1, 127, 128, 256, -1, -128, -129, INT_MAX, INT_MIN}) {
        for (LPCSTR type : {X509_INTEGER, X509_ENUMERATED}) {
            const Bytes der = encode(type, &v);
            EXPECT_EQ(type == X509_INTEGER ? 0x02 : 0x0A, der.at(0));
            int back = ~v;
            DWORD size = sizeof back;
            ASSERT_TRUE(CryptDecodeObject(kEncoding, type, der.data(), DWORD(der.size()), 0, &back, &size)) << v;
            EXPECT_EQ(v, back);
        }
    }
    int reason = 1;
    EXPECT_EQ(hex("0A 01 01"), encode(szOID_CRL_REASON_CODE, &reason));
    reason = 128;
    EXPECT_EQ(hex("02 02 00 80"), encode(X509_INTEGER, &reason));
}

TEST(CryptEncodeObjectEx, OctetAndBitStringsWithTheSizeProtocol) {
    Bytes data = hex("01 02 03");
    CRYPT_DATA_BLOB octets{3, data.data()};
    EXPECT_EQ(hex("04 03 01 02 03"), encode(szOID_SUBJECT_KEY_IDENTIFIER, &octets));
    Bytes usage = hex("86 00");
    CRYPT_BIT_BLOB bits{2, usage.data(), 0};
    EXPECT_EQ(hex("03 03 00 86 00"), encode(X509_BITS, &bits));
    EXPECT_EQ(hex("03 02 01 86"), encode(X509_KEY_USAGE, &bits));  // trailing zero bits dropped

    BYTE small[4];
    DWORD size = sizeof small;
    EXPECT_FALSE(CryptEncodeObjectEx(kEncoding, X509_OCTET_STRING, &octets, 0, nullptr, small, &size));
    EXPECT_EQ(DWORD(ERROR_MORE_DATA), GetLastError());
    EXPECT_EQ(5u, size);
    BYTE* allocated = nullptr;
    ASSERT_TRUE(CryptEncodeObjectEx(X509_ASN_ENCODING, X509_OCTET_STRING, &octets, CRYPT_ENCODE_ALLOC_FLAG, nullptr,
                                    &allocated, &size));
    EXPECT_EQ(hex("04 03 01 02 03"), Bytes(allocated, allocated + size));
    LocalFree(allocated);

    EXPECT_FALSE(CryptEncodeObjectEx(kEncoding, X509_NAME_CONSTRAINTS, &octets, 0, nullptr, nullptr, &size));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_FALSE(CryptEncodeObject(PKCS_7_ASN_ENCODING, X509_OCTET_STRING, &octets, nullptr, &size));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), GetLastError());
}

}  // namespace
