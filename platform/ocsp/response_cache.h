// The process-wide cache of OCSP responses, so that repeated checks of one
// certificate don't touch the network.
//
// Keyed by the CertID (hash algorithm, issuer name hash, issuer key hash,
// serial). An entry is fresh until the nextUpdate of its single response; a
// response without nextUpdate says newer information is always available
// and is never cached. An entry fetched before the caller's resync time is
// a miss. Bounded: beyond the capacity the least recently used entry goes.
// Only successful responses whose signer checked out enter it (the client
// decides that); a hit is the parsed response, shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/ocsp/cert_id.h"
#include "platform/ocsp/parsed_response.h"

namespace Tarsis::PKI::OCSP::detail {

class ResponseCache {
public:
    static ResponseCache& instance();

    // A fresh entry for id fetched at or after resync (FILETIME ticks).
    std::shared_ptr<const ParsedResponse> find(const CertIdState& id, std::uint64_t now,
                                               std::optional<std::uint64_t> resync);
    // Keeps response for id until fresh_until, replacing an older entry,
    // within capacity entries (0: nothing is kept).
    void store(const CertIdState& id, std::shared_ptr<const ParsedResponse> response, std::uint64_t fetched_at,
               std::uint64_t fresh_until, std::size_t capacity);

    std::size_t size() const;
    void clear();

private:
    struct Entry {
        std::shared_ptr<const ParsedResponse> response;
        std::uint64_t fetched_at;
        std::uint64_t fresh_until;
        // Position in recency_.
        std::list<std::string>::iterator recency;
    };

    mutable std::mutex lock_;
    std::unordered_map<std::string, Entry> entries_;
    // Most recently used first.
    std::list<std::string> recency_;
};

}  // namespace Tarsis::PKI::OCSP::detail
