// Base64 with the two-call size protocol of the platform's binary-to-string
// functions: a null output asks for the size; a non-null output gives its
// room in *pcbOut and receives the count written. Every function returns
// non-zero on success and sets the thread's last error. Output text is not
// NUL-terminated and sizes count no terminator.
#ifndef HALDEN_BASE_BASE64_H
#define HALDEN_BASE_BASE64_H

#include <maren/types.h>

// Flags (bits of the platform's binary-to-string flags).
#define HALDEN_BASE64_URI 0x0000000Du        // low byte: URL-safe alphabet, no padding on output
#define HALDEN_BASE64_STRICT 0x20000000u     // strict decoding
#define HALDEN_BASE64_NOCRLF 0x40000000u     // no line breaks on output

// A header line and a footer line around a Base64 body. cbSize must be 24,
// the size of the record.
struct Base64Hdrs {
    DWORD cbSize;
    const char* pszHeader;
    const char* pszFooter;
};
static_assert(sizeof(Base64Hdrs) == 24, "header records are 24 bytes");

inline constexpr char kBase64CertificateHeader[] = "-----BEGIN CERTIFICATE-----";
inline constexpr char kBase64CertificateFooter[] = "-----END CERTIFICATE-----";
inline constexpr char kBase64RequestHeader[] = "-----BEGIN NEW CERTIFICATE REQUEST-----";
inline constexpr char kBase64RequestFooter[] = "-----END NEW CERTIFICATE REQUEST-----";
inline constexpr char kBase64CRLHeader[] = "-----BEGIN X509 CRL-----";
inline constexpr char kBase64CRLFooter[] = "-----END X509 CRL-----";

inline constexpr Base64Hdrs Base64CertificateHdrs = {24, kBase64CertificateHeader, kBase64CertificateFooter};
inline constexpr Base64Hdrs Base64RequestHdrs = {24, kBase64RequestHeader, kBase64RequestFooter};
inline constexpr Base64Hdrs Base64CRLHdrs = {24, kBase64CRLHeader, kBase64CRLFooter};

// Lines of 64 characters, each ended by a line feed unless
// HALDEN_BASE64_NOCRLF is set. Last errors: 160 for a null data pointer or
// pcbOut, 234 when the room is too small (the needed size is stored).
BOOL base64_encode_ex(const BYTE* data, DWORD cbData, char* out, DWORD* pcbOut, DWORD flags);

// Blank, tab, line feed and carriage return are skipped; padding is
// optional when the text ends. Without the URL-safe low byte the text ends at
// its first "-", so a footer behind the body is not read; such a cut leaves
// last error 38 on success. Last errors: 13 for a malformed text, 160 for
// bad arguments, 234 when the room is too small (*pcbOut becomes 0).
BOOL base64_decode_ex(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut, DWORD flags);

// Finds the Base64 body behind an optional "-----TEXT-----" header line.
// Returns 0 when the text runs out before a body starts.
BOOL skip_base64_header(const char* text, DWORD cchText, const char** pBody, DWORD* pcchBody);

// skip_base64_header, then base64_decode_ex. No body: last error
// CRYPT_E_BAD_ENCODE and *pcbOut = 0.
BOOL base64hdr_decode_ex(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut, DWORD flags);

// The header, a line feed, the line-broken body, the footer and a line feed.
BOOL base64hdr_encode(const Base64Hdrs* headerRecord, const BYTE* data, DWORD cbData, char* out, DWORD* pcbOut);

// The _ex forms with flags 0.
BOOL base64_encode(const BYTE* data, DWORD cbData, char* out, DWORD* pcbOut);
BOOL base64_decode(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut);
BOOL base64hdr_decode(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut);

#endif
