#include "platform/ocsp/ocsp_config.h"

#include <maren/host.h>

#include "base/date_time.h"
#include "base/exceptions.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

long registry_long(const char* path, long fallback, bool zero_allowed) {
    long value = 0;
    if (host_registry_get_long(path, &value) != 0) return fallback;
    if (value < 0 || (value == 0 && !zero_allowed)) return fallback;
    return value;
}

}  // namespace

std::uint32_t timeout_ms() {
    const long value = registry_long("\\config\\OCSP\\Timeout", kDefaultTimeoutMs, false);
    return value > 0x7fffffffL ? 0x7fffffffu : static_cast<std::uint32_t>(value);
}

std::size_t max_response_bytes() {
    return static_cast<std::size_t>(registry_long("\\config\\OCSP\\MaxResponseBytes", kDefaultMaxResponseBytes, false));
}

std::size_t cache_size() {
    return static_cast<std::size_t>(registry_long("\\config\\OCSP\\CacheSize", kDefaultCacheSize, true));
}

std::uint64_t ticks_of(const FILETIME& time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

std::uint64_t ticks_of(const Tarsis::CDateTime& date) { return date.getQuadPart(); }

std::uint64_t now_ticks() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return ticks_of(now);
}

void fail(HRESULT code, const char* function, int line, const char* reason, unsigned level) {
    HOST_PRINT_HANDLE handle = ::maren::detail::maren_trace_handle();
    if (handle != nullptr && host_print_is(handle, level)) {
        if (level == ::maren::detail::kTraceError)
            host_elprint_print_(handle, "OCSP: %s (0x%08x)", "", line, function, reason, static_cast<unsigned>(code));
        else
            host_dprint_print_(handle, "OCSP: %s (0x%08x)", "", line, function, reason, static_cast<unsigned>(code));
    }
    throw CryptException(static_cast<unsigned>(code), __FILE__, line);
}

}  // namespace Tarsis::PKI::OCSP::detail
