// ocspVerifyResponse: a response stapled to a certificate, checked with
// nothing but the certificate. The issuer is found here; the response must
// name it in the single response's CertID, be signed by it or by a
// responder it certified for OCSP signing, and be current.
#include <maren/ocsp.h>

#include <maren/errors.h>
#include <maren/host.h>

#include "platform/ocsp/cert_id.h"
#include "platform/ocsp/ocsp_config.h"
#include "platform/ocsp/parsed_response.h"
#include "platform/ocsp/responder_check.h"

namespace {

using Tarsis::PKI::OCSP::detail::Bytes;
using Tarsis::PKI::OCSP::detail::CertHandle;
using Tarsis::PKI::OCSP::detail::ParsedResponse;
using Tarsis::PKI::OCSP::detail::SingleResponse;

constexpr DWORD kNoVerdict = 1;

// The single response about cert as issued by issuer, or null.
const SingleResponse* single_for(const ParsedResponse& response, const Bytes& serial, const CERT_CONTEXT* issuer) {
    for (const SingleResponse& single : response.singles)
        if (single.id.serial == serial && Tarsis::PKI::OCSP::detail::names_issuer(single.id, issuer)) return &single;
    return nullptr;
}

DWORD verdict(const CERT_CONTEXT* cert, const BYTE* der, DWORD size) {
    namespace detail = Tarsis::PKI::OCSP::detail;
    const std::shared_ptr<const ParsedResponse> response =
        detail::parse_response(der, size, detail::max_response_bytes());
    if (response->status != 0) return kNoVerdict;
    const Bytes serial = detail::serial_of(cert);
    if (serial.empty()) return kNoVerdict;

    const detail::CertSources none;
    const CertHandle issuer = detail::find_issuer(cert, *response, none, [&](const CERT_CONTEXT* candidate) {
        return single_for(*response, serial, candidate) != nullptr;
    });
    if (!issuer) return kNoVerdict;
    const SingleResponse* single = single_for(*response, serial, issuer.get());

    detail::CertSources sources;
    sources.known = issuer.get();
    if (detail::check_signer(*response, sources) != S_OK) return kNoVerdict;
    if (detail::check_single_times(*single, detail::now_ticks()) != S_OK) return kNoVerdict;
    switch (single->status) {
    case 0: return 0;
    case 1: return static_cast<DWORD>(CRYPT_E_REVOKED);
    default: return kNoVerdict;
    }
}

}  // namespace

extern "C" DWORD ocspVerifyResponse(PCCERT_CONTEXT cert, const BYTE* response, DWORD cbResponse, DWORD flags,
                                    void* reserved) {
    if (cert == nullptr || cert->pCertInfo == nullptr || response == nullptr || cbResponse == 0 || flags != 0 ||
        reserved != nullptr)
        return kNoVerdict;
    // The caller reads only the result; its last error stays as it was.
    const DWORD saved = GetLastError();
    DWORD result = kNoVerdict;
    try {
        result = verdict(cert, response, cbResponse);
    } catch (...) {
        result = kNoVerdict;
    }
    SetLastError(saved);
    return result;
}
