#include "platform/store/store_handles.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "platform/store/store.h"

namespace maren::store::handles {
namespace {

struct Entry {
    Store *store;
    std::atomic<std::uint32_t> refs;
    DWORD open_flags;
    bool home;
};

// Lookups take the shared lock only; reference counts are atomics, so a
// duplicate does not queue behind finds. Entries are boxed to keep their
// address while the map rehashes.
class Table {
  public:
    static Table &instance() {
        static Table *table = new Table;  // stores may be closed from static destructors
        return *table;
    }

    HCERTSTORE insert(Store *store, std::uint32_t refs, DWORD flags, bool home) {
        const std::uintptr_t value = next_.fetch_add(kStep, std::memory_order_relaxed);
        auto entry = std::make_unique<Entry>();
        entry->store = store;
        entry->refs.store(refs, std::memory_order_relaxed);
        entry->open_flags = flags;
        entry->home = home;
        std::unique_lock<std::shared_mutex> lock(mutex_);
        entries_.emplace(value, std::move(entry));
        return reinterpret_cast<HCERTSTORE>(value);
    }

    void erase(HCERTSTORE handle) {
        std::unique_lock<std::shared_mutex> lock(mutex_);
        entries_.erase(reinterpret_cast<std::uintptr_t>(handle));
    }

    // Runs f on the entry under the shared lock; false for an unknown value.
    template <class F>
    bool with_entry(HCERTSTORE handle, F &&f) {
        std::shared_lock<std::shared_mutex> lock(mutex_);
        auto it = entries_.find(reinterpret_cast<std::uintptr_t>(handle));
        if (it == entries_.end()) return false;
        f(*it->second);
        return true;
    }

  private:
    // Values look like aligned addresses and start well above null.
    static constexpr std::uintptr_t kStep = 0x10;
    std::atomic<std::uintptr_t> next_{0x10000};
    std::shared_mutex mutex_;
    std::unordered_map<std::uintptr_t, std::unique_ptr<Entry>> entries_;
};

}  // namespace

HCERTSTORE add_home(Store *store) { return Table::instance().insert(store, 0, 0, true); }

void remove_home(HCERTSTORE handle) { Table::instance().erase(handle); }

void open_home(HCERTSTORE home, DWORD open_flags) {
    Store *store = nullptr;
    Table::instance().with_entry(home, [&](Entry &entry) {
        entry.open_flags = open_flags;
        if (entry.refs.fetch_add(1, std::memory_order_relaxed) == 0) store = entry.store;
    });
    if (store) store->handle_opened();
}

HCERTSTORE open(Store *store, DWORD open_flags) {
    store->handle_opened();
    return Table::instance().insert(store, 1, open_flags, false);
}

bool find(HCERTSTORE handle, HandleInfo *info) {
    if (handle == nullptr) return false;
    return Table::instance().with_entry(handle, [&](Entry &entry) {
        info->store = entry.store;
        info->open_flags = entry.open_flags;
    });
}

bool duplicate(HCERTSTORE handle) {
    if (handle == nullptr) return false;
    Store *reopened = nullptr;
    const bool known = Table::instance().with_entry(handle, [&](Entry &entry) {
        // A home value whose references all went (a closed store kept alive
        // by its contexts) opens again.
        if (entry.refs.fetch_add(1, std::memory_order_relaxed) == 0) reopened = entry.store;
    });
    if (reopened) reopened->handle_opened();
    return known;
}

CloseResult close(HCERTSTORE handle) {
    Store *store = nullptr;
    bool erase = false;
    const bool known = Table::instance().with_entry(handle, [&](Entry &entry) {
        std::uint32_t refs = entry.refs.load(std::memory_order_relaxed);
        // A value with no reference left (a home value closed once too
        // often) stays as it is.
        while (refs != 0 && !entry.refs.compare_exchange_weak(refs, refs - 1, std::memory_order_acq_rel)) {
        }
        if (refs == 1) {
            store = entry.store;
            erase = !entry.home;
        }
    });
    if (!known) return CloseResult::unknown;
    if (store == nullptr) return CloseResult::closed;
    // The value goes before the store may: the last unpin destroys it.
    if (erase) Table::instance().erase(handle);
    return store->handle_closed() ? CloseResult::closed_pending : CloseResult::closed;
}

}  // namespace maren::store::handles
