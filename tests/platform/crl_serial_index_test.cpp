// The serial index of CRL contexts: the first matching entry decides,
// integers compare without their redundant bytes (exact lookups with
// them), absent serials find nothing, and one index serves every context
// of a CRL and many threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "tests/platform/retrieval_test_support.h"

namespace {

using crl_maker::Entry;
using store_test::Bytes;
using store_test::Crl;

crl_maker::Signer &signer() {
    static crl_maker::Signer *s = new crl_maker::Signer;
    return *s;
}

// Entries from big-endian serial contents, reason i % 10 for entry i.
Crl crl_of_serials(const std::vector<Bytes> &serials) {
    crl_maker::Plan plan;
    for (size_t i = 0; i < serials.size(); ++i)
        plan.entries.push_back(Entry{serials[i], plan.this_update, static_cast<int>(i % 10)});
    return store_test::crl_of(crl_maker::make_crl(signer(), plan));
}

// The contexts' little-endian form of a big-endian content.
Bytes little(const Bytes &big) { return Bytes(big.rbegin(), big.rend()); }

const CRL_ENTRY *find(PCCRL_CONTEXT crl, const Bytes &serial, bool exact = false) {
    CRYPT_INTEGER_BLOB blob{static_cast<DWORD>(serial.size()), const_cast<BYTE *>(serial.data())};
    return exact ? maren_crl_find_entry_exact(crl, &blob) : maren_crl_find_entry(crl, &blob);
}

long index_of(PCCRL_CONTEXT crl, const CRL_ENTRY *entry) {
    return entry ? static_cast<long>(entry - crl->pCrlInfo->rgCRLEntry) : -1;
}

// Filler entries 1000, 1001, ... so that a list is long enough to be
// indexed rather than walked.
std::vector<Bytes> with_filler(std::vector<Bytes> serials, size_t total) {
    for (unsigned n = 1000; serials.size() < total; ++n)
        serials.push_back(Bytes{static_cast<unsigned char>(n >> 8), static_cast<unsigned char>(n & 0xFF)});
    return serials;
}

TEST(CrlSerialIndex, FirstMatchingEntryWinsInShortAndIndexedLists) {
    for (size_t total : {size_t{4}, size_t{64}, size_t{5000}}) {
        Crl crl = crl_of_serials(with_filler({{0x05}, {0x07}, {0x05}, {0x07}}, total));
        ASSERT_TRUE(crl) << total;
        EXPECT_EQ(index_of(crl.get(), find(crl.get(), {0x05})), 0) << total;
        EXPECT_EQ(index_of(crl.get(), find(crl.get(), {0x07})), 1) << total;
        EXPECT_EQ(index_of(crl.get(), find(crl.get(), {0x05}, true)), 0) << total;
        EXPECT_EQ(index_of(crl.get(), find(crl.get(), {0x09})), -1) << total;
        if (total > 4) {
            EXPECT_EQ(index_of(crl.get(), find(crl.get(), little({0x03, 0xE9}))), 5) << total;
        }
    }
}

TEST(CrlSerialIndex, RedundantSignAndZeroBytesDontCountExceptForExactLookups) {
    // Big-endian contents: 00 05 is 5 with a redundant zero, FF 85 is -123
    // with a redundant sign byte, 00 85 is +133 (its zero is needed).
    for (size_t total : {size_t{5}, size_t{100}}) {
        Crl crl = crl_of_serials(with_filler({{0x00, 0x05}, {0x05}, {0xFF, 0x85}, {0x00, 0x85}}, total));
        ASSERT_TRUE(crl);
        const struct {
            Bytes query;  // little-endian
            long integer;
            long exact;
        } cases[] = {
            {{0x05}, 0, 1},
            {{0x05, 0x00}, 0, 0},
            {{0x05, 0x00, 0x00}, 0, -1},
            {{0x85}, 2, -1},
            {{0x85, 0xFF}, 2, 2},
            {{0x85, 0x00}, 3, 3},
            {{0x86, 0x00}, -1, -1},
        };
        for (const auto &c : cases) {
            EXPECT_EQ(index_of(crl.get(), find(crl.get(), c.query)), c.integer) << total << " " << int(c.query[0]);
            EXPECT_EQ(index_of(crl.get(), find(crl.get(), c.query, true)), c.exact) << total << " " << int(c.query[0]);
        }
    }
}

TEST(CrlSerialIndex, SerialsLongerThanTheSlotsAreConfirmedOnTheEntry) {
    // 70-byte serials equal in their 69 low-order bytes.
    auto long_serial = [](unsigned char top) {
        Bytes serial(70, 0xAA);
        serial[0] = top;
        return serial;
    };
    Crl crl = crl_of_serials(with_filler({long_serial(0x01), long_serial(0x02), long_serial(0x01)}, 40));
    ASSERT_TRUE(crl);
    EXPECT_EQ(index_of(crl.get(), find(crl.get(), little(long_serial(0x02)))), 1);
    EXPECT_EQ(index_of(crl.get(), find(crl.get(), little(long_serial(0x01)))), 0);
    EXPECT_EQ(index_of(crl.get(), find(crl.get(), little(long_serial(0x03)))), -1);
    EXPECT_EQ(index_of(crl.get(), find(crl.get(), little(long_serial(0x02)), true)), 1);
}

TEST(CrlSerialIndex, AbsentSerialsAndBadArguments) {
    Crl crl = crl_of_serials(with_filler({}, 50));
    BYTE serial = 0x42;
    CRYPT_INTEGER_BLOB blob{1, &serial};
    SetLastError(1234);
    EXPECT_EQ(maren_crl_find_entry(crl.get(), &blob), nullptr);
    EXPECT_EQ(GetLastError(), 1234u);
    CRYPT_INTEGER_BLOB empty{0, nullptr};
    EXPECT_EQ(maren_crl_find_entry(crl.get(), &empty), nullptr);
    CRYPT_INTEGER_BLOB broken{4, nullptr};
    EXPECT_EQ(maren_crl_find_entry(crl.get(), &broken), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
    EXPECT_EQ(maren_crl_find_entry(nullptr, &blob), nullptr);
    EXPECT_EQ(maren_crl_find_entry_exact(crl.get(), nullptr), nullptr);
}

TEST(CrlSerialIndex, AgreesWithAWalkOfARandomListAndServesEveryCopy) {
    std::mt19937_64 rng(7);
    std::vector<Bytes> serials;
    for (int i = 0; i < 20000; ++i) {
        Bytes serial(1 + rng() % 20);
        for (auto &b : serial) b = static_cast<unsigned char>(rng());
        serial[0] &= 0x7F;
        if (serial.size() > 1 && serial[0] == 0) serial[0] = 1;
        serials.push_back(serial);
        if (i % 97 == 0) serials.push_back(serials[rng() % serials.size()]);  // duplicates
    }
    Crl crl = crl_of_serials(serials);
    ASSERT_TRUE(crl);
    store_test::Store store = store_test::memory_store();
    PCCRL_CONTEXT copy = nullptr;
    ASSERT_TRUE(CertAddCRLContextToStore(store.get(), crl.get(), CERT_STORE_ADD_ALWAYS, &copy));
    Crl held_copy(copy);
    const CRL_INFO &info = *crl->pCrlInfo;
    for (size_t q = 0; q < serials.size(); q += 23) {
        const Bytes query = little(serials[q]);
        long first = -1;
        for (DWORD i = 0; i < info.cCRLEntry && first < 0; ++i) {
            CRYPT_INTEGER_BLOB a{static_cast<DWORD>(query.size()), const_cast<BYTE *>(query.data())};
            if (CertCompareIntegerBlob(&a, &info.rgCRLEntry[i].SerialNumber)) first = static_cast<long>(i);
        }
        ASSERT_EQ(index_of(crl.get(), find(crl.get(), query)), first) << q;
        ASSERT_EQ(find(copy, query), find(crl.get(), query)) << q;
    }
}

TEST(CrlSerialIndex, CertFindCertificateInCrlUsesTheSameAnswer) {
    Crl crl = crl_of_serials(with_filler({{0x07}, {0x00, 0x07}}, 40));
    store_test::Cert cert = store_test::cert_of(store_test::make_cert({"Leaf", "CA", 7, store_test::make_key()}));
    store_test::Cert other = store_test::cert_of(store_test::make_cert({"Other", "CA", 8, store_test::make_key()}));
    PCRL_ENTRY entry = nullptr;
    ASSERT_TRUE(CertFindCertificateInCRL(cert.get(), crl.get(), 0, nullptr, &entry));
    EXPECT_EQ(index_of(crl.get(), entry), 0);
    ASSERT_TRUE(CertFindCertificateInCRL(other.get(), crl.get(), 0, nullptr, &entry));
    EXPECT_EQ(entry, nullptr);
}

TEST(CrlSerialIndex, ManyThreadsBuildAndUseOneIndex) {
    std::vector<Bytes> serials = with_filler({}, 30000);
    Crl crl = crl_of_serials(serials);
    ASSERT_TRUE(crl);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (size_t i = static_cast<size_t>(t); i < serials.size(); i += 3)
                if (index_of(crl.get(), find(crl.get(), little(serials[i]))) != static_cast<long>(i)) ++wrong;
        });
    for (auto &thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
