// Adding certificates and CRLs to stores and deleting them.
#include "platform/store/c_boundary.h"
#include "platform/store/context_internal.h"
#include "platform/store/memory_store.h"
#include "platform/store/store_handles.h"

using namespace maren::store;

namespace {

// The store behind a handle that may be written; false with the last error.
bool writable_store(HCERTSTORE handle, Store **store) {
    HandleInfo info;
    if (!handles::find(handle, &info)) return fail(E_INVALIDARG);
    if (info.open_flags & CERT_STORE_READONLY_FLAG) return fail(E_ACCESSDENIED);
    *store = info.store;
    return true;
}

// Adds `object` with `properties` (a context's, or none for encoded bytes)
// and hands the stored context out when asked.
template <class Public>
BOOL add_object(HCERTSTORE handle, const EncodedObject::Ptr &object, const PropertySet *properties,
                DWORD disposition, Public *stored, Public (*to_public)(ContextCore *)) {
    Store *store = nullptr;
    if (!writable_store(handle, &store)) return FALSE;
    ContextCore *added = nullptr;
    if (!store->add(object, properties, disposition, stored ? &added : nullptr)) return FALSE;
    if (stored) *stored = to_public(added);
    return TRUE;
}

EncodedObject::Ptr object_of_bytes(ObjectKind kind, DWORD encoding, const BYTE *pb, DWORD cb) {
    if (GET_CERT_ENCODING_TYPE(encoding) != X509_ASN_ENCODING || pb == nullptr)
        return fail_with<EncodedObject::Ptr>(E_INVALIDARG, nullptr);
    return EncodedObject::from_bytes(kind, pb, cb);
}

// Deleting takes the context's reference on every path.
BOOL delete_context(ContextCore *context) {
    if (context == nullptr) return TRUE;
    ContextRef reference(context);
    if (context->owner == nullptr) return TRUE;
    return context->owner->remove(context) ? TRUE : FALSE;
}

}  // namespace

extern "C" {

BOOL CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext, DWORD dwAddDisposition,
                                      PCCERT_CONTEXT *ppStoreContext) {
    if (ppStoreContext) *ppStoreContext = nullptr;
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        if (pCertContext == nullptr) return fail(E_INVALIDARG);
        CertContext *source = cert_context(pCertContext);
        return add_object(hCertStore, source->body, &source->properties, dwAddDisposition, ppStoreContext,
                          public_cert);
    });
}

BOOL CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType, const BYTE *pbCertEncoded,
                                      DWORD cbCertEncoded, DWORD dwAddDisposition, PCCERT_CONTEXT *ppCertContext) {
    if (ppCertContext) *ppCertContext = nullptr;
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        EncodedObject::Ptr object =
            object_of_bytes(ObjectKind::certificate, dwCertEncodingType, pbCertEncoded, cbCertEncoded);
        if (!object) return FALSE;
        return add_object(hCertStore, object, nullptr, dwAddDisposition, ppCertContext, public_cert);
    });
}

BOOL CertAddCRLContextToStore(HCERTSTORE hCertStore, PCCRL_CONTEXT pCrlContext, DWORD dwAddDisposition,
                              PCCRL_CONTEXT *ppStoreContext) {
    if (ppStoreContext) *ppStoreContext = nullptr;
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        if (pCrlContext == nullptr) return fail(E_INVALIDARG);
        CrlContext *source = crl_context(pCrlContext);
        return add_object(hCertStore, source->body, &source->properties, dwAddDisposition, ppStoreContext,
                          public_crl);
    });
}

BOOL CertAddEncodedCRLToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType, const BYTE *pbCrlEncoded,
                              DWORD cbCrlEncoded, DWORD dwAddDisposition, PCCRL_CONTEXT *ppCrlContext) {
    if (ppCrlContext) *ppCrlContext = nullptr;
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        EncodedObject::Ptr object = object_of_bytes(ObjectKind::crl, dwCertEncodingType, pbCrlEncoded, cbCrlEncoded);
        if (!object) return FALSE;
        return add_object(hCertStore, object, nullptr, dwAddDisposition, ppCrlContext, public_crl);
    });
}

BOOL CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
    return guarded<BOOL>(FALSE, [&] { return delete_context(pCertContext ? cert_context(pCertContext) : nullptr); });
}

BOOL CertDeleteCRLFromStore(PCCRL_CONTEXT pCrlContext) {
    return guarded<BOOL>(FALSE, [&] { return delete_context(pCrlContext ? crl_context(pCrlContext) : nullptr); });
}

}  // extern "C"
