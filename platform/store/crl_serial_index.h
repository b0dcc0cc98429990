// The serial index of a CRL: which entry lists a serial number, in
// constant average time, so that asking a 1,000,000-entry CRL about one
// certificate costs no scan. One index per CRL object, built on first use
// and shared by every context of the object (duplicates, store copies).
//
// Two readings of "the same serial", both answering with the FIRST entry
// in list order that matches, since the first matching entry decides:
//   - as integers, as CertCompareIntegerBlob compares: the redundant
//     high-order bytes of the little-endian value (0x00 before a byte
//     below 0x80, 0xFF before one at or above it) don't count;
//   - exactly: the same length and the same bytes.
#ifndef MAREN_PLATFORM_STORE_CRL_SERIAL_INDEX_H
#define MAREN_PLATFORM_STORE_CRL_SERIAL_INDEX_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include <maren/maren.h>

namespace maren::store {

struct SlotMemoryFree {
    void operator()(unsigned char *memory) const { std::free(memory); }
};

class CrlSerialIndex {
  public:
    // Indexes the entries of `info`, which must outlive the index (both
    // belong to the same encoded object).
    explicit CrlSerialIndex(const CRL_INFO &info);
    CrlSerialIndex(const CrlSerialIndex &) = delete;
    CrlSerialIndex &operator=(const CrlSerialIndex &) = delete;

    const CRL_ENTRY *find(const BYTE *serial, DWORD size) const;
    const CRL_ENTRY *find_exact(const BYTE *serial, DWORD size) const;

    // Bytes the index itself holds.
    std::size_t memory_bytes() const { return sizeof(*this) + slot_count_ * (stride_ + 1) + 8; }

  private:
    // Slots of `stride_` bytes in one array, probed linearly from the
    // serial's hash, at most 70% full, beside one control byte per slot:
    // 0 for empty, else 0x80 and seven bits of the hash. A probe run reads
    // the control bytes eight at a time - a lookup of an absent serial, the
    // common case, touches nothing else - and then only the slots whose
    // byte matches. A slot holds the entry (index plus one), the serial's
    // significant length, a flag, and the significant bytes themselves, as
    // many as the list's longest serial has (up to kMaxInline): a hit reads
    // one slot, not the entry and its serial, and costs one cache miss on
    // a large list. Longer serials keep their first bytes there and are
    // confirmed on the entry. The flag says another entry has the same
    // integer in other bytes (only a non-DER list does that), which sends
    // an exact lookup on to a scan.
    static constexpr std::size_t kHeader = 6;
    static constexpr std::size_t kMaxInline = 58;
    static constexpr unsigned char kVariant = 1;

    unsigned char *slot(std::size_t i) const { return slots_.get() + i * stride_; }
    // Puts entry i in its slot, unless an earlier entry has its integer.
    void place(DWORD i, std::uint64_t hash, DWORD significant);
    // The slot holding the first entry of that integer, or null.
    const unsigned char *lookup(const BYTE *serial, DWORD significant) const;
    bool slot_matches(const unsigned char *at, const BYTE *serial, DWORD significant) const;

    const CRL_ENTRY *entries_;
    DWORD count_;
    std::size_t inline_ = 0;  // key bytes kept in a slot
    std::size_t stride_ = 0;
    std::size_t slot_count_ = 0;
    std::unique_ptr<unsigned char[]> control_;
    std::unique_ptr<unsigned char[], SlotMemoryFree> slots_;
};

// The length of a little-endian integer without its redundant high-order
// bytes; at least 1 for a non-empty value.
DWORD significant_serial_bytes(const BYTE *serial, DWORD size);

// The first entry of `crl` with `serial`, through the CRL object's index
// (built here on the first call; a small list is walked instead). Null
// when none matches.
const CRL_ENTRY *find_crl_entry(PCCRL_CONTEXT crl, const BYTE *serial, DWORD size, bool exact);

}  // namespace maren::store

#endif
