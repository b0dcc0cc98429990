// A certificate store as the handles see it: something that finds, adds
// and controls, kept alive by pins. Memory, system and collection stores
// derive from it.
//
// Lifetime: a store lives while anything pins it - an open handle, a
// context handed out from it and not yet freed, a collection it belongs
// to, the system-store registry. So contexts stay valid, with their
// properties and their hCertStore, after the caller closed the store; the
// last unpin destroys it.
#ifndef MAREN_PLATFORM_STORE_STORE_H
#define MAREN_PLATFORM_STORE_STORE_H

#include <atomic>
#include <cstdint>

#include <maren/maren.h>

#include "platform/store/encoded_object.h"
#include "platform/store/query.h"

namespace maren::store {

class PropertySet;

class Store {
  public:
    enum class Type { memory, collection, system };

    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    virtual ~Store();

    Type type() const { return type_; }
    // The handle value contexts of this store show as hCertStore; it stays
    // valid for the store's whole life.
    HCERTSTORE home_handle() const { return home_; }

    void pin() noexcept { pins_.fetch_add(1, std::memory_order_relaxed); }
    void unpin() noexcept;
    // Outside references to contexts of this store, and open handles:
    // counted apart for CertCloseStore's check.
    void context_taken() noexcept {
        context_refs_.fetch_add(1, std::memory_order_relaxed);
        pin();
    }
    void context_returned() noexcept {
        context_refs_.fetch_sub(1, std::memory_order_relaxed);
        unpin();
    }
    void handle_opened() noexcept {
        open_handles_.fetch_add(1, std::memory_order_relaxed);
        pin();
    }
    // True when the store keeps contexts referenced with no handle left.
    bool handle_closed() noexcept;

    // The next object after `prev` (null: from the start) that `query`
    // accepts, as a new reference; null when there is none. `prev` must
    // belong to this store or one inside it.
    virtual ContextCore *find_next(const Query &query, const ContextCore *prev) = 0;
    // Adds `object` (with a copy of `properties`, when given) under the
    // disposition; *added, when not null, receives a new reference to the
    // context as stored. False with the last error set.
    virtual bool add(const EncodedObject::Ptr &object, const PropertySet *properties, DWORD disposition,
                     ContextCore **added) = 0;
    // CertControlStore; false with the last error set.
    virtual bool control(DWORD control_type, DWORD flags, const void *para) = 0;
    // Whether `store` is this store or one inside it.
    virtual bool contains(const Store *store) const { return store == this; }

  protected:
    explicit Store(Type type);

  private:
    const Type type_;
    HCERTSTORE home_;
    std::atomic<std::int64_t> pins_{0};
    std::atomic<std::int64_t> context_refs_{0};
    std::atomic<std::int64_t> open_handles_{0};
};

// A pin held by an owner for its lifetime (a collection's siblings, the
// registry's system stores, a call's reference to a store).
class StorePin {
  public:
    StorePin() = default;
    explicit StorePin(Store *store) : store_(store) {
        if (store_) store_->pin();
    }
    StorePin(const StorePin &other) : StorePin(other.store_) {}
    StorePin(StorePin &&other) noexcept : store_(other.store_) { other.store_ = nullptr; }
    StorePin &operator=(StorePin other) noexcept {
        std::swap(store_, other.store_);
        return *this;
    }
    ~StorePin() {
        if (store_) store_->unpin();
    }

    Store *get() const { return store_; }
    Store *operator->() const { return store_; }
    explicit operator bool() const { return store_ != nullptr; }

  private:
    Store *store_ = nullptr;
};

}  // namespace maren::store

#endif
