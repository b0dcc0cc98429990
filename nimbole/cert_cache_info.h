// What the engine keeps beside a certificate in its chain cache for one
// verification: its trust, and what CRLs have said about it.
#ifndef HALDEN_NIMBOLE_CERT_CACHE_INFO_H
#define HALDEN_NIMBOLE_CERT_CACHE_INFO_H

#include <set>

#include "nimbole/cache_entries.h"

namespace halden::nimbole {

struct CertificateCacheInfo {
    // A trust anchor for this run.
    bool trusted = false;
    // CRLs have shown that the certificate is not revoked, for all reasons.
    bool crl_valid = false;
    // Issuers that need no further base checks.
    std::set<CertificateEntry> base_valid;
    // Every base and delta pair that gave a verdict for this certificate.
    std::set<CRLPair> crl_pairs;
    // The base and delta in which the certificate was last found; both null
    // at first.
    CRLPair revoking_crl;

    // Orders over crl_pairs by the ThisUpdate (or NextUpdate) of the deltas
    // when the first pair has one, else of the bases: true when the first is
    // earlier.
    static bool this_update_less(const CRLPair& a, const CRLPair& b);
    static bool next_update_less(const CRLPair& a, const CRLPair& b);
};

// An insert of a certificate already cached keeps the cached value; only
// the trusted mark can rise through it, and it never falls.
inline void merge_offered(CertificateCacheInfo& cached, const CertificateCacheInfo& offered) {
    if (offered.trusted) cached.trusted = true;
}

}  // namespace halden::nimbole

#endif
