// An ECDSA signature value (SEQUENCE { r INTEGER, s INTEGER }) into
// CERT_ECC_SIGNATURE: both integers unsigned and little-endian.
#include <decode/der_reader.h>

namespace halden::decode {

bool DecodeX509EccSignature(DecodeInput *content, DecodeArea *area) {
    advanceExtra(area, sizeof(CERT_ECC_SIGNATURE));
    DecodeInput r;
    if (!readAnyValue(content, &r)) return false;
    // Leading zeros (the sign byte of a positive value) go; all zeros is an
    // empty integer.
    while (r.cbData != 0 && r.pbData[0] == 0) {
        ++r.pbData;
        --r.cbData;
    }
    if (!DecodeMBInt(r.pbData, r.cbData, area)) return false;
    return ASN1DecodeSimpleEx(content, kAnyTag, kSimpleMultiByteUint, area);
}

}  // namespace halden::decode
