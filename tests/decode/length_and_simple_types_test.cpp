// The length rule, the tag levels, the simple types and the list composer,
// including its termination on content no measuring pass has proved.
#include <gtest/gtest.h>

#include <decode/primitives.h>

#include "decode_test_support.h"

using namespace decode_test;
using namespace halden::decode;

namespace {

TEST(LengthRule, HeadersAcceptedRefusedAndWhereTheErrorIsSet) {
    const struct {
        const char *der;
        DWORD error;   // kUntouched also for success
        DWORD length;  // of the content, when decoded
    } cases[] = {
        {"04 03 01 02 03", kUntouched, 3},
        {"04 81 02 AA BB", kUntouched, 2},                     // long form of a short value
        {"04 84 00 00 00 05 01 02 03 04 05", kUntouched, 5},  // four bytes with leading zeros
        {"04 01 AA FF FF", kUntouched, 1},                     // bytes behind the value are ignored
        {"04", DWORD(CRYPT_E_ASN1_EOD), 0},                    // no length byte
        {"04 82 00", DWORD(CRYPT_E_ASN1_EOD), 0},              // length bytes missing
        {"04 85 00 00 00 00 01 AA", DWORD(CRYPT_E_ASN1_EOD), 0},  // five length bytes
        {"04 05 01 02", kUntouched, 0},                        // declared beyond the input
        {"04 84 FF FF FF FF 00", kUntouched, 0},
    };
    for (const auto &c : cases) {
        const Decoded d = decode(X509_OCTET_STRING, hex(c.der));
        EXPECT_EQ(d.ok, c.length != 0) << c.der;
        EXPECT_EQ(d.error, c.error) << c.der;
        if (d.ok) {
            EXPECT_EQ(d.as<CRYPT_DATA_BLOB>()->cbData, c.length) << c.der;
        }
    }
    // The indefinite form has no content, and its end-of-contents marker is
    // read as the next value.
    const Decoded seq = decode(X509_SEQUENCE_OF_ANY, hex("30 06 30 80 00 00 04 00"));
    ASSERT_TRUE(seq.ok);
    ASSERT_EQ(seq.as<CRYPT_SEQUENCE_OF_ANY>()->cValue, 3u);
    EXPECT_EQ(seq.as<CRYPT_SEQUENCE_OF_ANY>()->rgValue[1].pbData[0], 0x00);
}

TEST(TagLevels, ExactTagsRefuseSimpleTypesTakeAnyTagSelectorsCompareTheNumber) {
    for (const char *der : {"31 00", "30 02 30 00", "30 04 31 02 31 00"})
        EXPECT_EQ(decode(X509_NAME, hex(der)).error, DWORD(CRYPT_E_ASN1_BADTAG)) << der;
    for (const char *der : {"13 02 41 42", "A4 02 41 42", "1F 02 41 42"})
        EXPECT_TRUE(decode(X509_OCTET_STRING, hex(der)).ok) << der;
    // Selector 129 is tag number 1 of any class; another number is absent.
    for (const char *der : {"A1 01 07", "81 01 07", "01 01 07", "A2 01 07"}) {
        const Bytes in = hex(der);
        DecodeInput input{DWORD(in.size()), in.data()};
        DecodeArea measure{};
        EXPECT_TRUE(ASN1DecodeSimpleEx(&input, 129, kSimpleOctetString, &measure));
        EXPECT_EQ(input.cbData, in[0] == 0xA2 ? 3u : 0u) << der;
    }
}

// BOOLEAN with selector 1 over `bytes`, of which the first inputLength are
// the input of the decode.
DWORD booleanOf(const char *bytes, DWORD inputLength) {
    const Bytes buffer = hex(bytes);
    DecodeInput input{inputLength, buffer.data()};
    uint64_t slot[2] = {};
    DecodeArea area{sizeof slot, reinterpret_cast<BYTE *>(slot), sizeof slot, reinterpret_cast<BYTE *>(slot),
                    reinterpret_cast<BYTE *>(slot + 2), buffer.data() + inputLength};
    EXPECT_TRUE(ASN1DecodeSimpleEx(&input, 1, kSimpleBoolean, &area));
    return DWORD(slot[0]);
}

TEST(SimpleTypes, EmptyBooleanReadsTheByteBehindOnlyInsideTheInput) {
    EXPECT_EQ(booleanOf("01 01 FF", 3), 1u);
    EXPECT_EQ(booleanOf("01 01 00", 3), 0u);
    EXPECT_EQ(booleanOf("01 00 FF", 3), 1u);  // the byte behind is still input
    EXPECT_EQ(booleanOf("01 00 FF", 2), 0u);  // at the end of the input it reads 0
    EXPECT_EQ(booleanOf("04 00", 2), 0u);     // absent
}

TEST(SimpleTypes, BitStringsAndIntegerByteOrder) {
    const Decoded bits = decode(X509_BITS, hex("03 03 07 FF 80"));
    ASSERT_TRUE(bits.ok);
    EXPECT_EQ(bits.as<CRYPT_BIT_BLOB>()->cbData, 2u);
    EXPECT_EQ(bits.as<CRYPT_BIT_BLOB>()->cUnusedBits, 7u);
    EXPECT_TRUE(decode(X509_BITS, hex("03 01 00")).ok);  // only the count byte
    EXPECT_EQ(decode(X509_BITS, hex("03 02 08 00")).error, kUntouched);
    EXPECT_EQ(decode(X509_KEY_USAGE, hex("03 02 01 06")).as<CRYPT_BIT_BLOB>()->pbData[0], 0x06);  // not trimmed

    const Decoded serial = decode(X509_MULTI_BYTE_INTEGER, hex("02 03 00 80 01"));
    const auto *blob = serial.as<CRYPT_INTEGER_BLOB>();
    ASSERT_EQ(blob->cbData, 3u);  // little-endian, sign byte kept
    EXPECT_EQ(Bytes(blob->pbData, blob->pbData + 3), hex("01 80 00"));
    const Decoded uint = decode(X509_MULTI_BYTE_UINT, hex("02 04 00 00 80 01"));
    ASSERT_EQ(uint.as<CRYPT_UINT_BLOB>()->cbData, 2u);  // every leading zero skipped
    EXPECT_EQ(uint.as<CRYPT_UINT_BLOB>()->pbData[1], 0x80);
}

bool consumesNothing(DecodeInput *, DecodeArea *) { return true; }
bool failsOnThird(DecodeInput *in, DecodeArea *area) { return in->cbData > 2 && DecodeDERBlob(in, area); }

TEST(ListCounting, EndsOnElementsThatFailOrConsumeNothing) {
    const Bytes in = hex("30 06 05 00 05 00 05 00");
    uint64_t storage[64];
    for (DecodeFn element : {consumesNothing, failsOnThird}) {
        DecodeInput input{DWORD(in.size()), in.data()};
        DecodeArea measure{};
        EXPECT_FALSE(ASN1DecodeConstructedList(&input, &measure, 16, sizeof(CRYPT_DER_BLOB), element));
        // The writing pass alone, over content no measuring pass proved.
        auto *start = reinterpret_cast<BYTE *>(storage);
        DecodeArea write{sizeof storage, start, sizeof storage, start, start + sizeof storage, nullptr};
        input = DecodeInput{DWORD(in.size()), in.data()};
        EXPECT_FALSE(ASN1DecodeConstructedList(&input, &write, 16, sizeof(CRYPT_DER_BLOB), element));
    }
}

}  // namespace
