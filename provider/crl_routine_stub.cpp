// The CRL routine before the path engine: it checks its arguments and
// prepares the status exactly as the engine-driven routine does, then
// reports for the first certificate what the engine reports when it finds
// no usable CRL, "status could not be established". The provider maps that
// to CRYPT_E_NO_REVOCATION_CHECK.
#include "provider/crl_routine.h"

#include <maren/errors.h>
#include <maren/host.h>

#include "provider/crl_info.h"
#include "provider/struct_size.h"

namespace {

BOOL fail(CERT_REVOCATION_STATUS* status, HRESULT code) {
    status->dwError = static_cast<DWORD>(code);
    SetLastError(static_cast<DWORD>(code));
    return FALSE;
}

}  // namespace

BOOL CertDllVerifyRevocationInt(unsigned int encodingType, unsigned int revType, unsigned int count, void** contexts,
                                unsigned int /*flags*/, CERT_REVOCATION_PARA* para, CERT_REVOCATION_STATUS* status) {
    if (!HALDEN_COVERS(status, CERT_REVOCATION_STATUS, dwReason)) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return FALSE;
    }
    if (count == 0 || contexts == nullptr) {
        return fail(status, E_INVALIDARG);
    }
    for (unsigned int i = 0; i < count; ++i) {
        if (contexts[i] == nullptr) {
            return fail(status, E_INVALIDARG);
        }
    }
    if (GET_CERT_ENCODING_TYPE(encodingType) != X509_ASN_ENCODING || revType != CERT_CONTEXT_REVOCATION_TYPE) {
        return fail(status, CRYPT_E_NO_REVOCATION_CHECK);
    }

    status->dwError = 0;
    status->dwIndex = 0;
    status->dwReason = 0;
    const bool has_freshness_flag = HALDEN_COVERS(status, CERT_REVOCATION_STATUS, fHasFreshnessTime);
    if (has_freshness_flag) {
        status->fHasFreshnessTime = FALSE;
    }
    if (HALDEN_COVERS(status, CERT_REVOCATION_STATUS, dwFreshnessTime)) {
        status->dwFreshnessTime = 0;
    }

    // What an earlier step left in the caller's CRL information (the
    // synthetic CRL of the OCSP step) is released, not just dropped.
    CERT_REVOCATION_CRL_INFO* crl_info = HALDEN_COVERS(para, CERT_REVOCATION_PARA, pCrlInfo) ? para->pCrlInfo : nullptr;
    if (!HALDEN_COVERS(crl_info, CERT_REVOCATION_CRL_INFO, fDeltaCrlEntry)) {
        crl_info = nullptr;
    }
    if (crl_info != nullptr) {
        halden::provider::ReleaseCrlInfo(crl_info);
    }

    // The first certificate: no CRL pair was found, so no freshness, and
    // the status is not established; that empties the CRL information.
    status->dwIndex = 0;
    if (has_freshness_flag) {
        status->fHasFreshnessTime = FALSE;
    }
    if (crl_info != nullptr) {
        halden::provider::ReleaseCrlInfo(crl_info);
    }
    return fail(status, CRYPT_E_NO_REVOCATION_CHECK);
}
