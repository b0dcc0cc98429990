#include "platform/store/memory_store.h"

#include <memory>

namespace maren::store {
namespace {

// A new context's membership reference until the indexes take it.
struct ReleaseMembership {
    void operator()(ContextCore *context) const { release_membership(context); }
};
using NewMember = std::unique_ptr<ContextCore, ReleaseMembership>;

// ADD_NEWER: the validity start decides (NotBefore, ThisUpdate).
bool is_newer(const EncodedObject &candidate, const EncodedObject &existing) {
    const FILETIME &a = candidate.kind() == ObjectKind::certificate ? candidate.cert_info()->NotBefore
                                                                    : candidate.crl_info()->ThisUpdate;
    const FILETIME &b = existing.kind() == ObjectKind::certificate ? existing.cert_info()->NotBefore
                                                                   : existing.crl_info()->ThisUpdate;
    return CompareFileTime(&a, &b) > 0;
}

}  // namespace

MemoryStore::~MemoryStore() {
    // Nothing outside refers to the store any more, so its members have
    // only their membership reference left.
    for (ObjectKind kind : {ObjectKind::certificate, ObjectKind::crl}) {
        for (ContextCore *context : index_of(kind).members()) {
            context->member = false;
            release_membership(context);
        }
    }
}

ContextCore *MemoryStore::find_next(const Query &query, const ContextCore *prev) {
    if (prev && prev->owner != this) return nullptr;
    refresh();
    std::shared_lock<std::shared_mutex> lock(data_);
    ContextCore *found = index_of(query.kind).next(query, prev);
    if (found) add_ref(found);
    return found;
}

bool MemoryStore::add(const EncodedObject::Ptr &object, const PropertySet *properties, DWORD disposition,
                      ContextCore **added) {
    if (disposition < CERT_STORE_ADD_NEW || disposition > CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return false;
    }
    refresh();
    std::lock_guard<std::mutex> writer(writer_);
    // Only changes write the indexes, and they all hold `writer_`: reading
    // them here needs no other lock.
    const ObjectIndex &index = index_of(object->kind());
    const bool newer = disposition == CERT_STORE_ADD_NEWER || disposition == CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES;
    // "Existing" is a byte-equal object; for ADD_NEWER of a CRL it is one
    // of the same issuer, as a newer CRL replaces an older one.
    ContextCore *existing = disposition == CERT_STORE_ADD_ALWAYS ? nullptr
                            : newer && object->kind() == ObjectKind::crl ? index.find_same_issuer(*object)
                                                                         : index.find_equal(*object);
    bool inherit = false;
    switch (disposition) {
    case CERT_STORE_ADD_NEW:
        if (existing) {
            SetLastError(static_cast<DWORD>(CRYPT_E_EXISTS));
            return false;
        }
        break;
    case CERT_STORE_ADD_USE_EXISTING:
        if (existing) {
            if (properties) {
                existing->properties.copy_from(*properties, true);
                if (!on_properties(*existing)) return false;
            }
            if (added) {
                add_ref(existing);
                *added = existing;
            }
            return true;
        }
        break;
    case CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES:
        inherit = true;
        break;
    case CERT_STORE_ADD_NEWER:
    case CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES:
        if (existing && !is_newer(*object, existing->object())) {
            SetLastError(static_cast<DWORD>(CRYPT_E_EXISTS));
            return false;
        }
        inherit = disposition == CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES;
        break;
    default:
        break;
    }

    NewMember fresh(new_context(object, this));
    if (properties) fresh->properties.copy_from(*properties, true);
    if (inherit && existing) fresh->properties.copy_from(existing->properties, false);
    if (!on_insert(*fresh)) return false;
    std::vector<ContextCore *> gone;
    if (existing) {
        // The new copy is on disk already; an old file that can't go only
        // comes back at the next load.
        on_remove(*existing, true);
        gone.push_back(existing);
    }
    apply({fresh.get()}, gone);
    ContextCore *stored = fresh.release();
    if (added) {
        add_ref(stored);
        *added = stored;
    }
    return true;
}

bool MemoryStore::remove(ContextCore *context) {
    std::lock_guard<std::mutex> writer(writer_);
    if (!context->member) return true;
    if (!on_remove(*context, false)) return false;
    apply({}, {context});
    return true;
}

bool MemoryStore::properties_changed(ContextCore *context) {
    std::lock_guard<std::mutex> writer(writer_);
    if (!context->member) return true;
    return on_properties(*context);
}

bool MemoryStore::control(DWORD control_type, DWORD, const void *) {
    switch (control_type) {
    case CERT_STORE_CTRL_RESYNC:
    case CERT_STORE_CTRL_COMMIT:
    case CERT_STORE_CTRL_AUTO_RESYNC:
        return true;
    case CERT_STORE_CTRL_NOTIFY_CHANGE:
    case CERT_STORE_CTRL_CANCEL_NOTIFY:
        SetLastError(static_cast<DWORD>(ERROR_NOT_SUPPORTED));
        return false;
    default:
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return false;
    }
}

void MemoryStore::apply(const std::vector<ContextCore *> &fresh, const std::vector<ContextCore *> &gone) {
    // Digests and key identifiers are worked out before the lock.
    for (ContextCore *context : fresh) {
        if (context->kind() != ObjectKind::certificate) continue;
        context->object().sha1();
        context->object().key_identifier();
    }
    {
        std::unique_lock<std::shared_mutex> lock(data_);
        for (ContextCore *context : gone) {
            index_of(context->kind()).erase(context);
            context->member = false;
        }
        for (ContextCore *context : fresh) {
            context->order = next_order_++;
            index_of(context->kind()).insert(context);
            context->member = true;
        }
    }
    for (ContextCore *context : gone) release_membership(context);
}

}  // namespace maren::store
