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
#include <memory>

#include <maren/maren.h>

namespace maren::store {

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
    std::size_t memory_bytes() const { return sizeof(*this) + (mask_ + 1) * sizeof(Slot); }

  private:
    // An empty slot has entry 0; otherwise entry is the index plus one.
    // The tag is the hash's high half with bit 0 standing for "another
    // entry has the same integer in other bytes" (only a non-DER list
    // does that), which sends an exact lookup on to a scan.
    struct Slot {
        std::uint32_t tag;
        std::uint32_t entry;
    };
    static constexpr std::uint32_t kVariant = 1;

    // The slot holding the first entry of that integer, or null.
    const Slot *lookup(const BYTE *serial, DWORD significant) const;

    const CRL_ENTRY *entries_;
    DWORD count_;
    std::uint64_t mask_ = 0;
    std::unique_ptr<Slot[]> slots_;
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
