// The immutable heart of a certificate or CRL context: the encoded bytes,
// their decoded form in one allocation, and what is derived from the bytes
// once (SHA-1 digest, key identifier). Every context of the same object -
// the one the caller created, the copies stores hold, the ones finds hand
// out - shares one EncodedObject, so nothing is parsed or hashed twice.
#ifndef MAREN_PLATFORM_STORE_ENCODED_OBJECT_H
#define MAREN_PLATFORM_STORE_ENCODED_OBJECT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include <maren/maren.h>

#include "platform/crypto/digest.h"
#include "platform/store/lazy.h"

namespace maren::store {

enum class ObjectKind { certificate, crl };

class EncodedObject : public std::enable_shared_from_this<EncodedObject> {
  public:
    using Ptr = std::shared_ptr<const EncodedObject>;

    // The object of these bytes. When (pb, cb) are exactly the bytes of an
    // object alive in this process - a context's own pbCertEncoded handed
    // back, as adding "from the encoded bytes" does - that object is shared
    // instead of copied and decoded again. Null with the last error set on
    // a malformed encoding.
    static Ptr from_bytes(ObjectKind kind, const BYTE *pb, DWORD cb);
    // The object of bytes read from a file; null (last error set) when they
    // don't decode.
    static Ptr from_vector(ObjectKind kind, std::vector<BYTE> &&bytes);

    EncodedObject(const EncodedObject &) = delete;
    EncodedObject &operator=(const EncodedObject &) = delete;
    ~EncodedObject();

    ObjectKind kind() const { return kind_; }
    const BYTE *data() const { return bytes_.data(); }
    DWORD size() const { return static_cast<DWORD>(bytes_.size()); }
    std::string_view bytes() const { return {reinterpret_cast<const char *>(bytes_.data()), bytes_.size()}; }

    // Decoded bodies; the one of the other kind is null. The memory is
    // never written after construction.
    CERT_INFO *cert_info() const { return kind_ == ObjectKind::certificate ? static_cast<CERT_INFO *>(info()) : nullptr; }
    CRL_INFO *crl_info() const { return kind_ == ObjectKind::crl ? static_cast<CRL_INFO *>(info()) : nullptr; }
    const CERT_NAME_BLOB &issuer() const;
    // Certificates only.
    const CERT_NAME_BLOB &subject() const { return cert_info()->Subject; }
    PCERT_EXTENSION extensions(DWORD *count) const;

    // The signed part (the to-be-signed SEQUENCE) and whether the outer
    // signature algorithm is an MD5 one (the signature hash property uses
    // that hash then, SHA-1 otherwise).
    const BYTE *to_be_signed() const { return bytes_.data() + tbs_offset_; }
    DWORD to_be_signed_size() const { return tbs_size_; }
    bool md5_signature() const { return md5_signature_; }

    // SHA-1 of the encoded bytes, the thumbprint; computed once.
    const crypto::Sha1 &sha1() const;
    // Certificates: the subject key identifier extension's value, else the
    // SHA-1 of the public key bits; computed once. Empty for CRLs.
    std::string_view key_identifier() const;

    // Byte equality by the cheapest test that decides: identity, length,
    // digest (each computed once per object), then the bytes.
    bool same_bytes(const EncodedObject &other) const;

    // A slot for per-object data that a later layer builds once and shares
    // with every context of this object - the serial index of a CRL hangs
    // here. build() runs once; its result is kept for the object's life.
    std::shared_ptr<void> extension(const std::function<std::shared_ptr<void>()> &build) const;
    // [serial index hook] The slot's value once built, else null: one
    // load and no reference count, for lookups on many threads at once.
    // Valid while the object lives.
    const void *extension_if_built() const {
        const std::shared_ptr<void> *built = extension_.get_if_ready();
        return built ? built->get() : nullptr;
    }

  private:
    struct Token {};

  public:
    // Construction goes through from_bytes/from_vector (Token keeps it so).
    EncodedObject(Token, ObjectKind kind, std::vector<BYTE> &&bytes);

  private:
    static Ptr make(ObjectKind kind, std::vector<BYTE> &&bytes);
    bool parse_and_decode();
    void *info() const { return info_.get(); }

    ObjectKind kind_;
    std::vector<BYTE> bytes_;
    std::unique_ptr<std::uint64_t[]> info_;
    DWORD tbs_offset_ = 0;
    DWORD tbs_size_ = 0;
    bool md5_signature_ = false;
    bool registered_ = false;
    Lazy<crypto::Sha1> sha1_;
    Lazy<std::vector<BYTE>> key_identifier_;
    Lazy<std::shared_ptr<void>> extension_;
};

}  // namespace maren::store

#endif
