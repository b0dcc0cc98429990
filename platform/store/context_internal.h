// Certificate and CRL contexts inside maren: the published structure
// followed by what maren keeps with it. A PCCERT_CONTEXT handed out is the
// address of a CertContext's CERT_CONTEXT part, so the published fields
// are read in place and CertDuplicate...Context returns the same pointer.
//
// A context shares its EncodedObject (bytes, decoded body, digests,
// extension slot) with every other context of the same object; its
// properties are its own. A context that belongs to a store is that
// store's copy: finds hand out that very context, so its properties are
// seen by every finder.
//
// References: `refs` counts them all. A store holds one for membership;
// every other reference (the caller's, a find's result) also pins the
// owning store, so the store outlives the contexts handed out from it.
#ifndef MAREN_PLATFORM_STORE_CONTEXT_INTERNAL_H
#define MAREN_PLATFORM_STORE_CONTEXT_INTERNAL_H

#include <atomic>
#include <cstdint>

#include <maren/maren.h>

#include "platform/store/encoded_object.h"
#include "platform/store/property_set.h"

namespace maren::store {

class MemoryStore;

struct ContextCore {
    ContextCore(EncodedObject::Ptr object, MemoryStore *store) : body(std::move(object)), owner(store) {}
    ContextCore(const ContextCore &) = delete;
    ContextCore &operator=(const ContextCore &) = delete;

    const EncodedObject &object() const { return *body; }
    ObjectKind kind() const { return body->kind(); }

    std::atomic<std::uint32_t> refs{1};
    const EncodedObject::Ptr body;
    PropertySet properties;
    // The store this context is a copy in, or null; fixed for life.
    MemoryStore *const owner;
    // Position in the owner's enumeration order; fixed once stored.
    std::uint64_t order = 0;
    // Still in the owner. Written under the owner's locks.
    bool member = false;
};

struct CertContext final : CERT_CONTEXT, ContextCore {
    CertContext(EncodedObject::Ptr object, MemoryStore *store, HCERTSTORE handle);
};

struct CrlContext final : CRL_CONTEXT, ContextCore {
    CrlContext(EncodedObject::Ptr object, MemoryStore *store, HCERTSTORE handle);
};

inline CertContext *cert_context(PCCERT_CONTEXT context) {
    return const_cast<CertContext *>(static_cast<const CertContext *>(context));
}
inline CrlContext *crl_context(PCCRL_CONTEXT context) {
    return const_cast<CrlContext *>(static_cast<const CrlContext *>(context));
}
inline PCCERT_CONTEXT public_cert(ContextCore *core) { return static_cast<CertContext *>(core); }
inline PCCRL_CONTEXT public_crl(ContextCore *core) { return static_cast<CrlContext *>(core); }

// The object behind a context maren handed out: its shared bytes, SHA-1
// digest, decoded body, and the extension slot where per-object indexes
// (a CRL's serial index) are kept once for every context of the object.
inline const EncodedObject &encoded_object(PCCERT_CONTEXT context) { return cert_context(context)->object(); }
inline const EncodedObject &encoded_object(PCCRL_CONTEXT context) { return crl_context(context)->object(); }

// A new context of `object` holding one reference: the membership one when
// `store` is given (the store then inserts it), the creator's otherwise.
ContextCore *new_context(EncodedObject::Ptr object, MemoryStore *store);

// One more reference held outside the store.
void add_ref(ContextCore *context);
// One reference held outside the store less; may free the context and
// then the store it pinned.
void release(ContextCore *context);
// The membership reference of a store that let the context go.
void release_membership(ContextCore *context);

// A reference owned by a scope.
class ContextRef {
  public:
    ContextRef() = default;
    explicit ContextRef(ContextCore *adopted) : context_(adopted) {}
    ContextRef(const ContextRef &) = delete;
    ContextRef &operator=(const ContextRef &) = delete;
    ContextRef(ContextRef &&other) noexcept : context_(other.context_) { other.context_ = nullptr; }
    ~ContextRef() {
        if (context_) release(context_);
    }
    ContextCore *get() const { return context_; }
    ContextCore *take() {
        ContextCore *c = context_;
        context_ = nullptr;
        return c;
    }

  private:
    ContextCore *context_ = nullptr;
};

}  // namespace maren::store

#endif
