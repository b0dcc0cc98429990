#include "tools/verify/verdict.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "tools/common/text.h"
#include "tools/verify/ocsp_response.h"
#include "tools/verify/status.h"

namespace verify_tool {
namespace {

std::vector<BYTE> big_endian(const CRYPT_INTEGER_BLOB& integer) {
    return std::vector<BYTE>(std::make_reverse_iterator(integer.pbData + integer.cbData),
                             std::make_reverse_iterator(integer.pbData));
}

// The OCSP response a synthetic CRL carries whole in an extension.
const CRYPT_OBJID_BLOB* embedded_ocsp_response(const CRL_CONTEXT* crl) {
    const CRL_INFO& info = *crl->pCrlInfo;
    for (DWORD i = 0; i < info.cExtension; ++i)
        if (info.rgExtension[i].pszObjId != nullptr &&
            std::strcmp(info.rgExtension[i].pszObjId, szOID_PKIX_OCSP_BASIC_SIGNED_RESPONSE) == 0)
            return &info.rgExtension[i].Value;
    return nullptr;
}

// A revocation found in CRLs comes with its reason in the status. One found
// by OCSP leaves the status as it was, so the reason is read from the
// response that decided: the one behind the synthetic CRL, else the one
// stapled to the first certificate.
std::optional<DWORD> revocation_reason(const Request& request, const CERT_REVOCATION_STATUS& status) {
    if (status.dwError == static_cast<DWORD>(CRYPT_E_REVOKED)) return status.dwReason;
    const std::vector<BYTE> serial = big_endian(request.cert(status.dwIndex)->pCertInfo->SerialNumber);
    std::optional<int> reason;
    const halden_tools::RevocationCrlInfo* crl_info = request.crl_info();
    if (crl_info != nullptr && (*crl_info)->pBaseCrlContext != nullptr) {
        if (const CRYPT_OBJID_BLOB* response = embedded_ocsp_response((*crl_info)->pBaseCrlContext))
            reason = ocsp_revocation_reason(response->pbData, response->cbData, serial);
    }
    const std::vector<BYTE>& stapled = request.stapled_response();
    if (!reason && status.dwIndex == 0 && !stapled.empty())
        reason = ocsp_revocation_reason(stapled.data(), stapled.size(), serial);
    if (!reason) return std::nullopt;
    return static_cast<DWORD>(*reason);
}

std::optional<CrlSummary> crl_summary(const Request& request) {
    const halden_tools::RevocationCrlInfo* crl_info = request.crl_info();
    if (crl_info == nullptr || (*crl_info)->pBaseCrlContext == nullptr) return std::nullopt;
    const CRL_INFO& base = *(*crl_info)->pBaseCrlContext->pCrlInfo;
    CrlSummary summary{halden_tools::name_text(base.Issuer), base.ThisUpdate, base.NextUpdate, std::nullopt};
    if (const CRL_ENTRY* entry = (*crl_info)->pCrlEntry) {
        const std::vector<BYTE> serial = big_endian(entry->SerialNumber);
        summary.entry = CrlEntrySummary{halden_tools::hex_text(serial.data(), static_cast<DWORD>(serial.size())),
                                        entry->RevocationDate};
    }
    return summary;
}

}  // namespace

Verdict verify(const ProviderLibrary& provider, Request& request) {
    CERT_REVOCATION_STATUS status{};
    status.cbSize = sizeof status;
    const BOOL answer = provider.entry()(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, CERT_CONTEXT_REVOCATION_TYPE,
                                         request.count(), request.contexts(), request.flags(), request.para(),
                                         &status);
    const DWORD last_error = GetLastError();

    Verdict verdict;
    verdict.index = status.dwIndex;
    verdict.crl_asked = request.crl_info() != nullptr;
    // The provider answers bad arguments with this code as its result, and
    // leaves the last error alone.
    if (static_cast<DWORD>(answer) == static_cast<DWORD>(E_INVALIDARG)) {
        verdict.result = Result::invalid_argument;
        verdict.error = static_cast<DWORD>(E_INVALIDARG);
        return verdict;
    }
    if (answer != TRUE && answer != FALSE) {
        char text[80];
        std::snprintf(text, sizeof text, "the provider answered 0x%08X, which its contract does not know",
                      static_cast<unsigned>(answer));
        throw ToolError(kInternal, text);
    }
    verdict.error = last_error;
    if (answer == TRUE) verdict.result = Result::good;
    else if (last_error == static_cast<DWORD>(CRYPT_E_REVOKED)) verdict.result = Result::revoked;
    else verdict.result = Result::unknown;

    // Only the CRL road writes the freshness; a verdict by OCSP leaves the
    // zeroed fields as they were.
    if (status.fHasFreshnessTime) verdict.freshness_seconds = status.dwFreshnessTime;
    if (verdict.result == Result::revoked && status.dwIndex < request.count())
        verdict.reason = revocation_reason(request, status);
    verdict.crl = crl_summary(request);
    return verdict;
}

}  // namespace verify_tool
