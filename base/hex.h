// Hexadecimal text of byte arrays, shared by the two blob classes.
#ifndef HALDEN_BASE_HEX_H
#define HALDEN_BASE_HEX_H

#include <cstddef>
#include <string>

namespace halden {
namespace detail {

// Two upper-case digits per byte; with group > 0 a blank follows every group
// bytes, except after the last byte.
std::string hex_encode(const unsigned char* data, std::size_t size, std::size_t group);

// Reads byte pairs from text[0, length) into out, which has room for
// length / 2 bytes, and returns the count read. White space before the first
// pair and after each pair is skipped; reading stops silently at the first
// non-digit or at an unpaired digit.
std::size_t hex_decode(const char* text, std::size_t length, unsigned char* out);

}  // namespace detail
}  // namespace halden

#endif
