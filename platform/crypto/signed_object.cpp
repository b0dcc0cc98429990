#include "platform/crypto/signed_object.h"

#include <maren/errors.h>

namespace maren::crypto {
namespace {

HRESULT error_of(codec::DerStatus status) {
    return status == codec::DerStatus::bad_tag ? CRYPT_E_ASN1_BADTAG : CRYPT_E_ASN1_EOD;
}

}  // namespace

HRESULT parse_signed_object(const BYTE* encoded, DWORD size, SignedObject* out) {
    using codec::DerElement;
    using codec::DerReader;
    using codec::DerStatus;
    DerReader input(encoded, size);
    DerElement outer, tbs, algorithm, oid, signature;
    DerStatus status = input.expect(codec::kTagSequence, &outer);
    if (status != DerStatus::ok) return error_of(status);

    DerReader parts(outer.content);
    if ((status = parts.expect(codec::kTagSequence, &tbs)) != DerStatus::ok) return error_of(status);
    if ((status = parts.expect(codec::kTagSequence, &algorithm)) != DerStatus::ok) return error_of(status);
    if ((status = parts.expect(codec::kTagBitString, &signature)) != DerStatus::ok) return error_of(status);
    if (!parts.empty()) return CRYPT_E_ASN1_CORRUPT;

    DerReader algorithm_parts(algorithm.content);
    if ((status = algorithm_parts.expect(codec::kTagOid, &oid)) != DerStatus::ok) return error_of(status);
    out->algorithm = codec::oid_text(oid.content);
    if (out->algorithm.empty()) return CRYPT_E_ASN1_CORRUPT;
    out->parameters = algorithm_parts.rest();

    if (signature.content.size == 0 || signature.content.data[0] > 7) return CRYPT_E_ASN1_CORRUPT;
    out->to_be_signed = tbs.whole;
    out->unused_bits = signature.content.data[0];
    out->signature = codec::DerView{signature.content.data + 1, signature.content.size - 1};
    return S_OK;
}

}  // namespace maren::crypto
