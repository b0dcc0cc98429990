// One stable home per distinct certificate or CRL for the length of a
// verification. The root engine owns the caches; nested engines share them,
// so what one learns (trust marks, CRL signers) stays for the others.
// Nothing expires, nothing is erased, and there is no lock: a cache belongs
// to the one thread that runs its engines.
#ifndef HALDEN_NIMBOLE_CHAIN_CACHE_H
#define HALDEN_NIMBOLE_CHAIN_CACHE_H

#include <cstddef>
#include <map>

#include "nimbole/key_pair_ptr.h"

namespace halden::nimbole {

// An ordered map by the items' order (length of the encoding first), with
// one operation of its own, insert; readers iterate it directly. What an
// insert of a cached key does with the value offered is the value type's
// merge_offered.
template <class Key, class Value>
class ChainCache {
public:
    using map_type = std::map<Key, Value>;
    using iterator = typename map_type::iterator;
    using const_iterator = typename map_type::const_iterator;

    ChainCache() = default;
    ChainCache(const ChainCache&) = delete;
    ChainCache& operator=(const ChainCache&) = delete;

    // The entry for `key`, made from copies of `key` and `value` when none
    // is cached. For a cached key the value stays, except what
    // merge_offered lets through. The caller keeps its own objects; a
    // cached key shares the decoded data of the item it was copied from.
    KeyPairPtr<Key, Value> insert(const Key& key, const Value& value) {
        iterator at = map_.lower_bound(key);
        if (at != map_.end() && !(key < at->first)) {
            merge_offered(at->second, value);
            return KeyPairPtr<Key, Value>(&*at);
        }
        at = map_.emplace_hint(at, key, value);
        return KeyPairPtr<Key, Value>(&*at);
    }

    iterator begin() { return map_.begin(); }
    iterator end() { return map_.end(); }
    const_iterator begin() const { return map_.begin(); }
    const_iterator end() const { return map_.end(); }
    iterator find(const Key& key) { return map_.find(key); }
    std::size_t size() const { return map_.size(); }
    bool empty() const { return map_.empty(); }

private:
    map_type map_;
};

}  // namespace halden::nimbole

#endif
