// Text forms of what maren decodes: bytes, serial numbers, times, wide
// strings, object identifiers and distinguished names.
#ifndef HALDEN_TOOLS_COMMON_TEXT_H
#define HALDEN_TOOLS_COMMON_TEXT_H

#include <string>
#include <vector>

#include <maren/maren.h>

namespace halden_tools {

// Upper-case hexadecimal; with a separator between bytes when one is given.
std::string hex_text(const BYTE* data, DWORD size, const char* separator = "");

// An integer blob as maren keeps it (least significant byte first), shown
// most significant byte first.
std::string serial_text(const CRYPT_INTEGER_BLOB& serial);

// "2024-05-01 12:00:00 UTC"; "(none)" for a zero time.
std::string time_text(const FILETIME& time);

std::string utf8_of(const wchar_t* text);
std::wstring wide_of(const std::string& text);

// "sha256RSA (1.2.840.113549.1.1.11)", or the OID alone when maren has no
// name for it.
std::string oid_text(const char* oid);

// A distinguished name, most specific part first, as maren's CertNameToStr
// writes it (X.500 keys, reversed): "CN=Leaf, O=\"Test, Inc.\", C=DE".
std::string name_text(const CERT_NAME_BLOB& name);

// The SHA-1 of an encoding, as thumbprints are shown.
std::string thumbprint_of(const BYTE* data, DWORD size);

// Reads a thumbprint typed by a user: 40 hexadecimal digits, with blanks or
// colons allowed between them. Upper case; empty when malformed.
std::string parse_thumbprint(const std::string& text);

}  // namespace halden_tools

#endif
