// CRLs the object decoder refuses but the published decoder takes: a
// version 1 list (no version field) and a list with neither entries nor
// extensions. Such a list is rewritten into the equivalent form the decoder
// accepts.
#pragma once

#include <maren/types.h>

#include "platform/codec/der_writer.h"

namespace maren::codec {

// The bare TBSCertList of `encoded` (a signed CRL, or the TBSCertList alone
// when `to_be_signed` is set) with the version written out (0 when absent)
// and an empty extension list added when there are neither entries nor
// extensions. Empty when the input is no CRL of that shape or needs no
// rewriting.
Bytes crl_to_be_signed_for_decoder(const BYTE* encoded, DWORD size, bool to_be_signed);

}  // namespace maren::codec
