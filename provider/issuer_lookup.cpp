#include "provider/issuer_lookup.h"

#include <cstring>
#include <memory>

#include <maren/errors.h>

#include "base/last_error.h"
#include "provider/cert_context.h"

namespace {

// The flags value handed to the platform's chain builder as it stands.
constexpr DWORD kChainFlags = CERT_CHAIN_DISABLE_AUTH_ROOT_AUTO_UPDATE;
// The published head of CERT_CHAIN_PARA, without the extra fields.
constexpr DWORD kChainParaHeadSize = 32;

struct ChainFree {
    void operator()(const CERT_CHAIN_CONTEXT* chain) const { CertFreeCertificateChain(chain); }
};
using ChainHolder = std::unique_ptr<const CERT_CHAIN_CONTEXT, ChainFree>;

HRESULT duplicate_into(const CERT_CONTEXT* candidate, const CERT_CONTEXT*& issuer) {
    issuer = CertDuplicateCertificateContext(candidate);
    return issuer != nullptr ? S_OK : CRYPT_E_NO_REVOCATION_CHECK;
}

}  // namespace

HRESULT FindIssuer(DWORD index, DWORD count, const CERT_CONTEXT* const* certs, ATL2::CCertStore& store,
                   CERT_REVOCATION_PARA* para, DWORD flags, const CERT_CONTEXT*& issuer) {
    const CERT_CONTEXT* cert = certs[index];
    if (cert == nullptr) {
        return E_INVALIDARG;
    }

    // In a chain, element i+1 is taken as the issuer of element i without
    // any check; the last element of a chain and every element of a plain
    // array take the caller's issuer. pIssuerCert stands in the head of the
    // structure, so cbSize is not consulted.
    const CERT_CONTEXT* candidate = nullptr;
    if ((flags & CERT_VERIFY_REV_CHAIN_FLAG) != 0 && index + 1 != count) {
        candidate = certs[index + 1];
    } else if (para != nullptr) {
        candidate = para->pIssuerCert;
    }
    if (candidate != nullptr) {
        return duplicate_into(candidate, issuer);
    }

    ChainHolder chain;
    {
        ATL2::CCertContext subject(CertDuplicateCertificateContext(cert));
        if (subject.get() == nullptr) {
            return E_FAIL;
        }
        CERT_CHAIN_PARA chain_para;
        std::memset(&chain_para, 0, sizeof chain_para);
        chain_para.cbSize = kChainParaHeadSize;
        const CERT_CHAIN_CONTEXT* built = nullptr;
        const BOOL ok = CertGetCertificateChain(nullptr, subject.get(), nullptr, store.get(), &chain_para, kChainFlags,
                                                nullptr, &built);
        chain.reset(built);
        if (!ok) {
            return hresult_from_last_error(CRYPT_E_NO_REVOCATION_CHECK);
        }
    }
    if (chain == nullptr || chain->cChain == 0 || chain->rgpChain == nullptr || chain->rgpChain[0] == nullptr) {
        return CRYPT_E_NO_REVOCATION_CHECK;
    }
    const CERT_SIMPLE_CHAIN* simple = chain->rgpChain[0];
    if (simple->cElement == 0 || simple->rgpElement == nullptr || simple->rgpElement[0] == nullptr) {
        return CRYPT_E_NO_REVOCATION_CHECK;
    }
    if (simple->cElement == 1) {
        // A self-signed certificate is its own issuer; the OCSP step
        // recognises that by the equal pointers.
        if ((simple->rgpElement[0]->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED) != 0) {
            return duplicate_into(cert, issuer);
        }
        return CRYPT_E_NO_REVOCATION_CHECK;
    }
    // Only a broken signature on the first link stands in the way; an
    // expired or untrusted path still names the issuer.
    if ((simple->rgpElement[0]->TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_SIGNATURE_VALID) != 0) {
        return CRYPT_E_NO_REVOCATION_CHECK;
    }
    const CERT_CHAIN_ELEMENT* second = simple->rgpElement[1];
    if (second == nullptr || second->pCertContext == nullptr) {
        return CRYPT_E_NO_REVOCATION_CHECK;
    }
    // A reference of our own, taken before the chain and its contexts go.
    return duplicate_into(second->pCertContext, issuer);
}
