/* The process-wide response cache: repeated checks of one certificate stay
 * off the network until nextUpdate, unless the caller resyncs or the answer
 * may not be kept. */
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "tests/platform/ocsp_test_support.h"
#include "tests/support/loopback_http_server.h"

using namespace ocsp_test;
using halden::test::HttpReply;
using halden::test::HttpRequestSeen;
using halden::test::LoopbackHttpServer;
using ocsp_pki::MiniResponder;
using ocsp_pki::Status;

namespace {

class OcspCache : public ::testing::Test {
  protected:
    void SetUp() override {
        use_test_home();
        server.route("/ocsp", [this](const HttpRequestSeen &seen) {
            const Bytes answer = responder->answer(Bytes(seen.body.begin(), seen.body.end()));
            return HttpReply::ok(std::string(answer.begin(), answer.end()), "application/ocsp-response");
        });
        responder->set(serial_of(pki.leaf_ctx.get()), Status::good);
    }

    /* One check of the leaf as halden makes it (POST only, so that each
     * exchange is one request), with an optional resync time. */
    int check(FILETIME *resync = nullptr, const CERT_CONTEXT *leaf = nullptr, unsigned flags = 2,
              bool nonce = false) {
        CRequest request;
        prepare(request, pki, leaf);
        request.put_Flags(flags);
        request.put_UseNonce(nonce);
        request.put_CacheResync(resync);
        const CResponse response = request.Send(true);
        return response.get_SRStatus(0);
    }

    LoopbackHttpServer server;
    Pki pki{server.url("/ocsp")};
    std::unique_ptr<MiniResponder> responder = std::make_unique<MiniResponder>(pki.ca, pki.ca_signer());
};

TEST_F(OcspCache, SecondCheckTakesTheCachedAnswer) {
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(server.total_requests(), 1);
}

TEST_F(OcspCache, CacheResyncLaterThanTheFetchIsAMiss) {
    FILETIME long_ago = seconds_from_now(-3600);
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(check(&long_ago), 0);
    EXPECT_EQ(server.total_requests(), 1) << "fetched after the resync time: a hit";
    FILETIME now = seconds_from_now(1);
    EXPECT_EQ(check(&now), 0);
    EXPECT_EQ(server.total_requests(), 2) << "fetched before the resync time: a miss";
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(server.total_requests(), 2) << "the fresh answer replaced the old one";
}

TEST_F(OcspCache, EntryExpiresAtNextUpdate) {
    responder->next_update = 2L;
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(server.total_requests(), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(server.total_requests(), 2);
}

TEST_F(OcspCache, AnswersThatMayNotBeKeptAreAskedForEachTime) {
    const Identity no_eku_key(unique("no EKU"));
    ocsp_pki::ResponderOptions no_eku;
    no_eku.ocsp_signing = false;
    const Bytes unauthorised = pki.delegate(no_eku_key, no_eku);

    struct Case {
        const char *name;
        std::function<void()> arrange;
        unsigned flags;
        bool nonce;
    } cases[] = {
        {"no nextUpdate", [this] { responder->next_update.reset(); }, 2, false},
        {"a signer without id-kp-OCSPSigning",
         [&] {
             responder = std::make_unique<MiniResponder>(pki.ca, ocsp_pki::Signer{&no_eku_key, unauthorised, true, false});
             responder->set(serial_of(pki.leaf_ctx.get()), Status::good);
         },
         2, false},
        {"the no-cache flag", [] {}, 3, false},
        {"a nonce", [] {}, 2, true},
    };
    for (const Case &c : cases) {
        const Cert leaf = context_of(pki.leaf_with_url(server.url("/ocsp")));
        responder = std::make_unique<MiniResponder>(pki.ca, pki.ca_signer());
        responder->set(serial_of(leaf.get()), Status::good);
        c.arrange();
        responder->set(serial_of(leaf.get()), Status::good);
        server.reset_counts();
        check(nullptr, leaf.get(), c.flags, c.nonce);
        check(nullptr, leaf.get(), c.flags, c.nonce);
        EXPECT_EQ(server.total_requests(), 2) << c.name;
    }

    const Bytes try_later = ocsp_pki::error_response(3);
    server.serve_bytes("/ocsp", std::string(try_later.begin(), try_later.end()), "application/ocsp-response");
    server.reset_counts();
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(server.total_requests(), 2) << "an unsuccessful answer";
}

TEST_F(OcspCache, LeastRecentlyUsedEntryGoesBeyondTheCacheSize) {
    ASSERT_EQ(maren_registry_set_long("\\config\\OCSP\\CacheSize", 1), 0);
    const Cert second = context_of(pki.leaf_with_url(server.url("/ocsp")));
    responder->set(serial_of(second.get()), Status::revoked);
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(check(nullptr, second.get()), 1);
    EXPECT_EQ(check(nullptr, second.get()), 1);
    EXPECT_EQ(server.total_requests(), 2);
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(server.total_requests(), 3) << "the first leaf's answer was pushed out";
    ASSERT_EQ(maren_registry_set_long("\\config\\OCSP\\CacheSize", 10000), 0);
}

}  // namespace
