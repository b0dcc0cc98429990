// Distinguished names and directory strings in the strict, lenient and wide
// flavours.
#include <gtest/gtest.h>

#include <decode/decoders.h>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

// Name { RDN { commonName = value } } with the given encoded value.
Bytes nameWith(const char *value) { return tlv(0x30, tlv(0x31, tlv(0x30, cat({hex("06 03 55 04 03"), hex(value)})))); }

const CERT_RDN_ATTR *onlyAttr(const Decoded &d) {
    const auto *info = d.as<CERT_NAME_INFO>();
    EXPECT_EQ(info->cRDN, 1u);
    EXPECT_EQ(info->rgRDN[0].cRDNAttr, 1u);
    EXPECT_STREQ(info->rgRDN[0].rgRDNAttr[0].pszObjId, "2.5.4.3");
    return &info->rgRDN[0].rgRDNAttr[0];
}

TEST(Names, StrictFlavourRefusesWhatTheLenientOneKeeps) {
    const struct {
        const char *value;
        bool strictOk;
        DWORD type;
    } cases[] = {
        {"14 02 41 42", false, CERT_RDN_TELETEX_STRING},   {"15 02 41 42", false, CERT_RDN_VIDEOTEX_STRING},
        {"19 02 41 42", false, CERT_RDN_GRAPHIC_STRING},   {"1A 02 41 42", false, CERT_RDN_VISIBLE_STRING},
        {"1B 02 41 42", false, CERT_RDN_GENERAL_STRING},   {"12 03 31 20 32", false, CERT_RDN_NUMERIC_STRING},
        {"12 03 31 39 32", true, CERT_RDN_NUMERIC_STRING}, {"14 00", true, CERT_RDN_TELETEX_STRING},
        {"13 03 41 2A 42", true, CERT_RDN_PRINTABLE_STRING},  // not inspected
        {"16 02 E9 41", true, CERT_RDN_IA5_STRING},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.value);
        const Decoded strict = decode(X509_NAME, nameWith(c.value));
        EXPECT_EQ(strict.ok, c.strictOk);
        EXPECT_EQ(strict.error, kUntouched);
        const Decoded lenient = decode(X509_CERT_NAME_LENIENT, nameWith(c.value));
        ASSERT_TRUE(lenient.ok);
        const CERT_RDN_ATTR *attr = onlyAttr(lenient);
        EXPECT_EQ(attr->dwValueType, c.type);
        // 8-bit types keep their bytes unconverted, with a zero behind.
        const Bytes value = hex(c.value);
        EXPECT_EQ(Bytes(attr->Value.pbData, attr->Value.pbData + attr->Value.cbData), Bytes(value.begin() + 2, value.end()));
        EXPECT_EQ(attr->Value.pbData[attr->Value.cbData], 0);
    }
}

TEST(Names, StoredFormsSizesAndTerminators) {
    const struct {
        LPCSTR type;
        const char *value;
        DWORD valueType, cbData;
        const char *stored;  // the stored bytes, terminator included
    } cases[] = {
        {X509_NAME, "13 02 41 42", CERT_RDN_PRINTABLE_STRING, 2, "41 42 00"},
        {X509_NAME, "13 03 41 42 00", CERT_RDN_PRINTABLE_STRING, 3, "41 42 00"},  // no second terminator
        {X509_NAME, "0C 03 C3 A9 41", CERT_RDN_UTF8_STRING, 8, "E9 00 00 00 41 00 00 00 00 00 00 00"},
        {X509_NAME, "1E 03 00 41 00", CERT_RDN_BMP_STRING, 4, "41 00 00 00 00 00 00 00"},  // odd byte dropped
        // cbData counts every byte; the partial unit is zero-filled.
        {X509_NAME, "1C 06 00 00 00 41 00 00", CERT_RDN_UNIVERSAL_STRING, 6, "41 00 00 00 00 00 00 00 00 00"},
        {X509_NAME, "04 02 01 02", CERT_RDN_OCTET_STRING, 2, "01 02"},
        {X509_UNICODE_NAME, "1C 06 00 00 00 41 00 00", CERT_RDN_UNIVERSAL_STRING, 4, "41 00 00 00 00 00 00 00"},
        {X509_UNICODE_NAME, "13 02 41 42", CERT_RDN_PRINTABLE_STRING, 8, "41 00 00 00 42 00 00 00 00 00 00 00"},
        {X509_UNICODE_NAME, "14 01 E9", CERT_RDN_TELETEX_STRING, 4, "E9 00 00 00 00 00 00 00"},
        {X509_UNICODE_NAME, "93 02 41 42", CERT_RDN_PRINTABLE_STRING, 8, "41 00 00 00 42 00 00 00"},  // class bits pass
        {X509_CERT_NAME_LENIENT, "03 02 00 FF", CERT_RDN_ENCODED_BLOB, 4, "03 02 00 FF"},  // kept whole
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.value);
        const Decoded d = decode(c.type, nameWith(c.value));
        ASSERT_TRUE(d.ok);
        const CERT_RDN_ATTR *attr = onlyAttr(d);
        EXPECT_EQ(attr->dwValueType, c.valueType);
        EXPECT_EQ(attr->Value.cbData, c.cbData);
        const Bytes stored = hex(c.stored);
        EXPECT_EQ(Bytes(attr->Value.pbData, attr->Value.pbData + stored.size()), stored);
    }
}

TEST(NameValues, EncodedBlobsConstructedTagsAndEmptyInput) {
    const Decoded blob = decode(X509_NAME_VALUE, hex("03 02 00 FF"));
    ASSERT_TRUE(blob.ok);
    EXPECT_EQ(blob.as<CERT_NAME_VALUE>()->dwValueType, DWORD(CERT_RDN_ENCODED_BLOB));
    EXPECT_EQ(blob.as<CERT_NAME_VALUE>()->Value.cbData, 4u);
    EXPECT_EQ(decode(X509_NAME_VALUE, hex("30 00")).error, DWORD(CRYPT_E_ASN1_BADTAG));
    EXPECT_EQ(decode(X509_NAME_VALUE, hex("31 00")).error, DWORD(CRYPT_E_ASN1_BADTAG));
    for (const char *refused : {"", "10 00"}) EXPECT_EQ(decode(X509_NAME_VALUE, hex(refused)).error, kUntouched);
    for (const char *refused : {"", "17 01 41"}) {
        EXPECT_EQ(decode(X509_UNICODE_NAME_VALUE, hex(refused)).error, kUntouched);
    }
    EXPECT_STREQ(reinterpret_cast<LPCWSTR>(
                     decode(X509_UNICODE_NAME_VALUE, hex("1E 04 00 41 00 42")).as<CERT_NAME_VALUE>()->Value.pbData),
                 L"AB");
}

TEST(Names, ManyRdnsAndAttributesKeepTheirOrder) {
    const Bytes der = tlv(0x30, cat({tlv(0x31, cat({tlv(0x30, hex("06 03 55 04 06 13 02 44 45")),
                                                    tlv(0x30, hex("06 03 55 04 0A 13 01 4F"))})),
                                     tlv(0x31, tlv(0x30, hex("06 03 55 04 03 0C 02 43 4E")))}));
    const Decoded d = decode(X509_UNICODE_NAME, der);
    ASSERT_TRUE(d.ok);
    const auto *info = d.as<CERT_NAME_INFO>();
    ASSERT_EQ(info->cRDN, 2u);
    ASSERT_EQ(info->rgRDN[0].cRDNAttr, 2u);
    EXPECT_STREQ(info->rgRDN[0].rgRDNAttr[1].pszObjId, "2.5.4.10");
    EXPECT_STREQ(reinterpret_cast<LPCWSTR>(info->rgRDN[1].rgRDNAttr[0].Value.pbData), L"CN");
    EXPECT_EQ(decode(X509_NAME, hex("30 00")).as<CERT_NAME_INFO>()->cRDN, 0u);
}

}  // namespace
