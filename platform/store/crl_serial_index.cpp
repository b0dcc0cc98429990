#include "platform/store/crl_serial_index.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <random>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the control bytes are read as little-endian words");

#include "platform/store/c_boundary.h"
#include "platform/store/context_internal.h"

namespace maren::store {
namespace {

// Lists this short are walked: an index would cost more than it saves.
constexpr DWORD kSmallList = 8;

// A seeded multiply-xorshift hash of the serial's bytes. The seed is drawn
// once per process so that a list can't be made to collide on purpose.
std::uint64_t seed() {
    static const std::uint64_t value = [] {
        std::random_device device;
        return (static_cast<std::uint64_t>(device()) << 32 | device()) | 1;
    }();
    return value;
}

// Large slot arrays go on huge pages where the system offers them: a
// 1,000,000-entry list's index then costs a few page faults instead of
// thousands, and lookups miss the TLB less.
std::unique_ptr<unsigned char[], SlotMemoryFree> allocate_slots(std::size_t bytes) {
    constexpr std::size_t kHugePage = std::size_t{2} << 20;
    void *memory = nullptr;
    if (bytes >= kHugePage) {
        const std::size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
        memory = std::aligned_alloc(kHugePage, rounded);
        if (memory != nullptr) madvise(memory, rounded, MADV_HUGEPAGE);
    }
    if (memory == nullptr) memory = std::malloc(bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return std::unique_ptr<unsigned char[], SlotMemoryFree>(static_cast<unsigned char *>(memory));
}

inline std::uint64_t mix(std::uint64_t h) {
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdull;
    h ^= h >> 33;
    h *= 0xc4ceb9fe1a85ec53ull;
    h ^= h >> 33;
    return h;
}

std::uint64_t hash_serial(const BYTE *p, DWORD n, std::uint64_t key) {
    std::uint64_t h = key ^ (static_cast<std::uint64_t>(n) * 0x9e3779b97f4a7c15ull);
    while (n >= 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        h = (h ^ word) * 0x9e3779b97f4a7c15ull;
        h ^= h >> 29;
        p += 8;
        n -= 8;
    }
    std::uint64_t tail = 0;
    for (DWORD i = 0; i < n; ++i) tail |= static_cast<std::uint64_t>(p[i]) << (8 * i);
    return mix(h ^ tail);
}

// The start of a probe run: the hash scaled onto [0, n) by a multiply,
// so that the table size needn't be a power of two.
inline std::size_t start_of(std::uint64_t hash, std::size_t n) {
    return static_cast<std::size_t>((static_cast<unsigned __int128>(hash) * n) >> 64);
}

inline unsigned char control_of(std::uint64_t hash) { return static_cast<unsigned char>(0x80 | (hash >> 57)); }

inline bool same_integer(const CRYPT_INTEGER_BLOB &entry, const BYTE *serial, DWORD significant) {
    return significant_serial_bytes(entry.pbData, entry.cbData) == significant &&
           (significant == 0 || std::memcmp(entry.pbData, serial, significant) == 0);
}

inline bool same_bytes(const CRYPT_INTEGER_BLOB &entry, const BYTE *serial, DWORD size) {
    return entry.cbData == size && (size == 0 || std::memcmp(entry.pbData, serial, size) == 0);
}

const CRL_ENTRY *walk(const CRL_INFO &info, const BYTE *serial, DWORD size, bool exact) {
    const DWORD significant = significant_serial_bytes(serial, size);
    for (DWORD i = 0; i < info.cCRLEntry; ++i) {
        const CRYPT_INTEGER_BLOB &number = info.rgCRLEntry[i].SerialNumber;
        if (exact ? same_bytes(number, serial, size) : same_integer(number, serial, significant))
            return &info.rgCRLEntry[i];
    }
    return nullptr;
}

}  // namespace

DWORD significant_serial_bytes(const BYTE *serial, DWORD size) {
    DWORD n = size;
    while (n > 1) {
        const BYTE top = serial[n - 1];
        const BYTE next = serial[n - 2];
        if ((top == 0x00 && next < 0x80) || (top == 0xFF && next >= 0x80)) --n;
        else break;
    }
    return n;
}

CrlSerialIndex::CrlSerialIndex(const CRL_INFO &info) : entries_(info.rgCRLEntry), count_(info.cCRLEntry) {
    // Slots as wide as the longest serial: the lengths alone are read here,
    // a sequential pass over the entries that leaves the serials untouched.
    DWORD longest = 1;
    for (DWORD i = 0; i < count_; ++i)
        if (entries_[i].SerialNumber.cbData > longest) longest = entries_[i].SerialNumber.cbData;
    inline_ = longest < kMaxInline ? longest : kMaxInline;
    stride_ = (kHeader + inline_ + 7) / 8 * 8;
    slot_count_ = static_cast<std::size_t>(count_) + static_cast<std::size_t>(count_) * 3 / 7 + 16;
    // Eight more control bytes repeat the first eight, so that a run read
    // eight at a time wraps around without a test.
    control_.reset(new unsigned char[slot_count_ + 8]());
    slots_ = allocate_slots(slot_count_ * stride_);
    // Each entry's serial is fetched 2 * kAhead entries early, hashed
    // kAhead entries early with its slot's lines fetched then, so that
    // placing entries doesn't wait on memory one entry at a time.
    constexpr DWORD kAhead = 16;
    struct Pending {
        std::uint64_t hash;
        DWORD significant;
    };
    Pending ring[kAhead];
    const std::uint64_t key = seed();
    auto prepare = [&](DWORD i) {
        // The serial hashed kAhead entries from now is fetched now.
        if (i + kAhead < count_) __builtin_prefetch(entries_[i + kAhead].SerialNumber.pbData);
        const CRYPT_INTEGER_BLOB &number = entries_[i].SerialNumber;
        Pending next;
        next.significant = significant_serial_bytes(number.pbData, number.cbData);
        next.hash = hash_serial(number.pbData, next.significant, key);
        const std::size_t at = start_of(next.hash, slot_count_);
        __builtin_prefetch(control_.get() + at, 1);
        __builtin_prefetch(slot(at), 1);
        return next;
    };
    for (DWORD i = 0; i < count_ && i < kAhead; ++i) ring[i] = prepare(i);
    for (DWORD i = 0; i < count_; ++i) {
        const Pending pending = ring[i % kAhead];
        if (i + kAhead < count_) ring[i % kAhead] = prepare(i + kAhead);
        place(i, pending.hash, pending.significant);
    }
}

void CrlSerialIndex::place(DWORD i, std::uint64_t hash, DWORD significant) {
    const CRYPT_INTEGER_BLOB &number = entries_[i].SerialNumber;
    const unsigned char control = control_of(hash);
    for (std::size_t at = start_of(hash, slot_count_);; at = at + 1 == slot_count_ ? 0 : at + 1) {
        unsigned char *s = slot(at);
        if (control_[at] == 0) {
            control_[at] = control;
            if (at < 8) control_[slot_count_ + at] = control;
            const std::uint32_t entry = i + 1;
            std::memcpy(s, &entry, 4);
            s[4] = static_cast<unsigned char>(significant < 255 ? significant : 255);
            s[5] = 0;
            std::memcpy(s + kHeader, number.pbData, significant < inline_ ? significant : inline_);
            return;
        }
        if (control_[at] != control || !slot_matches(s, number.pbData, significant)) continue;
        // A later entry of the same integer: the first one stays.
        std::uint32_t entry;
        std::memcpy(&entry, s, 4);
        if (!same_bytes(entries_[entry - 1].SerialNumber, number.pbData, number.cbData)) s[5] |= kVariant;
        return;
    }
}

bool CrlSerialIndex::slot_matches(const unsigned char *at, const BYTE *serial, DWORD significant) const {
    if (at[4] != (significant < 255 ? significant : 255)) return false;
    if (significant <= inline_) return std::memcmp(at + kHeader, serial, significant) == 0;
    if (std::memcmp(at + kHeader, serial, inline_) != 0) return false;
    std::uint32_t entry;
    std::memcpy(&entry, at, 4);
    return same_integer(entries_[entry - 1].SerialNumber, serial, significant);
}

// Eight control bytes at a time: the bytes of `word` equal to zero, as the
// high bit of each. The lowest one marked is exact; a byte above a marked
// one may be marked wrongly, which only costs a slot comparison.
inline std::uint64_t zero_bytes(std::uint64_t word) {
    return (word - 0x0101010101010101ull) & ~word & 0x8080808080808080ull;
}

const unsigned char *CrlSerialIndex::lookup(const BYTE *serial, DWORD significant) const {
    const std::uint64_t hash = hash_serial(serial, significant, seed());
    const std::uint64_t pattern = 0x0101010101010101ull * control_of(hash);
    std::size_t at = start_of(hash, slot_count_);
    // A listed serial most often sits in the run's first slot: its fetch
    // goes out beside the control bytes' instead of after them.
    __builtin_prefetch(slot(at));
    for (;;) {
        std::uint64_t word;
        std::memcpy(&word, control_.get() + at, 8);
        const std::uint64_t empty = zero_bytes(word);
        std::uint64_t match = zero_bytes(word ^ pattern);
        // Only the slots before the run's first empty one count.
        if (empty != 0) match &= (empty & (~empty + 1)) - 1;
        for (; match != 0; match &= match - 1) {
            std::size_t i = at + static_cast<std::size_t>(__builtin_ctzll(match)) / 8;
            if (i >= slot_count_) i -= slot_count_;
            if (slot_matches(slot(i), serial, significant)) return slot(i);
        }
        if (empty != 0) return nullptr;
        at += 8;
        if (at >= slot_count_) at -= slot_count_;
    }
}

const CRL_ENTRY *CrlSerialIndex::find(const BYTE *serial, DWORD size) const {
    const unsigned char *s = lookup(serial, significant_serial_bytes(serial, size));
    if (s == nullptr) return nullptr;
    std::uint32_t entry;
    std::memcpy(&entry, s, 4);
    return &entries_[entry - 1];
}

const CRL_ENTRY *CrlSerialIndex::find_exact(const BYTE *serial, DWORD size) const {
    const unsigned char *s = lookup(serial, significant_serial_bytes(serial, size));
    if (s == nullptr) return nullptr;
    std::uint32_t entry;
    std::memcpy(&entry, s, 4);
    const DWORD first = entry - 1;
    if (same_bytes(entries_[first].SerialNumber, serial, size)) return &entries_[first];
    if ((s[5] & kVariant) == 0) return nullptr;
    for (DWORD i = first + 1; i < count_; ++i)
        if (same_bytes(entries_[i].SerialNumber, serial, size)) return &entries_[i];
    return nullptr;
}

const CRL_ENTRY *find_crl_entry(PCCRL_CONTEXT crl, const BYTE *serial, DWORD size, bool exact) {
    const CRL_INFO &info = *crl->pCrlInfo;
    if (info.cCRLEntry <= kSmallList) return walk(info, serial, size, exact);
    const EncodedObject &object = encoded_object(crl);
    const auto *index = static_cast<const CrlSerialIndex *>(object.extension_if_built());
    if (index == nullptr) {
        try {
            index = static_cast<const CrlSerialIndex *>(
                object.extension([&info] { return std::shared_ptr<void>(std::make_shared<CrlSerialIndex>(info)); })
                    .get());
        } catch (const std::bad_alloc &) {
            // No memory for the index: the answer is still owed.
            return walk(info, serial, size, exact);
        }
    }
    return exact ? index->find_exact(serial, size) : index->find(serial, size);
}

}  // namespace maren::store

extern "C" {

const CRL_ENTRY *maren_crl_find_entry(PCCRL_CONTEXT crl, const CRYPT_INTEGER_BLOB *serial) {
    if (crl == nullptr || serial == nullptr || (serial->cbData != 0 && serial->pbData == nullptr)) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return nullptr;
    }
    return maren::store::guarded<const CRL_ENTRY *>(
        nullptr, [&] { return maren::store::find_crl_entry(crl, serial->pbData, serial->cbData, false); });
}

const CRL_ENTRY *maren_crl_find_entry_exact(PCCRL_CONTEXT crl, const CRYPT_INTEGER_BLOB *serial) {
    if (crl == nullptr || serial == nullptr || (serial->cbData != 0 && serial->pbData == nullptr)) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return nullptr;
    }
    return maren::store::guarded<const CRL_ENTRY *>(
        nullptr, [&] { return maren::store::find_crl_entry(crl, serial->pbData, serial->cbData, true); });
}

}  // extern "C"
