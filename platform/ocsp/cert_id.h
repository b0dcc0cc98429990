// The identity of a certificate in OCSP (RFC 6960 CertID): the hash
// algorithm, the hashes of the issuer's name and key, and the serial number.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <maren/context.h>

#include "platform/crypto/digest.h"

namespace Tarsis::PKI::OCSP::detail {

using Bytes = std::vector<std::uint8_t>;

struct CertIdState {
    // Dotted OID; empty for an empty identity.
    std::string hash_oid;
    Bytes name_hash;
    Bytes key_hash;
    // Content octets of the INTEGER, minimal two's complement: serials
    // written with redundant sign bytes still match.
    Bytes serial;

    bool operator==(const CertIdState& other) const {
        return hash_oid == other.hash_oid && name_hash == other.name_hash && key_hash == other.key_hash &&
               serial == other.serial;
    }
    // Algorithm, both hashes and serial in one string, for map keys.
    std::string key() const;
    // The same without the serial: names the issuer alone.
    std::string issuer_key() const;
    // The DER of the CertID SEQUENCE; empty when the OID is not an OID.
    Bytes encode() const;
};

// Drops the sign bytes DER would not write.
Bytes minimal_integer(const std::uint8_t* content, std::size_t size);

// The digest kind of a CertID hash OID, when maren computes it.
std::optional<maren::crypto::DigestKind> cert_id_digest(const std::string& hash_oid);

// SHA-1 CertID of cert as issued by issuer. Nothing when a certificate
// lacks what the identity is made of.
std::optional<CertIdState> cert_id_of(const CERT_CONTEXT* cert, const CERT_CONTEXT* issuer);

// The identity names candidate as the issuer: its subject name and public
// key hash, under the identity's algorithm, to the identity's hashes.
bool names_issuer(const CertIdState& id, const CERT_CONTEXT* candidate);

// The serial number of cert as it stands in the encoding, minimal.
Bytes serial_of(const CERT_CONTEXT* cert);

}  // namespace Tarsis::PKI::OCSP::detail
