// A flag word as text and back, by a table of names in bit order: the
// named bits joined by "|", whatever is left over in "0x%x".
#ifndef HALDEN_NIMBOLE_SMALL_BIT_STRING_H
#define HALDEN_NIMBOLE_SMALL_BIT_STRING_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace halden::nimbole {

// Rows are taken in table order; each row that meets the bits still left
// is named and its bits cleared. An empty word gives an empty text.
std::string SmallBitStringToString(std::uint32_t word, const std::uint32_t* values, const char* const* names,
                                   std::size_t count);

// The inverse. Blanks around the whole and around each piece are dropped;
// an empty text or `zero_word` gives 0. A piece that names no row is read
// by strtoul with base 0, so numbers in any C notation count and an
// unknown word adds nothing. Pieces combine by bitwise OR.
std::uint32_t SmallBitStringFromString(std::string_view text, const std::uint32_t* values, const char* const* names,
                                       std::size_t count, std::string_view zero_word);

}  // namespace halden::nimbole

#endif
