// CryptVerifyCertificateSignature(Ex): the signature of any signed object
// (certificate, CRL, request) checked with a public key, over OpenSSL.
//
// Nothing is fetched and nothing is kept: each call parses the object,
// imports the key and verifies on its own OpenSSL objects, so any number of
// threads may verify at once. OpenSSL's error queue is left empty.
#include <openssl/err.h>
#include <openssl/rsa.h>

#include <cstring>

#include <maren/context.h>
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>
#include <maren/oids.h>

#include "platform/crypto/digest.h"
#include "platform/crypto/hash_algorithm.h"
#include "platform/crypto/public_key.h"
#include "platform/crypto/signature_algorithm.h"
#include "platform/crypto/signed_object.h"

namespace maren::crypto {
namespace {

struct EncodedBytes {
    const BYTE* data;
    DWORD size;
};

bool run_verify(const SignedObject& object, const SignatureScheme& scheme, EVP_PKEY* key) {
    EvpMdCtxPtr ctx(EVP_MD_CTX_new());
    if (!ctx) return false;
    EVP_PKEY_CTX* pctx = nullptr;
    if (EVP_DigestVerifyInit(ctx.get(), &pctx, scheme.digest, nullptr, key) != 1) return false;
    if (scheme.family == SignatureFamily::rsa_pss &&
        (EVP_PKEY_CTX_set_rsa_padding(pctx, RSA_PKCS1_PSS_PADDING) != 1 ||
         EVP_PKEY_CTX_set_rsa_mgf1_md(pctx, scheme.mgf1_digest) != 1 ||
         EVP_PKEY_CTX_set_rsa_pss_saltlen(pctx, scheme.salt_length) != 1))
        return false;
    return EVP_DigestVerify(ctx.get(), object.signature.data, object.signature.size, object.to_be_signed.data,
                            object.to_be_signed.size) == 1;
}

HRESULT verify_with_key(EncodedBytes encoded, const CERT_PUBLIC_KEY_INFO& key_info) {
    SignedObject object;
    HRESULT hr = parse_signed_object(encoded.data, encoded.size, &object);
    if (hr != S_OK) return hr;
    SignatureScheme scheme;
    hr = signature_scheme(object.algorithm, object.parameters, &scheme);
    if (hr != S_OK) return hr;
    EvpPkeyPtr key = public_key_from_info(key_info);
    if (!key) return NTE_BAD_KEY;
    // A key of another kind did not make this signature; neither does a
    // signature with a partial last byte.
    if (!key_fits(scheme.family, EVP_PKEY_get_base_id(key.get())) || object.unused_bits != 0)
        return NTE_BAD_SIGNATURE;
    const bool verified = run_verify(object, scheme, key.get());
    ERR_clear_error();
    return verified ? S_OK : NTE_BAD_SIGNATURE;
}

// An object "signed" without a key: the signature is the hash of the
// to-be-signed part, by a bare hash algorithm or by id-alg-noSignature,
// whose hash is SHA-1.
HRESULT verify_unsigned(EncodedBytes encoded) {
    SignedObject object;
    const HRESULT hr = parse_signed_object(encoded.data, encoded.size, &object);
    if (hr != S_OK) return hr;
    std::optional<DigestKind> kind = hash_of_oid(object.algorithm.c_str());
    if (!kind && object.algorithm == szOID_PKIX_NO_SIGNATURE) kind = DigestKind::sha1;
    if (!kind) return NTE_BAD_ALGID;
    const std::vector<std::uint8_t> hash = digest(*kind, object.to_be_signed.data, object.to_be_signed.size);
    const bool same = object.unused_bits == 0 && object.signature.size == hash.size() &&
                      std::memcmp(object.signature.data, hash.data(), hash.size()) == 0;
    return same ? S_OK : NTE_BAD_SIGNATURE;
}

BOOL finish(HRESULT hr) {
    if (hr == S_OK) return TRUE;
    SetLastError(DWORD(hr));
    return FALSE;
}

bool subject_bytes(DWORD type, const void* subject, EncodedBytes* out) {
    if (subject == nullptr) return false;
    switch (type) {
    case CRYPT_VERIFY_CERT_SIGN_SUBJECT_BLOB: {
        const auto* blob = static_cast<const CRYPT_DATA_BLOB*>(subject);
        *out = EncodedBytes{blob->pbData, blob->cbData};
        break;
    }
    case CRYPT_VERIFY_CERT_SIGN_SUBJECT_CERT: {
        const auto* cert = static_cast<const CERT_CONTEXT*>(subject);
        *out = EncodedBytes{cert->pbCertEncoded, cert->cbCertEncoded};
        break;
    }
    case CRYPT_VERIFY_CERT_SIGN_SUBJECT_CRL: {
        const auto* crl = static_cast<const CRL_CONTEXT*>(subject);
        *out = EncodedBytes{crl->pbCrlEncoded, crl->cbCrlEncoded};
        break;
    }
    default:
        return false;
    }
    return out->data != nullptr || out->size == 0;
}

}  // namespace
}  // namespace maren::crypto

extern "C" {

BOOL CryptVerifyCertificateSignature(HCRYPTPROV_LEGACY /*hCryptProv*/, DWORD dwCertEncodingType,
                                     const BYTE* pbEncoded, DWORD cbEncoded, PCERT_PUBLIC_KEY_INFO pPublicKey) {
    using namespace maren::crypto;
    if (GET_CERT_ENCODING_TYPE(dwCertEncodingType) != X509_ASN_ENCODING || pPublicKey == nullptr ||
        (pbEncoded == nullptr && cbEncoded != 0)) {
        SetLastError(DWORD(E_INVALIDARG));
        return FALSE;
    }
    return finish(verify_with_key(EncodedBytes{pbEncoded, cbEncoded}, *pPublicKey));
}

BOOL CryptVerifyCertificateSignatureEx(HCRYPTPROV_LEGACY /*hCryptProv*/, DWORD dwCertEncodingType,
                                       DWORD dwSubjectType, void* pvSubject, DWORD dwIssuerType, void* pvIssuer,
                                       DWORD /*dwFlags*/, void* /*pvExtra*/) {
    using namespace maren::crypto;
    EncodedBytes encoded{nullptr, 0};
    if (GET_CERT_ENCODING_TYPE(dwCertEncodingType) != X509_ASN_ENCODING ||
        !subject_bytes(dwSubjectType, pvSubject, &encoded)) {
        SetLastError(DWORD(E_INVALIDARG));
        return FALSE;
    }
    switch (dwIssuerType) {
    case CRYPT_VERIFY_CERT_SIGN_ISSUER_PUBKEY:
        if (pvIssuer == nullptr) break;
        return finish(verify_with_key(encoded, *static_cast<const CERT_PUBLIC_KEY_INFO*>(pvIssuer)));
    case CRYPT_VERIFY_CERT_SIGN_ISSUER_CERT: {
        const auto* issuer = static_cast<const CERT_CONTEXT*>(pvIssuer);
        if (issuer == nullptr || issuer->pCertInfo == nullptr) break;
        return finish(verify_with_key(encoded, issuer->pCertInfo->SubjectPublicKeyInfo));
    }
    case CRYPT_VERIFY_CERT_SIGN_ISSUER_NULL:
        if (pvIssuer != nullptr) break;
        return finish(verify_unsigned(encoded));
    default:
        break;
    }
    SetLastError(DWORD(E_INVALIDARG));
    return FALSE;
}

}
