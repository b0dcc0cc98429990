/* CRequest against a responder on the loopback server: the identity it
 * asks about, GET and POST, the nonce, and every way the transport can
 * fail. */
#include <chrono>
#include <thread>
#include <vector>

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

std::string as_string(const Bytes &bytes) { return std::string(bytes.begin(), bytes.end()); }
Bytes as_bytes(const std::string &text) { return Bytes(text.begin(), text.end()); }

class OcspRequest : public ::testing::Test {
  protected:
    void SetUp() override {
        use_test_home();
        responder.set(serial_of(pki.leaf_ctx.get()), Status::good);
    }

    /* POSTs to /ocsp are answered by the responder. */
    void answer_posts() {
        server.route("/ocsp", [this](const HttpRequestSeen &seen) {
            return HttpReply::ok(as_string(responder.answer(as_bytes(seen.body))), "application/ocsp-response");
        });
    }
    std::string get_path() const { return "/ocsp/" + ocsp_pki::get_segment(ocsp_pki::openssl_request(pki.leaf, pki.ca)); }

    LoopbackHttpServer server;
    Pki pki{server.url("/ocsp")};
    MiniResponder responder{pki.ca, pki.ca_signer()};
};

TEST_F(OcspRequest, CertIdIsOpenSslsForEverySerialShape) {
    for (const long serial : {1L, 127L, 128L, 0xFFFFL, 0x7FFFFFFFL}) {
        const Bytes leaf = pki.leaf_with_url("http://127.0.0.1/", serial);
        const Cert leaf_ctx = context_of(leaf);
        CRequest request;
        prepare(request, pki, leaf_ctx.get());
        ASSERT_EQ(request.get_SRNumber(), 1u);
        const CCertID id = request.get_SRCertID(0);
        const ocsp_pki::CertIdParts expected = ocsp_pki::openssl_cert_id(leaf, pki.ca);
        EXPECT_EQ(id.get_hashAlgorithm(), expected.hash_oid) << serial;
        EXPECT_EQ(bytes_of(id.get_issuerNameHash()), expected.name_hash) << serial;
        EXPECT_EQ(bytes_of(id.get_issuerKeyHash()), expected.key_hash) << serial;
        EXPECT_EQ(bytes_of(id.get_serialNumber()), expected.serial) << serial;
    }
    CRequest request;
    EXPECT_ANY_THROW(request.get_SRCertID(0));
    EXPECT_ANY_THROW(request.put_SRCertIDFromCert(pki.leaf_ctx.get(), nullptr, 0, nullptr));
}

TEST_F(OcspRequest, AddressComesFromAuthorityInformationAccess) {
    CRequest request;
    prepare(request, pki);
    const std::string url = server.url("/ocsp");
    EXPECT_EQ(request.get_OCSPAddress(), std::wstring(url.begin(), url.end()));

    // A CA certificate names no responder: no address, and Send refuses
    // without touching the network.
    CRequest nowhere;
    nowhere.put_SRCertIDFromCert(pki.ca_ctx.get(), pki.ca_ctx.get(), 0, nullptr);
    EXPECT_TRUE(nowhere.get_OCSPAddress().empty());
    EXPECT_ANY_THROW(nowhere.Send(false));
    CRequest no_single;
    EXPECT_ANY_THROW(no_single.Send(false));
    EXPECT_EQ(server.total_requests(), 0);
}

TEST_F(OcspRequest, ShortRequestGoesByGet) {
    server.route(get_path(), [this](const HttpRequestSeen &seen) {
        return HttpReply::ok(as_string(responder.answer_get(seen.path.substr(6))), "application/ocsp-response");
    });
    answer_posts();
    CRequest request;
    prepare(request, pki);
    const CResponse response = request.Send(false);
    EXPECT_EQ(response.get_Status(), 0);
    EXPECT_EQ(response.get_SRStatus(static_cast<unsigned long>(response.get_SRIndexByCertID(request.get_SRCertID(0)))), 0);
    EXPECT_EQ(server.requests(get_path()), 1);
    EXPECT_EQ(server.last_request(get_path()).method, "GET");
    EXPECT_EQ(server.requests("/ocsp"), 0);
}

TEST_F(OcspRequest, GetMeetingAnHttpErrorFallsBackToPost) {
    answer_posts();  // the GET path is not routed: 404
    CRequest request;
    prepare(request, pki);
    EXPECT_EQ(request.Send(false).get_Status(), 0);
    EXPECT_EQ(server.requests(get_path()), 1);
    ASSERT_EQ(server.requests("/ocsp"), 1);
    const HttpRequestSeen post = server.last_request("/ocsp");
    EXPECT_EQ(post.method, "POST");
    EXPECT_EQ(post.headers.at("content-type"), "application/ocsp-request");
    EXPECT_EQ(as_bytes(post.body), ocsp_pki::openssl_request(pki.leaf, pki.ca)) << "the same DER as OpenSSL's";
}

TEST_F(OcspRequest, PostOnlySkipsTheGet) {
    answer_posts();
    CRequest request;
    prepare(request, pki);
    EXPECT_EQ(request.Send(true).get_Status(), 0);
    EXPECT_EQ(server.total_requests(), 1);
}

TEST_F(OcspRequest, NonceIsSentAndDemandedBack) {
    answer_posts();
    CRequest request;
    prepare(request, pki);
    request.put_UseNonce(true);
    EXPECT_EQ(request.Send(true).get_Status(), 0);
    const Bytes sent = ocsp_pki::request_nonce(as_bytes(server.last_request("/ocsp").body));
    EXPECT_EQ(sent.size(), 16u);

    responder.nonce_override = Bytes(16, 0x5A);
    EXPECT_ANY_THROW(request.Send(true)) << "a wrong nonce";
    responder.nonce_override = Bytes();
    EXPECT_ANY_THROW(request.Send(true)) << "an empty nonce";

    // Import with the request applies the same rule.
    const Bytes stale = ocsp_pki::response({pki.single()}, pki.ca_signer());
    CResponse response;
    EXPECT_ANY_THROW(response.Import(stale.data(), static_cast<unsigned long>(stale.size()), &request));
    EXPECT_NO_THROW(response.Import(stale.data(), static_cast<unsigned long>(stale.size()), nullptr));
}

TEST_F(OcspRequest, UnsuccessfulStatusIsReturnedNotThrown) {
    server.serve_bytes("/ocsp", as_string(ocsp_pki::error_response(1)), "application/ocsp-response");
    CRequest request;
    prepare(request, pki);
    const CResponse response = request.Send(true);
    EXPECT_EQ(response.get_Status(), 1);
    EXPECT_EQ(response.get_SRNumber(), 0u);
}

TEST_F(OcspRequest, EveryTransportFailureThrows) {
    ASSERT_EQ(maren_registry_set_long("\\config\\OCSP\\Timeout", 1000), 0);
    const std::string oversize(70 * 1024, 'x');
    struct Case {
        const char *name;
        HttpReply reply;
    };
    auto with_mode = [](HttpReply::Mode mode, std::string body = "") {
        HttpReply reply = HttpReply::ok(std::move(body));
        reply.mode = mode;
        return reply;
    };
    HttpReply slow = HttpReply::ok(as_string(responder.answer(ocsp_pki::openssl_request(pki.leaf, pki.ca))));
    slow.delay_ms = 5000;
    HttpReply error = HttpReply::ok("");
    error.status = 500;
    const Case cases[] = {
        {"a responder that never answers in time", slow},
        {"a dropped connection", with_mode(HttpReply::Mode::drop)},
        {"garbage instead of HTTP", with_mode(HttpReply::Mode::garbage, "\x01\x02 no status line\r\n\r\n")},
        {"a truncated body", with_mode(HttpReply::Mode::truncated, "0123")},
        {"an endless body", with_mode(HttpReply::Mode::endless)},
        {"an HTTP error", error},
        {"a body above the size cap", HttpReply::ok(oversize)},
        {"a body that is no OCSP response", HttpReply::ok("<html>hello</html>")},
    };
    for (const Case &c : cases) {
        server.serve("/ocsp", c.reply);
        CRequest request;
        prepare(request, pki);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_ANY_THROW(request.Send(true)) << c.name;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8)) << c.name;
    }
    ASSERT_EQ(maren_registry_set_long("\\config\\OCSP\\Timeout", 10000), 0);

    // Nobody listening at all.
    std::string closed_url;
    {
        LoopbackHttpServer gone;
        closed_url = gone.url("/ocsp");
    }
    const Cert leaf = context_of(pki.leaf_with_url(closed_url));
    CRequest request;
    prepare(request, pki, leaf.get());
    EXPECT_ANY_THROW(request.Send(false));
}

TEST_F(OcspRequest, SeparateRequestsRunOnSeparateThreads) {
    answer_posts();
    std::vector<Cert> leaves;
    for (int i = 0; i < 4; ++i) {
        leaves.push_back(context_of(pki.leaf_with_url(server.url("/ocsp"))));
        responder.set(serial_of(leaves.back().get()), Status::revoked);
    }
    std::vector<int> statuses(leaves.size(), -1);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < leaves.size(); ++i)
        threads.emplace_back([&, i] {
            CRequest request;
            prepare(request, pki, leaves[i].get());
            try {
                const CResponse response = request.Send(true);
                statuses[i] = response.get_SRStatus(0);
            } catch (...) {
                statuses[i] = -2;
            }
        });
    for (std::thread &thread : threads) thread.join();
    for (const int status : statuses) EXPECT_EQ(status, 1);
}

}  // namespace
