// Certificates, CRLs and requests: what can break in their decoders. The
// CRL entry fast path and its refusals, entries on the general path, the
// body's refusals, certificate version and extension tags, and inputs cut
// or damaged anywhere, which must fail inside the area's bounds.
#include <gtest/gtest.h>

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include <decode/fast_time.h>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

uint64_t ticks(const FILETIME &ft) { return uint64_t(ft.dwHighDateTime) << 32 | ft.dwLowDateTime; }
uint64_t ticksOf(time_t t) { return (uint64_t(t) + 11644473600ull) * 10000000ull; }
Bytes blob(const CRYPTOAPI_BLOB &b) { return Bytes(b.pbData, b.pbData + b.cbData); }
Bytes blob(const CRYPT_BIT_BLOB &b) { return Bytes(b.pbData, b.pbData + b.cbData); }

bool inside(const Decoded &d, const void *p) {
    const auto *bytes = reinterpret_cast<const BYTE *>(d.storage.data());
    return p >= bytes && p < bytes + d.size;
}

EVP_PKEY *testKey() {
    static EVP_PKEY *key = EVP_EC_gen("P-256");
    return key;
}

// --- A CRL made with OpenSSL --------------------------------------------

struct RevokedEntry {
    long serial;  // negative: a 16-byte serial made from its magnitude
    time_t revoked;
    int reason;  // -1: no reason code
    bool criticalReason;
    bool invalidityDate;
};

Bytes opensslCrl(const std::vector<RevokedEntry> &entries) {
    std::unique_ptr<X509_CRL, void (*)(X509_CRL *)> crl(X509_CRL_new(), X509_CRL_free);
    X509_CRL_set_version(crl.get(), 1);
    auto *issuer = X509_NAME_new();  // X509_NAME is also a structure constant here
    X509_NAME_add_entry_by_txt(issuer, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("Test CA"), -1, -1,
                               0);
    X509_CRL_set_issuer_name(crl.get(), issuer);
    X509_NAME_free(issuer);
    ASN1_TIME *t = ASN1_TIME_set(nullptr, 1700000000);
    X509_CRL_set1_lastUpdate(crl.get(), t);
    ASN1_TIME_set(t, 1700600000);
    X509_CRL_set1_nextUpdate(crl.get(), t);
    ASN1_TIME_free(t);
    for (const RevokedEntry &e : entries) {
        X509_REVOKED *r = X509_REVOKED_new();
        BIGNUM *bn = BN_new();
        BN_set_word(bn, static_cast<BN_ULONG>(e.serial < 0 ? -e.serial : e.serial));
        if (e.serial < 0) BN_lshift(bn, bn, 112);
        ASN1_INTEGER *serial = BN_to_ASN1_INTEGER(bn, nullptr);
        BN_free(bn);
        X509_REVOKED_set_serialNumber(r, serial);
        ASN1_INTEGER_free(serial);
        ASN1_TIME *when = ASN1_TIME_set(nullptr, e.revoked);
        X509_REVOKED_set_revocationDate(r, when);
        if (e.invalidityDate) {
            ASN1_GENERALIZEDTIME *g = ASN1_GENERALIZEDTIME_set(nullptr, e.revoked - 86400);
            X509_REVOKED_add1_ext_i2d(r, NID_invalidity_date, g, 0, 0);
            ASN1_GENERALIZEDTIME_free(g);
        }
        ASN1_TIME_free(when);
        if (e.reason >= 0) {
            ASN1_ENUMERATED *reason = ASN1_ENUMERATED_new();
            ASN1_ENUMERATED_set(reason, e.reason);
            X509_REVOKED_add1_ext_i2d(r, NID_crl_reason, reason, e.criticalReason ? 1 : 0, 0);
            ASN1_ENUMERATED_free(reason);
        }
        X509_CRL_add0_revoked(crl.get(), r);
    }
    ASN1_INTEGER *number = ASN1_INTEGER_new();
    ASN1_INTEGER_set(number, 42);
    X509_CRL_add1_ext_i2d(crl.get(), NID_crl_number, number, 0, 0);
    ASN1_INTEGER_free(number);
    X509_CRL_sign(crl.get(), testKey(), EVP_sha256());
    unsigned char *der = nullptr;
    const int n = i2d_X509_CRL(crl.get(), &der);
    Bytes out(der, der + n);
    OPENSSL_free(der);
    return out;
}

TEST(CrlDecode, OpenSSLListAgreesEntryByEntry) {
    std::vector<RevokedEntry> planned;
    for (int i = 0; i < 300; ++i) {
        // Reasons 0 to 10 take the fast path; the others the general path:
        // no reason, a critical reason, a reason behind an invalidity date,
        // revocation dates past 2049 (GeneralizedTime).
        const int kind = i % 15;
        const long serial = i % 2 ? -(0x1000L + i) : 1000L * i + 0x7F80 * (i % 3);
        RevokedEntry e{serial, 1500000000 + 86399 * i, kind <= 10 ? kind : 1, kind == 11,
                       kind == 12};
        if (kind == 13) e.reason = -1;
        if (kind == 14) e.revoked = 2600000000 + i;
        planned.push_back(e);
    }
    const Bytes der = opensslCrl(planned);
    const Decoded d = decode(X509_CERT_CRL_TO_BE_SIGNED, der);
    ASSERT_TRUE(d.ok) << std::hex << d.error;
    const CRL_INFO *info = d.as<CRL_INFO>();

    const unsigned char *p = der.data();
    std::unique_ptr<X509_CRL, void (*)(X509_CRL *)> crl(d2i_X509_CRL(nullptr, &p, long(der.size())), X509_CRL_free);
    ASSERT_TRUE(crl);
    EXPECT_EQ(info->dwVersion, 1u);
    EXPECT_EQ(ticks(info->ThisUpdate), ticksOf(1700000000));
    EXPECT_EQ(ticks(info->NextUpdate), ticksOf(1700600000));
    EXPECT_STREQ(info->SignatureAlgorithm.pszObjId, "1.2.840.10045.4.3.2");
    EXPECT_EQ(info->SignatureAlgorithm.Parameters.cbData, 0u);
    ASSERT_EQ(info->cExtension, 1u);
    EXPECT_STREQ(info->rgExtension[0].pszObjId, "2.5.29.20");
    EXPECT_EQ(blob(info->rgExtension[0].Value), hex("02 01 2A"));

    const STACK_OF(X509_REVOKED) *revoked = X509_CRL_get_REVOKED(crl.get());
    ASSERT_EQ(int(info->cCRLEntry), sk_X509_REVOKED_num(revoked));
    for (DWORD i = 0; i < info->cCRLEntry; ++i) {
        SCOPED_TRACE("entry " + std::to_string(i));
        const CRL_ENTRY &mine = info->rgCRLEntry[i];
        const X509_REVOKED *theirs = sk_X509_REVOKED_value(revoked, int(i));
        unsigned char *serialDer = nullptr;
        const int serialLength = i2d_ASN1_INTEGER(X509_REVOKED_get0_serialNumber(theirs), &serialDer);
        const Bytes serial(serialDer + 2, serialDer + serialLength);
        OPENSSL_free(serialDer);
        EXPECT_EQ(blob(mine.SerialNumber), Bytes(serial.rbegin(), serial.rend()));

        struct tm tm {};
        ASN1_TIME_to_tm(X509_REVOKED_get0_revocationDate(theirs), &tm);
        EXPECT_EQ(ticks(mine.RevocationDate), ticksOf(timegm(&tm)));

        ASSERT_EQ(int(mine.cExtension), X509_REVOKED_get_ext_count(theirs));
        for (DWORD k = 0; k < mine.cExtension; ++k) {
            const CERT_EXTENSION &ext = mine.rgExtension[k];
            X509_EXTENSION *other = X509_REVOKED_get_ext(theirs, int(k));
            char oid[64];
            OBJ_obj2txt(oid, sizeof oid, X509_EXTENSION_get_object(other), 1);
            EXPECT_STREQ(ext.pszObjId, oid);
            EXPECT_EQ(ext.fCritical != 0, X509_EXTENSION_get_critical(other) != 0);
            const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(other);
            const BYTE *v = ASN1_STRING_get0_data(value);
            EXPECT_EQ(blob(ext.Value), Bytes(v, v + ASN1_STRING_length(value)));
            // A non-critical one-byte reason code that ends the list is
            // shared constant data; everything else is a private copy.
            const bool shared = k + 1 == mine.cExtension && std::string(ext.pszObjId) == "2.5.29.21" && !ext.fCritical;
            EXPECT_EQ(inside(d, ext.pszObjId), !shared);
            EXPECT_EQ(inside(d, ext.Value.pbData), !shared);
        }
    }
}

// The direct calendar conversion of the entry path must give exactly what
// the platform's SystemTimeToFileTime gives, and refuse exactly what it
// refuses, over every UTCTime year and month and the days around each
// month's end; GeneralizedTime over leap centuries and fractions.
TEST(CrlDecode, DirectTimeConversionMatchesThePlatform) {
    auto platform = [](int year, int month, int day, int hour, int minute, int second, int millis, uint64_t *out) {
        SYSTEMTIME st{};
        st.wYear = WORD(year);
        st.wMonth = WORD(month);
        st.wDay = WORD(day);
        st.wHour = WORD(hour);
        st.wMinute = WORD(minute);
        st.wSecond = WORD(second);
        st.wMilliseconds = WORD(millis);
        FILETIME ft{};
        if (!SystemTimeToFileTime(&st, &ft)) return false;
        *out = ticks(ft);
        return true;
    };
    char text[32];
    for (int yy = 0; yy < 100; ++yy) {
        for (int month = 0; month <= 13; ++month) {
            for (int day : {0, 1, 15, 28, 29, 30, 31, 32}) {
                const int hour = (yy + day) % 25, minute = (month * 7) % 61, second = (yy * 3) % 61;
                std::snprintf(text, sizeof text, "%02d%02d%02d%02d%02d%02dZ", yy, month, day, hour, minute, second);
                uint64_t mine = 0, theirs = 0;
                const bool ok = halden::decode::detail::utc_time_ticks(reinterpret_cast<const BYTE *>(text), 13, &mine);
                const int year = yy < 50 ? 2000 + yy : 1900 + yy;
                ASSERT_EQ(ok, platform(year, month, day, hour, minute, second, 0, &theirs)) << text;
                if (ok) {
                    ASSERT_EQ(mine, theirs) << text;
                }
            }
        }
    }
    for (int year : {1600, 1601, 1900, 2000, 2100, 2400, 9999}) {
        for (const char *rest : {"0229235959Z", "0228000000.5Z", "1231235959.123Z", "0301120000.07Z"}) {
            std::snprintf(text, sizeof text, "%04d%s", year, rest);
            FILETIME ft{};
            const DWORD length = DWORD(std::strlen(text));
            const bool ok =
                halden::decode::detail::generalized_time_fast(reinterpret_cast<const BYTE *>(text), length, &ft);
            const int fraction = length > 16 ? std::atoi(text + 15) : 0;
            const int millis = length == 17 ? fraction * 100 : length == 18 ? fraction * 10 : fraction;
            uint64_t theirs = 0;
            const bool expected =
                platform(year, (text[4] - '0') * 10 + text[5] - '0', (text[6] - '0') * 10 + text[7] - '0',
                         (text[8] - '0') * 10 + text[9] - '0', (text[10] - '0') * 10 + text[11] - '0',
                         (text[12] - '0') * 10 + text[13] - '0', millis, &theirs);
            ASSERT_EQ(ok, expected) << text;
            if (ok) {
                ASSERT_EQ(ticks(ft), theirs) << text;
            }
        }
    }
}

// --- Hand-made lists ------------------------------------------------------

const char *kUtc = "17 0D 32 34 30 31 30 32 30 33 30 34 30 35 5A";  // 240102030405Z
const time_t kUtcTime = 1704164645;
const char *kReasonExt = "30 0A 06 03 55 1D 15 04 03 0A 01";  // + reason byte
const char *kInvalidityExt = "30 18 06 03 55 1D 18 04 11 18 0F 32 30 32 33 31 32 33 31 30 30 30 30 30 30 5A";

Bytes entry(const Bytes &serial, const Bytes &time, const Bytes &extensions) {
    Bytes content = cat({tlv(0x02, serial), time});
    if (!extensions.empty()) content = cat({content, tlv(0x30, extensions)});
    return tlv(0x30, content);
}

Bytes reasonExt(BYTE reason, bool critical = false) {
    return critical ? tlv(0x30, cat({hex("06 03 55 1D 15 01 01 FF 04 03 0A 01"), Bytes{reason}}))
                    : cat({hex(kReasonExt), Bytes{reason}});
}

// TBSCertList around the given revokedCertificates content (null: absent).
Bytes tbsList(const Bytes *entries, bool version = true, const char *extensions = "") {
    Bytes body = version ? hex("02 01 01") : Bytes{};
    body = cat({body, hex("30 0A 06 08 2A 86 48 CE 3D 04 03 02 30 0F 31 0D 30 0B 06 03 55 04 03 0C 04 54 65 73 74"),
                hex(kUtc)});
    if (entries) body = cat({body, tlv(0x30, *entries)});
    body = cat({body, hex(extensions)});
    return tlv(0x30, body);
}

Decoded decodeList(const Bytes &entries) { return decode(X509_CERT_CRL_TO_BE_SIGNED, tbsList(&entries), 0x2); }

TEST(CrlDecode, ReasonCodeFastPathAndItsRefusals) {
    const Bytes serial = hex("01 02");
    const Bytes invalidity = hex(kInvalidityExt);
    struct Case {
        const char *name;
        Bytes extensions;
        bool ok;
        DWORD count;
        int sharedLast;  // 1: last extension is the shared constant, 0: a private copy
    } const cases[] = {
        {"reason 0", reasonExt(0), true, 1, 1},
        {"reason 10", reasonExt(10), true, 1, 1},
        {"reason 11 in the fast form fails the list", reasonExt(11), false, 0, 0},
        {"reason 11 before another extension passes", cat({reasonExt(11), invalidity}), true, 2, 0},
        {"reason 11 as the last of two fails", cat({invalidity, reasonExt(11)}), false, 0, 0},
        {"reason 5 as the last of two is shared", cat({invalidity, reasonExt(5)}), true, 2, 1},
        {"critical reason is copied", reasonExt(1, true), true, 1, 0},
        {"no extensions", {}, true, 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const Decoded d = decodeList(cat({entry(serial, hex(kUtc), c.extensions), entry(hex("7F"), hex(kUtc), {})}));
        ASSERT_EQ(d.ok, c.ok);
        if (!c.ok) {
            EXPECT_EQ(d.error, kUntouched);
            continue;
        }
        const CRL_INFO *info = d.as<CRL_INFO>();
        ASSERT_EQ(info->cCRLEntry, 2u);
        const CRL_ENTRY &e = info->rgCRLEntry[0];
        EXPECT_EQ(blob(e.SerialNumber), hex("02 01"));
        EXPECT_EQ(ticks(e.RevocationDate), ticksOf(kUtcTime));
        ASSERT_EQ(e.cExtension, c.count);
        if (c.count == 0) continue;
        const CERT_EXTENSION &last = e.rgExtension[c.count - 1];
        EXPECT_EQ(inside(d, last.pszObjId), c.sharedLast == 0);
        if (std::string(last.pszObjId) == "2.5.29.21") {
            EXPECT_EQ(last.Value.cbData, 3u);
        }
    }
}

TEST(CrlDecode, EntryFieldsOnTheGeneralPath) {
    struct Case {
        const char *name;
        Bytes entries;
        bool ok;
        uint64_t revoked;
        Bytes serial;
    } const cases[] = {
        // 2051-01-02 03:04:05 as GeneralizedTime.
        {"generalized time", entry(hex("05"), hex("18 0F 32 30 35 31 30 31 30 32 30 33 30 34 30 35 5A"), {}), true,
         ticksOf(2556241445), hex("05")},
        {"generalized month 13 fails",
         entry(hex("05"), hex("18 0F 32 30 35 31 31 33 30 32 30 33 30 34 30 35 5A"), {}),
         false,
         0,
         {}},
        {"utc month 13 reads as zero",
         entry(hex("05"), hex("17 0D 32 34 31 33 30 32 30 33 30 34 30 35 5A"), reasonExt(1)), true, 0, hex("05")},
        {"short utc form", entry(hex("05"), hex("17 0B 32 34 30 31 30 32 30 33 30 34 5A"), reasonExt(1)), true,
         ticksOf(kUtcTime - 5), hex("05")},
        {"sign byte kept", entry(hex("00 80"), hex(kUtc), reasonExt(2)), true, ticksOf(kUtcTime), hex("80 00")},
        {"context-tagged time fails",
         entry(hex("05"), hex("A0 0D 32 34 30 31 30 32 30 33 30 34 30 35 5A"), {}),
         false,
         0,
         {}},
        {"extensions not a SEQUENCE", tlv(0x30, cat({hex("02 01 05"), hex(kUtc), hex("A0 00")})), false, 0, {}},
        {"entry without serial", tlv(0x30, hex(kUtc)), false, 0, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const Decoded d = decodeList(c.entries);
        ASSERT_EQ(d.ok, c.ok);
        if (!c.ok) continue;
        const CRL_ENTRY &e = d.as<CRL_INFO>()->rgCRLEntry[0];
        EXPECT_EQ(ticks(e.RevocationDate), c.revoked);
        EXPECT_EQ(blob(e.SerialNumber), c.serial);
    }
    EXPECT_EQ(decodeList(tlv(0x30, cat({hex("02 01 05"), hex(kUtc), hex("A0 00")}))).error, DWORD(CRYPT_E_ASN1_BADTAG));
}

TEST(CrlDecode, BodyRefusesWhatItMust) {
    const Bytes oneEntry = entry(hex("01"), hex(kUtc), reasonExt(1));
    const Bytes noEntries;
    const char *crlNumber = "A0 0E 30 0C 30 0A 06 03 55 1D 14 04 03 02 01 07";
    // A v1 list has no version and is refused, unlike a v1 certificate.
    Decoded d = decode(X509_CERT_CRL_TO_BE_SIGNED, tbsList(&oneEntry, false), 0x2);
    EXPECT_FALSE(d.ok);
    EXPECT_EQ(d.error, kUntouched);
    // Neither entries nor extensions.
    d = decode(X509_CERT_CRL_TO_BE_SIGNED, tbsList(nullptr), 0x2);
    EXPECT_FALSE(d.ok);
    EXPECT_EQ(d.error, kUntouched);
    // Extensions alone, or an empty SEQUENCE OF, are a list of no entries.
    for (const Bytes *entries : {static_cast<const Bytes *>(nullptr), &noEntries}) {
        d = decode(X509_CERT_CRL_TO_BE_SIGNED, tbsList(entries, true, crlNumber), 0x2);
        ASSERT_TRUE(d.ok);
        EXPECT_EQ(d.as<CRL_INFO>()->cCRLEntry, 0u);
        EXPECT_EQ(d.as<CRL_INFO>()->cExtension, 1u);
        EXPECT_EQ(ticks(d.as<CRL_INFO>()->NextUpdate), 0u);
    }
    // The extensions must be [0] constructed.
    d = decode(X509_CERT_CRL_TO_BE_SIGNED, tbsList(&oneEntry, true, "A1 02 30 00"), 0x2);
    EXPECT_FALSE(d.ok);
    EXPECT_EQ(d.error, DWORD(CRYPT_E_ASN1_BADTAG));
}

// --- Certificates -----------------------------------------------------------

Bytes tbsCertificate(const char *version, const char *validity, const char *tail) {
    return tlv(0x30, cat({hex(version), hex("02 01 07 30 0A 06 08 2A 86 48 CE 3D 04 03 02"),
                          hex("30 0F 31 0D 30 0B 06 03 55 04 03 0C 04 54 65 73 74"), hex(validity),
                          hex("30 0F 31 0D 30 0B 06 03 55 04 03 0C 04 4C 65 61 66"),
                          hex("30 11 30 09 06 07 2A 86 48 CE 3D 02 01 03 04 01 02 03 04"), hex(tail)}));
}

TEST(CertificateDecode, VersionExtensionTagsAndValidity) {
    const char *validity =
        "30 1E 17 0D 32 34 30 31 30 32 30 33 30 34 30 35 5A 17 0D 32 35 30 31 30 32 30 33 30 34 30 35 5A";
    const char *oneExtension = "A3 0E 30 0C 30 0A 06 03 55 1D 13 04 03 30 01 FF";
    struct Case {
        const char *name;
        const char *version;
        const char *validity;
        const char *tail;
        bool ok;
        DWORD dwVersion;
        DWORD extensions;
    } const cases[] = {
        {"v3", "A0 03 02 01 02", validity, oneExtension, true, 2, 1},
        {"no version is v1", "", validity, "", true, 0, 0},
        {"version of two bytes", "A0 04 02 02 00 02", validity, "", false, 0, 0},
        {"version with outer length 4", "A0 04 02 01 02 00", validity, "", false, 0, 0},
        {"extensions tagged 0x83 are ignored", "A0 03 02 01 02", validity, "83 02 30 00", true, 2, 0},
        {"extensions tagged 0xA4 are ignored", "A0 03 02 01 02", validity, "A4 02 30 00", true, 2, 0},
        {"unique ids of any class", "A0 03 02 01 02", validity, "81 02 00 AA A2 02 00 BB", true, 2, 0},
        {"context-class time", "",
         "30 1E 80 0D 32 34 30 31 30 32 30 33 30 34 30 35 5A 17 0D 32 35 30 31 30 32 30 33 30 34 30 35 5A", "", false,
         0, 0},
        {"generalized validity", "",
         "30 22 18 0F 32 30 32 34 30 31 30 32 30 33 30 34 30 35 5A 18 0F 32 30 32 35 30 31 30 32 30 33 30 34 30 35 5A",
         "", true, 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const Decoded d = decode(X509_CERT_TO_BE_SIGNED, tbsCertificate(c.version, c.validity, c.tail), 0x2);
        ASSERT_EQ(d.ok, c.ok);
        if (!c.ok) continue;
        const CERT_INFO *info = d.as<CERT_INFO>();
        EXPECT_EQ(info->dwVersion, c.dwVersion);
        EXPECT_EQ(info->cExtension, c.extensions);
        EXPECT_EQ(ticks(info->NotBefore), ticksOf(kUtcTime));
        EXPECT_EQ(blob(info->SubjectPublicKeyInfo.PublicKey), hex("02 03 04"));
        EXPECT_EQ(info->SubjectPublicKeyInfo.PublicKey.cUnusedBits, 1u);
        EXPECT_EQ(blob(info->SignatureAlgorithm.Parameters), Bytes{});
    }
}

// --- Damaged input ----------------------------------------------------------

Bytes opensslRequest() {
    std::unique_ptr<X509_REQ, void (*)(X509_REQ *)> req(X509_REQ_new(), X509_REQ_free);
    X509_REQ_set_version(req.get(), 0);
    X509_NAME_add_entry_by_txt(X509_REQ_get_subject_name(req.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>("Requester"), -1, -1, 0);
    X509_REQ_set_pubkey(req.get(), testKey());
    X509_REQ_add1_attr_by_txt(req.get(), "challengePassword", MBSTRING_ASC,
                              reinterpret_cast<const unsigned char *>("secret"), -1);
    X509_REQ_sign(req.get(), testKey(), EVP_sha256());
    unsigned char *der = nullptr;
    const int n = i2d_X509_REQ(req.get(), &der);
    Bytes out(der, der + n);
    OPENSSL_free(der);
    return out;
}

TEST(RequestDecode, OpenSSLRequestAgrees) {
    const Decoded d = decode(X509_CERT_REQUEST_TO_BE_SIGNED, opensslRequest());
    ASSERT_TRUE(d.ok);
    const CERT_REQUEST_INFO *info = d.as<CERT_REQUEST_INFO>();
    EXPECT_EQ(info->dwVersion, 0u);
    EXPECT_STREQ(info->SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.840.10045.2.1");
    EXPECT_EQ(blob(info->SubjectPublicKeyInfo.Algorithm.Parameters), hex("06 08 2A 86 48 CE 3D 03 01 07"));
    EXPECT_EQ(info->SubjectPublicKeyInfo.PublicKey.cbData, 65u);
    ASSERT_EQ(info->cAttribute, 1u);
    EXPECT_STREQ(info->rgAttribute[0].pszObjId, "1.2.840.113549.1.9.7");
    ASSERT_EQ(info->rgAttribute[0].cValue, 1u);
    EXPECT_EQ(blob(info->rgAttribute[0].rgValue[0]), hex("0C 06 73 65 63 72 65 74"));
}

// Every prefix and many one-byte changes of real objects: the decoders may
// fail but must stay inside the input and the area (the sanitizers watch),
// and the writing pass alone must stay inside areas sized to the byte.
TEST(DecoderSafety, CutAndDamagedObjectsStayInBounds) {
    std::vector<RevokedEntry> planned;
    for (int i = 0; i < 4; ++i) planned.push_back({i + 1L, 1600000000 + i, i * 3 - 1, i == 2, i == 3});
    struct Sample {
        LPCSTR type;
        Bytes der;
    } const samples[] = {
        {X509_CERT_CRL_TO_BE_SIGNED, opensslCrl(planned)},
        {X509_CERT_REQUEST_TO_BE_SIGNED, opensslRequest()},
        {X509_CERT_TO_BE_SIGNED, tbsCertificate("A0 03 02 01 02",
                                                "30 1E 17 0D 32 34 30 31 30 32 30 33 30 34 30 35 5A 17 0D 32 35 "
                                                "30 31 30 32 30 33 30 34 30 35 5A",
                                                "A3 0E 30 0C 30 0A 06 03 55 1D 13 04 03 30 01 FF")},
    };
    for (const Sample &s : samples) {
        for (size_t cut = 0; cut <= s.der.size(); ++cut) {
            const Bytes prefix(s.der.begin(), s.der.begin() + long(cut));
            decode(s.type, prefix);
            decode(s.type, prefix, 0x2);
        }
        for (size_t at = 0; at < s.der.size(); ++at) {
            for (BYTE change : {BYTE(0xFF), BYTE(0x80), BYTE(0x01), BYTE(0x20)}) {
                Bytes damaged = s.der;
                damaged[at] ^= change;
                decode(s.type, damaged);
            }
        }
        DWORD size = 0;
        ASSERT_TRUE(TSDecodeObject(0, s.type, s.der.data(), DWORD(s.der.size()), 0, nullptr, &size));
        for (DWORD n = 0; n < size; ++n) {
            std::unique_ptr<BYTE[]> area(new BYTE[n ? n : 1]);
            DWORD given = n;
            const BOOL ok = TSDecodeObject(1, s.type, s.der.data(), DWORD(s.der.size()), 0, area.get(), &given);
            if (n + 8 <= size) {
                EXPECT_FALSE(ok) << "area of " << n << " of " << size;
            }
        }
    }
}

}  // namespace
