// What a find looks for: an index to go through and an optional extra test
// on each candidate. The find functions build one from their find type;
// stores answer it without knowing the find types.
#ifndef MAREN_PLATFORM_STORE_QUERY_H
#define MAREN_PLATFORM_STORE_QUERY_H

#include <string_view>

#include "platform/store/encoded_object.h"

namespace maren::store {

struct ContextCore;

enum class IndexKey {
    none,      // every object, in store order
    sha1,      // key: the 20-byte thumbprint (certificates)
    subject,   // key: encoded subject name (certificates)
    issuer,    // key: encoded issuer name
    key_id,    // key: key identifier (certificates)
    existing,  // object: byte-equal objects
};

struct Query {
    ObjectKind kind = ObjectKind::certificate;
    IndexKey index = IndexKey::none;
    std::string_view key;
    const EncodedObject *object = nullptr;
    // An extra test on each candidate the index yields; null accepts all.
    bool (*accept)(const ContextCore &candidate, const void *para) = nullptr;
    const void *para = nullptr;
};

}  // namespace maren::store

#endif
