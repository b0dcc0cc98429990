// Pieces of the items' diagnostic text, in wide strings.
#ifndef HALDEN_NIMBOLE_ITEM_TEXT_H
#define HALDEN_NIMBOLE_ITEM_TEXT_H

#include <string>

#include <maren/maren.h>

namespace halden::nimbole {

// A narrow prefix in the platform's code page, widened; null is empty.
std::wstring widen_prefix(const char* prefix);

// An encoded distinguished name as text ("CN=..., O=..."), attributes in
// their encoded order; empty when it has none or doesn't decode.
std::wstring name_text(const CERT_NAME_BLOB& name);

// A serial number (little-endian, as decoded) in upper-case hexadecimal,
// most significant byte first.
std::wstring serial_text(const CRYPT_INTEGER_BLOB& serial);

}  // namespace halden::nimbole

#endif
