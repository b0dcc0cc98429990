#include "nimbole/cert_cache_info.h"

#include "nimbole/crl_item.h"

namespace halden::nimbole {
namespace {

// The CRL whose times stand for a pair. A second pair without a delta,
// which callers don't hand in, is read by its base.
const CRL_INFO& side(const CRLPair& pair, bool delta) {
    const CRLEntry& entry = delta && pair.second ? pair.second : pair.first;
    return entry.key().info();
}

}  // namespace

bool CertificateCacheInfo::this_update_less(const CRLPair& a, const CRLPair& b) {
    const bool delta = static_cast<bool>(a.second);
    return CompareFileTime(&side(a, delta).ThisUpdate, &side(b, delta).ThisUpdate) < 0;
}

bool CertificateCacheInfo::next_update_less(const CRLPair& a, const CRLPair& b) {
    const bool delta = static_cast<bool>(a.second);
    return CompareFileTime(&side(a, delta).NextUpdate, &side(b, delta).NextUpdate) < 0;
}

}  // namespace halden::nimbole
