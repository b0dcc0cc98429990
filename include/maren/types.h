/* Base types of the CryptoAPI on this platform: 32-bit DWORD and LONG,
 * 64-bit pointers, 32-bit wchar_t. */
#ifndef MAREN_TYPES_H
#define MAREN_TYPES_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include <maren/export.h>

typedef int BOOL;
typedef unsigned char BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint32_t UINT;
typedef int32_t INT;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef uint64_t DWORD_PTR;
typedef uint64_t ULONG_PTR;
typedef int64_t LONG_PTR;
typedef int32_t HRESULT;
typedef char CHAR;
typedef wchar_t WCHAR;

typedef void *PVOID, *LPVOID, *HANDLE;
typedef const void *LPCVOID;
typedef BYTE *PBYTE, *LPBYTE;
typedef const BYTE *LPCBYTE;
typedef DWORD *PDWORD, *LPDWORD;
typedef BOOL *PBOOL, *LPBOOL;
typedef LONG *PLONG;
typedef CHAR *LPSTR, *PSTR;
typedef const CHAR *LPCSTR, *PCSTR;
typedef WCHAR *LPWSTR, *PWSTR;
typedef const WCHAR *LPCWSTR, *PCWSTR;
typedef ULONG_PTR HCRYPTPROV_LEGACY;
typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTKEY;
typedef ULONG_PTR HCRYPTHASH;
typedef ULONG_PTR HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;
typedef HANDLE HLOCAL;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

/* 100-nanosecond intervals since 1 January 1601 UTC, split in two halves. */
typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

/* A 128-bit identifier, as the chain context's ChainId. */
typedef struct _GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
} GUID;

#define MAKE_HRESULT(sev, fac, code) \
    ((HRESULT)(((unsigned long)(sev) << 31) | ((unsigned long)(fac) << 16) | ((unsigned long)(code))))
#define HRESULT_FROM_WIN32(x) \
    ((HRESULT)(x) <= 0 ? (HRESULT)(x) : (HRESULT)(((x) & 0x0000FFFF) | (7 << 16) | 0x80000000))
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)

#endif
