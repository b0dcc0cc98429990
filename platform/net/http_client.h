// A small synchronous HTTP client over libcurl, for URL retrieval and the
// OCSP client. It runs on the calling thread and is safe to call from many
// threads at once (each call has its own easy handle).
//
// Every exchange is bounded: a total time-out covers name resolution,
// connect, TLS and transfer; a size cap ends the transfer as soon as the
// body passes it, so a hostile server costs no more memory than the cap;
// redirects are followed up to a limit, so a loop ends.
//
// Schemes: http and https; file and ldap/ldaps when the caller allows them
// (URL retrieval does, the OCSP client doesn't).
//
// Configuration (registry, read when no cap is given):
//   \config\Net\MaxResponseBytes   default body cap in bytes, default 100 MiB;
//                                  a value <= 0 reads as the default.
#ifndef MAREN_PLATFORM_NET_HTTP_CLIENT_H
#define MAREN_PLATFORM_NET_HTTP_CLIENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace maren::net {

enum class HttpError {
    none = 0,
    invalid_argument,      // empty URL, malformed URL
    unsupported_scheme,    // a scheme this request doesn't allow
    resolve_failed,        // the host name didn't resolve
    connection_failed,     // refused, reset, closed before an answer, TLS failure
    timeout,               // the total time-out passed
    too_large,             // the body passed the size cap; no body is returned
    too_many_redirects,    // more redirects than allowed (a loop ends here)
    bad_status,            // an HTTP status other than 2xx; the body is kept
    bad_response,          // not HTTP, truncated body, bad encoding
    not_found,             // a file:// path or an ldap entry that doesn't exist
    out_of_memory,
    failed,                // anything else libcurl reports
};

// A stable name for traces and test messages ("timeout", "too large", ...).
const char *http_error_name(HttpError error);

constexpr std::uint32_t kDefaultTimeoutMs = 15000;
constexpr std::size_t kDefaultMaxResponseBytes = 100u * 1024u * 1024u;
constexpr int kDefaultMaxRedirects = 5;

struct HttpRequest {
    std::string url;
    // POST when set (with `body` and `content_type`), GET otherwise.
    bool post = false;
    std::vector<unsigned char> body;
    std::string content_type;
    // Extra request header lines, "Name: value".
    std::vector<std::string> headers;

    // Total time of the exchange in milliseconds; 0 takes kDefaultTimeoutMs.
    std::uint32_t timeout_ms = kDefaultTimeoutMs;
    // Body cap in bytes; 0 takes default_max_response_bytes().
    std::size_t max_response_bytes = 0;
    int max_redirects = kDefaultMaxRedirects;
    // Allow file:// and ldap:// / ldaps:// besides http and https.
    bool allow_file_and_ldap = false;
};

struct HttpResponse {
    HttpError error = HttpError::failed;
    // A human-readable reason when error is not none.
    std::string message;
    // The last HTTP status seen (0 without one, e.g. for file://).
    long status = 0;
    // The Content-Type header of the final response, empty without one.
    std::string content_type;
    std::vector<unsigned char> body;
    // The URL the body finally came from (after redirects).
    std::string effective_url;

    bool ok() const { return error == HttpError::none; }
};

// One exchange. Never throws (an allocation failure is out_of_memory).
HttpResponse http_perform(const HttpRequest &request);

HttpResponse http_get(const std::string &url, std::uint32_t timeout_ms, std::size_t max_response_bytes = 0);
HttpResponse http_post(const std::string &url, const std::vector<unsigned char> &body,
                       const std::string &content_type, std::uint32_t timeout_ms,
                       std::size_t max_response_bytes = 0);

// \config\Net\MaxResponseBytes, or kDefaultMaxResponseBytes. Follows
// changes of the registry file.
std::size_t default_max_response_bytes();

}  // namespace maren::net

#endif
