/* Owning holders of the platform handles the chain builder keeps for longer
 * than one statement: stores and certificate contexts. */
#ifndef MAREN_PLATFORM_CHAIN_HANDLES_H
#define MAREN_PLATFORM_CHAIN_HANDLES_H

#include <memory>

#include <maren/context.h>
#include <maren/store.h>

namespace maren::chain {

struct StoreCloser {
    void operator()(void *store) const { CertCloseStore(store, 0); }
};
using StoreHandle = std::unique_ptr<void, StoreCloser>;

struct CertReleaser {
    void operator()(const CERT_CONTEXT *cert) const { CertFreeCertificateContext(cert); }
};
using CertHandle = std::unique_ptr<const CERT_CONTEXT, CertReleaser>;

/* A new reference to the same context (or store), held. */
inline CertHandle share(const CERT_CONTEXT *cert) {
    return CertHandle(cert != nullptr ? CertDuplicateCertificateContext(cert) : nullptr);
}
inline StoreHandle share_store(HCERTSTORE store) {
    return StoreHandle(store != nullptr ? CertDuplicateStore(store) : nullptr);
}

}  // namespace maren::chain

#endif
