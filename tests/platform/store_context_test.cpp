/* Certificate and CRL contexts: creation, published fields, references,
 * the CRL shapes the object decoder refuses, properties, and the
 * comparison helpers. */
#include <cstring>

#include <gtest/gtest.h>

#include "tests/platform/store_test_support.h"

using namespace store_test;

namespace {

DWORD last_error() { return GetLastError(); }

Bytes property(PCCERT_CONTEXT cert, DWORD id) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(cert, id, nullptr, &size)) return {};
    Bytes value(size);
    if (!CertGetCertificateContextProperty(cert, id, value.data(), &size)) return {};
    value.resize(size);
    return value;
}

class ContextTest : public ::testing::Test {
  protected:
    Key ca_key = make_key();
    Key leaf_key = make_key();
};

TEST_F(ContextTest, CreatedCertificateShowsItsPublishedFields) {
    const Bytes der = make_cert(CertPlan("leaf", "ca", 0x1234, leaf_key, ca_key));
    Cert cert = cert_of(der);
    ASSERT_TRUE(cert);
    EXPECT_EQ(X509_ASN_ENCODING, cert->dwCertEncodingType);
    ASSERT_EQ(der.size(), cert->cbCertEncoded);
    EXPECT_EQ(0, std::memcmp(der.data(), cert->pbCertEncoded, der.size()));
    EXPECT_NE(der.data(), cert->pbCertEncoded) << "the context keeps its own copy";
    EXPECT_EQ(nullptr, cert->hCertStore);
    const CERT_INFO &info = *cert->pCertInfo;
    EXPECT_EQ(DWORD(CERT_V3), info.dwVersion);
    const Bytes subject = name_der("leaf"), issuer = name_der("ca");
    EXPECT_EQ(subject, Bytes(info.Subject.pbData, info.Subject.pbData + info.Subject.cbData));
    EXPECT_EQ(issuer, Bytes(info.Issuer.pbData, info.Issuer.pbData + info.Issuer.cbData));
    ASSERT_EQ(2u, info.SerialNumber.cbData);
    EXPECT_EQ(0x34, info.SerialNumber.pbData[0]) << "serials are little-endian";
    EXPECT_EQ(0x12, info.SerialNumber.pbData[1]);
}

TEST_F(ContextTest, MalformedOrForeignEncodingsAreRefused) {
    const Bytes der = make_cert(CertPlan("leaf", "", 1, leaf_key));
    const BYTE junk[] = {0x30, 0x03, 0x02, 0x01, 0x01};
    SetLastError(0);
    EXPECT_EQ(nullptr, CertCreateCertificateContext(X509_ASN_ENCODING, junk, sizeof junk));
    EXPECT_NE(0u, last_error());
    EXPECT_EQ(nullptr, CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), DWORD(der.size() - 10)));
    EXPECT_EQ(nullptr, CertCreateCertificateContext(X509_NDR_ENCODING, der.data(), DWORD(der.size())));
    EXPECT_EQ(DWORD(E_INVALIDARG), last_error());
    EXPECT_EQ(nullptr, CertCreateCRLContext(X509_ASN_ENCODING, der.data(), DWORD(der.size())))
        << "a certificate is no CRL";
}

TEST_F(ContextTest, DuplicateReturnsTheSamePointerAndKeepsTheContextAlive) {
    const Bytes der = make_cert(CertPlan("leaf", "", 1, leaf_key));
    PCCERT_CONTEXT cert = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), DWORD(der.size()));
    ASSERT_NE(nullptr, cert);
    PCCERT_CONTEXT again = CertDuplicateCertificateContext(cert);
    EXPECT_EQ(cert, again);
    EXPECT_TRUE(CertFreeCertificateContext(cert));
    EXPECT_EQ(0, std::memcmp(der.data(), again->pbCertEncoded, der.size())) << "one reference is left";
    EXPECT_TRUE(CertFreeCertificateContext(again));
    EXPECT_TRUE(CertFreeCertificateContext(nullptr));
    EXPECT_EQ(nullptr, CertDuplicateCertificateContext(nullptr));

    const Bytes crl_der = make_crl(CrlPlan("ca", ca_key, {5}));
    PCCRL_CONTEXT crl = CertCreateCRLContext(X509_ASN_ENCODING, crl_der.data(), DWORD(crl_der.size()));
    ASSERT_NE(nullptr, crl);
    EXPECT_EQ(crl, CertDuplicateCRLContext(crl));
    EXPECT_TRUE(CertFreeCRLContext(crl));
    EXPECT_TRUE(CertFreeCRLContext(crl));
    EXPECT_TRUE(CertFreeCRLContext(nullptr));
}

TEST_F(ContextTest, CrlShapesTheDecoderRefusesStillMakeContexts) {
    struct Case {
        const char *what;
        CrlPlan plan;
        DWORD version;
        DWORD entries;
        DWORD extensions;
    } cases[] = {
        {"version 1 with entries", CrlPlan("ca", ca_key, {7, 300}).version1(), CRL_V1, 2, 0},
        {"version 1 without entries", CrlPlan("ca", ca_key).version1(), CRL_V1, 0, 0},
        {"version 2 with neither entries nor extensions", CrlPlan("ca", ca_key).no_extensions(), CRL_V2, 0, 0},
        {"version 2 without entries", CrlPlan("ca", ca_key), CRL_V2, 0, 1},
        {"version 2 with entries", CrlPlan("ca", ca_key, {9}), CRL_V2, 1, 1},
    };
    const Bytes issuer = name_der("ca");
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const Bytes der = make_crl(c.plan);
        Crl crl = crl_of(der);
        ASSERT_TRUE(crl);
        EXPECT_EQ(der.size(), crl->cbCrlEncoded);
        const CRL_INFO &info = *crl->pCrlInfo;
        EXPECT_EQ(c.version, info.dwVersion);
        EXPECT_EQ(c.entries, info.cCRLEntry);
        EXPECT_EQ(c.extensions, info.cExtension);
        EXPECT_EQ(issuer, Bytes(info.Issuer.pbData, info.Issuer.pbData + info.Issuer.cbData));
        EXPECT_NE(0u, info.NextUpdate.dwHighDateTime);
        if (c.entries == 2) {
            EXPECT_EQ(7, info.rgCRLEntry[0].SerialNumber.pbData[0]);
            EXPECT_EQ(2u, info.rgCRLEntry[1].SerialNumber.cbData);
        }
    }
}

TEST_F(ContextTest, KeylessHashSignedCrlsMakeContexts) {
    // The shape the OCSP step builds: a hash as signature, an outer
    // algorithm that differs from the inner one, an unknown critical
    // extension, with and without entries.
    Bytes issuer = name_der("ocsp responder");
    BYTE serial[] = {3, 2, 1};
    BYTE value[] = {0x30, 0x00};
    CERT_EXTENSION response{const_cast<char *>("1.3.6.1.5.5.7.48.1.1"), TRUE, CRYPT_OBJID_BLOB{2, value}};
    CRL_ENTRY entry{};
    entry.SerialNumber = CRYPT_INTEGER_BLOB{3, serial};
    entry.RevocationDate = FILETIME{0xD53E8000, 0x01DA0000};
    CRL_INFO info{};
    info.dwVersion = CRL_V2;
    info.SignatureAlgorithm.pszObjId = const_cast<char *>(szOID_RSA_SHA256RSA);
    info.Issuer = blob_of(issuer);
    info.ThisUpdate = FILETIME{0xD53E8000, 0x01DA0000};
    info.cExtension = 1;
    info.rgExtension = &response;
    CRYPT_ALGORITHM_IDENTIFIER sha1{const_cast<char *>(szOID_OIWSEC_sha1), {}};
    for (DWORD entries : {1u, 0u}) {
        SCOPED_TRACE(entries);
        info.cCRLEntry = entries;
        info.rgCRLEntry = entries ? &entry : nullptr;
        DWORD size = 0;
        ASSERT_TRUE(CryptSignAndEncodeCertificate(0, 0, X509_ASN_ENCODING, X509_CERT_CRL_TO_BE_SIGNED, &info, &sha1,
                                                  nullptr, nullptr, &size));
        Bytes der(size);
        ASSERT_TRUE(CryptSignAndEncodeCertificate(0, 0, X509_ASN_ENCODING, X509_CERT_CRL_TO_BE_SIGNED, &info, &sha1,
                                                  nullptr, der.data(), &size));
        der.resize(size);
        Crl crl = crl_of(der);
        ASSERT_TRUE(crl);
        EXPECT_EQ(entries, crl->pCrlInfo->cCRLEntry);
        ASSERT_EQ(1u, crl->pCrlInfo->cExtension);
        EXPECT_TRUE(crl->pCrlInfo->rgExtension[0].fCritical);
        EXPECT_EQ(0u, crl->pCrlInfo->NextUpdate.dwHighDateTime) << "no NextUpdate";
    }
}

TEST_F(ContextTest, BytesHandedBackShareTheObjectTheyCameFrom) {
    const Bytes der = make_cert(CertPlan("leaf", "", 1, leaf_key));
    Cert cert = cert_of(der);
    Store store = memory_store();
    PCCERT_CONTEXT stored = nullptr;
    ASSERT_TRUE(CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, cert->pbCertEncoded,
                                                 cert->cbCertEncoded, CERT_STORE_ADD_ALWAYS, &stored));
    Cert stored_holder(stored);
    EXPECT_NE(cert.get(), stored);
    EXPECT_EQ(cert->pbCertEncoded, stored->pbCertEncoded) << "one copy of the bytes";
    EXPECT_EQ(cert->pCertInfo, stored->pCertInfo) << "one decoded body";
    EXPECT_EQ(store.get(), stored->hCertStore);

    PCCERT_CONTEXT copy = nullptr;
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), cert.get(), CERT_STORE_ADD_ALWAYS, &copy));
    Cert copy_holder(copy);
    EXPECT_EQ(cert->pCertInfo, copy->pCertInfo);
}

TEST_F(ContextTest, PropertiesFollowTheTwoCallProtocol) {
    Cert cert = cert_of(make_cert(CertPlan("leaf", "", 1, leaf_key)));
    const Bytes value = {1, 2, 3, 4, 5, 6, 7, 8};
    CRYPT_DATA_BLOB blob = blob_of(value);
    for (DWORD id : {DWORD(CERT_FIRST_USER_PROP_ID), DWORD(0x8001), DWORD(CERT_OCSP_RESPONSE_PROP_ID)}) {
        SCOPED_TRACE(id);
        DWORD size = 0;
        SetLastError(0);
        EXPECT_FALSE(CertGetCertificateContextProperty(cert.get(), id, nullptr, &size));
        EXPECT_EQ(DWORD(CRYPT_E_NOT_FOUND), last_error());
        ASSERT_TRUE(CertSetCertificateContextProperty(cert.get(), id, 0, &blob));
        EXPECT_TRUE(CertGetCertificateContextProperty(cert.get(), id, nullptr, &size));
        EXPECT_EQ(8u, size);
        Bytes buffer(8);
        size = 4;
        EXPECT_FALSE(CertGetCertificateContextProperty(cert.get(), id, buffer.data(), &size));
        EXPECT_EQ(DWORD(ERROR_MORE_DATA), last_error());
        EXPECT_EQ(8u, size);
        size = 8;
        EXPECT_TRUE(CertGetCertificateContextProperty(cert.get(), id, buffer.data(), &size));
        EXPECT_EQ(value, buffer);
        ASSERT_TRUE(CertSetCertificateContextProperty(cert.get(), id, 0, nullptr)) << "null deletes";
        EXPECT_FALSE(CertGetCertificateContextProperty(cert.get(), id, nullptr, &size));
        EXPECT_EQ(DWORD(CRYPT_E_NOT_FOUND), last_error());
    }
    Crl crl = crl_of(make_crl(CrlPlan("ca", ca_key, {1})));
    ASSERT_TRUE(CertSetCRLContextProperty(crl.get(), 0x8001, 0, &blob));
    DWORD size = 0;
    EXPECT_TRUE(CertGetCRLContextProperty(crl.get(), 0x8001, nullptr, &size));
    EXPECT_EQ(8u, size);
    EXPECT_FALSE(CertGetCRLContextProperty(crl.get(), 0x8000, nullptr, &size));
    EXPECT_EQ(DWORD(CRYPT_E_NOT_FOUND), last_error());
}

TEST_F(ContextTest, HashPropertiesAreWorkedOutFromTheObject) {
    const Bytes key_id = {0xA1, 0xB2, 0xC3};
    const Bytes with_ski = make_cert(CertPlan("leaf", "ca", 2, leaf_key, ca_key).key_id(key_id));
    const Bytes without_ski = make_cert(CertPlan("leaf", "ca", 3, leaf_key, ca_key));
    Cert a = cert_of(with_ski), b = cert_of(without_ski);

    EXPECT_EQ(sha1_of(with_ski.data(), with_ski.size()), property(a.get(), CERT_SHA1_HASH_PROP_ID));
    EXPECT_EQ(20u, property(a.get(), CERT_HASH_PROP_ID).size());
    EXPECT_EQ(16u, property(a.get(), CERT_MD5_HASH_PROP_ID).size());
    EXPECT_EQ(32u, property(a.get(), CERT_SHA256_HASH_PROP_ID).size());
    EXPECT_EQ(key_id, property(a.get(), CERT_KEY_IDENTIFIER_PROP_ID)) << "the extension's value";
    const CRYPT_BIT_BLOB &bits = b->pCertInfo->SubjectPublicKeyInfo.PublicKey;
    EXPECT_EQ(sha1_of(bits.pbData, bits.cbData), property(b.get(), CERT_KEY_IDENTIFIER_PROP_ID))
        << "without the extension: SHA-1 of the key bits";
    EXPECT_EQ(16u, property(b.get(), CERT_SUBJECT_PUBLIC_KEY_MD5_HASH_PROP_ID).size());

    // The signature hash covers the signed part only.
    const Bytes tbs = to_be_signed_of(without_ski);
    EXPECT_EQ(sha1_of(tbs.data(), tbs.size()), property(b.get(), CERT_SIGNATURE_HASH_PROP_ID));

    DWORD size = 0;
    EXPECT_FALSE(CertGetCertificateContextProperty(a.get(), CERT_ISSUER_PUBLIC_KEY_MD5_HASH_PROP_ID, nullptr, &size));
    EXPECT_EQ(DWORD(CRYPT_E_NOT_FOUND), last_error());

    const Bytes crl_der = make_crl(CrlPlan("ca", ca_key, {1}));
    Crl crl = crl_of(crl_der);
    Bytes hash(20);
    size = 20;
    ASSERT_TRUE(CertGetCRLContextProperty(crl.get(), CERT_SHA1_HASH_PROP_ID, hash.data(), &size));
    EXPECT_EQ(sha1_of(crl_der.data(), crl_der.size()), hash);
    EXPECT_FALSE(CertGetCRLContextProperty(crl.get(), CERT_KEY_IDENTIFIER_PROP_ID, nullptr, &size));
}

TEST_F(ContextTest, EnumerationListsEachPropertyOnce) {
    Cert cert = cert_of(make_cert(CertPlan("leaf", "", 1, leaf_key)));
    EXPECT_EQ(0u, CertEnumCertificateContextProperties(cert.get(), 0));
    const Bytes value = {9};
    CRYPT_DATA_BLOB blob = blob_of(value);
    for (DWORD id : {DWORD(0x8001), DWORD(CERT_OCSP_RESPONSE_PROP_ID), DWORD(0x8000)})
        ASSERT_TRUE(CertSetCertificateContextProperty(cert.get(), id, 0, &blob));
    std::vector<DWORD> seen;
    for (DWORD id = 0; (id = CertEnumCertificateContextProperties(cert.get(), id)) != 0;) seen.push_back(id);
    EXPECT_EQ((std::vector<DWORD>{CERT_OCSP_RESPONSE_PROP_ID, 0x8000, 0x8001}), seen);
}

TEST_F(ContextTest, StoredCopyHasPropertiesOfItsOwnSharedWithItsFinders) {
    Cert cert = cert_of(make_cert(CertPlan("leaf", "", 1, leaf_key)));
    const Bytes before = {1}, after = {2};
    CRYPT_DATA_BLOB blob = blob_of(before);
    ASSERT_TRUE(CertSetCertificateContextProperty(cert.get(), 0x8000, 0, &blob));
    Store store = memory_store();
    PCCERT_CONTEXT stored_raw = nullptr;
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), cert.get(), CERT_STORE_ADD_ALWAYS, &stored_raw));
    Cert stored(stored_raw);
    EXPECT_EQ(before, property(stored.get(), 0x8000)) << "adding copies the properties";

    blob = blob_of(after);
    ASSERT_TRUE(CertSetCertificateContextProperty(stored.get(), 0x8000, 0, &blob));
    Cert found(CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, cert.get(), nullptr));
    ASSERT_TRUE(found);
    EXPECT_EQ(stored.get(), found.get()) << "finds hand out the store's copy";
    EXPECT_EQ(after, property(found.get(), 0x8000));
    EXPECT_EQ(before, property(cert.get(), 0x8000)) << "the context added from keeps its own";
}

TEST(CompareTest, IntegersIgnoreRedundantHighOrderBytes) {
    struct Case {
        Bytes a, b;
        bool equal;
    } cases[] = {
        {{0x01}, {0x01, 0x00}, true},       {{0x7F, 0x00, 0x00}, {0x7F}, true}, {{0x80, 0x00}, {0x80}, false},
        {{0x80, 0xFF}, {0x80}, true},      {{0x01, 0x02}, {0x01, 0x03}, false}, {{0x00}, {0x00, 0x00}, true},
    };
    for (Case &c : cases) {
        CRYPT_INTEGER_BLOB a = blob_of(c.a), b = blob_of(c.b);
        EXPECT_EQ(c.equal, CertCompareIntegerBlob(&a, &b) != FALSE) << hex(c.a) << " vs " << hex(c.b);
    }
}

TEST(CompareTest, CertificatesNamesAndKeysCompareByTheirBytes) {
    Key key = make_key(), other_key = make_key();
    Cert a = cert_of(make_cert(CertPlan("leaf", "ca", 5, key, other_key)));
    Cert same_id = cert_of(make_cert(CertPlan("other subject", "ca", 5, other_key, other_key)));
    Cert other_serial = cert_of(make_cert(CertPlan("leaf", "ca", 6, key, other_key)));
    EXPECT_TRUE(CertCompareCertificate(X509_ASN_ENCODING, a->pCertInfo, same_id->pCertInfo));
    EXPECT_FALSE(CertCompareCertificate(X509_ASN_ENCODING, a->pCertInfo, other_serial->pCertInfo));
    EXPECT_TRUE(CertCompareCertificateName(X509_ASN_ENCODING, &a->pCertInfo->Issuer, &same_id->pCertInfo->Issuer));
    EXPECT_FALSE(CertCompareCertificateName(X509_ASN_ENCODING, &a->pCertInfo->Issuer, &a->pCertInfo->Subject));
    EXPECT_TRUE(CertComparePublicKeyInfo(X509_ASN_ENCODING, &a->pCertInfo->SubjectPublicKeyInfo,
                                         &other_serial->pCertInfo->SubjectPublicKeyInfo));
    EXPECT_FALSE(CertComparePublicKeyInfo(X509_ASN_ENCODING, &a->pCertInfo->SubjectPublicKeyInfo,
                                          &same_id->pCertInfo->SubjectPublicKeyInfo));
}

TEST(CompareTest, FindCertificateInCrlAnswersWithTheEntryOrNone) {
    Key key = make_key();
    Crl crl = crl_of(make_crl(CrlPlan("ca", key, {3, 500, 70000})));
    Cert listed = cert_of(make_cert(CertPlan("leaf", "ca", 500, key, key)));
    Cert unlisted = cert_of(make_cert(CertPlan("leaf", "ca", 501, key, key)));
    PCRL_ENTRY entry = nullptr;
    ASSERT_TRUE(CertFindCertificateInCRL(listed.get(), crl.get(), 0, nullptr, &entry));
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(&crl->pCrlInfo->rgCRLEntry[1], entry) << "the entry points into the context";
    ASSERT_TRUE(CertFindCertificateInCRL(unlisted.get(), crl.get(), 0, nullptr, &entry));
    EXPECT_EQ(nullptr, entry);
    EXPECT_FALSE(CertFindCertificateInCRL(nullptr, crl.get(), 0, nullptr, &entry));
    EXPECT_EQ(DWORD(E_INVALIDARG), last_error());
}

TEST(CompareTest, FindExtensionReturnsTheFirstWithTheOid) {
    Key key = make_key();
    Cert cert = cert_of(make_cert(CertPlan("leaf", "", 1, key).key_id({1, 2})));
    PCERT_EXTENSION ski = CertFindExtension(szOID_SUBJECT_KEY_IDENTIFIER, cert->pCertInfo->cExtension,
                                            cert->pCertInfo->rgExtension);
    ASSERT_NE(nullptr, ski);
    EXPECT_EQ(&cert->pCertInfo->rgExtension[0], ski);
    EXPECT_EQ(nullptr, CertFindExtension(szOID_BASIC_CONSTRAINTS2, cert->pCertInfo->cExtension,
                                         cert->pCertInfo->rgExtension));
    EXPECT_EQ(nullptr, CertFindExtension(szOID_SUBJECT_KEY_IDENTIFIER, 0, nullptr));
}

}  // namespace
