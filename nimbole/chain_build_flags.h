// The flag word of the path engine. The bits are the platform's
// CERT_CHAIN_... flags; the engine looks at these and at no others.
#ifndef HALDEN_NIMBOLE_CHAIN_BUILD_FLAGS_H
#define HALDEN_NIMBOLE_CHAIN_BUILD_FLAGS_H

#include <cstdint>

#include <maren/maren.h>

namespace halden::nimbole {

struct CertChainBuildFlags {
    // Retrievals of issuers add the cache-only flag; with no revocation bit
    // set, no wire pass is made.
    static constexpr std::uint32_t CACHE_ONLY_URL_RETRIEVAL = CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL;
    // The issuer's signature and time nesting are checked when the path is
    // validated instead of during the search.
    static constexpr std::uint32_t DISABLE_PASS1_QUALITY_FILTERING = CERT_CHAIN_DISABLE_PASS1_QUALITY_FILTERING;
    // The timeout is one budget for all retrievals of a verification.
    static constexpr std::uint32_t REVOCATION_ACCUMULATIVE_TIMEOUT = CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT;
    static constexpr std::uint32_t REVOCATION_CHECK_END_CERT = CERT_CHAIN_REVOCATION_CHECK_END_CERT;
    // The engine's default.
    static constexpr std::uint32_t REVOCATION_CHECK_CHAIN = CERT_CHAIN_REVOCATION_CHECK_CHAIN;
    static constexpr std::uint32_t REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT =
        CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
    static constexpr std::uint32_t REVOCATION_CHECK_MASK =
        REVOCATION_CHECK_END_CERT | REVOCATION_CHECK_CHAIN | REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
    // With any revocation bit set: no wire pass for issuers, and CRL
    // fetching stays in the cache.
    static constexpr std::uint32_t REVOCATION_CHECK_CACHE_ONLY = CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY;
};

static_assert(CertChainBuildFlags::REVOCATION_CHECK_MASK == 0x70000000u, "the three revocation scopes");

}  // namespace halden::nimbole

#endif
