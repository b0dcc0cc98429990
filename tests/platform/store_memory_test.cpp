/* Memory and collection stores: handles, dispositions, enumeration,
 * deleting, closing, collections. */
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
    CertGetCertificateContextProperty(cert, id, value.data(), &size);
    return value;
}

class MemoryStoreTest : public ::testing::Test {
  protected:
    Key key = make_key();
    Bytes cert_der(long serial, const std::string &subject = "leaf") {
        return make_cert(CertPlan(subject, "ca", serial, key, key));
    }
};

TEST_F(MemoryStoreTest, HandleValuesGrowAndDuplicatesAreTheSameHandle) {
    Store a = memory_store(), b = collection_store(), c = memory_store();
    ASSERT_TRUE(a.get() && b.get() && c.get());
    EXPECT_LT(reinterpret_cast<uintptr_t>(a.get()), reinterpret_cast<uintptr_t>(b.get()));
    EXPECT_LT(reinterpret_cast<uintptr_t>(b.get()), reinterpret_cast<uintptr_t>(c.get()));

    EXPECT_EQ(a.get(), CertDuplicateStore(a.get()));
    EXPECT_TRUE(CertCloseStore(a.get(), CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_TRUE(add_cert(a.get(), cert_der(1))) << "one reference is left";
    EXPECT_EQ(1, count_certs(a.get()));
    EXPECT_TRUE(CertCloseStore(nullptr, 0));
}

TEST_F(MemoryStoreTest, EachDispositionMeetsAnEqualObjectAsPublished) {
    const Bytes der = cert_der(1);
    Cert original = cert_of(der);
    const Bytes tag = {7};
    CRYPT_DATA_BLOB blob = blob_of(tag);
    ASSERT_TRUE(CertSetCertificateContextProperty(original.get(), 0x8000, 0, &blob));

    struct Case {
        DWORD disposition;
        bool ok;
        int count;
        bool same_context;  // the one already stored comes back
    } cases[] = {
        {CERT_STORE_ADD_NEW, false, 1, false},
        {CERT_STORE_ADD_USE_EXISTING, true, 1, true},
        {CERT_STORE_ADD_REPLACE_EXISTING, true, 1, false},
        {CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES, true, 1, false},
        {CERT_STORE_ADD_ALWAYS, true, 2, false},
        {CERT_STORE_ADD_NEWER, false, 1, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.disposition);
        Store store = memory_store();
        PCCERT_CONTEXT first_raw = nullptr;
        ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), original.get(), CERT_STORE_ADD_NEW, &first_raw));
        Cert first(first_raw);
        PCCERT_CONTEXT second_raw = nullptr;
        SetLastError(0);
        EXPECT_EQ(c.ok, CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, der.data(), DWORD(der.size()),
                                                         c.disposition, &second_raw) != FALSE);
        Cert second(second_raw);
        if (!c.ok) {
            EXPECT_EQ(DWORD(CRYPT_E_EXISTS), last_error());
            EXPECT_EQ(nullptr, second.get());
        } else {
            EXPECT_EQ(c.same_context, first.get() == second.get());
        }
        EXPECT_EQ(c.count, count_certs(store.get()));
        if (c.disposition == CERT_STORE_ADD_REPLACE_EXISTING) {
            EXPECT_TRUE(property(second.get(), 0x8000).empty());
        }
        if (c.disposition == CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES) {
            EXPECT_EQ(tag, property(second.get(), 0x8000));
        }
    }
}

TEST_F(MemoryStoreTest, UseExistingMergesTheNewPropertiesIntoTheStoredCopy) {
    Store store = memory_store();
    const Bytes der = cert_der(1);
    Cert plain = cert_of(der);
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), plain.get(), CERT_STORE_ADD_NEW, nullptr));
    Cert tagged = cert_of(der);
    const Bytes tag = {1, 2};
    CRYPT_DATA_BLOB blob = blob_of(tag);
    ASSERT_TRUE(CertSetCertificateContextProperty(tagged.get(), 0x8001, 0, &blob));
    PCCERT_CONTEXT stored = nullptr;
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), tagged.get(), CERT_STORE_ADD_USE_EXISTING, &stored));
    Cert holder(stored);
    EXPECT_EQ(tag, property(stored, 0x8001));
    EXPECT_EQ(1, count_certs(store.get()));
}

TEST_F(MemoryStoreTest, NewerCrlReplacesTheOlderOfTheSameIssuer) {
    Store store = memory_store();
    const Bytes older = make_crl(CrlPlan("ca", key, {1}).this_update(-3));
    const Bytes newer = make_crl(CrlPlan("ca", key, {1, 2}).this_update(-1));
    ASSERT_TRUE(add_crl(store.get(), newer, CERT_STORE_ADD_ALWAYS));
    EXPECT_FALSE(add_crl(store.get(), older, CERT_STORE_ADD_NEWER));
    EXPECT_EQ(DWORD(CRYPT_E_EXISTS), last_error());
    Store other = memory_store();
    ASSERT_TRUE(add_crl(other.get(), older, CERT_STORE_ADD_ALWAYS));
    ASSERT_TRUE(add_crl(other.get(), newer, CERT_STORE_ADD_NEWER));
    ASSERT_EQ(1, count_crls(other.get()));
    Crl only(CertEnumCRLsInStore(other.get(), nullptr));
    EXPECT_EQ(2u, only->pCrlInfo->cCRLEntry);
}

TEST_F(MemoryStoreTest, EnumerationWalksInOrderAndReleasesWhatItPassed) {
    Store store = memory_store();
    for (long serial = 1; serial <= 5; ++serial) ASSERT_TRUE(add_cert(store.get(), cert_der(serial)));
    ASSERT_TRUE(add_crl(store.get(), make_crl(CrlPlan("ca", key, {1}))));
    std::vector<BYTE> serials;
    PCCERT_CONTEXT c = nullptr;
    while ((c = CertEnumCertificatesInStore(store.get(), c)) != nullptr) {
        EXPECT_EQ(store.get(), c->hCertStore);
        serials.push_back(c->pCertInfo->SerialNumber.pbData[0]);
    }
    EXPECT_EQ(DWORD(CRYPT_E_NOT_FOUND), last_error());
    EXPECT_EQ((std::vector<BYTE>{1, 2, 3, 4, 5}), serials);
    EXPECT_EQ(1, count_crls(store.get()));

    // Stopping half-way and freeing the current one leaves nothing held.
    PCCERT_CONTEXT first = CertEnumCertificatesInStore(store.get(), nullptr);
    PCCERT_CONTEXT second = CertEnumCertificatesInStore(store.get(), first);
    CertFreeCertificateContext(second);
    EXPECT_TRUE(CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG));
}

TEST_F(MemoryStoreTest, EnumerationGoesOnPastADeletedContext) {
    Store store = memory_store();
    for (long serial = 1; serial <= 3; ++serial) ASSERT_TRUE(add_cert(store.get(), cert_der(serial)));
    PCCERT_CONTEXT first = CertEnumCertificatesInStore(store.get(), nullptr);
    PCCERT_CONTEXT second = CertEnumCertificatesInStore(store.get(), CertDuplicateCertificateContext(first));
    ASSERT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(second)));
    PCCERT_CONTEXT third = CertEnumCertificatesInStore(store.get(), second);
    ASSERT_NE(nullptr, third);
    EXPECT_EQ(3, third->pCertInfo->SerialNumber.pbData[0]);
    CertFreeCertificateContext(third);
    EXPECT_EQ(2, count_certs(store.get()));
    EXPECT_EQ(1, first->pCertInfo->SerialNumber.pbData[0]);
    CertFreeCertificateContext(first);
}

TEST_F(MemoryStoreTest, DeleteReleasesTheReferenceOnEveryPath) {
    Store store = memory_store();
    ASSERT_TRUE(add_cert(store.get(), cert_der(1)));
    ASSERT_TRUE(add_crl(store.get(), make_crl(CrlPlan("ca", key, {1}))));
    PCCERT_CONTEXT found = CertEnumCertificatesInStore(store.get(), nullptr);
    PCCERT_CONTEXT kept = CertDuplicateCertificateContext(found);
    EXPECT_TRUE(CertDeleteCertificateFromStore(found));
    EXPECT_EQ(0, count_certs(store.get()));
    EXPECT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(kept))) << "already gone";
    EXPECT_EQ(1, kept->pCertInfo->SerialNumber.pbData[0]) << "still valid";
    CertFreeCertificateContext(kept);
    ASSERT_TRUE(CertDeleteCRLFromStore(CertEnumCRLsInStore(store.get(), nullptr)));
    EXPECT_EQ(0, count_crls(store.get()));
    Cert loose = cert_of(cert_der(2));
    EXPECT_TRUE(CertDeleteCertificateFromStore(loose.release())) << "a context in no store";
    EXPECT_TRUE(CertDeleteCertificateFromStore(nullptr));
    EXPECT_TRUE(CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG)) << "nothing left referenced";
}

TEST_F(MemoryStoreTest, ClosingWithContextsOutKeepsThemAndTheirStoreUsable) {
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    ASSERT_TRUE(add_cert(store, cert_der(1)));
    PCCERT_CONTEXT held = CertEnumCertificatesInStore(store, nullptr);
    SetLastError(0);
    EXPECT_FALSE(CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_EQ(DWORD(CRYPT_E_PENDING_CLOSE), last_error());
    EXPECT_EQ(store, held->hCertStore);
    HCERTSTORE again = CertDuplicateStore(held->hCertStore);
    EXPECT_EQ(store, again);
    EXPECT_EQ(1, count_certs(again));
    EXPECT_TRUE(CertCloseStore(again, 0));
    const Bytes tag = {3};
    CRYPT_DATA_BLOB blob = blob_of(tag);
    EXPECT_TRUE(CertSetCertificateContextProperty(held, 0x8000, 0, &blob));
    EXPECT_EQ(tag, property(held, 0x8000));
    CertFreeCertificateContext(held);
}

TEST_F(MemoryStoreTest, BadHandlesAndArgumentsAreRefused) {
    SetLastError(0);
    EXPECT_EQ(nullptr, CertEnumCertificatesInStore(reinterpret_cast<HCERTSTORE>(0x42), nullptr));
    EXPECT_EQ(DWORD(E_INVALIDARG), last_error());
    EXPECT_EQ(nullptr, CertOpenStore(CERT_STORE_PROV_FILENAME_A, 0, 0, 0, "x"));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), last_error());
    Store store = memory_store();
    EXPECT_FALSE(add_cert(store.get(), cert_der(1), 99));
    EXPECT_EQ(DWORD(E_INVALIDARG), last_error());
    EXPECT_TRUE(CertControlStore(store.get(), 0, CERT_STORE_CTRL_AUTO_RESYNC, nullptr));
    EXPECT_TRUE(CertControlStore(store.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr));
    Store named(CertOpenStore(sz_CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    EXPECT_NE(nullptr, named.get()) << "providers by name";
}

TEST_F(MemoryStoreTest, CollectionsSearchTheirSiblingsByPriority) {
    Store low = memory_store(), high = memory_store(), collection = collection_store();
    ASSERT_TRUE(add_cert(low.get(), cert_der(1, "same")));
    ASSERT_TRUE(add_cert(high.get(), cert_der(2, "same")));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), low.get(), 0, 1));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), high.get(), CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG, 5));

    const Bytes subject = name_der("same");
    CERT_NAME_BLOB name = blob_of(subject);
    std::vector<BYTE> order;
    std::vector<HCERTSTORE> owners;
    PCCERT_CONTEXT c = nullptr;
    while ((c = CertFindCertificateInStore(collection.get(), X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_NAME, &name, c))) {
        order.push_back(c->pCertInfo->SerialNumber.pbData[0]);
        owners.push_back(c->hCertStore);
    }
    EXPECT_EQ((std::vector<BYTE>{2, 1}), order) << "higher priority first";
    EXPECT_EQ((std::vector<HCERTSTORE>{high.get(), low.get()}), owners) << "the siblings' own contexts";

    ASSERT_TRUE(add_cert(collection.get(), cert_der(3)));
    EXPECT_EQ(2, count_certs(high.get())) << "adds go to the enabled sibling";
    EXPECT_EQ(3, count_certs(collection.get()));

    CertRemoveStoreFromCollection(collection.get(), high.get());
    EXPECT_EQ(1, count_certs(collection.get()));
    EXPECT_FALSE(add_cert(collection.get(), cert_der(4)));
    EXPECT_EQ(DWORD(E_ACCESSDENIED), last_error());
    EXPECT_FALSE(CertAddStoreToCollection(collection.get(), collection.get(), 0, 0)) << "no cycles";
    EXPECT_FALSE(CertAddStoreToCollection(low.get(), high.get(), 0, 0)) << "only collections have siblings";
}

TEST_F(MemoryStoreTest, ACollectionKeepsItsSiblingsAliveAfterTheirHandlesClose) {
    Store collection = collection_store();
    {
        Store sibling = memory_store();
        ASSERT_TRUE(add_cert(sibling.get(), cert_der(1)));
        ASSERT_TRUE(CertAddStoreToCollection(collection.get(), sibling.get(), 0, 0));
    }
    EXPECT_EQ(1, count_certs(collection.get()));
}

}  // namespace
