#include "nimbole/store_handle.h"

#include <cwchar>
#include <functional>

#include "base/exceptions.h"

namespace halden::nimbole {

store_handle::store_handle(HCERTSTORE store, bool duplicate, bool is_root)
    : store_(duplicate && store != nullptr ? CertDuplicateStore(store) : store), is_root_(is_root) {}

store_handle::store_handle(const store_handle& other) : is_root_(other.is_root_) {
    if (!other.store_) throw CAException("Store handle is NULL.", __FILE__, __LINE__);
    store_ = StoreRef(CertDuplicateStore(other.store_.get()));
}

bool store_handle::open(const wchar_t* name, DWORD flags) {
    if (store_) throw CAException("Store already opened.", __FILE__, __LINE__);
    is_root_ = name != nullptr && std::wcscmp(name, L"Root") == 0;
    store_ = StoreRef(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name));
    return static_cast<bool>(store_);
}

bool store_handle::open(const wchar_t* name, bool local_machine, DWORD flags) {
    return open(name, flags | (local_machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER));
}

bool operator<(const store_handle& a, const store_handle& b) {
    if (a.is_root_ != b.is_root_) return a.is_root_;
    return std::less<HCERTSTORE>()(a.store_.get(), b.store_.get());
}

}  // namespace halden::nimbole
