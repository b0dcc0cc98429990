// The time budget of URL retrievals.
#include "nimbole/chain_builder.h"

namespace halden::nimbole {

std::uint64_t CertChainBuilder::get_current_timeout() const {
    if ((flags & CertChainBuildFlags::REVOCATION_ACCUMULATIVE_TIMEOUT) == 0) return timeout;
    // Half of what is left, so that one unreachable URL can't eat the whole
    // budget and later URLs still get something.
    return elapsed_ms >= timeout ? 0 : (timeout - elapsed_ms) >> 1;
}

void CertChainBuilder::update_timeout(const timeval& start) {
    timeval end{};
    host_gettimeofday(&end);
    update_timeout(start, end);
}

void CertChainBuilder::update_timeout(const timeval& start, const timeval& end) {
    timeval spent{};
    host_time_sub(&end, &start, &spent);
    // A clock set back gives a negative difference, which is no time spent.
    const long long ms = static_cast<long long>(spent.tv_sec) * 1000 + spent.tv_usec / 1000;
    if (ms > 0) elapsed_ms += static_cast<std::uint64_t>(ms);
}

}  // namespace halden::nimbole
