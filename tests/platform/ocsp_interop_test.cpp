/* The client against OpenSSL's own responder ("openssl ocsp -index"), run
 * as a child process for the test: GET and POST, a nonce, a delegated
 * responder, and the checks halden makes on what comes back. Skipped when
 * the responder can't be started. */
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/ocsp_test_support.h"

extern char **environ;

using namespace ocsp_test;

namespace {

/* "openssl ocsp" answering from an index file on a port it picks; its
 * first line of output names the port. */
class OpenSslResponder {
  public:
    explicit OpenSslResponder(const std::vector<std::string> &args) {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        std::vector<char *> argv;
        for (const std::string &arg : args) argv.push_back(const_cast<char *>(arg.c_str()));
        argv.push_back(nullptr);
        if (posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        output_ = out[0];
        if (pid_ > 0) port_ = read_port();
    }
    ~OpenSslResponder() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
        if (output_ >= 0) close(output_);
    }
    OpenSslResponder(const OpenSslResponder &) = delete;
    OpenSslResponder &operator=(const OpenSslResponder &) = delete;

    int port() const { return port_; }

  private:
    /* "ACCEPT [::]:PORT PID=..." or "ACCEPT 0.0.0.0:PORT PID=...". */
    int read_port() {
        std::string text;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd fd{output_, POLLIN, 0};
            if (poll(&fd, 1, 100) <= 0) continue;
            char buffer[256];
            const ssize_t n = read(output_, buffer, sizeof buffer);
            if (n <= 0) return 0;
            text.append(buffer, static_cast<std::size_t>(n));
            const std::size_t accept = text.find("ACCEPT ");
            const std::size_t end = text.find(' ', accept + 7);
            if (accept == std::string::npos || end == std::string::npos) continue;
            const std::string address = text.substr(accept + 7, end - accept - 7);
            return std::atoi(address.substr(address.rfind(':') + 1).c_str());
        }
        return 0;
    }

    pid_t pid_ = -1;
    int output_ = -1;
    int port_ = 0;
};

std::string hex_serial(long serial) {
    char text[32];
    std::snprintf(text, sizeof text, "%lX", serial);
    std::string out(text);
    return out.size() % 2 != 0 ? "0" + out : out;
}

void write_file(const std::string &path, const std::string &text) { std::ofstream(path) << text; }

class OcspInterop : public ::testing::Test {
  protected:
    void SetUp() override { use_test_home(); }
};

TEST_F(OcspInterop, OpenSslResponderAnswersGetAndPostAndItsAnswersCheckOut) {
    Pki pki;
    const Identity delegate_key(unique("OpenSSL responder"));
    const Bytes delegate = pki.delegate(delegate_key);
    const Identity revoked_key(unique("revoked leaf"));
    test_pki::CertOptions options;
    options.ca = false;

    host_test::TempDir dir;
    write_file(dir.file("ca.pem"), test_pki::pem(pki.ca, "CERTIFICATE"));
    write_file(dir.file("responder.pem"), test_pki::pem(delegate, "CERTIFICATE"));
    write_file(dir.file("responder.key"), ocsp_pki::private_key_pem(delegate_key));
    write_file(dir.file("index.txt.attr"), "unique_subject = no\n");

    // The leaves need the port in their URL, the index needs their serials:
    // serials are chosen first.
    const long good_serial = next_serial();
    const long revoked_serial = next_serial();
    write_file(dir.file("index.txt"),
               "V\t491231235959Z\t\t" + hex_serial(good_serial) + "\tunknown\t/O=Halden Test/CN=" +
                   pki.leaf_key.name() + "\n" + "R\t491231235959Z\t240101000000Z,keyCompromise\t" +
                   hex_serial(revoked_serial) + "\tunknown\t/O=Halden Test/CN=" + revoked_key.name() + "\n");

    OpenSslResponder responder({"openssl", "ocsp", "-index", dir.file("index.txt"), "-port", "0", "-rsigner",
                                dir.file("responder.pem"), "-rkey", dir.file("responder.key"), "-CA",
                                dir.file("ca.pem"), "-nmin", "5", "-ignore_err"});
    if (responder.port() == 0) GTEST_SKIP() << "openssl ocsp could not be started as a responder";
    const std::string url = "http://127.0.0.1:" + std::to_string(responder.port()) + "/";

    const Cert good = context_of(pki.leaf_with_url(url, good_serial));
    options.serial = revoked_serial;
    options.ocsp_url = url;
    const Cert revoked = context_of(test_pki::issue(revoked_key, pki.ca_key, options));

    const Store stores(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    ASSERT_TRUE(CertAddCertificateContextToStore(stores.get(), pki.ca_ctx.get(), CERT_STORE_ADD_ALWAYS, nullptr));
    void *store_list[] = {stores.get()};

    struct Case {
        const char *name;
        const CERT_CONTEXT *leaf;
        bool post_only;
        bool nonce;
        int status;
    } cases[] = {
        {"good by GET", good.get(), false, false, 0},
        {"revoked by POST with a nonce", revoked.get(), true, true, 1},
    };
    for (const Case &c : cases) {
        CRequest request;
        prepare(request, pki, c.leaf);
        request.put_UseNonce(c.nonce);
        CResponse response;
        ASSERT_NO_THROW(response = request.Send(c.post_only)) << c.name;
        ASSERT_EQ(response.get_Status(), 0) << c.name;
        const Cert signer(response.get_OCSPCertificate(store_list, 1));
        ASSERT_NE(signer, nullptr) << c.name;
        EXPECT_EQ(response.Verify(signer.get(), nullptr), 0) << c.name;
        EXPECT_EQ(response.VerifyCertificate(signer.get(), false, store_list, 1), 0) << c.name;
        const long index = response.get_SRIndexByCertID(request.get_SRCertID(0));
        ASSERT_GE(index, 0) << c.name;
        EXPECT_EQ(response.VerifySR(static_cast<unsigned long>(index), nullptr, nullptr), 0) << c.name;
        EXPECT_EQ(response.get_SRStatus(static_cast<unsigned long>(index)), c.status) << c.name;
        EXPECT_EQ(response.get_SRRevTime(static_cast<unsigned long>(index)) != nullptr, c.status == 1) << c.name;
        EXPECT_NE(response.get_SRNextUpdate(static_cast<unsigned long>(index)), nullptr) << c.name;
    }
}

}  // namespace
