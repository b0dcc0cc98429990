// CertCreateCRLContext and the reference functions of CRL contexts.
#include "platform/store/c_boundary.h"
#include "platform/store/context_internal.h"

using namespace maren::store;

extern "C" {

PCCRL_CONTEXT CertCreateCRLContext(DWORD dwCertEncodingType, const BYTE *pbCrlEncoded, DWORD cbCrlEncoded) {
    return guarded<PCCRL_CONTEXT>(nullptr, [&]() -> PCCRL_CONTEXT {
        if (GET_CERT_ENCODING_TYPE(dwCertEncodingType) != X509_ASN_ENCODING || pbCrlEncoded == nullptr)
            return fail_with<PCCRL_CONTEXT>(E_INVALIDARG, nullptr);
        EncodedObject::Ptr object = EncodedObject::from_bytes(ObjectKind::crl, pbCrlEncoded, cbCrlEncoded);
        if (!object) return nullptr;
        return public_crl(new_context(std::move(object), nullptr));
    });
}

PCCRL_CONTEXT CertDuplicateCRLContext(PCCRL_CONTEXT pCrlContext) {
    if (pCrlContext) add_ref(crl_context(pCrlContext));
    return pCrlContext;
}

BOOL CertFreeCRLContext(PCCRL_CONTEXT pCrlContext) {
    if (pCrlContext) release(crl_context(pCrlContext));
    return TRUE;
}

}  // extern "C"
