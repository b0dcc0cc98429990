#include "platform/chain/chain_engine.h"

#include <cstddef>
#include <cstdint>
#include <new>

#include <maren/errors.h>
#include <maren/host.h>

#include "platform/chain/cert_facts.h"
#include "platform/crypto/digest.h"

namespace maren::chain {
namespace {

/* Tells an engine made here from a stray pointer. */
constexpr uint32_t kEngineMagic = 0x454E4731;  // "ENG1"

struct ChainEngine {
    uint32_t magic = kEngineMagic;
    bool machine_only = false;
    std::vector<StoreHandle> additional;
    /* Set: these replace the system's Root stores. */
    std::vector<StoreHandle> roots;
    /* Set: this replaces the system's CA stores. */
    StoreHandle others;
};

StoreHandle open_system_store(DWORD location, const wchar_t *name) {
    /* Read-only and open-existing: the builder never creates or writes a
     * store, and the store layer shares one copy per process, so an open
     * per request is cheap and sees what other handles wrote. */
    return StoreHandle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                     location | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG, name));
}

void add_system_stores(bool machine_only, const wchar_t *name, std::vector<StoreHandle> *out) {
    /* The current user's view includes the machine's stores, as it does on
     * the published platform; the machine's view is the machine's only. */
    if (!machine_only)
        if (StoreHandle store = open_system_store(CERT_SYSTEM_STORE_CURRENT_USER, name)) out->push_back(std::move(store));
    if (StoreHandle store = open_system_store(CERT_SYSTEM_STORE_LOCAL_MACHINE, name)) out->push_back(std::move(store));
}

void add_shared(HCERTSTORE store, std::vector<StoreHandle> *out) {
    if (store != nullptr) out->push_back(share_store(store));
}

const ChainEngine *engine_of(HCERTCHAINENGINE handle) {
    static const ChainEngine current_user{};
    static const ChainEngine local_machine{kEngineMagic, true, {}, {}, {}};
    if (handle == HCCE_CURRENT_USER) return &current_user;
    if (handle == HCCE_LOCAL_MACHINE) return &local_machine;
    const auto *engine = static_cast<const ChainEngine *>(handle);
    return engine->magic == kEngineMagic ? engine : nullptr;
}

}  // namespace

bool SearchStores::is_trusted_root(const CERT_CONTEXT *cert) const {
    const crypto::Sha1 hash = crypto::sha1(cert->pbCertEncoded, cert->cbCertEncoded);
    CRYPT_HASH_BLOB blob{static_cast<DWORD>(hash.size()), const_cast<BYTE *>(hash.data())};
    for (const StoreHandle &store : roots) {
        const CertHandle found(
            CertFindCertificateInStore(store.get(), kEncoding, 0, CERT_FIND_SHA1_HASH, &blob, nullptr));
        if (found && same_certificate(found.get(), cert)) return true;
    }
    return false;
}

bool collect_search_stores(HCERTCHAINENGINE handle, HCERTSTORE additional, const CERT_CONTEXT *cert,
                           SearchStores *stores) {
    const ChainEngine *engine = engine_of(handle);
    if (engine == nullptr) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return false;
    }
    add_shared(additional, &stores->issuers);
    if (cert->hCertStore != additional) add_shared(cert->hCertStore, &stores->issuers);
    for (const StoreHandle &store : engine->additional) add_shared(store.get(), &stores->issuers);

    if (engine->others) add_shared(engine->others.get(), &stores->issuers);
    else add_system_stores(engine->machine_only, L"CA", &stores->issuers);

    if (!engine->roots.empty())
        for (const StoreHandle &store : engine->roots) add_shared(store.get(), &stores->roots);
    else add_system_stores(engine->machine_only, L"Root", &stores->roots);
    return true;
}

}  // namespace maren::chain

using maren::chain::ChainEngine;

extern "C" {

BOOL CertCreateCertificateChainEngine(PCERT_CHAIN_ENGINE_CONFIG pConfig, HCERTCHAINENGINE *phChainEngine) {
    /* The fields up to dwFlags are the oldest published head; the tail is
     * read only as far as cbSize reaches. */
    constexpr DWORD kHeadSize = offsetof(CERT_CHAIN_ENGINE_CONFIG, dwFlags) + sizeof(DWORD);
    if (pConfig == nullptr || phChainEngine == nullptr || pConfig->cbSize < kHeadSize ||
        (pConfig->cAdditionalStore != 0 && pConfig->rghAdditionalStore == nullptr)) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return FALSE;
    }
    auto covers = [&](size_t offset, size_t size) { return pConfig->cbSize >= offset + size; };
    try {
        auto engine = std::make_unique<ChainEngine>();
        engine->machine_only = (pConfig->dwFlags & CERT_CHAIN_USE_LOCAL_MACHINE_STORE) != 0;
        for (DWORD i = 0; i < pConfig->cAdditionalStore; ++i)
            maren::chain::add_shared(pConfig->rghAdditionalStore[i], &engine->additional);
        HCERTSTORE exclusive_root =
            covers(offsetof(CERT_CHAIN_ENGINE_CONFIG, hExclusiveRoot), sizeof(HCERTSTORE)) ? pConfig->hExclusiveRoot
                                                                                          : nullptr;
        maren::chain::add_shared(exclusive_root != nullptr ? exclusive_root : pConfig->hRestrictedRoot,
                                 &engine->roots);
        engine->others = maren::chain::share_store(pConfig->hRestrictedOther);
        *phChainEngine = engine.release();
        return TRUE;
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(E_OUTOFMEMORY));
        return FALSE;
    }
}

void CertFreeCertificateChainEngine(HCERTCHAINENGINE hChainEngine) {
    if (hChainEngine == HCCE_CURRENT_USER || hChainEngine == HCCE_LOCAL_MACHINE) return;
    auto *engine = static_cast<ChainEngine *>(hChainEngine);
    if (engine->magic != maren::chain::kEngineMagic) return;
    engine->magic = 0;
    delete engine;
}

}  // extern "C"
