// Counted platform handles held by value: a certificate context, a CRL
// context, a store. A copy takes its own reference; the destructor gives it
// back.
#ifndef HALDEN_NIMBOLE_HANDLE_REFS_H
#define HALDEN_NIMBOLE_HANDLE_REFS_H

#include <utility>

#include <maren/maren.h>

namespace halden::nimbole {

// One reference to a context. Adopting takes over a reference the caller
// owns; duplicating adds one. A failed duplicate throws CryptException with
// the platform's last error.
template <class Context>
class ContextRef {
public:
    ContextRef() = default;
    // A new reference to `context`, which must not be null.
    static ContextRef duplicate(const Context* context) { return ContextRef(add_reference(context)); }
    // Takes over a reference the caller owns; null gives an empty holder.
    static ContextRef adopt(const Context* context) { return ContextRef(context); }

    ContextRef(const ContextRef& other) : context_(other.context_ ? add_reference(other.context_) : nullptr) {}
    ContextRef(ContextRef&& other) noexcept : context_(std::exchange(other.context_, nullptr)) {}
    ContextRef& operator=(ContextRef other) noexcept {
        std::swap(context_, other.context_);
        return *this;
    }
    ~ContextRef() { drop_reference(context_); }

    const Context* get() const { return context_; }
    const Context* operator->() const { return context_; }
    explicit operator bool() const { return context_ != nullptr; }

private:
    explicit ContextRef(const Context* context) : context_(context) {}
    static const Context* add_reference(const Context* context);
    static void drop_reference(const Context* context) noexcept;

    const Context* context_ = nullptr;
};

template <>
const CERT_CONTEXT* ContextRef<CERT_CONTEXT>::add_reference(const CERT_CONTEXT* context);
template <>
void ContextRef<CERT_CONTEXT>::drop_reference(const CERT_CONTEXT* context) noexcept;
template <>
const CRL_CONTEXT* ContextRef<CRL_CONTEXT>::add_reference(const CRL_CONTEXT* context);
template <>
void ContextRef<CRL_CONTEXT>::drop_reference(const CRL_CONTEXT* context) noexcept;

using CertContextRef = ContextRef<CERT_CONTEXT>;
using CrlContextRef = ContextRef<CRL_CONTEXT>;

// An open store, closed with flags 0.
class StoreRef {
public:
    StoreRef() = default;
    explicit StoreRef(HCERTSTORE store) : store_(store) {}
    StoreRef(const StoreRef&) = delete;
    StoreRef& operator=(const StoreRef&) = delete;
    StoreRef(StoreRef&& other) noexcept : store_(std::exchange(other.store_, nullptr)) {}
    StoreRef& operator=(StoreRef&& other) noexcept {
        std::swap(store_, other.store_);
        return *this;
    }
    ~StoreRef() {
        if (store_ != nullptr) CertCloseStore(store_, 0);
    }

    HCERTSTORE get() const { return store_; }
    explicit operator bool() const { return store_ != nullptr; }

private:
    HCERTSTORE store_ = nullptr;
};

}  // namespace halden::nimbole

#endif
