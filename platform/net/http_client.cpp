// libcurl's easy interface, one handle per exchange, bounded in time, size
// and redirects.
#include "platform/net/http_client.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include <maren/host.h>

#include "base/ascii.h"
#include "platform/host/trace_internal.h"

namespace maren::net {
namespace {

struct EasyFree {
    void operator()(CURL *handle) const { curl_easy_cleanup(handle); }
};
struct SlistFree {
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};
using EasyPtr = std::unique_ptr<CURL, EasyFree>;
using SlistPtr = std::unique_ptr<curl_slist, SlistFree>;

// curl_global_init is not safe to race with other threads' libcurl use, so
// it runs once, before the first handle.
bool global_init() {
    static const bool ready = [] {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            MAREN_TRACE_ERROR("curl_global_init failed");
            return false;
        }
        const curl_version_info_data *info = curl_version_info(CURLVERSION_NOW);
        // Without an asynchronous resolver the time-out could not bound name
        // resolution under CURLOPT_NOSIGNAL.
        if (info != nullptr && (info->features & CURL_VERSION_ASYNCHDNS) == 0)
            MAREN_TRACE_WARNING("libcurl resolves names synchronously; time-outs may not cover resolution");
        return true;
    }();
    return ready;
}

// The body sink: grows the buffer at most to the cap and ends the transfer
// as soon as more arrives.
struct Sink {
    std::vector<unsigned char> *body;
    std::size_t cap;
    bool over_cap = false;
    bool no_memory = false;
    CURL *handle;
};

std::size_t write_body(char *data, std::size_t size, std::size_t count, void *user) {
    Sink *sink = static_cast<Sink *>(user);
    const std::size_t n = size * count;
    std::vector<unsigned char> &body = *sink->body;
    if (n > sink->cap - body.size()) {
        sink->over_cap = true;
        return 0;  // ends the transfer with CURLE_WRITE_ERROR
    }
    try {
        const std::size_t needed = body.size() + n;
        if (needed > body.capacity()) {
            // Reserve the announced length once when it is known, else grow
            // by doubling, never past the cap.
            curl_off_t announced = -1;
            curl_easy_getinfo(sink->handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
            std::size_t target = std::max(needed, body.capacity() * 2);
            if (announced > 0 && static_cast<std::uint64_t>(announced) >= needed)
                target = static_cast<std::size_t>(std::min<std::uint64_t>(announced, sink->cap));
            body.reserve(std::min(std::max(target, needed), sink->cap));
        }
        body.insert(body.end(), data, data + n);
    } catch (const std::bad_alloc &) {
        sink->no_memory = true;
        return 0;
    }
    return n;
}

std::string scheme_of(const std::string &url) {
    const std::size_t colon = url.find("://");
    if (colon == std::string::npos) return std::string();
    return halden::ascii_folded(std::string_view(url).substr(0, colon));
}

HttpError map_error(CURLcode code, const char *message, const Sink &sink) {
    switch (code) {
        case CURLE_OK:
            return HttpError::none;
        case CURLE_WRITE_ERROR:
            if (sink.over_cap) return HttpError::too_large;
            if (sink.no_memory) return HttpError::out_of_memory;
            return HttpError::failed;
        case CURLE_FILESIZE_EXCEEDED:
            return HttpError::too_large;
        case CURLE_OPERATION_TIMEDOUT:
            return HttpError::timeout;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return HttpError::resolve_failed;
        case CURLE_COULDNT_CONNECT:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_LDAP_CANNOT_BIND:
            return HttpError::connection_failed;
        case CURLE_TOO_MANY_REDIRECTS:
            return HttpError::too_many_redirects;
        case CURLE_URL_MALFORMAT:
            return HttpError::invalid_argument;
        case CURLE_UNSUPPORTED_PROTOCOL:
            // libcurl also says this of an answer without a status line.
            if (message != nullptr && std::strstr(message, "HTTP/0.9") != nullptr) return HttpError::bad_response;
            return HttpError::unsupported_scheme;
        case CURLE_PARTIAL_FILE:
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return HttpError::bad_response;
        case CURLE_FILE_COULDNT_READ_FILE:
        case CURLE_REMOTE_FILE_NOT_FOUND:
        case CURLE_LDAP_SEARCH_FAILED:
            return HttpError::not_found;
        case CURLE_OUT_OF_MEMORY:
            return HttpError::out_of_memory;
        default:
            return HttpError::failed;
    }
}

HttpResponse failure(HttpError error, std::string message) {
    HttpResponse response;
    response.error = error;
    response.message = std::move(message);
    return response;
}

HttpResponse perform(const HttpRequest &request) {
    if (request.url.empty()) return failure(HttpError::invalid_argument, "empty URL");
    const std::string scheme = scheme_of(request.url);
    const bool web = scheme == "http" || scheme == "https";
    const bool other = scheme == "file" || scheme == "ldap" || scheme == "ldaps";
    if (!web && !(other && request.allow_file_and_ldap))
        return failure(HttpError::unsupported_scheme, "scheme not allowed: " + scheme);
    if (request.post && !web) return failure(HttpError::invalid_argument, "POST needs http or https");
    if (!global_init()) return failure(HttpError::failed, "libcurl initialisation failed");

    EasyPtr handle(curl_easy_init());
    if (!handle) return failure(HttpError::out_of_memory, "curl_easy_init failed");
    CURL *h = handle.get();

    HttpResponse response;
    const std::size_t cap = request.max_response_bytes != 0 ? request.max_response_bytes : default_max_response_bytes();
    Sink sink{&response.body, cap, false, false, h};
    const long timeout = static_cast<long>(request.timeout_ms != 0 ? request.timeout_ms : kDefaultTimeoutMs);
    char error_text[CURL_ERROR_SIZE] = {0};

    SlistPtr headers;
    for (const std::string &line : request.headers) {
        curl_slist *grown = curl_slist_append(headers.get(), line.c_str());
        if (grown == nullptr) return failure(HttpError::out_of_memory, "header list");
        static_cast<void>(headers.release());
        headers.reset(grown);
    }
    if (request.post && !request.content_type.empty()) {
        const std::string line = "Content-Type: " + request.content_type;
        curl_slist *grown = curl_slist_append(headers.get(), line.c_str());
        if (grown == nullptr) return failure(HttpError::out_of_memory, "header list");
        static_cast<void>(headers.release());
        headers.reset(grown);
    }

    curl_easy_setopt(h, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, timeout);
    curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, timeout);
    curl_easy_setopt(h, CURLOPT_ERRORBUFFER, error_text);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, write_body);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &sink);
    curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(cap));
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, request.allow_file_and_ldap ? "http,https,file,ldap,ldaps" : "http,https");
    // A redirect never leads off the web, whatever the first URL was.
    curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, request.max_redirects > 0 ? 1L : 0L);
    curl_easy_setopt(h, CURLOPT_MAXREDIRS, static_cast<long>(std::max(request.max_redirects, 0)));
    curl_easy_setopt(h, CURLOPT_USERAGENT, "maren/1.0");
    if (headers) curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers.get());
    if (request.post) {
        curl_easy_setopt(h, CURLOPT_POST, 1L);
        curl_easy_setopt(h, CURLOPT_POSTFIELDS, request.body.data());
        curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }

    const CURLcode code = curl_easy_perform(h);

    long status = 0;
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
    response.status = status;
    char *type = nullptr;
    if (curl_easy_getinfo(h, CURLINFO_CONTENT_TYPE, &type) == CURLE_OK && type != nullptr) response.content_type = type;
    char *effective = nullptr;
    if (curl_easy_getinfo(h, CURLINFO_EFFECTIVE_URL, &effective) == CURLE_OK && effective != nullptr)
        response.effective_url = effective;

    response.error = map_error(code, error_text, sink);
    if (response.error == HttpError::too_large) {
        response.message = "response larger than " + std::to_string(cap) + " bytes";
        std::vector<unsigned char>().swap(response.body);
        MAREN_TRACE_WARNING("%s: %s, refused", request.url.c_str(), response.message.c_str());
        return response;
    }
    if (response.error != HttpError::none) {
        response.message = error_text[0] != '\0' ? error_text : curl_easy_strerror(code);
        std::vector<unsigned char>().swap(response.body);
        MAREN_TRACE_INFO("%s: %s (%s)", request.url.c_str(), http_error_name(response.error),
                         response.message.c_str());
        return response;
    }
    if ((scheme == "http" || scheme == "https") && (status < 200 || status > 299)) {
        response.error = HttpError::bad_status;
        response.message = "HTTP status " + std::to_string(status);
        MAREN_TRACE_INFO("%s: %s", request.url.c_str(), response.message.c_str());
    }
    return response;
}

}  // namespace

const char *http_error_name(HttpError error) {
    switch (error) {
        case HttpError::none: return "ok";
        case HttpError::invalid_argument: return "invalid argument";
        case HttpError::unsupported_scheme: return "unsupported scheme";
        case HttpError::resolve_failed: return "name resolution failed";
        case HttpError::connection_failed: return "connection failed";
        case HttpError::timeout: return "timeout";
        case HttpError::too_large: return "too large";
        case HttpError::too_many_redirects: return "too many redirects";
        case HttpError::bad_status: return "bad status";
        case HttpError::bad_response: return "bad response";
        case HttpError::not_found: return "not found";
        case HttpError::out_of_memory: return "out of memory";
        case HttpError::failed: return "failed";
    }
    return "failed";
}

HttpResponse http_perform(const HttpRequest &request) {
    try {
        return perform(request);
    } catch (const std::bad_alloc &) {
        return failure(HttpError::out_of_memory, "out of memory");
    } catch (...) {
        return failure(HttpError::failed, "unexpected failure");
    }
}

HttpResponse http_get(const std::string &url, std::uint32_t timeout_ms, std::size_t max_response_bytes) {
    HttpRequest request;
    request.url = url;
    request.timeout_ms = timeout_ms;
    request.max_response_bytes = max_response_bytes;
    return http_perform(request);
}

HttpResponse http_post(const std::string &url, const std::vector<unsigned char> &body, const std::string &content_type,
                       std::uint32_t timeout_ms, std::size_t max_response_bytes) {
    HttpRequest request;
    request.url = url;
    request.post = true;
    request.body = body;
    request.content_type = content_type;
    request.timeout_ms = timeout_ms;
    request.max_response_bytes = max_response_bytes;
    return http_perform(request);
}

std::size_t default_max_response_bytes() {
    long value = 0;
    if (host_registry_get_long("\\config\\Net\\MaxResponseBytes", &value) == 0 && value > 0)
        return static_cast<std::size_t>(value);
    return kDefaultMaxResponseBytes;
}

}  // namespace maren::net
