/* Finds by each find type, for certificates and CRLs, in memory stores and
 * collections, and the issuer look-up. */
#include <cstring>

#include <gtest/gtest.h>

#include "tests/platform/store_test_support.h"

using namespace store_test;

namespace {

DWORD last_error() { return GetLastError(); }

BYTE serial_of(PCCERT_CONTEXT c) { return c->pCertInfo->SerialNumber.pbData[0]; }

// A small PKI: a root, an intermediate with a key identifier, leaves.
class FindTest : public ::testing::Test {
  protected:
    Key root_key = make_key();
    Key ca_key = make_key();
    Key leaf_key = make_key();
    const Bytes ca_key_id = {0xCA, 0xFE, 0x01};
    Bytes root = make_cert(CertPlan("root", "", 1, root_key));
    Bytes ca = make_cert(CertPlan("ca", "root", 2, ca_key, root_key).key_id(ca_key_id));
    Bytes leaf3 = make_cert(CertPlan("leaf", "ca", 3, leaf_key, ca_key));
    Bytes leaf4 = make_cert(CertPlan("leaf", "ca", 4, leaf_key, ca_key));
    Bytes other5 = make_cert(CertPlan("other", "ca", 5, leaf_key, ca_key));
    Store store = memory_store();

    void SetUp() override {
        for (const Bytes *der : {&root, &ca, &leaf3, &leaf4, &other5}) ASSERT_TRUE(add_cert(store.get(), *der));
    }

    // Serials of every certificate the find yields, walking with prev.
    std::vector<BYTE> find_all(HCERTSTORE where, DWORD type, const void *para) {
        std::vector<BYTE> serials;
        PCCERT_CONTEXT c = nullptr;
        while ((c = CertFindCertificateInStore(where, X509_ASN_ENCODING, 0, type, para, c)) != nullptr)
            serials.push_back(serial_of(c));
        EXPECT_EQ(DWORD(CRYPT_E_NOT_FOUND), last_error());
        return serials;
    }
};

TEST_F(FindTest, EachCertificateFindTypeFindsWhatItNames) {
    Cert leaf = cert_of(leaf3);
    const Bytes leaf_name = name_der("leaf"), ca_name = name_der("ca"), nobody = name_der("nobody");
    CERT_NAME_BLOB leaf_blob = blob_of(leaf_name), ca_blob = blob_of(ca_name), nobody_blob = blob_of(nobody);
    const Bytes hash = thumbprint(leaf.get());
    CRYPT_HASH_BLOB hash_blob = blob_of(hash);
    std::wstring hash_text;
    for (char ch : hex(hash)) hash_text += wchar_t(ch), hash_text += L' ';
    CRYPT_HASH_BLOB ca_id = blob_of(ca_key_id);
    DWORD size = 20;
    Bytes leaf_key_id(20);
    ASSERT_TRUE(CertGetCertificateContextProperty(leaf.get(), CERT_KEY_IDENTIFIER_PROP_ID, leaf_key_id.data(), &size));
    CRYPT_HASH_BLOB leaf_id = blob_of(leaf_key_id);
    Bytes md5(16);
    size = 16;
    ASSERT_TRUE(CertGetCertificateContextProperty(leaf.get(), CERT_MD5_HASH_PROP_ID, md5.data(), &size));
    CRYPT_HASH_BLOB md5_blob = blob_of(md5);
    CERT_INFO subject_id = *leaf->pCertInfo;
    const DWORD user_property = 0x8000;

    struct Case {
        const char *what;
        DWORD type;
        const void *para;
        std::vector<BYTE> serials;
    } cases[] = {
        {"any", CERT_FIND_ANY, nullptr, {1, 2, 3, 4, 5}},
        {"existing", CERT_FIND_EXISTING, leaf.get(), {3}},
        {"sha1", CERT_FIND_SHA1_HASH, &hash_blob, {3}},
        {"hash text", CERT_FIND_HASH_STR, hash_text.c_str(), {3}},
        {"md5", CERT_FIND_MD5_HASH, &md5_blob, {3}},
        {"key id from the extension", CERT_FIND_KEY_IDENTIFIER, &ca_id, {2}},
        {"key id from the key bits", CERT_FIND_KEY_IDENTIFIER, &leaf_id, {3, 4, 5}},
        {"subject", CERT_FIND_SUBJECT_NAME, &leaf_blob, {3, 4}},
        {"issuer", CERT_FIND_ISSUER_NAME, &ca_blob, {3, 4, 5}},
        {"no such subject", CERT_FIND_SUBJECT_NAME, &nobody_blob, {}},
        {"issuer and serial", CERT_FIND_SUBJECT_CERT, &subject_id, {3}},
        {"issuer of", CERT_FIND_ISSUER_OF, leaf.get(), {2}},
        {"public key", CERT_FIND_PUBLIC_KEY, &leaf->pCertInfo->SubjectPublicKeyInfo, {3, 4, 5}},
        {"property", CERT_FIND_PROPERTY, &user_property, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.serials, find_all(store.get(), c.type, c.para));
    }
    SetLastError(0);
    EXPECT_EQ(nullptr, CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_NAME, nullptr,
                                                  nullptr));
    EXPECT_EQ(DWORD(E_INVALIDARG), last_error());
}

TEST_F(FindTest, FindsThroughACollectionWalkEverySibling) {
    Store second = memory_store(), collection = collection_store();
    const Bytes leaf6 = make_cert(CertPlan("leaf", "ca", 6, leaf_key, ca_key));
    ASSERT_TRUE(add_cert(second.get(), leaf6));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), store.get(), 0, 0));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), second.get(), 0, 0));
    const Bytes leaf_name = name_der("leaf");
    CERT_NAME_BLOB leaf_blob = blob_of(leaf_name);
    EXPECT_EQ((std::vector<BYTE>{3, 4, 6}), find_all(collection.get(), CERT_FIND_SUBJECT_NAME, &leaf_blob));
    Cert six = cert_of(leaf6);
    EXPECT_EQ((std::vector<BYTE>{6}), find_all(collection.get(), CERT_FIND_EXISTING, six.get()));
    CRYPT_HASH_BLOB ca_id = blob_of(ca_key_id);
    EXPECT_EQ((std::vector<BYTE>{2}), find_all(collection.get(), CERT_FIND_KEY_IDENTIFIER, &ca_id));
}

TEST_F(FindTest, CrlFindsByIssuerKindKeyAndEquality) {
    Store crls = memory_store();
    const Bytes base = make_crl(CrlPlan("ca", ca_key, {3}).authority_key_id(ca_key_id));
    const Bytes delta = make_crl(CrlPlan("ca", ca_key, {4}).delta().authority_key_id(ca_key_id));
    const Bytes foreign_aki = make_crl(CrlPlan("ca", ca_key, {5}).authority_key_id({0x01}));
    const Bytes bad_signature = make_crl(CrlPlan("ca", root_key, {6}));
    const Bytes root_crl = make_crl(CrlPlan("root", root_key));
    for (const Bytes *der : {&base, &delta, &foreign_aki, &bad_signature, &root_crl})
        ASSERT_TRUE(add_crl(crls.get(), *der));

    Cert issuer = cert_of(ca), leaf = cert_of(leaf3);
    CRL_FIND_ISSUED_FOR_PARA for_leaf{leaf.get(), nullptr};
    CRL_FIND_ISSUED_FOR_PARA for_leaf_by_ca{leaf.get(), issuer.get()};
    Crl existing = crl_of(delta);

    auto first_entries = [&](DWORD flags, DWORD type, const void *para) {
        std::vector<BYTE> firsts;
        PCCRL_CONTEXT c = nullptr;
        while ((c = CertFindCRLInStore(crls.get(), 0, flags, type, para, c)) != nullptr)
            firsts.push_back(c->pCrlInfo->cCRLEntry ? c->pCrlInfo->rgCRLEntry[0].SerialNumber.pbData[0] : 0);
        return firsts;
    };
    struct Case {
        const char *what;
        DWORD flags;
        DWORD type;
        const void *para;
        std::vector<BYTE> firsts;
    } cases[] = {
        {"any", 0, CRL_FIND_ANY, nullptr, {3, 4, 5, 6, 0}},
        {"existing", 0, CRL_FIND_EXISTING, existing.get(), {4}},
        {"issued by", 0, CRL_FIND_ISSUED_BY, issuer.get(), {3, 4, 5, 6}},
        {"issued by, key identifier", CRL_FIND_ISSUED_BY_AKI_FLAG, CRL_FIND_ISSUED_BY, issuer.get(), {3, 4, 6}},
        {"issued by, signature", CRL_FIND_ISSUED_BY_SIGNATURE_FLAG, CRL_FIND_ISSUED_BY, issuer.get(), {3, 4, 5}},
        {"issued by, deltas", CRL_FIND_ISSUED_BY_DELTA_FLAG, CRL_FIND_ISSUED_BY, issuer.get(), {4}},
        {"issued by, bases", CRL_FIND_ISSUED_BY_BASE_FLAG, CRL_FIND_ISSUED_BY, issuer.get(), {3, 5, 6}},
        {"issued by anyone, deltas", CRL_FIND_ISSUED_BY_DELTA_FLAG, CRL_FIND_ISSUED_BY, nullptr, {4}},
        {"issued for", 0, CRL_FIND_ISSUED_FOR, &for_leaf, {3, 4, 5, 6}},
        {"issued for, by the CA's key", CRL_FIND_ISSUED_BY_AKI_FLAG, CRL_FIND_ISSUED_FOR, &for_leaf_by_ca, {3, 4, 6}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.firsts, first_entries(c.flags, c.type, c.para));
    }
}

TEST_F(FindTest, ExistingFindsNeedEqualBytesNotJustEqualLength) {
    Store crls = memory_store();
    // ECDSA signatures vary in length: make a pair of equal length.
    const Bytes a = make_crl(CrlPlan("ca", ca_key, {3}));
    Bytes b = make_crl(CrlPlan("ca", ca_key, {4}));
    for (int tries = 0; b.size() != a.size() && tries < 50; ++tries) b = make_crl(CrlPlan("ca", ca_key, {4}));
    ASSERT_EQ(a.size(), b.size());
    ASSERT_TRUE(add_crl(crls.get(), a));
    Crl other = crl_of(b);
    EXPECT_EQ(nullptr, CertFindCRLInStore(crls.get(), 0, 0, CRL_FIND_EXISTING, other.get(), nullptr));
    Crl same = crl_of(a);
    Crl found(CertFindCRLInStore(crls.get(), 0, 0, CRL_FIND_EXISTING, same.get(), nullptr));
    ASSERT_TRUE(found);
    EXPECT_NE(same.get(), found.get());
    EXPECT_EQ(crls.get(), found->hCertStore);
}

TEST_F(FindTest, ExistingFindReleasesThePreviousContext) {
    Cert leaf = cert_of(leaf3);
    PCCERT_CONTEXT found = CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING,
                                                      leaf.get(), nullptr);
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(nullptr, CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, leaf.get(),
                                                  found));
    EXPECT_TRUE(CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG)) << "the previous context was freed";
}

TEST_F(FindTest, IssuerLookupChecksWhatTheFlagsAsk) {
    Cert leaf = cert_of(leaf3), root_cert = cert_of(root);
    ASSERT_TRUE(add_crl(store.get(), make_crl(CrlPlan("ca", ca_key, {3}))));
    DWORD flags = CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG | CERT_STORE_REVOCATION_FLAG;
    Cert issuer(CertGetIssuerCertificateFromStore(store.get(), leaf.get(), nullptr, &flags));
    ASSERT_TRUE(issuer);
    EXPECT_EQ(2, serial_of(issuer.get()));
    EXPECT_EQ(DWORD(CERT_STORE_REVOCATION_FLAG), flags) << "signature and time pass, serial 3 is revoked";

    Cert leaf4_cert = cert_of(leaf4);
    flags = CERT_STORE_REVOCATION_FLAG;
    Cert again(CertGetIssuerCertificateFromStore(store.get(), leaf4_cert.get(), nullptr, &flags));
    EXPECT_EQ(0u, flags);

    flags = 0;
    EXPECT_EQ(nullptr, CertGetIssuerCertificateFromStore(store.get(), root_cert.get(), nullptr, &flags));
    EXPECT_EQ(DWORD(CRYPT_E_SELF_SIGNED), last_error());

    Cert ca_cert = cert_of(ca);
    flags = CERT_STORE_SIGNATURE_FLAG;
    Crl crl(CertGetCRLFromStore(store.get(), ca_cert.get(), nullptr, &flags));
    ASSERT_TRUE(crl);
    EXPECT_EQ(0u, flags);
}

}  // namespace
