// CCertID and the making and matching of certificate identities.
#include "platform/ocsp/cert_id.h"

#include <cstring>

#include <maren/oids.h>

#include "base/blob.h"
#include "platform/codec/der_reader.h"
#include "platform/codec/der_writer.h"
#include "platform/ocsp/access.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

using maren::crypto::DigestKind;

struct HashOid {
    const char* oid;
    DigestKind kind;
};
constexpr HashOid kHashOids[] = {
    {szOID_OIWSEC_sha1, DigestKind::sha1},
    {szOID_NIST_sha256, DigestKind::sha256},
    {szOID_NIST_sha384, DigestKind::sha384},
    {szOID_NIST_sha512, DigestKind::sha512},
};

Bytes hash(DigestKind kind, const BYTE* data, DWORD size) { return maren::crypto::digest(kind, data, size); }

void append_part(std::string* key, const Bytes& part) {
    // Length-prefixed, so that no two different identities share a key.
    const auto size = static_cast<std::uint32_t>(part.size());
    key->append(reinterpret_cast<const char*>(&size), sizeof size);
    key->append(part.begin(), part.end());
}

}  // namespace

std::string CertIdState::issuer_key() const {
    std::string out;
    append_part(&out, Bytes(hash_oid.begin(), hash_oid.end()));
    append_part(&out, name_hash);
    append_part(&out, key_hash);
    return out;
}

std::string CertIdState::key() const {
    std::string out = issuer_key();
    append_part(&out, serial);
    return out;
}

Bytes CertIdState::encode() const {
    maren::codec::DerWriter out;
    const std::size_t outer = out.open(maren::codec::kTagSequence);
    const std::size_t algorithm = out.open(maren::codec::kTagSequence);
    if (!out.oid(hash_oid.c_str())) return {};
    out.null();
    out.close(algorithm);
    out.octet_string(name_hash.data(), name_hash.size());
    out.octet_string(key_hash.data(), key_hash.size());
    out.signed_integer(serial.data(), serial.size());
    out.close(outer);
    return out.take();
}

Bytes minimal_integer(const std::uint8_t* content, std::size_t size) {
    std::size_t start = 0;
    while (start + 1 < size && ((content[start] == 0x00 && (content[start + 1] & 0x80) == 0) ||
                                (content[start] == 0xFF && (content[start + 1] & 0x80) != 0)))
        ++start;
    return Bytes(content + start, content + size);
}

std::optional<DigestKind> cert_id_digest(const std::string& hash_oid) {
    for (const HashOid& entry : kHashOids)
        if (hash_oid == entry.oid) return entry.kind;
    return std::nullopt;
}

Bytes serial_of(const CERT_CONTEXT* cert) {
    using namespace maren::codec;
    if (cert == nullptr || cert->pbCertEncoded == nullptr) return {};
    DerReader input(cert->pbCertEncoded, cert->cbCertEncoded);
    DerElement certificate, tbs, version, serial;
    bool has_version = false;
    if (input.expect(kTagSequence, &certificate) != DerStatus::ok) return {};
    DerReader parts(certificate.content);
    if (parts.expect(kTagSequence, &tbs) != DerStatus::ok) return {};
    DerReader fields(tbs.content);
    if (fields.optional(kTagContext0, &version, &has_version) != DerStatus::ok) return {};
    if (fields.expect(kTagInteger, &serial) != DerStatus::ok || serial.content.size == 0) return {};
    return minimal_integer(serial.content.data, serial.content.size);
}

std::optional<CertIdState> cert_id_of(const CERT_CONTEXT* cert, const CERT_CONTEXT* issuer) {
    if (cert == nullptr || issuer == nullptr || issuer->pCertInfo == nullptr) return std::nullopt;
    const CERT_NAME_BLOB& name = issuer->pCertInfo->Subject;
    const CRYPT_BIT_BLOB& key = issuer->pCertInfo->SubjectPublicKeyInfo.PublicKey;
    if (name.pbData == nullptr || key.pbData == nullptr) return std::nullopt;
    CertIdState id;
    id.serial = serial_of(cert);
    if (id.serial.empty()) return std::nullopt;
    id.hash_oid = szOID_OIWSEC_sha1;
    id.name_hash = hash(DigestKind::sha1, name.pbData, name.cbData);
    id.key_hash = hash(DigestKind::sha1, key.pbData, key.cbData);
    return id;
}

bool names_issuer(const CertIdState& id, const CERT_CONTEXT* candidate) {
    if (candidate == nullptr || candidate->pCertInfo == nullptr) return false;
    const std::optional<DigestKind> kind = cert_id_digest(id.hash_oid);
    if (!kind) return false;
    const CERT_NAME_BLOB& name = candidate->pCertInfo->Subject;
    const CRYPT_BIT_BLOB& key = candidate->pCertInfo->SubjectPublicKeyInfo.PublicKey;
    return hash(*kind, key.pbData, key.cbData) == id.key_hash && hash(*kind, name.pbData, name.cbData) == id.name_hash;
}

}  // namespace Tarsis::PKI::OCSP::detail

namespace Tarsis::PKI::OCSP {
namespace {

Tarsis::CBlob blob_of(const detail::Bytes& bytes) { return Tarsis::CBlob(bytes.data(), bytes.size()); }

}  // namespace

CCertID::CCertID() : state_(new detail::CertIdState()) {}
CCertID::CCertID(const CCertID& other) : state_(new detail::CertIdState(*other.state_)) {}
CCertID& CCertID::operator=(const CCertID& other) {
    if (this != &other) *state_ = *other.state_;
    return *this;
}
CCertID::~CCertID() { delete state_; }

Tarsis::CBlob CCertID::get_serialNumber() const { return blob_of(state_->serial); }
Tarsis::CBlob CCertID::get_issuerNameHash() const { return blob_of(state_->name_hash); }
Tarsis::CBlob CCertID::get_issuerKeyHash() const { return blob_of(state_->key_hash); }
std::string CCertID::get_hashAlgorithm() const { return state_->hash_oid; }
bool CCertID::operator==(const CCertID& other) const { return *state_ == *other.state_; }

}  // namespace Tarsis::PKI::OCSP
