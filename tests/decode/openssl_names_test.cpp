// Subject names of the system's CA certificates, decoded here and compared
// with what OpenSSL reads from the same bytes.
#include <gtest/gtest.h>

#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

// The value as the lenient flavour stores it: 8-bit strings as they are,
// UTF8String and BMPString as 32-bit units.
Bytes expectedValue(const ASN1_STRING *s) {
    const BYTE *data = ASN1_STRING_get0_data(s);
    const int n = ASN1_STRING_length(s);
    std::wstring wide;
    if (ASN1_STRING_type(s) == V_ASN1_UTF8STRING) {
        wide.resize(size_t(MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<LPCSTR>(data), n, nullptr, 0)));
        MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<LPCSTR>(data), n, &wide[0], int(wide.size()));
    } else if (ASN1_STRING_type(s) == V_ASN1_BMPSTRING) {
        for (int i = 0; i + 1 < n; i += 2) wide += wchar_t(data[i] << 8 | data[i + 1]);
    } else {
        return Bytes(data, data + n);
    }
    const auto *bytes = reinterpret_cast<const BYTE *>(wide.data());
    return Bytes(bytes, bytes + wide.size() * sizeof(wchar_t));
}

TEST(NamesAgainstOpenSSL, CaBundleSubjectsDecodeToTheSameAttributes) {
    std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen("/etc/ssl/certs/ca-certificates.crt", "r"), std::fclose);
    if (!file) GTEST_SKIP() << "no CA bundle";
    int compared = 0;
    for (; compared < 25; ++compared) {
        std::unique_ptr<X509, void (*)(X509 *)> cert(PEM_read_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        if (!cert) break;
        // X509_NAME is the structure constant here; OpenSSL's type is spelled out.
        const struct X509_name_st *subject = X509_get_subject_name(cert.get());
        unsigned char *der = nullptr;
        const int length = i2d_X509_NAME(subject, &der);
        const Bytes encoded(der, der + length);
        OPENSSL_free(der);
        SCOPED_TRACE(compared);

        const Decoded d = decode(X509_CERT_NAME_LENIENT, encoded);
        ASSERT_TRUE(d.ok);
        const auto *info = d.as<CERT_NAME_INFO>();
        DWORD rdn = 0, attr = 0;
        for (int i = 0; i < X509_NAME_entry_count(subject); ++i) {
            const X509_NAME_ENTRY *entry = X509_NAME_get_entry(subject, i);
            if (i > 0 && X509_NAME_ENTRY_set(entry) != X509_NAME_ENTRY_set(X509_NAME_get_entry(subject, i - 1))) {
                EXPECT_EQ(info->rgRDN[rdn].cRDNAttr, attr);
                ++rdn;
                attr = 0;
            }
            ASSERT_LT(rdn, info->cRDN);
            ASSERT_LT(attr, info->rgRDN[rdn].cRDNAttr);
            const CERT_RDN_ATTR &mine = info->rgRDN[rdn].rgRDNAttr[attr++];
            char oid[128];
            OBJ_obj2txt(oid, sizeof oid, X509_NAME_ENTRY_get_object(entry), 1);
            EXPECT_STREQ(mine.pszObjId, oid);
            EXPECT_EQ(Bytes(mine.Value.pbData, mine.Value.pbData + mine.Value.cbData),
                      expectedValue(X509_NAME_ENTRY_get_data(entry)));
        }
        EXPECT_EQ(rdn + 1, info->cRDN);
    }
    EXPECT_GT(compared, 0);
}

}  // namespace
