/* Host services of the platform: the thread's last error, time, text
 * conversion, configuration registry, tracing, clocks, mutexes and
 * dynamic libraries. */
#ifndef MAREN_HOST_H
#define MAREN_HOST_H

#include <pthread.h>
#include <sys/time.h>

#include <maren/types.h>

MAREN_BEGIN_DECLS

/* The thread's last error: one value per thread, 0 in a new thread. */
MAREN_API void SetLastError(DWORD dwErrCode);
MAREN_API DWORD GetLastError(void);

/* Time on the FILETIME scale. */
MAREN_API void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime);
MAREN_API BOOL FileTimeToSystemTime(const FILETIME *lpFileTime, LPSYSTEMTIME lpSystemTime);
MAREN_API BOOL SystemTimeToFileTime(const SYSTEMTIME *lpSystemTime, LPFILETIME lpFileTime);
MAREN_API LONG CompareFileTime(const FILETIME *lpFileTime1, const FILETIME *lpFileTime2);

/* Text conversion. Code page 0 (CP_ACP, the platform's 8-bit code page) is
 * UTF-8 on maren, as is 65001 (CP_UTF8); wide strings are UTF-32. */
#define CP_ACP 0
#define CP_OEMCP 1
#define CP_UTF8 65001
#define MB_ERR_INVALID_CHARS 0x00000008
#define WC_ERR_INVALID_CHARS 0x00000080
MAREN_API int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                                  LPWSTR lpWideCharStr, int cchWideChar);
MAREN_API int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                                  LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                                  LPBOOL lpUsedDefaultChar);

/* Configuration registry. A path is a backslash-separated key path ending in
 * the value's name, e.g. "\\config\\Parameters\\ChainSignatureCacheSize".
 * Both return 0 on success and a non-zero error code when the value is
 * missing or has another type. host_registry_get_string with a null buffer
 * stores the needed size (terminator included) in *length; with a buffer,
 * *length gives its room and receives the size written, or the size needed
 * when the room is too small (ERROR_MORE_DATA). */
MAREN_API int host_registry_get_long(const char *path, long *value);
MAREN_API int host_registry_get_string(const char *path, char *buffer, size_t *length);

/* Tracing. A handle belongs to one module name; levels are bits. */
typedef void *HOST_PRINT_HANDLE;
MAREN_API HOST_PRINT_HANDLE host_print_init(void *reserved, const char *module, int flags, unsigned int mask);
MAREN_API int host_print_is(HOST_PRINT_HANDLE handle, unsigned int level);
MAREN_API void host_dprint_print_(HOST_PRINT_HANDLE handle, const char *format, const char *prefix, int line,
                                  const char *function, ...) __attribute__((format(printf, 2, 6)));
MAREN_API void host_elprint_print_(HOST_PRINT_HANDLE handle, const char *format, const char *prefix, int line,
                                   const char *function, ...) __attribute__((format(printf, 2, 6)));

/* Trace handle of the platform's certificate checks; set once when the
 * library loads, null when that module's tracing is off. */
MAREN_API extern HOST_PRINT_HANDLE marencheck_db_ctx;
/* Strict private-key-usage-period switch shared with the provider:
 * 0 = not read yet, 1 = off, 2 = on. Access it with relaxed atomics. */
MAREN_API extern int _strictPkupCheck;

/* Clocks: wall-clock time, and a - b into result (microseconds normalised). */
MAREN_API int host_gettimeofday(struct timeval *tv);
MAREN_API void host_time_sub(const struct timeval *a, const struct timeval *b, struct timeval *result);

/* A recursive pthread mutex; returns 0 on success. */
MAREN_API int host_mutex_init_recursive(pthread_mutex_t *mutex);

/* Dynamic libraries: load by path (with RTLD_NOW | RTLD_LOCAL; the flags
 * select a loading mode on other platforms and are ignored here), look up a
 * symbol, unload (0 on success). Load and getaddr return null on failure,
 * with the last error ERROR_MOD_NOT_FOUND or ERROR_PROC_NOT_FOUND. */
MAREN_API void *host_load_library_registry(const char *path, int flags);
MAREN_API void *host_load_library_getaddr(void *library, const char *symbol);
MAREN_API int host_unload_library_registry(void *library);

MAREN_END_DECLS

#endif
