#include "platform/ocsp/exchange.h"

#include <chrono>
#include <string>

#include <maren/errors.h>

#include "base/base64.h"
#include "platform/host/trace_internal.h"
#include "platform/net/http_client.h"
#include "platform/ocsp/ocsp_config.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

using maren::net::HttpError;
using maren::net::HttpRequest;
using maren::net::HttpResponse;

constexpr HRESULT kTimeout = static_cast<HRESULT>(0x800705B4L);   // ERROR_TIMEOUT
constexpr HRESULT kTooLarge = static_cast<HRESULT>(0x800700DFL);  // ERROR_FILE_TOO_LARGE

std::string base64(const Bytes& der) {
    DWORD size = 0;
    if (!base64_encode_ex(der.data(), static_cast<DWORD>(der.size()), nullptr, &size, HALDEN_BASE64_NOCRLF))
        return {};
    std::string text(size, '\0');
    if (!base64_encode_ex(der.data(), static_cast<DWORD>(der.size()), &text[0], &size, HALDEN_BASE64_NOCRLF))
        return {};
    text.resize(size);
    return text;
}

[[noreturn]] void transport_failed(const HttpResponse& response, const std::string& url) {
    const std::string reason = std::string("exchange with ") + url + " failed: " +
                               maren::net::http_error_name(response.error) +
                               (response.message.empty() ? "" : " (" + response.message + ")");
    switch (response.error) {
    case HttpError::timeout: OCSP_FAIL(kTimeout, reason.c_str());
    case HttpError::too_large: OCSP_FAIL(kTooLarge, reason.c_str());
    default: OCSP_FAIL(CRYPT_E_REVOCATION_OFFLINE, reason.c_str());
    }
}

}  // namespace

std::string get_path_segment(const Bytes& request_der) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : base64(request_der)) {
        if (c == '+' || c == '/' || c == '=') {
            out.push_back('%');
            out.push_back(kHex[static_cast<unsigned char>(c) >> 4]);
            out.push_back(kHex[static_cast<unsigned char>(c) & 0xF]);
        } else {
            out.push_back(c);
        }
    }
    return out;
}

Bytes exchange(const std::string& url, const Bytes& request_der, bool post_only, const ExchangeLimits& limits) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(limits.timeout_ms);
    const auto remaining_ms = [deadline]() -> std::uint32_t {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        return left > 0 ? static_cast<std::uint32_t>(left) : 0;
    };

    HttpRequest request;
    request.max_response_bytes = limits.max_response_bytes;
    // A responder has no business redirecting; one hop is allowed for a
    // moved responder, never a chain of them.
    request.max_redirects = 1;

    const std::string segment = get_path_segment(request_der);
    // A URL with a query has no path to extend.
    const bool get_possible = url.find('?') == std::string::npos;
    if (!post_only && get_possible && !segment.empty() && segment.size() < kMaxGetPathBytes) {
        request.url = url + (!url.empty() && url.back() == '/' ? "" : "/") + segment;
        request.timeout_ms = limits.timeout_ms;
        HttpResponse response = maren::net::http_perform(request);
        if (response.ok()) return std::move(response.body);
        if (response.error != HttpError::bad_status) transport_failed(response, url);
        MAREN_TRACE_INFO("OCSP: GET to %s answered HTTP %ld; trying POST", url.c_str(), response.status);
    }

    request.url = url;
    request.post = true;
    request.body = request_der;
    request.content_type = "application/ocsp-request";
    request.headers.push_back("Accept: application/ocsp-response");
    request.timeout_ms = remaining_ms();
    if (request.timeout_ms == 0) OCSP_FAIL(kTimeout, "no time left for the POST");
    HttpResponse response = maren::net::http_perform(request);
    if (!response.ok()) transport_failed(response, url);
    return std::move(response.body);
}

}  // namespace Tarsis::PKI::OCSP::detail
