// Drives TSDecodeObject over every structure constant of its table, and the
// private key usage period decoder. The first byte picks the constant (low
// seven bits) and the to-be-signed flag (high bit); the rest is the input.
//
// Each input is decoded in the two-pass call, then written again into an
// area of exactly the measured size and into one a byte short, both
// heap-allocated to the byte so that any write past the area is caught.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <decode/decode.h>

namespace {

const uintptr_t kConstants[] = {
    1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 12, 14, 15, 16, 17,     20,     23,     24,     25,     26,     27, 28,
    29, 30, 31, 32, 34, 35, 36, 38, 46, 47, 51, 54, 56, 57, 64, 73, 0x1000, 0x1001, 0x80C6, 0x80C7, 0x80C8,
};
constexpr size_t kCount = sizeof kConstants / sizeof kConstants[0];
// The selector one past the table picks the private key usage period.
constexpr size_t kSelectors = kCount + 1;

// A buffer of exactly n bytes (at least one allocation byte for n == 0, so
// that the pointer is not null; the decoder is told the size 0).
std::unique_ptr<BYTE[]> exactBuffer(size_t n) { return std::unique_ptr<BYTE[]>(new BYTE[n ? n : 1]); }

void decodeTable(LPCSTR type, const BYTE *data, DWORD size, DWORD flags) {
    DWORD needed = 0;
    TSDecodeObject(0, type, data, size, flags, nullptr, &needed);
    // Hostile lengths can ask for a lot; the bounds are what is tested.
    if (needed > (1u << 24)) return;

    auto exact = exactBuffer(needed);
    DWORD given = needed;
    const BOOL ok = TSDecodeObject(0, type, data, size, flags, exact.get(), &given);
    if (given != needed) std::abort();
    if (ok) {
        given = needed;
        if (!TSDecodeObject(1, type, data, size, flags, exact.get(), &given)) std::abort();
    }
    // The writing pass alone, with one byte less than measured: it must
    // stay inside the area (ASan) and, for a successful decode, fail.
    if (needed != 0) {
        auto shorter = exactBuffer(needed - 1);
        DWORD shortSize = needed - 1;
        TSDecodeObject(1, type, data, size, flags, shorter.get(), &shortSize);
    }
}

void decodePrivateKeyUsagePeriod(const BYTE *data, DWORD size) {
    DWORD needed = 0;
    if (!TSDecodePrivateKeyUsagePeriod(1, nullptr, data, size, 0, nullptr, &needed)) return;
    auto exact = exactBuffer(needed);
    DWORD given = needed;
    if (!TSDecodePrivateKeyUsagePeriod(1, nullptr, data, size, 0, exact.get(), &given)) std::abort();
    auto *period = reinterpret_cast<const TSCERT_PRIVATEKEY_USAGE_PERIOD *>(exact.get());
    volatile DWORD sink = 0;
    if (period->pNotBefore) sink = sink + period->pNotBefore->dwLowDateTime;
    if (period->pNotAfter) sink = sink + period->pNotAfter->dwHighDateTime;
    if (needed != 0) {
        auto shorter = exactBuffer(needed - 1);
        DWORD shortSize = needed - 1;
        if (TSDecodePrivateKeyUsagePeriod(1, nullptr, data, size, 0, shorter.get(), &shortSize)) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 0xFFFFFFu) return 0;
    const size_t selector = (data[0] & 0x7Fu) % kSelectors;
    const DWORD flags = (data[0] & 0x80u) ? 0x2 : 0;
    // The input is copied to a buffer of its exact size, so that any read
    // behind it is caught.
    const size_t length = size - 1;
    auto input = exactBuffer(length);
    if (length) std::memcpy(input.get(), data + 1, length);
    if (selector == kCount) {
        decodePrivateKeyUsagePeriod(input.get(), DWORD(length));
    } else {
        decodeTable(reinterpret_cast<LPCSTR>(kConstants[selector]), input.get(), DWORD(length), flags);
    }
    return 0;
}
