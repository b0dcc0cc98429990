/* What the chain builder asks of one certificate or of a pair: identity,
 * names, signatures, validity and the authority key identifier. */
#ifndef MAREN_PLATFORM_CHAIN_CERT_FACTS_H
#define MAREN_PLATFORM_CHAIN_CERT_FACTS_H

#include <vector>

#include <maren/context.h>

namespace maren::chain {

/* The encoding type every lookup of the builder uses. */
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

/* The same certificate: byte-identical encodings. */
bool same_certificate(const CERT_CONTEXT *a, const CERT_CONTEXT *b);

/* Subject and issuer names are equal. */
bool is_self_issued(const CERT_CONTEXT *cert);

/* The signature on subject verifies with issuer's public key. */
bool is_signed_by(const CERT_CONTEXT *subject, const CERT_CONTEXT *issuer);

/* NotBefore <= time <= NotAfter. */
bool is_time_valid(const CERT_CONTEXT *cert, const FILETIME &time);

/* The key identifier of the authority key identifier extension (the
 * RFC 5280 form or the old one); empty when absent or undecodable. */
std::vector<BYTE> authority_key_id(const CERT_CONTEXT *cert);

}  // namespace maren::chain

#endif
