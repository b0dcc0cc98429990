#include "platform/store/encoded_object.h"

#include <array>
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "platform/store/body_decoder.h"
#include "platform/store/der_view.h"

namespace maren::store {
namespace {

// Objects alive in this process by the address of their bytes, so that
// bytes handed back (a context's pbCertEncoded given to an Add...Encoded
// function or to a Create function) find their object again. Sharded by
// address to keep creation on many threads from queueing on one lock.
class LiveObjects {
  public:
    static LiveObjects &instance() {
        static LiveObjects *live = new LiveObjects;  // never destroyed: objects may outlive static destructors
        return *live;
    }

    void add(const BYTE *key, EncodedObject *object) {
        Shard &shard = shard_of(key);
        std::lock_guard<std::mutex> lock(shard.mutex);
        shard.objects.emplace(key, object);
    }

    void remove(const BYTE *key, EncodedObject *object) {
        Shard &shard = shard_of(key);
        std::lock_guard<std::mutex> lock(shard.mutex);
        auto it = shard.objects.find(key);
        if (it != shard.objects.end() && it->second == object) shard.objects.erase(it);
    }

    // The live object whose bytes are exactly (pb, cb), or null. An object
    // whose last reference is going away reads as absent: its destructor
    // waits for the shard lock before it unregisters, so the weak reference
    // is still intact while we look.
    EncodedObject::Ptr find(ObjectKind kind, const BYTE *pb, DWORD cb) {
        Shard &shard = shard_of(pb);
        std::lock_guard<std::mutex> lock(shard.mutex);
        auto it = shard.objects.find(pb);
        if (it == shard.objects.end()) return nullptr;
        EncodedObject *object = it->second;
        if (object->kind() != kind || object->size() != cb) return nullptr;
        return object->weak_from_this().lock();
    }

  private:
    struct Shard {
        std::mutex mutex;
        std::unordered_map<const BYTE *, EncodedObject *> objects;
    };

    Shard &shard_of(const BYTE *key) {
        const auto bits = reinterpret_cast<std::uintptr_t>(key);
        return shards_[(bits >> 4 ^ bits >> 12) % shards_.size()];
    }

    std::array<Shard, 16> shards_;
};

// Signature algorithms whose hash is MD5, as DER OID contents.
bool is_md5_algorithm(const BYTE *oid, size_t n) {
    static const BYTE kMd5Rsa[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x04};
    static const BYTE kMd5[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x05};
    static const BYTE kOiwMd5Rsa[] = {0x2B, 0x0E, 0x03, 0x02, 0x03};
    auto is = [&](const BYTE *known, size_t size) { return n == size && std::memcmp(oid, known, n) == 0; };
    return is(kMd5Rsa, sizeof kMd5Rsa) || is(kMd5, sizeof kMd5) || is(kOiwMd5Rsa, sizeof kOiwMd5Rsa);
}

}  // namespace

EncodedObject::EncodedObject(Token, ObjectKind kind, std::vector<BYTE> &&bytes)
    : kind_(kind), bytes_(std::move(bytes)) {}

EncodedObject::~EncodedObject() {
    if (registered_) LiveObjects::instance().remove(bytes_.data(), this);
}

EncodedObject::Ptr EncodedObject::from_bytes(ObjectKind kind, const BYTE *pb, DWORD cb) {
    if (pb == nullptr || cb == 0) {
        SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_EOD));
        return nullptr;
    }
    if (Ptr live = LiveObjects::instance().find(kind, pb, cb)) return live;
    return make(kind, std::vector<BYTE>(pb, pb + cb));
}

EncodedObject::Ptr EncodedObject::from_vector(ObjectKind kind, std::vector<BYTE> &&bytes) {
    if (bytes.empty()) {
        SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_EOD));
        return nullptr;
    }
    return make(kind, std::move(bytes));
}

EncodedObject::Ptr EncodedObject::make(ObjectKind kind, std::vector<BYTE> &&bytes) {
    auto object = std::make_shared<EncodedObject>(Token{}, kind, std::move(bytes));
    if (!object->parse_and_decode()) return nullptr;
    LiveObjects::instance().add(object->bytes_.data(), object.get());
    object->registered_ = true;
    return object;
}

// The outer SEQUENCE { toBeSigned, signatureAlgorithm, signature }. Bytes
// after it are not part of the object and are dropped, so that equal
// objects have equal bytes and thumbprints.
bool EncodedObject::parse_and_decode() {
    der::Value outer, tbs, algorithm, signature, oid;
    der::Reader parts(nullptr, 0);
    bool ok = der::read(bytes_.data(), bytes_.size(), &outer) && outer.tag == der::kSequence;
    if (ok) {
        parts = der::Reader(outer);
        ok = parts.next(&tbs) && tbs.tag == der::kSequence && parts.next(&algorithm) &&
             algorithm.tag == der::kSequence && parts.next(&signature) && signature.tag == der::kBitString;
    }
    if (ok) {
        der::Reader algorithm_parts(algorithm);
        md5_signature_ = algorithm_parts.next(&oid) && oid.tag == der::kObjectId &&
                         is_md5_algorithm(oid.content, oid.length);
    }
    if (!ok) {
        SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
        return false;
    }
    if (outer.total < bytes_.size()) bytes_.resize(outer.total);
    tbs_offset_ = static_cast<DWORD>(tbs.start - bytes_.data());
    tbs_size_ = static_cast<DWORD>(tbs.total);
    DecodedArea area;
    const bool decoded = kind_ == ObjectKind::certificate
                             ? decode_certificate_body(to_be_signed(), tbs_size_, &area)
                             : decode_crl_body(to_be_signed(), tbs_size_, &area);
    if (!decoded) return false;
    info_ = std::move(area);
    return true;
}

const CERT_NAME_BLOB &EncodedObject::issuer() const {
    return kind_ == ObjectKind::certificate ? cert_info()->Issuer : crl_info()->Issuer;
}

PCERT_EXTENSION EncodedObject::extensions(DWORD *count) const {
    if (kind_ == ObjectKind::certificate) {
        *count = cert_info()->cExtension;
        return cert_info()->rgExtension;
    }
    *count = crl_info()->cExtension;
    return crl_info()->rgExtension;
}

const crypto::Sha1 &EncodedObject::sha1() const {
    return sha1_.get([this] { return crypto::sha1(bytes_.data(), bytes_.size()); });
}

std::string_view EncodedObject::key_identifier() const {
    if (kind_ != ObjectKind::certificate) return {};
    const std::vector<BYTE> &id = key_identifier_.get([this] {
        const CERT_INFO *info = cert_info();
        for (DWORD i = 0; i < info->cExtension; ++i) {
            const CERT_EXTENSION &ext = info->rgExtension[i];
            if (ext.pszObjId == nullptr || std::strcmp(ext.pszObjId, szOID_SUBJECT_KEY_IDENTIFIER) != 0) continue;
            der::Value value;
            if (der::read(ext.Value.pbData, ext.Value.cbData, &value) && value.tag == der::kOctetString)
                return std::vector<BYTE>(value.content, value.end());
            break;
        }
        const CRYPT_BIT_BLOB &key = info->SubjectPublicKeyInfo.PublicKey;
        const crypto::Sha1 digest = crypto::sha1(key.pbData, key.cbData);
        return std::vector<BYTE>(digest.begin(), digest.end());
    });
    return {reinterpret_cast<const char *>(id.data()), id.size()};
}

bool EncodedObject::same_bytes(const EncodedObject &other) const {
    if (this == &other) return true;
    if (kind_ != other.kind_ || bytes_.size() != other.bytes_.size()) return false;
    if (sha1() != other.sha1()) return false;
    return std::memcmp(bytes_.data(), other.bytes_.data(), bytes_.size()) == 0;
}

std::shared_ptr<void> EncodedObject::extension(const std::function<std::shared_ptr<void>()> &build) const {
    return extension_.get(build);
}

}  // namespace maren::store
