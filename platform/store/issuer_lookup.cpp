// CertGetIssuerCertificateFromStore and CertGetCRLFromStore: an indexed
// find plus the checks the caller asks for in *pdwFlags. A check that
// passes clears its flag; one that fails leaves it set.
#include "platform/store/c_boundary.h"
#include "platform/store/context_internal.h"
#include "platform/store/crl_match.h"
#include "platform/store/signature_check.h"
#include "platform/store/store.h"
#include "platform/store/store_handles.h"

using namespace maren::store;

namespace {

std::string_view view(const CERT_NAME_BLOB &name) {
    return {reinterpret_cast<const char *>(name.pbData), name.cbData};
}

FILETIME now() {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    return time;
}

bool certificate_time_valid(const CERT_INFO &info) {
    const FILETIME t = now();
    return CompareFileTime(&t, &info.NotBefore) >= 0 && CompareFileTime(&t, &info.NotAfter) <= 0;
}

bool crl_time_valid(const CRL_INFO &info) {
    const FILETIME t = now();
    const bool open_ended = info.NextUpdate.dwLowDateTime == 0 && info.NextUpdate.dwHighDateTime == 0;
    return CompareFileTime(&t, &info.ThisUpdate) >= 0 && (open_ended || CompareFileTime(&t, &info.NextUpdate) <= 0);
}

struct BaseOrDelta {
    DWORD flags;
};

bool kind_wanted(const ContextCore &candidate, const void *para) {
    return crl_issued_by(candidate.object(), nullptr, static_cast<const BaseOrDelta *>(para)->flags);
}

// CERT_STORE_REVOCATION_FLAG: the issuer's CRLs in the same store decide.
DWORD revocation_check(Store *store, const ContextCore &issuer, PCCERT_CONTEXT subject) {
    Query query;
    query.kind = ObjectKind::crl;
    query.index = IndexKey::issuer;
    query.key = view(issuer.object().subject());
    ContextRef crl(store->find_next(query, nullptr));
    if (!crl.get()) return CERT_STORE_REVOCATION_FLAG | CERT_STORE_NO_CRL_FLAG;
    PCRL_ENTRY entry = nullptr;
    CertFindCertificateInCRL(subject, public_crl(crl.get()), 0, nullptr, &entry);
    return entry ? CERT_STORE_REVOCATION_FLAG : 0;
}

}  // namespace

extern "C" {

PCCERT_CONTEXT CertGetIssuerCertificateFromStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pSubjectContext,
                                                 PCCERT_CONTEXT pPrevIssuerContext, DWORD *pdwFlags) {
    ContextRef previous(pPrevIssuerContext ? cert_context(pPrevIssuerContext) : nullptr);
    return guarded<PCCERT_CONTEXT>(nullptr, [&]() -> PCCERT_CONTEXT {
        constexpr DWORD kChecks = CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG | CERT_STORE_REVOCATION_FLAG;
        HandleInfo info;
        if (pSubjectContext == nullptr || pdwFlags == nullptr || (*pdwFlags & ~kChecks) ||
            !handles::find(hCertStore, &info))
            return fail_with<PCCERT_CONTEXT>(E_INVALIDARG, nullptr);
        const CERT_INFO &subject = *pSubjectContext->pCertInfo;
        if (CertCompareCertificateName(X509_ASN_ENCODING, const_cast<PCERT_NAME_BLOB>(&subject.Issuer),
                                       const_cast<PCERT_NAME_BLOB>(&subject.Subject)))
            return fail_with<PCCERT_CONTEXT>(CRYPT_E_SELF_SIGNED, nullptr);
        Query query;
        query.kind = ObjectKind::certificate;
        query.index = IndexKey::subject;
        query.key = view(subject.Issuer);
        ContextCore *issuer = info.store->find_next(query, previous.get());
        if (issuer == nullptr) return fail_with<PCCERT_CONTEXT>(CRYPT_E_NOT_FOUND, nullptr);
        DWORD result = *pdwFlags;
        if ((result & CERT_STORE_SIGNATURE_FLAG) &&
            signature_verifies(cert_context(pSubjectContext)->object(),
                               issuer->object().cert_info()->SubjectPublicKeyInfo))
            result &= ~DWORD(CERT_STORE_SIGNATURE_FLAG);
        if ((result & CERT_STORE_TIME_VALIDITY_FLAG) && certificate_time_valid(subject))
            result &= ~DWORD(CERT_STORE_TIME_VALIDITY_FLAG);
        if (result & CERT_STORE_REVOCATION_FLAG)
            result = (result & ~DWORD(CERT_STORE_REVOCATION_FLAG)) | revocation_check(info.store, *issuer, pSubjectContext);
        *pdwFlags = result;
        return public_cert(issuer);
    });
}

PCCRL_CONTEXT CertGetCRLFromStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pIssuerContext, PCCRL_CONTEXT pPrevCrlContext,
                                  DWORD *pdwFlags) {
    ContextRef previous(pPrevCrlContext ? crl_context(pPrevCrlContext) : nullptr);
    return guarded<PCCRL_CONTEXT>(nullptr, [&]() -> PCCRL_CONTEXT {
        constexpr DWORD kFlags = CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG |
                                 CERT_STORE_BASE_CRL_FLAG | CERT_STORE_DELTA_CRL_FLAG;
        HandleInfo info;
        if (pdwFlags == nullptr || (*pdwFlags & ~kFlags) || !handles::find(hCertStore, &info) ||
            (pIssuerContext == nullptr && (*pdwFlags & CERT_STORE_SIGNATURE_FLAG)))
            return fail_with<PCCRL_CONTEXT>(E_INVALIDARG, nullptr);
        BaseOrDelta kinds{((*pdwFlags & CERT_STORE_BASE_CRL_FLAG) ? DWORD(CRL_FIND_ISSUED_BY_BASE_FLAG) : 0) |
                          ((*pdwFlags & CERT_STORE_DELTA_CRL_FLAG) ? DWORD(CRL_FIND_ISSUED_BY_DELTA_FLAG) : 0)};
        Query query;
        query.kind = ObjectKind::crl;
        query.accept = kind_wanted;
        query.para = &kinds;
        if (pIssuerContext) {
            query.index = IndexKey::issuer;
            query.key = view(pIssuerContext->pCertInfo->Subject);
        }
        ContextCore *crl = info.store->find_next(query, previous.get());
        if (crl == nullptr) return fail_with<PCCRL_CONTEXT>(CRYPT_E_NOT_FOUND, nullptr);
        DWORD result = *pdwFlags & (CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG);
        if ((result & CERT_STORE_SIGNATURE_FLAG) &&
            signature_verifies(crl->object(), pIssuerContext->pCertInfo->SubjectPublicKeyInfo))
            result &= ~DWORD(CERT_STORE_SIGNATURE_FLAG);
        if ((result & CERT_STORE_TIME_VALIDITY_FLAG) && crl_time_valid(*crl->object().crl_info()))
            result &= ~DWORD(CERT_STORE_TIME_VALIDITY_FLAG);
        *pdwFlags = result;
        return public_crl(crl);
    });
}

}  // extern "C"
