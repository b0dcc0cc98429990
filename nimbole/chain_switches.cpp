#include "nimbole/chain_switches.h"

#include <pthread.h>

namespace halden::nimbole {
namespace {

// ERROR_DLL_INIT_FAILED: what a caller sees when the once-call failed or
// the store could not be opened.
constexpr DWORD kUnavailable = 1114;

// One configuration long as a switch: on when it reads and is non-zero.
bool read_switch(const char* path) {
    long value = 0;
    return host_registry_get_long(path, &value) == 0 && value != 0;
}

// Written inside their once-control only; the control is the barrier for
// the readers.
bool bLegacyRevokedCertHandling = false;
bool bMSMatchingEnforced = false;
bool bLegacyEngine = false;
HCERTSTORE hUserRootStore = nullptr;
HCERTSTORE hUserCAStore = nullptr;

pthread_once_t onceLegacyRevokedCertHandling = PTHREAD_ONCE_INIT;
pthread_once_t onceMSMatchingEnforced = PTHREAD_ONCE_INIT;
pthread_once_t onceLegacyEngine = PTHREAD_ONCE_INIT;
pthread_once_t onceUserRootStore = PTHREAD_ONCE_INIT;
pthread_once_t onceUserCAStore = PTHREAD_ONCE_INIT;

void SetLegacyRevokedCertHandling() {
    bLegacyRevokedCertHandling = read_switch("\\config\\Parameters\\LegacyRevokedCertHandling");
}

void SetMSMatchingEnforced() { bMSMatchingEnforced = read_switch("\\config\\Parameters\\ForceMicrosoftCRLMatching"); }

void SetLegacyEngine() { bLegacyEngine = read_switch("\\config\\Nimbole\\legacy_user_chain_engine"); }

// The handle is kept only when automatic resynchronisation works, so that a
// store held for the whole process still sees what is added to it later.
HCERTSTORE open_user_store(const wchar_t* name) {
    constexpr DWORD kFlags = CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG;
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, kFlags, name);
    if (store != nullptr && !CertControlStore(store, 0, CERT_STORE_CTRL_AUTO_RESYNC, nullptr)) {
        CertCloseStore(store, 0);
        store = nullptr;
    }
    return store;
}

void OpenUserRootStore() { hUserRootStore = open_user_store(L"Root"); }

void OpenUserCAStore() { hUserCAStore = open_user_store(L"CA"); }

HCERTSTORE once_store(pthread_once_t& once, void (*opener)(), const HCERTSTORE& store) {
    if (pthread_once(&once, opener) != 0 || store == nullptr) SetLastError(kUnavailable);
    return store;
}

}  // namespace

bool IsLegacyRevokedCertHandling() {
    pthread_once(&onceLegacyRevokedCertHandling, SetLegacyRevokedCertHandling);
    return bLegacyRevokedCertHandling;
}

bool IsMSMatchingEnforced() {
    pthread_once(&onceMSMatchingEnforced, SetMSMatchingEnforced);
    return bMSMatchingEnforced;
}

bool IsLegacyUserChainEngine() {
    pthread_once(&onceLegacyEngine, SetLegacyEngine);
    return bLegacyEngine;
}

HCERTSTORE GetUserRootStore() { return once_store(onceUserRootStore, OpenUserRootStore, hUserRootStore); }

HCERTSTORE GetUserCAStore() { return once_store(onceUserCAStore, OpenUserCAStore, hUserCAStore); }

}  // namespace halden::nimbole
