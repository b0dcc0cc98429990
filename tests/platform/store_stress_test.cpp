/* Eight threads adding, finding, enumerating, deleting, duplicating and
 * setting properties on shared stores and contexts. Run under the
 * sanitizers; the closing checks show that no reference was lost. */
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "tests/platform/store_test_support.h"

using namespace store_test;

namespace {

TEST(StoreStressTest, SharedStoresStayConsistentUnderEightThreads) {
    TempHome home;
    Key key = make_key();
    constexpr int kCerts = 24;
    std::vector<Bytes> certs;
    for (long serial = 1; serial <= kCerts; ++serial)
        certs.push_back(make_cert(CertPlan("leaf " + std::to_string(serial % 4), "ca", serial, key, key)));
    const Bytes crl = make_crl(CrlPlan("ca", key, {1, 2, 3}));
    Crl crl_context = crl_of(crl);

    Store memory = memory_store();
    Store system = system_store(L"Stress");
    Store collection = collection_store();
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), memory.get(), CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG, 1));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), system.get(), 0, 0));
    // One shared context every thread duplicates, frees and tags.
    Cert shared = cert_of(certs[0]);
    ASSERT_TRUE(CertAddCertificateContextToStore(memory.get(), shared.get(), CERT_STORE_ADD_ALWAYS, nullptr));

    std::atomic<int> failures{0};
    auto worker = [&](int id) {
        const Bytes subject = name_der("leaf " + std::to_string(id % 4));
        CERT_NAME_BLOB name = blob_of(subject);
        for (int round = 0; round < 150; ++round) {
            const Bytes &der = certs[(id * 7 + round) % kCerts];
            HCERTSTORE target = (round % 3 == 0) ? system.get() : memory.get();
            const DWORD disposition = round % 2 ? CERT_STORE_ADD_USE_EXISTING : CERT_STORE_ADD_ALWAYS;
            PCCERT_CONTEXT added = nullptr;
            if (!CertAddEncodedCertificateToStore(target, X509_ASN_ENCODING, der.data(), DWORD(der.size()),
                                                  disposition, &added))
                ++failures;
            if (round % 5 == 0) CertAddCRLContextToStore(memory.get(), crl_context.get(), CERT_STORE_ADD_ALWAYS, nullptr);

            // Finds by subject through the collection, walking with prev.
            int found = 0;
            for (PCCERT_CONTEXT c = nullptr;
                 (c = CertFindCertificateInStore(collection.get(), X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_NAME, &name,
                                                 c)) != nullptr;)
                ++found;
            (void)found;
            // A copy this thread added with ADD_ALWAYS is only deleted by
            // this thread, so it must be found; one taken with
            // USE_EXISTING may be another thread's, deleted meanwhile.
            PCCERT_CONTEXT existing =
                CertFindCertificateInStore(collection.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, added, nullptr);
            if (existing == nullptr && disposition == CERT_STORE_ADD_ALWAYS) ++failures;
            CertFreeCertificateContext(existing);

            // A whole enumeration of one store, and of the CRLs.
            for (PCCERT_CONTEXT c = nullptr; (c = CertEnumCertificatesInStore(target, c)) != nullptr;) {
            }
            for (PCCRL_CONTEXT c = nullptr; (c = CertEnumCRLsInStore(memory.get(), c)) != nullptr;) {
            }

            // The shared context: references and properties from everyone.
            PCCERT_CONTEXT mine = CertDuplicateCertificateContext(shared.get());
            const Bytes tag = {BYTE(id), BYTE(round)};
            CRYPT_DATA_BLOB blob = blob_of(tag);
            CertSetCertificateContextProperty(mine, 0x8000 + DWORD(id), 0, &blob);
            BYTE read[2];
            DWORD size = sizeof read;
            if (!CertGetCertificateContextProperty(mine, 0x8000 + DWORD(id), read, &size) || read[1] != BYTE(round))
                ++failures;
            CertFreeCertificateContext(mine);

            // Delete what was just added, half the time.
            if (round % 2 == 0) {
                if (!CertDeleteCertificateFromStore(added)) ++failures;
            } else {
                CertFreeCertificateContext(added);
            }
            if (round % 7 == 0) {
                PCCRL_CONTEXT any = CertFindCRLInStore(memory.get(), 0, 0, CRL_FIND_ANY, nullptr, nullptr);
                if (any) CertDeleteCRLFromStore(any);
            }
        }
    };
    std::vector<std::thread> threads;
    for (int id = 0; id < 8; ++id) threads.emplace_back(worker, id);
    for (std::thread &t : threads) t.join();
    EXPECT_EQ(0, failures.load());

    shared.reset();
    crl_context.reset();
    EXPECT_TRUE(CertCloseStore(collection.release(), CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_TRUE(CertCloseStore(memory.release(), CERT_CLOSE_STORE_CHECK_FLAG)) << "no context left referenced";
    EXPECT_TRUE(CertCloseStore(system.release(), CERT_CLOSE_STORE_CHECK_FLAG));
}

}  // namespace
