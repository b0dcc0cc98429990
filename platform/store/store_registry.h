// The process-wide registry of system stores: one SystemStore per folder,
// loaded by the first open and kept for the life of the process, so that
// opening "Root" on every revocation check costs a lookup, not a read of
// the disk. Keyed by the home directory, the location and the store name
// with ASCII case folded ("root" and "Root" are one store).
#ifndef MAREN_PLATFORM_STORE_STORE_REGISTRY_H
#define MAREN_PLATFORM_STORE_STORE_REGISTRY_H

#include <string>

#include "platform/store/store.h"

namespace maren::store {

class SystemStore;

namespace registry {

enum class Location { current_user, local_machine };

struct Opened {
    StorePin store;
    bool loaded_now = false;  // this call read it from disk
};

// Opens the store under the CERT_STORE_*_FLAG open flags; false with the
// last error set. "Root" and "CA" always exist.
bool open(Location location, const std::string &name, DWORD flags, Opened *opened);

// CERT_STORE_DELETE_FLAG: removes the store's folder; a store still open
// keeps its memory copy but writes nothing more.
bool remove(Location location, const std::string &name);

}  // namespace registry
}  // namespace maren::store

#endif
