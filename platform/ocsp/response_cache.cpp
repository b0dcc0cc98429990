#include "platform/ocsp/response_cache.h"

namespace Tarsis::PKI::OCSP::detail {

ResponseCache& ResponseCache::instance() {
    // Never destroyed: a check on another thread may still run while the
    // process exits.
    static ResponseCache* const cache = new ResponseCache();
    return *cache;
}

std::shared_ptr<const ParsedResponse> ResponseCache::find(const CertIdState& id, std::uint64_t now,
                                                          std::optional<std::uint64_t> resync) {
    const std::string key = id.key();
    std::lock_guard<std::mutex> guard(lock_);
    const auto found = entries_.find(key);
    if (found == entries_.end()) return nullptr;
    Entry& entry = found->second;
    if (now >= entry.fresh_until) {
        recency_.erase(entry.recency);
        entries_.erase(found);
        return nullptr;
    }
    if (resync && entry.fetched_at < *resync) return nullptr;
    recency_.splice(recency_.begin(), recency_, entry.recency);
    return entry.response;
}

void ResponseCache::store(const CertIdState& id, std::shared_ptr<const ParsedResponse> response,
                          std::uint64_t fetched_at, std::uint64_t fresh_until, std::size_t capacity) {
    std::string key = id.key();
    std::lock_guard<std::mutex> guard(lock_);
    const auto found = entries_.find(key);
    if (found != entries_.end()) {
        recency_.erase(found->second.recency);
        entries_.erase(found);
    }
    while (!recency_.empty() && entries_.size() >= capacity) {
        entries_.erase(recency_.back());
        recency_.pop_back();
    }
    if (capacity == 0) return;
    recency_.push_front(key);
    entries_.emplace(std::move(key), Entry{std::move(response), fetched_at, fresh_until, recency_.begin()});
}

std::size_t ResponseCache::size() const {
    std::lock_guard<std::mutex> guard(lock_);
    return entries_.size();
}

void ResponseCache::clear() {
    std::lock_guard<std::mutex> guard(lock_);
    entries_.clear();
    recency_.clear();
}

}  // namespace Tarsis::PKI::OCSP::detail
