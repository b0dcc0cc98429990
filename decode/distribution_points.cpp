// CRL distribution points (CRL_DIST_POINT, an element of
// CRL_DIST_POINTS_INFO) and the issuing distribution point of a CRL
// (CRL_ISSUING_DIST_POINT). Both fill their slot in place and read their
// optional context fields in order only: a field out of order ends the
// reading.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

static_assert(offsetof(CRL_DIST_POINT, ReasonFlags) == 24 && offsetof(CRL_DIST_POINT, CRLIssuer) == 48 &&
                  sizeof(CRL_DIST_POINT) == 64,
              "CRL_DIST_POINT layout");
static_assert(offsetof(CRL_ISSUING_DIST_POINT, OnlySomeReasonFlags) == 32 && sizeof(CRL_ISSUING_DIST_POINT) == 64,
              "CRL_ISSUING_DIST_POINT layout");

inline bool nextMasked(const DecodeInput *in, BYTE mask, BYTE tag) {
    return in->cbData != 0 && (in->pbData[0] & mask) == tag;
}

// A BOOLEAN field of the issuing distribution point: a fixed two-byte
// header (tag, length 1) and one content byte.
bool readFlag(DecodeInput *content, BOOL *flag) {
    if (content->cbData < 3 || content->pbData[1] != 1) return false;
    if (flag && content->pbData[2] != 0) *flag = TRUE;
    content->pbData += 3;
    content->cbData -= 3;
    return true;
}

}  // namespace

bool ASN1DecodeCDP(DecodeInput *input, DecodeArea *area) {
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0 && !readTaggedValue(input, 0x30, &content)) return false;
    BYTE *slot = nullptr;
    if (!reserveZeroedField(area, sizeof(CRL_DIST_POINT), &slot)) return false;
    auto *point = reinterpret_cast<CRL_DIST_POINT *>(slot);
    if (content.cbData == 0) return true;

    bool any = false;
    if (nextMasked(&content, 0xDF, 0x80)) {
        if (!DecodeDPN(&content, point ? &point->DistPointName : nullptr, area)) return false;
        any = true;
    }
    if (nextMasked(&content, 0xDF, 0x81)) {
        if (!blb2bits(&content, point ? &point->ReasonFlags : nullptr, area)) return false;
        any = true;
    }
    if (nextMasked(&content, 0xDF, 0x82)) {
        if (!blb2GeneralNames(&content, point ? &point->CRLIssuer : nullptr, area)) return false;
        any = true;
    }
    return content.cbData == 0 || any;
}

bool DecodeIDP(DecodeInput *content, DecodeArea *area) {
    BYTE *slot = nullptr;
    if (!reserveZeroedField(area, sizeof(CRL_ISSUING_DIST_POINT), &slot)) return false;
    auto *point = reinterpret_cast<CRL_ISSUING_DIST_POINT *>(slot);

    bool any = false;
    if (nextMasked(content, 0xDF, 0x80)) {
        if (!DecodeDPN(content, point ? &point->DistPointName : nullptr, area)) return false;
        any = true;
    }
    if (nextMasked(content, 0xDF, 0x81)) {
        if (!readFlag(content, point ? &point->fOnlyContainsUserCerts : nullptr)) return false;
        any = true;
    }
    if (nextMasked(content, 0xDF, 0x82)) {
        if (!readFlag(content, point ? &point->fOnlyContainsCACerts : nullptr)) return false;
        any = true;
    }
    if (nextMasked(content, 0xDF, 0x83)) {
        if (!blb2bits(content, point ? &point->OnlySomeReasonFlags : nullptr, area)) return false;
        any = true;
    }
    if (nextMasked(content, 0xDF, 0x84)) {
        if (!readFlag(content, point ? &point->fIndirectCRL : nullptr)) return false;
        any = true;
    }
    // onlyContainsAttributeCerts [5], or a field out of order, is not read:
    // alone it fails, behind other fields it is ignored.
    return content->cbData == 0 || any;
}

}  // namespace halden::decode
