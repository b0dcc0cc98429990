// CRLs: the TBSCertList body into CRL_INFO. The entries are in
// crl_entries.cpp.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagNumberExplicit0 = 160;
// The version INTEGER: tag number 2 of any class.
constexpr DWORD kSelectorInteger = 2;
constexpr BYTE kUtcTimeTag = 23;
constexpr BYTE kGeneralizedTimeTag = 24;

static_assert(offsetof(CRL_INFO, ThisUpdate) == 48 && offsetof(CRL_INFO, cCRLEntry) == 64, "CRL_INFO layout");
static_assert(offsetof(CRL_INFO, cExtension) == 80 && sizeof(CRL_INFO) == 96, "CRL_INFO layout");

// nextUpdate, optional: a zero FILETIME when absent.
bool decodeNextUpdate(DecodeInput *content, DecodeArea *image) {
    if (content->cbData == 0 || (content->pbData[0] != kUtcTimeTag && content->pbData[0] != kGeneralizedTimeTag))
        return reserveZeroedField(image, kFileTimeSize, nullptr);
    if (content->cbData < 2) return false;
    const BYTE tag = content->pbData[0];
    DecodeInput text;
    if (!readAnyValue(content, &text)) return false;
    return decodeFILETIME(tag == kUtcTimeTag ? ASN1UTCTimeToFileTime : ASN1GeneralizedTimeToFileTime, image, &text);
}

}  // namespace

bool DecodeCRLToBeSigned(DecodeInput *input, DecodeArea *area) {
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0 && !readTaggedValue(input, 0x30, &content)) return false;

    DecodeArea image;
    if (!DecodeBeginStructImage(area, sizeof(CRL_INFO), &image)) return false;
    // The version is required: a v1 list, which has none, is refused here.
    if (!ASN1DecodeSimpleEx(&content, kSelectorInteger, kSimpleInteger, &image)) return false;
    if (!decodeAlgorithmField(&content, &image)) return false;
    DecodeInput issuer;
    if (!extractEncodedBlob(&content, &issuer) || !blbCopyDataBlob(&image, &issuer)) return false;
    if (!ASN1DecodeChoiceOfTime(&content, &image)) return false;
    if (!decodeNextUpdate(&content, &image)) return false;
    // A list with neither entries nor extensions is not accepted.
    if (content.cbData == 0) return false;
    if (nextTagIs(&content, 0x30)) {
        if (!decodeCRLEntryList(&content, &image)) return false;
    } else if (!reserveZeroedField(&image, kListPairSize, nullptr)) {
        return false;
    }
    if (!ASN1DecodeConstructed(&content, kTagNumberExplicit0, &image, ASN1DecodeExtensions)) return false;
    return DecodeRestoreStructInfo(area, &image, sizeof(CRL_INFO));
}

}  // namespace halden::decode
