// The synthetic CRL: an OCSP answer handed to a caller that asked for the
// CRL behind the verdict. A v2 CRL with a hash in place of a signature
// says what the response says and carries the whole response in a critical
// id-pkix-ocsp-basic extension.
#ifndef HALDEN_PROVIDER_OCSP_TO_CRL_H
#define HALDEN_PROVIDER_OCSP_TO_CRL_H

#include <maren/chain.h>
#include <maren/ocsp.h>

// Fills `info` with a new CRL context made from `response`, which is not
// verified here. Returns 0 or a code; `info` is touched only on success,
// and then a base and delta CRL it held are released first. Operations of
// the response may throw; nothing is caught here.
HRESULT ConvertOcspToCrl(Tarsis::PKI::OCSP::Client::CResponse& response, CERT_REVOCATION_CRL_INFO* info);

#endif
