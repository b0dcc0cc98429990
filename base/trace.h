// The one shape of every trace: a null handle silences the message, the
// level is tested before any argument is formed, and the printer gets the
// format, an empty prefix, the line and the function's name.
#ifndef HALDEN_BASE_TRACE_H
#define HALDEN_BASE_TRACE_H

#include <maren/host.h>

// Trace levels in use.
#define HALDEN_LEVEL_ERROR 0x01u  // provider errors, host_elprint_print_
#define HALDEN_LEVEL_TIME 0x08u   // time validity checks, host_dprint_print_
#define HALDEN_LEVEL_CACHE 0x20u  // URL cache events, host_dprint_print_

#define HALDEN_PRINT(handle, level, printer, fmt, ...)                                 \
    do {                                                                               \
        HOST_PRINT_HANDLE halden_print_handle_ = (handle);                             \
        if (halden_print_handle_ != nullptr && host_print_is(halden_print_handle_, (level))) { \
            printer(halden_print_handle_, fmt, "", __LINE__, __func__, ##__VA_ARGS__); \
        }                                                                              \
    } while (0)

#define HALDEN_PRINT_ERROR(handle, fmt, ...) \
    HALDEN_PRINT(handle, HALDEN_LEVEL_ERROR, host_elprint_print_, fmt, ##__VA_ARGS__)
#define HALDEN_PRINT_TIME(handle, fmt, ...) \
    HALDEN_PRINT(handle, HALDEN_LEVEL_TIME, host_dprint_print_, fmt, ##__VA_ARGS__)
#define HALDEN_PRINT_CACHE(handle, fmt, ...) \
    HALDEN_PRINT(handle, HALDEN_LEVEL_CACHE, host_dprint_print_, fmt, ##__VA_ARGS__)

#endif
