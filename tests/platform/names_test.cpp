// Names as text (CertNameToStr, CertGetNameString), attribute look-ups,
// time validity, and CertVerifyRevocation handing a check to a provider
// library, on names and certificates OpenSSL makes at test time.
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <maren/maren.h>

#include "tests/platform/host_test_support.h"
#include "tests/platform/names_test_pki.h"

namespace {

using namespace names_test;
constexpr DWORD kX500 = CERT_X500_NAME_STR;
constexpr DWORD kAsn = X509_ASN_ENCODING;

std::string utf8(const std::wstring &wide) {
    char out[512] = "";
    WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, out, sizeof out, nullptr, nullptr);
    return out;
}

CERT_NAME_BLOB blob_of(Bytes &der) { return CERT_NAME_BLOB{DWORD(der.size()), der.data()}; }

// Both forms through the two-call size protocol; the narrow one must be
// the UTF-8 of the wide one.
std::string name_to_str(Bytes der, DWORD str_type) {
    CERT_NAME_BLOB blob = blob_of(der);
    std::wstring wide(CertNameToStrW(kAsn, &blob, str_type, nullptr, 0), L'?');
    EXPECT_EQ(CertNameToStrW(kAsn, &blob, str_type, &wide[0], DWORD(wide.size())), wide.size());
    std::string narrow(CertNameToStrA(kAsn, &blob, str_type, nullptr, 0), '?');
    EXPECT_EQ(CertNameToStrA(kAsn, &blob, str_type, &narrow[0], DWORD(narrow.size())), narrow.size());
    EXPECT_EQ(narrow.c_str(), utf8(wide));
    return narrow.c_str();
}

// In encoded order. OpenSSL sorts the values of an RDN by encoding: the
// shorter CN comes first.
const Name kLeafName = {{"C", "DE", Encoded::Printable},  {"O", "Test, Inc."},
                        {"OU", "Pr\xC3\xBC" "fung", Encoded::Bmp}, {"CN", "Leaf"},
                        {"emailAddress", "leaf@example.org", Encoded::Ia5, true}, {"1.2.3.4.5", "x"}};
const std::string kLeafReversed =
    "OID.1.2.3.4.5=x, CN=Leaf + E=leaf@example.org, OU=Pr\xC3\xBC" "fung, O=\"Test, Inc.\", C=DE";

TEST(CertNameToStr, FormatsAndFlagsShapeTheText) {
    const std::string ou = "Pr\xC3\xBC" "fung";
    const struct {
        DWORD str_type;
        std::string expected;
    } cases[] = {
        {kX500, "C=DE, O=\"Test, Inc.\", OU=" + ou + ", CN=Leaf + E=leaf@example.org, OID.1.2.3.4.5=x"},
        {kX500 | CERT_NAME_STR_REVERSE_FLAG, kLeafReversed},
        {kX500 | CERT_NAME_STR_COMMA_FLAG,
         "C=DE, O=\"Test, Inc.\", OU=" + ou + ", CN=Leaf + E=leaf@example.org, OID.1.2.3.4.5=x"},
        {CERT_SIMPLE_NAME_STR, "DE, \"Test, Inc.\", " + ou + ", Leaf + leaf@example.org, x"},
        {CERT_OID_NAME_STR, "2.5.4.6=DE, 2.5.4.10=\"Test, Inc.\", 2.5.4.11=" + ou +
                                ", 2.5.4.3=Leaf + 1.2.840.113549.1.9.1=leaf@example.org, 1.2.3.4.5=x"},
        {kX500 | CERT_NAME_STR_SEMICOLON_FLAG,
         "C=DE; O=\"Test, Inc.\"; OU=" + ou + "; CN=Leaf + E=leaf@example.org; OID.1.2.3.4.5=x"},
        {kX500 | CERT_NAME_STR_CRLF_FLAG,
         "C=DE\r\nO=\"Test, Inc.\"\r\nOU=" + ou + "\r\nCN=Leaf + E=leaf@example.org\r\nOID.1.2.3.4.5=x"},
        {kX500 | CERT_NAME_STR_NO_PLUS_FLAG,
         "C=DE, O=\"Test, Inc.\", OU=" + ou + ", CN=Leaf E=leaf@example.org, OID.1.2.3.4.5=x"},
        {kX500 | CERT_NAME_STR_NO_QUOTING_FLAG,
         "C=DE, O=Test, Inc., OU=" + ou + ", CN=Leaf + E=leaf@example.org, OID.1.2.3.4.5=x"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(name_to_str(name_der(kLeafName), c.str_type), c.expected) << std::hex << c.str_type;
}

TEST(CertNameToStr, PublishedKeysNameTheAttributesAndOthersShowTheirOid) {
    const Name name = {{"street", "Main 1"}, {"title", "Dr"}, {"GN", "Ann"}, {"initials", "A"}, {"SN", "Berg"},
                       {"DC", "example"}, {"serialNumber", "42"}, {"description", "d"}, {"postalCode", "123"},
                       {"postOfficeBox", "9"}, {"telephoneNumber", "5"}, {"dnQualifier", "q"}, {"L", "Kiel"},
                       {"ST", "SH"}, {"2.5.4.97", "VATDE-1"}};
    EXPECT_EQ(name_to_str(name_der(name), kX500),
              "STREET=Main 1, T=Dr, G=Ann, I=A, SN=Berg, DC=example, SERIALNUMBER=42, Description=d, "
              "PostalCode=123, POBox=9, Phone=5, dnQualifier=q, L=Kiel, S=SH, OID.2.5.4.97=VATDE-1");
}

TEST(CertNameToStr, ValuesThatWouldReadAsMorePartsAreQuoted) {
    const struct {
        std::string value, quoted;
    } cases[] = {{"plain", "plain"}, {"in ner", "in ner"}, {" lead", "\" lead\""}, {"trail ", "\"trail \""},
                 {"a,b", "\"a,b\""}, {"a+b", "\"a+b\""},   {"a=b", "\"a=b\""},     {"a<b>", "\"a<b>\""},
                 {"#1", "\"#1\""},   {"a;b", "\"a;b\""},   {"a\nb", "\"a\nb\""},   {"", "\"\""},
                 {"say \"hi\"", "\"say \"\"hi\"\"\""}};
    for (const auto &c : cases) {
        EXPECT_EQ(name_to_str(name_der({{"CN", c.value}}), kX500), "CN=" + c.quoted);
        EXPECT_EQ(name_to_str(name_der({{"CN", c.value}}), kX500 | CERT_NAME_STR_NO_QUOTING_FLAG), "CN=" + c.value);
    }
}

TEST(CertNameToStr, SizeProtocolCountsTheTerminatorAndCutsWholeCharacters) {
    Bytes der = name_der({{"CN", "Leaf"}, {"O", "Halden"}});
    CERT_NAME_BLOB blob = blob_of(der);
    char narrow[32];
    wchar_t wide[32];
    EXPECT_EQ(CertNameToStrA(kAsn, &blob, kX500, nullptr, 0), 18u);
    EXPECT_EQ(CertNameToStrA(kAsn, &blob, kX500, narrow, 0), 18u);
    EXPECT_EQ(CertNameToStrA(kAsn, &blob, kX500, narrow, 18), 18u);
    EXPECT_STREQ(narrow, "CN=Leaf, O=Halden");
    EXPECT_EQ(CertNameToStrA(kAsn, &blob, kX500, narrow, 17), 17u);
    EXPECT_STREQ(narrow, "CN=Leaf, O=Halde");
    EXPECT_EQ(CertNameToStrW(kAsn, &blob, kX500, wide, 17), 17u);
    EXPECT_STREQ(wide, L"CN=Leaf, O=Halde");

    // A narrow cut never splits a character: each "ü" takes two bytes.
    Bytes umlauts = name_der({{"CN", "\xC3\xBC\xC3\xBC"}});
    blob = blob_of(umlauts);
    EXPECT_EQ(CertNameToStrA(kAsn, &blob, CERT_SIMPLE_NAME_STR, narrow, 4), 3u);
    EXPECT_STREQ(narrow, "\xC3\xBC");

    // Undecodable, empty or missing names: an empty string, count 1.
    Bytes garbage = {0x30, 0x05, 0x31, 0x09, 0x00}, empty = {0x30, 0x00};
    for (Bytes *bad : {&garbage, &empty}) {
        blob = blob_of(*bad);
        EXPECT_EQ(CertNameToStrA(kAsn, &blob, kX500, nullptr, 0), 1u);
        EXPECT_EQ(CertNameToStrA(kAsn, &blob, kX500, narrow, 32), 1u);
        EXPECT_STREQ(narrow, "");
        EXPECT_EQ(CertNameToStrW(kAsn, &blob, kX500, wide, 32), 1u);
        EXPECT_STREQ(wide, L"");
    }
    EXPECT_EQ(CertNameToStrA(kAsn, nullptr, kX500, narrow, 32), 1u);
}

TEST(AttributeLookup, FindsTheFirstOfATypeInEncodedOrder) {
    Bytes der = name_der({{"OU", "first", Encoded::Printable}, {"CN", "Leaf"},
                          {"OU", "second", Encoded::Printable, true}});
    CERT_NAME_INFO *name = nullptr;
    DWORD size = 0;
    ASSERT_TRUE(CryptDecodeObjectEx(kAsn, X509_NAME, der.data(), DWORD(der.size()), CRYPT_DECODE_ALLOC_FLAG,
                                    nullptr, &name, &size));
    const CERT_RDN_ATTR *ou = CertFindRDNAttr(szOID_ORGANIZATIONAL_UNIT_NAME, name);
    ASSERT_NE(ou, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(ou->Value.pbData), ou->Value.cbData), "first");
    EXPECT_EQ(CertFindRDNAttr(szOID_COUNTRY_NAME, name), nullptr);
    LocalFree(name);

    CRYPT_ATTRIBUTE attrs[] = {{const_cast<char *>("1.2.3"), 0, nullptr}, {const_cast<char *>("1.2.4"), 0, nullptr},
                               {const_cast<char *>("1.2.4"), 0, nullptr}};
    EXPECT_EQ(CertFindAttribute("1.2.4", 3, attrs), &attrs[1]);
    EXPECT_EQ(CertFindAttribute("1.2.5", 3, attrs), nullptr);
}

using Cert = std::unique_ptr<const CERT_CONTEXT, BOOL (*)(PCCERT_CONTEXT)>;
Cert make_cert(const CertSpec &plan) {
    const Bytes der = certificate(plan);
    return Cert(CertCreateCertificateContext(kAsn, der.data(), DWORD(der.size())), CertFreeCertificateContext);
}

std::string name_string(const Cert &cert, DWORD type, DWORD flags = 0, void *para = nullptr) {
    std::wstring wide(CertGetNameStringW(cert.get(), type, flags, para, nullptr, 0), L'?');
    EXPECT_EQ(CertGetNameStringW(cert.get(), type, flags, para, &wide[0], DWORD(wide.size())), wide.size());
    std::string narrow(CertGetNameStringA(cert.get(), type, flags, para, nullptr, 0), '?');
    EXPECT_EQ(CertGetNameStringA(cert.get(), type, flags, para, &narrow[0], DWORD(narrow.size())), narrow.size());
    EXPECT_EQ(narrow.c_str(), utf8(wide));
    return narrow.c_str();
}

CertSpec leaf_spec() {
    CertSpec plan;
    plan.subject = kLeafName;
    plan.issuer = {{"O", "Halden Test"}, {"CN", "Issuing CA"}};
    plan.subject_alt = "email:alt@example.org,DNS:leaf.example.org,DNS:other.example.org,"
                       "URI:http://leaf.example.org/,otherName:1.3.6.1.4.1.311.20.2.3;UTF8:leaf@corp.example";
    plan.issuer_alt = "email:ca@example.org";
    return plan;
}

TEST(CertGetNameString, EachTypeFindsItsName) {
    const Cert cert = make_cert(leaf_spec());
    ASSERT_NE(cert, nullptr);
    DWORD rdn_type = kX500 | CERT_NAME_STR_REVERSE_FLAG;
    char organization[] = szOID_ORGANIZATION_NAME, unknown[] = "2.5.4.99";
    const DWORD issuer = CERT_NAME_ISSUER_FLAG;
    const struct {
        DWORD type, flags;
        void *para;
        std::string expected;
    } cases[] = {
        {CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, "Leaf"},
        {CERT_NAME_SIMPLE_DISPLAY_TYPE, issuer, nullptr, "Issuing CA"},
        {CERT_NAME_FRIENDLY_DISPLAY_TYPE, 0, nullptr, "Leaf"},
        {CERT_NAME_EMAIL_TYPE, 0, nullptr, "alt@example.org"},
        {CERT_NAME_EMAIL_TYPE, issuer, nullptr, "ca@example.org"},
        {CERT_NAME_DNS_TYPE, 0, nullptr, "leaf.example.org"},
        {CERT_NAME_DNS_TYPE, issuer, nullptr, "Issuing CA"},
        {CERT_NAME_URL_TYPE, 0, nullptr, "http://leaf.example.org/"},
        {CERT_NAME_URL_TYPE, issuer, nullptr, ""},
        {CERT_NAME_UPN_TYPE, 0, nullptr, "leaf@corp.example"},
        {CERT_NAME_ATTR_TYPE, 0, organization, "Test, Inc."},
        {CERT_NAME_ATTR_TYPE, issuer, organization, "Halden Test"},
        {CERT_NAME_ATTR_TYPE, 0, unknown, ""},
        {CERT_NAME_RDN_TYPE, 0, &rdn_type, kLeafReversed},
        {CERT_NAME_RDN_TYPE, issuer, &rdn_type, "CN=Issuing CA, O=Halden Test"},
        {99, 0, nullptr, ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(name_string(cert, c.type, c.flags, c.para), c.expected) << "type " << c.type << " flags " << c.flags;
}

TEST(CertGetNameString, DisplayNamesFallBackInThePublishedOrder) {
    const struct {
        const char *what;
        Name subject;
        std::string alt;
        Name alt_directory;
        std::string display, email, dns;
    } cases[] = {
        {"OU before O", {{"O", "Org"}, {"OU", "Unit"}}, "", {}, "Unit", "", ""},
        {"O alone", {{"C", "DE"}, {"O", "Org"}}, "", {}, "Org", "", ""},
        {"E attribute", {{"C", "DE"}, {"emailAddress", "e@example.org", Encoded::Ia5}}, "", {}, "e@example.org",
         "e@example.org", ""},
        {"alt e-mail last", {{"C", "DE"}}, "email:alt@example.org,DNS:host.example.org", {}, "alt@example.org",
         "alt@example.org", "host.example.org"},
        {"empty subject", {}, "", {{"O", "Dir Org"}, {"CN", "Dir CN"}}, "Dir CN", "", "Dir CN"},
        {"CN for DNS", {{"CN", "www.example.org"}}, "email:x@example.org", {}, "www.example.org", "x@example.org",
         "www.example.org"},
        {"nothing usable", {{"C", "DE"}}, "", {}, "", "", ""},
    };
    for (const auto &c : cases) {
        CertSpec plan;
        plan.subject = c.subject;
        plan.issuer = {{"CN", "CA"}};
        plan.subject_alt = c.alt;
        plan.subject_alt_directory = c.alt_directory;
        const Cert cert = make_cert(plan);
        ASSERT_NE(cert, nullptr) << c.what;
        EXPECT_EQ(name_string(cert, CERT_NAME_SIMPLE_DISPLAY_TYPE), c.display) << c.what;
        EXPECT_EQ(name_string(cert, CERT_NAME_EMAIL_TYPE), c.email) << c.what;
        EXPECT_EQ(name_string(cert, CERT_NAME_DNS_TYPE), c.dns) << c.what;
    }
}

TEST(CertGetNameString, FriendlyNameAndSizeProtocol) {
    const Cert cert = make_cert(leaf_spec());
    ASSERT_NE(cert, nullptr);
    const wchar_t friendly[] = L"My Leaf";
    CRYPT_DATA_BLOB value{sizeof friendly, reinterpret_cast<BYTE *>(const_cast<wchar_t *>(friendly))};
    ASSERT_TRUE(CertSetCertificateContextProperty(cert.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &value));
    EXPECT_EQ(name_string(cert, CERT_NAME_FRIENDLY_DISPLAY_TYPE), "My Leaf");
    // The property names the certificate, not its issuer.
    EXPECT_EQ(name_string(cert, CERT_NAME_FRIENDLY_DISPLAY_TYPE, CERT_NAME_ISSUER_FLAG), "Issuing CA");

    char text[16] = "xxxxxxxxxxxxxxx";
    EXPECT_EQ(CertGetNameStringA(cert.get(), CERT_NAME_DNS_TYPE, 0, nullptr, nullptr, 0), 17u);
    EXPECT_EQ(CertGetNameStringA(cert.get(), CERT_NAME_DNS_TYPE, 0, nullptr, text, 5), 5u);
    EXPECT_STREQ(text, "leaf");
    EXPECT_EQ(CertGetNameStringA(nullptr, CERT_NAME_DNS_TYPE, 0, nullptr, text, 5), 1u);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(CertGetNameStringA(nullptr, CERT_NAME_DNS_TYPE, 0, nullptr, nullptr, 0), 1u);
}

FILETIME filetime(unsigned long long ticks) { return FILETIME{DWORD(ticks), DWORD(ticks >> 32)}; }

TEST(TimeValidity, BothEndsAreInsideAndNullMeansNow) {
    CERT_INFO cert{};
    cert.NotBefore = filetime(1000);
    cert.NotAfter = filetime(2000);
    CRL_INFO crl{};
    crl.ThisUpdate = filetime(1000);
    crl.NextUpdate = filetime(2000);
    const struct {
        unsigned long long at;
        LONG expected;
    } cases[] = {{999, -1}, {1000, 0}, {1500, 0}, {2000, 0}, {2001, 1}};
    for (const auto &c : cases) {
        FILETIME at = filetime(c.at);
        EXPECT_EQ(CertVerifyTimeValidity(&at, &cert), c.expected) << c.at;
        EXPECT_EQ(CertVerifyCRLTimeValidity(&at, &crl), c.expected) << c.at;
    }
    // Without a NextUpdate a CRL never runs out.
    crl.NextUpdate = filetime(0);
    FILETIME late = filetime(1ull << 62);
    EXPECT_EQ(CertVerifyCRLTimeValidity(&late, &crl), 0);

    EXPECT_EQ(CertVerifyTimeValidity(nullptr, &cert), 1);
    CertSpec future = leaf_spec();
    future.valid_from_days = 1;
    EXPECT_EQ(CertVerifyTimeValidity(nullptr, make_cert(leaf_spec())->pCertInfo), 0);
    EXPECT_EQ(CertVerifyTimeValidity(nullptr, make_cert(future)->pCertInfo), -1);
}

// CertVerifyRevocation loads its provider once per process, so each case
// runs in a child process, with a registry naming `provider` under a
// fresh MAREN_HOME.
struct Answer {
    BOOL result;
    DWORD last_error;
    CERT_REVOCATION_STATUS status;
};

Answer verify_two_contexts(DWORD flags) {
    const Cert cert = make_cert(leaf_spec());
    PVOID contexts[] = {const_cast<CERT_CONTEXT *>(cert.get()), const_cast<CERT_CONTEXT *>(cert.get())};
    CERT_REVOCATION_PARA para{};
    para.cbSize = sizeof para;
    Answer a{};
    a.status.cbSize = sizeof a.status;
    a.result = CertVerifyRevocation(kAsn, CERT_CONTEXT_REVOCATION_TYPE, 2, contexts, flags, &para, &a.status);
    a.last_error = GetLastError();
    std::fprintf(stderr, "result %d, last error 0x%x, index %u, status 0x%x, reason %u, freshness %u\n", a.result,
                 a.last_error, a.status.dwIndex, a.status.dwError, a.status.dwReason, a.status.dwFreshnessTime);
    return a;
}

Answer verify_with_provider(const std::string &provider, DWORD flags) {
    host_test::TempDir home;
    std::ofstream(home.file("registry.conf"))
        << "[\\cryptography\\OID\\EncodingType 1\\CertDllVerifyRevocation\\DEFAULT]\nDLL = \"" << provider << "\"\n";
    host_test::ScopedEnv home_env("MAREN_HOME", home.path());
    host_test::ScopedEnv registry_env("MAREN_REGISTRY", std::nullopt);
    return verify_two_contexts(flags);
}

bool answers_no_provider(const std::string &provider) {
    const Answer a = verify_with_provider(provider, 0);
    return a.result == FALSE && a.last_error == DWORD(CRYPT_E_NO_REVOCATION_DLL) &&
           a.status.dwError == DWORD(CRYPT_E_NO_REVOCATION_DLL) && a.status.dwIndex == 0;
}

// The stand-in's fixed verdict: the last context revoked, the flags echoed.
// Once loaded, the provider stays, whatever the registry says later.
bool answers_with_provider_verdict() {
    const DWORD flags = CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION;
    const Answer a = verify_with_provider(NAMES_TEST_PROVIDER, flags);
    const Answer again = verify_with_provider("/nonexistent/libno-provider.so", flags);
    return a.result == FALSE && a.last_error == DWORD(CRYPT_E_REVOKED) && a.status.dwIndex == 1 &&
           a.status.dwReason == CRL_REASON_KEY_COMPROMISE && a.status.dwFreshnessTime == flags &&
           again.last_error == DWORD(CRYPT_E_REVOKED);
}

TEST(CertVerifyRevocationDeathTest, WithoutALoadableProviderNothingIsChecked) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(answers_no_provider("/nonexistent/libno-provider.so") ? 0 : 1),
                ::testing::ExitedWithCode(0), "");
    // maren itself loads, but has no provider entry point.
    EXPECT_EXIT(std::exit(answers_no_provider(MAREN_LIBRARY) ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST(CertVerifyRevocationDeathTest, TheProvidersVerdictComesBackAsGiven) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(answers_with_provider_verdict() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

}  // namespace
