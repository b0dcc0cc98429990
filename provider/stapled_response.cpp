#include "provider/stapled_response.h"

#include <vector>

#include <maren/errors.h>
#include <maren/host.h>
#include <maren/ocsp.h>

#include "provider/contract_codes.h"
#include "provider/ocsp_to_crl.h"
#include "provider/struct_size.h"

namespace halden {
namespace provider {
namespace {

// A failed property read: an absent property is no verdict, a failure
// without a last error an internal failure. A last error of 1 reads as the
// internal "no verdict" as it stands.
HRESULT read_failure() {
    const DWORD error = GetLastError();
    if (error == 0) {
        return NTE_FAIL;
    }
    if (error == static_cast<DWORD>(CRYPT_E_NOT_FOUND)) {
        return kNoVerdict;
    }
    return static_cast<HRESULT>(error);
}

// Hands the response to the caller as a synthetic CRL. Returns the code
// that replaces the verdict, or 0 to keep it.
HRESULT hand_over_as_crl(const std::vector<BYTE>& response_der, CERT_REVOCATION_CRL_INFO* info) {
    Tarsis::PKI::OCSP::Client::CResponse response;
    try {
        response.Import(response_der.data(), response_der.size(), nullptr);
    } catch (...) {
        return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
    }
    if (response.get_Status() != 0) {
        return S_OK;
    }
    return ConvertOcspToCrl(response, info);
}

}  // namespace

HRESULT CheckStapledResponse(const CERT_CONTEXT* cert, CERT_REVOCATION_PARA* para) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(cert, CERT_OCSP_RESPONSE_PROP_ID, nullptr, &size)) {
        return read_failure();
    }
    std::vector<BYTE> response(size, 0);
    if (!CertGetCertificateContextProperty(cert, CERT_OCSP_RESPONSE_PROP_ID, response.data(), &size)) {
        return read_failure();
    }
    response.resize(size);

    HRESULT verdict = static_cast<HRESULT>(ocspVerifyResponse(cert, response.data(), size, 0, nullptr));
    if (HALDEN_COVERS(para, CERT_REVOCATION_PARA, pCrlInfo) && para->pCrlInfo != nullptr) {
        if (const HRESULT replaced = hand_over_as_crl(response, para->pCrlInfo)) {
            verdict = replaced;
        }
    }
    return verdict;
}

}  // namespace provider
}  // namespace halden
