// The URL object cache: certificates and CRLs fetched from URLs, kept so
// that a later retrieval of the same URL needs no network and no parsing.
//
// The objects live as contexts in one persistent system store, the current
// user's "maren-url-cache" (<home>/stores/user/maren-url-cache/), so the
// cache survives the process; each cached context carries property 0x8001:
// three FILETIMEs (sync, last retrieval, creation), 24 bytes, then the URL
// and a NUL. In memory a map goes from URL to entry, one map per object
// kind, bounded by \config\Nimbole\cache_settings\max_elements (default
// 100; a negative value reads as 100; 0 turns the cache off) with
// least-recently-used eviction. Within a process a cached object stays
// decoded: a hit hands out the store's own context, duplicated.
//
// Where maren differs from a plain one-object-per-URL cache, and why:
//   - an entry holds every object of one response (a .p7c bundle, a PEM
//     file): a cache-only retrieval must give back what the wire gave;
//   - the store is named "maren-url-cache", not "cache", so that a client
//     library's own URL cache over a "cache" store never evicts from under
//     the retrieval layer;
//   - an entry's property is written when the entry is made; a hit only
//     moves the entry's time in memory, written with the next save, so a
//     warm cache-only retrieval costs no file write;
//   - a miss looks at the store again (at most once a second), so entries
//     that another process added are found without reopening.
//
// Thread-safe: one process-wide lock, sharedObjectsLock, guards every map
// and entry and every store write.
#ifndef MAREN_PLATFORM_RETRIEVAL_URL_CACHE_H
#define MAREN_PLATFORM_RETRIEVAL_URL_CACHE_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "platform/retrieval/context_func.h"

namespace maren::retrieval {

constexpr DWORD kUrlCachePropId = 0x8001;
constexpr char kUrlCacheStoreName[] = "maren-url-cache";

// Status codes of the cache's methods.
constexpr int kCacheNotWritable = 5;
constexpr int kCacheNoStore = static_cast<int>(0x80090304);
constexpr int kCacheObjectNotInForce = static_cast<int>(0x80090317);
constexpr int kCacheNoMemory = static_cast<int>(0x80090300);
constexpr int kCacheFailed = static_cast<int>(0x80090020);

struct CachedUrlObject {
    // The entry's times differ from what the store holds.
    bool modified = false;
    // The time the caller gave when the object was cached.
    FILETIME sync_time{};
    // Set on creation and on each lookup; decides eviction.
    FILETIME last_retrieve_time{};
    FILETIME create_time{};
    // The objects in the cache's store; the entry owns these references.
    std::vector<ContextRef> contexts;
};

// What FindItem answers: the times and the objects, duplicated for the
// caller. No objects: nothing found.
struct FoundItem {
    FILETIME sync_time{};
    FILETIME last_retrieve_time{};
    FILETIME create_time{};
    std::vector<ContextRef> contexts;

    bool found() const { return !contexts.empty(); }
};

// URLs differing only in ASCII letter case are one key.
struct UrlLess {
    bool operator()(const std::string &a, const std::string &b) const;
};

class UrlCache {
  public:
    UrlCache(const char *oid, bool writable, bool lock_held);
    ~UrlCache();
    UrlCache(const UrlCache &) = delete;
    UrlCache &operator=(const UrlCache &) = delete;

    // 0, or: 5 read-only, 0x80090317 not in force now, 0x80090304 no
    // store, or the error of a failed store change.
    int CacheItem(const std::string &url, const FILETIME &time, const void *context, const char *oid);
    int CacheItemWithLock(const std::string &url, const FILETIME &time, const void *context, const char *oid);
    // All objects of one response as one entry; the objects not in force
    // are left out, and when none is left the result is 0x80090317.
    int CacheItems(const std::string &url, const FILETIME &time, const std::vector<const void *> &contexts,
                   const char *oid);
    // The objects of `source_store` of this cache's kind, as one entry.
    bool CacheStore(const std::string &url, const FILETIME &time, HCERTSTORE source_store, const char *oid);
    FoundItem FindItem(const std::string &url);

    void SaveCacheToStore();
    static bool ResyncSingletonCacheStore();
    // max_elements from the registry: 100 when unreadable or negative.
    static unsigned int GetCacheSizeFromConfig();

    bool in_service() const { return store_ != nullptr; }

  private:
    using Map = std::map<std::string, std::unique_ptr<CachedUrlObject>, UrlLess>;
    struct Extracted {
        std::string url;
        FILETIME sync_time;
        FILETIME last_retrieve_time;
        FILETIME create_time;
    };

    void InitURLCacheMap();
    std::optional<Extracted> ExtractFromCachedContext(const void *context) const;
    int CacheItemNoTimeCheck(const std::string &url, const FILETIME &time, const std::vector<const void *> &contexts);
    Map::iterator FindInMap(const std::string &url);
    int ReplaceItem(Map::iterator it, const FILETIME &time, const std::vector<const void *> &contexts);
    int RemoveLeastRecentUsedItem();
    int InsertNewItem(const std::string &url, const FILETIME &time, const std::vector<const void *> &contexts);
    std::unique_ptr<CachedUrlObject> AddItemToStore(const std::vector<const void *> &contexts, const FILETIME &time);
    void UpdateLastRetrieveTime(CachedUrlObject &entry);
    bool WriteEntryProperty(const std::string &url, const CachedUrlObject &entry) const;
    // Takes each context out of the store; false (error in *error) when one
    // stays. The entry keeps its references either way.
    bool DeleteFromStore(const CachedUrlObject &entry, int *error) const;
    // The entry of `url` that another process put in the store, if any.
    Map::iterator AdoptFromStore(const std::string &url);

    Map map_;
    HCERTSTORE store_ = nullptr;
    unsigned int max_elements_;
    std::unique_ptr<ContextFunc> context_func_;
    bool modified_ = false;
    bool writable_;
    std::uint64_t last_adopt_ms_ = 0;
};

// One shared cache per object kind for the whole process: certificates for
// oid 0, 1 and 4, CRLs for 2 and 6. The caches are never deleted.
class UrlCacheSingleton {
  public:
    explicit UrlCacheSingleton(const char *oid);
    // Null when the kind has no cache or there is no store.
    UrlCache *get() const { return cache_; }

  private:
    UrlCache *cache_ = nullptr;
};

}  // namespace maren::retrieval

#endif
