// An open certificate store as the engine searches it: the handle, and
// whether it is a Root store. Root stores sort first, so the first store to
// offer a certificate, and with it the certificate's trust, is a Root store
// whenever one has it.
#ifndef HALDEN_NIMBOLE_STORE_HANDLE_H
#define HALDEN_NIMBOLE_STORE_HANDLE_H

#include <maren/maren.h>

#include "nimbole/handle_refs.h"

namespace halden::nimbole {

class store_handle {
public:
    store_handle() = default;
    // Takes a reference of its own when `duplicate`, else adopts the
    // caller's.
    store_handle(HCERTSTORE store, bool duplicate, bool is_root);
    // A second reference to the same store. Throws CAException when the
    // source holds none.
    store_handle(const store_handle& other);
    store_handle& operator=(const store_handle&) = delete;

    // Opens the system store `name`; a store named exactly "Root" is a Root
    // store. Throws CAException when a store is held already. Returns
    // whether the platform gave a handle.
    bool open(const wchar_t* name, DWORD flags);
    // The same, in the local machine's or the current user's location.
    bool open(const wchar_t* name, bool local_machine, DWORD flags);

    HCERTSTORE handle() const { return store_.get(); }
    bool is_root() const { return is_root_; }

    // Root stores first, then by the handle's value.
    friend bool operator<(const store_handle& a, const store_handle& b);

private:
    StoreRef store_;
    bool is_root_ = false;
};

}  // namespace halden::nimbole

#endif
