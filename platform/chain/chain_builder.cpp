/* CertGetCertificateChain: a simple path builder. From the end certificate
 * it finds issuer after issuer in the request's stores until it reaches a
 * self-signed certificate, finds no issuer, or hits the length limit. It
 * reports signatures, validity at the requested time, trust in the root and
 * completeness in the published status bits. It never checks revocation,
 * never calls a provider and never fetches anything: callers use it to find
 * an issuer, and an expired or untrusted path still names one. */
#include <new>
#include <vector>

#include <maren/chain.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "platform/chain/cert_facts.h"
#include "platform/chain/chain_context.h"
#include "platform/chain/chain_engine.h"
#include "platform/chain/handles.h"
#include "platform/chain/issuer_search.h"

namespace maren::chain {
namespace {

/* Far beyond any real hierarchy; a hostile store full of cross
 * certificates ends here. */
constexpr size_t kMaxElements = 32;

DWORD match_bit(IssuerMatch match) {
    switch (match) {
    case IssuerMatch::key: return CERT_TRUST_HAS_KEY_MATCH_ISSUER;
    case IssuerMatch::name: return CERT_TRUST_HAS_NAME_MATCH_ISSUER;
    case IssuerMatch::none: break;
    }
    return 0;
}

/* The elements from the end certificate up, with their status bits. */
std::vector<ElementDraft> walk(const SearchStores &stores, const CERT_CONTEXT *end, const FILETIME &time) {
    std::vector<ElementDraft> elements;
    std::vector<CertHandle> path;  // the same certificates, for the cycle test
    CertHandle current = share(end);
    for (;;) {
        ElementDraft element;
        if (!is_time_valid(current.get(), time)) element.status.dwErrorStatus |= CERT_TRUST_IS_NOT_TIME_VALID;

        const bool self_issued = is_self_issued(current.get());
        if (self_issued && is_signed_by(current.get(), current.get())) {
            element.status.dwInfoStatus |= CERT_TRUST_IS_SELF_SIGNED | CERT_TRUST_HAS_NAME_MATCH_ISSUER;
            if (!stores.is_trusted_root(current.get())) element.status.dwErrorStatus |= CERT_TRUST_IS_UNTRUSTED_ROOT;
            element.cert = std::move(current);
            elements.push_back(std::move(element));
            return elements;
        }

        path.push_back(share(current.get()));
        IssuerChoice issuer;
        if (elements.size() + 1 < kMaxElements) issuer = find_issuer(stores, current.get(), path, time);
        if (!issuer.cert) {
            /* A self-issued certificate is its own issuer, and its own
             * signature failed. */
            if (self_issued) element.status.dwErrorStatus |= CERT_TRUST_IS_NOT_SIGNATURE_VALID;
            element.status.dwErrorStatus |= CERT_TRUST_IS_PARTIAL_CHAIN;
            if (issuer.only_cycles) element.status.dwErrorStatus |= CERT_TRUST_IS_CYCLIC;
            element.cert = std::move(current);
            elements.push_back(std::move(element));
            return elements;
        }
        if (!issuer.signature_valid) element.status.dwErrorStatus |= CERT_TRUST_IS_NOT_SIGNATURE_VALID;
        element.status.dwInfoStatus |= match_bit(issuer.match);
        element.cert = std::move(current);
        elements.push_back(std::move(element));
        current = std::move(issuer.cert);
    }
}

CERT_TRUST_STATUS chain_status(const std::vector<ElementDraft> &elements) {
    CERT_TRUST_STATUS status{};
    for (const ElementDraft &element : elements) status.dwErrorStatus |= element.status.dwErrorStatus;
    if (elements.size() == 1 && (elements[0].status.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED) != 0)
        status.dwInfoStatus |= CERT_TRUST_IS_SELF_SIGNED;
    return status;
}

}  // namespace
}  // namespace maren::chain

extern "C" {

BOOL CertGetCertificateChain(HCERTCHAINENGINE hChainEngine, PCCERT_CONTEXT pCertContext, LPFILETIME pTime,
                             HCERTSTORE hAdditionalStore, PCERT_CHAIN_PARA pChainPara, DWORD dwFlags,
                             LPVOID pvReserved, PCCERT_CHAIN_CONTEXT *ppChainContext) {
    /* Nothing of the parameter (usage) or of the flags (revocation, quality,
     * retrieval) changes what this builder does. */
    (void)dwFlags;
    (void)pvReserved;
    if (ppChainContext != nullptr) *ppChainContext = nullptr;
    if (pCertContext == nullptr || pCertContext->pCertInfo == nullptr || pChainPara == nullptr ||
        ppChainContext == nullptr) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return FALSE;
    }
    try {
        maren::chain::SearchStores stores;
        if (!maren::chain::collect_search_stores(hChainEngine, hAdditionalStore, pCertContext, &stores))
            return FALSE;
        FILETIME now{};
        if (pTime == nullptr) GetSystemTimeAsFileTime(&now);
        const FILETIME &time = pTime != nullptr ? *pTime : now;

        std::vector<maren::chain::ElementDraft> elements = maren::chain::walk(stores, pCertContext, time);
        const CERT_TRUST_STATUS status = maren::chain::chain_status(elements);
        *ppChainContext = maren::chain::make_chain_context(std::move(elements), status);
        return TRUE;
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(E_OUTOFMEMORY));
        return FALSE;
    }
}

}  // extern "C"
