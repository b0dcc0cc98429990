// CryptEncodeObjectEx and CryptEncodeObject for the structures maren
// encodes: integers of both kinds, ENUMERATED, OCTET STRING, bit strings
// and the TBSCertList.
#include <algorithm>
#include <cstdint>

#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "platform/codec/crl_encoder.h"
#include "platform/codec/output_buffer.h"
#include "platform/codec/struct_type.h"

namespace maren::codec {
namespace {

bool is(std::uintptr_t constant, LPCSTR type) { return constant == reinterpret_cast<std::uintptr_t>(type); }

Bytes reversed(const CRYPTOAPI_BLOB& blob) {
    Bytes bytes;
    if (blob.pbData != nullptr) bytes.assign(blob.pbData, blob.pbData + blob.cbData);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// A bit string without its trailing zero bits, as X509_KEY_USAGE and
// X509_BITS_WITHOUT_TRAILING_ZEROES are published.
void write_trimmed_bits(DerWriter& out, const CRYPT_BIT_BLOB& bits) {
    DWORD size = bits.pbData != nullptr ? bits.cbData : 0;
    Bytes bytes(bits.pbData, bits.pbData + size);
    if (size != 0 && bits.cUnusedBits < 8)
        bytes[size - 1] = static_cast<std::uint8_t>(bytes[size - 1] & (0xFF << bits.cUnusedBits));
    while (size != 0 && bytes[size - 1] == 0) --size;
    unsigned unused = 0;
    if (size != 0)
        while (((bytes[size - 1] >> unused) & 1) == 0) ++unused;
    out.bit_string(bytes.data(), size, unused);
}

// The encoding of pvStructInfo as `constant`; false with the last error set.
bool encode(std::uintptr_t constant, const void* pvStructInfo, Bytes* out) {
    DerWriter der;
    if (is(constant, X509_INTEGER)) {
        der.small_integer(kTagInteger, *static_cast<const std::int32_t*>(pvStructInfo));
    } else if (is(constant, X509_ENUMERATED)) {
        der.small_integer(kTagEnumerated, *static_cast<const std::int32_t*>(pvStructInfo));
    } else if (is(constant, X509_MULTI_BYTE_INTEGER)) {
        const Bytes be = reversed(*static_cast<const CRYPT_INTEGER_BLOB*>(pvStructInfo));
        der.signed_integer(be.data(), be.size());
    } else if (is(constant, X509_MULTI_BYTE_UINT)) {
        const Bytes be = reversed(*static_cast<const CRYPT_UINT_BLOB*>(pvStructInfo));
        der.unsigned_integer(be.data(), be.size());
    } else if (is(constant, X509_OCTET_STRING)) {
        const auto* blob = static_cast<const CRYPT_DATA_BLOB*>(pvStructInfo);
        der.octet_string(blob->pbData, blob->pbData ? blob->cbData : 0);
    } else if (is(constant, X509_BITS)) {
        const auto* bits = static_cast<const CRYPT_BIT_BLOB*>(pvStructInfo);
        if (bits->cUnusedBits > 7) {
            SetLastError(DWORD(E_INVALIDARG));
            return false;
        }
        der.bit_string(bits->pbData, bits->pbData ? bits->cbData : 0, bits->cUnusedBits);
    } else if (is(constant, X509_KEY_USAGE) || is(constant, X509_BITS_WITHOUT_TRAILING_ZEROES)) {
        write_trimmed_bits(der, *static_cast<const CRYPT_BIT_BLOB*>(pvStructInfo));
    } else if (is(constant, X509_CERT_CRL_TO_BE_SIGNED)) {
        return encode_crl_to_be_signed(*static_cast<const CRL_INFO*>(pvStructInfo), out);
    } else {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return false;
    }
    *out = der.take();
    return true;
}

BOOL encode_object(DWORD dwCertEncodingType, LPCSTR lpszStructType, const void* pvStructInfo, bool allocate,
                   const Allocator& allocator, void* pvEncoded, DWORD* pcbEncoded) {
    if (GET_CERT_ENCODING_TYPE(dwCertEncodingType) != X509_ASN_ENCODING) {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return FALSE;
    }
    const StructType type = resolve_struct_type(lpszStructType);
    if (type.kind != StructType::Kind::numeric) {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return FALSE;
    }
    if (pvStructInfo == nullptr) {
        SetLastError(DWORD(E_INVALIDARG));
        return FALSE;
    }
    Bytes encoded;
    if (!encode(type.constant, pvStructInfo, &encoded)) return FALSE;
    return deliver_encoded(encoded, allocate, allocator, pvEncoded, pcbEncoded);
}

}  // namespace
}  // namespace maren::codec

extern "C" {

BOOL CryptEncodeObjectEx(DWORD dwCertEncodingType, LPCSTR lpszStructType, const void* pvStructInfo, DWORD dwFlags,
                         PCRYPT_ENCODE_PARA pEncodePara, void* pvEncoded, DWORD* pcbEncoded) {
    const bool allocate = (dwFlags & CRYPT_ENCODE_ALLOC_FLAG) != 0;
    return maren::codec::encode_object(dwCertEncodingType, lpszStructType, pvStructInfo, allocate,
                                       maren::codec::allocator_of(pEncodePara), pvEncoded, pcbEncoded);
}

BOOL CryptEncodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const void* pvStructInfo, BYTE* pbEncoded,
                       DWORD* pcbEncoded) {
    return maren::codec::encode_object(dwCertEncodingType, lpszStructType, pvStructInfo, false,
                                       maren::codec::allocator_of(static_cast<const CRYPT_ENCODE_PARA*>(nullptr)),
                                       pbEncoded, pcbEncoded);
}

}
