// TSDecodeObject: the two passes over the caller's area, the peeling of
// signed wrappers, and the table from structure constants to decoders.
#include <decode/decode.h>
#include <decode/decoders.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagNumberSequence = 16;
constexpr BYTE kTagSequence = 0x30;
constexpr BYTE kTagInteger = 0x02;
constexpr DWORD kToBeSignedFlag = 0x2;  // CRYPT_DECODE_TO_BE_SIGNED_FLAG

uintptr_t constantOf(LPCSTR structType) { return reinterpret_cast<uintptr_t>(structType); }

bool constructed(DecodeInput *in, DecodeArea *area, DecodeFn content) {
    return ASN1DecodeConstructed(in, kTagNumberSequence, area, content);
}

bool list(DecodeInput *in, DecodeArea *area, DWORD elementSize, DecodeFn element) {
    return ASN1DecodeConstructedList(in, area, kTagNumberSequence, elementSize, element);
}

bool simple(DecodeInput *in, DecodeArea *area, DWORD simpleType) {
    return ASN1DecodeSimpleEx(in, kAnyTag, simpleType, area);
}

// X509_INTEGER and X509_ENUMERATED: a size query reports the four bytes of
// the integer, not its padded slot.
bool integerRow(DecodeInput *in, DecodeArea *area, DWORD simpleType) {
    const bool measuring = area->pbExtra == nullptr;
    if (!simple(in, area, simpleType)) return false;
    if (measuring) area->cbExtra = sizeof(DWORD);
    return true;
}

// X509_ALTERNATE_NAME: the info is reserved here and the GeneralNames
// filled behind it; the outer tag is not checked.
bool alternateNameRow(DecodeInput *in, DecodeArea *area) {
    BYTE *const slot = area->pbFixed;
    if (!reserveZeroedField(area, sizeof(CERT_ALT_NAME_INFO), nullptr)) return false;
    if (in->cbData == 0) return true;
    return blb2GeneralNames(in, reinterpret_cast<CERT_ALT_NAME_INFO *>(slot), area);
}

// Rows whose every failure is reported as a truncated input.
bool reportedAsEod(bool ok) {
    if (!ok) SetLastError(DWORD(CRYPT_E_ASN1_EOD));
    return ok;
}

// The shape of a length header, not its value: CRYPT_E_ASN1_EOD when the
// length byte is missing or a long form names more than 4 bytes or more
// bytes than remain. Moves the cursor behind the header.
bool skipLengthHeader(DecodeInput *in) {
    if (in->cbData == 0) {
        SetLastError(DWORD(CRYPT_E_ASN1_EOD));
        return false;
    }
    const BYTE first = in->pbData[0];
    DWORD header = 1;
    if (first > 0x80) {
        const DWORD n = first & 0x7Fu;
        if (n > 4 || in->cbData < n + 1) {
            SetLastError(DWORD(CRYPT_E_ASN1_EOD));
            return false;
        }
        header = n + 1;
    }
    in->pbData += header;
    in->cbData -= header;
    return true;
}

// Peeling of the signed wrapper for the to-be-signed constants when the
// caller did not say the input is bare. It looks at bytes only: a signed
// object has a SEQUENCE right inside its SEQUENCE. A bare TBSCertList
// without a version also starts so, hence the CRL's look one level deeper
// for the version INTEGER (or the SEQUENCE of a version-less wrapped list).
// Returns false to fail the call; otherwise *in is what to decode.
bool peelSignedWrapper(uintptr_t constant, DecodeInput *in) {
    if (in->cbData == 0 || in->pbData[0] != kTagSequence) return false;
    DecodeInput outer{in->cbData - 1, in->pbData + 1};
    if (!skipLengthHeader(&outer)) return false;
    if (outer.cbData == 0) return false;
    if (outer.pbData[0] != kTagSequence) return true;
    if (constant == 3) {
        DecodeInput inner{outer.cbData - 1, outer.pbData + 1};
        if (!skipLengthHeader(&inner)) return false;
        if (inner.cbData == 0) return false;
        if (inner.pbData[0] != kTagInteger && inner.pbData[0] != kTagSequence) return true;
    }
    *in = outer;
    return true;
}

}  // namespace

bool TSDecodeObjectInternal(LPCSTR lpszStructType, const BYTE *pbEncoded, DWORD cbEncoded, DecodeArea *area) {
    DecodeInput in{cbEncoded, pbEncoded};
    if (area->pbInputEnd == nullptr) area->pbInputEnd = pbEncoded + cbEncoded;
    switch (constantOf(lpszStructType)) {
    case 1: return constructed(&in, area, DecodeCertificate);
    case 2: return constructed(&in, area, DecodeTBSCertificate);
    case 3: return DecodeCRLToBeSigned(&in, area);
    case 4: return DecodeCertRequestToBeSigned(&in, area);
    case 5: return list(&in, area, sizeof(CERT_EXTENSION), DecodeExtension);
    case 6: return DecodeStrictNameValue(&in, area);
    case 7: return list(&in, area, sizeof(CERT_RDN), ASN1DecodeRDN);
    case 8: return constructed(&in, area, DecodePublicKeyInfo);
    case 9: return constructed(&in, area, DecodeAuthorityKeyId);
    case 10: return constructed(&in, area, ASN1DecodeKeyAttributes);
    case 12: return alternateNameRow(&in, area);
    // X509_KEY_USAGE and X509_BITS_WITHOUT_TRAILING_ZEROES read exactly as
    // X509_BITS: no trailing zero is trimmed.
    case 14: return simple(&in, area, kSimpleBits);
    case 15: return constructed(&in, area, DecodeBasicConstraints2);
    case 16: return list(&in, area, sizeof(CERT_POLICY_INFO), ASN1DecodeCertPolicyInfo);
    case 17: return simple(&in, area, kSimpleUtcTime);
    case 20: return list(&in, area, sizeof(CERT_RDN), ASN1DecodeURDN);
    case 23: return constructed(&in, area, DecodePkcsContentInfoSequenceOfAny);
    case 24: return DecodeUnicodeNameValue(&in, area);
    case 25: return simple(&in, area, kSimpleOctetString);
    case 26: return simple(&in, area, kSimpleBits);
    case 27: return integerRow(&in, area, kSimpleInteger);
    case 28: return simple(&in, area, kSimpleMultiByteInteger);
    case 29: return integerRow(&in, area, kSimpleEnumerated);
    case 30: return ASN1DecodeChoiceOfTime(&in, area);
    case 31: return constructed(&in, area, DecodeAuthorityKeyId2);
    case 32: return list(&in, area, sizeof(CERT_ACCESS_DESCRIPTION), DecodeAuthAccessInfoEntry);
    case 34: return list(&in, area, sizeof(CRYPT_DER_BLOB), DecodeDERBlob);
    case 35: return list(&in, area, sizeof(CRL_DIST_POINT), ASN1DecodeCDP);
    case 36: return list(&in, area, sizeof(LPSTR), DecodeOIDToString);
    case 38: return simple(&in, area, kSimpleMultiByteUint);
    case 46: return constructed(&in, area, DecodePolicyQualifierUserNotice);
    case 47: return constructed(&in, area, DecodeX509EccSignature);
    case 51: return simple(&in, area, kSimpleBits);
    case 54: return reportedAsEod(constructed(&in, area, DecodeIDP));
    case 56: return list(&in, area, sizeof(CERT_POLICY_MAPPING), DecodePolicyMapping);
    case 57: return constructed(&in, area, DecodePolicyConstraints);
    case 64: return reportedAsEod(constructed(&in, area, DecodeCertificateTemplate));
    case 73: return simple(&in, area, kSimpleObjectIdentifier);
    case 0x1000: return simple(&in, area, kSimpleAnyOctets);
    case 0x1001: return DecodeDERBlob(&in, area);
    case 0x80C6: return constructed(&in, area, DecodeEnrollmentNameValuePair);
    case 0x80C7: return constructed(&in, area, DecodeEnrollmentCSPInfo);
    case 0x80C8: return list(&in, area, sizeof(CERT_RDN), ASN1DecodeCertRDN);
    default:
        // Nothing falls through to the platform: an object identifier
        // string never matches, being compared as a number.
        SetLastError(DWORD(ERROR_INVALID_PARAMETER));
        return false;
    }
}

}  // namespace halden::decode

BOOL TSDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE *pbEncoded, DWORD cbEncoded,
                    DWORD dwFlags, void *pvStructInfo, DWORD *pcbStructInfo) {
    using namespace halden::decode;
    if (pcbStructInfo == nullptr || (pbEncoded == nullptr && cbEncoded != 0)) {
        SetLastError(DWORD(ERROR_INVALID_PARAMETER));
        return FALSE;
    }
    DecodeInput in{cbEncoded, pbEncoded};
    const uintptr_t constant = reinterpret_cast<uintptr_t>(lpszStructType);
    if ((constant == 2 || constant == 3 || constant == 4) && (dwFlags & kToBeSignedFlag) == 0 &&
        !peelSignedWrapper(constant, &in))
        return FALSE;
    const BYTE *const inputEnd = pbEncoded + cbEncoded;

    DWORD size = *pcbStructInfo;
    if (dwCertEncodingType == 0) {
        DecodeArea measure{};
        measure.pbInputEnd = inputEnd;
        const bool measured = TSDecodeObjectInternal(lpszStructType, in.pbData, in.cbData, &measure);
        *pcbStructInfo = measure.cbExtra;
        if (pvStructInfo == nullptr) return measured ? TRUE : FALSE;
        // No ERROR_MORE_DATA: a short area shows only in the grown size. A
        // failed measure does not stop the writing pass if the size sufficed.
        if (size < measure.cbExtra) return FALSE;
        size = measure.cbExtra;
    }
    // A null area here (writing pass only, no buffer) leaves the cursors
    // null, and the run only counts.
    auto *const start = static_cast<BYTE *>(pvStructInfo);
    DecodeArea write{};
    write.cbFixed = size;
    write.pbFixed = start;
    write.cbExtra = size;
    write.pbExtra = start;
    write.pbEnd = start ? start + size : nullptr;
    write.pbInputEnd = inputEnd;
    return TSDecodeObjectInternal(lpszStructType, in.pbData, in.cbData, &write) ? TRUE : FALSE;
}
