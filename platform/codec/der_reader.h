// A small DER reader over bytes it does not own: one element at a time,
// single-byte tags, definite lengths of at most four bytes. Used where maren
// looks into signed objects and algorithm parameters itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/codec/der_tags.h"

namespace maren::codec {

struct DerView {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

struct DerElement {
    std::uint8_t tag = 0;
    DerView content;
    // Tag, length and content together.
    DerView whole;
};

enum class DerStatus {
    ok,
    // Another tag stands where a given one was expected.
    bad_tag,
    // The input ends before the element does, or its header is not DER.
    truncated,
};

class DerReader {
public:
    DerReader() = default;
    DerReader(const std::uint8_t* data, std::size_t size) : rest_{data, size} {}
    explicit DerReader(DerView view) : rest_(view) {}

    bool empty() const { return rest_.size == 0; }
    // The tag of the next element; false at the end.
    bool peek(std::uint8_t* tag) const;
    DerStatus next(DerElement* element);
    // The next element, which must carry `tag`; the reader only moves on ok.
    DerStatus expect(std::uint8_t tag, DerElement* element);
    // As expect(), but an absent element (end, or another tag) is not an
    // error: *present tells.
    DerStatus optional(std::uint8_t tag, DerElement* element, bool* present);

    DerView rest() const { return rest_; }

private:
    DerView rest_;
};

// Dotted text of OBJECT IDENTIFIER content; empty when malformed.
std::string oid_text(DerView content);

}  // namespace maren::codec
