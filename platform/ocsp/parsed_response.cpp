// Parsing an OCSP response: OpenSSL reads the values; maren's DER reader
// takes out the bytes that must stay exactly as signed (the to-be-signed
// part, the certificates, the responder's name).
#include <openssl/err.h>
#include <openssl/ocsp.h>

#include <ctime>
#include <memory>

#include <maren/errors.h>
#include <maren/oids.h>

#include "platform/codec/der_reader.h"
#include "platform/codec/der_writer.h"
#include "platform/ocsp/ocsp_config.h"
#include "platform/ocsp/parsed_response.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

using maren::codec::DerElement;
using maren::codec::DerReader;
using maren::codec::DerStatus;
using maren::codec::DerView;

struct ResponseFree {
    void operator()(OCSP_RESPONSE* response) const { OCSP_RESPONSE_free(response); }
};
struct BasicFree {
    void operator()(OCSP_BASICRESP* basic) const { OCSP_BASICRESP_free(basic); }
};

constexpr HRESULT kTooLarge = static_cast<HRESULT>(0x800700DFL);  // ERROR_FILE_TOO_LARGE

[[noreturn]] void malformed(const char* what) { OCSP_FAIL(CRYPT_E_ASN1_CORRUPT, what); }

Bytes bytes_of(DerView view) { return Bytes(view.data, view.data + view.size); }

// Seconds between 1601 and 1970, the offset of the FILETIME scale.
constexpr long long kEpochOffsetSeconds = 11644473600LL;

std::optional<Tarsis::CDateTime> date_of(const ASN1_GENERALIZEDTIME* time) {
    struct tm fields {};
    if (time == nullptr || ASN1_TIME_to_tm(time, &fields) != 1) return std::nullopt;
    const long long seconds = static_cast<long long>(timegm(&fields));
    if (seconds < -kEpochOffsetSeconds) return std::nullopt;
    const unsigned long long ticks = static_cast<unsigned long long>(seconds + kEpochOffsetSeconds) * 10000000ull;
    FILETIME file_time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    return Tarsis::CDateTime(file_time);
}

Bytes octets(const ASN1_OCTET_STRING* value) {
    if (value == nullptr) return {};
    const unsigned char* data = ASN1_STRING_get0_data(value);
    return Bytes(data, data + ASN1_STRING_length(value));
}

CertIdState id_of(const OCSP_CERTID* cid) {
    ASN1_OCTET_STRING* name_hash = nullptr;
    ASN1_OCTET_STRING* key_hash = nullptr;
    ASN1_OBJECT* algorithm = nullptr;
    ASN1_INTEGER* serial = nullptr;
    if (OCSP_id_get0_info(&name_hash, &algorithm, &key_hash, &serial, const_cast<OCSP_CERTID*>(cid)) != 1)
        malformed("certificate identity");
    CertIdState id;
    char oid[128];
    const int length = OBJ_obj2txt(oid, sizeof oid, algorithm, 1);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof oid) malformed("identity's hash algorithm");
    id.hash_oid.assign(oid, static_cast<std::size_t>(length));
    id.name_hash = octets(name_hash);
    id.key_hash = octets(key_hash);

    unsigned char* der = nullptr;
    const int size = i2d_ASN1_INTEGER(serial, &der);
    std::unique_ptr<unsigned char, void (*)(unsigned char*)> hold(der, [](unsigned char* p) { OPENSSL_free(p); });
    DerElement element;
    if (size <= 0 || DerReader(der, static_cast<std::size_t>(size)).expect(maren::codec::kTagInteger, &element) !=
                         DerStatus::ok || element.content.size == 0)
        malformed("serial number");
    id.serial = minimal_integer(element.content.data, element.content.size);
    return id;
}

SingleResponse single_of(OCSP_SINGLERESP* single) {
    SingleResponse out;
    int reason = -1;
    ASN1_GENERALIZEDTIME* revoked_at = nullptr;
    ASN1_GENERALIZEDTIME* this_update = nullptr;
    ASN1_GENERALIZEDTIME* next_update = nullptr;
    const int status = OCSP_single_get0_status(single, &reason, &revoked_at, &this_update, &next_update);
    if (status < 0 || status > 2) malformed("certificate status");
    out.status = status;
    out.id = id_of(OCSP_SINGLERESP_get0_id(single));
    const std::optional<Tarsis::CDateTime> this_date = date_of(this_update);
    if (!this_date) malformed("thisUpdate");
    out.this_update = *this_date;
    if (next_update != nullptr) {
        out.next_update = date_of(next_update);
        if (!out.next_update) malformed("nextUpdate");
    }
    if (status == V_OCSP_CERTSTATUS_REVOKED) {
        out.revocation_time = date_of(revoked_at);
        if (!out.revocation_time) malformed("revocationTime");
        out.reason = reason;
    }
    return out;
}

// The BasicOCSPResponse's bytes: what the signature covers, the algorithm,
// the certificates and the responderID.
void take_basic_bytes(DerView basic_der, ParsedResponse* out) {
    using namespace maren::codec;
    DerElement basic, tbs, algorithm, signature, certs_wrapper, certs, oid;
    DerReader input(basic_der);
    if (input.expect(kTagSequence, &basic) != DerStatus::ok || !input.empty()) malformed("BasicOCSPResponse");
    DerReader parts(basic.content);
    if (parts.expect(kTagSequence, &tbs) != DerStatus::ok || parts.expect(kTagSequence, &algorithm) != DerStatus::ok ||
        parts.expect(kTagBitString, &signature) != DerStatus::ok)
        malformed("BasicOCSPResponse parts");
    bool has_certs = false;
    if (parts.optional(kTagContext0, &certs_wrapper, &has_certs) != DerStatus::ok || !parts.empty())
        malformed("BasicOCSPResponse certificates");
    if (has_certs) {
        DerReader wrapper(certs_wrapper.content);
        if (wrapper.expect(kTagSequence, &certs) != DerStatus::ok || !wrapper.empty()) malformed("certificates");
        DerReader list(certs.content);
        while (!list.empty()) {
            DerElement cert;
            if (list.expect(kTagSequence, &cert) != DerStatus::ok) malformed("certificate");
            out->certs.push_back(bytes_of(cert.whole));
        }
    }

    DerReader algorithm_parts(algorithm.content);
    if (algorithm_parts.expect(kTagOid, &oid) != DerStatus::ok) malformed("signature algorithm");
    out->signature_oid = oid_text(oid.content);
    if (out->signature_oid.empty()) malformed("signature algorithm");
    out->signature_parameters = bytes_of(algorithm_parts.rest());

    DerWriter core;
    const std::size_t mark = core.open(kTagSequence);
    core.raw(tbs.whole.data, tbs.whole.size);
    core.raw(algorithm.whole.data, algorithm.whole.size);
    core.raw(signature.whole.data, signature.whole.size);
    core.close(mark);
    out->signed_core = core.take();

    DerReader fields(tbs.content);
    DerElement version, responder, inner;
    bool has_version = false;
    if (fields.optional(kTagContext0, &version, &has_version) != DerStatus::ok || fields.next(&responder) != DerStatus::ok)
        malformed("responderID");
    DerReader choice(responder.content);
    if (responder.tag == kTagContext1 && choice.expect(kTagSequence, &inner) == DerStatus::ok && choice.empty())
        out->responder_name = bytes_of(inner.whole);
    else if (responder.tag == kTagContext2 && choice.expect(kTagOctetString, &inner) == DerStatus::ok && choice.empty())
        out->responder_key_hash = bytes_of(inner.content);
    else
        malformed("responderID");
}

void take_basic_values(OCSP_BASICRESP* basic, ParsedResponse* out) {
    const std::optional<Tarsis::CDateTime> produced = date_of(OCSP_resp_get0_produced_at(basic));
    if (!produced) malformed("producedAt");
    out->produced_at = *produced;
    const int count = OCSP_resp_count(basic);
    for (int i = 0; i < count; ++i) out->singles.push_back(single_of(OCSP_resp_get0(basic, i)));
    const int nonce_at = OCSP_BASICRESP_get_ext_by_NID(basic, NID_id_pkix_OCSP_Nonce, -1);
    if (nonce_at >= 0) out->nonce = octets(X509_EXTENSION_get_data(OCSP_BASICRESP_get_ext(basic, nonce_at)));
}

void parse_into(const std::uint8_t* der, std::size_t size, ParsedResponse* out) {
    using namespace maren::codec;
    DerElement outer, status, bytes_wrapper, response_bytes, type, octets_element;
    DerReader input(der, size);
    if (input.expect(kTagSequence, &outer) != DerStatus::ok || !input.empty()) malformed("OCSPResponse");
    DerReader parts(outer.content);
    bool has_bytes = false;
    if (parts.expect(kTagEnumerated, &status) != DerStatus::ok ||
        parts.optional(kTagContext0, &bytes_wrapper, &has_bytes) != DerStatus::ok || !parts.empty())
        malformed("OCSPResponse parts");

    const unsigned char* cursor = der;
    std::unique_ptr<OCSP_RESPONSE, ResponseFree> response(d2i_OCSP_RESPONSE(nullptr, &cursor, static_cast<long>(size)));
    if (!response || cursor != der + size) malformed("OCSPResponse");
    out->status = OCSP_response_status(response.get());
    if (out->status != OCSP_RESPONSE_STATUS_SUCCESSFUL) return;
    if (!has_bytes) malformed("successful response without responseBytes");

    DerReader wrapper(bytes_wrapper.content);
    if (wrapper.expect(kTagSequence, &response_bytes) != DerStatus::ok || !wrapper.empty()) malformed("responseBytes");
    DerReader bytes_parts(response_bytes.content);
    if (bytes_parts.expect(kTagOid, &type) != DerStatus::ok ||
        bytes_parts.expect(kTagOctetString, &octets_element) != DerStatus::ok || !bytes_parts.empty())
        malformed("responseBytes");
    if (oid_text(type.content) != szOID_PKIX_OCSP_BASIC_SIGNED_RESPONSE) malformed("not a basic OCSP response");

    std::unique_ptr<OCSP_BASICRESP, BasicFree> basic(OCSP_response_get1_basic(response.get()));
    if (!basic) malformed("BasicOCSPResponse");
    take_basic_bytes(octets_element.content, out);
    take_basic_values(basic.get(), out);
}

}  // namespace

long ParsedResponse::index_of(const CertIdState& id) const {
    for (std::size_t i = 0; i < singles.size(); ++i)
        if (singles[i].id == id) return static_cast<long>(i);
    return -1;
}

std::shared_ptr<const ParsedResponse> parse_response(const std::uint8_t* der, std::size_t size,
                                                     std::size_t max_size) {
    if (der == nullptr || size == 0) malformed("empty response");
    if (size > max_size) OCSP_FAIL(kTooLarge, "response above the size cap");
    auto parsed = std::make_shared<ParsedResponse>();
    parsed->der.assign(der, der + size);
    try {
        parse_into(der, size, parsed.get());
    } catch (...) {
        ERR_clear_error();
        throw;
    }
    ERR_clear_error();
    return parsed;
}

}  // namespace Tarsis::PKI::OCSP::detail
