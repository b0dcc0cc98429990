// A handle to one entry (key and value) of a chain cache. Cache entries
// never move and are never erased, so a handle stays valid as long as its
// cache. Handles order by the identity of the entry and by nothing else, so
// a set of them keeps its order whatever happens to the items.
#ifndef HALDEN_NIMBOLE_KEY_PAIR_PTR_H
#define HALDEN_NIMBOLE_KEY_PAIR_PTR_H

#include <functional>
#include <utility>

namespace halden::nimbole {

template <class Key, class Value>
class KeyPairPtr {
public:
    using entry_type = std::pair<const Key, Value>;

    KeyPairPtr() = default;
    explicit KeyPairPtr(entry_type* entry) : entry_(entry) {}

    entry_type* get() const { return entry_; }
    entry_type& operator*() const { return *entry_; }
    entry_type* operator->() const { return entry_; }
    explicit operator bool() const { return entry_ != nullptr; }

    const Key& key() const { return entry_->first; }
    Value& value() const { return entry_->second; }

    friend bool operator<(const KeyPairPtr& a, const KeyPairPtr& b) {
        return std::less<entry_type*>()(a.entry_, b.entry_);
    }
    friend bool operator==(const KeyPairPtr& a, const KeyPairPtr& b) { return a.entry_ == b.entry_; }
    friend bool operator!=(const KeyPairPtr& a, const KeyPairPtr& b) { return a.entry_ != b.entry_; }

private:
    entry_type* entry_ = nullptr;
};

}  // namespace halden::nimbole

#endif
