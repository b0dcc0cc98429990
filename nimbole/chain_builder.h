// The path engine: everything one verification needs in one object (where to
// look for certificates and CRLs, at what time to validate, the caches of
// parsed items, the time budget of retrievals). The provider's CRL routine
// makes one per certificate on the stack; during a revocation check the
// engine copies itself into a nested engine for each CRL whose signer it
// has to prove. An engine and its nested engines belong to one thread and
// have no lock.
#ifndef HALDEN_NIMBOLE_CHAIN_BUILDER_H
#define HALDEN_NIMBOLE_CHAIN_BUILDER_H

#include <sys/time.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "nimbole/cache_entries.h"
#include "nimbole/cert_cache_info.h"
#include "nimbole/certificate_item.h"
#include "nimbole/chain_build_flags.h"
#include "nimbole/chain_cache.h"
#include "nimbole/crl_cache_info.h"
#include "nimbole/crl_item.h"
#include "nimbole/crl_sets.h"
#include "nimbole/handle_refs.h"
#include "nimbole/store_handle.h"

namespace halden::nimbole {

class CertChainBuilder {
public:
    // A root engine: default flags, empty caches of its own, the time now.
    CertChainBuilder();
    // A nested engine for a revocation check. It shares the parent's caches
    // (and so must not outlive it), copies what the parent was told and how
    // far its budget is spent, starts without a usage, and indents its
    // narrative two blanks deeper. When the parent checks the end
    // certificate only, the copy checks nothing: the signer of a CRL is then
    // built without revocation checks of its own. Explicit, so that no
    // engine is copied by accident.
    explicit CertChainBuilder(const CertChainBuilder& parent);
    CertChainBuilder& operator=(const CertChainBuilder&) = delete;
    ~CertChainBuilder();

    // Stores searched for issuers and for CRLs; each keeps its own
    // reference.
    void add_store(const store_handle& store);
    void add_crl_store(const store_handle& store);
    // Not owned; must outlive the engine.
    void set_usage(CERT_USAGE_MATCH* usage);
    void add_chain_engine(void* engine);
    // The revocation of `cert` is not checked from within this engine: a
    // path that meets it again while proving a CRL's signer stops there.
    void add_exclude_from_crl_verification(const CertificateItem& cert);

    // Certificates and CRLs offered to the search, through the caches. An
    // item cached already keeps its entry.
    void add_cert(const CertificateItem& cert);
    void add_trust(const CertificateItem& cert);
    void add_crl(PCCRL_CONTEXT crl);

    // Whether `cert` stands in the blacklist store; false without one.
    bool is_blacklisted(PCCERT_CONTEXT cert) const;
    // CRLs have shown `cert` not revoked, for all reasons.
    void set_crl_valid(const CertificateEntry& cert);
    // `issuer` needs no further base checks as an issuer of `cert`.
    void set_cert_base_valid(const CertificateEntry& cert, const CertificateEntry& issuer);

    // Fetches the CRLs of the certificate's distribution points and of its
    // freshest-CRL points in `mode` (a CRYPT_..._RETRIEVAL value), at most
    // one per point, caches them, and files them as bases or deltas. Errors
    // of retrieval are swallowed: only the absence of a CRL shows.
    void download_crl_all(const CertificateEntry& cert, crl_set& bases, delta_map& deltas, unsigned int mode);
    // The first acceptable CRL of `urls`, or null. From the cache, the first
    // CRL found is taken as it is and nothing is charged to the budget; from
    // the wire, only a CRL in force now (or one that names a freshest CRL)
    // is kept, and the last error of failed URLs is cleared.
    CrlContextRef download_crl_from_dp(const std::vector<std::string>& urls, unsigned int mode);

    // Milliseconds the next retrieval may take: `timeout` each, or half of
    // what is left of it under REVOCATION_ACCUMULATIVE_TIMEOUT. 0 means that
    // no retrieval is made at all, not even from the cache.
    std::uint64_t get_current_timeout() const;
    // Charges the time from `start` to now, or to `end`, to the budget.
    void update_timeout(const timeval& start);
    void update_timeout(const timeval& start, const timeval& end);

    // Written directly by the provider and the facade.
    std::uint32_t flags = CertChainBuildFlags::REVOCATION_CHECK_CHAIN;
    // Milliseconds: per retrieval, or for all of them together under
    // REVOCATION_ACCUMULATIVE_TIMEOUT.
    std::uint64_t timeout = 0;
    // Not owned; handed to every retrieval as its cache resync time.
    FILETIME* cache_resync = nullptr;
    // Validity periods are tested at this time; the time of construction
    // unless the caller says otherwise.
    FILETIME verify_time{};
    // Not owned; handed on to a nested revocation library.
    HCERTSTORE additional_store = nullptr;

private:
    friend class CertChainBuilderPeer;  // tests reach the private state through it

    using CertificateCache = ChainCache<CertificateItem, CertificateCacheInfo>;
    using CRLCache = ChainCache<CRLItem, CRLCacheInfo>;

    CRYPT_RETRIEVE_AUX_INFO retrieve_aux_info() const;
    CrlContextRef download_crl_from_cache(const std::vector<std::string>& urls, unsigned int mode,
                                          CRYPT_RETRIEVE_AUX_INFO& aux);
    bool is_kept(const CRL_INFO& crl) const;
    void download_points(const CRL_DIST_POINTS_INFO* points, unsigned int mode, crl_set& fetched);

    // What was attached; the search itself goes through the caches.
    std::set<CertificateEntry> certs;
    std::set<CRLEntry> crls;
    // Root stores first.
    std::set<store_handle> stores;
    std::set<store_handle> crl_stores;
    // Not owned. Self-signed certificates found in the first are refused as
    // tops of a chain; the second, when set, decides whether a target is
    // trusted.
    HCERTSTORE blacklist_store = nullptr;
    HCERTSTORE trusted_store = nullptr;
    // Not owned; null when any usage will do.
    CERT_USAGE_MATCH* usage = nullptr;
    // When the engine was made.
    FILETIME current_time{};
    // An engine made for a revocation check.
    bool nested = false;
    // Certificates whose revocation is not checked from here: that would be
    // a cycle.
    std::set<CertificateEntry> crl_excluded;
    // All certificates and CRLs met, shared by an engine and its nested
    // engines; freed by the engine that made them.
    CertificateCache* cert_cache = nullptr;
    CRLCache* crl_cache = nullptr;
    bool owns_caches = true;
    // Milliseconds spent in retrievals under REVOCATION_ACCUMULATIVE_TIMEOUT.
    std::uint64_t elapsed_ms = 0;
    // Leads every narrative line; two blanks more per nested engine.
    std::string indent;
    // Not owned; handed on to a nested revocation library.
    void* chain_engine = nullptr;
};

}  // namespace halden::nimbole

#endif
