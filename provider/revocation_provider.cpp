#include "provider/revocation_provider.h"

#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "base/trace.h"
#include "provider/additional_store.h"
#include "provider/cert_context.h"
#include "provider/contract_codes.h"
#include "provider/crl_routine.h"
#include "provider/issuer_lookup.h"
#include "provider/ocsp_check.h"
#include "provider/recursion_guard.h"
#include "provider/stapled_response.h"
#include "nimbole/strict_pkup.h"
#include "provider/struct_size.h"
#include "provider/time_validity.h"
#include "provider/trace_context.h"

using halden::provider::kNoVerdict;

COCSPRevocationProvider _HaldenModule;

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// Bad arguments are answered with the value E_INVALIDARG as the BOOL
// result, not through the last error. A caller testing for a boolean reads
// that as success; this quirk of the contract is kept as it stands.
const BOOL kInvalidArgResult = static_cast<BOOL>(E_INVALIDARG);

// How many elements are checked. In chain mode a self-signed last element
// (its signature verifies with its own key; names are not compared) is the
// root and is not checked.
DWORD verification_limit(DWORD cContext, const CERT_CONTEXT* const* rgpCert, DWORD dwFlags) {
    if (cContext < 2 || (dwFlags & CERT_VERIFY_REV_CHAIN_FLAG) == 0) {
        return cContext;
    }
    const CERT_CONTEXT* last = rgpCert[cContext - 1];
    if (last == nullptr || last->pCertInfo == nullptr) {
        return cContext;
    }
    const BOOL self_signed = CryptVerifyCertificateSignature(0, kEncoding, last->pbCertEncoded, last->cbCertEncoded,
                                                             &last->pCertInfo->SubjectPublicKeyInfo);
    return self_signed ? cContext - 1 : cContext;
}

}  // namespace

BOOL COCSPRevocationProvider::CertDllVerifyRevocation(DWORD cContext, const CERT_CONTEXT* const* rgpCert, DWORD dwFlags,
                                                      CERT_REVOCATION_PARA* pRevPara,
                                                      CERT_REVOCATION_STATUS* pRevStatus) {
    if (rgpCert == nullptr || pRevStatus == nullptr || cContext == 0) {
        return kInvalidArgResult;
    }
    DWORD index = 0;
    try {
        return CheckCertificates(cContext, rgpCert, dwFlags, pRevPara, pRevStatus, index);
    } catch (...) {
        // Only the contract's codes leave the library, and no exception:
        // whatever was thrown, the guard and the store have unwound.
        pRevStatus->dwIndex = index;
        SetLastError(static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK));
        return FALSE;
    }
}

BOOL COCSPRevocationProvider::CheckCertificates(DWORD cContext, const CERT_CONTEXT* const* rgpCert, DWORD dwFlags,
                                                CERT_REVOCATION_PARA* pRevPara, CERT_REVOCATION_STATUS* pRevStatus,
                                                DWORD& index) {
    ATL2::CCertStore store;
    if (BuildAdditionalStore(store, pRevPara) < 0) {
        SetLastError(static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK));
        return FALSE;
    }
    pRevStatus->dwIndex = 0;
    const DWORD limit = verification_limit(cContext, rgpCert, dwFlags);
    if (rgpCert[0] == nullptr) {
        return kInvalidArgResult;
    }
    for (DWORD i = 0;; ++i) {
        index = i;
        const HRESULT code = CheckCertificate(i, cContext, rgpCert, dwFlags, pRevPara, pRevStatus, store);
        if (code != S_OK) {
            pRevStatus->dwIndex = i;
            SetLastError(static_cast<DWORD>(halden::provider::MapToContractCode(code)));
            return FALSE;
        }
        if (i + 1 == limit) {
            SetLastError(0);
            return TRUE;
        }
        // dwIndex keeps the value last written.
        if (rgpCert[i + 1] == nullptr) {
            return kInvalidArgResult;
        }
    }
}

HRESULT COCSPRevocationProvider::CheckCertificate(DWORD i, DWORD cContext, const CERT_CONTEXT* const* rgpCert,
                                                  DWORD dwFlags, CERT_REVOCATION_PARA* pRevPara,
                                                  CERT_REVOCATION_STATUS* pRevStatus, ATL2::CCertStore& store) {
    const CERT_CONTEXT* cert = rgpCert[i];

    // The entry stays on this thread's list while the certificate is
    // worked on, nested calls included.
    Tarsis::PKI::CertCycleBreaker guard(&Tarsis::PKI::certListStorer, cert);
    if (guard.IsCycle()) {
        HALDEN_PRINT_ERROR(db_ctx, "%s %s", "\"Cyclic\" status checking detected. Offending certificate thumbprint:",
                           guard.ThumbprintHex().c_str());
        return CRYPT_E_NO_REVOCATION_CHECK;
    }

    const HRESULT stapled = halden::provider::CheckStapledResponse(cert, pRevPara);
    if (stapled == S_OK) {
        // A stapled "good" settles it: no issuer search, no strict check.
        return S_OK;
    }
    if (stapled != kNoVerdict) {
        return stapled;
    }

    ATL2::CCertContext issuer;
    FindIssuer(i, cContext, rgpCert, store, pRevPara, dwFlags, issuer.ref());

    HRESULT ocsp = kNoVerdict;
    if ((dwFlags & CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION) == 0) {
        ocsp = VerifyRevocationOneCert(cert, pRevPara, issuer.ref(), store);
        if (ocsp == CRYPT_E_REVOKED) {
            return CRYPT_E_REVOKED;
        }
    }
    if (ocsp != S_OK) {
        void* one[1] = {const_cast<CERT_CONTEXT*>(cert)};
        if (!CertDllVerifyRevocationInt(X509_ASN_ENCODING, CERT_CONTEXT_REVOCATION_TYPE, 1, one,
                                        dwFlags & ~static_cast<DWORD>(CERT_VERIFY_REV_CHAIN_FLAG), pRevPara,
                                        pRevStatus)) {
            // A status too short to hold dwError has not been written: the
            // routine's answer is in the last error then.
            const DWORD error =
                HALDEN_COVERS(pRevStatus, CERT_REVOCATION_STATUS, dwReason) ? pRevStatus->dwError : GetLastError();
            return error != 0 ? static_cast<HRESULT>(error) : NTE_FAIL;
        }
    }

    if (halden::nimbole::IsStrictPkupCheckOn()) {
        // Without an issuer there is no key period to test: not checkable.
        if (issuer.get() == nullptr) {
            return CRYPT_E_NO_REVOCATION_CHECK;
        }
        if (const HRESULT code = IsCertPrivateKeyValidOnTime(issuer.get(), cert->pCertInfo->NotBefore)) {
            return code;
        }
    }
    return S_OK;
}
