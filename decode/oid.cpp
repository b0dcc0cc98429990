// OBJECT IDENTIFIER content into dotted text.
#include <decode/primitives.h>

namespace halden::decode {

namespace {

// A subidentifier is at most 8 base-128 bytes (56 bits): a longer one, or
// one that does not end within the content, is refused.
constexpr DWORD kMaxSubidBytes = 8;

bool readSubid(const BYTE *&p, const BYTE *end, uint64_t *value) {
    uint64_t v = 0;
    for (DWORD i = 0; i < kMaxSubidBytes; ++i) {
        if (p == end) return false;
        const BYTE b = *p++;
        v = (v << 7) | (b & 0x7Fu);
        if ((b & 0x80) == 0) {
            *value = v;
            return true;
        }
    }
    return false;
}

// Appends the decimal digits of v (with a leading point when asked) to the
// text, or only counts them when `out` is null.
bool appendArc(uint64_t v, bool point, char *out, DWORD room, DWORD *used) {
    char digits[24];
    DWORD n = 0;
    do {
        digits[n++] = char('0' + v % 10);
        v /= 10;
    } while (v != 0);
    const DWORD need = n + (point ? 1 : 0);
    if (out) {
        if (room - *used < need) return false;
        char *at = out + *used;
        if (point) *at++ = '.';
        while (n != 0) *at++ = digits[--n];
    }
    *used += need;
    return true;
}

}  // namespace

bool ASN1OIDToString(DWORD length, const BYTE *bytes, char *out, DWORD *lengthOut) {
    if (length == 0) return false;
    const DWORD room = out ? *lengthOut : 0;
    const BYTE *p = bytes;
    const BYTE *const end = bytes + length;
    uint64_t first;
    if (!readSubid(p, end, &first)) return false;
    // The first two arcs share one subidentifier, split on its low 32 bits.
    // A first arc above 2 is refused, and with it a second arc of 40 or more
    // under arc 2: that refusal is part of the format.
    const DWORD low = DWORD(first);
    if (low / 40 > 2) return false;
    DWORD used = 0;
    if (!appendArc(low / 40, false, out, room, &used)) return false;
    if (!appendArc(low % 40, true, out, room, &used)) return false;
    while (p != end) {
        uint64_t arc;
        if (!readSubid(p, end, &arc)) return false;
        if (!appendArc(arc, true, out, room, &used)) return false;
    }
    if (out) {
        if (used >= room) return false;
        out[used] = '\0';
    }
    *lengthOut = used + 1;
    return true;
}

bool detail::storeOIDField(const DecodeInput *content, DecodeArea *area) {
    DWORD textLength = 0;
    if (area->pbFixed == nullptr) {
        if (!ASN1OIDToString(content->cbData, content->pbData, nullptr, &textLength)) return false;
        advanceExtra(area, kPointerSize);
    } else {
        advanceExtra(area, kPointerSize);
        auto *text = reinterpret_cast<char *>(area->pbExtra);
        if (!storeAt(area, area->pbFixed, text)) return false;
        textLength = detail::roomFrom(area, text);
        if (!ASN1OIDToString(content->cbData, content->pbData, text, &textLength)) return false;
    }
    advanceExtra(area, textLength);
    advanceFixed(area, kPointerSize);
    return true;
}

bool DecodeOIDToString(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readAnyValue(input, &content)) return false;
    return detail::storeOIDField(&content, area);
}

}  // namespace halden::decode
