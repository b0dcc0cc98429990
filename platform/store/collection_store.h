// A collection: no objects of its own, only sibling stores searched in
// priority order (higher first; equal priorities in the order added).
// Finds hand out the siblings' own contexts. Adds go to the first sibling
// added with CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG.
//
// The sibling list is an immutable snapshot replaced on change, so a find
// walks it without a lock while siblings come and go; each snapshot pins
// its siblings.
#ifndef MAREN_PLATFORM_STORE_COLLECTION_STORE_H
#define MAREN_PLATFORM_STORE_COLLECTION_STORE_H

#include <memory>
#include <mutex>
#include <vector>

#include "platform/store/store.h"

namespace maren::store {

class CollectionStore final : public Store {
  public:
    CollectionStore() : Store(Type::collection) {}

    // False with the last error for a sibling that would make a cycle.
    bool add_sibling(Store *sibling, DWORD flags, DWORD priority);
    void remove_sibling(Store *sibling);

    ContextCore *find_next(const Query &query, const ContextCore *prev) override;
    bool add(const EncodedObject::Ptr &object, const PropertySet *properties, DWORD disposition,
             ContextCore **added) override;
    bool control(DWORD control_type, DWORD flags, const void *para) override;
    bool contains(const Store *store) const override;

  private:
    struct Sibling {
        StorePin store;
        DWORD flags;
        DWORD priority;
    };
    using Siblings = std::vector<Sibling>;

    std::shared_ptr<const Siblings> snapshot() const;

    mutable std::mutex mutex_;
    std::shared_ptr<const Siblings> siblings_ = std::make_shared<const Siblings>();
};

}  // namespace maren::store

#endif
