// The issuer of one certificate of the caller's array: the next element of
// a chain, the caller's pIssuerCert, or the second element of a chain the
// platform builds.
#ifndef HALDEN_PROVIDER_ISSUER_LOOKUP_H
#define HALDEN_PROVIDER_ISSUER_LOOKUP_H

#include <maren/revocation.h>

#include "provider/cert_store.h"

// Finds the issuer of certs[index] of an array of `count`. `issuer` must be
// null on entry; on success it receives a new reference that the caller
// frees. Returns 0 or a code; the provider reads only the issuer, so a
// failure simply leaves it null.
HRESULT FindIssuer(DWORD index, DWORD count, const CERT_CONTEXT* const* certs, ATL2::CCertStore& store,
                   CERT_REVOCATION_PARA* para, DWORD flags, const CERT_CONTEXT*& issuer);

#endif
