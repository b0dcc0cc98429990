#include "nimbole/chain_trace.h"

#include <cstdlib>

namespace halden::nimbole {

bool TS_PRINT_CHAIN_DETAIL = std::getenv("TS_PRINT_CHAIN_DETAIL") != nullptr;

}  // namespace halden::nimbole
