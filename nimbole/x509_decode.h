// Decoding of extension values through the platform's CryptDecodeObject:
// always the encoding 0x10001, always two steps (the size, then the
// structure into memory of exactly that size). A failed step is a null
// result, never an error of the caller: an extension that can't be decoded
// counts as absent.
#ifndef HALDEN_NIMBOLE_X509_DECODE_H
#define HALDEN_NIMBOLE_X509_DECODE_H

#include <memory>
#include <type_traits>

#include <maren/maren.h>

namespace halden::nimbole {

constexpr DWORD kCertEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// Decoded structures live in array-new memory of the size the decoder asked
// for; this deleter gives it back.
struct ArrayNewDelete {
    void operator()(const void* p) const noexcept { delete[] static_cast<const unsigned char*>(p); }
};

template <class Struct>
using Decoded = std::unique_ptr<Struct, ArrayNewDelete>;

// `value` decoded as `struct_type` into new memory; null when either step
// fails.
Decoded<void> decode_object(LPCSTR struct_type, const CRYPT_OBJID_BLOB& value);

template <class Struct>
Decoded<Struct> decode_as(LPCSTR struct_type, const CRYPT_OBJID_BLOB& value) {
    return Decoded<Struct>(static_cast<Struct*>(decode_object(struct_type, value).release()));
}

// `value` decoded in one call into a fixed-size structure the caller holds
// (basic constraints, policy constraints, an ENUMERATED).
bool decode_fixed(LPCSTR struct_type, const CRYPT_OBJID_BLOB& value, void* out, DWORD size);

// The structure type that X509_tdecodeEx uses for an extension OID, or null
// for an OID it doesn't know.
LPCSTR extension_struct_type(const char* oid);

Decoded<void> decode_extension(DWORD cExtension, CERT_EXTENSION* rgExtension, const char* oid);

// The extension `oid` of a certificate's list, decoded by the structure type
// that belongs to the OID. T is the pointer type of the result (for example
// CRL_DIST_POINTS_INFO*). Null for an unknown or null OID, an absent
// extension or a failed decode.
template <class T>
Decoded<std::remove_pointer_t<T>> X509_tdecodeEx(DWORD cExtension, CERT_EXTENSION* rgExtension, const char* oid) {
    static_assert(std::is_pointer_v<T>, "X509_tdecodeEx yields a pointer type");
    using Struct = std::remove_pointer_t<T>;
    return Decoded<Struct>(static_cast<Struct*>(decode_extension(cExtension, rgExtension, oid).release()));
}

}  // namespace halden::nimbole

#endif
