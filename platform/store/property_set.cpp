#include "platform/store/property_set.h"

#include <cstring>

namespace maren::store {

PropertySet::Read PropertySet::read(DWORD id, void *pv, DWORD *pcb) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = entries_.find(id);
    if (it == entries_.end()) return Read::absent;
    const auto size = static_cast<DWORD>(it->second.value.size());
    if (pv == nullptr) {
        *pcb = size;
        return Read::done;
    }
    if (*pcb < size) {
        *pcb = size;
        return Read::more_data;
    }
    if (size) std::memcpy(pv, it->second.value.data(), size);
    *pcb = size;
    return Read::done;
}

bool PropertySet::contains(DWORD id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.count(id) != 0;
}

void PropertySet::write(DWORD id, const BYTE *pb, size_t cb, bool persist) {
    Entry entry{std::vector<BYTE>(pb, pb + cb), persist};
    std::lock_guard<std::mutex> lock(mutex_);
    entries_[id] = std::move(entry);
}

void PropertySet::write_if_absent(DWORD id, std::vector<BYTE> &&value) {
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.emplace(id, Entry{std::move(value), false});
}

bool PropertySet::erase(DWORD id) {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.erase(id) != 0;
}

DWORD PropertySet::next_after(DWORD id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = entries_.upper_bound(id);
    return it == entries_.end() ? 0 : it->first;
}

void PropertySet::copy_from(const PropertySet &from, bool overwrite) {
    if (&from == this) return;
    std::map<DWORD, Entry> copy;
    {
        std::lock_guard<std::mutex> lock(from.mutex_);
        copy = from.entries_;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto &[id, entry] : copy) {
        if (overwrite) entries_[id] = std::move(entry);
        else entries_.emplace(id, std::move(entry));
    }
}

PropertyList PropertySet::persisted() const {
    PropertyList list;
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto &[id, entry] : entries_)
        if (entry.persist) list.push_back(StoredProperty{id, entry.value});
    return list;
}

void PropertySet::replace_persisted(const PropertyList &list) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (it->second.persist) it = entries_.erase(it);
        else ++it;
    }
    for (const StoredProperty &p : list) entries_[p.id] = Entry{p.value, true};
}

}  // namespace maren::store
