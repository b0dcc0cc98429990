// A store held in memory: the objects of both kinds with their indexes.
// System stores are memory stores that also keep a folder in step.
//
// Locking: every change runs under `writer_`, one at a time, and switches
// the indexes under an exclusive `data_` lock only for the moment of the
// switch; finds take `data_` shared. So a change may do slow work (a
// system store writes files) before the switch without holding up finds.
#ifndef MAREN_PLATFORM_STORE_MEMORY_STORE_H
#define MAREN_PLATFORM_STORE_MEMORY_STORE_H

#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "platform/store/context_internal.h"
#include "platform/store/object_index.h"
#include "platform/store/store.h"

namespace maren::store {

class MemoryStore : public Store {
  public:
    MemoryStore() : MemoryStore(Type::memory) {}
    ~MemoryStore() override;

    ContextCore *find_next(const Query &query, const ContextCore *prev) override;
    bool add(const EncodedObject::Ptr &object, const PropertySet *properties, DWORD disposition,
             ContextCore **added) override;
    bool control(DWORD control_type, DWORD flags, const void *para) override;

    // Takes `context` (a member or a former member) out of the store. True
    // when it is no longer a member, also when it wasn't one any more.
    bool remove(ContextCore *context);
    // A property of `context` changed; persisted stores write it out.
    virtual bool properties_changed(ContextCore *context);
    // Whether properties set on contexts of this store reach a disk.
    virtual bool persistent() const { return false; }

  protected:
    explicit MemoryStore(Type type) : Store(type) {}

    // Persistence hooks, run under `writer_` before the indexes switch. A
    // false return (last error set) abandons the change; a `forced` removal
    // (the object is being replaced) can't fail.
    virtual bool on_insert(ContextCore &) { return true; }
    virtual bool on_remove(ContextCore &, bool /*forced*/) { return true; }
    virtual bool on_properties(ContextCore &) { return true; }
    // Reads check for changes made elsewhere first (system stores).
    virtual void refresh() {}

    ObjectIndex &index_of(ObjectKind kind) { return kind == ObjectKind::certificate ? certs_ : crls_; }
    const ObjectIndex &index_of(ObjectKind kind) const {
        return kind == ObjectKind::certificate ? certs_ : crls_;
    }

    // Switches the indexes, under `writer_`: `gone` leave, `fresh` (new
    // contexts holding their membership reference) join in this order.
    // The membership references of `gone` are released after the switch.
    void apply(const std::vector<ContextCore *> &fresh, const std::vector<ContextCore *> &gone);

    std::mutex writer_;
    mutable std::shared_mutex data_;

  private:
    ObjectIndex certs_{ObjectKind::certificate};
    ObjectIndex crls_{ObjectKind::crl};
    std::uint64_t next_order_ = 1;
};

}  // namespace maren::store

#endif
