// The properties one context carries beside its encoding: opaque byte
// values by id, each marked whether it belongs on disk when the context
// lives in a persisted store. Thread-safe; values are copied in and out
// under the set's own lock.
#ifndef MAREN_PLATFORM_STORE_PROPERTY_SET_H
#define MAREN_PLATFORM_STORE_PROPERTY_SET_H

#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include <maren/types.h>

namespace maren::store {

struct StoredProperty {
    DWORD id;
    std::vector<BYTE> value;
};
using PropertyList = std::vector<StoredProperty>;

class PropertySet {
  public:
    enum class Read { done, absent, more_data };

    PropertySet() = default;
    PropertySet(const PropertySet &) = delete;
    PropertySet &operator=(const PropertySet &) = delete;

    // The two-call protocol: a null pv asks for the size; a short buffer
    // gives more_data. *pcb always receives the value's size when present.
    Read read(DWORD id, void *pv, DWORD *pcb) const;
    bool contains(DWORD id) const;

    void write(DWORD id, const BYTE *pb, size_t cb, bool persist);
    // Adds the value only when the id is still absent (computed values
    // racing with each other keep the first).
    void write_if_absent(DWORD id, std::vector<BYTE> &&value);
    bool erase(DWORD id);

    // The smallest id above `id`, 0 when there is none.
    DWORD next_after(DWORD id) const;

    // Every value of `from` into this set; `overwrite` decides for ids
    // present in both.
    void copy_from(const PropertySet &from, bool overwrite);
    // The values that belong on disk, in id order.
    PropertyList persisted() const;
    // Replaces the values that belong on disk with `list`, as read back
    // from disk; the others stay.
    void replace_persisted(const PropertyList &list);

  private:
    struct Entry {
        std::vector<BYTE> value;
        bool persist;
    };
    mutable std::mutex mutex_;
    std::map<DWORD, Entry> entries_;
};

}  // namespace maren::store

#endif
