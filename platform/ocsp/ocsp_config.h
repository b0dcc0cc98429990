// The OCSP client's settings, its clock and how it reports a failure.
//
// Registry values (read at each exchange, so a change applies at once):
//   \config\OCSP\Timeout            whole exchange in ms, default 10000
//   \config\OCSP\MaxResponseBytes   largest response taken, default 65536
//   \config\OCSP\CacheSize          response cache entries, default 10000;
//                                   0 turns the cache off
// A missing value or one <= 0 (below 0 for CacheSize) reads as the default.
#pragma once

#include <cstddef>
#include <cstdint>

#include <maren/types.h>

#include "platform/host/trace_internal.h"

namespace Tarsis {
class CDateTime;
}

namespace Tarsis::PKI::OCSP::detail {

constexpr std::uint32_t kDefaultTimeoutMs = 10000;
constexpr std::size_t kDefaultMaxResponseBytes = 64 * 1024;
constexpr std::size_t kDefaultCacheSize = 10000;
// How far the responder's clock may run ahead of ours, in FILETIME ticks
// (five minutes).
constexpr std::uint64_t kClockSkewTicks = 5ull * 60 * 10000000;

std::uint32_t timeout_ms();
std::size_t max_response_bytes();
std::size_t cache_size();

// FILETIME ticks now, and of a date.
std::uint64_t now_ticks();
std::uint64_t ticks_of(const Tarsis::CDateTime& date);
std::uint64_t ticks_of(const FILETIME& time);

// Traces the reason at the given level and throws CryptException(code).
[[noreturn]] void fail(HRESULT code, const char* function, int line, const char* reason, unsigned level);
#define OCSP_FAIL(code, reason) \
    ::Tarsis::PKI::OCSP::detail::fail((code), __func__, __LINE__, (reason), ::maren::detail::kTraceError)
// For what is an everyday outcome rather than a fault (a certificate that
// names no responder).
#define OCSP_FAIL_INFO(code, reason) \
    ::Tarsis::PKI::OCSP::detail::fail((code), __func__, __LINE__, (reason), ::maren::detail::kTraceInfo)

}  // namespace Tarsis::PKI::OCSP::detail
