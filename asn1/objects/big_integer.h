// Tarsis::ASN1::CBigInteger: the content octets of a DER INTEGER, big-endian
// two's complement, most significant byte first. It is a CBlob with integer
// operations on top; it adds no field.
#ifndef HALDEN_ASN1_OBJECTS_BIG_INTEGER_H
#define HALDEN_ASN1_OBJECTS_BIG_INTEGER_H

#include "base/blob.h"

namespace Tarsis {
namespace ASN1 {

class CBigInteger : public Tarsis::CBlob {
public:
    CBigInteger() = default;
    CBigInteger(const unsigned char* bytes, unsigned long size) : CBlob(bytes, size) {}
    // A value of `size` zero bytes.
    explicit CBigInteger(unsigned long size) : CBlob(size) {}

    // Adds one at the last byte and carries toward the first, but never
    // below index `lowest`: a carry out of that byte is dropped. The value
    // never grows; an empty value stays empty.
    void increment(int lowest);
    CBigInteger& operator++();
    CBigInteger operator++(int);

    // this += other, byte by byte; both must have the same length (else
    // ATL::CAtlException E_INVALIDARG). Returns the carry out of the first
    // byte, 0 or 1.
    int add(const CBigInteger& other);

    // The DER INTEGER of the value. An empty value throws
    // ATL::CAtlException CRYPT_E_ASN1_INTERNAL.
    Tarsis::CBlob encode() const;
    // Replaces the value by the INTEGER at the start of `der`; bytes behind
    // it are ignored. Anything but a definite-length INTEGER with at least
    // one content byte throws ATL::CAtlException CRYPT_E_ASN1_INTERNAL.
    void decode(const Tarsis::CBlob& der);

    // Negative, 0 or positive. Redundant sign bytes don't count when the
    // lengths differ; after them the shorter value is taken as the smaller
    // one, which is exact for the non-negative values compared in practice
    // (serial numbers).
    int compare(const CBigInteger& other) const;
};

// Reads "0x" and hexadecimal digits into value. A text of two characters
// or less, or one without the "0x", throws ATL::CAtlException
// CRYPT_E_ASN1_INTERNAL. An odd number of digits that starts with "0" gets
// one more leading "0", so that "0x012" reads as 00 12.
void StringToBigInteger(const char* text, CBigInteger& value);

}  // namespace ASN1
}  // namespace Tarsis

#endif
