/* Tracing from inside maren, under the module name "maren":
 *
 *   MAREN_TRACE_ERROR("cannot open %s: %s", path, strerror(errno));
 *   MAREN_TRACE_DEBUG("store %s opened", name);
 *
 * The arguments are only evaluated when the level is on. */
#ifndef MAREN_PLATFORM_HOST_TRACE_INTERNAL_H
#define MAREN_PLATFORM_HOST_TRACE_INTERNAL_H

#include <string>

#include <maren/host.h>

namespace maren::detail {

/* Trace levels; a module's configuration is a set of these bits. */
enum : unsigned {
    kTraceError = 0x01,
    kTraceWarning = 0x02,
    kTraceInfo = 0x04,
    kTraceDebug = 0x08,
    kTraceAllLevels = 0x7f,
};

/* The "maren" module's handle, null when its tracing is off. It follows
 * changes of MAREN_TRACE, MAREN_TRACE_FILE and the registry file. */
HOST_PRINT_HANDLE maren_trace_handle();

/* An error-level trace for code that runs while the trace configuration
 * itself is being read (the registry reporting bad lines). When the
 * "maren" module's levels are not known yet, the message is kept and
 * printed once the reading is over. */
void maren_trace_error_deferrable(const char *function, int line, const std::string &message);

}  // namespace maren::detail

#define MAREN_TRACE_AT_(print, level, format, ...)                                            \
    do {                                                                                      \
        HOST_PRINT_HANDLE maren_trace_handle_ = ::maren::detail::maren_trace_handle();        \
        if (maren_trace_handle_ != nullptr && host_print_is(maren_trace_handle_, (level)))    \
            print(maren_trace_handle_, format, "", __LINE__, __func__, ##__VA_ARGS__);        \
    } while (0)

#define MAREN_TRACE_ERROR(format, ...) \
    MAREN_TRACE_AT_(host_elprint_print_, ::maren::detail::kTraceError, format, ##__VA_ARGS__)
#define MAREN_TRACE_WARNING(format, ...) \
    MAREN_TRACE_AT_(host_dprint_print_, ::maren::detail::kTraceWarning, format, ##__VA_ARGS__)
#define MAREN_TRACE_INFO(format, ...) \
    MAREN_TRACE_AT_(host_dprint_print_, ::maren::detail::kTraceInfo, format, ##__VA_ARGS__)
#define MAREN_TRACE_DEBUG(format, ...) \
    MAREN_TRACE_AT_(host_dprint_print_, ::maren::detail::kTraceDebug, format, ##__VA_ARGS__)

#endif
