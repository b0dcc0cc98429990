// CACMPT_BLOB: the older byte array of the ASN.1 helper layer, with a
// capacity and Base64 conversions. CACMPT_BigInteger adds increments.
#ifndef HALDEN_BASE_ACMPT_BLOB_H
#define HALDEN_BASE_ACMPT_BLOB_H

#include <cstddef>
#include <string>

#include <maren/types.h>

#include "base/base64.h"

class CACMPT_BLOB {
public:
    static constexpr const char* Base64CertificateHeader = Base64CertificateHdrs.pszHeader;
    static constexpr const char* Base64CertificateFooter = Base64CertificateHdrs.pszFooter;
    static constexpr const char* Base64RequestHeader = Base64RequestHdrs.pszHeader;
    static constexpr const char* Base64RequestFooter = Base64RequestHdrs.pszFooter;
    static constexpr const char* Base64CRLHeader = Base64CRLHdrs.pszHeader;
    static constexpr const char* Base64CRLFooter = Base64CRLHdrs.pszFooter;

    CACMPT_BLOB();
    CACMPT_BLOB(const BYTE* data, DWORD size);
    CACMPT_BLOB(const CACMPT_BLOB& other);
    CACMPT_BLOB(CACMPT_BLOB&& other) noexcept;
    CACMPT_BLOB& operator=(const CACMPT_BLOB& other);
    CACMPT_BLOB& operator=(CACMPT_BLOB&& other) noexcept;
    ~CACMPT_BLOB();

    DWORD capacity() const { return capacity_; }

    // Sets the length. When it exceeds the capacity a new array is taken and
    // the old content is dropped: the capacity starts at 4096 and doubles
    // until the length fits; a length above 0x80000000 is allocated exactly.
    void resize_to(DWORD size);
    void swap(CACMPT_BLOB& other) noexcept;

    // Whole-file binary input and output. Any failure leaves the blob empty
    // and throws Asn1Exception "couldn't open file <path>". Writing an empty
    // blob does nothing and creates no file.
    void readFromFile(const char* path);
    void writeToFile(const char* path);

    // Hexadecimal digit pairs, as Tarsis::CBlob reads them.
    void readFromHexString(const char* text);
    void readFromHexString(const char* text, std::size_t length);
    // Upper-case digits without separators.
    std::string writeToHexString() const;

    // Base64 text of the bytes, and the bytes of Base64 text that this blob
    // holds. Encoding failures throw CAException "base64_encode failed",
    // decoding failures "invalid base 64 format".
    CACMPT_BLOB toBase64(DWORD flags = 0) const;
    CACMPT_BLOB fromBase64(DWORD flags = 0) const;
    // With a header and a footer line, e.g. Base64CertificateHeader and
    // Base64CertificateFooter.
    CACMPT_BLOB toBase64Hdr(const char* header, const char* footer) const;
    CACMPT_BLOB fromBase64Hdr(DWORD flags = 0) const;

    DWORD cbData;
    BYTE* pbData;

private:
    DWORD capacity_;
};

// A big-endian unsigned counter over the bytes of a CACMPT_BLOB.
class CACMPT_BigInteger : public CACMPT_BLOB {
public:
    using CACMPT_BLOB::CACMPT_BLOB;

    // Adds one at the last byte; a carry moves toward the first byte but not
    // below index lowest. An empty value stays empty.
    void increment(int lowest);
    CACMPT_BigInteger& operator++();
    CACMPT_BigInteger operator++(int);
};

#endif
