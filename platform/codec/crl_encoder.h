// The DER of a TBSCertList from a CRL_INFO.
#pragma once

#include <maren/cert_structs.h>

#include "platform/codec/der_writer.h"
#include "platform/codec/x509_writer.h"

namespace maren::codec {

// The TBSCertList: version when not 1, signature, issuer as given, times
// (UTCTime 1950 to 2049, GeneralizedTime otherwise), nextUpdate when not
// zero, revokedCertificates when there are entries (serials are
// little-endian in a CRYPT_INTEGER_BLOB), crlExtensions in [0] when there
// are any. False, with the last error set, when a field can't be encoded.
bool encode_crl_to_be_signed(const CRL_INFO& info, Bytes* out);

}  // namespace maren::codec
