/* CRL downloads in the three retrieval modes, against a loopback server
 * that counts requests, the time budget that bounds them, and the URLs a
 * certificate names. */
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "nimbole/chain_builder.h"
#include "nimbole/url_names.h"
#include "tests/nimbole/engine_support.h"
#include "tests/support/loopback_http_server.h"

using namespace halden::nimbole;
using namespace item_test;

namespace {

using Flags = CertChainBuildFlags;
constexpr unsigned kCacheOnly = CRYPT_CACHE_ONLY_RETRIEVAL, kDefault = 0, kWireOnly = CRYPT_WIRE_ONLY_RETRIEVAL;

const Key &key() {
    static const Key k;
    return k;
}
std::string text(const Bytes &bytes) { return std::string(bytes.begin(), bytes.end()); }
Bytes encoded(PCCRL_CONTEXT crl) { return Bytes(crl->pbCrlEncoded, crl->pbCrlEncoded + crl->cbCrlEncoded); }
/* In force for seven days from its issue. */
Bytes crl_issued(double days_ago, std::vector<Ext> extensions = {}) {
    CrlSpec shape;
    shape.this_update = days_from_now(-days_ago);
    shape.extensions = std::move(extensions);
    return make_crl(shape, key());
}
std::uint64_t ticks(const FILETIME &t) { return (std::uint64_t(t.dwHighDateTime) << 32) | t.dwLowDateTime; }
FILETIME at(std::uint64_t t) { return FILETIME{DWORD(t), DWORD(t >> 32)}; }

Bytes uri(const std::string &url) { return der::text(0x86, url); }
Bytes point(std::initializer_list<Bytes> names) {
    Bytes full;
    for (const Bytes &n : names) full.insert(full.end(), n.begin(), n.end());
    return der::seq({der::tlv(0xA0, der::tlv(0xA0, full))});
}

class CrlDownload : public testing::Test {
protected:
    CrlDownload() { engine.timeout = 5000; }
    CrlContextRef fetch(std::initializer_list<const char *> paths, unsigned mode) {
        std::vector<std::string> urls;
        for (const char *path : paths) urls.push_back(server.url(path));
        return engine.download_crl_from_dp(urls, mode);
    }

    halden::test::LoopbackHttpServer server;
    CertChainBuilder engine;
    CertChainBuilderPeer peer{engine};
};

}  // namespace

TEST(TimeBudget, EachRetrievalMayTakeHalfOfWhatIsLeftAndOnlyTimeSpentIsCharged) {
    const struct {
        std::uint64_t timeout;
        bool accumulative;
        std::uint64_t elapsed, expected;
    } budgets[] = {{1000, false, 5000, 1000}, {1000, true, 0, 500}, {1000, true, 500, 250}, {1000, true, 998, 1},
                   {1000, true, 999, 0},      {1000, true, 4000, 0}, {0, false, 0, 0},       {0, true, 0, 0}};
    for (const auto &b : budgets) {
        CertChainBuilder engine;
        engine.timeout = b.timeout;
        engine.flags |= b.accumulative ? Flags::REVOCATION_ACCUMULATIVE_TIMEOUT : 0;
        CertChainBuilderPeer(engine).elapsed_ms() = b.elapsed;
        EXPECT_EQ(engine.get_current_timeout(), b.expected) << b.timeout << " " << b.accumulative << " " << b.elapsed;
    }
    const struct {
        timeval start, end;
        std::uint64_t charged;
    } spans[] = {{{10, 0}, {11, 500000}, 1500}, {{10, 999999}, {11, 0}, 0}, {{11, 0}, {10, 0}, 0}};
    for (const auto &s : spans) {
        CertChainBuilder engine;
        CertChainBuilderPeer(engine).elapsed_ms() = 7;
        engine.update_timeout(s.start, s.end);
        EXPECT_EQ(CertChainBuilderPeer(engine).elapsed_ms(), 7 + s.charged) << s.end.tv_sec << "." << s.end.tv_usec;
    }
}

TEST_F(CrlDownload, CacheOnlyNeverTouchesTheNetworkWireOnlyAlwaysDoesAndZeroBudgetNothing) {
    server.serve_bytes("/a.crl", text(crl_issued(0.5)));
    const struct {
        std::uint64_t timeout;
        unsigned mode;
        bool found;
        int requests_so_far;
    } steps[] = {
        {5000, kCacheOnly, false, 0}, {5000, kWireOnly, true, 1}, {5000, kCacheOnly, true, 1},
        {5000, kDefault, true, 1},  // a fresh cache entry serves the ordinary mode
        {5000, kWireOnly, true, 2},   {0, kCacheOnly, false, 2},  {0, kDefault, false, 2}, {0, kWireOnly, false, 2},
    };
    for (const auto &s : steps) {
        engine.timeout = s.timeout;
        EXPECT_EQ(static_cast<bool>(fetch({"/a.crl"}, s.mode)), s.found) << s.timeout << " " << s.mode;
        EXPECT_EQ(server.requests("/a.crl"), s.requests_so_far) << s.timeout << " " << s.mode;
    }
}

TEST_F(CrlDownload, FirstAcceptableCrlWinsAndFailuresLeaveNoError) {
    const Bytes good = crl_issued(0.5);
    server.serve_bytes("/expired.crl", text(crl_issued(10)));
    server.serve_bytes("/garbage.crl", "not a CRL");
    server.serve_bytes("/good.crl", text(good));
    server.serve_bytes("/later.crl", text(crl_issued(1)));
    SetLastError(5);
    const CrlContextRef crl = fetch({"/missing.crl", "/expired.crl", "/garbage.crl", "/good.crl", "/later.crl"},
                                    kWireOnly);
    ASSERT_TRUE(crl);
    EXPECT_EQ(encoded(crl.get()), good);
    EXPECT_EQ(server.total_requests(), 4);
    EXPECT_EQ(peer.elapsed_ms(), 0u);  // charged only under an accumulative budget
    SetLastError(5);
    EXPECT_FALSE(fetch({"/missing.crl", "/garbage.crl"}, kWireOnly));
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(CrlDownload, WireKeepsStrictlyInForceOrFreshestNamingCrlsWhileCacheOnlyTakesWhatItHas) {
    const Bytes plain = crl_issued(0.5), freshest = crl_issued(10, {{"2.5.29.46", point({uri("http://x.test/")})}});
    server.serve_bytes("/plain.crl", text(plain));
    server.serve_bytes("/freshest.crl", text(freshest));
    const CrlContextRef dated = crl_context(plain);
    const std::uint64_t issued = ticks(dated->pCrlInfo->ThisUpdate), next = ticks(dated->pCrlInfo->NextUpdate);
    const struct {
        const char *path;
        std::uint64_t now;
        bool kept;
    } cases[] = {{"/plain.crl", next, false},  {"/plain.crl", next - 1, true}, {"/plain.crl", issued, false},
                 {"/plain.crl", issued + 1, true}, {"/freshest.crl", next, true}};
    for (const auto &c : cases) {
        peer.current_time() = at(c.now);
        EXPECT_EQ(static_cast<bool>(fetch({c.path}, kWireOnly)), c.kept) << c.path << " " << c.now - issued;
    }
    // The cached copy of the CRL that has expired by the engine's clock.
    peer.current_time() = at(next + 1);
    const CrlContextRef cached = fetch({"/missing.crl", "/plain.crl"}, kCacheOnly);
    ASSERT_TRUE(cached);
    EXPECT_EQ(encoded(cached.get()), plain);
    EXPECT_EQ(server.total_requests(), 5);
}

TEST_F(CrlDownload, DeadUrlsShareTheBudgetByHalves) {
    halden::test::HttpReply dead;
    dead.delay_ms = 8000;
    for (const char *path : {"/dead1", "/dead2", "/dead3"}) server.serve(path, dead);
    engine.flags |= Flags::REVOCATION_ACCUMULATIVE_TIMEOUT;
    engine.timeout = 1000;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(fetch({"/dead1", "/dead2", "/dead3"}, kDefault));
    const long long wall_ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    // Every URL was tried, the first took its half, and the whole stayed
    // near the budget rather than near the server's delay.
    EXPECT_EQ(server.total_requests(), 3);
    EXPECT_GE(peer.elapsed_ms(), 500u);
    EXPECT_LE(peer.elapsed_ms(), std::uint64_t(wall_ms) + 1);
    EXPECT_LT(wall_ms, 1000 + 2500);
}

TEST(CrlDownloadAll, FetchesEachPointsFirstCrlAndFilesBasesAndDeltas) {
    halden::test::LoopbackHttpServer server;
    const Bytes aki = der::authority_key_id({1, 2, 3}), idp = der::issuing_dist_point(server.url("/b1.crl"));
    const Bytes base1 = crl_issued(0.5), base2 = crl_issued(1),
                delta = crl_issued(0.5, {{"2.5.29.27", der::tlv(0x02, {5})}, {"2.5.29.35", aki}, {"2.5.29.28", idp}});
    server.serve_bytes("/b1.crl", text(base1));
    server.serve_bytes("/b2.crl", text(base2));
    server.serve_bytes("/delta.crl", text(delta));
    CertSpec shape;
    shape.extensions = {{"2.5.29.31", der::seq({point({der::text(0x82, "crl.test"), uri(server.url("/b1.crl"))}),
                                               point({uri(server.url("/none.crl")), uri(server.url("/b2.crl")),
                                                      uri(server.url("/b1.crl"))})})},
                       {"2.5.29.46", der::seq({point({uri(server.url("/delta.crl"))})})}};
    CertChainBuilder engine;
    CertChainBuilderPeer peer(engine);
    engine.timeout = 5000;
    engine.add_cert(CertificateItem(cert_context(make_cert(shape, key(), key())).get()));
    const CertificateEntry cert = *peer.certs().begin();

    for (const unsigned mode : {kWireOnly, kCacheOnly}) {
        crl_set bases;
        delta_map deltas;
        engine.download_crl_all(cert, bases, deltas, mode);
        std::set<Bytes> fetched;
        for (const CRLEntry &crl : bases) fetched.insert(encoded(crl.key().context()));
        EXPECT_EQ(fetched, (std::set<Bytes>{base1, base2})) << mode;
        ASSERT_EQ(deltas.size(), 1u);
        const delta_set &filed = deltas[Bytes{1, 2, 3}][idp];
        ASSERT_EQ(filed.size(), 1u);
        EXPECT_EQ(encoded(filed.begin()->key().context()), delta);
        EXPECT_EQ(peer.crl_cache_size(), 3u);
        // The DNS name costs nothing, and a point stops at its first CRL;
        // from the cache, nothing at all.
        EXPECT_EQ(server.total_requests(), 4);
    }
}

TEST(UrlNames, AuthorityInformationAccessGivesCaIssuersUrlsInOrder) {
    const auto access = [](const char *method, const Bytes &location) {
        return der::seq({der::oid(method), location});
    };
    CertSpec shape;
    shape.extensions = {{"1.3.6.1.5.5.7.1.1", der::seq({access("1.3.6.1.5.5.7.48.1", uri("http://ocsp.test/")),
                                                        access("1.3.6.1.5.5.7.48.2", uri("http://ca.test/1.cer")),
                                                        access("1.3.6.1.5.5.7.48.2", der::text(0x82, "ca.test")),
                                                        access("1.3.6.1.5.5.7.48.5", uri("http://ca.test/r")),
                                                        access("1.3.6.1.5.5.7.48.2", uri("http://ca.test/2.p7c"))})}};
    const CertificateItem cert(cert_context(make_cert(shape, key(), key())).get());
    const std::vector<std::string> urls = parse_AIA(cert.data().aia.get());
    ASSERT_EQ(urls.size(), 2u);
    EXPECT_STREQ(urls[0].c_str(), "http://ca.test/1.cer");
    EXPECT_STREQ(urls[1].c_str(), "http://ca.test/2.p7c");
    EXPECT_TRUE(parse_AIA(nullptr).empty());
}
