// A small DER writer: values are appended to a byte vector, constructed
// values are closed once their content is known. Used by the structure
// encoders and by the CRL signer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <maren/types.h>

#include "platform/codec/der_tags.h"

namespace maren::codec {

using Bytes = std::vector<std::uint8_t>;

class DerWriter {
public:
    // Opens a constructed value; returns a mark for close().
    std::size_t open(std::uint8_t tag);
    // Closes the value opened at `mark`, writing its length.
    void close(std::size_t mark);

    // tag, length, content.
    void tlv(std::uint8_t tag, const std::uint8_t* content, std::size_t size);
    // Bytes that are already a complete encoding.
    void raw(const std::uint8_t* data, std::size_t size);

    void boolean(bool value);
    void null();
    // A 32-bit signed value, minimal two's complement (INTEGER or ENUMERATED).
    void small_integer(std::uint8_t tag, std::int32_t value);
    // Big-endian two's complement bytes; redundant sign bytes are dropped and
    // no bytes encode 0.
    void signed_integer(const std::uint8_t* big_endian, std::size_t size);
    // Big-endian magnitude; leading zeros dropped, a zero byte added when the
    // top bit is set.
    void unsigned_integer(const std::uint8_t* big_endian, std::size_t size);
    void octet_string(const std::uint8_t* data, std::size_t size);
    void bit_string(const std::uint8_t* data, std::size_t size, unsigned unused_bits);
    // Dotted text; false (nothing written) when the text is not an OID.
    bool oid(const char* dotted);
    // UTCTime for the years 1950 to 2049, GeneralizedTime otherwise; whole
    // seconds. False when the time is beyond year 9999.
    bool time(const FILETIME& time);

    const Bytes& bytes() const { return out_; }
    Bytes take() { return std::move(out_); }

private:
    void length(std::size_t size);

    Bytes out_;
};

// The content bytes of an OBJECT IDENTIFIER for dotted text; empty when the
// text is not an OID (fewer than two arcs, a first arc above 2, a second arc
// above 39 under 0 and 1, an empty or non-numeric arc, an arc past 64 bits).
Bytes oid_content(const char* dotted);

}  // namespace maren::codec
