#include "platform/store/body_decoder.h"

#include "decode/decode.h"
#include "platform/codec/crl_compat.h"

namespace maren::store {
namespace {

// Measures, then writes into an exact allocation. The decoder leaves the
// last error alone on some failures; those read as a corrupt encoding.
bool decode_into(LPCSTR type, const BYTE *pb, DWORD cb, DecodedArea *out) {
    const DWORD before = GetLastError();
    SetLastError(0);
    DWORD size = 0;
    bool ok = TSDecodeObject(0, type, pb, cb, CRYPT_DECODE_TO_BE_SIGNED_FLAG, nullptr, &size) && size != 0;
    if (ok) {
        DecodedArea area(new std::uint64_t[(size + 7) / 8]);
        ok = TSDecodeObject(X509_ASN_ENCODING, type, pb, cb, CRYPT_DECODE_TO_BE_SIGNED_FLAG, area.get(), &size);
        if (ok) *out = std::move(area);
    }
    if (ok) {
        SetLastError(before);
        return true;
    }
    if (GetLastError() == 0) SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
    return false;
}

}  // namespace

bool decode_certificate_body(const BYTE *tbs, DWORD size, DecodedArea *out) {
    return decode_into(X509_CERT_TO_BE_SIGNED, tbs, size, out);
}

bool decode_crl_body(const BYTE *tbs, DWORD size, DecodedArea *out) {
    // The two shapes the decoder refuses come back rewritten; anything else
    // goes to the decoder as it is, which then reports a fault.
    const codec::Bytes rewritten = codec::crl_to_be_signed_for_decoder(tbs, size, true);
    if (rewritten.empty()) return decode_into(X509_CERT_CRL_TO_BE_SIGNED, tbs, size, out);
    if (rewritten.size() > 0xFFFFFFFFu) {
        SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_LARGE));
        return false;
    }
    return decode_into(X509_CERT_CRL_TO_BE_SIGNED, rewritten.data(), static_cast<DWORD>(rewritten.size()), out);
}

}  // namespace maren::store
