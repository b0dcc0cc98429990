// Every certificate of the system's CA bundle, decoded here and read by
// OpenSSL from the same bytes: the two must agree field by field, and so
// must the bodies of the extensions the engine reasons about.
//
// Where the decoder differs from OpenSSL on purpose, the test names the
// reason and counts the case instead of skipping it silently:
//   - The strict name flavour (X509_NAME) refuses TeletexString,
//     VideotexString, GraphicString, VisibleString and GeneralString values
//     and NumericStrings with anything but digits; the lenient flavour
//     (X509_CERT_NAME_LENIENT) takes them all.
#include <gtest/gtest.h>

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

constexpr const char *kBundle = "/etc/ssl/certs/ca-certificates.crt";

std::string dotted(const ASN1_OBJECT *object) {
    char text[128];
    OBJ_obj2txt(text, sizeof text, object, 1);
    return text;
}

template <typename T, int (*Encode)(const T *, unsigned char **)>
Bytes der(const T *value) {
    unsigned char *out = nullptr;
    const int n = Encode(value, &out);
    Bytes bytes(out, out + (n > 0 ? n : 0));
    OPENSSL_free(out);
    return bytes;
}

Bytes blob(const CRYPTOAPI_BLOB &b) { return Bytes(b.pbData, b.pbData + b.cbData); }

// The content of the first value of `encoded` (short or long length form).
Bytes contentOf(const Bytes &encoded, size_t *valueEnd = nullptr) {
    size_t at = 1;
    size_t length = encoded[at++];
    if (length & 0x80) {
        const size_t n = length & 0x7F;
        length = 0;
        for (size_t i = 0; i < n; ++i) length = length << 8 | encoded[at++];
    }
    if (valueEnd) *valueEnd = at + length;
    return Bytes(encoded.begin() + long(at), encoded.begin() + long(at + length));
}

// AlgorithmIdentifier DER -> the parameters behind the OID, as encoded.
Bytes parametersOf(const Bytes &algorithmDer) {
    const Bytes body = contentOf(algorithmDer);
    size_t oidEnd = 0;
    contentOf(body, &oidEnd);
    return Bytes(body.begin() + long(oidEnd), body.end());
}

uint64_t fileTimeOf(const ASN1_TIME *time) {
    struct tm tm {};
    if (ASN1_TIME_to_tm(time, &tm) != 1) return 0;
    return (uint64_t(timegm(&tm)) + 11644473600ull) * 10000000ull;
}

uint64_t ticks(const FILETIME &ft) { return uint64_t(ft.dwHighDateTime) << 32 | ft.dwLowDateTime; }

// A name value as the 8-bit flavours store it, from OpenSSL's view.
Bytes expectedValue(const ASN1_STRING *s) {
    const BYTE *data = ASN1_STRING_get0_data(s);
    const int n = ASN1_STRING_length(s);
    if (ASN1_STRING_type(s) == V_ASN1_UTF8STRING) {
        const int units = MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<LPCSTR>(data), n, nullptr, 0);
        std::wstring wide(size_t(units > 0 ? units : 0), L'\0');
        if (units > 0) MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<LPCSTR>(data), n, &wide[0], units);
        const auto *bytes = reinterpret_cast<const BYTE *>(wide.data());
        return Bytes(bytes, bytes + wide.size() * sizeof(wchar_t));
    }
    if (ASN1_STRING_type(s) == V_ASN1_BMPSTRING) {
        Bytes out;
        for (int i = 0; i + 1 < n; i += 2) {
            const uint32_t unit = uint32_t(data[i]) << 8 | data[i + 1];
            const auto *u = reinterpret_cast<const BYTE *>(&unit);
            out.insert(out.end(), u, u + 4);
        }
        return out;
    }
    return Bytes(data, data + n);
}

// Why the strict flavour may refuse this name, or null if it must not.
const char *strictRefusal(const struct X509_name_st *name) {
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        const ASN1_STRING *v = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, i));
        if (ASN1_STRING_length(v) == 0) continue;
        switch (ASN1_STRING_type(v)) {
        case V_ASN1_T61STRING:
        case V_ASN1_VIDEOTEXSTRING:
        case V_ASN1_GRAPHICSTRING:
        case V_ASN1_VISIBLESTRING:
        case V_ASN1_GENERALSTRING:
            return "string type refused by the strict flavour";
        case V_ASN1_NUMERICSTRING: {
            const BYTE *d = ASN1_STRING_get0_data(v);
            for (int k = 0; k < ASN1_STRING_length(v); ++k)
                if (d[k] < '0' || d[k] > '9') return "NumericString with a non-digit";
            break;
        }
        default:
            break;
        }
    }
    return nullptr;
}

// One name in one flavour against OpenSSL's entries, in order.
void expectSameName(const struct X509_name_st *name, LPCSTR type, int *strictRefusals, const std::string &where) {
    const Bytes encoded = der<struct X509_name_st, i2d_X509_NAME>(name);
    const Decoded d = decode(type, encoded);
    const char *refusal = strictRefusal(name);
    if (type == X509_NAME && refusal != nullptr) {
        EXPECT_FALSE(d.ok) << where << ": " << refusal;
        ++*strictRefusals;
        return;
    }
    ASSERT_TRUE(d.ok) << where << " last error " << std::hex << d.error;
    const CERT_NAME_INFO *info = d.as<CERT_NAME_INFO>();
    int index = 0;
    for (DWORD r = 0; r < info->cRDN; ++r) {
        for (DWORD a = 0; a < info->rgRDN[r].cRDNAttr; ++a, ++index) {
            ASSERT_LT(index, X509_NAME_entry_count(name)) << where;
            const X509_NAME_ENTRY *e = X509_NAME_get_entry(name, index);
            const CERT_RDN_ATTR &attr = info->rgRDN[r].rgRDNAttr[a];
            EXPECT_EQ(attr.pszObjId, dotted(X509_NAME_ENTRY_get_object(e))) << where;
            EXPECT_EQ(X509_NAME_ENTRY_set(e), int(r)) << where << ": RDN grouping";
            EXPECT_EQ(blob(attr.Value), expectedValue(X509_NAME_ENTRY_get_data(e))) << where << " " << attr.pszObjId;
        }
    }
    EXPECT_EQ(index, X509_NAME_entry_count(name)) << where;
}

// The structure constant that reads an extension's body, or null.
LPCSTR bodyType(int nid) {
    switch (nid) {
    case NID_basic_constraints: return X509_BASIC_CONSTRAINTS2;
    case NID_authority_key_identifier: return X509_AUTHORITY_KEY_ID2;
    case NID_crl_distribution_points: return X509_CRL_DIST_POINTS;
    case NID_info_access: return X509_AUTHORITY_INFO_ACCESS;
    case NID_certificate_policies: return X509_CERT_POLICIES;
    case NID_subject_alt_name:
    case NID_issuer_alt_name: return X509_ALTERNATE_NAME;
    case NID_policy_constraints: return X509_POLICY_CONSTRAINTS;
    case NID_policy_mappings: return X509_POLICY_MAPPINGS;
    case NID_key_usage: return X509_KEY_USAGE;
    case NID_ext_key_usage: return X509_ENHANCED_KEY_USAGE;
    default: return nullptr;
    }
}

int g_bodiesCompared = 0;

// The bodies of the extensions the engine reasons about, decoded here and by
// OpenSSL's own extension decoders from the same bytes. The list-shaped ones
// begin with their element count and are OpenSSL stacks.
void expectSameExtensionBody(X509_EXTENSION *ext, const std::string &where) {
    const int nid = OBJ_obj2nid(X509_EXTENSION_get_object(ext));
    const LPCSTR type = bodyType(nid);
    if (type == nullptr) return;
    const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(ext);
    const BYTE *body = ASN1_STRING_get0_data(value);
    const Decoded d = decode(type, Bytes(body, body + ASN1_STRING_length(value)));
    const std::string at = where + " extension " + dotted(X509_EXTENSION_get_object(ext));
    ASSERT_TRUE(d.ok) << at;
    ++g_bodiesCompared;
    void *theirs = X509V3_EXT_d2i(ext);
    ASSERT_NE(theirs, nullptr) << at;
    if (nid == NID_basic_constraints) {
        auto *bc = static_cast<BASIC_CONSTRAINTS *>(theirs);
        const auto *mine = d.as<CERT_BASIC_CONSTRAINTS2_INFO>();
        EXPECT_EQ(mine->fCA != 0, bc->ca != 0) << at;
        EXPECT_EQ(mine->fPathLenConstraint != 0, bc->pathlen != nullptr) << at;
        EXPECT_EQ(long(mine->dwPathLenConstraint), bc->pathlen ? ASN1_INTEGER_get(bc->pathlen) : 0) << at;
        BASIC_CONSTRAINTS_free(bc);
    } else if (nid == NID_authority_key_identifier) {
        auto *akid = static_cast<AUTHORITY_KEYID *>(theirs);
        const auto *mine = d.as<CERT_AUTHORITY_KEY_ID2_INFO>();
        const Bytes keyId = akid->keyid ? Bytes(akid->keyid->data, akid->keyid->data + akid->keyid->length) : Bytes{};
        EXPECT_EQ(blob(mine->KeyId), keyId) << at;
        EXPECT_EQ(int(mine->AuthorityCertIssuer.cAltEntry), akid->issuer ? sk_GENERAL_NAME_num(akid->issuer) : 0) << at;
        AUTHORITY_KEYID_free(akid);
    } else if (nid != NID_policy_constraints && nid != NID_key_usage) {
        auto *stack = static_cast<OPENSSL_STACK *>(theirs);
        EXPECT_EQ(int(*d.as<DWORD>()), OPENSSL_sk_num(stack)) << at;
    }
    if (nid != NID_basic_constraints && nid != NID_authority_key_identifier)
        ASN1_item_free(static_cast<ASN1_VALUE *>(theirs), ASN1_ITEM_ptr(X509V3_EXT_get(ext)->it));
}

void expectSameCertificate(X509 *cert, const Bytes &encoded, const std::string &where) {
    const Decoded d = decode(X509_CERT_TO_BE_SIGNED, encoded);
    ASSERT_TRUE(d.ok) << where << " last error " << std::hex << d.error;
    const CERT_INFO *info = d.as<CERT_INFO>();

    EXPECT_EQ(long(info->dwVersion), X509_get_version(cert)) << where;
    Bytes serial = contentOf(der<ASN1_INTEGER, i2d_ASN1_INTEGER>(X509_get0_serialNumber(cert)));
    EXPECT_EQ(blob(info->SerialNumber), Bytes(serial.rbegin(), serial.rend())) << where;

    const Bytes signatureAlgorithm = der<X509_ALGOR, i2d_X509_ALGOR>(X509_get0_tbs_sigalg(cert));
    const ASN1_OBJECT *sigOid = nullptr;
    X509_ALGOR_get0(&sigOid, nullptr, nullptr, X509_get0_tbs_sigalg(cert));
    EXPECT_EQ(info->SignatureAlgorithm.pszObjId, dotted(sigOid)) << where;
    EXPECT_EQ(blob(info->SignatureAlgorithm.Parameters), parametersOf(signatureAlgorithm)) << where;

    EXPECT_EQ(blob(info->Issuer), (der<struct X509_name_st, i2d_X509_NAME>(X509_get_issuer_name(cert)))) << where;
    EXPECT_EQ(blob(info->Subject), (der<struct X509_name_st, i2d_X509_NAME>(X509_get_subject_name(cert)))) << where;
    EXPECT_EQ(ticks(info->NotBefore), fileTimeOf(X509_get0_notBefore(cert))) << where;
    EXPECT_EQ(ticks(info->NotAfter), fileTimeOf(X509_get0_notAfter(cert))) << where;

    X509_PUBKEY *key = X509_get_X509_PUBKEY(cert);
    ASN1_OBJECT *keyOid = nullptr;
    const unsigned char *keyBits = nullptr;
    int keyLength = 0;
    X509_ALGOR *keyAlgorithm = nullptr;
    ASSERT_EQ(X509_PUBKEY_get0_param(&keyOid, &keyBits, &keyLength, &keyAlgorithm, key), 1);
    const CERT_PUBLIC_KEY_INFO &spki = info->SubjectPublicKeyInfo;
    EXPECT_EQ(spki.Algorithm.pszObjId, dotted(keyOid)) << where;
    EXPECT_EQ(blob(spki.Algorithm.Parameters), parametersOf(der<X509_ALGOR, i2d_X509_ALGOR>(keyAlgorithm))) << where;
    EXPECT_EQ(Bytes(spki.PublicKey.pbData, spki.PublicKey.pbData + spki.PublicKey.cbData),
              Bytes(keyBits, keyBits + keyLength))
        << where;
    EXPECT_EQ(spki.PublicKey.cUnusedBits, 0u) << where;

    ASSERT_EQ(int(info->cExtension), X509_get_ext_count(cert)) << where;
    for (DWORD i = 0; i < info->cExtension; ++i) {
        X509_EXTENSION *ext = X509_get_ext(cert, int(i));
        const CERT_EXTENSION &mine = info->rgExtension[i];
        EXPECT_EQ(mine.pszObjId, dotted(X509_EXTENSION_get_object(ext))) << where;
        EXPECT_EQ(mine.fCritical != 0, X509_EXTENSION_get_critical(ext) != 0) << where << " " << mine.pszObjId;
        const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(ext);
        const BYTE *v = ASN1_STRING_get0_data(value);
        EXPECT_EQ(blob(mine.Value), Bytes(v, v + ASN1_STRING_length(value))) << where << " " << mine.pszObjId;
        expectSameExtensionBody(ext, where);
    }

    // The signed wrapper: the to-be-signed bytes as they stand, the outer
    // algorithm and the signature in the order of the encoding.
    const Decoded s = decode(X509_CERT, encoded);
    ASSERT_TRUE(s.ok) << where;
    const CERT_SIGNED_CONTENT_INFO *signedInfo = s.as<CERT_SIGNED_CONTENT_INFO>();
    size_t tbsEnd = 0;
    const Bytes outer = contentOf(encoded);
    contentOf(outer, &tbsEnd);
    EXPECT_EQ(blob(signedInfo->ToBeSigned), Bytes(outer.begin(), outer.begin() + long(tbsEnd))) << where;
    const ASN1_BIT_STRING *signature = nullptr;
    const X509_ALGOR *outerAlgorithm = nullptr;
    X509_get0_signature(&signature, &outerAlgorithm, cert);
    const BYTE *sig = ASN1_STRING_get0_data(signature);
    EXPECT_EQ(Bytes(signedInfo->Signature.pbData, signedInfo->Signature.pbData + signedInfo->Signature.cbData),
              Bytes(sig, sig + ASN1_STRING_length(signature)))
        << where;
    EXPECT_EQ(signedInfo->SignatureAlgorithm.pszObjId, std::string(info->SignatureAlgorithm.pszObjId)) << where;
}

TEST(CaBundleAgreement, EveryCertificateDecodesAsOpenSSLReadsIt) {
    std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(kBundle, "r"), std::fclose);
    if (!file) GTEST_SKIP() << "no CA bundle at " << kBundle;
    int certificates = 0;
    int strictRefusals = 0;
    for (;;) {
        std::unique_ptr<X509, void (*)(X509 *)> cert(PEM_read_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        if (!cert) break;
        const Bytes encoded = der<X509, i2d_X509>(cert.get());
        char subjectText[256];
        X509_NAME_oneline(X509_get_subject_name(cert.get()), subjectText, sizeof subjectText);
        const std::string where = "certificate " + std::to_string(certificates) + " " + subjectText;
        expectSameCertificate(cert.get(), encoded, where);
        for (LPCSTR type : {X509_NAME, X509_CERT_NAME_LENIENT}) {
            expectSameName(X509_get_issuer_name(cert.get()), type, &strictRefusals, where + " issuer");
            expectSameName(X509_get_subject_name(cert.get()), type, &strictRefusals, where + " subject");
        }
        ++certificates;
    }
    EXPECT_GT(certificates, 100) << "the bundle looks truncated";
    // Deliberate differences, counted: they must stay the exception.
    EXPECT_LT(strictRefusals, certificates / 4);
    EXPECT_GT(g_bodiesCompared, certificates);
    std::printf("%d certificates and %d extension bodies agree; %d names refused by the strict flavour on purpose\n",
                certificates, g_bodiesCompared, strictRefusals);
}

// Every prefix and one-byte changes at every place: the decoders may fail
// but must stay inside the input and the area (the sanitizers watch); the
// writing pass alone must stay inside an area sized to the byte.
void cutAndDamage(LPCSTR type, const Bytes &der) {
    for (size_t cut = 0; cut < der.size(); ++cut) decode(type, Bytes(der.begin(), der.begin() + long(cut)));
    for (size_t at = 0; at < der.size(); ++at) {
        for (BYTE change : {BYTE(0xFF), BYTE(0x80), BYTE(0x20), BYTE(0x01)}) {
            Bytes damaged = der;
            damaged[at] ^= change;
            const Decoded d = decode(type, damaged);
            if (!d.ok || d.size == 0) continue;
            std::unique_ptr<BYTE[]> exact(new BYTE[d.size - 1]);
            DWORD size = d.size - 1;
            TSDecodeObject(1, type, damaged.data(), DWORD(damaged.size()), 0, exact.get(), &size);
        }
    }
}

TEST(CaBundleAgreement, CutAndDamagedCertificatesAndExtensionsStayInBounds) {
    std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(kBundle, "r"), std::fclose);
    if (!file) GTEST_SKIP() << "no CA bundle at " << kBundle;
    for (int n = 0; n < 12; ++n) {
        std::unique_ptr<X509, void (*)(X509 *)> cert(PEM_read_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        if (!cert) break;
        if (n < 3) cutAndDamage(X509_CERT_TO_BE_SIGNED, der<X509, i2d_X509>(cert.get()));
        for (int i = 0; i < X509_get_ext_count(cert.get()); ++i) {
            X509_EXTENSION *ext = X509_get_ext(cert.get(), i);
            const LPCSTR type = bodyType(OBJ_obj2nid(X509_EXTENSION_get_object(ext)));
            if (type == nullptr) continue;
            const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(ext);
            cutAndDamage(type, Bytes(ASN1_STRING_get0_data(value),
                                     ASN1_STRING_get0_data(value) + ASN1_STRING_length(value)));
        }
    }
}

}  // namespace
