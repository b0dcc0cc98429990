// The CRL revocation routine: a complete revocation function with the
// platform's provider signature that decides by CRLs alone. The provider
// calls it with an array of one for a certificate that OCSP left open.
#ifndef HALDEN_PROVIDER_CRL_ROUTINE_H
#define HALDEN_PROVIDER_CRL_ROUTINE_H

#include <maren/revocation.h>

// Non-zero when every context is good; 0 otherwise, with the thread's last
// error and status->dwError (E_INVALIDARG, CRYPT_E_REVOKED or
// CRYPT_E_NO_REVOCATION_CHECK) and status->dwIndex. A null para reads as a
// parameter that covers nothing.
BOOL CertDllVerifyRevocationInt(unsigned int encodingType, unsigned int revType, unsigned int count, void** contexts,
                                unsigned int flags, CERT_REVOCATION_PARA* para, CERT_REVOCATION_STATUS* status);

#endif
