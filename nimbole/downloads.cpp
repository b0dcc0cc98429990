// Fetching the CRLs a certificate names, within the time budget.
#include "nimbole/chain_builder.h"

#include <algorithm>
#include <limits>

#include "nimbole/url_names.h"

namespace halden::nimbole {
namespace {

// The platform takes 32 bits of milliseconds; 0 there would mean its own
// default, which the budget never hands on.
DWORD retrieval_timeout(std::uint64_t ms) {
    return static_cast<DWORD>(std::min<std::uint64_t>(ms, std::numeric_limits<DWORD>::max()));
}

CrlContextRef retrieve_crl(const std::string& url, DWORD retrieval_flags, std::uint64_t ms,
                           CRYPT_RETRIEVE_AUX_INFO& aux) {
    void* object = nullptr;
    if (!CryptRetrieveObjectByUrlA(url.c_str(), CONTEXT_OID_CRL, retrieval_flags, retrieval_timeout(ms), &object,
                                   nullptr, nullptr, nullptr, &aux))
        return CrlContextRef();
    return CrlContextRef::adopt(static_cast<PCCRL_CONTEXT>(object));
}

}  // namespace

CRYPT_RETRIEVE_AUX_INFO CertChainBuilder::retrieve_aux_info() const {
    CRYPT_RETRIEVE_AUX_INFO aux{};
    aux.cbSize = sizeof aux;
    aux.pftCacheResync = cache_resync;
    return aux;
}

// Whatever the cache holds is taken unexamined: its dates are judged later,
// by the CRL loop. No wire time passes, so none is charged.
CrlContextRef CertChainBuilder::download_crl_from_cache(const std::vector<std::string>& urls, unsigned int mode,
                                                        CRYPT_RETRIEVE_AUX_INFO& aux) {
    const std::uint64_t ms = get_current_timeout();
    if (ms == 0) return CrlContextRef();
    for (const std::string& url : urls) {
        CrlContextRef crl = retrieve_crl(url, mode | CRYPT_CACHE_ONLY_RETRIEVAL, ms, aux);
        if (crl) return crl;
    }
    return CrlContextRef();
}

// In force now, strictly between its dates, or naming a freshest CRL that
// may complete it.
bool CertChainBuilder::is_kept(const CRL_INFO& crl) const {
    if (CertFindExtension(szOID_FRESHEST_CRL, crl.cExtension, crl.rgExtension) != nullptr) return true;
    return CompareFileTime(&crl.NextUpdate, &current_time) > 0 && CompareFileTime(&crl.ThisUpdate, &current_time) < 0;
}

CrlContextRef CertChainBuilder::download_crl_from_dp(const std::vector<std::string>& urls, unsigned int mode) {
    CRYPT_RETRIEVE_AUX_INFO aux = retrieve_aux_info();
    if ((mode & CRYPT_CACHE_ONLY_RETRIEVAL) != 0) return download_crl_from_cache(urls, mode, aux);

    const bool accumulative = (flags & CertChainBuildFlags::REVOCATION_ACCUMULATIVE_TIMEOUT) != 0;
    for (const std::string& url : urls) {
        timeval start{};
        host_gettimeofday(&start);
        const std::uint64_t ms = get_current_timeout();
        CrlContextRef crl = ms != 0 ? retrieve_crl(url, mode, ms, aux) : CrlContextRef();
        if (!crl) {
            // No error of a failed URL survives it.
            SetLastError(0);
        } else if (is_kept(*crl->pCrlInfo)) {
            if (accumulative) update_timeout(start);
            return crl;
        }
        if (accumulative) update_timeout(start);
    }
    return CrlContextRef();
}

void CertChainBuilder::download_points(const CRL_DIST_POINTS_INFO* points, unsigned int mode, crl_set& fetched) {
    if (points == nullptr) return;
    for (DWORD i = 0; i < points->cDistPoint; ++i) {
        const CrlContextRef crl = download_crl_from_dp(dpName_as_strvec(&points->rgDistPoint[i].DistPointName), mode);
        if (crl) fetched.insert(crl_cache->insert(CRLItem(crl.get()), CRLCacheInfo{}));
    }
}

void CertChainBuilder::download_crl_all(const CertificateEntry& cert, crl_set& bases, delta_map& deltas,
                                        unsigned int mode) {
    crl_set fetched;
    const SHARED_CERT_DATA& data = cert.key().data();
    download_points(data.crl_dist_points.get(), mode, fetched);
    download_points(data.freshest_crl.get(), mode, fetched);
    for (const CRLEntry& crl : fetched) file_crl(crl, bases, deltas);
}

}  // namespace halden::nimbole
