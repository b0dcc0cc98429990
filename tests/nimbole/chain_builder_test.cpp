/* The engine's state: what a nested engine shares with its parent, copies
 * or starts afresh, and the blacklist. */
#include <gtest/gtest.h>

#include <memory>

#include "tests/nimbole/engine_support.h"

using namespace halden::nimbole;
using namespace item_test;
using Flags = CertChainBuildFlags;

namespace {
Bytes cert_bytes(long serial) {
    static const Key key;
    return make_cert(CertSpec("Leaf", "Root", serial), key, key);
}
CertificateItem item(long serial) { return CertificateItem(cert_context(cert_bytes(serial)).get()); }
}  // namespace

TEST(NestedEngine, SharesCachesCopiesWhatItWasToldAndResetsTheRest) {
    CertChainBuilder parent;
    FILETIME resync{1, 2};
    CERT_USAGE_MATCH usage{};
    parent.flags = Flags::REVOCATION_CHECK_CHAIN | Flags::REVOCATION_ACCUMULATIVE_TIMEOUT;
    parent.timeout = 1234;
    parent.cache_resync = &resync;
    parent.verify_time = FILETIME{3, 4};
    parent.set_usage(&usage);
    parent.add_exclude_from_crl_verification(item(1));
    CertChainBuilderPeer(parent).elapsed_ms() = 300;

    auto nested = std::make_unique<CertChainBuilder>(parent);
    CertChainBuilderPeer p(parent), n(*nested);
    EXPECT_TRUE(nested->flags == parent.flags && nested->timeout == 1234 && nested->cache_resync == &resync);
    EXPECT_EQ(nested->verify_time.dwHighDateTime, 4u);
    EXPECT_EQ(CompareFileTime(&n.current_time(), &p.current_time()), 0);
    EXPECT_EQ(n.crl_excluded(), p.crl_excluded());
    EXPECT_EQ(n.elapsed_ms(), 300u);
    EXPECT_TRUE(n.usage() == nullptr && p.owns_caches() && !n.owns_caches() && n.cert_cache() == p.cert_cache());
    EXPECT_EQ(n.indent(), "  ");
    EXPECT_EQ(CertChainBuilderPeer(*std::make_unique<CertChainBuilder>(*nested)).indent(), "    ");

    // What the nested engine learns stays in the shared caches, which
    // outlive it; its budget and exclusions are its own.
    nested->add_cert(item(2));
    n.elapsed_ms() += 200;
    n.crl_excluded().clear();
    nested.reset();
    EXPECT_EQ(p.cert_cache_size(), 2u);
    EXPECT_EQ(p.elapsed_ms(), 300u);
    EXPECT_EQ(p.crl_excluded().size(), 1u);
}

TEST(NestedEngine, OnlyTheExactEndCertificateScopeDropsRevocationChecks) {
    const std::uint32_t others = Flags::REVOCATION_ACCUMULATIVE_TIMEOUT | Flags::REVOCATION_CHECK_CACHE_ONLY,
                        end = Flags::REVOCATION_CHECK_END_CERT, chain = Flags::REVOCATION_CHECK_CHAIN,
                        no_root = Flags::REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {end, 0}, {end | others, others}, {chain | end, chain | end}, {chain, chain}, {no_root, no_root}, {0, 0}};
    for (const auto &[parent_flags, nested_flags] : cases) {
        CertChainBuilder parent;
        parent.flags = parent_flags;
        EXPECT_EQ(CertChainBuilder(parent).flags, nested_flags) << std::hex << parent_flags;
    }
}

TEST(EngineBlacklist, ListedCertificateIsRefusedWithOneIndentedLine) {
    const Bytes listed = cert_bytes(1), other = cert_bytes(2);
    StoreRef blacklist = engine_test::memory_store();
    CertAddEncodedCertificateToStore(blacklist.get(), X509_ASN_ENCODING, listed.data(), DWORD(listed.size()),
                                     CERT_STORE_ADD_ALWAYS, nullptr);
    CertChainBuilder parent;
    CertChainBuilder nested(parent);
    const struct {
        HCERTSTORE store;
        const Bytes &cert;
        bool refused;
    } cases[] = {{nullptr, listed, false}, {blacklist.get(), other, false}, {blacklist.get(), listed, true}};
    for (const auto &c : cases) {
        CertChainBuilderPeer(nested).blacklist_store() = c.store;
        engine_test::NarrativeCapture narrative;
        EXPECT_EQ(nested.is_blacklisted(cert_context(c.cert).get()), c.refused);
        EXPECT_EQ(narrative.text(), c.refused ? "  Certificate was already used during chain building.\n" : "");
    }
}
