// Certificates: the signed wrapper (CERT_SIGNED_CONTENT_INFO), the
// TBSCertificate (CERT_INFO) and the pieces certificates share with CRLs and
// requests: algorithm identifiers, validity, public keys and extensions.
//
// Issuer and subject stay whole encoded Name values; parameters of an
// algorithm stay encoded. Structures that can't be filled in place are built
// as an image at the extra cursor and moved at the end.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagNumberSequence = 16;
constexpr BYTE kExplicitVersionTag = 0xA0;
constexpr BYTE kExtensionsTag = 0xA3;
// IssuerUniqueID [1] and SubjectUniqueID [2], of any class.
constexpr DWORD kSelectorContext1 = 129;
constexpr DWORD kSelectorContext2 = 130;
// critical BOOLEAN: tag number 1 of any class.
constexpr DWORD kSelectorBoolean = 1;

// The fixed cursor walks the published layouts field by field, each field a
// padded advance: these layouts must have no other holes.
static_assert(offsetof(CERT_INFO, SerialNumber) == 8, "CERT_INFO layout");
static_assert(offsetof(CERT_INFO, NotBefore) == 64, "CERT_INFO layout");
static_assert(offsetof(CERT_INFO, SubjectPublicKeyInfo) == 96, "CERT_INFO layout");
static_assert(offsetof(CERT_INFO, cExtension) == 192 && sizeof(CERT_INFO) == 208, "CERT_INFO layout");
static_assert(sizeof(CERT_PUBLIC_KEY_INFO) == 48, "CERT_PUBLIC_KEY_INFO layout");
static_assert(offsetof(CERT_EXTENSION, Value) == 16 && sizeof(CERT_EXTENSION) == 32, "CERT_EXTENSION layout");
static_assert(sizeof(CERT_SIGNED_CONTENT_INFO) == 64, "CERT_SIGNED_CONTENT_INFO layout");

// The explicit [0] version: exactly A0 03 02 01 vv.
bool decodeCertificateVersion(DecodeInput *content, DecodeArea *image) {
    DWORD version = 0;
    if (content->cbData != 0 && content->pbData[0] == kExplicitVersionTag) {
        const BYTE *p = content->pbData;
        if (content->cbData < 5 || p[1] != 0x03 || p[2] != 0x02 || p[3] != 0x01) return false;
        version = p[4];
        content->pbData += 5;
        content->cbData -= 5;
    }
    return storeDwordField(image, version);
}

}  // namespace

bool DecodeAlgorithmID(DecodeInput *content, DecodeArea *area) {
    if (!DecodeOIDToString(content, area)) return false;
    DecodeInput parameters{0, nullptr};
    if (content->cbData != 0 && !extractEncodedBlob(content, &parameters)) return false;
    return blbCopyDataBlob(area, &parameters);
}

bool decodeAlgorithmField(DecodeInput *input, DecodeArea *area) {
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0 && !readTaggedValue(input, 0x30, &content)) return false;
    return DecodeAlgorithmID(&content, area);
}

bool DecodeValidity(DecodeInput *content, DecodeArea *area) {
    // ASN1DecodeChoiceOfTime refuses an empty or one-byte input and any tag
    // but UTCTime and GeneralizedTime, context classes included.
    return ASN1DecodeChoiceOfTime(content, area) && ASN1DecodeChoiceOfTime(content, area);
}

bool DecodePublicKeyInfo(DecodeInput *content, DecodeArea *area) {
    advanceExtra(area, sizeof(CERT_PUBLIC_KEY_INFO));
    if (!decodeAlgorithmField(content, area)) return false;
    DecodeInput key;
    if (!readAnyValue(content, &key)) return false;
    return blbCopyDataBitBlob(area, &key);
}

bool DecodeExtension(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    return DecodeOIDToString(&content, area) &&
           ASN1DecodeSimpleEx(&content, kSelectorBoolean, kSimpleBoolean, area) &&
           ASN1DecodeSimpleEx(&content, kAnyTag, kSimpleOctetString, area);
}

bool ASN1DecodeExtensions(DecodeInput *input, DecodeArea *area) {
    return ASN1DecodeConstructedList(input, area, kTagNumberSequence, sizeof(CERT_EXTENSION), DecodeExtension);
}

bool DecodeCertificate(DecodeInput *content, DecodeArea *area) {
    DecodeArea image;
    if (!DecodeBeginStructImage(area, sizeof(CERT_SIGNED_CONTENT_INFO), &image)) return false;
    if (!DecodeDERBlob(content, &image)) return false;
    if (!decodeAlgorithmField(content, &image)) return false;
    // The signature bytes stay in the order of the encoding.
    if (!ASN1DecodeSimpleEx(content, kAnyTag, kSimpleBits, &image)) return false;
    return DecodeRestoreStructInfo(area, &image, sizeof(CERT_SIGNED_CONTENT_INFO));
}

bool DecodeTBSCertificate(DecodeInput *content, DecodeArea *area) {
    DecodeArea image;
    if (!DecodeBeginStructImage(area, sizeof(CERT_INFO), &image)) return false;
    if (!decodeCertificateVersion(content, &image)) return false;
    if (!ASN1DecodeSimpleEx(content, kAnyTag, kSimpleMultiByteInteger, &image)) return false;
    if (!decodeAlgorithmField(content, &image)) return false;
    if (!DecodeDERBlob(content, &image)) return false;  // Issuer
    if (!ASN1DecodeConstructed(content, kTagNumberSequence, &image, DecodeValidity)) return false;
    if (!DecodeDERBlob(content, &image)) return false;  // Subject
    if (!ASN1DecodeConstructed(content, kTagNumberSequence, &image, DecodePublicKeyInfo)) return false;
    if (!ASN1DecodeSimpleEx(content, kSelectorContext1, kSimpleBits, &image)) return false;
    if (!ASN1DecodeSimpleEx(content, kSelectorContext2, kSimpleBits, &image)) return false;
    // Extensions only under exactly [3] constructed; anything else behind
    // the unique ids is left unread, like all trailing bytes.
    if (nextTagIs(content, kExtensionsTag)) {
        DecodeInput extensions;
        if (!readTaggedValue(content, kExtensionsTag, &extensions)) return false;
        if (!ASN1DecodeExtensions(&extensions, &image)) return false;
    } else if (!reserveZeroedField(&image, kListPairSize, nullptr)) {
        return false;
    }
    return DecodeRestoreStructInfo(area, &image, sizeof(CERT_INFO));
}

}  // namespace halden::decode
