// Opening, closing, duplicating and controlling stores, and building
// collections.
#include <cstring>
#include <string>
#include <vector>

#include "base/ascii.h"
#include "platform/store/c_boundary.h"
#include "platform/store/collection_store.h"
#include "platform/store/memory_store.h"
#include "platform/store/store_handles.h"
#include "platform/store/store_registry.h"

using namespace maren::store;

namespace {

enum class Provider { memory, collection, system_wide, system_narrow, unknown };

// Providers come as small numbers in the pointer or as names.
Provider provider_of(LPCSTR provider) {
    const auto number = reinterpret_cast<std::uintptr_t>(provider);
    if (number <= 0xFFFF) {
        if (provider == CERT_STORE_PROV_MEMORY) return Provider::memory;
        if (provider == CERT_STORE_PROV_COLLECTION) return Provider::collection;
        if (provider == CERT_STORE_PROV_SYSTEM_W || provider == CERT_STORE_PROV_SYSTEM_REGISTRY_W)
            return Provider::system_wide;
        if (provider == CERT_STORE_PROV_SYSTEM_A || provider == CERT_STORE_PROV_SYSTEM_REGISTRY_A)
            return Provider::system_narrow;
        return Provider::unknown;
    }
    using halden::ascii_equal_folded;
    if (ascii_equal_folded(provider, sz_CERT_STORE_PROV_MEMORY)) return Provider::memory;
    if (ascii_equal_folded(provider, sz_CERT_STORE_PROV_COLLECTION)) return Provider::collection;
    if (ascii_equal_folded(provider, sz_CERT_STORE_PROV_SYSTEM_W) ||
        ascii_equal_folded(provider, sz_CERT_STORE_PROV_SYSTEM_REGISTRY_W))
        return Provider::system_wide;
    return Provider::unknown;
}

// A store name becomes a folder name: nothing that leaves the folder.
bool usable_store_name(const std::string &name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

bool store_name(Provider provider, const void *para, std::string *name) {
    if (para == nullptr) return false;
    if (provider == Provider::system_narrow) {
        *name = static_cast<const char *>(para);
    } else {
        const auto *wide = static_cast<LPCWSTR>(para);
        const int size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
        if (size <= 0) return false;
        std::vector<char> text(static_cast<size_t>(size));
        if (WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), size, nullptr, nullptr) != size) return false;
        name->assign(text.data());
    }
    return usable_store_name(*name);
}

bool location_of(DWORD flags, registry::Location *location) {
    switch ((flags & CERT_SYSTEM_STORE_LOCATION_MASK) >> CERT_SYSTEM_STORE_LOCATION_SHIFT) {
    case 0:
    case CERT_SYSTEM_STORE_CURRENT_USER_ID:
    case CERT_SYSTEM_STORE_CURRENT_USER_GROUP_POLICY_ID:
        *location = registry::Location::current_user;
        return true;
    case CERT_SYSTEM_STORE_LOCAL_MACHINE_ID:
    case CERT_SYSTEM_STORE_LOCAL_MACHINE_GROUP_POLICY_ID:
    case CERT_SYSTEM_STORE_LOCAL_MACHINE_ENTERPRISE_ID:
    case CERT_SYSTEM_STORE_CURRENT_SERVICE_ID:
    case CERT_SYSTEM_STORE_SERVICES_ID:
        *location = registry::Location::local_machine;
        return true;
    default:
        return false;
    }
}

HCERTSTORE open_new(Store *store, DWORD flags) {
    handles::open_home(store->home_handle(), flags);
    return store->home_handle();
}

HCERTSTORE open_system(Provider provider, DWORD flags, const void *para) {
    std::string name;
    registry::Location location;
    if ((flags & CERT_SYSTEM_STORE_RELOCATE_FLAG) || !location_of(flags, &location) ||
        !store_name(provider, para, &name))
        return fail_with<HCERTSTORE>(E_INVALIDARG, nullptr);
    if (flags & CERT_STORE_DELETE_FLAG) {
        // Success is a null handle with a zero last error.
        if (registry::remove(location, name)) SetLastError(0);
        return nullptr;
    }
    registry::Opened opened;
    if (!registry::open(location, name, flags, &opened)) return nullptr;
    // The open that loaded the store gets its home value, which its
    // contexts show as hCertStore; later opens get values of their own.
    if (opened.loaded_now) return open_new(opened.store.get(), flags);
    return handles::open(opened.store.get(), flags);
}

}  // namespace

extern "C" {

HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider, DWORD, HCRYPTPROV_LEGACY, DWORD dwFlags, const void *pvPara) {
    return guarded<HCERTSTORE>(nullptr, [&]() -> HCERTSTORE {
        const Provider provider = provider_of(lpszStoreProvider);
        switch (provider) {
        case Provider::memory: return open_new(new MemoryStore, dwFlags);
        case Provider::collection: return open_new(new CollectionStore, dwFlags);
        case Provider::system_wide:
        case Provider::system_narrow: return open_system(provider, dwFlags, pvPara);
        case Provider::unknown: break;
        }
        return fail_with<HCERTSTORE>(static_cast<HRESULT>(ERROR_FILE_NOT_FOUND), nullptr);
    });
}

BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
    if (hCertStore == nullptr) return TRUE;
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        switch (handles::close(hCertStore)) {
        case handles::CloseResult::unknown: return fail(E_INVALIDARG);
        case handles::CloseResult::closed_pending:
            if (dwFlags & CERT_CLOSE_STORE_CHECK_FLAG) return fail(CRYPT_E_PENDING_CLOSE);
            return TRUE;
        case handles::CloseResult::closed: break;
        }
        return TRUE;
    });
}

HCERTSTORE CertDuplicateStore(HCERTSTORE hCertStore) {
    return guarded<HCERTSTORE>(nullptr, [&]() -> HCERTSTORE {
        if (!handles::duplicate(hCertStore)) return fail_with<HCERTSTORE>(E_INVALIDARG, nullptr);
        return hCertStore;
    });
}

BOOL CertControlStore(HCERTSTORE hCertStore, DWORD dwFlags, DWORD dwCtrlType, const void *pvCtrlPara) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        HandleInfo info;
        if (!handles::find(hCertStore, &info)) return fail(E_INVALIDARG);
        return info.store->control(dwCtrlType, dwFlags, pvCtrlPara) ? TRUE : FALSE;
    });
}

BOOL CertAddStoreToCollection(HCERTSTORE hCollectionStore, HCERTSTORE hSiblingStore, DWORD dwUpdateFlags,
                              DWORD dwPriority) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        HandleInfo collection, sibling;
        if (!handles::find(hCollectionStore, &collection) || !handles::find(hSiblingStore, &sibling) ||
            collection.store->type() != Store::Type::collection)
            return fail(E_INVALIDARG);
        return static_cast<CollectionStore *>(collection.store)->add_sibling(sibling.store, dwUpdateFlags, dwPriority);
    });
}

void CertRemoveStoreFromCollection(HCERTSTORE hCollectionStore, HCERTSTORE hSiblingStore) {
    guarded<int>(0, [&] {
        HandleInfo collection, sibling;
        if (handles::find(hCollectionStore, &collection) && handles::find(hSiblingStore, &sibling) &&
            collection.store->type() == Store::Type::collection)
            static_cast<CollectionStore *>(collection.store)->remove_sibling(sibling.store);
        return 0;
    });
}

}  // extern "C"
