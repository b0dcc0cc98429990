#include "nimbole/strict_pkup.h"

#include <cstdint>

#include <maren/host.h>

namespace halden::nimbole {
namespace {

constexpr int kUnread = 0;
constexpr int kOff = 1;
constexpr int kOn = 2;

}  // namespace

int StrictPkupCheckState() {
    // No lock: threads that race here read the same registry value and
    // store the same result.
    const int state = __atomic_load_n(&_strictPkupCheck, __ATOMIC_RELAXED);
    if (state != kUnread) {
        return state;
    }
    long value = 0;
    const bool on = host_registry_get_long("\\config\\MarenCheck\\StrictPkupCheck", &value) == 0 &&
                    static_cast<std::uint32_t>(value) != 0;
    const int fresh = on ? kOn : kOff;
    __atomic_store_n(&_strictPkupCheck, fresh, __ATOMIC_RELAXED);
    return fresh;
}

}  // namespace halden::nimbole
