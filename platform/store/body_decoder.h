// The to-be-signed body of a certificate or CRL decoded by the object
// decoder into one allocation that holds the CERT_INFO / CRL_INFO and
// everything it points to.
#ifndef MAREN_PLATFORM_STORE_BODY_DECODER_H
#define MAREN_PLATFORM_STORE_BODY_DECODER_H

#include <cstdint>
#include <memory>

#include <maren/maren.h>

namespace maren::store {

using DecodedArea = std::unique_ptr<std::uint64_t[]>;

// `tbs` is the whole TBSCertificate value. False with the last error set
// when it does not decode.
bool decode_certificate_body(const BYTE *tbs, DWORD size, DecodedArea *out);

// `tbs` is the whole TBSCertList value. Contexts take two shapes that the
// decoder refuses: a version-1 list, which has no version INTEGER, and a
// list with neither entries nor extensions. Those are handed to the decoder
// rewritten - an INTEGER 0 put in front, an empty [0] extension list put at
// the end - which decodes to exactly the CRL_INFO of the original
// (dwVersion CRL_V1, cExtension 0). The decoder copies everything it
// returns, so the rewritten bytes are dropped after the call.
bool decode_crl_body(const BYTE *tbs, DWORD size, DecodedArea *out);

}  // namespace maren::store

#endif
