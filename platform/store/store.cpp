#include "platform/store/store.h"

#include "platform/store/store_handles.h"

namespace maren::store {

Store::Store(Type type) : type_(type), home_(handles::add_home(this)) {}

Store::~Store() = default;

void Store::unpin() noexcept {
    if (pins_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    // Nothing refers to the store any more: no handle, no context held
    // outside, no collection, no registry.
    handles::remove_home(home_);
    delete this;
}

bool Store::handle_closed() noexcept {
    const bool last = open_handles_.fetch_sub(1, std::memory_order_acq_rel) == 1;
    const bool pending = last && context_refs_.load(std::memory_order_acquire) > 0;
    unpin();
    return pending;
}

}  // namespace maren::store
