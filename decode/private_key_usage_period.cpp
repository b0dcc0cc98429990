// The private key usage period extension (2.5.29.16), reached through the
// platform's CryptDecodeObject by its struct type string:
//   SEQUENCE { notBefore [0] GeneralizedTime OPTIONAL,
//              notAfter  [1] GeneralizedTime OPTIONAL }
// Out: two FILETIME pointers followed by the times present.
#include <decode/decode.h>
#include <decode/primitives.h>

using namespace halden::decode;

namespace {

constexpr BYTE kTagSequence = 0x30;
constexpr BYTE kContextTag0 = 0x80;

BOOL fail(HRESULT error) {
    SetLastError(DWORD(error));
    return FALSE;
}

}  // namespace

BOOL TSDecodePrivateKeyUsagePeriod(DWORD /*dwCertEncodingType*/, LPCSTR /*lpszStructType*/, const BYTE *pbEncoded,
                                   DWORD cbEncoded, DWORD /*dwFlags*/, void *pvStructInfo, DWORD *pcbStructInfo) {
    if (pcbStructInfo == nullptr || (pbEncoded == nullptr && cbEncoded != 0)) {
        SetLastError(DWORD(ERROR_INVALID_PARAMETER));
        return FALSE;
    }
    DecodeInput in{cbEncoded, pbEncoded};
    if (in.cbData == 0) return fail(CRYPT_E_ASN1_EOD);
    if (in.pbData[0] != kTagSequence) return fail(CRYPT_E_ASN1_BADTAG);
    ++in.pbData;
    --in.cbData;
    DecodeInput period;
    if (!readContent(&in, &period)) return fail(CRYPT_E_ASN1_EOD);

    // Each bound is an implicitly tagged GeneralizedTime, primitive or
    // constructed form alike; [0] can only come before [1]. Bytes behind
    // them are ignored, as everywhere in the decoder.
    FILETIME times[2] = {};
    bool present[2] = {false, false};
    for (int i = 0; i < 2; ++i) {
        if (period.cbData == 0 || (period.pbData[0] & 0xDF) != kContextTag0 + i) continue;
        ++period.pbData;
        --period.cbData;
        DecodeInput text;
        if (!readContent(&period, &text)) return fail(CRYPT_E_ASN1_EOD);
        if (!ASN1GeneralizedTimeToFileTime(&text, &times[i])) return fail(CRYPT_E_ASN1_EOD);
        present[i] = true;
    }

    const DWORD size =
        DWORD(sizeof(TSCERT_PRIVATEKEY_USAGE_PERIOD) + sizeof(FILETIME) * ((present[0] ? 1 : 0) + (present[1] ? 1 : 0)));
    if (pvStructInfo == nullptr) {
        *pcbStructInfo = size;
        return TRUE;
    }
    if (*pcbStructInfo < size) {
        *pcbStructInfo = size;
        SetLastError(DWORD(ERROR_MORE_DATA));
        return FALSE;
    }
    auto *out = static_cast<TSCERT_PRIVATEKEY_USAGE_PERIOD *>(pvStructInfo);
    auto *slot = reinterpret_cast<FILETIME *>(out + 1);
    out->pNotBefore = nullptr;
    out->pNotAfter = nullptr;
    if (present[0]) {
        *slot = times[0];
        out->pNotBefore = slot++;
    }
    if (present[1]) {
        *slot = times[1];
        out->pNotAfter = slot;
    }
    *pcbStructInfo = size;
    return TRUE;
}
