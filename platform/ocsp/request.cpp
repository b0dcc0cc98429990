// CRequest: the single requests, the exchange with the responder and the
// response cache in front of it.
#include <maren/ocsp.h>

#include <string>

#include <maren/errors.h>

#include "base/date_time.h"
#include "platform/host/trace_internal.h"
#include "platform/ocsp/access.h"
#include "platform/ocsp/exchange.h"
#include "platform/ocsp/ocsp_config.h"
#include "platform/ocsp/parsed_response.h"
#include "platform/ocsp/request_encoder.h"
#include "platform/ocsp/request_state.h"
#include "platform/ocsp/responder_check.h"
#include "platform/ocsp/responder_url.h"
#include "platform/ocsp/response_cache.h"

namespace Tarsis::PKI::OCSP::Client {
namespace {

using detail::ParsedResponse;
using detail::RequestState;

// URLs from certificates are ASCII; anything else is refused rather than
// guessed at.
std::string ascii_url(const std::wstring& url) {
    std::string out;
    out.reserve(url.size());
    for (const wchar_t c : url) {
        if (c <= 0x20 || c >= 0x7F) OCSP_FAIL(E_INVALIDARG, "the responder URL is not plain ASCII");
        out.push_back(static_cast<char>(c));
    }
    return out;
}

// Checks a fresh answer as the request asked; throws what it refuses.
void check_answer(const RequestState& state, const ParsedResponse& response, std::uint64_t now) {
    if (response.status != 0) return;
    if (!state.nonce.empty() && (!response.nonce || *response.nonce != state.nonce))
        OCSP_FAIL(NTE_BAD_DATA, "the response does not carry the request's nonce");
    if (!state.disable_produced_at_check && detail::ticks_of(response.produced_at) > now + detail::kClockSkewTicks)
        OCSP_FAIL(CERT_E_EXPIRED, "the response's producedAt lies in the future");
    if (state.flags & detail::kFlagAnswerEverySingleRequest)
        for (const detail::CertIdState& id : state.ids)
            if (response.index_of(id) < 0) OCSP_FAIL(CRYPT_E_NOT_FOUND, "the response leaves a single request out");
}

// Keeps a good-looking answer for later checks of the same certificate:
// a single response with nextUpdate, in time, from an authorised signer.
void offer_to_cache(const RequestState& state, const std::shared_ptr<const ParsedResponse>& response,
                    std::uint64_t now) {
    if (response->status != 0 || state.ids.size() != 1) return;
    const long index = response->index_of(state.ids.front());
    if (index < 0) return;
    const detail::SingleResponse& single = response->singles[static_cast<std::size_t>(index)];
    if (!single.next_update || detail::check_single_times(single, now) != S_OK) return;
    detail::CertSources sources;
    sources.known = state.issuer.get();
    const HRESULT signer = detail::check_signer(*response, sources);
    if (signer != S_OK) {
        MAREN_TRACE_INFO("OCSP: response not cached, its signer does not check out (0x%08x)",
                         static_cast<unsigned>(signer));
        return;
    }
    detail::ResponseCache::instance().store(state.ids.front(), response, now, detail::ticks_of(*single.next_update),
                                            detail::cache_size());
}

}  // namespace

CRequest::CRequest() : state_(new RequestState()) {}
CRequest::~CRequest() { delete state_; }

void CRequest::put_UseNonce(bool use) { state_->use_nonce = use; }
void CRequest::put_DisableProducedAtCheck(bool disable) { state_->disable_produced_at_check = disable; }
void CRequest::put_Flags(unsigned int flags) { state_->flags = flags; }

void CRequest::put_CacheResync(FILETIME* time) {
    if (time != nullptr) state_->cache_resync = detail::ticks_of(*time);
    else state_->cache_resync.reset();
}

void CRequest::put_SRCertIDFromCert(const CERT_CONTEXT* cert, const CERT_CONTEXT* issuer, unsigned long /*reserved*/,
                                    const char* /*reservedText*/) {
    std::optional<detail::CertIdState> id = detail::cert_id_of(cert, issuer);
    if (!id) OCSP_FAIL(E_INVALIDARG, "no certificate identity for this certificate and issuer");
    if (state_->ids.empty()) {
        state_->url = detail::responder_url(cert);
        state_->issuer = maren::chain::share(issuer);
    }
    state_->ids.push_back(std::move(*id));
}

CResponse CRequest::Send(bool postOnly) {
    if (state_->ids.empty()) OCSP_FAIL(E_INVALIDARG, "a request without a single request");
    if (state_->url.empty()) OCSP_FAIL_INFO(CRYPT_E_NOT_FOUND, "the certificate names no OCSP responder");
    const std::string url = ascii_url(state_->url);
    detail::ResponseCache& cache = detail::ResponseCache::instance();
    const bool cacheable = state_->ids.size() == 1 && !(state_->flags & detail::kFlagNoCache);
    state_->nonce.clear();

    // A nonce asks for an answer made now, which no cached one is.
    if (cacheable && !state_->use_nonce)
        if (std::shared_ptr<const ParsedResponse> hit =
                cache.find(state_->ids.front(), detail::now_ticks(), state_->cache_resync))
            return detail::Access::make_response(std::move(hit));

    const detail::EncodedRequest request = detail::encode_request(state_->ids, state_->use_nonce);
    state_->nonce = request.nonce;
    const detail::ExchangeLimits limits{detail::timeout_ms(), detail::max_response_bytes()};
    const detail::Bytes body = detail::exchange(url, request.der, postOnly, limits);
    std::shared_ptr<const ParsedResponse> response =
        detail::parse_response(body.data(), body.size(), limits.max_response_bytes);
    const std::uint64_t now = detail::now_ticks();
    check_answer(*state_, *response, now);
    if (cacheable) offer_to_cache(*state_, response, now);
    return detail::Access::make_response(std::move(response));
}

unsigned long CRequest::get_SRNumber() const { return static_cast<unsigned long>(state_->ids.size()); }

CCertID CRequest::get_SRCertID(unsigned long index) const {
    if (index >= state_->ids.size()) OCSP_FAIL(E_INVALIDARG, "no single request at this index");
    return detail::Access::make_cert_id(state_->ids[index]);
}

std::wstring CRequest::get_OCSPAddress() const { return state_->url; }

}  // namespace Tarsis::PKI::OCSP::Client
