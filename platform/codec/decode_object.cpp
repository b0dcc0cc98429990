// CryptDecodeObject and CryptDecodeObjectEx over the object decoder.
//
// Every call measures, then writes into a buffer of exactly the measured
// size, so the decoder's writing pass never meets a short area. Failures
// carry a published last error: the decoder leaves it alone for some
// malformations, and those read as CRYPT_E_ASN1_CORRUPT.
#include <algorithm>
#include <cstdint>

#include <decode/decode.h>
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "platform/codec/crl_compat.h"
#include "platform/codec/output_buffer.h"
#include "platform/codec/struct_type.h"

namespace maren::codec {
namespace {

// One decode request after its arguments have been checked.
struct Request {
    StructType type;
    LPCSTR lpszStructType;
    const BYTE* encoded;
    DWORD size;
    DWORD flags;
};

bool accepts_encoding(DWORD type) { return GET_CERT_ENCODING_TYPE(type) == X509_ASN_ENCODING; }

// The decoder's measuring pass; *needed receives the size.
bool measure(const Request& r, DWORD* needed) {
    *needed = 0;
    if (r.type.kind == StructType::Kind::private_key_usage_period)
        return TSDecodePrivateKeyUsagePeriod(X509_ASN_ENCODING, r.lpszStructType, r.encoded, r.size, r.flags,
                                             nullptr, needed) != FALSE;
    return TSDecodeObject(0, reinterpret_cast<LPCSTR>(r.type.constant), r.encoded, r.size, r.flags, nullptr,
                          needed) != FALSE;
}

// The decoder's writing pass into `size` bytes at `out`.
bool write(const Request& r, void* out, DWORD size) {
    DWORD area = size;
    if (r.type.kind == StructType::Kind::private_key_usage_period)
        return TSDecodePrivateKeyUsagePeriod(X509_ASN_ENCODING, r.lpszStructType, r.encoded, r.size, r.flags, out,
                                             &area) != FALSE;
    return TSDecodeObject(1, reinterpret_cast<LPCSTR>(r.type.constant), r.encoded, r.size, r.flags, out,
                          &area) != FALSE;
}

// The published decoder gives the signature of X509_CERT little-endian.
void reverse_signature(const Request& r, void* out) {
    if (r.type.constant != reinterpret_cast<std::uintptr_t>(X509_CERT) ||
        (r.flags & CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG) != 0)
        return;
    auto* info = static_cast<CERT_SIGNED_CONTENT_INFO*>(out);
    if (info->Signature.pbData != nullptr)
        std::reverse(info->Signature.pbData, info->Signature.pbData + info->Signature.cbData);
}

void fail_with_default(DWORD fallback) {
    if (GetLastError() == 0) SetLastError(fallback);
}

BOOL decode(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded, DWORD cbEncoded, DWORD dwFlags,
            const Allocator* allocator, void* pvStructInfo, DWORD* pcbStructInfo) {
    if (!accepts_encoding(dwCertEncodingType)) {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return FALSE;
    }
    if ((allocator == nullptr && pcbStructInfo == nullptr) || (allocator != nullptr && pvStructInfo == nullptr) ||
        (pbEncoded == nullptr && cbEncoded != 0)) {
        SetLastError(DWORD(ERROR_INVALID_PARAMETER));
        return FALSE;
    }
    Request request{resolve_struct_type(lpszStructType), lpszStructType, pbEncoded, cbEncoded, dwFlags};
    if (request.type.kind == StructType::Kind::unknown ||
        (request.type.kind == StructType::Kind::numeric && !decoder_knows(request.type.constant))) {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return FALSE;
    }
    if (cbEncoded == 0) {
        SetLastError(DWORD(CRYPT_E_ASN1_EOD));
        return FALSE;
    }

    SetLastError(0);
    DWORD needed = 0;
    Bytes rewritten;
    if (!measure(request, &needed)) {
        const DWORD error = GetLastError();
        if (request.type.constant == reinterpret_cast<std::uintptr_t>(X509_CERT_CRL_TO_BE_SIGNED))
            rewritten = crl_to_be_signed_for_decoder(pbEncoded, cbEncoded,
                                                     (dwFlags & CRYPT_DECODE_TO_BE_SIGNED_FLAG) != 0);
        if (rewritten.empty()) {
            SetLastError(error);
            fail_with_default(DWORD(CRYPT_E_ASN1_CORRUPT));
            return FALSE;
        }
        request.encoded = rewritten.data();
        request.size = static_cast<DWORD>(rewritten.size());
        request.flags |= CRYPT_DECODE_TO_BE_SIGNED_FLAG;
        SetLastError(0);
        if (!measure(request, &needed)) {
            fail_with_default(DWORD(CRYPT_E_ASN1_CORRUPT));
            return FALSE;
        }
    }
    if (request.type.kind == StructType::Kind::numeric && fixed_output_size(request.type.constant) != 0)
        needed = fixed_output_size(request.type.constant);

    void* out = pvStructInfo;
    if (allocator != nullptr) {
        out = allocator->alloc(needed);
        if (out == nullptr) {
            SetLastError(DWORD(ERROR_NOT_ENOUGH_MEMORY));
            return FALSE;
        }
    } else if (pvStructInfo == nullptr) {
        *pcbStructInfo = needed;
        return TRUE;
    } else if (*pcbStructInfo < needed) {
        *pcbStructInfo = needed;
        SetLastError(DWORD(ERROR_MORE_DATA));
        return FALSE;
    }

    if (!write(request, out, needed)) {
        if (allocator != nullptr) allocator->free(out);
        fail_with_default(DWORD(CRYPT_E_ASN1_CORRUPT));
        return FALSE;
    }
    reverse_signature(request, out);
    if (allocator != nullptr) *static_cast<void**>(pvStructInfo) = out;
    if (pcbStructInfo != nullptr) *pcbStructInfo = needed;
    return TRUE;
}

}  // namespace
}  // namespace maren::codec

extern "C" {

BOOL CryptDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded, DWORD cbEncoded,
                       DWORD dwFlags, void* pvStructInfo, DWORD* pcbStructInfo) {
    // The allocating form belongs to CryptDecodeObjectEx alone.
    return maren::codec::decode(dwCertEncodingType, lpszStructType, pbEncoded, cbEncoded,
                                dwFlags & ~DWORD(CRYPT_DECODE_ALLOC_FLAG), nullptr, pvStructInfo, pcbStructInfo);
}

BOOL CryptDecodeObjectEx(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded, DWORD cbEncoded,
                         DWORD dwFlags, PCRYPT_DECODE_PARA pDecodePara, void* pvStructInfo, DWORD* pcbStructInfo) {
    if ((dwFlags & CRYPT_DECODE_ALLOC_FLAG) == 0)
        return maren::codec::decode(dwCertEncodingType, lpszStructType, pbEncoded, cbEncoded, dwFlags, nullptr,
                                    pvStructInfo, pcbStructInfo);
    const maren::codec::Allocator allocator = maren::codec::allocator_of(pDecodePara);
    return maren::codec::decode(dwCertEncodingType, lpszStructType, pbEncoded, cbEncoded, dwFlags, &allocator,
                                pvStructInfo, pcbStructInfo);
}

}
