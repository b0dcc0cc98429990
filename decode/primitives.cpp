// Blobs, integers, structure images, constructed values, lists and the
// simple types: the building blocks of every decoder.
#include <decode/primitives.h>

#include <climits>

namespace halden::decode {

namespace {

// A list head as it is stored: 32-bit count, then the array pointer.
struct ListPair {
    DWORD count;
    void *items;
};
static_assert(sizeof(ListPair) == kListPairSize, "list head layout");

// Stores a blob header {cbData, pbData} at the fixed cursor.
bool storeBlobHeader(DecodeArea *area, DWORD cbData, BYTE *pbData) {
    CRYPT_DATA_BLOB blob;
    blob.cbData = cbData;
    blob.pbData = pbData;
    return storeAt(area, area->pbFixed, blob);
}

// An empty blob: zeroed slot, both cursors pass it.
bool storeEmptyBlob(DecodeArea *area, DWORD slotSize) { return reserveZeroedField(area, slotSize, nullptr); }

// The tag byte of a constructed value of the given tag number.
inline BYTE constructedTag(BYTE tagNumber) { return BYTE(tagNumber | 0x20); }

// Runs `element` over `content` until it is exhausted. Stops with failure at
// the first element that fails or that consumes nothing, so a run over any
// bytes ends. At most `limit` elements are taken; more is a failure.
bool runElements(DecodeInput content, DecodeArea *local, DecodeFn element, uint64_t limit, uint64_t *count) {
    uint64_t n = 0;
    while (content.cbData != 0) {
        if (n == limit) return false;
        const DWORD before = content.cbData;
        if (!element(&content, local)) return false;
        if (content.cbData >= before) return false;
        ++n;
    }
    *count = n;
    return true;
}

// The number of values in `content` by the length rule, tags unchecked; a
// malformed header ends the count and counts itself. Sets no last error.
uint64_t countValues(DecodeInput content) {
    uint64_t n = 0;
    const BYTE *p = content.pbData;
    uint64_t left = content.cbData;
    while (left != 0) {
        ++n;
        if (left < 2) break;
        const BYTE first = p[1];
        uint64_t header = 2;
        uint64_t length = 0;
        if (first > 0x80) {
            const DWORD k = first & 0x7Fu;
            if (k > 4 || left < 2 + uint64_t(k)) break;
            for (DWORD i = 0; i < k; ++i) length = (length << 8) | p[2 + i];
            header += k;
        } else if (first < 0x80) {
            length = first;
        }
        if (header + length > left) break;
        p += header + length;
        left -= header + length;
    }
    return n;
}

// A sign-extended big-endian integer of 1 to 4 bytes.
DWORD signExtended(const BYTE *bytes, DWORD length) {
    DWORD v = (bytes[0] & 0x80) ? 0xFFFFFFFFu : 0;
    for (DWORD i = 0; i < length; ++i) v = (v << 8) | bytes[i];
    return v;
}

// BOOLEAN: non-zero first content byte. An empty BOOLEAN reads the byte
// behind it (a leniency this format has always had), but only when that
// byte still belongs to the input of the decode; at its end it reads 0.
DWORD booleanValue(bool present, const DecodeInput *value, const DecodeArea *area) {
    if (!present) return 0;
    if (value->cbData != 0) return value->pbData[0] != 0;
    const uintptr_t at = reinterpret_cast<uintptr_t>(value->pbData);
    const uintptr_t end = reinterpret_cast<uintptr_t>(area->pbInputEnd);
    return at < end ? DWORD(value->pbData[0] != 0) : 0;
}

// The 8-bit string of a value, converted with the platform's code page
// into a wide string at the extra cursor behind a pointer field.
bool storeWideStringField(const DecodeInput *value, DecodeArea *area) {
    if (value->cbData > INT_MAX) return false;
    const auto *src = reinterpret_cast<LPCSTR>(value->pbData);
    const int units = MultiByteToWideChar(CP_ACP, 0, src, int(value->cbData), nullptr, 0);
    if (units <= 0) return false;
    const uint64_t bytes = uint64_t(units) * sizeof(WCHAR) + sizeof(WCHAR);
    if (bytes > 0xFFFFFFFFu) return false;
    advanceExtra(area, kPointerSize);
    if (area->pbFixed) {
        BYTE *text = area->pbExtra;
        if (!storeAt(area, area->pbFixed, text) || !hasRoom(area, text, bytes)) return false;
        auto *wide = reinterpret_cast<LPWSTR>(text);
        const int written = MultiByteToWideChar(CP_ACP, 0, src, int(value->cbData), wide, units);
        if (written <= 0 || written > units) return false;
        const WCHAR zero = 0;
        std::memcpy(text + size_t(written) * sizeof(WCHAR), &zero, sizeof zero);
    }
    advanceExtra(area, DWORD(bytes));
    advanceFixed(area, kPointerSize);
    return true;
}

// INTEGER content as an integer blob; for the unsigned type all leading
// zero bytes go first. In the measuring pass the bytes are not looked at.
bool storeMultiByteInteger(const DecodeInput *value, bool isUnsigned, DecodeArea *area) {
    const BYTE *bytes = value->pbData;
    DWORD length = value->cbData;
    if (isUnsigned && area->pbFixed) {
        while (length != 0 && *bytes == 0) {
            ++bytes;
            --length;
        }
    }
    if (length == 0) return storeEmptyBlob(area, kBlobSize);
    return DecodeMBInt(bytes, length, area);
}

}  // namespace

bool checkASN1blob(const DecodeInput *blob) {
    if (blob->cbData == 0) return true;
    DecodeInput probe{blob->cbData - 1, blob->pbData + 1};
    DWORD length;
    return readLength(&probe, &length);
}

bool extractEncodedBlob(DecodeInput *input, DecodeInput *blob) {
    const BYTE *start = input->pbData;
    const DWORD before = input->cbData;
    if (before == 0) {
        blob->cbData = 0;
        blob->pbData = start;
        return true;
    }
    DecodeInput content;
    if (!readAnyValue(input, &content)) return false;
    blob->cbData = before - input->cbData;
    blob->pbData = start;
    return true;
}

bool blbCopyDataBlob(DecodeArea *area, const DecodeInput *blob) {
    if (blob->cbData == 0) return storeEmptyBlob(area, kBlobSize);
    advanceExtra(area, kBlobSize);
    if (area->pbFixed) {
        if (!storeBlobHeader(area, blob->cbData, area->pbExtra)) return false;
        if (!copyAt(area, area->pbExtra, blob->pbData, blob->cbData)) return false;
    }
    advanceExtra(area, blob->cbData);
    advanceFixed(area, kBlobSize);
    return true;
}

bool DecodeDERBlob(DecodeInput *input, DecodeArea *area) {
    DecodeInput value;
    if (!extractEncodedBlob(input, &value)) return false;
    return blbCopyDataBlob(area, &value);
}

bool DecodeCheckBlob(DecodeInput *input, DecodeArea *area) {
    DecodeInput value;
    if (!extractEncodedBlob(input, &value)) return false;
    if (!blbCopyDataBlob(area, &value)) return false;
    // The stored bytes are a copy of `value`: checking the source is the same.
    return checkASN1blob(&value);
}

bool blbCopyDataBitBlob(DecodeArea *area, const DecodeInput *blob) {
    if (blob->cbData == 0) return storeEmptyBlob(area, kBitBlobSize);
    const BYTE unusedBits = blob->pbData[0];
    if (unusedBits >= 8) return false;
    const DWORD length = blob->cbData - 1;
    advanceExtra(area, kBitBlobSize);
    if (area->pbFixed) {
        CRYPT_BIT_BLOB bits;
        bits.cbData = length;
        bits.pbData = area->pbExtra;
        bits.cUnusedBits = unusedBits;
        if (!storeAt(area, area->pbFixed, bits)) return false;
        if (!copyAt(area, area->pbExtra, blob->pbData + 1, length)) return false;
    }
    advanceExtra(area, length);
    advanceFixed(area, kBitBlobSize);
    return true;
}

bool blb2bits(DecodeInput *input, CRYPT_BIT_BLOB *field, DecodeArea *area) {
    DecodeInput content;
    if (!readAnyValue(input, &content)) return false;
    const bool writing = field != nullptr && area->pbExtra != nullptr;
    if (writing && !hasRoom(area, field, sizeof *field)) return false;
    if (content.cbData == 0) {
        if (field) std::memset(field, 0, sizeof *field);
        return true;
    }
    const BYTE unusedBits = content.pbData[0];
    if (unusedBits > 7 || content.cbData == 1) return false;
    const DWORD length = content.cbData - 1;
    if (writing) {
        if (!copyAt(area, area->pbExtra, content.pbData + 1, length)) return false;
        field->cbData = length;
        field->pbData = area->pbExtra;
        field->cUnusedBits = unusedBits;
    }
    advanceExtra(area, length);
    return true;
}

bool DecodeMBInt(const BYTE *bytes, DWORD length, DecodeArea *area) {
    advanceExtra(area, kBlobSize);
    if (area->pbFixed) {
        BYTE *out = area->pbExtra;
        if (!storeBlobHeader(area, length, out) || !hasRoom(area, out, length)) return false;
        // CRYPT_INTEGER_BLOB is little-endian; the sign byte is kept.
        for (DWORD i = 0; i < length; ++i) out[i] = bytes[length - 1 - i];
    }
    advanceExtra(area, length);
    advanceFixed(area, kBlobSize);
    return true;
}

bool DecodeBeginStructImage(DecodeArea *area, DWORD size, DecodeArea *image) {
    *image = *area;
    image->pbFixed = area->pbExtra;
    image->cbFixed = area->cbExtra;
    if (image->pbFixed && !zeroAt(area, image->pbFixed, size)) return false;
    advanceExtra(image, size);
    return true;
}

bool DecodeRestoreStructInfo(DecodeArea *area, const DecodeArea *image, DWORD size) {
    if (area->pbFixed) {
        if (!hasRoom(area, area->pbFixed, size) || !hasRoom(area, area->pbExtra, size)) return false;
        if (area->pbFixed != area->pbExtra) std::memmove(area->pbFixed, area->pbExtra, size);
    }
    advanceFixed(area, size);
    area->pbExtra = image->pbExtra;
    area->cbExtra = image->cbExtra;
    return true;
}

bool ASN1DecodeConstructed(DecodeInput *input, BYTE tagNumber, DecodeArea *area, DecodeFn content) {
    DecodeInput body{0, input->pbData};
    if (input->cbData != 0 && !readTaggedValue(input, constructedTag(tagNumber), &body)) return false;
    return content(&body, area);
}

bool ASN1DecodeConstructedList(DecodeInput *input, DecodeArea *area, BYTE tagNumber, DWORD elementSize,
                               DecodeFn element) {
    if (input->cbData == 0) return storeEmptyBlob(area, kListPairSize);
    DecodeInput content;
    if (!readTaggedValue(input, constructedTag(tagNumber), &content)) return false;

    ListPair pair{0, nullptr};
    BYTE *const pairAt = area->pbExtra;
    if (pairAt) {
        // The head is built at the extra cursor; the array follows it.
        if (!zeroAt(area, pairAt, kListPairSize)) return false;
        DecodeArea behind = *area;
        advanceExtra(&behind, kListPairSize);
        // The array's length is the number of elements. Every element
        // decoder reads exactly one value by the length rule, so the values
        // are counted by their headers alone, without decoding each element
        // a second time. A malformed header counts as one more element: its
        // decoder meets the same header below and fails with its own error.
        const uint64_t counted = countValues(content);
        if (counted > 0xFFFFFFFFu) return false;
        pair.count = DWORD(counted);
        pair.items = behind.pbExtra;
        if (!storeAt(area, pairAt, pair)) return false;
    }
    if (area->pbFixed && !storeAt(area, area->pbFixed, pair)) return false;
    advanceBoth(area, kListPairSize);

    DecodeArea local = *area;
    if (!pairAt) {
        uint64_t counted = 0;
        if (!runElements(content, &local, element, UINT64_MAX, &counted)) return false;
        const uint64_t arrayBytes = counted * elementSize;
        if (arrayBytes > 0xFFFFFFFFu) return false;
        advanceExtra(&local, DWORD(arrayBytes));
    } else {
        const uint64_t arrayBytes = uint64_t(pair.count) * elementSize;
        if (arrayBytes > 0xFFFFFFFFu || !zeroAt(area, local.pbExtra, arrayBytes)) return false;
        local.pbFixed = local.pbExtra;
        local.cbFixed = local.cbExtra;
        advanceExtra(&local, DWORD(arrayBytes));
        // Each element stores through the fixed cursor, filling the array
        // slot by slot; never more elements than slots.
        uint64_t written = 0;
        if (!runElements(content, &local, element, pair.count, &written)) return false;
        if (written != pair.count) return false;
    }
    area->pbExtra = local.pbExtra;
    area->cbExtra = local.cbExtra;
    return true;
}

bool ASN1DecodeSimpleEx(DecodeInput *input, DWORD tagSelector, DWORD simpleType, DecodeArea *area) {
    const DWORD tagNumber = tagSelector & 0x1Fu;
    const bool present = input->cbData != 0 && (tagNumber == kAnyTag || (input->pbData[0] & 0x1Fu) == tagNumber);
    DecodeInput value{0, nullptr};
    if (present && !readAnyValue(input, &value)) return false;

    switch (simpleType) {
    case kSimpleBoolean:
        return storeDwordField(area, area->pbFixed ? booleanValue(present, &value, area) : 0);
    case kSimpleObjectIdentifier:
        return detail::storeOIDField(&value, area);
    case kSimpleWideString:
        return storeWideStringField(&value, area);
    case kSimpleAnyOctets:
    case kSimpleOctetString:
        return blbCopyDataBlob(area, &value);
    case kSimpleBits:
        return blbCopyDataBitBlob(area, &value);
    case kSimpleInteger:
    case kSimpleEnumerated:
        // Such a field is never optional: absent or empty fails.
        if (value.cbData < 1 || value.cbData > 4) return false;
        return storeDwordField(area, area->pbFixed ? signExtended(value.pbData, value.cbData) : 0);
    case kSimpleMultiByteInteger:
        return storeMultiByteInteger(&value, false, area);
    case kSimpleMultiByteUint:
        return storeMultiByteInteger(&value, true, area);
    case kSimpleUtcTime:
        return decodeFILETIME(ASN1UTCTimeToFileTime, area, &value);
    default:
        return false;
    }
}

bool ASN1DecodeChoiceOfTime(DecodeInput *input, DecodeArea *area) {
    if (input->cbData < 2) return false;
    const BYTE tag = input->pbData[0];
    if (tag != 23 && tag != 24) return false;
    DecodeInput value;
    if (!readAnyValue(input, &value)) return false;
    return decodeFILETIME(tag == 23 ? ASN1UTCTimeToFileTime : ASN1GeneralizedTimeToFileTime, area, &value);
}

bool decodeFILETIME(TimeConverterFn convert, DecodeArea *area, const DecodeInput *blob) {
    FILETIME time{};
    if (!convert(blob, area->pbFixed ? &time : nullptr)) return false;
    if (area->pbFixed && !storeAt(area, area->pbFixed, time)) return false;
    advanceBoth(area, kFileTimeSize);
    return true;
}

}  // namespace halden::decode
