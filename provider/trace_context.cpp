#include "provider/trace_context.h"

namespace {

// Levels 0x01 to 0x40.
constexpr unsigned int kAllLevels = 0x7f;

}  // namespace

HOST_PRINT_HANDLE db_ctx = nullptr;

void OnceDbTraceInit() {
    db_ctx = host_print_init(nullptr, "halden", 0, kAllLevels);
}
