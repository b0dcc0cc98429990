// UTCTime and GeneralizedTime conversion, and object identifiers.
#include <gtest/gtest.h>

#include <cstring>

#include <decode/primitives.h>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

Bytes text(BYTE tag, const char *chars) { return tlv(tag, Bytes(chars, chars + std::strlen(chars))); }

// "YYYY-MM-DD hh:mm:ss.mmm" of a decoded FILETIME, or "refused".
std::string when(LPCSTR type, const Bytes &der) {
    const Decoded d = decode(type, der);
    SYSTEMTIME st{};
    if (!d.ok || !FileTimeToSystemTime(d.as<FILETIME>(), &st)) return "refused";
    char out[64];
    std::snprintf(out, sizeof out, "%04d-%02d-%02d %02d:%02d:%02d.%03d", st.wYear, st.wMonth, st.wDay, st.wHour,
                  st.wMinute, st.wSecond, st.wMilliseconds);
    return out;
}

TEST(Times, UtcWindowGeneralizedFractionsAndRefusedLengths) {
    const struct {
        BYTE tag;
        const char *chars;
        const char *expected;
    } cases[] = {
        {23, "491231235959Z", "2049-12-31 23:59:59.000"},
        {23, "500101000000Z", "1950-01-01 00:00:00.000"},
        {23, "2402291230Z", "2024-02-29 12:30:00.000"},
        {23, "991332000000Z", "1601-01-01 00:00:00.000"},  // month 13: success with a zero time
        {23, "4912312359Z0", "refused"},                   // length 12
        {24, "202401020304Z", "2024-01-02 03:04:00.000"},
        {24, "20240102030405.5Z", "2024-01-02 03:04:05.500"},
        {24, "20240102030405.25Z", "2024-01-02 03:04:05.250"},
        {24, "20240102030405,125Z", "2024-01-02 03:04:05.125"},  // the point is not read
        {24, "19991332000000Z", "refused"},                      // month 13
        {24, "2024010203040Z", "refused"},                       // length 14
        {24, "202401020304051Z", "refused"},                     // length 16
        {0x97, "491231235959Z", "refused"},                      // no Time choice
    };
    for (const auto &c : cases) EXPECT_EQ(when(X509_CHOICE_OF_TIME, text(c.tag, c.chars)), c.expected) << c.chars;
    EXPECT_EQ(when(PKCS_UTC_TIME, text(23, "491231235959Z")), "2049-12-31 23:59:59.000");
    EXPECT_EQ(decode(X509_CHOICE_OF_TIME, text(0x97, "491231235959Z")).error, kUntouched);
}

// Dotted text of OBJECT IDENTIFIER content, or "refused".
std::string dotted(const char *content) {
    const Bytes in = hex(content);
    DWORD length = 0;
    if (!halden::decode::ASN1OIDToString(DWORD(in.size()), in.data(), nullptr, &length)) return "refused";
    std::string out(length, '?');
    DWORD room = length;
    EXPECT_TRUE(halden::decode::ASN1OIDToString(DWORD(in.size()), in.data(), &out[0], &room));
    EXPECT_EQ(room, length);
    return out.c_str();
}

TEST(ObjectIdentifiers, DottedTextAndTheEncodingsRefused) {
    EXPECT_EQ(dotted("2A 86 48 86 F7 0D"), "1.2.840.113549");
    EXPECT_EQ(dotted("77 03"), "2.39.3");
    EXPECT_EQ(dotted("81 34 03"), "refused");  // 2.100.3: second arc 40 or more under arc 2
    EXPECT_EQ(dotted("2A FF FF FF FF FF FF FF 7F"), "1.2.72057594037927935");  // eight bytes, 56 bits
    EXPECT_EQ(dotted("2A 80 80 80 80 80 80 80 80 01"), "refused");  // nine bytes, however small
    EXPECT_EQ(dotted("2A 86"), "refused");                          // ends inside a subidentifier
    EXPECT_EQ(dotted(""), "refused");

    const Bytes rsa = hex("2A 86 48 86 F7 0D");
    DWORD length = 0;
    ASSERT_TRUE(halden::decode::ASN1OIDToString(DWORD(rsa.size()), rsa.data(), nullptr, &length));
    EXPECT_EQ(length, 15u);
    char small[8];
    DWORD room = sizeof small;
    EXPECT_FALSE(halden::decode::ASN1OIDToString(DWORD(rsa.size()), rsa.data(), small, &room));
}

TEST(ObjectIdentifiers, StringFieldsOfTheTable) {
    EXPECT_STREQ(*decode(X509_OBJECT_IDENTIFIER, hex("06 03 55 1D 13")).as<LPSTR>(), "2.5.29.19");
    EXPECT_EQ(decode(X509_OBJECT_IDENTIFIER, hex("06 00")).error, kUntouched);
    const Decoded usage =
        decode(X509_ENHANCED_KEY_USAGE, hex("30 14 06 08 2B 06 01 05 05 07 03 01 06 08 2B 06 01 05 05 07 03 02"));
    ASSERT_TRUE(usage.ok);
    ASSERT_EQ(usage.as<CTL_USAGE>()->cUsageIdentifier, 2u);
    EXPECT_STREQ(usage.as<CTL_USAGE>()->rgpszUsageIdentifier[1], "1.3.6.1.5.5.7.3.2");
}

}  // namespace
