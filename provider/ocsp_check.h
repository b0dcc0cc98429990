// The live OCSP check of one certificate: ask the responder named in the
// certificate and verify its answer. Everything that can happen comes down
// to good, revoked, or no verdict.
#ifndef HALDEN_PROVIDER_OCSP_CHECK_H
#define HALDEN_PROVIDER_OCSP_CHECK_H

#include <maren/revocation.h>

#include "provider/cert_store.h"

// 0: every single response is good, or revoked only after pftTimeToUse.
// CRYPT_E_REVOKED: revoked. kNoVerdict or any other code: no verdict.
// `issuer` is read, never changed; a null issuer gives no verdict without a
// request. The issuer is added to `store`'s collection (in a memory store
// of its own) so that the responder's certificate can be linked to it.
// When para asks for CRL information, the response is handed back as a
// synthetic CRL before it is verified.
HRESULT VerifyRevocationOneCert(const CERT_CONTEXT* cert, CERT_REVOCATION_PARA* para, const CERT_CONTEXT*& issuer,
                                ATL2::CCertStore& store);

#endif
