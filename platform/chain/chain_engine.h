/* Chain engines: where the builder looks for issuers and which stores hold
 * the trusted roots. The two default engines search the system stores;
 * an engine made by CertCreateCertificateChainEngine may add stores of its
 * own and replace the system roots. */
#ifndef MAREN_PLATFORM_CHAIN_CHAIN_ENGINE_H
#define MAREN_PLATFORM_CHAIN_CHAIN_ENGINE_H

#include <vector>

#include <maren/chain.h>

#include "platform/chain/handles.h"

namespace maren::chain {

/* The stores of one chain request, in search order. */
struct SearchStores {
    /* Searched for issuers. */
    std::vector<StoreHandle> issuers;
    /* Trusted roots; searched for issuers too. */
    std::vector<StoreHandle> roots;

    /* The certificate, byte for byte, is in a root store. */
    bool is_trusted_root(const CERT_CONTEXT *cert) const;
};

/* The stores for a request: the additional store, the certificate's own
 * store, then the engine's. Null when hChainEngine is not an engine; the
 * last error is then set. System stores that cannot be opened are left
 * out, since a missing store holds no issuer. */
bool collect_search_stores(HCERTCHAINENGINE engine, HCERTSTORE additional, const CERT_CONTEXT *cert,
                           SearchStores *stores);

}  // namespace maren::chain

#endif
