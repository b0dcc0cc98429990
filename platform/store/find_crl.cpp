// CertFindCRLInStore and CertEnumCRLsInStore. CRLs are indexed by issuer
// name (ISSUED_BY, ISSUED_FOR) and by length and digest (EXISTING).
#include "platform/store/c_boundary.h"
#include "platform/store/context_internal.h"
#include "platform/store/crl_match.h"
#include "platform/store/store.h"
#include "platform/store/store_handles.h"

using namespace maren::store;

namespace {

struct CrlFind {
    Query query;
    const EncodedObject *issuer = nullptr;
    DWORD flags = 0;
};

bool issued_by(const ContextCore &candidate, const void *para) {
    const auto *find = static_cast<const CrlFind *>(para);
    return crl_issued_by(candidate.object(), find->issuer, find->flags);
}

std::string_view view(const CERT_NAME_BLOB &name) {
    return {reinterpret_cast<const char *>(name.pbData), name.cbData};
}

// Fills `find` for the find type; false with the last error set.
bool build(DWORD type, DWORD flags, const void *para, CrlFind *find) {
    Query &q = find->query;
    q.kind = ObjectKind::crl;
    switch (type) {
    case CRL_FIND_ANY:
        return true;
    case CRL_FIND_EXISTING:
        if (para == nullptr) return fail(E_INVALIDARG);
        q.index = IndexKey::existing;
        q.object = &crl_context(static_cast<PCCRL_CONTEXT>(para))->object();
        return true;
    case CRL_FIND_ISSUED_BY: {
        // No issuer: any CRL of the kinds asked for.
        find->flags = flags;
        q.accept = issued_by;
        q.para = find;
        if (para == nullptr) return true;
        const CertContext *issuer = cert_context(static_cast<PCCERT_CONTEXT>(para));
        find->issuer = &issuer->object();
        q.index = IndexKey::issuer;
        q.key = view(issuer->object().subject());
        return true;
    }
    case CRL_FIND_ISSUED_FOR: {
        // The CRL's issuer is the subject certificate's issuer; the issuer
        // certificate, when given, answers the ISSUED_BY flags.
        const auto *pair = static_cast<const CRL_FIND_ISSUED_FOR_PARA *>(para);
        if (pair == nullptr || pair->pSubjectCert == nullptr) return fail(E_INVALIDARG);
        find->flags = flags;
        if (pair->pIssuerCert) find->issuer = &cert_context(pair->pIssuerCert)->object();
        q.index = IndexKey::issuer;
        q.key = view(pair->pSubjectCert->pCertInfo->Issuer);
        q.accept = issued_by;
        q.para = find;
        return true;
    }
    default:
        return fail(E_INVALIDARG);
    }
}

}  // namespace

extern "C" {

PCCRL_CONTEXT CertFindCRLInStore(HCERTSTORE hCertStore, DWORD, DWORD dwFindFlags, DWORD dwFindType,
                                 const void *pvFindPara, PCCRL_CONTEXT pPrevCrlContext) {
    // The previous context is released on every path, after the find.
    ContextRef previous(pPrevCrlContext ? crl_context(pPrevCrlContext) : nullptr);
    return guarded<PCCRL_CONTEXT>(nullptr, [&]() -> PCCRL_CONTEXT {
        HandleInfo info;
        if (!handles::find(hCertStore, &info)) return fail_with<PCCRL_CONTEXT>(E_INVALIDARG, nullptr);
        CrlFind find;
        if (!build(dwFindType, dwFindFlags, pvFindPara, &find)) return nullptr;
        ContextCore *found = info.store->find_next(find.query, previous.get());
        if (found == nullptr) return fail_with<PCCRL_CONTEXT>(CRYPT_E_NOT_FOUND, nullptr);
        return public_crl(found);
    });
}

PCCRL_CONTEXT CertEnumCRLsInStore(HCERTSTORE hCertStore, PCCRL_CONTEXT pPrevCrlContext) {
    return CertFindCRLInStore(hCertStore, 0, 0, CRL_FIND_ANY, nullptr, pPrevCrlContext);
}

}  // extern "C"
