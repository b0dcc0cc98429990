// HCERTSTORE values and what they stand for. A value is a number from a
// process-wide counter, so values grow with creation order and are never
// reused; the table maps it to its store, the handle's own reference count
// and the flags it was opened with. Several handles may stand for one
// store (each open of a system store gets its own value).
//
// Every store also has a home value, the hCertStore of its contexts, which
// stays in the table as long as the store lives. For a memory or
// collection store it is the value CertOpenStore returned; for a system
// store, the value of the open that loaded it.
#ifndef MAREN_PLATFORM_STORE_STORE_HANDLES_H
#define MAREN_PLATFORM_STORE_STORE_HANDLES_H

#include <maren/maren.h>

namespace maren::store {

class Store;

struct HandleInfo {
    Store *store = nullptr;
    DWORD open_flags = 0;
};

namespace handles {

// A home value for a new store, with no reference yet.
HCERTSTORE add_home(Store *store);
// Drops a home value; the store is being destroyed.
void remove_home(HCERTSTORE handle);

// Takes the first reference to a store's home value for its creator.
void open_home(HCERTSTORE home, DWORD open_flags);
// A new value for one more open of `store`, holding one reference.
HCERTSTORE open(Store *store, DWORD open_flags);

// The store behind a value the caller holds; false for an unknown value.
bool find(HCERTSTORE handle, HandleInfo *info);
// One more reference; false for an unknown value.
bool duplicate(HCERTSTORE handle);

enum class CloseResult { unknown, closed, closed_pending };
// One reference less. When it was the value's last, the store loses the
// handle's pin; closed_pending tells that contexts of the store are still
// referenced with no handle left.
CloseResult close(HCERTSTORE handle);

}  // namespace handles
}  // namespace maren::store

#endif
