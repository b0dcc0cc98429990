/* Wall-clock time and differences of timevals. */
#include <sys/time.h>

#include <cstdint>

#include <maren/host.h>

extern "C" {

int host_gettimeofday(struct timeval *tv) {
    if (tv == nullptr) return -1;
    return gettimeofday(tv, nullptr);
}

void host_time_sub(const struct timeval *a, const struct timeval *b, struct timeval *result) {
    if (a == nullptr || b == nullptr || result == nullptr) return;
    /* Unsigned arithmetic: extreme operands wrap instead of overflowing. */
    int64_t seconds = static_cast<int64_t>(static_cast<uint64_t>(a->tv_sec) - static_cast<uint64_t>(b->tv_sec));
    int64_t micros = static_cast<int64_t>(a->tv_usec) - static_cast<int64_t>(b->tv_usec);
    /* Floor division, so that the microseconds land in [0, 1000000) even
     * when the inputs were not normalised themselves. */
    int64_t carry = micros / 1000000;
    micros %= 1000000;
    if (micros < 0) {
        micros += 1000000;
        --carry;
    }
    seconds = static_cast<int64_t>(static_cast<uint64_t>(seconds) + static_cast<uint64_t>(carry));
    result->tv_sec = static_cast<time_t>(seconds);
    result->tv_usec = static_cast<suseconds_t>(micros);
}

}  // extern "C"
