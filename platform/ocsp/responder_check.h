// Who signed a response and whether they may: finding the responder's
// certificate, finding the issuer of a certificate, and the authorisation
// of a responder (RFC 6960 section 4.2.2.2): the CA that issued the
// certificates asked about, or a responder that CA certified for OCSP
// signing.
#pragma once

#include <functional>

#include <maren/context.h>

#include "platform/chain/handles.h"
#include "platform/ocsp/cert_id.h"
#include "platform/ocsp/parsed_response.h"

namespace Tarsis::PKI::OCSP::detail {

using maren::chain::CertHandle;

// Where certificates are looked for besides the response itself: the
// caller's stores (HCERTSTORE handles) and one certificate already known.
struct CertSources {
    void* const* stores = nullptr;
    unsigned long count = 0;
    const CERT_CONTEXT* known = nullptr;
};

// The response's responderID names cert (by name or by key hash).
bool is_named_responder(const ParsedResponse& response, const CERT_CONTEXT* cert);

// The responder's certificate: among the response's certificates, then in
// the sources. Of several that the responderID names, one whose key
// verifies the signature is preferred.
CertHandle find_responder(const ParsedResponse& response, const CertSources& sources);

// The issuer of subject: a certificate named by subject's issuer name whose
// key verifies subject's signature and which `accept` takes. Searched in
// the known certificate, the response's certificates, the sources, the
// subject's own store, the system stores "CA" and "Root", and last a chain
// build.
CertHandle find_issuer(const CERT_CONTEXT* subject, const ParsedResponse& response, const CertSources& sources,
                       const std::function<bool(const CERT_CONTEXT*)>& accept);

// Whether responder may answer for every single response: 0, or
// CERT_E_WRONG_USAGE (a delegate without id-kp-OCSPSigning),
// CERT_E_EXPIRED (a delegate out of its validity), CERT_E_UNTRUSTEDCA (no
// issuer named by the identity certified it), CRYPT_E_NOT_FOUND (no single
// response).
HRESULT authorize_responder(const ParsedResponse& response, const CERT_CONTEXT* responder,
                            const CertSources& sources);

// The whole check of who signed: the responder found, its signature on the
// response verified, its authorisation given. 0, CRYPT_E_NOT_FOUND (no
// responder certificate), the signature check's code, or a code of
// authorize_responder.
HRESULT check_signer(const ParsedResponse& response, const CertSources& sources);

}  // namespace Tarsis::PKI::OCSP::detail
