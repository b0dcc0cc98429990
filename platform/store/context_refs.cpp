// Context construction and reference counting, shared by certificates and
// CRLs.
#include "platform/store/context_internal.h"
#include "platform/store/memory_store.h"

namespace maren::store {

CertContext::CertContext(EncodedObject::Ptr object, MemoryStore *store, HCERTSTORE handle)
    : CERT_CONTEXT{}, ContextCore(std::move(object), store) {
    dwCertEncodingType = X509_ASN_ENCODING;
    pbCertEncoded = const_cast<BYTE *>(body->data());
    cbCertEncoded = body->size();
    pCertInfo = body->cert_info();
    hCertStore = handle;
}

CrlContext::CrlContext(EncodedObject::Ptr object, MemoryStore *store, HCERTSTORE handle)
    : CRL_CONTEXT{}, ContextCore(std::move(object), store) {
    dwCertEncodingType = X509_ASN_ENCODING;
    pbCrlEncoded = const_cast<BYTE *>(body->data());
    cbCrlEncoded = body->size();
    pCrlInfo = body->crl_info();
    hCertStore = handle;
}

ContextCore *new_context(EncodedObject::Ptr object, MemoryStore *store) {
    HCERTSTORE handle = store ? store->home_handle() : nullptr;
    if (object->kind() == ObjectKind::certificate) return new CertContext(std::move(object), store, handle);
    return new CrlContext(std::move(object), store, handle);
}

namespace {

void destroy(ContextCore *context) {
    if (context->kind() == ObjectKind::certificate) delete static_cast<CertContext *>(context);
    else delete static_cast<CrlContext *>(context);
}

}  // namespace

void add_ref(ContextCore *context) {
    context->refs.fetch_add(1, std::memory_order_relaxed);
    if (context->owner) context->owner->context_taken();
}

void release(ContextCore *context) {
    MemoryStore *owner = context->owner;
    if (context->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(context);
    // After the context: the store's last pin may destroy it, and with it
    // the membership references of its contexts.
    if (owner) owner->context_returned();
}

void release_membership(ContextCore *context) {
    if (context->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(context);
}

}  // namespace maren::store
