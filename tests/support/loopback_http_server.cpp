#include "tests/support/loopback_http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "base/ascii.h"

namespace halden::test {
namespace {

constexpr int kSliceMs = 20;
constexpr std::size_t kMaxHead = 64 * 1024;
constexpr std::size_t kMaxRequestBody = 64 * 1024 * 1024;
constexpr int kReadDeadlineMs = 10000;
// The endless body stops here at the latest, should a client never give up.
constexpr std::uint64_t kEndlessLimit = 8ull * 1024 * 1024 * 1024;

const char *reason(int status) {
    switch (status) {
        case 200: return "OK";
        case 301: return "Moved Permanently";
        case 302: return "Found";
        case 304: return "Not Modified";
        case 307: return "Temporary Redirect";
        case 400: return "Bad Request";
        case 404: return "Not Found";
        case 500: return "Internal Server Error";
        case 503: return "Service Unavailable";
        default: return "Status";
    }
}

}  // namespace

HttpReply HttpReply::ok(std::string body, std::string content_type) {
    HttpReply reply;
    reply.body = std::move(body);
    reply.headers.emplace_back("Content-Type", std::move(content_type));
    return reply;
}

HttpReply HttpReply::redirect(const std::string &location, int status) {
    HttpReply reply;
    reply.status = status;
    reply.headers.emplace_back("Location", location);
    return reply;
}

LoopbackHttpServer::LoopbackHttpServer() {
    listen_fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listen_fd_ < 0) throw std::runtime_error("socket failed");
    const int one = 1;
    ::setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (::bind(listen_fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(listen_fd_, 64) != 0 ||
        ::getsockname(listen_fd_, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        ::close(listen_fd_);
        throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { accept_loop(); });
}

LoopbackHttpServer::~LoopbackHttpServer() {
    stopping_.store(true);
    acceptor_.join();
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // Wakes connections blocked in a read or write.
        for (int fd : open_fds_) ::shutdown(fd, SHUT_RDWR);
        threads.swap(connections_);
    }
    for (std::thread &t : threads) t.join();
    ::close(listen_fd_);
}

std::string LoopbackHttpServer::url(const std::string &path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void LoopbackHttpServer::route(const std::string &path, HttpHandler handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    routes_[path] = std::move(handler);
}

void LoopbackHttpServer::serve(const std::string &path, HttpReply reply) {
    route(path, [reply](const HttpRequestSeen &) { return reply; });
}

void LoopbackHttpServer::serve_bytes(const std::string &path, std::string body, std::string content_type) {
    serve(path, HttpReply::ok(std::move(body), std::move(content_type)));
}

void LoopbackHttpServer::redirect(const std::string &path, const std::string &to, int status) {
    serve(path, HttpReply::redirect(to, status));
}

int LoopbackHttpServer::requests(const std::string &path) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = counts_.find(path);
    return it == counts_.end() ? 0 : it->second;
}

int LoopbackHttpServer::total_requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    int total = 0;
    for (const auto &entry : counts_) total += entry.second;
    return total;
}

void LoopbackHttpServer::reset_counts() {
    std::lock_guard<std::mutex> lock(mutex_);
    counts_.clear();
}

HttpRequestSeen LoopbackHttpServer::last_request(const std::string &path) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = last_.find(path);
    return it == last_.end() ? HttpRequestSeen{} : it->second;
}

bool LoopbackHttpServer::wait_stopping(int ms) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!stopping_.load()) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= end) return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, kSliceMs)));
    }
    return true;
}

void LoopbackHttpServer::accept_loop() {
    while (!stopping_.load()) {
        pollfd p{listen_fd_, POLLIN, 0};
        if (::poll(&p, 1, kSliceMs) <= 0) continue;
        const int fd = ::accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        std::lock_guard<std::mutex> lock(mutex_);
        open_fds_.push_back(fd);
        connections_.emplace_back([this, fd] { serve_connection(fd); });
    }
}

namespace {

// Reads until `want` returns true, in slices, giving up at the deadline,
// when the peer closes, or when the server stops.
template <typename Want>
bool read_until(int fd, std::string *buffer, const std::atomic<bool> &stopping, std::size_t limit, Want want) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kReadDeadlineMs);
    char chunk[16384];
    while (!want(*buffer)) {
        if (stopping.load() || std::chrono::steady_clock::now() > deadline || buffer->size() > limit) return false;
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, kSliceMs) <= 0) continue;
        const ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0) return false;
        buffer->append(chunk, static_cast<std::size_t>(n));
    }
    return true;
}

bool send_all(int fd, const char *data, std::size_t size, const std::atomic<bool> &stopping) {
    while (size > 0) {
        if (stopping.load()) return false;
        pollfd p{fd, POLLOUT, 0};
        const int ready = ::poll(&p, 1, kSliceMs);
        if (ready == 0) continue;
        if (ready < 0 || (p.revents & (POLLERR | POLLHUP)) != 0) return false;
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool send_text(int fd, const std::string &text, const std::atomic<bool> &stopping) {
    return send_all(fd, text.data(), text.size(), stopping);
}

HttpRequestSeen parse_head(const std::string &head) {
    HttpRequestSeen request;
    std::size_t line_end = head.find("\r\n");
    const std::string first = head.substr(0, line_end);
    const std::size_t space1 = first.find(' ');
    const std::size_t space2 = first.find(' ', space1 == std::string::npos ? 0 : space1 + 1);
    if (space1 == std::string::npos || space2 == std::string::npos) return request;
    request.method = first.substr(0, space1);
    std::string target = first.substr(space1 + 1, space2 - space1 - 1);
    const std::size_t question = target.find('?');
    if (question != std::string::npos) {
        request.query = target.substr(question + 1);
        target.resize(question);
    }
    request.path = target;
    std::size_t at = line_end == std::string::npos ? head.size() : line_end + 2;
    while (at < head.size()) {
        const std::size_t end = head.find("\r\n", at);
        const std::string line = head.substr(at, end == std::string::npos ? std::string::npos : end - at);
        if (line.empty()) break;
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos)
            request.headers[halden::ascii_folded(line.substr(0, colon))] =
                std::string(halden::ascii_trim(std::string_view(line).substr(colon + 1)));
        if (end == std::string::npos) break;
        at = end + 2;
    }
    return request;
}

}  // namespace

void LoopbackHttpServer::serve_connection(int fd) {
    std::string buffer;
    const bool have_head = read_until(fd, &buffer, stopping_, kMaxHead,
                                      [](const std::string &b) { return b.find("\r\n\r\n") != std::string::npos; });
    if (have_head) {
        const std::size_t head_end = buffer.find("\r\n\r\n") + 4;
        HttpRequestSeen request = parse_head(buffer.substr(0, head_end));
        std::string body = buffer.substr(head_end);
        std::size_t length = 0;
        auto cl = request.headers.find("content-length");
        if (cl != request.headers.end()) length = std::strtoull(cl->second.c_str(), nullptr, 10);
        auto expect = request.headers.find("expect");
        if (expect != request.headers.end() && halden::ascii_equal_folded(expect->second, "100-continue") &&
            body.size() < length)
            send_text(fd, "HTTP/1.1 100 Continue\r\n\r\n", stopping_);
        const bool complete = length <= kMaxRequestBody &&
                              read_until(fd, &body, stopping_, kMaxRequestBody,
                                         [length](const std::string &b) { return b.size() >= length; });
        if (complete && !request.method.empty()) {
            body.resize(length);
            request.body = std::move(body);
            HttpHandler handler;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                ++counts_[request.path];
                last_[request.path] = request;
                auto it = routes_.find(request.path);
                if (it != routes_.end()) handler = it->second;
            }
            HttpReply reply;
            if (handler) {
                reply = handler(request);
            } else {
                reply.status = 404;
                reply.body = "not found";
            }
            answer(fd, reply);
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    open_fds_.erase(std::remove(open_fds_.begin(), open_fds_.end(), fd), open_fds_.end());
    ::close(fd);
}

void LoopbackHttpServer::answer(int fd, const HttpReply &reply) {
    if (reply.delay_ms > 0 && wait_stopping(reply.delay_ms)) return;
    switch (reply.mode) {
        case HttpReply::Mode::drop:
            return;
        case HttpReply::Mode::garbage:
            send_text(fd, reply.body, stopping_);
            return;
        default:
            break;
    }
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + reason(reply.status) + "\r\n";
    for (const auto &header : reply.headers) head += header.first + ": " + header.second + "\r\n";
    head += "Connection: close\r\n";
    if (reply.mode == HttpReply::Mode::truncated)
        head += "Content-Length: " + std::to_string(reply.body.size() + 1000) + "\r\n";
    else if (reply.mode == HttpReply::Mode::normal)
        head += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    head += "\r\n";
    if (!send_text(fd, head, stopping_)) return;
    if (reply.mode != HttpReply::Mode::endless) {
        send_text(fd, reply.body, stopping_);
        return;
    }
    // Endless: until the client hangs up, the server stops, or the limit.
    const std::string chunk(64 * 1024, 'x');
    for (std::uint64_t sent = 0; sent < kEndlessLimit; sent += chunk.size())
        if (!send_text(fd, chunk, stopping_)) return;
}

}  // namespace halden::test
