// CertCreateCertificateContext and the reference functions of certificate
// contexts.
#include "platform/store/c_boundary.h"
#include "platform/store/context_internal.h"

using namespace maren::store;

extern "C" {

PCCERT_CONTEXT CertCreateCertificateContext(DWORD dwCertEncodingType, const BYTE *pbCertEncoded,
                                            DWORD cbCertEncoded) {
    return guarded<PCCERT_CONTEXT>(nullptr, [&]() -> PCCERT_CONTEXT {
        if (GET_CERT_ENCODING_TYPE(dwCertEncodingType) != X509_ASN_ENCODING || pbCertEncoded == nullptr)
            return fail_with<PCCERT_CONTEXT>(E_INVALIDARG, nullptr);
        EncodedObject::Ptr object = EncodedObject::from_bytes(ObjectKind::certificate, pbCertEncoded, cbCertEncoded);
        if (!object) return nullptr;
        return public_cert(new_context(std::move(object), nullptr));
    });
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext) {
    if (pCertContext) add_ref(cert_context(pCertContext));
    return pCertContext;
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
    if (pCertContext) release(cert_context(pCertContext));
    return TRUE;
}

}  // extern "C"
