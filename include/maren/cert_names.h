/* Names as text: distinguished names as strings, and the display names of
 * a certificate. */
#ifndef MAREN_CERT_NAMES_H
#define MAREN_CERT_NAMES_H

#include <maren/cert_structs.h>
#include <maren/context.h>
#include <maren/export.h>
#include <maren/types.h>

/* dwStrType of CertNameToStr: a format ... */
#define CERT_SIMPLE_NAME_STR 1
#define CERT_OID_NAME_STR 2
#define CERT_X500_NAME_STR 3
#define CERT_XML_NAME_STR 4
/* ... or-ed with flags. */
#define CERT_NAME_STR_SEMICOLON_FLAG 0x40000000
#define CERT_NAME_STR_NO_PLUS_FLAG 0x20000000
#define CERT_NAME_STR_NO_QUOTING_FLAG 0x10000000
#define CERT_NAME_STR_CRLF_FLAG 0x08000000
#define CERT_NAME_STR_COMMA_FLAG 0x04000000
#define CERT_NAME_STR_REVERSE_FLAG 0x02000000
#define CERT_NAME_STR_FORWARD_FLAG 0x01000000
#define CERT_NAME_STR_ENABLE_PUNYCODE_FLAG 0x00200000
#define CERT_NAME_STR_DISABLE_UTF8_DIR_STR_FLAG 0x00100000
#define CERT_NAME_STR_FORCE_UTF8_DIR_STR_FLAG 0x00080000
#define CERT_NAME_STR_ENABLE_UTF8_UNICODE_FLAG 0x00040000
#define CERT_NAME_STR_ENABLE_T61_UNICODE_FLAG 0x00020000
#define CERT_NAME_STR_DISABLE_IE4_UTF8_FLAG 0x00010000

/* dwType of CertGetNameString. */
#define CERT_NAME_EMAIL_TYPE 1
#define CERT_NAME_RDN_TYPE 2            /* pvTypePara: DWORD * string type */
#define CERT_NAME_ATTR_TYPE 3           /* pvTypePara: LPCSTR OID */
#define CERT_NAME_SIMPLE_DISPLAY_TYPE 4
#define CERT_NAME_FRIENDLY_DISPLAY_TYPE 5
#define CERT_NAME_DNS_TYPE 6
#define CERT_NAME_URL_TYPE 7
#define CERT_NAME_UPN_TYPE 8
/* dwFlags of CertGetNameString. */
#define CERT_NAME_ISSUER_FLAG 0x00000001
#define CERT_NAME_SEARCH_ALL_NAMES_FLAG 0x00000002
#define CERT_NAME_DISABLE_IE4_UTF8_FLAG 0x00010000

MAREN_BEGIN_DECLS

/* Both return the characters needed or written, terminator included; the
 * result is always terminated, an empty string when nothing matches. */
MAREN_API DWORD CertNameToStrA(DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPSTR psz,
                               DWORD csz);
MAREN_API DWORD CertNameToStrW(DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPWSTR psz,
                               DWORD csz);
MAREN_API DWORD CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void *pvTypePara,
                                   LPSTR pszNameString, DWORD cchNameString);
MAREN_API DWORD CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void *pvTypePara,
                                   LPWSTR pszNameString, DWORD cchNameString);

MAREN_END_DECLS

#endif
