// The recursion guard: per-thread lists of the certificates in progress.
#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>

#include "base/atl.h"
#include "provider/recursion_guard.h"
#include "tests/provider/provider_fixture.h"

namespace provider_test {
namespace {

using Tarsis::PKI::CertCycleBreaker;
using Tarsis::PKI::certListStorer;

std::string hex(const Bytes& bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char b : bytes) {
        text += kDigits[b >> 4];
        text += kDigits[b & 15];
    }
    return text;
}

TEST(RecursionGuard, EachThreadKeepsOneListOfItsOwn) {
    Tarsis::PKI::CertList* mine = certListStorer.get_CurrentCertList();
    EXPECT_EQ(certListStorer.get_CurrentCertList(), mine);
    Tarsis::PKI::CertList* other = nullptr;
    std::thread([&] { other = certListStorer.get_CurrentCertList(); }).join();
    EXPECT_NE(other, nullptr);
    EXPECT_NE(other, mine);
}

TEST(RecursionGuard, ANestedCheckOfTheCertificateInProgressIsRefusedAndTraced) {
    TestPki pki;
    const Bytes in_progress_der = pki.leaf();
    CertPtr in_progress = add_to_store(pki.store.get(), in_progress_der);
    CertPtr other = add_to_store(pki.store.get(), pki.leaf());
    CERT_REVOCATION_PARA para = para_with();
    para.pIssuerCert = pki.intermediate_context.get();
    ScopedTrace trace;

    CertCycleBreaker outer(&certListStorer, in_progress.get());
    ASSERT_FALSE(outer.IsCycle());
    const size_t depth = certListStorer.get_CurrentCertList()->size();
    CERT_REVOCATION_STATUS status = fresh_status();
    EXPECT_EQ(verify({other.get(), in_progress.get()}, 0, &para, &status), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK));
    EXPECT_EQ(status.dwIndex, 1u);
    EXPECT_EQ(certListStorer.get_CurrentCertList()->size(), depth);
    // Only the other certificate reached the responder.
    EXPECT_EQ(pki.responder.requests(), 1);
    EXPECT_NE(trace.text().find("\"Cyclic\" status checking detected. Offending certificate thumbprint: " +
                                hex(provider_pki::sha1(in_progress_der)) + "\n"),
              std::string::npos)
        << trace.text();
}

TEST(RecursionGuard, EntriesArePoppedOnEveryWayOut) {
    TestPki pki;
    CertPtr cert = add_to_store(pki.store.get(), pki.unanswered_leaf());
    Tarsis::PKI::CertList* list = certListStorer.get_CurrentCertList();
    const size_t depth = list->size();
    try {
        CertCycleBreaker guard(&certListStorer, cert.get());
        EXPECT_EQ(list->size(), depth + 1);
        throw std::runtime_error("inside a nested check");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(list->size(), depth);
    {
        CertCycleBreaker first(&certListStorer, cert.get());
        CertCycleBreaker again(&certListStorer, cert.get());
        EXPECT_TRUE(again.IsCycle());
    }
    EXPECT_EQ(list->size(), depth);
}

TEST(RecursionGuard, ThreadsCheckingOneCertificateAtOnceSeeNoCycle) {
    TestPki pki;
    CertPtr cert = add_to_store(pki.store.get(), pki.leaf());
    constexpr int kThreads = 4;
    std::mutex mutex;
    std::condition_variable all_in;
    int inside = 0;
    int cycles = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            CertCycleBreaker guard(&certListStorer, cert.get());
            std::unique_lock<std::mutex> lock(mutex);
            cycles += guard.IsCycle() ? 1 : 0;
            // Every guard stands until all threads hold one.
            ++inside;
            all_in.notify_all();
            all_in.wait(lock, [&] { return inside == kThreads; });
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(cycles, 0);

    // The same through the provider, all threads at once.
    CERT_REVOCATION_PARA para = para_with();
    para.pIssuerCert = pki.intermediate_context.get();
    std::vector<int> results(kThreads, -1);
    threads.clear();
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            CERT_REVOCATION_STATUS status = fresh_status();
            results[t] = verify({cert.get()}, 0, &para, &status);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(results, std::vector<int>(kThreads, TRUE));
}

TEST(RecursionGuard, ThumbprintsCompareUpToTheFirstZeroByte) {
    TestPki pki;
    CertPtr a = add_to_store(pki.store.get(), pki.unanswered_leaf());
    CertPtr b = add_to_store(pki.store.get(), pki.unanswered_leaf());
    BYTE hash_a[20] = {0x00, 0x11};
    BYTE hash_b[20] = {0x00, 0x22};
    CRYPT_DATA_BLOB blob_a{sizeof hash_a, hash_a};
    CRYPT_DATA_BLOB blob_b{sizeof hash_b, hash_b};
    ASSERT_TRUE(CertSetCertificateContextProperty(a.get(), CERT_SHA1_HASH_PROP_ID, 0, &blob_a));
    ASSERT_TRUE(CertSetCertificateContextProperty(b.get(), CERT_SHA1_HASH_PROP_ID, 0, &blob_b));
    CertCycleBreaker first(&certListStorer, a.get());
    CertCycleBreaker second(&certListStorer, b.get());
    EXPECT_TRUE(second.IsCycle());
    EXPECT_EQ(second.ThumbprintHex(), "0022" + std::string(36, '0'));
}

}  // namespace
}  // namespace provider_test
