// Tarsis::CBlob: an owned byte array with a length. Copies are deep; share a
// blob by reference or hand it over with swap.
#ifndef HALDEN_BASE_BLOB_H
#define HALDEN_BASE_BLOB_H

#include <cstddef>

#include "base/string_proxy.h"

namespace Tarsis {

class CBlob {
public:
    // Empty, with a null pointer.
    CBlob();
    // size zero bytes; CBlob(0) holds a valid pointer to a zero-length array.
    explicit CBlob(std::size_t size);
    CBlob(const unsigned char* bytes, std::size_t size);
    CBlob(const CBlob& other);
    CBlob(CBlob&& other) noexcept;
    CBlob& operator=(const CBlob& other);
    CBlob& operator=(CBlob&& other) noexcept;
    ~CBlob();

    std::size_t cbData() const { return cbData_; }
    // Writable even from a const blob.
    unsigned char* pbData() const { return pbData_; }

    // Sets the length. Growing beyond the present length reallocates exactly
    // and keeps the old bytes; the new bytes are not cleared. Shrinking keeps
    // the allocation.
    void resize_to(std::size_t size);
    // Replaces the content; safe when bytes points into this blob. Size 0
    // leaves a null pointer.
    void assign(const unsigned char* bytes, std::size_t size);
    void swap(CBlob& other) noexcept;
    void reverse();
    CBlob& operator+=(const CBlob& other);
    // Length 0; the allocation stays.
    void clear() { resize_to(0); }

    // Whole-file binary input and output. A file that can't be opened throws
    // ATL::CAtlException 0x80070002; a read error 0x80070570, leaving the blob
    // empty. A wide path is converted to the platform's multibyte form.
    void readFromFile(const char* path);
    void readFromFile(const wchar_t* path);
    void writeToFile(const char* path) const;
    void writeToFile(const wchar_t* path) const;

    // Reads byte pairs of hexadecimal digits; white space before the first
    // pair and behind each pair is skipped, and reading stops silently at
    // anything else or at an unpaired digit.
    void readFromHexString(const char* text);
    // Upper-case digits; with group > 0 a blank after every group bytes.
    CStringProxy writeToHexString(unsigned int group = 0) const;

private:
    std::size_t cbData_;
    unsigned char* pbData_;
};

// Byte order by memcmp over the shorter length; on a tie the shorter blob is
// the lesser. Two empty blobs are equal whatever their pointers.
int compare(const CBlob& a, const CBlob& b);
bool operator==(const CBlob& a, const CBlob& b);
bool operator!=(const CBlob& a, const CBlob& b);
bool operator<(const CBlob& a, const CBlob& b);
bool operator<=(const CBlob& a, const CBlob& b);
bool operator>(const CBlob& a, const CBlob& b);
bool operator>=(const CBlob& a, const CBlob& b);

inline void swap(CBlob& a, CBlob& b) noexcept { a.swap(b); }

}  // namespace Tarsis

#endif
