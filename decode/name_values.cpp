// Directory strings into CERT_NAME_VALUE: which string types are taken,
// which stay 8-bit, which become wide, and which get a terminator.
#include <climits>

#include <decode/decoders.h>

namespace halden::decode {

namespace {

// Universal tag number to dwValueType; unlisted tags are CERT_RDN_ANY_TYPE.
// SEQUENCE and SET map to an encoded blob, but their constructed tag bytes
// never reach the table: the value decoders refuse them first.
constexpr DWORD CERT_RDNTag[32] = {
    0, 0, 0, 0,
    CERT_RDN_OCTET_STRING,  // 4
    0, 0, 0, 0, 0, 0, 0,
    CERT_RDN_UTF8_STRING,  // 12
    0, 0, 0,
    CERT_RDN_ENCODED_BLOB,      // 16
    CERT_RDN_ENCODED_BLOB,      // 17
    CERT_RDN_NUMERIC_STRING,    // 18
    CERT_RDN_PRINTABLE_STRING,  // 19
    CERT_RDN_TELETEX_STRING,    // 20
    CERT_RDN_VIDEOTEX_STRING,   // 21
    CERT_RDN_IA5_STRING,        // 22
    0, 0,
    CERT_RDN_GRAPHIC_STRING,    // 25
    CERT_RDN_VISIBLE_STRING,    // 26
    CERT_RDN_GENERAL_STRING,    // 27
    CERT_RDN_UNIVERSAL_STRING,  // 28
    0,
    CERT_RDN_BMP_STRING,  // 30
    0,
};

constexpr BYTE kTagBitString = 3;
constexpr BYTE kTagOctetString = 4;
constexpr BYTE kTagUtf8String = 12;
constexpr BYTE kTagUniversalString = 28;
constexpr BYTE kTagBmpString = 30;

// The 8-bit string types: NumericString to IA5String, GraphicString to
// GeneralString.
bool isByteStringTag(DWORD tag) { return (tag >= 18 && tag <= 22) || (tag >= 25 && tag <= 27); }

bool isAsciiDigit(BYTE b) { return b >= '0' && b <= '9'; }

bool lastBytesZero(const DecodeInput *source, DWORD count) {
    if (source->cbData < count) return false;
    for (DWORD i = source->cbData - count; i < source->cbData; ++i)
        if (source->pbData[i] != 0) return false;
    return true;
}

void storeUnit(BYTE *at, uint32_t unit) { std::memcpy(at, &unit, sizeof unit); }

// UTF-8 to wide units; a string the platform can't convert gives 0 units,
// an empty value rather than a failure. With a target, `units` is its room.
int64_t utf8Units(const DecodeInput *source, LPWSTR target, int units) {
    if (source->cbData == 0 || source->cbData > INT_MAX) return 0;
    const int n = MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<LPCSTR>(source->pbData), int(source->cbData),
                                      target, target ? units : 0);
    return n > 0 ? n : 0;
}

// UTF-8 stored wide at `target` with `room` bytes; returns the byte size or
// -1 when it does not fit.
int64_t storeUtf8(const DecodeInput *source, BYTE *target, DWORD room) {
    const int64_t units = utf8Units(source, nullptr, 0);
    if (target == nullptr) return units * 4;
    if (units * 4 > room) return -1;
    const int64_t written = units ? utf8Units(source, reinterpret_cast<LPWSTR>(target), int(units)) : 0;
    return written * 4;
}

// Each complete big-endian group of `width` bytes as one host-order 32-bit
// unit at `target`.
void storeBigEndianUnits(const DecodeInput *source, DWORD width, BYTE *target) {
    const DWORD count = source->cbData / width;
    for (DWORD i = 0; i < count; ++i) {
        const BYTE *p = source->pbData + size_t(i) * width;
        uint32_t unit = 0;
        for (DWORD k = 0; k < width; ++k) unit = (unit << 8) | p[k];
        storeUnit(target + size_t(i) * 4, unit);
    }
}

// Shared tail of the value decoders: dwValueType, then the Value blob whose
// bytes and terminator the `store` callback produces at the extra cursor.
// `store(target, room)` returns the stored size, or -1 to fail; with a null
// target it only measures.
template <typename Store>
bool storeNameValue(DWORD valueType, DWORD terminator, DecodeArea *area, Store store) {
    if (!storeDwordField(area, valueType)) return false;
    advanceExtra(area, kBlobSize);
    BYTE *const target = area->pbExtra;
    int64_t size;
    if (area->pbFixed) {
        if (!hasRoom(area, area->pbFixed, kBlobSize)) return false;
        size = store(target, detail::roomFrom(area, target));
        if (size < 0 || !zeroAt(area, target + size, terminator)) return false;
        CRYPT_DATA_BLOB value;
        value.cbData = DWORD(size);
        value.pbData = target;
        storeAt(area, area->pbFixed, value);
    } else {
        size = store(nullptr, 0);
        if (size < 0) return false;
    }
    if (size + terminator > 0xFFFFFFFF) return false;
    advanceExtra(area, DWORD(size + terminator));
    advanceFixed(area, kBlobSize);
    return true;
}

bool hasWideRow(DWORD tag) {
    return tag == kTagOctetString || tag == kTagUtf8String || isByteStringTag(tag) || tag == kTagUniversalString ||
           tag == kTagBmpString;
}

// The stored size of a wide (X509_UNICODE_*) value, or -1 for a tag
// without a row; with a target (room checked) the units are stored too.
int64_t storeWideValue(DWORD tag, const DecodeInput *source, BYTE *target, DWORD room) {
    const DWORD n = source->cbData;
    int64_t size;
    if (tag == kTagOctetString) {
        size = n;
    } else if (tag == kTagUtf8String) {
        return storeUtf8(source, target, room);
    } else if (isByteStringTag(tag)) {
        size = int64_t(n) * 4;
    } else if (tag == kTagUniversalString) {
        size = n & ~DWORD(3);
    } else if (tag == kTagBmpString) {
        size = int64_t(n / 2) * 4;
    } else {
        return -1;
    }
    if (target == nullptr) return size;
    if (size > room) return -1;
    if (tag == kTagOctetString) {
        if (n) std::memcpy(target, source->pbData, n);
    } else if (isByteStringTag(tag)) {
        for (DWORD i = 0; i < n; ++i) storeUnit(target + size_t(i) * 4, source->pbData[i]);
    } else {
        storeBigEndianUnits(source, tag == kTagUniversalString ? 4 : 2, target);
    }
    return size;
}

// Terminator of a wide value: a 32-bit zero unless the source already ends
// in a zero unit; none for an OCTET STRING.
DWORD wideTerminator(DWORD tag, const DecodeInput *source) {
    if (tag == kTagUtf8String || isByteStringTag(tag)) return lastBytesZero(source, 1) ? 0 : 4;
    if (tag == kTagUniversalString) return lastBytesZero(source, 4) ? 0 : 4;
    if (tag == kTagBmpString) return lastBytesZero(source, 2) ? 0 : 4;
    return 0;
}

// The strict flavour (X509_NAME) takes only the string types whose
// alphabet a strict name may use, and checks NumericString (digits only:
// its space is refused). PrintableString and IA5String are not inspected.
bool strictAccepts(DWORD valueType, const DecodeInput *content) {
    switch (valueType) {
    case CERT_RDN_TELETEX_STRING:
    case CERT_RDN_VIDEOTEX_STRING:
    case CERT_RDN_GRAPHIC_STRING:
    case CERT_RDN_VISIBLE_STRING:
    case CERT_RDN_GENERAL_STRING:
        return false;
    case CERT_RDN_NUMERIC_STRING:
        for (DWORD i = 0; i < content->cbData; ++i)
            if (!isAsciiDigit(content->pbData[i])) return false;
        return true;
    default:
        return true;
    }
}

}  // namespace

int64_t decodeStringA(DWORD tag, CRYPT_DATA_BLOB *value, const DecodeInput *source) {
    BYTE *const target = value ? value->pbData : nullptr;
    const DWORD room = target ? value->cbData : 0;
    const DWORD n = source->cbData;
    int64_t size;
    if (tag == kTagOctetString || isByteStringTag(tag)) {
        // 8-bit types are kept in their own encoding, unconverted.
        size = n;
        if (target) {
            if (size > room) return -1;
            if (n) std::memcpy(target, source->pbData, n);
        }
    } else if (tag == kTagUtf8String) {
        size = storeUtf8(source, target, room);
        if (size < 0) return -1;
    } else if (tag == kTagUniversalString) {
        // cbData counts every source byte; a partial last unit is zeroed.
        size = n;
        if (target) {
            if (size > room) return -1;
            storeBigEndianUnits(source, 4, target);
            const DWORD whole = n & ~DWORD(3);
            std::memset(target + whole, 0, n - whole);
        }
    } else if (tag == kTagBmpString) {
        size = int64_t(n / 2) * 4;
        if (target) {
            if (size > room) return -1;
            storeBigEndianUnits(source, 2, target);
        }
    } else {
        return -1;
    }
    if (target) value->cbData = DWORD(size);
    return size;
}

DWORD needtermA(DWORD tag, const DecodeInput *source) {
    if (tag == kTagUtf8String) return lastBytesZero(source, 1) ? 0 : 4;
    if (isByteStringTag(tag)) return lastBytesZero(source, 1) ? 0 : 1;
    if (tag == kTagUniversalString) return lastBytesZero(source, 4) ? 0 : 4;
    if (tag == kTagBmpString) return lastBytesZero(source, 2) ? 0 : 4;
    return 0;
}

bool DecodeRDN_ENCODED_BLOB(DecodeInput *input, DecodeArea *area) {
    BYTE *const slot = area->pbFixed;
    advanceBoth(area, sizeof(CERT_NAME_VALUE));
    if (slot) {
        CERT_NAME_VALUE value;
        std::memset(&value, 0, sizeof value);
        value.dwValueType = CERT_RDN_ENCODED_BLOB;
        value.Value.cbData = input->cbData;
        value.Value.pbData = area->pbExtra;
        if (!storeAt(area, slot, value)) return false;
        if (!copyAt(area, area->pbExtra, input->pbData, input->cbData)) return false;
    }
    advanceExtra(area, input->cbData);
    return true;
}

bool DecodeNameValue(DecodeInput *input, DecodeArea *area, bool strict) {
    // An empty input reads as tag 31, which has no string row and fails.
    DWORD tag = 31;
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0) {
        const BYTE first = input->pbData[0];
        // A BIT STRING value is kept whole, header included.
        if (first == kTagBitString) return DecodeRDN_ENCODED_BLOB(input, area);
        // Only universal primitive tags: a SEQUENCE or SET value is refused.
        if (first & 0xE0) {
            SetLastError(DWORD(CRYPT_E_ASN1_BADTAG));
            return false;
        }
        tag = first;
        if (!readAnyValue(input, &content)) return false;
    }
    const DWORD valueType = CERT_RDNTag[tag];
    if (strict && content.cbData != 0 && !strictAccepts(valueType, &content)) return false;
    return storeNameValue(valueType, needtermA(tag, &content), area, [&](BYTE *target, DWORD room) {
        CRYPT_DATA_BLOB value;
        value.cbData = room;
        value.pbData = target;
        return decodeStringA(tag, target ? &value : nullptr, &content);
    });
}

bool DecodeUNameValue(DecodeInput *input, DecodeArea *area) {
    if (input->cbData == 0) return false;
    const BYTE first = input->pbData[0];
    if (first == kTagBitString) return DecodeRDN_ENCODED_BLOB(input, area);
    // Class and constructed bits pass silently: only the tag number counts.
    const DWORD tag = first & 0x1Fu;
    DecodeInput content;
    if (!readAnyValue(input, &content)) return false;
    if (!hasWideRow(tag)) return false;
    return storeNameValue(CERT_RDNTag[tag], wideTerminator(tag, &content), area,
                          [&](BYTE *target, DWORD room) { return storeWideValue(tag, &content, target, room); });
}

bool DecodeStrictNameValue(DecodeInput *input, DecodeArea *area) { return DecodeNameValue(input, area, true); }

bool DecodeUnicodeNameValue(DecodeInput *input, DecodeArea *area) { return DecodeUNameValue(input, area); }

}  // namespace halden::decode
