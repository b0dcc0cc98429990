// CryptRetrieveObjectByUrlA against the loopback server, which counts the
// requests: the three modes and the URL cache, time-outs, size caps,
// hostile answers, and responses with several objects.
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "tests/platform/retrieval_test_pki.h"
#include "tests/platform/retrieval_test_support.h"
#include "tests/support/loopback_http_server.h"

namespace {

using halden::test::HttpReply;
using halden::test::LoopbackHttpServer;
using namespace retrieval_test;
using store_test::Crl;
using store_test::Store;

// The whole program shares one platform home: the URL cache store opens
// once per process.
store_test::TempHome g_home;

class RetrievalTest : public ::testing::Test {
  protected:
    static crl_maker::Signer &signer() {
        static crl_maker::Signer *s = new crl_maker::Signer;
        return *s;
    }
    LoopbackHttpServer server;
};

TEST_F(RetrievalTest, CacheOnlyNeverTouchesTheNetwork) {
    server.serve_bytes("/ca.crl", text(crl_in_force(signer(), {1, 2})), "application/pkix-crl");
    DWORD error = 0;
    EXPECT_FALSE(retrieve_crl(server.url("/ca.crl"), CRYPT_CACHE_ONLY_RETRIEVAL, &error));
    EXPECT_EQ(error, static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    EXPECT_EQ(server.total_requests(), 0);

    ASSERT_TRUE(retrieve_crl(server.url("/ca.crl"), 0));
    EXPECT_EQ(server.requests("/ca.crl"), 1);
    Crl cached = retrieve_crl(server.url("/ca.crl"), CRYPT_CACHE_ONLY_RETRIEVAL, &error);
    ASSERT_TRUE(cached) << std::hex << error;
    EXPECT_EQ(cached->pCrlInfo->cCRLEntry, 2u);
    EXPECT_EQ(server.requests("/ca.crl"), 1);
}

TEST_F(RetrievalTest, WireOnlyAlwaysFetchesAndFillsTheCache) {
    server.serve_bytes("/wire.crl", text(crl_in_force(signer(), {3})));
    ASSERT_TRUE(retrieve_crl(server.url("/wire.crl"), CRYPT_WIRE_ONLY_RETRIEVAL));
    ASSERT_TRUE(retrieve_crl(server.url("/wire.crl"), CRYPT_WIRE_ONLY_RETRIEVAL));
    EXPECT_EQ(server.requests("/wire.crl"), 2);
    EXPECT_TRUE(retrieve_crl(server.url("/wire.crl"), CRYPT_CACHE_ONLY_RETRIEVAL));
    EXPECT_EQ(server.requests("/wire.crl"), 2);
}

TEST_F(RetrievalTest, DefaultUsesAnEntryInForceAndFetchesWhenItHasExpired) {
    server.serve_bytes("/fresh.crl", text(crl_in_force(signer(), {4})));
    server.serve_bytes("/short.crl", text(crl_in_force(signer(), {5}, 1, 1)));
    ASSERT_TRUE(retrieve_crl(server.url("/fresh.crl"), 0));
    ASSERT_TRUE(retrieve_crl(server.url("/fresh.crl"), 0));
    EXPECT_EQ(server.requests("/fresh.crl"), 1);

    // In force for one more second when fetched; expired a little later.
    ASSERT_TRUE(retrieve_crl(server.url("/short.crl"), 0));
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    retrieve_crl(server.url("/short.crl"), 0);
    EXPECT_EQ(server.requests("/short.crl"), 2);
}

TEST_F(RetrievalTest, EntriesOlderThanTheResyncTimeAreMisses) {
    server.serve_bytes("/resync.crl", text(crl_in_force(signer(), {6})));
    FILETIME synced{};
    CRYPT_RETRIEVE_AUX_INFO aux{};
    aux.cbSize = sizeof aux;
    aux.pLastSyncTime = &synced;
    ASSERT_TRUE(retrieve_crl(server.url("/resync.crl"), CRYPT_WIRE_ONLY_RETRIEVAL, nullptr, &aux));
    EXPECT_NE(synced.dwLowDateTime | synced.dwHighDateTime, 0u);

    FILETIME later = synced;
    later.dwHighDateTime += 1;  // about seven minutes after the fetch
    aux.pftCacheResync = &later;
    DWORD error = 0;
    EXPECT_FALSE(retrieve_crl(server.url("/resync.crl"), CRYPT_CACHE_ONLY_RETRIEVAL, &error, &aux));
    EXPECT_EQ(error, static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    ASSERT_TRUE(retrieve_crl(server.url("/resync.crl"), 0, nullptr, &aux));
    EXPECT_EQ(server.requests("/resync.crl"), 2);

    // A cbSize that stops short of pftCacheResync leaves it unread.
    CRYPT_RETRIEVE_AUX_INFO short_aux = aux;
    short_aux.cbSize = offsetof(CRYPT_RETRIEVE_AUX_INFO, pftCacheResync);
    EXPECT_TRUE(retrieve_crl(server.url("/resync.crl"), CRYPT_CACHE_ONLY_RETRIEVAL, nullptr, &short_aux));
    // The same time as the entry's sync time is no miss.
    FILETIME same{};
    aux.pLastSyncTime = &same;
    aux.pftCacheResync = nullptr;
    ASSERT_TRUE(retrieve_crl(server.url("/resync.crl"), CRYPT_CACHE_ONLY_RETRIEVAL, nullptr, &aux));
    aux.pftCacheResync = &same;
    EXPECT_TRUE(retrieve_crl(server.url("/resync.crl"), CRYPT_CACHE_ONLY_RETRIEVAL, nullptr, &aux));
}

TEST_F(RetrievalTest, CacheKeysIgnoreLetterCaseAndDontCacheLeavesNoEntry) {
    server.serve_bytes("/Mixed.crl", text(crl_in_force(signer(), {7})));
    server.serve_bytes("/private.crl", text(crl_in_force(signer(), {8})));
    ASSERT_TRUE(retrieve_crl(server.url("/Mixed.crl"), 0));
    std::string shouted = "HTTP://127.0.0.1:" + std::to_string(server.port()) + "/MIXED.CRL";
    EXPECT_TRUE(retrieve_crl(shouted, CRYPT_CACHE_ONLY_RETRIEVAL));

    ASSERT_TRUE(retrieve_crl(server.url("/private.crl"), CRYPT_DONT_CACHE_RESULT));
    EXPECT_FALSE(retrieve_crl(server.url("/private.crl"), CRYPT_CACHE_ONLY_RETRIEVAL));
}

TEST_F(RetrievalTest, ACachedCrlStaysDecodedAndIndexed) {
    server.serve_bytes("/decoded.crl", text(crl_in_force(signer(), {10, 11, 12, 13, 14, 15, 16, 17, 18, 19})));
    Crl fetched = retrieve_crl(server.url("/decoded.crl"), 0);
    Crl first = retrieve_crl(server.url("/decoded.crl"), CRYPT_CACHE_ONLY_RETRIEVAL);
    Crl second = retrieve_crl(server.url("/decoded.crl"), CRYPT_CACHE_ONLY_RETRIEVAL);
    ASSERT_TRUE(fetched && first && second);
    // The same decoded body every time: nothing is parsed again.
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(fetched->pCrlInfo, first->pCrlInfo);
    BYTE serial = 15;
    CRYPT_INTEGER_BLOB blob{1, &serial};
    EXPECT_EQ(maren_crl_find_entry(first.get(), &blob), maren_crl_find_entry(fetched.get(), &blob));
    EXPECT_NE(maren_crl_find_entry(first.get(), &blob), nullptr);
}

TEST_F(RetrievalTest, ManyThreadsFetchAndHitTheCacheAtOnce) {
    const char *paths[] = {"/t0.crl", "/t1.crl", "/t2.crl", "/t3.crl"};
    for (int i = 0; i < 4; ++i)
        server.serve_bytes(paths[i], text(crl_in_force(signer(), {static_cast<unsigned char>(40 + i)}, 40 + i)));
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 12; ++round) {
                const std::string url = server.url(paths[(t + round) % 4]);
                const DWORD mode = round % 3 == 0 ? CRYPT_WIRE_ONLY_RETRIEVAL : 0;
                Crl crl = retrieve_crl(url, mode);
                if (!crl || crl->pCrlInfo->cCRLEntry != 1) ++failures;
            }
        });
    for (auto &thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    for (const char *path : paths) EXPECT_TRUE(retrieve_crl(server.url(path), CRYPT_CACHE_ONLY_RETRIEVAL)) << path;
}

TEST_F(RetrievalTest, HostileAnswersGiveNoObject) {
    HttpReply garbage;
    garbage.mode = HttpReply::Mode::garbage;
    garbage.body = "220 not an HTTP server\r\n";
    server.serve("/garbage", garbage);
    HttpReply truncated = HttpReply::ok(text(crl_in_force(signer(), {20})));
    truncated.mode = HttpReply::Mode::truncated;
    server.serve("/truncated", truncated);
    HttpReply endless = HttpReply::ok("");
    endless.mode = HttpReply::Mode::endless;
    server.serve("/endless", endless);
    HttpReply drop;
    drop.mode = HttpReply::Mode::drop;
    server.serve("/drop", drop);
    server.redirect("/loop-a", "/loop-b");
    server.redirect("/loop-b", "/loop-a");
    server.serve_bytes("/not-der", std::string("\x30\x82\xff\xff junk", 9));
    server.serve_bytes("/text", "hello");
    server.serve_bytes("/cert-for-crl", text(store_test::make_cert({"Leaf", "", 3, store_test::make_key()})));

    CRYPT_RETRIEVE_AUX_INFO aux{};
    aux.cbSize = sizeof aux;
    aux.dwMaxUrlRetrievalByteCount = 64 * 1024;
    const struct {
        const char *path;
        DWORD error;
    } cases[] = {
        {"/garbage", ERROR_INVALID_DATA},
        {"/truncated", ERROR_INVALID_DATA},
        {"/endless", ERROR_INVALID_DATA},
        {"/drop", ERROR_CONNECTION_REFUSED},
        {"/loop-a", ERROR_OPERATION_ABORTED},
        {"/missing", ERROR_FILE_NOT_FOUND},
        {"/not-der", static_cast<DWORD>(CRYPT_E_ASN1_BADTAG)},
        {"/text", static_cast<DWORD>(CRYPT_E_ASN1_BADTAG)},
        {"/cert-for-crl", static_cast<DWORD>(CRYPT_E_NO_MATCH)},
    };
    for (const auto &c : cases) {
        Outcome outcome = retrieve(server.url(c.path), CONTEXT_OID_CRL, CRYPT_WIRE_ONLY_RETRIEVAL, 5000, &aux);
        EXPECT_FALSE(outcome.ok) << c.path;
        EXPECT_EQ(outcome.object, nullptr) << c.path;
        EXPECT_EQ(outcome.error, c.error) << c.path << std::hex << " got 0x" << outcome.error;
    }
    EXPECT_LE(server.requests("/loop-a") + server.requests("/loop-b"), 8);
}

TEST_F(RetrievalTest, DeadOrSlowUrlCostsAtMostItsTimeOut) {
    // A server that accepts and never answers: only the time-out ends it.
    HttpReply slow = HttpReply::ok(text(crl_in_force(signer(), {21})));
    slow.delay_ms = 30000;
    server.serve("/slow.crl", slow);
    auto start = std::chrono::steady_clock::now();
    Outcome outcome = retrieve(server.url("/slow.crl"), CONTEXT_OID_CRL, 0, 400);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_TIMEOUT));
    EXPECT_LT(elapsed_ms(start), 4000);

    std::string dead;
    {
        LoopbackHttpServer gone;
        dead = gone.url("/x.crl");
    }
    outcome = retrieve(dead, CONTEXT_OID_CRL, 0, 400);
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_CONNECTION_REFUSED));
}

TEST_F(RetrievalTest, ResponseOverTheCapIsRefused) {
    const Bytes crl = crl_in_force(signer(), {22, 23, 24, 25});
    server.serve_bytes("/big.crl", text(crl));
    CRYPT_RETRIEVE_AUX_INFO aux{};
    aux.cbSize = sizeof aux;
    aux.dwMaxUrlRetrievalByteCount = static_cast<DWORD>(crl.size() - 1);
    Outcome outcome = retrieve(server.url("/big.crl"), CONTEXT_OID_CRL, 0, 5000, &aux);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_INVALID_DATA));
    aux.dwMaxUrlRetrievalByteCount = static_cast<DWORD>(crl.size());
    EXPECT_TRUE(retrieve_crl(server.url("/big.crl"), CRYPT_WIRE_ONLY_RETRIEVAL, nullptr, &aux));

    // Without a cap in the call, the registry's applies.
    ASSERT_EQ(maren_registry_set_long("\\config\\Net\\MaxResponseBytes", 100), 0);
    outcome = retrieve(server.url("/big.crl"), CONTEXT_OID_CRL, CRYPT_WIRE_ONLY_RETRIEVAL);
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_INVALID_DATA));
    ASSERT_EQ(maren_registry_set_long("\\config\\Net\\MaxResponseBytes", 0), 0);
    EXPECT_TRUE(retrieve_crl(server.url("/big.crl"), CRYPT_WIRE_ONLY_RETRIEVAL));
}

TEST_F(RetrievalTest, BundlesGiveEveryObjectFromTheWireAndFromTheCache) {
    store_test::Key ca_key = store_test::make_key();
    const Bytes root = store_test::make_cert({"Root", "", 1, ca_key});
    const Bytes sub = store_test::make_cert({"Sub", "Root", 2, store_test::make_key(), ca_key});
    const Bytes crl = crl_in_force(signer(), {30});
    server.serve_bytes("/chain.pem", pem(root, "CERTIFICATE") + "junk between blocks\n" + pem(sub, "CERTIFICATE") +
                                         pem(crl, "X509 CRL"));
    server.serve_bytes("/chain.p7c", text(p7_bundle({root, sub}, {})), "application/pkcs7-mime");

    for (const char *path : {"/chain.pem", "/chain.p7c"}) {
        for (DWORD mode : {DWORD{CRYPT_WIRE_ONLY_RETRIEVAL}, DWORD{CRYPT_CACHE_ONLY_RETRIEVAL}}) {
            Outcome outcome = retrieve(server.url(path), CONTEXT_OID_CERTIFICATE,
                                       mode | CRYPT_RETRIEVE_MULTIPLE_OBJECTS);
            ASSERT_TRUE(outcome.ok) << path << std::hex << " 0x" << outcome.error;
            Store store(static_cast<HCERTSTORE>(outcome.object));
            EXPECT_EQ(store_test::count_certs(store.get()), 2) << path << " mode " << mode;
            EXPECT_EQ(store_test::count_crls(store.get()), 0) << path;
        }
    }
    Outcome any = retrieve(server.url("/chain.pem"), CONTEXT_OID_CAPI2_ANY, CRYPT_WIRE_ONLY_RETRIEVAL);
    ASSERT_TRUE(any.ok);
    Store everything(static_cast<HCERTSTORE>(any.object));
    EXPECT_EQ(store_test::count_certs(everything.get()), 2);
    EXPECT_EQ(store_test::count_crls(everything.get()), 1);
    // One certificate asked for: the first of the bundle.
    Outcome single = retrieve(server.url("/chain.pem"), CONTEXT_OID_CERTIFICATE, CRYPT_CACHE_ONLY_RETRIEVAL);
    ASSERT_TRUE(single.ok);
    store_test::Cert first(static_cast<PCCERT_CONTEXT>(single.object));
    EXPECT_EQ(store_test::thumbprint(first.get()), store_test::sha1_of(root.data(), root.size()));
}

TEST_F(RetrievalTest, FileUrlsRawBytesAndWideUrls) {
    const Bytes crl = crl_in_force(signer(), {31});
    const std::string path = g_home.path() + "/local.crl";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char *>(crl.data()), std::streamsize(crl.size()));
    EXPECT_TRUE(retrieve_crl("file://" + path, CRYPT_WIRE_ONLY_RETRIEVAL));
    EXPECT_EQ(retrieve("file://" + path + ".absent", CONTEXT_OID_CRL, CRYPT_WIRE_ONLY_RETRIEVAL).error,
              static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

    server.serve_bytes("/raw", "any bytes");
    Outcome raw = retrieve(server.url("/raw"), nullptr, 0);
    ASSERT_TRUE(raw.ok);
    auto *array = static_cast<CRYPT_BLOB_ARRAY *>(raw.object);
    ASSERT_EQ(array->cBlob, 1u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(array->rgBlob[0].pbData), array->rgBlob[0].cbData), "any bytes");
    CryptMemFree(array);

    server.serve_bytes("/wide.crl", text(crl));
    const std::string narrow = server.url("/wide.crl");
    const std::wstring wide(narrow.begin(), narrow.end());
    void *object = nullptr;
    ASSERT_TRUE(CryptRetrieveObjectByUrlW(wide.c_str(), CONTEXT_OID_CRL, 0, 5000, &object, nullptr, nullptr, nullptr,
                                          nullptr));
    Crl held(static_cast<PCCRL_CONTEXT>(object));
}

TEST_F(RetrievalTest, BadArgumentsAreRefused) {
    void *object = reinterpret_cast<void *>(1);
    const std::string url = server.url("/x.crl");
    const struct {
        LPCSTR url;
        LPCSTR oid;
        DWORD flags;
        LPVOID *out;
        DWORD error;
    } cases[] = {
        {nullptr, CONTEXT_OID_CRL, 0, &object, static_cast<DWORD>(E_INVALIDARG)},
        {"", CONTEXT_OID_CRL, 0, &object, static_cast<DWORD>(E_INVALIDARG)},
        {url.c_str(), CONTEXT_OID_CRL, 0, nullptr, static_cast<DWORD>(E_INVALIDARG)},
        {url.c_str(), CONTEXT_OID_CRL, CRYPT_CACHE_ONLY_RETRIEVAL | CRYPT_WIRE_ONLY_RETRIEVAL, &object,
         static_cast<DWORD>(E_INVALIDARG)},
        {url.c_str(), CONTEXT_OID_CTL, 0, &object, ERROR_NOT_SUPPORTED},
        {url.c_str(), CONTEXT_OID_CRL, CRYPT_ASYNC_RETRIEVAL, &object, ERROR_NOT_SUPPORTED},
    };
    for (const auto &c : cases) {
        SetLastError(0);
        EXPECT_FALSE(CryptRetrieveObjectByUrlA(c.url, c.oid, c.flags, 1000, c.out, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(GetLastError(), c.error);
        if (c.out) {
            EXPECT_EQ(object, nullptr);
        }
        object = reinterpret_cast<void *>(1);
    }
    EXPECT_EQ(server.total_requests(), 0);
}

}  // namespace
