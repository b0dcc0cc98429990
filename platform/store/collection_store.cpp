#include "platform/store/collection_store.h"

#include "platform/store/context_internal.h"
#include "platform/store/memory_store.h"

namespace maren::store {

std::shared_ptr<const CollectionStore::Siblings> CollectionStore::snapshot() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return siblings_;
}

bool CollectionStore::add_sibling(Store *sibling, DWORD flags, DWORD priority) {
    if (sibling->contains(this)) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return false;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    auto next = std::make_shared<Siblings>(*siblings_);
    auto at = next->begin();
    while (at != next->end() && at->priority >= priority) ++at;
    next->insert(at, Sibling{StorePin(sibling), flags, priority});
    siblings_ = std::move(next);
    return true;
}

void CollectionStore::remove_sibling(Store *sibling) {
    std::shared_ptr<const Siblings> old;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto next = std::make_shared<Siblings>();
        bool removed = false;
        for (const Sibling &s : *siblings_) {
            if (!removed && s.store.get() == sibling) removed = true;
            else next->push_back(s);
        }
        if (!removed) return;
        old = std::move(siblings_);
        siblings_ = std::move(next);
    }
    // `old` unpins the sibling outside the lock: that may destroy it.
}

ContextCore *CollectionStore::find_next(const Query &query, const ContextCore *prev) {
    const std::shared_ptr<const Siblings> siblings = snapshot();
    std::size_t first = 0;
    if (prev) {
        // Continue in the sibling that handed out `prev`.
        while (first < siblings->size() && !(*siblings)[first].store->contains(prev->owner)) ++first;
    }
    for (std::size_t i = first; i < siblings->size(); ++i) {
        if (ContextCore *found = (*siblings)[i].store->find_next(query, i == first ? prev : nullptr)) return found;
    }
    return nullptr;
}

bool CollectionStore::add(const EncodedObject::Ptr &object, const PropertySet *properties, DWORD disposition,
                          ContextCore **added) {
    const std::shared_ptr<const Siblings> siblings = snapshot();
    for (const Sibling &sibling : *siblings) {
        if (sibling.flags & CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG)
            return sibling.store->add(object, properties, disposition, added);
    }
    SetLastError(static_cast<DWORD>(E_ACCESSDENIED));
    return false;
}

bool CollectionStore::control(DWORD control_type, DWORD flags, const void *para) {
    switch (control_type) {
    case CERT_STORE_CTRL_RESYNC:
    case CERT_STORE_CTRL_COMMIT:
    case CERT_STORE_CTRL_AUTO_RESYNC: {
        bool all = true;
        for (const Sibling &sibling : *snapshot()) all = sibling.store->control(control_type, flags, para) && all;
        return all;
    }
    case CERT_STORE_CTRL_NOTIFY_CHANGE:
    case CERT_STORE_CTRL_CANCEL_NOTIFY:
        SetLastError(static_cast<DWORD>(ERROR_NOT_SUPPORTED));
        return false;
    default:
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return false;
    }
}

bool CollectionStore::contains(const Store *store) const {
    if (store == this) return true;
    for (const Sibling &sibling : *snapshot())
        if (sibling.store->contains(store)) return true;
    return false;
}

}  // namespace maren::store
