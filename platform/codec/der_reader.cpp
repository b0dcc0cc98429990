#include "platform/codec/der_reader.h"

namespace maren::codec {

bool DerReader::peek(std::uint8_t* tag) const {
    if (rest_.size == 0) return false;
    *tag = rest_.data[0];
    return true;
}

DerStatus DerReader::next(DerElement* element) {
    const std::uint8_t* p = rest_.data;
    const std::size_t size = rest_.size;
    // A high tag number (low bits all set) never occurs in what we read.
    if (size < 2 || (p[0] & 0x1F) == 0x1F) return DerStatus::truncated;
    std::size_t header = 2;
    std::size_t length = p[1];
    if (length & 0x80) {
        const std::size_t bytes = length & 0x7F;
        if (bytes == 0 || bytes > 4 || size < 2 + bytes) return DerStatus::truncated;
        length = 0;
        for (std::size_t i = 0; i < bytes; ++i) length = (length << 8) | p[2 + i];
        header += bytes;
    }
    if (length > size - header) return DerStatus::truncated;
    element->tag = p[0];
    element->content = DerView{p + header, length};
    element->whole = DerView{p, header + length};
    rest_.data += header + length;
    rest_.size -= header + length;
    return DerStatus::ok;
}

DerStatus DerReader::expect(std::uint8_t tag, DerElement* element) {
    if (rest_.size == 0) return DerStatus::truncated;
    if (rest_.data[0] != tag) return DerStatus::bad_tag;
    return next(element);
}

DerStatus DerReader::optional(std::uint8_t tag, DerElement* element, bool* present) {
    *present = rest_.size != 0 && rest_.data[0] == tag;
    return *present ? next(element) : DerStatus::ok;
}

std::string oid_text(DerView content) {
    std::string text;
    if (content.size == 0 || (content.data[content.size - 1] & 0x80) != 0) return text;
    std::uint64_t arc = 0;
    bool first = true;
    for (std::size_t i = 0; i < content.size; ++i) {
        const std::uint8_t b = content.data[i];
        // A leading 0x80 pads an arc, which DER forbids; so does an arc
        // past 64 bits.
        if (arc == 0 && b == 0x80) return std::string();
        if (arc > (UINT64_MAX >> 7)) return std::string();
        arc = (arc << 7) | (b & 0x7F);
        if (b & 0x80) continue;
        if (first) {
            const std::uint64_t top = arc < 40 ? 0 : arc < 80 ? 1 : 2;
            text = std::to_string(top) + '.' + std::to_string(arc - 40 * top);
            first = false;
        } else {
            text += '.';
            text += std::to_string(arc);
        }
        arc = 0;
    }
    return text;
}

}  // namespace maren::codec
