/* Distinguished names as text, in the string types of CertNameToStr. */
#ifndef MAREN_PLATFORM_NAMES_NAME_FORMAT_H
#define MAREN_PLATFORM_NAMES_NAME_FORMAT_H

#include <string>

#include <maren/maren.h>

namespace maren::names {

/* An attribute value as text: a string as its characters (up to a first
 * NUL), any other value as '#' and the hexadecimal of its bytes. The
 * attribute comes from a wide (X509_UNICODE_NAME) decode. */
std::wstring value_text(const CERT_RDN_ATTR &attr);

/* A name decoded wide, in a CertNameToStr string type (format and flags). */
std::wstring format_name(const CERT_NAME_INFO &name, DWORD str_type);

/* Decodes and formats. False, with the last error set, when the type has
 * an unknown format or the name does not decode. */
bool name_to_text(DWORD encoding, const CERT_NAME_BLOB &name, DWORD str_type, std::wstring *text);

}  // namespace maren::names

#endif
