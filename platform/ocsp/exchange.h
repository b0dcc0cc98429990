// The HTTP leg of an OCSP exchange (RFC 6960 appendix A): a GET with the
// request in the path when it is short, a POST of application/ocsp-request
// otherwise or when the GET meets an HTTP error status.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/ocsp/cert_id.h"

namespace Tarsis::PKI::OCSP::detail {

// Requests whose URL-encoded Base64 form is shorter than this go by GET.
constexpr std::size_t kMaxGetPathBytes = 255;

struct ExchangeLimits {
    // The whole exchange, both tries together.
    std::uint32_t timeout_ms;
    std::size_t max_response_bytes;
};

// The path segment a GET carries: the request in Base64, URL-encoded.
std::string get_path_segment(const Bytes& request_der);

// The response body. Throws CryptException: HRESULT_FROM_WIN32(ERROR_TIMEOUT)
// when the time-out passes, ERROR_FILE_TOO_LARGE's HRESULT above the cap,
// CRYPT_E_REVOCATION_OFFLINE for any other failure of the transport or an
// HTTP error status.
Bytes exchange(const std::string& url, const Bytes& request_der, bool post_only, const ExchangeLimits& limits);

}  // namespace Tarsis::PKI::OCSP::detail
