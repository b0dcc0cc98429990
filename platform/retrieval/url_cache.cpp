#include "platform/retrieval/url_cache.h"

#include <chrono>
#include <cstring>
#include <mutex>
#include <new>

#include "base/ascii.h"
#include "platform/host/trace_internal.h"

namespace maren::retrieval {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr std::size_t kTimesSize = 3 * sizeof(FILETIME);
constexpr std::uint64_t kAdoptIntervalMs = 1000;

// Process-wide state: the store, the lock, the two shared caches.
std::once_flag once;
HCERTSTORE hCacheSingleton = nullptr;
UrlCache *pCertCache = nullptr;
UrlCache *pCrlCache = nullptr;

std::mutex &sharedObjectsLock() {
    static std::mutex *lock = new std::mutex;  // never destroyed: caches outlive static destructors
    return *lock;
}

void setCacheSingleton() {
    std::wstring name(kUrlCacheStoreName, kUrlCacheStoreName + std::strlen(kUrlCacheStoreName));
    hCacheSingleton =
        CertOpenStore(CERT_STORE_PROV_SYSTEM_REGISTRY_W, kEncoding, 0, CERT_SYSTEM_STORE_CURRENT_USER, name.c_str());
    if (hCacheSingleton == nullptr)
        MAREN_TRACE_ERROR("(): cannot open the URL cache store, error %x", static_cast<unsigned>(GetLastError()));
}

bool cache_store_ready() {
    std::call_once(once, setCacheSingleton);
    return hCacheSingleton != nullptr;
}

FILETIME now_filetime() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return now;
}

std::uint64_t monotonic_ms() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

bool same_time(const FILETIME &a, const FILETIME &b) { return CompareFileTime(&a, &b) == 0; }

int error_or_failed() {
    const DWORD error = GetLastError();
    return error != 0 ? static_cast<int>(error) : kCacheFailed;
}

}  // namespace

bool UrlLess::operator()(const std::string &a, const std::string &b) const {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned char x = static_cast<unsigned char>(halden::ascii_tolower(a[i]));
        const unsigned char y = static_cast<unsigned char>(halden::ascii_tolower(b[i]));
        if (x != y) return x < y;
    }
    return a.size() < b.size();
}

UrlCache::UrlCache(const char *oid, bool writable, bool lock_held)
    : max_elements_(GetCacheSizeFromConfig()),
      context_func_(ContextFuncFactory::CreateContextFunc(oid)),
      writable_(writable) {
    if (!context_func_ || max_elements_ == 0) return;
    if (!cache_store_ready()) {
        SetLastError(ERROR_INTERNAL_ERROR);
        return;
    }
    store_ = hCacheSingleton;
    try {
        if (lock_held) {
            InitURLCacheMap();
        } else {
            std::lock_guard<std::mutex> lock(sharedObjectsLock());
            InitURLCacheMap();
        }
        // The store was just read whole: a miss needn't look again at once.
        last_adopt_ms_ = monotonic_ms();
    } catch (const std::bad_alloc &) {
        MAREN_TRACE_ERROR("(): error creating cache %x", static_cast<unsigned>(kCacheNoMemory));
        map_.clear();
        store_ = nullptr;
        SetLastError(static_cast<DWORD>(kCacheNoMemory));
    }
}

UrlCache::~UrlCache() {
    SaveCacheToStore();
    std::lock_guard<std::mutex> lock(sharedObjectsLock());
    map_.clear();
}

unsigned int UrlCache::GetCacheSizeFromConfig() {
    long value = 0;
    if (host_registry_get_long("\\config\\Nimbole\\cache_settings\\max_elements", &value) != 0 || value < 0)
        return 100;
    return value > 0xFFFFFFFFL ? 0xFFFFFFFFu : static_cast<unsigned int>(value);
}

// Each context that carries our property joins the entry of its URL; a
// store that holds more URLs than the limit is trimmed, in its own order.
void UrlCache::InitURLCacheMap() {
    std::vector<ContextRef> to_drop;
    const void *context = nullptr;
    while ((context = context_func_->FindInStore(store_, kEncoding, 0, 0, nullptr, context)) != nullptr) {
        std::optional<Extracted> extracted = ExtractFromCachedContext(context);
        if (!extracted) continue;
        auto it = map_.find(extracted->url);
        if (it != map_.end()) {
            // Another object of the same response joins its entry; an older
            // response of the URL is left alone.
            if (same_time(it->second->sync_time, extracted->sync_time))
                it->second->contexts.emplace_back(context_func_.get(), context_func_->DuplicateContext(context));
            continue;
        }
        if (map_.size() >= max_elements_) {
            to_drop.emplace_back(context_func_.get(), context_func_->DuplicateContext(context));
            continue;
        }
        auto entry = std::make_unique<CachedUrlObject>();
        entry->sync_time = extracted->sync_time;
        entry->last_retrieve_time = extracted->last_retrieve_time;
        entry->create_time = extracted->create_time;
        entry->contexts.emplace_back(context_func_.get(), context_func_->DuplicateContext(context));
        map_.emplace(std::move(extracted->url), std::move(entry));
    }
    for (ContextRef &drop : to_drop)
        if (context_func_->DeleteContextFromStore(drop.release())) modified_ = true;
}

// Property 0x8001 counts only with its three times and a NUL-terminated
// URL inside it.
std::optional<UrlCache::Extracted> UrlCache::ExtractFromCachedContext(const void *context) const {
    unsigned int size = 0;
    if (!context_func_->GetContextProperty(context, kUrlCachePropId, nullptr, &size) || size < kTimesSize + 1)
        return std::nullopt;
    std::vector<unsigned char> value(size);
    if (!context_func_->GetContextProperty(context, kUrlCachePropId, value.data(), &size) || size < kTimesSize + 1)
        return std::nullopt;
    const void *nul = std::memchr(value.data() + kTimesSize, 0, size - kTimesSize);
    if (nul == nullptr) return std::nullopt;
    Extracted out;
    std::memcpy(&out.sync_time, value.data(), sizeof(FILETIME));
    std::memcpy(&out.last_retrieve_time, value.data() + sizeof(FILETIME), sizeof(FILETIME));
    std::memcpy(&out.create_time, value.data() + 2 * sizeof(FILETIME), sizeof(FILETIME));
    out.url.assign(reinterpret_cast<const char *>(value.data() + kTimesSize));
    if (out.url.empty()) return std::nullopt;
    return out;
}

bool UrlCache::WriteEntryProperty(const std::string &url, const CachedUrlObject &entry) const {
    std::vector<unsigned char> value(kTimesSize + url.size() + 1, 0);
    std::memcpy(value.data(), &entry.sync_time, sizeof(FILETIME));
    std::memcpy(value.data() + sizeof(FILETIME), &entry.last_retrieve_time, sizeof(FILETIME));
    std::memcpy(value.data() + 2 * sizeof(FILETIME), &entry.create_time, sizeof(FILETIME));
    std::memcpy(value.data() + kTimesSize, url.data(), url.size());
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(value.size()), value.data()};
    bool ok = true;
    for (const ContextRef &context : entry.contexts)
        ok = context_func_->SetContextProperty(context.get(), kUrlCachePropId, 0, &blob) && ok;
    return ok;
}

int UrlCache::CacheItem(const std::string &url, const FILETIME &time, const void *context, const char *oid) {
    try {
        std::lock_guard<std::mutex> lock(sharedObjectsLock());
        return CacheItemWithLock(url, time, context, oid);
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(kCacheNoMemory));
        return kCacheNoMemory;
    }
}

int UrlCache::CacheItemWithLock(const std::string &url, const FILETIME &time, const void *context, const char *oid) {
    if (store_ == nullptr) return kCacheNoStore;
    if (!writable_) return kCacheNotWritable;
    if (context == nullptr || !context_func_->IsTimeValid(context, oid)) return kCacheObjectNotInForce;
    const int result = CacheItemNoTimeCheck(url, time, {context});
    if (result != 0)
        MAREN_TRACE_ERROR("(): can't add certificate to cache store, error %x", static_cast<unsigned>(result));
    return result;
}

int UrlCache::CacheItems(const std::string &url, const FILETIME &time, const std::vector<const void *> &contexts,
                         const char *oid) {
    try {
        std::lock_guard<std::mutex> lock(sharedObjectsLock());
        if (store_ == nullptr) return kCacheNoStore;
        if (!writable_) return kCacheNotWritable;
        std::vector<const void *> in_force;
        for (const void *context : contexts)
            if (context != nullptr && context_func_->IsTimeValid(context, oid)) in_force.push_back(context);
        if (in_force.empty()) return kCacheObjectNotInForce;
        const int result = CacheItemNoTimeCheck(url, time, in_force);
        if (result != 0)
            MAREN_TRACE_ERROR("(): can't add certificate to cache store, error %x", static_cast<unsigned>(result));
        return result;
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(kCacheNoMemory));
        return kCacheNoMemory;
    }
}

bool UrlCache::CacheStore(const std::string &url, const FILETIME &time, HCERTSTORE source_store, const char *oid) {
    if (!context_func_ || source_store == nullptr) return false;
    try {
        std::vector<ContextRef> objects;
        const void *context = nullptr;
        while ((context = context_func_->FindInStore(source_store, kEncoding, 0, 0, nullptr, context)) != nullptr)
            objects.emplace_back(context_func_.get(), context_func_->DuplicateContext(context));
        std::vector<const void *> contexts;
        for (const ContextRef &object : objects) contexts.push_back(object.get());
        return !contexts.empty() && CacheItems(url, time, contexts, oid) == 0;
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(kCacheNoMemory));
        return false;
    }
}

int UrlCache::CacheItemNoTimeCheck(const std::string &url, const FILETIME &time,
                                   const std::vector<const void *> &contexts) {
    auto it = FindInMap(url);
    if (it != map_.end()) return ReplaceItem(it, time, contexts);
    // A failed eviction is traced and the insert goes on: the map may then
    // run over its limit rather than refuse the newer object.
    if (map_.size() >= max_elements_) RemoveLeastRecentUsedItem();
    return InsertNewItem(url, time, contexts);
}

UrlCache::Map::iterator UrlCache::FindInMap(const std::string &url) {
    auto it = map_.find(url);
    if (it != map_.end()) UpdateLastRetrieveTime(*it->second);
    return it;
}

void UrlCache::UpdateLastRetrieveTime(CachedUrlObject &entry) {
    entry.last_retrieve_time = now_filetime();
    entry.modified = true;
    modified_ = true;
}

std::unique_ptr<CachedUrlObject> UrlCache::AddItemToStore(const std::vector<const void *> &contexts,
                                                          const FILETIME &time) {
    modified_ = true;
    auto entry = std::make_unique<CachedUrlObject>();
    entry->contexts.reserve(contexts.size());
    for (const void *context : contexts) {
        const void *added = nullptr;
        if (context_func_->GetStoreHandle(context) == store_) {
            added = context_func_->DuplicateContext(context);
        } else if (!context_func_->AddContextToStore(store_, context, CERT_STORE_ADD_ALWAYS, &added)) {
            int ignored = 0;
            const DWORD error = GetLastError();
            DeleteFromStore(*entry, &ignored);
            SetLastError(error);
            return nullptr;
        }
        entry->contexts.emplace_back(context_func_.get(), added);
    }
    entry->sync_time = time;
    entry->create_time = now_filetime();
    entry->last_retrieve_time = entry->create_time;
    UpdateLastRetrieveTime(*entry);
    return entry;
}

bool UrlCache::DeleteFromStore(const CachedUrlObject &entry, int *error) const {
    bool all = true;
    for (const ContextRef &context : entry.contexts) {
        if (context_func_->DeleteContextFromStore(context_func_->DuplicateContext(context.get()))) continue;
        if (all) *error = error_or_failed();
        all = false;
    }
    return all;
}

int UrlCache::InsertNewItem(const std::string &url, const FILETIME &time, const std::vector<const void *> &contexts) {
    std::unique_ptr<CachedUrlObject> entry = AddItemToStore(contexts, time);
    if (!entry) return error_or_failed();
    // Written at once, so that another process finds the entry by its URL.
    if (WriteEntryProperty(url, *entry)) entry->modified = false;
    map_.emplace(url, std::move(entry));
    return 0;
}

int UrlCache::ReplaceItem(Map::iterator it, const FILETIME &time, const std::vector<const void *> &contexts) {
    std::unique_ptr<CachedUrlObject> fresh = AddItemToStore(contexts, time);
    if (!fresh) return error_or_failed();
    int error = 0;
    if (!DeleteFromStore(*it->second, &error)) {
        MAREN_TRACE_ERROR("(): can't remove certificate from cache store, error %x", static_cast<unsigned>(error));
        int ignored = 0;
        DeleteFromStore(*fresh, &ignored);
        return error;
    }
    if (WriteEntryProperty(it->first, *fresh)) fresh->modified = false;
    it->second = std::move(fresh);
    return 0;
}

int UrlCache::RemoveLeastRecentUsedItem() {
    modified_ = true;
    auto oldest = map_.end();
    for (auto it = map_.begin(); it != map_.end(); ++it)
        if (oldest == map_.end() ||
            CompareFileTime(&it->second->last_retrieve_time, &oldest->second->last_retrieve_time) < 0)
            oldest = it;
    if (oldest == map_.end()) return 0;
    int error = 0;
    if (!DeleteFromStore(*oldest->second, &error)) {
        MAREN_TRACE_ERROR("(): can't remove certificate from cache store, error %x", static_cast<unsigned>(error));
        return error;
    }
    MAREN_TRACE_DEBUG("URL cache: evicted %s", oldest->first.c_str());
    map_.erase(oldest);
    return 0;
}

UrlCache::Map::iterator UrlCache::AdoptFromStore(const std::string &url) {
    const std::uint64_t now = monotonic_ms();
    if (last_adopt_ms_ != 0 && now - last_adopt_ms_ < kAdoptIntervalMs) return map_.end();
    last_adopt_ms_ = now;
    std::unique_ptr<CachedUrlObject> entry;
    const void *context = nullptr;
    while ((context = context_func_->FindInStore(store_, kEncoding, 0, 0, nullptr, context)) != nullptr) {
        std::optional<Extracted> extracted = ExtractFromCachedContext(context);
        if (!extracted || !halden::ascii_equal_folded(extracted->url, url)) continue;
        // The newest response of the URL wins.
        if (entry && !same_time(entry->sync_time, extracted->sync_time)) {
            if (CompareFileTime(&extracted->sync_time, &entry->sync_time) < 0) continue;
            entry.reset();
        }
        if (!entry) {
            entry = std::make_unique<CachedUrlObject>();
            entry->sync_time = extracted->sync_time;
            entry->create_time = extracted->create_time;
        }
        entry->contexts.emplace_back(context_func_.get(), context_func_->DuplicateContext(context));
    }
    if (!entry) return map_.end();
    if (map_.size() >= max_elements_) RemoveLeastRecentUsedItem();
    UpdateLastRetrieveTime(*entry);
    return map_.emplace(url, std::move(entry)).first;
}

FoundItem UrlCache::FindItem(const std::string &url) {
    FoundItem found;
    try {
        std::lock_guard<std::mutex> lock(sharedObjectsLock());
        if (store_ == nullptr) return found;
        auto it = FindInMap(url);
        if (it == map_.end()) it = AdoptFromStore(url);
        if (it == map_.end()) return found;
        const CachedUrlObject &entry = *it->second;
        found.sync_time = entry.sync_time;
        found.last_retrieve_time = entry.last_retrieve_time;
        found.create_time = entry.create_time;
        found.contexts.reserve(entry.contexts.size());
        for (const ContextRef &context : entry.contexts)
            found.contexts.emplace_back(context_func_.get(), context_func_->DuplicateContext(context.get()));
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(kCacheNoMemory));
        found.contexts.clear();
    }
    return found;
}

void UrlCache::SaveCacheToStore() {
    try {
        std::lock_guard<std::mutex> lock(sharedObjectsLock());
        if (store_ == nullptr || !modified_) return;
        for (auto &[url, entry] : map_) {
            if (!entry->modified) continue;
            if (WriteEntryProperty(url, *entry)) entry->modified = false;
        }
        CertControlStore(store_, 0, CERT_STORE_CTRL_COMMIT, nullptr);
        modified_ = false;
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(kCacheNoMemory));
    }
}

bool UrlCache::ResyncSingletonCacheStore() {
    if (hCacheSingleton == nullptr) return true;
    return CertControlStore(hCacheSingleton, 0, CERT_STORE_CTRL_RESYNC, nullptr) != FALSE;
}

// The destructor of a singleton holder leaves the cache alone: saving here,
// as each retrieval ends, would write a file for every hit.
UrlCacheSingleton::UrlCacheSingleton(const char *oid) {
    if (!cache_store_ready()) {
        SetLastError(ERROR_INTERNAL_ERROR);
        MAREN_TRACE_ERROR("(): getCacheSingleton() error %x", static_cast<unsigned>(ERROR_INTERNAL_ERROR));
        return;
    }
    UrlCache **slot = nullptr;
    const char *kind = nullptr;
    switch (reinterpret_cast<std::uintptr_t>(oid)) {
        case 0:
        case 1:
        case 4:
            slot = &pCertCache;
            kind = CONTEXT_OID_CERTIFICATE;
            break;
        case 2:
        case 6:
            slot = &pCrlCache;
            kind = CONTEXT_OID_CRL;
            break;
        default:
            return;
    }
    std::lock_guard<std::mutex> lock(sharedObjectsLock());
    if (*slot == nullptr) *slot = new (std::nothrow) UrlCache(kind, true, true);
    cache_ = *slot;
}

}  // namespace maren::retrieval
