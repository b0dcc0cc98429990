#include "nimbole/chain_builder.h"

#include <iostream>

#include "nimbole/chain_trace.h"
#include "nimbole/x509_decode.h"

namespace halden::nimbole {

void CertChainBuilder::add_store(const store_handle& store) { stores.insert(store); }

void CertChainBuilder::add_crl_store(const store_handle& store) { crl_stores.insert(store); }

void CertChainBuilder::set_usage(CERT_USAGE_MATCH* required) { usage = required; }

void CertChainBuilder::add_chain_engine(void* engine) { chain_engine = engine; }

void CertChainBuilder::add_exclude_from_crl_verification(const CertificateItem& cert) {
    crl_excluded.insert(cert_cache->insert(cert, CertificateCacheInfo{}));
}

void CertChainBuilder::add_cert(const CertificateItem& cert) {
    certs.insert(cert_cache->insert(cert, CertificateCacheInfo{}));
}

void CertChainBuilder::add_trust(const CertificateItem& cert) {
    CertificateCacheInfo trusted;
    trusted.trusted = true;
    certs.insert(cert_cache->insert(cert, trusted));
}

void CertChainBuilder::add_crl(PCCRL_CONTEXT crl) { crls.insert(crl_cache->insert(CRLItem(crl), CRLCacheInfo{})); }

bool CertChainBuilder::is_blacklisted(PCCERT_CONTEXT cert) const {
    if (blacklist_store == nullptr) return false;
    const CertContextRef found = CertContextRef::adopt(
        CertFindCertificateInStore(blacklist_store, kCertEncoding, 0, CERT_FIND_EXISTING, cert, nullptr));
    if (!found) return false;
    if (TS_PRINT_CHAIN_DETAIL) std::cout << indent << "Certificate was already used during chain building." << std::endl;
    return true;
}

void CertChainBuilder::set_crl_valid(const CertificateEntry& cert) { cert.value().crl_valid = true; }

void CertChainBuilder::set_cert_base_valid(const CertificateEntry& cert, const CertificateEntry& issuer) {
    cert.value().base_valid.insert(issuer);
}

}  // namespace halden::nimbole
