// CResponse: a parsed response shared by value, its accessors and checks.
#include <maren/ocsp.h>

#include <cstring>

#include <maren/errors.h>

#include "base/blob.h"
#include "base/date_time.h"
#include "platform/ocsp/access.h"
#include "platform/ocsp/ocsp_config.h"
#include "platform/ocsp/parsed_response.h"
#include "platform/ocsp/request_state.h"
#include "platform/ocsp/responder_check.h"

namespace Tarsis::PKI::OCSP::Client {
namespace {

using detail::ParsedResponse;
using detail::SingleResponse;

constexpr HRESULT kMoreData = static_cast<HRESULT>(0x800700EAL);  // ERROR_MORE_DATA

const SingleResponse* single_at(const detail::ResponseState* state, unsigned long index) {
    if (!state->parsed || index >= state->parsed->singles.size()) return nullptr;
    return &state->parsed->singles[index];
}

bool has_basic(const detail::ResponseState* state) {
    return state->parsed && state->parsed->status == 0 && !state->parsed->signed_core.empty();
}

}  // namespace

CResponse::CResponse() : state_(new detail::ResponseState()) {}
CResponse::CResponse(const CResponse& other) : state_(new detail::ResponseState(*other.state_)) {}
CResponse& CResponse::operator=(const CResponse& other) {
    state_->parsed = other.state_->parsed;
    return *this;
}
CResponse::~CResponse() { delete state_; }

void CResponse::Import(const unsigned char* der, unsigned long size, const CRequest* request) {
    std::shared_ptr<const ParsedResponse> parsed = detail::parse_response(der, size, detail::max_response_bytes());
    if (request != nullptr) {
        const detail::RequestState& asked = detail::Access::state(*request);
        if (!asked.nonce.empty() && parsed->status == 0 && (!parsed->nonce || *parsed->nonce != asked.nonce))
            OCSP_FAIL(NTE_BAD_DATA, "the response does not carry the request's nonce");
    }
    state_->parsed = std::move(parsed);
}

void CResponse::Export(unsigned char* buffer, unsigned long* size) const {
    if (size == nullptr) OCSP_FAIL(E_INVALIDARG, "Export without a size");
    const unsigned long needed = state_->parsed ? static_cast<unsigned long>(state_->parsed->der.size()) : 0;
    if (buffer == nullptr) {
        *size = needed;
        return;
    }
    if (*size < needed) {
        *size = needed;
        OCSP_FAIL(kMoreData, "Export buffer too small");
    }
    if (needed != 0) std::memcpy(buffer, state_->parsed->der.data(), needed);
    *size = needed;
}

int CResponse::get_Status() const { return state_->parsed ? state_->parsed->status : -1; }

const CERT_CONTEXT* CResponse::get_OCSPCertificate(void** stores, unsigned long count) const {
    if (!has_basic(state_)) return nullptr;
    detail::CertSources sources;
    sources.stores = stores;
    sources.count = stores != nullptr ? count : 0;
    return detail::find_responder(*state_->parsed, sources).release();
}

HRESULT CResponse::Verify(const CERT_CONTEXT* cert, char* /*reserved*/) const {
    if (cert == nullptr || cert->pCertInfo == nullptr) return E_INVALIDARG;
    if (!has_basic(state_)) return CRYPT_E_NOT_FOUND;
    return state_->parsed->verify_signature(cert->pCertInfo->SubjectPublicKeyInfo);
}

HRESULT CResponse::VerifyCertificate(const CERT_CONTEXT* cert, bool /*reserved*/, void** stores,
                                     unsigned long count) const {
    if (cert == nullptr || cert->pCertInfo == nullptr) return E_INVALIDARG;
    if (!has_basic(state_)) return CRYPT_E_NOT_FOUND;
    detail::CertSources sources;
    sources.stores = stores;
    sources.count = stores != nullptr ? count : 0;
    return detail::authorize_responder(*state_->parsed, cert, sources);
}

unsigned long CResponse::get_SRNumber() const {
    return state_->parsed ? static_cast<unsigned long>(state_->parsed->singles.size()) : 0;
}

long CResponse::get_SRIndexByCertID(CCertID id) const {
    return state_->parsed ? state_->parsed->index_of(detail::Access::state(id)) : -1;
}

HRESULT CResponse::VerifySR(unsigned long index, char* /*reserved*/, bool* /*reservedFlag*/) const {
    const SingleResponse* single = single_at(state_, index);
    if (single == nullptr) return E_INVALIDARG;
    return detail::check_single_times(*single, detail::now_ticks());
}

int CResponse::get_SRStatus(unsigned long index) const {
    const SingleResponse* single = single_at(state_, index);
    return single != nullptr ? single->status : -1;
}

const Tarsis::CDateTime* CResponse::get_SRRevTime(unsigned long index) const {
    const SingleResponse* single = single_at(state_, index);
    return single != nullptr && single->revocation_time ? &*single->revocation_time : nullptr;
}

int CResponse::get_SRRevReason(unsigned long index) const {
    const SingleResponse* single = single_at(state_, index);
    return single != nullptr ? single->reason : -1;
}

Tarsis::CDateTime CResponse::get_SRThisUpdate(unsigned long index) const {
    const SingleResponse* single = single_at(state_, index);
    return single != nullptr ? single->this_update : Tarsis::CDateTime();
}

const Tarsis::CDateTime* CResponse::get_SRNextUpdate(unsigned long index) const {
    const SingleResponse* single = single_at(state_, index);
    return single != nullptr && single->next_update ? &*single->next_update : nullptr;
}

CCertID CResponse::get_SRCertID(unsigned long index) const {
    const SingleResponse* single = single_at(state_, index);
    return single != nullptr ? detail::Access::make_cert_id(single->id) : CCertID();
}

Tarsis::CDateTime CResponse::get_ProducedAt() const {
    return state_->parsed ? state_->parsed->produced_at : Tarsis::CDateTime();
}

std::string CResponse::get_SignatureAlgorithmOID() const {
    return state_->parsed ? state_->parsed->signature_oid : std::string();
}

Tarsis::CBlob CResponse::get_SignatureAlgorithmParameters() const {
    if (!state_->parsed || state_->parsed->signature_parameters.empty()) return Tarsis::CBlob();
    const detail::Bytes& parameters = state_->parsed->signature_parameters;
    return Tarsis::CBlob(parameters.data(), parameters.size());
}

}  // namespace Tarsis::PKI::OCSP::Client
