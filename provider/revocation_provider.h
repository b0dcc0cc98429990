// The provider: walks the caller's certificates and decides each one by a
// stapled OCSP response, a live OCSP exchange, or the CRL routine, in that
// order, stopping at the first certificate that is not good.
#ifndef HALDEN_PROVIDER_REVOCATION_PROVIDER_H
#define HALDEN_PROVIDER_REVOCATION_PROVIDER_H

#include <maren/revocation.h>

#include "provider/cert_store.h"

class COCSPRevocationProvider {
public:
    // Returns TRUE with last error 0 when every certificate up to the limit
    // passed; FALSE with a contract code in the last error and the index in
    // pRevStatus->dwIndex otherwise; or the value E_INVALIDARG itself, last
    // error untouched, for bad arguments or a null element. No exception
    // leaves it.
    BOOL CertDllVerifyRevocation(DWORD cContext, const CERT_CONTEXT* const* rgpCert, DWORD dwFlags,
                                 CERT_REVOCATION_PARA* pRevPara, CERT_REVOCATION_STATUS* pRevStatus);

private:
    BOOL CheckCertificates(DWORD cContext, const CERT_CONTEXT* const* rgpCert, DWORD dwFlags,
                           CERT_REVOCATION_PARA* pRevPara, CERT_REVOCATION_STATUS* pRevStatus, DWORD& index);
    // 0 when certificate i is good, otherwise the code it fails with.
    HRESULT CheckCertificate(DWORD i, DWORD cContext, const CERT_CONTEXT* const* rgpCert, DWORD dwFlags,
                             CERT_REVOCATION_PARA* pRevPara, CERT_REVOCATION_STATUS* pRevStatus,
                             ATL2::CCertStore& store);
};

// The one provider object; it holds no state.
extern COCSPRevocationProvider _HaldenModule;

#endif
