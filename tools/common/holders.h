// Owning holders of the platform handles the tools keep: stores, certificate
// and CRL contexts, and the CRLs a revocation check hands back.
#ifndef HALDEN_TOOLS_COMMON_HOLDERS_H
#define HALDEN_TOOLS_COMMON_HOLDERS_H

#include <memory>

#include <maren/maren.h>

namespace halden_tools {

struct StoreCloser {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, StoreCloser>;

struct CertReleaser {
    void operator()(const CERT_CONTEXT* cert) const { CertFreeCertificateContext(cert); }
};
using Cert = std::unique_ptr<const CERT_CONTEXT, CertReleaser>;

struct CrlReleaser {
    void operator()(const CRL_CONTEXT* crl) const { CertFreeCRLContext(crl); }
};
using Crl = std::unique_ptr<const CRL_CONTEXT, CrlReleaser>;

// The CRL information a revocation provider fills in. The CRL contexts it
// leaves there belong to the caller; the entry points into one of them.
class RevocationCrlInfo {
public:
    RevocationCrlInfo() { info_.cbSize = sizeof info_; }
    ~RevocationCrlInfo() {
        CertFreeCRLContext(info_.pBaseCrlContext);
        CertFreeCRLContext(info_.pDeltaCrlContext);
    }
    RevocationCrlInfo(const RevocationCrlInfo&) = delete;
    RevocationCrlInfo& operator=(const RevocationCrlInfo&) = delete;

    CERT_REVOCATION_CRL_INFO* get() { return &info_; }
    const CERT_REVOCATION_CRL_INFO& operator*() const { return info_; }
    const CERT_REVOCATION_CRL_INFO* operator->() const { return &info_; }

private:
    CERT_REVOCATION_CRL_INFO info_{};
};

}  // namespace halden_tools

#endif
