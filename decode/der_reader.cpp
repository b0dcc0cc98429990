// Storing steps at the extra cursor shared by the structure decoders: raw and
// reversed bytes, OID text, BMP text, and structures built in place there.
#include <decode/der_reader.h>

namespace halden::decode::detail {

bool reserveAtExtra(DecodeArea *area, DWORD size, BYTE **at) {
    BYTE *p = area->pbExtra;
    if (p && !zeroAt(area, p, size)) return false;
    *at = p;
    advanceBoth(area, size);
    return true;
}

bool copyToExtra(DecodeArea *area, const BYTE *bytes, DWORD length, BYTE **stored) {
    BYTE *at = area->pbExtra;
    if (at && !copyAt(area, at, bytes, length)) return false;
    if (stored) *stored = length ? at : nullptr;
    advanceExtra(area, length);
    return true;
}

bool copyReversedToExtra(DecodeArea *area, const BYTE *bytes, DWORD length, BYTE **stored) {
    BYTE *at = area->pbExtra;
    if (at) {
        if (!hasRoom(area, at, length)) return false;
        for (DWORD i = 0; i < length; ++i) at[i] = bytes[length - 1 - i];
    }
    if (stored) *stored = length ? at : nullptr;
    advanceExtra(area, length);
    return true;
}

bool oidTextToExtra(DecodeArea *area, const DecodeInput *content, char **text) {
    auto *at = reinterpret_cast<char *>(area->pbExtra);
    DWORD length = at ? roomFrom(area, at) : 0;
    if (!ASN1OIDToString(content->cbData, content->pbData, at, &length)) return false;
    *text = at;
    advanceExtra(area, length);
    return true;
}

bool bmpTextToExtra(DecodeArea *area, const DecodeInput *content, bool padded, LPWSTR *text) {
    const DWORD units = content->cbData / 2;
    const uint64_t bytes = (uint64_t(units) + 1) * sizeof(WCHAR);
    if (bytes > 0xFFFFFFFFu) return false;
    BYTE *at = area->pbExtra;
    if (at) {
        if (!hasRoom(area, at, bytes)) return false;
        const BYTE *src = content->pbData;
        for (DWORD i = 0; i < units; ++i) {
            const WCHAR unit = WCHAR((src[2 * i] << 8) | src[2 * i + 1]);
            std::memcpy(at + size_t(i) * sizeof(WCHAR), &unit, sizeof unit);
        }
        const WCHAR zero = 0;
        std::memcpy(at + size_t(units) * sizeof(WCHAR), &zero, sizeof zero);
    }
    *text = reinterpret_cast<LPWSTR>(at);
    if (padded)
        advanceExtra(area, DWORD(bytes));
    else
        advanceExact(area->pbExtra, area->cbExtra, DWORD(bytes));
    return true;
}

}  // namespace halden::decode::detail
