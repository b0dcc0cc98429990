#include "tests/platform/ocsp_test_pki.h"

#include <memory>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/ocsp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace ocsp_pki {
namespace {

void check(bool ok, const char *what) {
    if (!ok) throw std::runtime_error(std::string("OCSP test PKI: ") + what);
}

template <typename T, void (*Free)(T *)>
struct Freer {
    void operator()(T *p) const { Free(p); }
};
using X509Ptr = std::unique_ptr<X509, Freer<X509, X509_free>>;
using BasicPtr = std::unique_ptr<OCSP_BASICRESP, Freer<OCSP_BASICRESP, OCSP_BASICRESP_free>>;
using ResponsePtr = std::unique_ptr<OCSP_RESPONSE, Freer<OCSP_RESPONSE, OCSP_RESPONSE_free>>;
using RequestPtr = std::unique_ptr<OCSP_REQUEST, Freer<OCSP_REQUEST, OCSP_REQUEST_free>>;
using CertIdPtr = std::unique_ptr<OCSP_CERTID, Freer<OCSP_CERTID, OCSP_CERTID_free>>;
using TimePtr = std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME, ASN1_TIME_free>>;
using IntegerPtr = std::unique_ptr<ASN1_INTEGER, Freer<ASN1_INTEGER, ASN1_INTEGER_free>>;

template <typename T, typename Encode>
Bytes der_of(T *object, Encode encode) {
    unsigned char *out = nullptr;
    const int size = encode(object, &out);
    check(size > 0, "encoding");
    Bytes der(out, out + size);
    OPENSSL_free(out);
    return der;
}

X509Ptr x509_of(const Bytes &der) {
    const unsigned char *p = der.data();
    X509Ptr cert(d2i_X509(nullptr, &p, static_cast<long>(der.size())));
    check(cert != nullptr, "certificate");
    return cert;
}

/* The same name form as test_pki's certificates, so issuer names match. */
void set_name(X509_NAME *name, const std::string &common_name) {
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8, reinterpret_cast<const unsigned char *>("Halden Test"), -1,
                               -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char *>(common_name.c_str()), -1, -1, 0);
}

void add_extension(X509 *cert, int nid, const char *value) {
    X509V3_CTX ctx;
    X509V3_set_ctx(&ctx, nullptr, cert, nullptr, nullptr, 0);
    X509_EXTENSION *ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
    check(ext != nullptr, "extension");
    X509_add_ext(cert, ext, -1);
    X509_EXTENSION_free(ext);
}

CertIdPtr cert_id(const Single &single) {
    const X509Ptr issuer = x509_of(single.issuer);
    const EVP_MD *md = single.sha256 ? EVP_sha256() : EVP_sha1();
    if (single.serial >= 0 || single.cert.empty()) {
        IntegerPtr serial(ASN1_INTEGER_new());
        ASN1_INTEGER_set(serial.get(), single.serial);
        return CertIdPtr(
            OCSP_cert_id_new(md, X509_get_subject_name(issuer.get()), X509_get0_pubkey_bitstr(issuer.get()), serial.get()));
    }
    const X509Ptr cert = x509_of(single.cert);
    return CertIdPtr(OCSP_cert_to_id(md, cert.get(), issuer.get()));
}

int status_code(Status status) {
    switch (status) {
    case Status::good: return V_OCSP_CERTSTATUS_GOOD;
    case Status::revoked: return V_OCSP_CERTSTATUS_REVOKED;
    case Status::unknown: break;
    }
    return V_OCSP_CERTSTATUS_UNKNOWN;
}

void add_single(OCSP_BASICRESP *basic, OCSP_CERTID *cid, const Single &single) {
    TimePtr this_update(X509_gmtime_adj(nullptr, single.this_update));
    TimePtr next_update(single.next_update ? X509_gmtime_adj(nullptr, *single.next_update) : nullptr);
    TimePtr revoked(single.status == Status::revoked ? X509_gmtime_adj(nullptr, single.revoked_at) : nullptr);
    check(OCSP_basic_add1_status(basic, cid, status_code(single.status), single.reason, revoked.get(),
                                 this_update.get(), next_update.get()) != nullptr,
          "single response");
}

Bytes sign_and_wrap(OCSP_BASICRESP *basic, const Signer &signer, bool tamper) {
    check(signer.key != nullptr, "a signer's key");
    const X509Ptr cert = x509_of(signer.cert);
    const unsigned long flags = (signer.include_cert ? 0 : OCSP_NOCERTS) | (signer.by_key ? OCSP_RESPID_KEY : 0);
    check(OCSP_basic_sign(basic, cert.get(), signer.key->key(), EVP_sha256(), nullptr, flags) == 1, "signing");
    if (tamper) {
        auto *signature = const_cast<ASN1_OCTET_STRING *>(OCSP_resp_get0_signature(basic));
        auto *bytes = const_cast<unsigned char *>(ASN1_STRING_get0_data(signature));
        bytes[ASN1_STRING_length(signature) / 2] ^= 0x01;
    }
    ResponsePtr response(OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic));
    check(response != nullptr, "response");
    return der_of(response.get(), i2d_OCSP_RESPONSE);
}

Bytes content_of_integer(const ASN1_INTEGER *integer) {
    Bytes der = der_of(const_cast<ASN1_INTEGER *>(integer), i2d_ASN1_INTEGER);
    return Bytes(der.begin() + 2, der.end());  // serials here are short: one length byte
}

}  // namespace

Bytes responder_cert(const Identity &subject, const Identity &issuer, const ResponderOptions &options) {
    X509Ptr cert(X509_new());
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), options.serial);
    set_name(X509_get_subject_name(cert.get()), subject.name());
    set_name(X509_get_issuer_name(cert.get()), issuer.name());
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), 86400L * options.valid_from);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 86400L * options.valid_to);
    X509_set_pubkey(cert.get(), subject.key());
    add_extension(cert.get(), NID_basic_constraints, "CA:FALSE");
    add_extension(cert.get(), NID_key_usage, "critical,digitalSignature");
    add_extension(cert.get(), NID_ext_key_usage, options.ocsp_signing ? "OCSPSigning" : "serverAuth");
    check(X509_sign(cert.get(), issuer.key(), EVP_sha256()) > 0, "signing a responder certificate");
    return der_of(cert.get(), i2d_X509);
}

Bytes response(const std::vector<Single> &singles, const Signer &signer, const ResponseOptions &options) {
    BasicPtr basic(OCSP_BASICRESP_new());
    for (const Single &single : singles) {
        const CertIdPtr cid = cert_id(single);
        check(cid != nullptr, "CertID");
        add_single(basic.get(), cid.get(), single);
    }
    if (options.nonce)
        check(OCSP_basic_add1_nonce(basic.get(), const_cast<unsigned char *>(options.nonce->data()),
                                    static_cast<int>(options.nonce->size())) == 1,
              "nonce");
    return sign_and_wrap(basic.get(), signer, options.tamper_signature);
}

Bytes error_response(int status) {
    ResponsePtr response(OCSP_response_create(status, nullptr));
    check(response != nullptr, "error response");
    return der_of(response.get(), i2d_OCSP_RESPONSE);
}

CertIdParts openssl_cert_id(const Bytes &cert, const Bytes &issuer) {
    const X509Ptr subject = x509_of(cert);
    const X509Ptr ca = x509_of(issuer);
    const CertIdPtr cid(OCSP_cert_to_id(nullptr, subject.get(), ca.get()));
    check(cid != nullptr, "CertID");
    ASN1_OCTET_STRING *name_hash = nullptr;
    ASN1_OCTET_STRING *key_hash = nullptr;
    ASN1_OBJECT *md = nullptr;
    ASN1_INTEGER *serial = nullptr;
    check(OCSP_id_get0_info(&name_hash, &md, &key_hash, &serial, cid.get()) == 1, "CertID parts");
    CertIdParts parts;
    char oid[64];
    OBJ_obj2txt(oid, sizeof oid, md, 1);
    parts.hash_oid = oid;
    parts.name_hash.assign(name_hash->data, name_hash->data + name_hash->length);
    parts.key_hash.assign(key_hash->data, key_hash->data + key_hash->length);
    parts.serial = content_of_integer(serial);
    return parts;
}

Bytes openssl_request(const Bytes &cert, const Bytes &issuer) {
    const X509Ptr subject = x509_of(cert);
    const X509Ptr ca = x509_of(issuer);
    RequestPtr request(OCSP_REQUEST_new());
    OCSP_CERTID *cid = OCSP_cert_to_id(nullptr, subject.get(), ca.get());
    check(cid != nullptr && OCSP_request_add0_id(request.get(), cid) != nullptr, "request");
    return der_of(request.get(), i2d_OCSP_REQUEST);
}

Bytes request_nonce(const Bytes &request_der) {
    const unsigned char *p = request_der.data();
    RequestPtr request(d2i_OCSP_REQUEST(nullptr, &p, static_cast<long>(request_der.size())));
    check(request != nullptr, "request");
    const int at = OCSP_REQUEST_get_ext_by_NID(request.get(), NID_id_pkix_OCSP_Nonce, -1);
    if (at < 0) return {};
    const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(OCSP_REQUEST_get_ext(request.get(), at));
    const unsigned char *inner = ASN1_STRING_get0_data(value);
    std::unique_ptr<ASN1_OCTET_STRING, Freer<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>> nonce(
        d2i_ASN1_OCTET_STRING(nullptr, &inner, ASN1_STRING_length(value)));
    check(nonce != nullptr, "nonce");
    return Bytes(nonce->data, nonce->data + nonce->length);
}

Bytes MiniResponder::answer(const Bytes &request_der) const {
    const unsigned char *p = request_der.data();
    RequestPtr request(d2i_OCSP_REQUEST(nullptr, &p, static_cast<long>(request_der.size())));
    check(request != nullptr, "a readable request");
    BasicPtr basic(OCSP_BASICRESP_new());
    for (int i = 0; i < OCSP_request_onereq_count(request.get()); ++i) {
        OCSP_CERTID *cid = OCSP_onereq_get0_id(OCSP_request_onereq_get0(request.get(), i));
        ASN1_INTEGER *serial = nullptr;
        OCSP_id_get0_info(nullptr, nullptr, nullptr, &serial, cid);
        const auto known = statuses_.find(ASN1_INTEGER_get(serial));
        Single single;
        single.status = known != statuses_.end() ? known->second : Status::unknown;
        single.reason = single.status == Status::revoked ? OCSP_REVOKED_STATUS_KEYCOMPROMISE : -1;
        single.next_update = next_update;
        add_single(basic.get(), cid, single);
    }
    if (nonce_override)
        OCSP_basic_add1_nonce(basic.get(), const_cast<unsigned char *>(nonce_override->data()),
                              static_cast<int>(nonce_override->size()));
    else
        OCSP_copy_nonce(basic.get(), request.get());
    return sign_and_wrap(basic.get(), signer_, false);
}

Bytes MiniResponder::answer_get(const std::string &segment) const {
    std::string text;
    for (std::size_t i = 0; i < segment.size(); ++i) {
        if (segment[i] == '%' && i + 2 < segment.size()) {
            text.push_back(static_cast<char>(std::stoi(segment.substr(i + 1, 2), nullptr, 16)));
            i += 2;
        } else {
            text.push_back(segment[i]);
        }
    }
    Bytes der(text.size());
    const int size = EVP_DecodeBlock(der.data(), reinterpret_cast<const unsigned char *>(text.data()),
                                     static_cast<int>(text.size()));
    check(size >= 0, "Base64");
    std::size_t padding = 0;
    for (auto it = text.rbegin(); it != text.rend() && *it == '='; ++it) ++padding;
    der.resize(static_cast<std::size_t>(size) - padding);
    return answer(der);
}

std::string private_key_pem(const Identity &identity) {
    std::unique_ptr<BIO, Freer<BIO, BIO_free_all>> bio(BIO_new(BIO_s_mem()));
    check(bio && PEM_write_bio_PrivateKey(bio.get(), identity.key(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
          "key PEM");
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<std::size_t>(size));
}

std::string get_segment(const Bytes &request) {
    std::string base64(4 * ((request.size() + 2) / 3) + 1, '\0');
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(&base64[0]), request.data(),
                                     static_cast<int>(request.size()));
    base64.resize(static_cast<std::size_t>(size));
    std::string out;
    for (const char c : base64) {
        if (c == '+') out += "%2B";
        else if (c == '/') out += "%2F";
        else if (c == '=') out += "%3D";
        else out.push_back(c);
    }
    return out;
}

}  // namespace ocsp_pki
