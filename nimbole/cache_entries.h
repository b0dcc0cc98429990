// The handles by which everything refers to the entries of the two chain
// caches.
#ifndef HALDEN_NIMBOLE_CACHE_ENTRIES_H
#define HALDEN_NIMBOLE_CACHE_ENTRIES_H

#include <utility>

#include "nimbole/key_pair_ptr.h"

namespace halden::nimbole {

class CertificateItem;
class CRLItem;
struct CertificateCacheInfo;
struct CRLCacheInfo;

using CertificateEntry = KeyPairPtr<CertificateItem, CertificateCacheInfo>;
using CRLEntry = KeyPairPtr<CRLItem, CRLCacheInfo>;
// A base CRL and the delta used with it; the delta is null when none took
// part. Pairs order lexicographically by entry identity.
using CRLPair = std::pair<CRLEntry, CRLEntry>;

}  // namespace halden::nimbole

#endif
