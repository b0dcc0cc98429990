// The reading steps every decoder of decode/ is made of, and the rules by
// which decoded data is packed into the caller's one flat area.
//
// The area contract
// -----------------
// A decode runs twice over the same code: a measuring pass and a writing
// pass. A `DecodeArea` holds two cursors over the caller's area:
//   - the fixed cursor (pbFixed/cbFixed): where the next field of the
//     structure being decoded is stored;
//   - the extra cursor (pbExtra/cbExtra): where the next variable data
//     (strings, blob bytes, arrays) is stored.
// Both start at the same address. A cursor whose pointer is null only
// counts (measuring pass): its count grows by every reservation, and at the
// end cbExtra is the size the whole output needs. With a pointer (writing
// pass) the pointer moves up and the count falls. Nothing else tells the
// passes apart, so every store is guarded by the pointer being non-null.
//
// A fixed field of width w is reserved on BOTH cursors: the extra cursor
// moves past it too, which keeps variable data behind the fixed part. For an
// element of a list the fixed part is the array slot and the extra
// reservation is lost space; a list's size therefore counts its elements'
// fixed parts twice. That is how the size is defined: callers only ever see
// the number, and it is the same in both passes.
//
// Padding: every pass of n bytes is a padded advance (advanceCursor): the
// cursor moves by n rounded up to 8, except that when n still fits but the
// rounded size does not, it moves by n and its count drops to 0.
//
// Bounds: pbEnd is the end of the caller's area (null while measuring).
// Every store and copy of the writing pass is checked against it
// (hasRoom); what would pass it fails the decode with FALSE and leaves the
// last error alone. Cursors may move beyond pbEnd (padding, wrapped
// counts); only stores are checked, and always by address, never by count.
//
// Failures: functions return true for success. A failure sets the last
// error only where the format says so (CRYPT_E_ASN1_BADTAG for a wrong tag,
// CRYPT_E_ASN1_EOD for a truncated or over-long length header) and
// otherwise leaves it alone. No function undoes partial stores.
//
// Input: a DecodeInput is a cursor (count left, position). Reading moves it
// forward. A decoder that reads a constructed value takes the content into a
// local cursor and moves the caller's cursor past the whole value, so bytes
// left unread inside a value are ignored silently at every level.
//
// Nothing here uses the heap: the caller's area is all the memory there is.
#ifndef HALDEN_DECODE_PRIMITIVES_H
#define HALDEN_DECODE_PRIMITIVES_H

#include <cstdint>
#include <cstring>

#include <maren/maren.h>

namespace halden::decode {

// Bytes still to read. Same shape as a CRYPT_DATA_BLOB, but read-only.
struct DecodeInput {
    DWORD cbData;
    const BYTE *pbData;
};

// The two-cursor output context (see the contract above).
struct DecodeArea {
    DWORD cbFixed;
    BYTE *pbFixed;
    DWORD cbExtra;
    BYTE *pbExtra;
    // End of the caller's area; null in the measuring pass.
    BYTE *pbEnd;
    // End of the whole encoded input; an empty BOOLEAN may read the byte
    // behind it only when that byte lies before this end.
    const BYTE *pbInputEnd;
};

// A decoder of one value or of a constructed value's content.
using DecodeFn = bool (*)(DecodeInput *input, DecodeArea *area);
// A time converter: blob of characters to FILETIME; a null out only checks.
using TimeConverterFn = bool (*)(const DecodeInput *blob, FILETIME *out);

constexpr DWORD kPointerSize = sizeof(void *);
// A counted array (count, pointer), the shape of CERT_EXTENSIONS,
// CERT_NAME_INFO, CERT_RDN and the other list heads.
constexpr DWORD kListPairSize = 16;
constexpr DWORD kBlobSize = sizeof(CRYPT_DATA_BLOB);
constexpr DWORD kBitBlobSize = sizeof(CRYPT_BIT_BLOB);
constexpr DWORD kFileTimeSize = sizeof(FILETIME);

// Simple types of ASN1DecodeSimpleEx besides the X509_* constants.
constexpr DWORD kSimpleBoolean = 0x1004;
constexpr DWORD kSimpleWideString = 0x100E;
constexpr DWORD kSimpleAnyOctets = 0x1000;
constexpr DWORD kSimpleOctetString = 25;
constexpr DWORD kSimpleBits = 26;
constexpr DWORD kSimpleInteger = 27;
constexpr DWORD kSimpleMultiByteInteger = 28;
constexpr DWORD kSimpleEnumerated = 29;
constexpr DWORD kSimpleMultiByteUint = 38;
constexpr DWORD kSimpleUtcTime = 17;
constexpr DWORD kSimpleObjectIdentifier = 73;
// Tag selector of ASN1DecodeSimpleEx that takes any tag.
constexpr DWORD kAnyTag = 31;

// ---------------------------------------------------------------------------
// Cursor arithmetic and bounded stores (inline: they run at every field).

inline uint64_t padTo8(uint64_t n) { return (n + 7) & ~uint64_t(7); }

// Padded advance of one cursor by n bytes (see the contract above). A
// measuring count saturates instead of wrapping, so a size never shrinks.
inline void advanceCursor(BYTE *&pb, DWORD &cb, DWORD n) {
    const uint64_t a = padTo8(n);
    if (pb == nullptr) {
        const uint64_t sum = uint64_t(cb) + a;
        cb = sum > 0xFFFFFFFFu ? 0xFFFFFFFFu : DWORD(sum);
        return;
    }
    // Pointer moves are done on integers: the cursor may legitimately
    // leave the area (padding of the last item, wrapped counts).
    if (cb >= a || cb < n) {
        pb = reinterpret_cast<BYTE *>(reinterpret_cast<uintptr_t>(pb) + a);
        cb = DWORD(uint64_t(cb) - a);
    } else {
        pb = reinterpret_cast<BYTE *>(reinterpret_cast<uintptr_t>(pb) + n);
        cb = 0;
    }
}

inline void advanceFixed(DecodeArea *area, DWORD n) { advanceCursor(area->pbFixed, area->cbFixed, n); }
inline void advanceExtra(DecodeArea *area, DWORD n) { advanceCursor(area->pbExtra, area->cbExtra, n); }
inline void advanceBoth(DecodeArea *area, DWORD n) {
    advanceFixed(area, n);
    advanceExtra(area, n);
}

// True when n bytes at p lie inside the caller's area. Compared as
// addresses: p may stand beyond the end.
inline bool hasRoom(const DecodeArea *area, const void *p, uint64_t n) {
    const uintptr_t ip = reinterpret_cast<uintptr_t>(p);
    const uintptr_t ie = reinterpret_cast<uintptr_t>(area->pbEnd);
    return ip <= ie && n <= ie - ip;
}

// Bounded zero-fill and copy; false (nothing written) when out of the area.
inline bool zeroAt(const DecodeArea *area, void *p, uint64_t n) {
    if (!hasRoom(area, p, n)) return false;
    if (n) std::memset(p, 0, size_t(n));
    return true;
}
inline bool copyAt(const DecodeArea *area, void *p, const void *src, uint64_t n) {
    if (!hasRoom(area, p, n)) return false;
    if (n) std::memcpy(p, src, size_t(n));
    return true;
}
template <typename T>
inline bool storeAt(const DecodeArea *area, void *p, const T &value) {
    return copyAt(area, p, &value, sizeof(T));
}

// A 32-bit field at the fixed cursor (stored only in the writing pass);
// both cursors take the padded advance of 4.
inline bool storeDwordField(DecodeArea *area, DWORD value) {
    if (area->pbFixed && !storeAt(area, area->pbFixed, value)) return false;
    advanceBoth(area, 4);
    return true;
}

// A zeroed structure of `size` bytes at the fixed cursor, passed on both
// cursors. Returns its address (null while measuring) through *slot.
inline bool reserveZeroedField(DecodeArea *area, DWORD size, BYTE **slot) {
    BYTE *p = area->pbFixed;
    if (p && !zeroAt(area, p, size)) return false;
    if (slot) *slot = p;
    advanceBoth(area, size);
    return true;
}

// ---------------------------------------------------------------------------
// The length rule and tag checks (inline: the heart of every read).
//
// readLength: with the tag byte consumed, reads the length header.
//   no byte left                      -> CRYPT_E_ASN1_EOD
//   below 0x80                        -> that length, one byte
//   0x80 (indefinite)                 -> length 0, one byte; no end-of-contents
//                                        is looked for (deliberate leniency)
//   0x81..0x84                        -> that many big-endian bytes; leading
//                                        zeros and short values accepted
//   longer form, or bytes missing     -> CRYPT_E_ASN1_EOD
// The cursor then stands behind the header. A length beyond the bytes left
// fails with the last error untouched.
inline bool readLength(DecodeInput *in, DWORD *length) {
    if (in->cbData == 0) {
        SetLastError(DWORD(CRYPT_E_ASN1_EOD));
        return false;
    }
    const BYTE first = in->pbData[0];
    DWORD len = 0;
    DWORD header = 1;
    if (first > 0x80) {
        const DWORD n = first & 0x7Fu;
        if (n > 4 || in->cbData < n + 1) {
            SetLastError(DWORD(CRYPT_E_ASN1_EOD));
            return false;
        }
        for (DWORD i = 1; i <= n; ++i) len = (len << 8) | in->pbData[i];
        header = n + 1;
    } else if (first < 0x80) {
        len = first;
    }
    in->pbData += header;
    in->cbData -= header;
    if (len > in->cbData) return false;
    *length = len;
    return true;
}

// Length rule, then the content into *content and the cursor behind it.
inline bool readContent(DecodeInput *in, DecodeInput *content) {
    DWORD len;
    if (!readLength(in, &len)) return false;
    content->cbData = len;
    content->pbData = in->pbData;
    in->pbData += len;
    in->cbData -= len;
    return true;
}

// One value with no tag check: the tag byte is skipped unread. An empty
// input gives empty content at the cursor's position and success; callers
// that need a value test for it themselves.
inline bool readAnyValue(DecodeInput *in, DecodeInput *content) {
    if (in->cbData == 0) {
        content->cbData = 0;
        content->pbData = in->pbData;
        return true;
    }
    ++in->pbData;
    --in->cbData;
    return readContent(in, content);
}

// One value whose first byte must equal `tag` exactly, else
// CRYPT_E_ASN1_BADTAG. An empty input ends inside a header: CRYPT_E_ASN1_EOD.
inline bool readTaggedValue(DecodeInput *in, BYTE tag, DecodeInput *content) {
    if (in->cbData == 0) {
        SetLastError(DWORD(CRYPT_E_ASN1_EOD));
        return false;
    }
    if (in->pbData[0] != tag) {
        SetLastError(DWORD(CRYPT_E_ASN1_BADTAG));
        return false;
    }
    ++in->pbData;
    --in->cbData;
    return readContent(in, content);
}

// True when the next byte exists and equals `tag`.
inline bool nextTagIs(const DecodeInput *in, BYTE tag) { return in->cbData != 0 && in->pbData[0] == tag; }

// ---------------------------------------------------------------------------
// The primitives.

// True for an empty blob; otherwise checks, without moving anything, that
// the first value's length header is well formed (CRYPT_E_ASN1_EOD) and its
// declared length fits (last error untouched). The 0x80 form passes.
bool checkASN1blob(const DecodeInput *blob);

// One whole value (tag, header, content) with no tag check into *blob; the
// input moves behind it. An empty input gives an empty blob and success.
bool extractEncodedBlob(DecodeInput *input, DecodeInput *blob);

// One whole value copied into the area as a CRYPT_DER_BLOB.
bool DecodeDERBlob(DecodeInput *input, DecodeArea *area);

// DecodeDERBlob, then checkASN1blob on the copied bytes.
bool DecodeCheckBlob(DecodeInput *input, DecodeArea *area);

// A blob's bytes copied into the area as a CRYPT_DATA_BLOB at the fixed
// cursor; an empty blob gives a zeroed slot.
bool blbCopyDataBlob(DecodeArea *area, const DecodeInput *blob);

// BIT STRING content (count byte, then bits) into a CRYPT_BIT_BLOB at the
// fixed cursor. A count of 8 or more fails; unused bits are not cleared.
bool blbCopyDataBitBlob(DecodeArea *area, const DecodeInput *blob);

// A whole BIT STRING value (no tag check) into `field`, a CRYPT_BIT_BLOB
// already reserved elsewhere (null while measuring). Only the extra cursor
// of `area` is used and moved. Content of only the count byte fails.
bool blb2bits(DecodeInput *input, CRYPT_BIT_BLOB *field, DecodeArea *area);

// INTEGER content stored byte-reversed (little-endian, sign byte kept) as a
// CRYPT_INTEGER_BLOB at the fixed cursor. The length may be 0.
bool DecodeMBInt(const BYTE *bytes, DWORD length, DecodeArea *area);

// Structures too involved to fill in place are built as an image at the
// caller's extra cursor on a local area whose two cursors start there:
// DecodeBeginStructImage zeroes the image, points image->pbFixed at it and
// moves image's extra cursor past it. DecodeRestoreStructInfo then moves the
// finished image to the caller's fixed cursor (a no-op at top level, where
// the two places coincide), passes `size` on the fixed cursor and hands the
// caller's extra cursor over to the image's.
bool DecodeBeginStructImage(DecodeArea *area, DWORD size, DecodeArea *image);
bool DecodeRestoreStructInfo(DecodeArea *area, const DecodeArea *image, DWORD size);

// One constructed value whose tag byte is tagNumber with the constructed
// bit 0x20 set (16 -> 0x30, 17 -> 0x31, 160 -> 0xA0; else
// CRYPT_E_ASN1_BADTAG); `content` runs on its content. An empty input is no
// error: `content` then runs on an empty blob.
bool ASN1DecodeConstructed(DecodeInput *input, BYTE tagNumber, DecodeArea *area, DecodeFn content);

// A SEQUENCE OF / SET OF into a counted array (kListPairSize bytes at the
// fixed cursor: 32-bit count, pointer). Each `element` call reads one
// element from the list's content and stores elementSize bytes through the
// fixed cursor. Empty input: zeroed pair, success. A list fails at the first
// element that fails, or that succeeds without consuming a byte.
bool ASN1DecodeConstructedList(DecodeInput *input, DecodeArea *area, BYTE tagNumber, DWORD elementSize,
                               DecodeFn element);

// One primitive value, perhaps absent. Only the low five bits of
// tagSelector count: 31 takes any tag, another value is a tag number
// compared with `byte & 0x1F` (so 129 is [1] of any class). simpleType is
// one of the kSimple* constants.
bool ASN1DecodeSimpleEx(DecodeInput *input, DWORD tagSelector, DWORD simpleType, DecodeArea *area);

// A Time CHOICE (UTCTime 23 or GeneralizedTime 24) into a FILETIME at the
// fixed cursor. Another first byte, or fewer than two bytes: failure, last
// error untouched.
bool ASN1DecodeChoiceOfTime(DecodeInput *input, DecodeArea *area);

// Runs `convert` on a time's characters and stores the FILETIME at the
// fixed cursor; both cursors pass 8 bytes. In the measuring pass the
// converter only checks the length.
bool decodeFILETIME(TimeConverterFn convert, DecodeArea *area, const DecodeInput *blob);

// YYMMDDHHMM[SS]Z: length 11 or 13 only. Digits are not checked; an invalid
// date still succeeds and yields a zero FILETIME. Years 50-99 are 19xx.
bool ASN1UTCTimeToFileTime(const DecodeInput *blob, FILETIME *out);
// YYYYMMDDHHMM[SS[.f{1,3}]]Z: length 13, 15, 17, 18 or 19. An invalid date
// fails.
bool ASN1GeneralizedTimeToFileTime(const DecodeInput *blob, FILETIME *out);

// OBJECT IDENTIFIER content into dotted text. *lengthOut receives the
// character count with the terminator. With a null `out` only that length
// is computed; with an `out`, *lengthOut on entry is its room in bytes and
// a text that does not fit fails.
bool ASN1OIDToString(DWORD length, const BYTE *bytes, char *out, DWORD *lengthOut);

// One OBJECT IDENTIFIER value (no tag check) into a string pointer field at
// the fixed cursor, the text at the extra cursor. Empty input fails.
bool DecodeOIDToString(DecodeInput *input, DecodeArea *area);

namespace detail {
// OBJECT IDENTIFIER content (header already read) into a string pointer
// field: the part DecodeOIDToString and ASN1DecodeSimpleEx share.
bool storeOIDField(const DecodeInput *content, DecodeArea *area);
// Room behind p up to the end of the area, capped to 32 bits; 0 when p
// stands at or beyond the end.
inline DWORD roomFrom(const DecodeArea *area, const void *p) {
    const uintptr_t ip = reinterpret_cast<uintptr_t>(p);
    const uintptr_t ie = reinterpret_cast<uintptr_t>(area->pbEnd);
    if (ip >= ie) return 0;
    const uintptr_t room = ie - ip;
    return room > 0xFFFFFFFFu ? 0xFFFFFFFFu : DWORD(room);
}
}  // namespace detail

}  // namespace halden::decode

#endif
