#include "tests/provider/provider_pki.h"

#include <atomic>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/ocsp.h>
#include <openssl/sha.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace provider_pki {
namespace {

template <typename T, void (*Free)(T*)>
struct Deleter {
    void operator()(T* p) const { Free(p); }
};
template <typename T, void (*Free)(T*)>
using Owned = std::unique_ptr<T, Deleter<T, Free>>;

using X509Ptr = Owned<X509, X509_free>;
using CrlPtr = Owned<X509_CRL, X509_CRL_free>;
using BasicPtr = Owned<OCSP_BASICRESP, OCSP_BASICRESP_free>;
using ResponsePtr = Owned<OCSP_RESPONSE, OCSP_RESPONSE_free>;
using RequestPtr = Owned<OCSP_REQUEST, OCSP_REQUEST_free>;
using CertIdPtr = Owned<OCSP_CERTID, OCSP_CERTID_free>;
using TimePtr = Owned<ASN1_TIME, ASN1_TIME_free>;

std::atomic<long> g_next_serial{0x1000};

void check(bool ok, const char* what) {
    if (!ok) {
        throw std::runtime_error(std::string("provider test PKI: ") + what);
    }
}

void set_name(X509_NAME* name, const std::string& common_name) {
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>("Halden Test"), -1, -1,
                               0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(common_name.c_str()),
                               -1, -1, 0);
}

void add_extension(X509* cert, int nid, const std::string& value) {
    X509V3_CTX ctx;
    X509V3_set_ctx(&ctx, nullptr, cert, nullptr, nullptr, 0);
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str());
    check(ext != nullptr, "extension");
    X509_add_ext(cert, ext, -1);
    X509_EXTENSION_free(ext);
}

void add_key_usage_period(X509* cert, const CertOptions& options) {
    PKEY_USAGE_PERIOD* period = PKEY_USAGE_PERIOD_new();
    if (options.period_not_before) {
        period->notBefore = ASN1_GENERALIZEDTIME_set(nullptr, *options.period_not_before);
    }
    if (options.period_not_after) {
        period->notAfter = ASN1_GENERALIZEDTIME_set(nullptr, *options.period_not_after);
    }
    const int added = X509_add1_ext_i2d(cert, NID_private_key_usage_period, period, 0, 0);
    PKEY_USAGE_PERIOD_free(period);
    check(added == 1, "private key usage period");
}

void add_broken_key_usage_period(X509* cert) {
    static const unsigned char kNotASequence[] = {0x05, 0x00};
    ASN1_OCTET_STRING* value = ASN1_OCTET_STRING_new();
    ASN1_OCTET_STRING_set(value, kNotASequence, sizeof kNotASequence);
    X509_EXTENSION* ext = X509_EXTENSION_create_by_NID(nullptr, NID_private_key_usage_period, 0, value);
    ASN1_OCTET_STRING_free(value);
    check(ext != nullptr && X509_add_ext(cert, ext, -1) == 1, "broken private key usage period");
    X509_EXTENSION_free(ext);
}

template <typename T, int (*Encode)(const T*, unsigned char**)>
Bytes der_of(const T* object) {
    unsigned char* out = nullptr;
    const int size = Encode(object, &out);
    check(size > 0, "encoding");
    Bytes der(out, out + size);
    OPENSSL_free(out);
    return der;
}

X509Ptr parse_cert(const Bytes& der) {
    const unsigned char* p = der.data();
    X509Ptr cert(d2i_X509(nullptr, &p, static_cast<long>(der.size())));
    check(cert != nullptr, "parsing a certificate");
    return cert;
}

std::string oid_text(const ASN1_OBJECT* object) {
    char text[128];
    OBJ_obj2txt(text, sizeof text, object, 1);
    return text;
}

std::time_t time_of(const ASN1_TIME* time) {
    if (time == nullptr) {
        return 0;
    }
    struct tm parts {};
    check(ASN1_TIME_to_tm(time, &parts) == 1, "time");
    return timegm(&parts);
}

// The algorithm inside a v2 tbsCertList: behind the outer header and the
// version.
std::string inner_algorithm_of(const Bytes& tbs) {
    const unsigned char* p = tbs.data();
    long length = 0;
    int tag = 0;
    int object_class = 0;
    check(!(ASN1_get_object(&p, &length, &tag, &object_class, static_cast<long>(tbs.size())) & 0x80), "tbs header");
    const unsigned char* end = tbs.data() + tbs.size();
    check(!(ASN1_get_object(&p, &length, &tag, &object_class, end - p) & 0x80) && tag == V_ASN1_INTEGER, "version");
    p += length;
    Owned<X509_ALGOR, X509_ALGOR_free> algorithm(d2i_X509_ALGOR(nullptr, &p, end - p));
    check(algorithm != nullptr, "inner algorithm");
    const ASN1_OBJECT* object = nullptr;
    X509_ALGOR_get0(&object, nullptr, nullptr, algorithm.get());
    return oid_text(object);
}

int status_code(CertStatus status) {
    switch (status) {
    case CertStatus::good:
        return V_OCSP_CERTSTATUS_GOOD;
    case CertStatus::revoked:
        return V_OCSP_CERTSTATUS_REVOKED;
    case CertStatus::unknown:
        return V_OCSP_CERTSTATUS_UNKNOWN;
    }
    return V_OCSP_CERTSTATUS_UNKNOWN;
}

// Signs a basic response that answers each of ids, and wraps it.
Bytes sign_response(const std::vector<const OCSP_CERTID*>& ids, const Identity& signer_key, const Bytes& signer_cert,
                    const ResponseSpec& plan) {
    if (plan.response_status != OCSP_RESPONSE_STATUS_SUCCESSFUL) {
        ResponsePtr bare(OCSP_response_create(plan.response_status, nullptr));
        check(bare != nullptr, "bare response");
        return der_of<OCSP_RESPONSE, i2d_OCSP_RESPONSE>(bare.get());
    }
    BasicPtr basic(OCSP_BASICRESP_new());
    TimePtr this_update(X509_gmtime_adj(nullptr, plan.this_update));
    TimePtr next_update(plan.next_update ? X509_gmtime_adj(nullptr, *plan.next_update) : nullptr);
    TimePtr revoked_at(plan.status == CertStatus::revoked ? ASN1_TIME_set(nullptr, plan.revoked_at) : nullptr);
    for (const OCSP_CERTID* id : ids) {
        for (int copy = 0; copy < plan.copies; ++copy) {
            check(OCSP_basic_add1_status(basic.get(), const_cast<OCSP_CERTID*>(id), status_code(plan.status),
                                         OCSP_REVOKED_STATUS_NOSTATUS, revoked_at.get(), this_update.get(),
                                         next_update.get()) != nullptr,
                  "single response");
        }
    }
    X509Ptr signer = parse_cert(signer_cert);
    const unsigned long flags = plan.omit_signer_cert ? OCSP_NOCERTS : 0;
    check(OCSP_basic_sign(basic.get(), signer.get(), signer_key.key(), EVP_sha256(), nullptr, flags) == 1,
          "signing a response");
    if (plan.tamper_signature) {
        const ASN1_OCTET_STRING* signature = OCSP_resp_get0_signature(basic.get());
        unsigned char* bytes = const_cast<unsigned char*>(ASN1_STRING_get0_data(signature));
        bytes[ASN1_STRING_length(signature) - 1] ^= 0x01;
    }
    ResponsePtr response(OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic.get()));
    check(response != nullptr, "response");
    return der_of<OCSP_RESPONSE, i2d_OCSP_RESPONSE>(response.get());
}

RequestPtr parse_request(const Bytes& der) {
    const unsigned char* p = der.data();
    return RequestPtr(d2i_OCSP_REQUEST(nullptr, &p, static_cast<long>(der.size())));
}

}  // namespace

Identity::Identity(std::string common_name) : name_(std::move(common_name)), key_(EVP_EC_gen("P-256"), EVP_PKEY_free) {
    check(key_ != nullptr, "key generation");
}

Bytes issue(const Identity& subject, const Identity& issuer, const CertOptions& options) {
    X509Ptr cert(X509_new());
    X509_set_version(cert.get(), 2);
    const long serial = options.serial != 0 ? options.serial : g_next_serial.fetch_add(1);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial);
    set_name(X509_get_subject_name(cert.get()), subject.name());
    set_name(X509_get_issuer_name(cert.get()), issuer.name());
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), options.valid_from);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), options.valid_to);
    X509_set_pubkey(cert.get(), subject.key());
    add_extension(cert.get(), NID_basic_constraints, options.ca ? "critical,CA:TRUE" : "CA:FALSE");
    add_extension(cert.get(), NID_key_usage,
                  options.ca ? "critical,keyCertSign,cRLSign,digitalSignature" : "critical,digitalSignature");
    if (!options.ocsp_url.empty()) {
        add_extension(cert.get(), NID_info_access, "OCSP;URI:" + options.ocsp_url);
    }
    if (options.key_usage_period) {
        add_key_usage_period(cert.get(), options);
    }
    if (options.broken_key_usage_period) {
        add_broken_key_usage_period(cert.get());
    }
    check(X509_sign(cert.get(), issuer.key(), EVP_sha256()) > 0, "signing a certificate");
    return der_of<X509, i2d_X509>(cert.get());
}

Bytes ocsp_response_for(const Bytes& cert, const Bytes& issuer, const Identity& signer_key, const Bytes& signer_cert,
                        const ResponseSpec& plan) {
    X509Ptr subject = parse_cert(cert);
    X509Ptr issuer_cert = parse_cert(issuer);
    CertIdPtr id(OCSP_cert_to_id(EVP_sha1(), subject.get(), issuer_cert.get()));
    check(id != nullptr, "certificate identity");
    return sign_response({id.get()}, signer_key, signer_cert, plan);
}

Bytes ocsp_response_to(const Bytes& request, const Identity& signer_key, const Bytes& signer_cert,
                       const ResponseSpec& plan) {
    RequestPtr parsed = parse_request(request);
    check(parsed != nullptr, "parsing a request");
    std::vector<const OCSP_CERTID*> ids;
    for (int i = 0; i < OCSP_request_onereq_count(parsed.get()); ++i) {
        ids.push_back(OCSP_onereq_get0_id(OCSP_request_onereq_get0(parsed.get(), i)));
    }
    return sign_response(ids, signer_key, signer_cert, plan);
}

long first_requested_serial(const Bytes& request) {
    RequestPtr parsed = parse_request(request);
    if (parsed == nullptr || OCSP_request_onereq_count(parsed.get()) < 1) {
        return -1;
    }
    ASN1_INTEGER* serial = nullptr;
    OCSP_id_get0_info(nullptr, nullptr, nullptr, &serial,
                      OCSP_onereq_get0_id(OCSP_request_onereq_get0(parsed.get(), 0)));
    return serial != nullptr ? ASN1_INTEGER_get(serial) : -1;
}

long serial_of(const Bytes& cert) {
    return ASN1_INTEGER_get(X509_get0_serialNumber(parse_cert(cert).get()));
}

std::string subject_of(const Bytes& cert) {
    char text[512];
    X509_NAME_oneline(X509_get_subject_name(parse_cert(cert).get()), text, sizeof text);
    return text;
}

CrlView read_crl(const Bytes& der) {
    const unsigned char* p = der.data();
    CrlPtr crl(d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size())));
    check(crl != nullptr, "parsing a CRL");
    CrlView view;
    view.version = X509_CRL_get_version(crl.get());
    char issuer[512];
    X509_NAME_oneline(X509_CRL_get_issuer(crl.get()), issuer, sizeof issuer);
    view.issuer = issuer;
    view.this_update = time_of(X509_CRL_get0_lastUpdate(crl.get()));
    view.next_update = time_of(X509_CRL_get0_nextUpdate(crl.get()));
    if (STACK_OF(X509_REVOKED)* revoked = X509_CRL_get_REVOKED(crl.get())) {
        for (int i = 0; i < sk_X509_REVOKED_num(revoked); ++i) {
            const X509_REVOKED* entry = sk_X509_REVOKED_value(revoked, i);
            view.revoked_serials.push_back(ASN1_INTEGER_get(X509_REVOKED_get0_serialNumber(entry)));
            view.revocation_dates.push_back(time_of(X509_REVOKED_get0_revocationDate(entry)));
        }
    }
    const ASN1_BIT_STRING* signature = nullptr;
    const X509_ALGOR* outer = nullptr;
    X509_CRL_get0_signature(crl.get(), &signature, &outer);
    const ASN1_OBJECT* object = nullptr;
    int parameter_type = 0;
    X509_ALGOR_get0(&object, &parameter_type, nullptr, outer);
    view.outer_algorithm = oid_text(object);
    view.outer_algorithm_has_parameters = parameter_type != V_ASN1_UNDEF;
    view.signature.assign(ASN1_STRING_get0_data(signature),
                          ASN1_STRING_get0_data(signature) + ASN1_STRING_length(signature));
    view.extension_count = X509_CRL_get_ext_count(crl.get());
    if (view.extension_count > 0) {
        X509_EXTENSION* extension = X509_CRL_get_ext(crl.get(), 0);
        view.extension_oid = oid_text(X509_EXTENSION_get_object(extension));
        view.extension_critical = X509_EXTENSION_get_critical(extension) != 0;
        const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(extension);
        view.extension_value.assign(ASN1_STRING_get0_data(value),
                                    ASN1_STRING_get0_data(value) + ASN1_STRING_length(value));
    }
    unsigned char* tbs = nullptr;
    const int tbs_size = i2d_re_X509_CRL_tbs(crl.get(), &tbs);
    check(tbs_size > 0, "to-be-signed part");
    view.to_be_signed.assign(tbs, tbs + tbs_size);
    OPENSSL_free(tbs);
    view.inner_algorithm = inner_algorithm_of(view.to_be_signed);
    return view;
}

Bytes sha1(const Bytes& data) {
    Bytes hash(SHA_DIGEST_LENGTH);
    SHA1(data.data(), data.size(), hash.data());
    return hash;
}

}  // namespace provider_pki
