// The revokedCertificates of a CRL: entries (CRL_ENTRY) and their
// extensions.
//
// A large CRL is nearly all entries, and nearly every entry is a serial, a
// UTCTime and one reason code extension. The reason code of such an entry
// is recognised by comparing bytes with a template and pointed at constant
// data instead of being decoded and copied. On top of that, the list runs
// such a common entry on a straight path: it is first recognised without
// any side effect, then stored with one bounds check and a direct calendar
// conversion of its time. Every other entry, and every common entry that
// would reach past the end of the area or whose time is not a plain valid
// date, takes the general path, which does the same field by field; so the
// two paths can't disagree on any input.
//
// The list is the generic list of primitives.h with two changes that keep
// its result: the writing pass learns the element count by a measuring run
// (no copies, no time conversion) instead of decoding every element once
// more into scratch space, and array slots are zeroed one by one as they
// are reached instead of all at once.
#include <cstddef>

#include <decode/der_reader.h>
#include <decode/fast_time.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagNumberSequence = 16;
constexpr BYTE kUtcTimeTag = 23;
constexpr BYTE kHighestReason = 10;

static_assert(offsetof(CRL_ENTRY, RevocationDate) == 16 && offsetof(CRL_ENTRY, cExtension) == 24, "CRL_ENTRY layout");
static_assert(sizeof(CRL_ENTRY) == 40 && sizeof(CERT_EXTENSION) == 32, "CRL_ENTRY layout");
// The straight path stores these as 64-bit words: little-endian, with the
// 32-bit counts and flags at the low end of their padded slots.
static_assert(offsetof(CERT_EXTENSION, fCritical) == 8 && offsetof(CERT_EXTENSION, Value) == 16, "layout");
static_assert(offsetof(CRYPT_INTEGER_BLOB, pbData) == 8 && offsetof(CRL_ENTRY, rgExtension) == 32, "layout");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the straight path stores little-endian words");

// The reason code extension shared by all fast-path entries: its OID text
// and, for each reason 0 to 10, the encoded ENUMERATED (0A 01 nn).
const char str21[] = "2.5.29.21";
constexpr BYTE CRLr[33] = {0x0A, 0x01, 0, 0x0A, 0x01, 1, 0x0A, 0x01, 2, 0x0A, 0x01, 3, 0x0A, 0x01, 4, 0x0A, 0x01,
                           5, 0x0A, 0x01, 6, 0x0A, 0x01, 7, 0x0A, 0x01, 8, 0x0A, 0x01, 9, 0x0A, 0x01, 10};
// Extension SEQUENCE { 2.5.29.21, OCTET STRING { ENUMERATED, one byte } }
// up to the reason byte, and the same inside its SEQUENCE OF.
constexpr BYTE oid21[11] = {0x30, 0x0A, 0x06, 0x03, 0x55, 0x1D, 0x15, 0x04, 0x03, 0x0A, 0x01};
constexpr BYTE Entrys21[13] = {0x30, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x1D, 0x15, 0x04, 0x03, 0x0A, 0x01};

// The CERT_EXTENSION a fast-path reason stores, whole (padding included).
CERT_EXTENSION reasonExtension(BYTE reason) {
    CERT_EXTENSION ext;
    std::memset(&ext, 0, sizeof ext);
    ext.pszObjId = const_cast<char *>(str21);
    ext.fCritical = FALSE;
    ext.Value.cbData = 3;
    ext.Value.pbData = const_cast<BYTE *>(CRLr + 3 * reason);
    return ext;
}

// A list head as stored, padding zeroed.
struct ListHead {
    DWORD count;
    DWORD padding;
    void *items;
};
static_assert(sizeof(ListHead) == kListPairSize, "list head layout");

inline uint64_t load8(const BYTE *p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// The 13 bytes of Entrys21, compared as two overlapping words.
inline bool matchesEntrys21(const BYTE *p) {
    return load8(p) == load8(Entrys21) && load8(p + 5) == load8(Entrys21 + 5);
}

// ---------------------------------------------------------------------------
// The general path, field by field.

// RevocationDate: a Time CHOICE.
bool decodeRevocationDate(DecodeInput *content, DecodeArea *area) { return ASN1DecodeChoiceOfTime(content, area); }

// The one-reason extension list of a fast-path entry: the pair at the fixed
// cursor, the CERT_EXTENSION behind it at the extra cursor.
bool storeReasonExtension(BYTE reason, DecodeArea *area) {
    advanceExtra(area, kListPairSize);
    BYTE *const extAt = area->pbExtra;
    if (area->pbFixed) {
        const CERT_EXTENSION ext = reasonExtension(reason);
        const ListHead head{1, 0, extAt};
        if (!storeAt(area, extAt, ext) || !storeAt(area, area->pbFixed, head)) return false;
    }
    advanceExtra(area, sizeof(CERT_EXTENSION));
    advanceFixed(area, kListPairSize);
    return true;
}

// One extension of an entry's list into CERT_EXTENSION.
bool DecodeCRLEntryExtension(DecodeInput *input, DecodeArea *area) {
    // Only the last extension of an entry can match: the template must fill
    // the rest of the list exactly.
    if (input->cbData == sizeof oid21 + 1 && std::memcmp(input->pbData, oid21, sizeof oid21) == 0) {
        const BYTE reason = input->pbData[sizeof oid21];
        if (reason > kHighestReason) return false;
        if (area->pbFixed && !storeAt(area, area->pbFixed, reasonExtension(reason))) return false;
        advanceBoth(area, sizeof(CERT_EXTENSION));
        input->pbData += sizeof oid21 + 1;
        input->cbData = 0;
        return true;
    }
    return DecodeExtension(input, area);
}

bool DecodeCRLEntry(DecodeInput *input, DecodeArea *area) {
    if (input->cbData == 0) return false;
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    if (content.cbData == 0) return false;
    if (content.pbData[0] != 0x02) {
        SetLastError(DWORD(CRYPT_E_ASN1_BADTAG));
        return false;
    }
    ++content.pbData;
    --content.cbData;
    DecodeInput serial;
    if (!readContent(&content, &serial)) return false;
    if (!DecodeMBInt(serial.pbData, serial.cbData, area)) return false;
    if (!decodeRevocationDate(&content, area)) return false;
    if (content.cbData == sizeof Entrys21 + 1 && matchesEntrys21(content.pbData)) {
        const BYTE reason = content.pbData[sizeof Entrys21];
        if (reason > kHighestReason) return false;
        return storeReasonExtension(reason, area);
    }
    return ASN1DecodeConstructedList(&content, area, kTagNumberSequence, sizeof(CERT_EXTENSION),
                                     DecodeCRLEntryExtension);
}

// ---------------------------------------------------------------------------
// The straight path of the common entry:
//   30 len  02 n <serial>  17 0D <YYMMDDHHMMSSZ>  30 0C 30 0A 06 03 55 1D 15 04 03 0A 01 <reason>
// with short-form lengths and a reason of 0 to 10.

struct CommonEntry {
    const BYTE *serial;
    DWORD serialLength;
    const BYTE *time;
    BYTE reason;
    DWORD consumed;
};

constexpr DWORD kTimeValueSize = 15;   // 17 0D + 13 characters
constexpr DWORD kReasonListSize = 14;  // Entrys21 + the reason byte

// Recognises a common entry at the start of `in`, reading only.
inline bool recogniseCommonEntry(const DecodeInput *in, CommonEntry *entry) {
    if (in->cbData < 2) return false;
    const BYTE *p = in->pbData;
    const DWORD length = p[1];
    if (p[0] != 0x30 || length >= 0x80 || length > in->cbData - 2) return false;
    if (length < 2 || p[2] != 0x02 || p[3] >= 0x80) return false;
    const DWORD serialLength = p[3];
    if (length != 2 + serialLength + kTimeValueSize + kReasonListSize) return false;
    const BYTE *time = p + 4 + serialLength;
    if (time[0] != kUtcTimeTag || time[1] != 13) return false;
    const BYTE *reasons = time + kTimeValueSize;
    if (!matchesEntrys21(reasons) || reasons[sizeof Entrys21] > kHighestReason) return false;
    entry->serial = p + 4;
    entry->serialLength = serialLength;
    entry->time = time + 2;
    entry->reason = reasons[sizeof Entrys21];
    entry->consumed = 2 + length;
    return true;
}

// What the general path adds to the counts of a measuring area for it.
inline void measureCommonEntry(const CommonEntry &entry, DecodeArea *area) {
    const uint64_t extra = uint64_t(kBlobSize) + padTo8(entry.serialLength) + kFileTimeSize + kListPairSize +
                           sizeof(CERT_EXTENSION);
    const uint64_t fixed = uint64_t(kBlobSize) + kFileTimeSize + kListPairSize;
    const uint64_t cbExtra = area->cbExtra + extra;
    const uint64_t cbFixed = area->cbFixed + fixed;
    area->cbExtra = cbExtra > 0xFFFFFFFFu ? 0xFFFFFFFFu : DWORD(cbExtra);
    area->cbFixed = cbFixed > 0xFFFFFFFFu ? 0xFFFFFFFFu : DWORD(cbFixed);
}

inline void store64(BYTE *at, uint64_t value) { std::memcpy(at, &value, sizeof value); }
inline void storePointer(BYTE *at, const void *value) { std::memcpy(at, &value, sizeof value); }

// Stores a common entry as the general path would, or answers false with
// nothing written when it would reach beyond the area or its time text is
// not a plain valid date: the general path then takes the entry. The
// structures are stored as whole 64-bit words, padding zeroed, straight
// into the area.
inline bool writeCommonEntry(const CommonEntry &entry, DecodeArea *area) {
    uint64_t time;
    if (!detail::utc_time_ticks(entry.time, 13, &time)) return false;

    // Extra cursor: serial blob reservation, serial bytes (padded advance),
    // FILETIME and list head reservations, then the extension. Positions
    // are computed as integers until the bounds check has passed.
    const uintptr_t extra = reinterpret_cast<uintptr_t>(area->pbExtra);
    const DWORD serialLength = entry.serialLength;
    const DWORD padded = DWORD(padTo8(serialLength));
    DWORD cbExtra = area->cbExtra - kBlobSize;
    DWORD serialAdvance = padded;
    if (cbExtra >= padded || cbExtra < serialLength) {
        cbExtra -= padded;
    } else {
        serialAdvance = serialLength;
        cbExtra = 0;
    }
    const uintptr_t extOffset = kBlobSize + serialAdvance + kFileTimeSize + kListPairSize;
    BYTE *const slot = area->pbFixed;
    if (!hasRoom(area, slot, sizeof(CRL_ENTRY)) ||
        !hasRoom(area, area->pbExtra, uint64_t(extOffset) + sizeof(CERT_EXTENSION)))
        return false;
    BYTE *const serialAt = reinterpret_cast<BYTE *>(extra + kBlobSize);
    BYTE *const extAt = reinterpret_cast<BYTE *>(extra + extOffset);

    if (serialLength == 16) {
        const uint64_t high = __builtin_bswap64(load8(entry.serial));
        const uint64_t low = __builtin_bswap64(load8(entry.serial + 8));
        store64(serialAt, low);
        store64(serialAt + 8, high);
    } else {
        for (DWORD i = 0; i < serialLength; ++i) serialAt[i] = entry.serial[serialLength - 1 - i];
    }
    // CERT_EXTENSION: pszObjId, fCritical (FALSE), Value {3, CRLr entry}.
    storePointer(extAt + offsetof(CERT_EXTENSION, pszObjId), str21);
    store64(extAt + offsetof(CERT_EXTENSION, fCritical), 0);
    store64(extAt + offsetof(CERT_EXTENSION, Value), 3);
    storePointer(extAt + offsetof(CERT_EXTENSION, Value) + offsetof(CRYPT_OBJID_BLOB, pbData), CRLr + 3 * entry.reason);
    // CRL_ENTRY: SerialNumber, RevocationDate, cExtension 1, rgExtension.
    store64(slot + offsetof(CRL_ENTRY, SerialNumber), serialLength);
    storePointer(slot + offsetof(CRL_ENTRY, SerialNumber) + offsetof(CRYPT_INTEGER_BLOB, pbData), serialAt);
    store64(slot + offsetof(CRL_ENTRY, RevocationDate), time);
    store64(slot + offsetof(CRL_ENTRY, cExtension), 1);
    storePointer(slot + offsetof(CRL_ENTRY, rgExtension), extAt);

    area->pbFixed = slot + sizeof(CRL_ENTRY);
    area->cbFixed -= sizeof(CRL_ENTRY);
    area->pbExtra = extAt + sizeof(CERT_EXTENSION);
    area->cbExtra = cbExtra - kFileTimeSize - kListPairSize - DWORD(sizeof(CERT_EXTENSION));
    return true;
}

// Runs the entries of a list's content until it is exhausted; fails at the
// first entry that fails or consumes nothing, and beyond `limit` entries.
// Writing, each array slot is zeroed before its entry is decoded.
bool runEntries(DecodeInput content, DecodeArea *local, uint64_t limit, uint64_t *count) {
    const bool writing = local->pbFixed != nullptr;
    uint64_t n = 0;
    while (content.cbData != 0) {
        if (n == limit) return false;
        CommonEntry entry;
        if (recogniseCommonEntry(&content, &entry)) {
            if (!writing) {
                measureCommonEntry(entry, local);
                content.pbData += entry.consumed;
                content.cbData -= entry.consumed;
                ++n;
                continue;
            }
            if (writeCommonEntry(entry, local)) {
                content.pbData += entry.consumed;
                content.cbData -= entry.consumed;
                ++n;
                continue;
            }
        }
        if (writing && !zeroAt(local, local->pbFixed, sizeof(CRL_ENTRY))) return false;
        const DWORD before = content.cbData;
        if (!DecodeCRLEntry(&content, local)) return false;
        if (content.cbData >= before) return false;
        ++n;
    }
    *count = n;
    return true;
}

}  // namespace

bool decodeCRLEntryList(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;

    ListHead head{0, 0, nullptr};
    BYTE *const headAt = area->pbExtra;
    if (headAt) {
        // The count first, by a run that only measures: it fails where the
        // writing run below would fail for the format, and the writing run
        // fails for the rest.
        DecodeArea counter{0, nullptr, 0, nullptr, nullptr, area->pbInputEnd};
        uint64_t counted = 0;
        if (!runEntries(content, &counter, UINT64_MAX, &counted) || counted > 0xFFFFFFFFu) return false;
        head.count = DWORD(counted);
        head.items = headAt + kListPairSize;
        if (!storeAt(area, headAt, head)) return false;
    }
    if (area->pbFixed && !storeAt(area, area->pbFixed, head)) return false;
    advanceBoth(area, kListPairSize);

    DecodeArea local = *area;
    if (!headAt) {
        uint64_t counted = 0;
        if (!runEntries(content, &local, UINT64_MAX, &counted)) return false;
        const uint64_t arrayBytes = counted * sizeof(CRL_ENTRY);
        if (arrayBytes > 0xFFFFFFFFu) return false;
        advanceExtra(&local, DWORD(arrayBytes));
    } else {
        const uint64_t arrayBytes = uint64_t(head.count) * sizeof(CRL_ENTRY);
        if (arrayBytes > 0xFFFFFFFFu || !hasRoom(area, local.pbExtra, arrayBytes)) return false;
        local.pbFixed = local.pbExtra;
        local.cbFixed = local.cbExtra;
        advanceExtra(&local, DWORD(arrayBytes));
        uint64_t written = 0;
        if (!runEntries(content, &local, head.count, &written) || written != head.count) return false;
    }
    area->pbExtra = local.pbExtra;
    area->cbExtra = local.cbExtra;
    return true;
}

}  // namespace halden::decode
