#include "platform/store/crl_serial_index.h"

#include <cstring>
#include <random>

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

inline std::uint32_t tag_of(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32) & ~1u; }

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
    // At most half full: short probe runs for hits and misses alike.
    std::uint64_t slots = 16;
    while (slots < static_cast<std::uint64_t>(count_) * 2) slots <<= 1;
    mask_ = slots - 1;
    slots_.reset(new Slot[slots]());
    const std::uint64_t key = seed();
    for (DWORD i = 0; i < count_; ++i) {
        const CRYPT_INTEGER_BLOB &number = entries_[i].SerialNumber;
        const DWORD significant = significant_serial_bytes(number.pbData, number.cbData);
        const std::uint64_t hash = hash_serial(number.pbData, significant, key);
        const std::uint32_t tag = tag_of(hash);
        for (std::uint64_t at = hash & mask_;; at = (at + 1) & mask_) {
            Slot &slot = slots_[at];
            if (slot.entry == 0) {
                slot.tag = tag;
                slot.entry = i + 1;
                break;
            }
            if ((slot.tag & ~kVariant) != tag) continue;
            const CRYPT_INTEGER_BLOB &first = entries_[slot.entry - 1].SerialNumber;
            if (!same_integer(first, number.pbData, significant)) continue;
            // A later entry of the same integer: the first one stays.
            if (!same_bytes(first, number.pbData, number.cbData)) slot.tag |= kVariant;
            break;
        }
    }
}

const CrlSerialIndex::Slot *CrlSerialIndex::lookup(const BYTE *serial, DWORD significant) const {
    const std::uint64_t hash = hash_serial(serial, significant, seed());
    const std::uint32_t tag = tag_of(hash);
    for (std::uint64_t at = hash & mask_;; at = (at + 1) & mask_) {
        const Slot &slot = slots_[at];
        if (slot.entry == 0) return nullptr;
        if ((slot.tag & ~kVariant) == tag && same_integer(entries_[slot.entry - 1].SerialNumber, serial, significant))
            return &slot;
    }
}

const CRL_ENTRY *CrlSerialIndex::find(const BYTE *serial, DWORD size) const {
    const Slot *slot = lookup(serial, significant_serial_bytes(serial, size));
    return slot ? &entries_[slot->entry - 1] : nullptr;
}

const CRL_ENTRY *CrlSerialIndex::find_exact(const BYTE *serial, DWORD size) const {
    const Slot *slot = lookup(serial, significant_serial_bytes(serial, size));
    if (slot == nullptr) return nullptr;
    const DWORD first = slot->entry - 1;
    if (same_bytes(entries_[first].SerialNumber, serial, size)) return &entries_[first];
    if ((slot->tag & kVariant) == 0) return nullptr;
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
