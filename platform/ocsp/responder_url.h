// Where to ask about a certificate: the OCSP responder its authority
// information access names (access method id-ad-ocsp).
#pragma once

#include <string>

#include <maren/context.h>

namespace Tarsis::PKI::OCSP::detail {

// The first http or https id-ad-ocsp URL; empty when there is none or the
// extension does not decode.
std::wstring responder_url(const CERT_CONTEXT* cert);

}  // namespace Tarsis::PKI::OCSP::detail
