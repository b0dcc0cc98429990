// What the engine keeps beside a CRL in its chain cache: the signer that a
// proven path found for it.
#ifndef HALDEN_NIMBOLE_CRL_CACHE_INFO_H
#define HALDEN_NIMBOLE_CRL_CACHE_INFO_H

#include "nimbole/cache_entries.h"

namespace halden::nimbole {

struct CRLCacheInfo {
    // The certificate that signs this CRL; null until a path has been
    // proved for it.
    CertificateEntry signer;
};

// An insert of a CRL already cached changes nothing.
inline void merge_offered(CRLCacheInfo&, const CRLCacheInfo&) {}

}  // namespace halden::nimbole

#endif
