// The objects of one kind in one store, in store order and indexed so that
// finds don't scan: certificates by thumbprint, subject, issuer and key
// identifier; CRLs by issuer; both by encoded length for equality finds.
// Not locked: the store that owns it does that.
#ifndef MAREN_PLATFORM_STORE_OBJECT_INDEX_H
#define MAREN_PLATFORM_STORE_OBJECT_INDEX_H

#include <cstdint>
#include <map>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/store/context_internal.h"
#include "platform/store/query.h"

namespace maren::store {

class ObjectIndex {
  public:
    explicit ObjectIndex(ObjectKind kind) : kind_(kind) {}
    ObjectIndex(const ObjectIndex &) = delete;
    ObjectIndex &operator=(const ObjectIndex &) = delete;

    // `context->order` must be above every order inserted before. Works out
    // the thumbprint and key identifier of a certificate, once per object.
    void insert(ContextCore *context);
    void erase(ContextCore *context);

    // The first member after `prev` (by order; null: from the start) that
    // the query accepts, or null.
    ContextCore *next(const Query &query, const ContextCore *prev) const;
    // The first member with the same bytes as `object`, or null.
    ContextCore *find_equal(const EncodedObject &object) const;
    // The first CRL with the same issuer name, or null.
    ContextCore *find_same_issuer(const EncodedObject &object) const;

    std::size_t size() const { return by_order_.size(); }
    // The members in store order.
    std::vector<ContextCore *> members() const;

  private:
    using Bucket = std::vector<ContextCore *>;  // ascending order
    // Keys view bytes of a member's object: no copies. When the member
    // whose bytes a key views leaves, the key moves to another member's.
    using BytesIndex = std::unordered_map<std::string_view, Bucket>;
    using KeyOf = std::string_view (*)(const ContextCore &);

    static void add_to(BytesIndex &index, KeyOf key_of, ContextCore *context);
    static void remove_from(BytesIndex &index, KeyOf key_of, ContextCore *context);
    const Bucket *bucket(const Query &query) const;
    static bool accepts(const Query &query, const ContextCore &candidate);

    ObjectKind kind_;
    std::map<std::uint64_t, ContextCore *> by_order_;
    BytesIndex by_sha1_;
    BytesIndex by_subject_;
    BytesIndex by_issuer_;
    BytesIndex by_key_id_;
    std::unordered_map<DWORD, Bucket> by_size_;
};

}  // namespace maren::store

#endif
