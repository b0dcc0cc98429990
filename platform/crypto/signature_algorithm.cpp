#include "platform/crypto/signature_algorithm.h"

#include <cstring>

#include <openssl/obj_mac.h>

#include <maren/errors.h>
#include <maren/oids.h>

#include "platform/crypto/gost_engine.h"

namespace maren::crypto {
namespace {

enum class Hash { none, md5, sha1, sha224, sha256, sha384, sha512, streebog256, streebog512 };

struct Algorithm {
    const char* oid;
    SignatureFamily family;
    Hash hash;
};

const Algorithm kAlgorithms[] = {
    {szOID_RSA_SHA256RSA, SignatureFamily::rsa_pkcs1, Hash::sha256},
    {szOID_RSA_SHA384RSA, SignatureFamily::rsa_pkcs1, Hash::sha384},
    {szOID_RSA_SHA512RSA, SignatureFamily::rsa_pkcs1, Hash::sha512},
    {szOID_RSA_SHA1RSA, SignatureFamily::rsa_pkcs1, Hash::sha1},
    {"1.2.840.113549.1.1.14", SignatureFamily::rsa_pkcs1, Hash::sha224},
    {szOID_RSA_MD5RSA, SignatureFamily::rsa_pkcs1, Hash::md5},
    {szOID_OIWSEC_sha1RSASign, SignatureFamily::rsa_pkcs1, Hash::sha1},
    {szOID_RSA_SSA_PSS, SignatureFamily::rsa_pss, Hash::none},
    {szOID_ECDSA_SHA256, SignatureFamily::ecdsa, Hash::sha256},
    {szOID_ECDSA_SHA384, SignatureFamily::ecdsa, Hash::sha384},
    {szOID_ECDSA_SHA512, SignatureFamily::ecdsa, Hash::sha512},
    {"1.2.840.10045.4.3.1", SignatureFamily::ecdsa, Hash::sha224},
    {szOID_ECDSA_SHA1, SignatureFamily::ecdsa, Hash::sha1},
    {"1.3.101.112", SignatureFamily::ed25519, Hash::none},
    {szOID_X957_SHA1DSA, SignatureFamily::dsa, Hash::sha1},
    {szOID_OIWSEC_dsaSHA1, SignatureFamily::dsa, Hash::sha1},
    {"2.16.840.1.101.3.4.3.1", SignatureFamily::dsa, Hash::sha224},
    {"2.16.840.1.101.3.4.3.2", SignatureFamily::dsa, Hash::sha256},
    {"1.2.643.7.1.1.3.2", SignatureFamily::gost2012_256, Hash::streebog256},
    {"1.2.643.7.1.1.3.3", SignatureFamily::gost2012_512, Hash::streebog512},
};

struct HashOid {
    const char* oid;
    Hash hash;
};

// Hashes an RSA-PSS AlgorithmIdentifier may name.
const HashOid kPssHashes[] = {
    {szOID_OIWSEC_sha1, Hash::sha1},     {"2.16.840.1.101.3.4.2.4", Hash::sha224},
    {szOID_NIST_sha256, Hash::sha256},   {szOID_NIST_sha384, Hash::sha384},
    {szOID_NIST_sha512, Hash::sha512},
};

const EVP_MD* md_of(Hash hash) {
    switch (hash) {
    case Hash::none: return nullptr;
    case Hash::md5: return EVP_md5();
    case Hash::sha1: return EVP_sha1();
    case Hash::sha224: return EVP_sha224();
    case Hash::sha256: return EVP_sha256();
    case Hash::sha384: return EVP_sha384();
    case Hash::sha512: return EVP_sha512();
    case Hash::streebog256: return gost_digest(NID_id_GostR3411_2012_256);
    case Hash::streebog512: return gost_digest(NID_id_GostR3411_2012_512);
    }
    return nullptr;
}

HRESULT error_of(codec::DerStatus status) {
    return status == codec::DerStatus::bad_tag ? CRYPT_E_ASN1_BADTAG : CRYPT_E_ASN1_EOD;
}

// A hash AlgorithmIdentifier (SEQUENCE { OID, NULL or nothing }).
HRESULT read_hash(codec::DerView element, const EVP_MD** md) {
    codec::DerReader reader(element);
    codec::DerElement sequence, oid;
    codec::DerStatus status = reader.expect(codec::kTagSequence, &sequence);
    if (status != codec::DerStatus::ok) return error_of(status);
    codec::DerReader parts(sequence.content);
    if ((status = parts.expect(codec::kTagOid, &oid)) != codec::DerStatus::ok) return error_of(status);
    const std::string text = codec::oid_text(oid.content);
    for (const HashOid& h : kPssHashes) {
        if (text == h.oid) {
            *md = md_of(h.hash);
            return S_OK;
        }
    }
    return NTE_BAD_ALGID;
}

// A small non-negative INTEGER.
bool read_small_integer(codec::DerView element, int* value) {
    codec::DerReader reader(element);
    codec::DerElement integer;
    if (reader.expect(codec::kTagInteger, &integer) != codec::DerStatus::ok) return false;
    if (integer.content.size == 0 || integer.content.size > 3 || (integer.content.data[0] & 0x80) != 0) return false;
    int v = 0;
    for (std::size_t i = 0; i < integer.content.size; ++i) v = (v << 8) | integer.content.data[i];
    *value = v;
    return true;
}

// RSASSA-PSS-params: [0] hash (SHA-1), [1] MGF1 with its hash (MGF1 with
// SHA-1), [2] salt length (20), [3] trailer field, which must be 1.
HRESULT read_pss_parameters(codec::DerView parameters, SignatureScheme* out) {
    codec::DerReader reader(parameters);
    codec::DerElement sequence;
    codec::DerStatus status = reader.expect(codec::kTagSequence, &sequence);
    if (status != codec::DerStatus::ok) return error_of(status);
    out->digest = EVP_sha1();
    out->mgf1_digest = EVP_sha1();
    out->salt_length = 20;
    codec::DerReader fields(sequence.content);
    codec::DerElement field;
    bool present = false;
    if ((status = fields.optional(codec::kTagContext0, &field, &present)) != codec::DerStatus::ok) return error_of(status);
    if (present) {
        const HRESULT hr = read_hash(field.content, &out->digest);
        if (hr != S_OK) return hr;
    }
    if ((status = fields.optional(codec::kTagContext1, &field, &present)) != codec::DerStatus::ok) return error_of(status);
    if (present) {
        codec::DerReader mgf_reader(field.content);
        codec::DerElement mgf, mgf_oid, mgf_hash;
        if ((status = mgf_reader.expect(codec::kTagSequence, &mgf)) != codec::DerStatus::ok) return error_of(status);
        codec::DerReader mgf_parts(mgf.content);
        if ((status = mgf_parts.expect(codec::kTagOid, &mgf_oid)) != codec::DerStatus::ok) return error_of(status);
        if (codec::oid_text(mgf_oid.content) != szOID_RSA_MGF1) return NTE_BAD_ALGID;
        if ((status = mgf_parts.expect(codec::kTagSequence, &mgf_hash)) != codec::DerStatus::ok)
            return error_of(status);
        const HRESULT hr = read_hash(mgf_hash.whole, &out->mgf1_digest);
        if (hr != S_OK) return hr;
    }
    if ((status = fields.optional(codec::kTagContext2, &field, &present)) != codec::DerStatus::ok) return error_of(status);
    if (present && !read_small_integer(field.content, &out->salt_length)) return NTE_BAD_ALGID;
    if ((status = fields.optional(codec::kTagContext3, &field, &present)) != codec::DerStatus::ok) return error_of(status);
    int trailer = 1;
    if (present && (!read_small_integer(field.content, &trailer) || trailer != 1)) return NTE_BAD_ALGID;
    if (!fields.empty()) return CRYPT_E_ASN1_CORRUPT;
    return out->digest != nullptr && out->mgf1_digest != nullptr ? S_OK : NTE_BAD_ALGID;
}

}  // namespace

HRESULT signature_scheme(const std::string& oid, codec::DerView parameters, SignatureScheme* out) {
    for (const Algorithm& a : kAlgorithms) {
        if (oid != a.oid) continue;
        out->family = a.family;
        if (a.family == SignatureFamily::rsa_pss) {
            // The parameters are required; an empty SEQUENCE means all defaults.
            if (parameters.size == 0) return NTE_BAD_ALGID;
            return read_pss_parameters(parameters, out);
        }
        out->digest = md_of(a.hash);
        if (a.hash != Hash::none && out->digest == nullptr) return NTE_BAD_ALGID;
        return S_OK;
    }
    return NTE_BAD_ALGID;
}

bool key_fits(SignatureFamily family, int key_type) {
    switch (family) {
    case SignatureFamily::rsa_pkcs1: return key_type == EVP_PKEY_RSA;
    case SignatureFamily::rsa_pss: return key_type == EVP_PKEY_RSA || key_type == EVP_PKEY_RSA_PSS;
    case SignatureFamily::ecdsa: return key_type == EVP_PKEY_EC;
    case SignatureFamily::ed25519: return key_type == EVP_PKEY_ED25519;
    case SignatureFamily::dsa: return key_type == EVP_PKEY_DSA;
    case SignatureFamily::gost2012_256: return key_type == NID_id_GostR3410_2012_256;
    case SignatureFamily::gost2012_512: return key_type == NID_id_GostR3410_2012_512;
    }
    return false;
}

}  // namespace maren::crypto
