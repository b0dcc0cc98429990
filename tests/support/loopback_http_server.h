// An HTTP/1.1 server on 127.0.0.1 for tests: routes registered by the test,
// per-path request counts, and misbehaviour on demand (delays, dropped
// connections, garbage, truncated and endless bodies, redirects and
// redirect loops). Each connection gets its own thread and one answer
// ("Connection: close"). The destructor stops everything; every wait the
// server makes is sliced so that it stops within a fraction of a second.
#ifndef HALDEN_TESTS_SUPPORT_LOOPBACK_HTTP_SERVER_H
#define HALDEN_TESTS_SUPPORT_LOOPBACK_HTTP_SERVER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace halden::test {

struct HttpRequestSeen {
    std::string method;  // "GET", "POST", ...
    std::string path;    // without the query
    std::string query;   // after '?', empty without one
    // Header names folded to lower case.
    std::map<std::string, std::string> headers;
    std::string body;
};

struct HttpReply {
    enum class Mode {
        normal,     // status, headers and body
        drop,       // close the connection without a byte
        garbage,    // answer `body` as raw bytes, no status line
        truncated,  // announce body.size() + 1000 bytes, send body, close
        endless,    // status and headers, then a body that never ends
    };
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    Mode mode = Mode::normal;
    // Waited before the first byte of the answer.
    int delay_ms = 0;

    static HttpReply ok(std::string body, std::string content_type = "application/octet-stream");
    static HttpReply redirect(const std::string &location, int status = 302);
};

using HttpHandler = std::function<HttpReply(const HttpRequestSeen &)>;

class LoopbackHttpServer {
public:
    // Listens on 127.0.0.1 at an ephemeral port; throws std::runtime_error
    // when it can't.
    LoopbackHttpServer();
    ~LoopbackHttpServer();
    LoopbackHttpServer(const LoopbackHttpServer &) = delete;
    LoopbackHttpServer &operator=(const LoopbackHttpServer &) = delete;

    std::uint16_t port() const { return port_; }
    // "http://127.0.0.1:<port>" followed by `path` (which starts with '/').
    std::string url(const std::string &path) const;

    // Routes match the path exactly; an unrouted path answers 404.
    void route(const std::string &path, HttpHandler handler);
    void serve(const std::string &path, HttpReply reply);
    void serve_bytes(const std::string &path, std::string body,
                     std::string content_type = "application/octet-stream");
    void redirect(const std::string &path, const std::string &to, int status = 302);

    // Requests that reached `path` (routed or not), counted when the
    // request head has been read.
    int requests(const std::string &path) const;
    int total_requests() const;
    void reset_counts();
    // The last request seen on `path` (empty method if none).
    HttpRequestSeen last_request(const std::string &path) const;

private:
    void accept_loop();
    void serve_connection(int fd);
    bool wait_stopping(int ms) const;
    void answer(int fd, const HttpReply &reply);

    int listen_fd_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::thread acceptor_;

    mutable std::mutex mutex_;
    std::map<std::string, HttpHandler> routes_;
    std::map<std::string, int> counts_;
    std::map<std::string, HttpRequestSeen> last_;
    std::vector<std::thread> connections_;
    std::vector<int> open_fds_;
};

}  // namespace halden::test

#endif
