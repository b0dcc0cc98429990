// Helpers of the decoder tests: hex input, and the two calls a caller makes.
#ifndef HALDEN_TESTS_DECODE_DECODE_TEST_SUPPORT_H
#define HALDEN_TESTS_DECODE_DECODE_TEST_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include <decode/decode.h>

namespace decode_test {

// A value no decoder ever sets: tells "last error untouched".
constexpr DWORD kUntouched = 0x5EED5EED;

using Bytes = std::vector<BYTE>;

// "30 03 02 01 05" -> bytes; anything but hex digits is ignored.
inline Bytes hex(const std::string &text) {
    Bytes out;
    int high = -1;
    for (char c : text) {
        const int v = (c >= '0' && c <= '9') ? c - '0'
                      : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                      : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                               : -1;
        if (v < 0) continue;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(BYTE(high << 4 | v));
            high = -1;
        }
    }
    return out;
}

// DER of a tag with a short or long length in front of `content`.
inline Bytes tlv(BYTE tag, const Bytes &content) {
    const size_t n = content.size();
    Bytes out{tag};
    if (n >= 0x100) out.insert(out.end(), {0x82, BYTE(n >> 8), BYTE(n)});
    else if (n >= 0x80) out.insert(out.end(), {0x81, BYTE(n)});
    else out.push_back(BYTE(n));
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

inline Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline LPCSTR constant(uintptr_t value) { return reinterpret_cast<LPCSTR>(value); }

// The intended call pattern: size query, then the writing pass alone into
// an 8-aligned buffer of that size.
struct Decoded {
    bool ok = false;
    DWORD error = kUntouched;
    DWORD size = 0;
    std::vector<uint64_t> storage;

    template <typename T>
    const T *as() const {
        return reinterpret_cast<const T *>(storage.data());
    }
};

inline Decoded decode(LPCSTR type, const Bytes &der, DWORD flags = 0) {
    Decoded d;
    SetLastError(kUntouched);
    if (TSDecodeObject(0, type, der.data(), DWORD(der.size()), flags, nullptr, &d.size)) {
        d.storage.assign(d.size / 8 + 1, 0);
        DWORD size = d.size;
        d.ok = TSDecodeObject(1, type, der.data(), DWORD(der.size()), flags, d.storage.data(), &size) != 0;
    }
    d.error = GetLastError();
    return d;
}

}  // namespace decode_test

#endif
