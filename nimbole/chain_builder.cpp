#include "nimbole/chain_builder.h"

#include <memory>

namespace halden::nimbole {

CertChainBuilder::CertChainBuilder() {
    // Both caches are made before either is handed over, so that a failed
    // second allocation doesn't leak the first.
    auto certificates = std::make_unique<CertificateCache>();
    auto lists = std::make_unique<CRLCache>();
    cert_cache = certificates.release();
    crl_cache = lists.release();
    GetSystemTimeAsFileTime(&current_time);
    verify_time = current_time;
}

CertChainBuilder::CertChainBuilder(const CertChainBuilder& parent)
    : flags(parent.flags),
      timeout(parent.timeout),
      cache_resync(parent.cache_resync),
      verify_time(parent.verify_time),
      additional_store(parent.additional_store),
      certs(parent.certs),
      crls(parent.crls),
      stores(parent.stores),
      crl_stores(parent.crl_stores),
      blacklist_store(parent.blacklist_store),
      trusted_store(parent.trusted_store),
      current_time(parent.current_time),
      nested(parent.nested),
      crl_excluded(parent.crl_excluded),
      cert_cache(parent.cert_cache),
      crl_cache(parent.crl_cache),
      owns_caches(false),
      elapsed_ms(parent.elapsed_ms),
      indent(parent.indent + "  "),
      chain_engine(parent.chain_engine) {
    // Only the exact end-certificate scope drops out: a nested engine under
    // a chain scope (even one that also names the end certificate) checks
    // the CRL signer's path too.
    if ((flags & CertChainBuildFlags::REVOCATION_CHECK_MASK) == CertChainBuildFlags::REVOCATION_CHECK_END_CERT)
        flags &= ~CertChainBuildFlags::REVOCATION_CHECK_MASK;
}

CertChainBuilder::~CertChainBuilder() {
    if (owns_caches) {
        delete cert_cache;
        delete crl_cache;
    }
}

}  // namespace halden::nimbole
