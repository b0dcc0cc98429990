/* The chain caches: one entry per distinct item, stable handles ordered by
 * identity, and what an insert of an item already cached may change. */
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "nimbole/cert_cache_info.h"
#include "nimbole/certificate_item.h"
#include "nimbole/chain_cache.h"
#include "nimbole/crl_cache_info.h"
#include "nimbole/crl_item.h"
#include "tests/nimbole/item_contexts.h"

using namespace item_test;
using namespace halden::nimbole;

namespace {

using CertCache = ChainCache<CertificateItem, CertificateCacheInfo>;

Bytes cert_bytes(long serial) {
    static const Key key;
    return make_cert(CertSpec("Leaf", "Root", serial), key, key);
}
CertificateItem cert(const Bytes &der_bytes) { return CertificateItem(cert_context(der_bytes).get()); }

CertificateCacheInfo trusted(bool mark) {
    CertificateCacheInfo info;
    info.trusted = mark;
    return info;
}

}  // namespace

TEST(ChainCacheInsert, EqualCertificateGivesOneEntryHoldingTheFirstItemsData) {
    CertCache cache;
    const Bytes der_bytes = cert_bytes(1);
    const CertificateItem first = cert(der_bytes), second = cert(Bytes(der_bytes));
    const CertificateEntry a = cache.insert(first, {}), b = cache.insert(second, {});
    EXPECT_EQ(a, b);
    EXPECT_EQ(cache.size(), 1u);
    EXPECT_EQ(&a.key().data(), &first.data());
}

TEST(ChainCacheInsert, TrustedMarkRisesAndNeverFalls) {
    const bool cases[][3] = {{false, false, false}, {false, true, true}, {true, false, true}, {true, true, true}};
    for (const auto &c : cases) {
        CertCache cache;
        const CertificateItem item = cert(cert_bytes(1));
        const CertificateEntry entry = cache.insert(item, trusted(c[0]));
        cache.insert(item, trusted(c[1]));
        EXPECT_EQ(entry.value().trusted, c[2]) << c[0] << c[1];
    }
}

TEST(ChainCacheInsert, EverythingElseOfferedForACachedItemIsDropped) {
    CertCache certs;
    const CertificateItem issuer = cert(cert_bytes(2)), subject = cert(cert_bytes(3));
    const CertificateEntry issuer_entry = certs.insert(issuer, {}), subject_entry = certs.insert(subject, {});
    CertificateCacheInfo offered;
    offered.crl_valid = true;
    offered.base_valid.insert(issuer_entry);
    certs.insert(subject, offered);
    EXPECT_FALSE(subject_entry.value().crl_valid);
    EXPECT_TRUE(subject_entry.value().base_valid.empty());

    ChainCache<CRLItem, CRLCacheInfo> crls;
    const CRLItem crl(crl_context(make_crl({}, Key())).get());
    const CRLEntry crl_entry = crls.insert(crl, {});
    crl_entry.value().signer = issuer_entry;
    crls.insert(crl, CRLCacheInfo{subject_entry});
    EXPECT_EQ(crl_entry.value().signer, issuer_entry);
}

TEST(ChainCacheHandles, StayValidAndOrderByIdentity) {
    CertCache cache;
    std::vector<Bytes> encodings;
    std::vector<CertificateEntry> entries;
    for (long serial = 100; serial < 140; ++serial) {
        encodings.push_back(cert_bytes(serial));
        entries.push_back(cache.insert(cert(encodings.back()), {}));
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        const CERT_CONTEXT &cached = *entries[i].key().context();
        EXPECT_TRUE(cached.cbCertEncoded == encodings[i].size() &&
                    std::equal(encodings[i].begin(), encodings[i].end(), cached.pbCertEncoded));
        EXPECT_EQ(cache.insert(cert(encodings[i]), {}), entries[i]);
    }
    std::set<CertificateEntry> by_identity(entries.begin(), entries.end());
    by_identity.insert(CertificateEntry{});
    EXPECT_EQ(by_identity.size(), entries.size() + 1);
    EXPECT_FALSE(*by_identity.begin());
}
