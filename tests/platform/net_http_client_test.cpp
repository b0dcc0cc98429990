// The HTTP transport against the loopback server: what a caller reads back
// (status, content type, body, error kind) and that every exchange is
// bounded in time, size and redirects.
#include "platform/net/http_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/support/loopback_http_server.h"

namespace {

using halden::test::HttpReply;
using halden::test::HttpRequestSeen;
using halden::test::LoopbackHttpServer;
using maren::net::HttpError;

long long elapsed_ms(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

TEST(HttpTransport, GetReturnsStatusTypeAndBody) {
    LoopbackHttpServer server;
    server.serve_bytes("/a.crl", "crl bytes", "application/pkix-crl");
    const auto response = maren::net::http_get(server.url("/a.crl"), 5000);
    ASSERT_TRUE(response.ok()) << response.message;
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.content_type, "application/pkix-crl");
    EXPECT_EQ(std::string(response.body.begin(), response.body.end()), "crl bytes");
    EXPECT_EQ(server.requests("/a.crl"), 1);
}

TEST(HttpTransport, PostSendsBodyAndContentType) {
    LoopbackHttpServer server;
    server.route("/ocsp", [](const HttpRequestSeen &request) {
        return HttpReply::ok("echo:" + request.body, "application/ocsp-response");
    });
    const std::vector<unsigned char> body = {0x30, 0x03, 0x02, 0x01, 0x00};
    const auto response = maren::net::http_post(server.url("/ocsp"), body, "application/ocsp-request", 5000);
    ASSERT_TRUE(response.ok()) << response.message;
    const HttpRequestSeen seen = server.last_request("/ocsp");
    EXPECT_EQ(seen.method, "POST");
    EXPECT_EQ(seen.headers.at("content-type"), "application/ocsp-request");
    EXPECT_EQ(seen.body, std::string(body.begin(), body.end()));
    EXPECT_EQ(response.content_type, "application/ocsp-response");
}

TEST(HttpTransport, LargePostBodyArrivesWhole) {
    LoopbackHttpServer server;
    server.route("/big", [](const HttpRequestSeen &request) { return HttpReply::ok(std::to_string(request.body.size())); });
    const std::vector<unsigned char> body(3 * 1024 * 1024, 0x5a);
    const auto response = maren::net::http_post(server.url("/big"), body, "application/octet-stream", 10000);
    ASSERT_TRUE(response.ok()) << response.message;
    EXPECT_EQ(std::string(response.body.begin(), response.body.end()), std::to_string(body.size()));
}

TEST(HttpTransport, FailuresHaveTheirOwnKind) {
    LoopbackHttpServer server;
    HttpReply garbage;
    garbage.mode = HttpReply::Mode::garbage;
    garbage.body = "\x01\x02 this is not HTTP at all\r\n\r\n";
    server.serve("/garbage", garbage);
    HttpReply drop;
    drop.mode = HttpReply::Mode::drop;
    server.serve("/drop", drop);
    HttpReply truncated = HttpReply::ok("partial");
    truncated.mode = HttpReply::Mode::truncated;
    server.serve("/truncated", truncated);
    HttpReply unavailable = HttpReply::ok("later");
    unavailable.status = 503;
    server.serve("/503", unavailable);
    server.redirect("/loop1", "/loop2");
    server.redirect("/loop2", "/loop1");
    server.redirect("/to-file", "file:///etc/hostname");

    const struct {
        const char *path;
        HttpError expected;
    } cases[] = {
        {"/garbage", HttpError::bad_response},   {"/drop", HttpError::connection_failed},
        {"/truncated", HttpError::bad_response}, {"/503", HttpError::bad_status},
        {"/loop1", HttpError::too_many_redirects}, {"/to-file", HttpError::unsupported_scheme},
    };
    for (const auto &c : cases) {
        const auto response = maren::net::http_get(server.url(c.path), 5000);
        EXPECT_EQ(response.error, c.expected) << c.path << ": " << maren::net::http_error_name(response.error) << " "
                                              << response.message;
        EXPECT_FALSE(response.message.empty()) << c.path;
    }
    // The bad status keeps its body and its status for the caller.
    const auto unavailable_response = maren::net::http_get(server.url("/503"), 5000);
    EXPECT_EQ(unavailable_response.status, 503);
    // The loop ended after the limit, not before.
    EXPECT_LE(server.requests("/loop1") + server.requests("/loop2"), 1 + 1 + maren::net::kDefaultMaxRedirects + 1);
}

TEST(HttpTransport, SchemesOutsideTheWebNeedPermission) {
    EXPECT_EQ(maren::net::http_get("file:///etc/hostname", 1000).error, HttpError::unsupported_scheme);
    EXPECT_EQ(maren::net::http_get("gopher://127.0.0.1/", 1000).error, HttpError::unsupported_scheme);
    EXPECT_EQ(maren::net::http_get("", 1000).error, HttpError::invalid_argument);
    maren::net::HttpRequest request;
    request.url = "file:///nonexistent/maren/file.crl";
    request.allow_file_and_ldap = true;
    EXPECT_EQ(maren::net::http_perform(request).error, HttpError::not_found);
}

TEST(HttpTransport, BodyOverTheCapIsRefusedWithoutItsBytes) {
    LoopbackHttpServer server;
    server.serve_bytes("/announced", std::string(200000, 'a'));
    HttpReply endless = HttpReply::ok("");
    endless.mode = HttpReply::Mode::endless;
    server.serve("/endless", endless);
    server.serve_bytes("/exact", std::string(1000, 'b'));

    for (const char *path : {"/announced", "/endless"}) {
        const auto response = maren::net::http_get(server.url(path), 10000, 1000);
        EXPECT_EQ(response.error, HttpError::too_large) << path << ": " << response.message;
        EXPECT_TRUE(response.body.empty());
        EXPECT_EQ(response.body.capacity(), 0u);
    }
    const auto exact = maren::net::http_get(server.url("/exact"), 5000, 1000);
    EXPECT_TRUE(exact.ok()) << exact.message;
    EXPECT_EQ(exact.body.size(), 1000u);
}

TEST(HttpTransport, TimeOutBoundsASilentServerAndADeadPort) {
    LoopbackHttpServer server;
    HttpReply slow = HttpReply::ok("late");
    slow.delay_ms = 20000;
    server.serve("/slow", slow);
    auto start = std::chrono::steady_clock::now();
    const auto response = maren::net::http_get(server.url("/slow"), 300);
    EXPECT_EQ(response.error, HttpError::timeout);
    // Functional bound with a wide margin: far below the server's delay.
    EXPECT_LT(elapsed_ms(start), 5000);

    // A port nobody listens on: refused at once.
    std::string dead_url;
    {
        LoopbackHttpServer gone;
        dead_url = gone.url("/x");
    }
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(maren::net::http_get(dead_url, 300).error, HttpError::connection_failed);
    EXPECT_LT(elapsed_ms(start), 5000);
}

TEST(HttpTransport, ManyThreadsFetchAtOnce) {
    LoopbackHttpServer server;
    server.serve_bytes("/shared", std::string(5000, 's'));
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 5; ++i)
                if (maren::net::http_get(server.url("/shared"), 10000).body.size() == 5000) ++good;
        });
    for (auto &t : threads) t.join();
    EXPECT_EQ(good.load(), 40);
    EXPECT_EQ(server.requests("/shared"), 40);
}

}  // namespace
