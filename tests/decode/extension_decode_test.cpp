// Extension bodies: the tolerances and refusals of each decoder, table by
// table, and real extension values made by OpenSSL.
#include <gtest/gtest.h>

#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <functional>
#include <string>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

Bytes blob(const CRYPTOAPI_BLOB &b) { return Bytes(b.pbData, b.pbData + b.cbData); }
Bytes blob(const CRYPT_BIT_BLOB &b) { return Bytes(b.pbData, b.pbData + b.cbData); }

struct Case {
    const char *name;
    LPCSTR type;
    const char *der;
    bool ok;
    DWORD error;  // kUntouched: the decoder left the last error alone
    std::function<void(const Decoded &)> check;
};

void run(const Case &c) {
    SCOPED_TRACE(c.name);
    const Decoded d = decode(c.type, hex(c.der));
    ASSERT_EQ(d.ok, c.ok) << std::hex << d.error;
    EXPECT_EQ(d.error, c.error) << std::hex << d.error;
    if (d.ok && c.check) c.check(d);
}

const DWORD kBadTag = DWORD(CRYPT_E_ASN1_BADTAG);
const DWORD kEod = DWORD(CRYPT_E_ASN1_EOD);

TEST(ExtensionDecode, BasicAndPolicyConstraints) {
    auto basic = [](BOOL ca, BOOL hasPath, DWORD path) {
        return [=](const Decoded &d) {
            const auto *b = d.as<CERT_BASIC_CONSTRAINTS2_INFO>();
            EXPECT_EQ(b->fCA, ca);
            EXPECT_EQ(b->fPathLenConstraint, hasPath);
            EXPECT_EQ(b->dwPathLenConstraint, path);
            EXPECT_EQ(d.size, 12u);
        };
    };
    const Case cases[] = {
        // The ordinary value without cA succeeds with a stale BADTAG.
        {"path length only", X509_BASIC_CONSTRAINTS2, "30 03 02 01 05", true, kBadTag, basic(FALSE, TRUE, 5)},
        {"cA alone", X509_BASIC_CONSTRAINTS2, "30 03 01 01 FF", true, kUntouched, basic(TRUE, FALSE, 0)},
        {"negative path length", X509_BASIC_CONSTRAINTS2, "30 06 01 01 FF 02 01 FF", true, kUntouched,
         basic(TRUE, TRUE, 0xFFFFFFFF)},
        {"empty", X509_BASIC_CONSTRAINTS2, "30 00", true, kUntouched, basic(FALSE, FALSE, 0)},
        {"path length of five bytes", X509_BASIC_CONSTRAINTS2, "30 07 02 05 01 02 03 04 05", false, kBadTag, {}},
        {"over-long path length passed over", X509_BASIC_CONSTRAINTS2, "30 03 02 09 05", true, kBadTag,
         basic(FALSE, FALSE, 0)},
        {"require and inhibit", X509_POLICY_CONSTRAINTS, "30 06 80 01 00 81 01 02", true, kUntouched,
         [](const Decoded &d) {
             const auto *p = d.as<CERT_POLICY_CONSTRAINTS_INFO>();
             EXPECT_TRUE(p->fRequireExplicitPolicy && p->fInhibitPolicyMapping);
             EXPECT_EQ(p->dwRequireExplicitPolicySkipCerts, 0u);
             EXPECT_EQ(p->dwInhibitPolicyMappingSkipCerts, 2u);
         }},
        {"inhibit alone, constructed bit ignored", X509_POLICY_CONSTRAINTS, "30 03 A1 01 03", true, kUntouched,
         [](const Decoded &d) {
             EXPECT_FALSE(d.as<CERT_POLICY_CONSTRAINTS_INFO>()->fRequireExplicitPolicy);
             EXPECT_EQ(d.as<CERT_POLICY_CONSTRAINTS_INFO>()->dwInhibitPolicyMappingSkipCerts, 3u);
         }},
        {"skip count of zero bytes", X509_POLICY_CONSTRAINTS, "30 02 80 00", false, kUntouched, {}},
    };
    for (const Case &c : cases) run(c);
}

TEST(ExtensionDecode, GeneralNames) {
    auto entries = [](std::vector<DWORD> choices) {
        return [=](const Decoded &d) {
            const auto *info = d.as<CERT_ALT_NAME_INFO>();
            ASSERT_EQ(info->cAltEntry, choices.size());
            for (size_t i = 0; i < choices.size(); ++i) EXPECT_EQ(info->rgAltEntry[i].dwAltNameChoice, choices[i]);
        };
    };
    const Case cases[] = {
        {"dns, mail, url, ip, directory, registered id, other name", X509_ALTERNATE_NAME,
         "30 47 82 0B 65 78 61 6D 70 6C 65 2E 63 6F 6D 81 05 61 40 62 2E 63 86 08 68 74 74 70 3A 2F 2F 78"
         " 87 05 0A 00 00 01 02 A4 0F 30 0D 31 0B 30 09 06 03 55 04 06 13 02 44 45 88 03 2A 03 04"
         " A0 0A 06 03 2A 03 04 A0 03 0C 01 41",
         true, kUntouched,
         [](const Decoded &d) {
             const auto *info = d.as<CERT_ALT_NAME_INFO>();
             ASSERT_EQ(info->cAltEntry, 7u);
             EXPECT_EQ(std::wstring(info->rgAltEntry[0].pwszDNSName), L"example.com");
             EXPECT_EQ(std::wstring(info->rgAltEntry[1].pwszRfc822Name), L"a@b.c");
             EXPECT_EQ(std::wstring(info->rgAltEntry[2].pwszURL), L"http://x");
             EXPECT_EQ(blob(info->rgAltEntry[3].IPAddress), hex("0A 00 00 01 02"));  // 5 bytes kept
             EXPECT_EQ(blob(info->rgAltEntry[4].DirectoryName).size(), 15u);
             EXPECT_STREQ(info->rgAltEntry[5].pszRegisteredID, "1.2.3.4");
             EXPECT_STREQ(info->rgAltEntry[6].pOtherName->pszObjId, "1.2.3.4");
             EXPECT_EQ(blob(info->rgAltEntry[6].pOtherName->Value), hex("0C 01 41"));
         }},
        {"url primitive and constructed", X509_ALTERNATE_NAME, "30 08 86 02 68 74 A6 02 68 74", true, kUntouched,
         entries({CERT_ALT_NAME_URL, CERT_ALT_NAME_URL})},
        {"empty rfc822Name", X509_ALTERNATE_NAME, "30 05 82 01 78 81 00", false, kUntouched, {}},
        {"x400Address", X509_ALTERNATE_NAME, "30 04 A3 02 30 00", false, kUntouched, {}},
        {"ediPartyName", X509_ALTERNATE_NAME, "30 04 A5 02 30 00", false, kUntouched, {}},
        {"choice above 9", X509_ALTERNATE_NAME, "30 03 89 01 00", false, kUntouched, {}},
        {"empty names", X509_ALTERNATE_NAME, "30 00", true, kUntouched, entries({})},
        {"name running past its list", X509_ALTERNATE_NAME, "30 03 82 05 41", false, kUntouched, {}},
    };
    for (const Case &c : cases) run(c);
}

TEST(ExtensionDecode, DistributionPointsAndIssuingDistributionPoint) {
    const Case cases[] = {
        {"full name, reasons, issuer", X509_CRL_DIST_POINTS,
         "30 22 30 20 A0 0C A0 0A 86 08 68 74 74 70 3A 2F 2F 63 81 02 05 60 A2 0C 86 0A 68 74 74 70 3A 2F 2F 69 73 73",
         true, kUntouched,
         [](const Decoded &d) {
             const auto *info = d.as<CRL_DIST_POINTS_INFO>();
             ASSERT_EQ(info->cDistPoint, 1u);
             const CRL_DIST_POINT &p = info->rgDistPoint[0];
             EXPECT_EQ(p.DistPointName.dwDistPointNameChoice, DWORD(CRL_DIST_POINT_FULL_NAME));
             ASSERT_EQ(p.DistPointName.FullName.cAltEntry, 1u);
             EXPECT_EQ(std::wstring(p.DistPointName.FullName.rgAltEntry[0].pwszURL), L"http://c");
             EXPECT_EQ(blob(p.ReasonFlags), hex("60"));
             EXPECT_EQ(p.ReasonFlags.cUnusedBits, 5u);
             ASSERT_EQ(p.CRLIssuer.cAltEntry, 1u);
             EXPECT_EQ(std::wstring(p.CRLIssuer.rgAltEntry[0].pwszURL), L"http://iss");
         }},
        {"empty point is zeroed", X509_CRL_DIST_POINTS, "30 02 30 00", true, kUntouched,
         [](const Decoded &d) {
             const auto *info = d.as<CRL_DIST_POINTS_INFO>();
             ASSERT_EQ(info->cDistPoint, 1u);
             EXPECT_EQ(info->rgDistPoint[0].DistPointName.dwDistPointNameChoice, 0u);
             EXPECT_EQ(info->rgDistPoint[0].CRLIssuer.cAltEntry, 0u);
         }},
        {"nameRelativeToCRLIssuer",
         X509_CRL_DIST_POINTS,
         "30 0F 30 0D A0 0B A1 09 30 07 06 03 55 04 03 0C 00",
         false,
         kUntouched,
         {}},
        {"unknown field alone", X509_CRL_DIST_POINTS, "30 04 30 02 83 00", false, kUntouched, {}},
        {"user certs and indirect", X509_ISSUING_DIST_POINT, "30 06 81 01 FF 84 01 FF", true, kUntouched,
         [](const Decoded &d) {
             const auto *p = d.as<CRL_ISSUING_DIST_POINT>();
             EXPECT_TRUE(p->fOnlyContainsUserCerts && p->fIndirectCRL);
             EXPECT_FALSE(p->fOnlyContainsCACerts);
         }},
        {"attribute certs alone", X509_ISSUING_DIST_POINT, "30 03 85 01 FF", false, kEod, {}},
        {"attribute certs behind a field", X509_ISSUING_DIST_POINT, "30 06 82 01 FF 85 01 FF", true, kUntouched,
         [](const Decoded &d) { EXPECT_TRUE(d.as<CRL_ISSUING_DIST_POINT>()->fOnlyContainsCACerts); }},
        {"boolean of length 2", X509_ISSUING_DIST_POINT, "30 04 81 02 00 FF", false, kEod, {}},
        {"wrong outer tag", X509_ISSUING_DIST_POINT, "31 00", false, kEod, {}},
    };
    for (const Case &c : cases) run(c);
}

TEST(ExtensionDecode, KeyIdentifiersAndAccess) {
    const Case cases[] = {
        {"key id, issuer, serial", X509_AUTHORITY_KEY_ID2,
         "30 13 80 02 AA BB A1 09 87 07 0A 01 02 03 04 05 06 82 02 01 02", true, kUntouched,
         [](const Decoded &d) {
             const auto *k = d.as<CERT_AUTHORITY_KEY_ID2_INFO>();
             EXPECT_EQ(blob(k->KeyId), hex("AA BB"));
             ASSERT_EQ(k->AuthorityCertIssuer.cAltEntry, 1u);
             EXPECT_EQ(blob(k->AuthorityCertSerialNumber), hex("02 01"));
         }},
        {"empty key id", X509_AUTHORITY_KEY_ID2, "30 02 80 00", false, kUntouched, {}},
        {"unknown field alone", X509_AUTHORITY_KEY_ID2, "30 02 83 00", false, kUntouched, {}},
        {"old form", X509_AUTHORITY_KEY_ID, "30 0A 80 02 AA BB 81 00 82 02 00 80", true, kUntouched,
         [](const Decoded &d) {
             const auto *k = d.as<CERT_AUTHORITY_KEY_ID_INFO>();
             EXPECT_EQ(blob(k->KeyId), hex("AA BB"));
             EXPECT_EQ(k->CertIssuer.cbData, 0u);
             EXPECT_EQ(blob(k->CertSerialNumber), hex("80 00"));
         }},
        {"ocsp and ca issuers",
         X509_AUTHORITY_INFO_ACCESS,
         "30 1C 30 0E 06 08 2B 06 01 05 05 07 30 01 86 02 68 74 30 0A 06 08 2B 06 01 05 05 07 30 02",
         false,
         kUntouched,
         {}},  // the second description has no location
        {"ocsp", X509_AUTHORITY_INFO_ACCESS, "30 10 30 0E 06 08 2B 06 01 05 05 07 30 01 86 02 68 74", true, kUntouched,
         [](const Decoded &d) {
             const auto *a = d.as<CERT_AUTHORITY_INFO_ACCESS>();
             ASSERT_EQ(a->cAccDescr, 1u);
             EXPECT_STREQ(a->rgAccDescr[0].pszAccessMethod, "1.3.6.1.5.5.7.48.1");
             EXPECT_EQ(std::wstring(a->rgAccDescr[0].AccessLocation.pwszURL), L"ht");
         }},
        {"method not an OID", X509_AUTHORITY_INFO_ACCESS, "30 06 30 04 04 00 86 00", false, kBadTag, {}},
        {"key attributes", X509_KEY_ATTRIBUTES, "30 08 04 02 01 02 03 02 07 80", true, kUntouched,
         [](const Decoded &d) {
             const auto *k = d.as<CERT_KEY_ATTRIBUTES_INFO>();
             EXPECT_EQ(blob(k->KeyId), hex("01 02"));
             EXPECT_EQ(blob(k->IntendedKeyUsage), hex("80"));
             EXPECT_EQ(k->IntendedKeyUsage.cUnusedBits, 7u);
             EXPECT_EQ(k->pPrivateKeyUsagePeriod, nullptr);
         }},
        {"key usage of the count byte only", X509_KEY_ATTRIBUTES, "30 03 03 01 00", false, kUntouched, {}},
    };
    for (const Case &c : cases) run(c);
}

TEST(ExtensionDecode, PoliciesNoticesAndEnrollment) {
    const Case cases[] = {
        {"policy with cps qualifier", X509_CERT_POLICIES,
         "30 1A 30 18 06 03 2A 03 04 30 11 30 0F 06 08 2B 06 01 05 05 07 02 01 16 03 63 70 73", true, kUntouched,
         [](const Decoded &d) {
             const auto *p = d.as<CERT_POLICIES_INFO>();
             ASSERT_EQ(p->cPolicyInfo, 1u);
             EXPECT_STREQ(p->rgPolicyInfo[0].pszPolicyIdentifier, "1.2.3.4");
             ASSERT_EQ(p->rgPolicyInfo[0].cPolicyQualifier, 1u);
             EXPECT_EQ(blob(p->rgPolicyInfo[0].rgPolicyQualifier[0].Qualifier), hex("16 03 63 70 73"));
         }},
        {"policy mapping", X509_POLICY_MAPPINGS, "30 0C 30 0A 06 03 2A 03 04 06 03 2A 03 05", true, kUntouched,
         [](const Decoded &d) {
             const auto *m = d.as<CERT_POLICY_MAPPINGS_INFO>();
             ASSERT_EQ(m->cPolicyMapping, 1u);
             EXPECT_STREQ(m->rgPolicyMapping[0].pszSubjectDomainPolicy, "1.2.3.5");
         }},
        // IA5String text stays 8-bit although the field is declared wide.
        {"notice in IA5String", X509_PKIX_POLICY_QUALIFIER_USERNOTICE, "30 04 16 02 48 69", true, kUntouched,
         [](const Decoded &d) {
             const auto *n = d.as<CERT_POLICY_QUALIFIER_USER_NOTICE>();
             EXPECT_STREQ(reinterpret_cast<const char *>(n->pszDisplayText), "Hi");
             EXPECT_EQ(n->pNoticeReference, nullptr);
         }},
        {"notice in UTF8String", X509_PKIX_POLICY_QUALIFIER_USERNOTICE, "30 04 0C 02 48 69", true, kUntouched,
         [](const Decoded &d) {
             EXPECT_EQ(std::wstring(d.as<CERT_POLICY_QUALIFIER_USER_NOTICE>()->pszDisplayText), L"Hi");
         }},
        {"notice reference",
         X509_PKIX_POLICY_QUALIFIER_USERNOTICE,
         "30 0A 30 08 16 01 4F 30 03 02 01 01",
         false,
         kBadTag,
         {}},
        {"template", X509_CERTIFICATE_TEMPLATE, "30 0B 06 03 2A 03 04 02 01 64 02 01 03", true, kUntouched,
         [](const Decoded &d) {
             const auto *t = d.as<CERT_TEMPLATE_EXT>();
             EXPECT_STREQ(t->pszObjId, "1.2.3.4");
             EXPECT_EQ(t->dwMajorVersion, 100u);
             EXPECT_TRUE(t->fMinorVersion);
             EXPECT_EQ(t->dwMinorVersion, 3u);
         }},
        {"template without version", X509_CERTIFICATE_TEMPLATE, "30 05 06 03 2A 03 04", false, kEod, {}},
        {"template with bad tag", X509_CERTIFICATE_TEMPLATE, "30 08 06 03 2A 03 04 04 01 64", false, kEod, {}},
        {"name value pair", X509_ENROLLMENT_NAME_VALUE, "30 09 1E 02 00 41 1E 03 00 42 43", true, kUntouched,
         [](const Decoded &d) {
             const auto *p = d.as<CRYPT_ENROLLMENT_NAME_VALUE_PAIR>();
             EXPECT_EQ(std::wstring(p->pwszName), L"A");
             EXPECT_EQ(std::wstring(p->pwszValue), L"B");  // the odd byte is dropped
         }},
        {"csp info", X509_ENROLLMENT_CSP_INFO, "30 0D 02 01 02 1E 04 00 43 00 53 03 02 00 AA", true, kUntouched,
         [](const Decoded &d) {
             const auto *c = d.as<CRYPT_CSP_PROVIDER>();
             EXPECT_EQ(c->dwKeySpec, 2u);
             EXPECT_EQ(std::wstring(c->pwszProviderName), L"CS");
             EXPECT_EQ(blob(c->Signature), hex("AA"));
         }},
        {"csp info without its key field", X509_ENROLLMENT_CSP_INFO, "30 02 1E 00", false, kBadTag, {}},
        {"content info", PKCS_CONTENT_INFO_SEQUENCE_OF_ANY, "30 0E 06 03 2A 03 04 A0 07 30 05 02 01 01 05 00", true,
         kUntouched,
         [](const Decoded &d) {
             const auto *c = d.as<CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY>();
             EXPECT_STREQ(c->pszObjId, "1.2.3.4");
             ASSERT_EQ(c->cValue, 2u);
             EXPECT_EQ(blob(c->rgValue[1]), hex("05 00"));
         }},
        {"content info element running long",
         PKCS_CONTENT_INFO_SEQUENCE_OF_ANY,
         "30 0B 06 03 2A 03 04 A0 04 30 02 02 05",
         false,
         kUntouched,
         {}},
    };
    for (const Case &c : cases) run(c);
}

TEST(ExtensionDecode, EcdsaSignatureMadeByOpenSSL) {
    EVP_PKEY *key = EVP_EC_gen("P-256");
    ASSERT_NE(key, nullptr);
    for (int round = 0; round < 16; ++round) {
        EVP_MD_CTX *ctx = EVP_MD_CTX_new();
        unsigned char sig[80];
        size_t length = sizeof sig;
        const unsigned char message[] = {BYTE(round)};
        ASSERT_EQ(EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key), 1);
        ASSERT_EQ(EVP_DigestSign(ctx, sig, &length, message, sizeof message), 1);
        EVP_MD_CTX_free(ctx);
        const Decoded d = decode(X509_ECC_SIGNATURE, Bytes(sig, sig + length));
        ASSERT_TRUE(d.ok);
        const unsigned char *p = sig;
        ECDSA_SIG *parsed = d2i_ECDSA_SIG(nullptr, &p, long(length));
        const BIGNUM *r = nullptr;
        const BIGNUM *s = nullptr;
        ECDSA_SIG_get0(parsed, &r, &s);
        // Little-endian, unsigned, without leading zeros.
        Bytes expectedR(size_t(BN_num_bytes(r))), expectedS(size_t(BN_num_bytes(s)));
        BN_bn2lebinpad(r, expectedR.data(), int(expectedR.size()));
        BN_bn2lebinpad(s, expectedS.data(), int(expectedS.size()));
        EXPECT_EQ(blob(d.as<CERT_ECC_SIGNATURE>()->r), expectedR);
        EXPECT_EQ(blob(d.as<CERT_ECC_SIGNATURE>()->s), expectedS);
        ECDSA_SIG_free(parsed);
    }
    EVP_PKEY_free(key);
}

}  // namespace
