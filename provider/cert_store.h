// ATL2::CCertStore: a store handle shared by reference, with the stores
// added to it as a collection kept alive beside it.
#ifndef HALDEN_PROVIDER_CERT_STORE_H
#define HALDEN_PROVIDER_CERT_STORE_H

#include <list>
#include <memory>

#include <maren/store.h>

namespace ATL2 {

// Closes the handle in a cell, then frees the cell. With `check` the close
// reports contexts still referenced; nobody here wants that, since a store
// may outlive its holder when someone else holds a reference to it.
struct CCertStoreDeleter {
    bool check = false;
    void operator()(HCERTSTORE* cell) const;
};

// The same for a duplicated store of the caller.
struct CCertStoreNonCheckingDeleter {
    bool check = false;
    void operator()(HCERTSTORE* cell) const;
};

class CCertStore {
public:
    // An empty store object: a fresh cell that holds null, no children.
    CCertStore();
    // Takes over `handle`; it is closed by the deleter when the last copy
    // goes. A failed allocation closes the handle and throws.
    CCertStore(HCERTSTORE handle, CCertStoreDeleter deleter);
    CCertStore(HCERTSTORE handle, CCertStoreNonCheckingDeleter deleter);

    // Copies share the handle cell; the child list is copied, each child
    // shared the same way.
    CCertStore(const CCertStore&) = default;
    CCertStore& operator=(const CCertStore&) = default;
    CCertStore(CCertStore&&) noexcept = default;
    CCertStore& operator=(CCertStore&&) noexcept = default;
    ~CCertStore() = default;

    HCERTSTORE get() const { return *cell_; }

    // Stores added to this collection, kept so that their handles live as
    // long as it does.
    std::list<CCertStore>& children() { return children_; }
    const std::list<CCertStore>& children() const { return children_; }

private:
    std::shared_ptr<HCERTSTORE> cell_;
    std::list<CCertStore> children_;
};

}  // namespace ATL2

#endif
