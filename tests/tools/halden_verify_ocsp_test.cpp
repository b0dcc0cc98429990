// halden-verify with the real provider on the OCSP road: a stapled response
// decides without the network, a live responder (`openssl ocsp` on
// 127.0.0.1) answers good and revoked, and with no OCSP and no CRL the
// status is not established.
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/host_test_support.h"
#include "tests/platform/test_pki.h"
#include "tests/tools/ocsp_fixture.h"
#include "tests/tools/tool_process.h"

using ocsp_fixture::Status;
using test_pki::Bytes;
using test_pki::Identity;
using tool_test::contains;
using tool_test::ToolRun;

namespace {

// A port of 127.0.0.1 that nothing listens on, as far as anyone can know.
int free_port() {
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(s, reinterpret_cast<sockaddr*>(&address), size);
    getsockname(s, reinterpret_cast<sockaddr*>(&address), &size);
    close(s);
    return ntohs(address.sin_port);
}

// A CA that signs its own OCSP responses, and three leaves: two whose
// responder is on `port` (serial 11 good, 12 revoked for key compromise)
// and one with no responder at all.
struct OcspPki {
    explicit OcspPki(int port) : url("http://127.0.0.1:" + std::to_string(port)) {}
    std::string url;
    Identity ca{"OCSP CA"}, good{"Good Leaf"}, revoked{"Revoked Leaf"}, silent{"Silent Leaf"};
    Bytes ca_cert = test_pki::self_signed(ca);
    Bytes good_cert = leaf(good, 0x11, url), revoked_cert = leaf(revoked, 0x12, url);
    Bytes silent_cert = leaf(silent, 0x13, "");

    Bytes leaf(const Identity& subject, long serial, const std::string& ocsp_url) {
        test_pki::CertOptions options;
        options.serial = serial;
        options.ca = false;
        options.ocsp_url = ocsp_url;
        return test_pki::issue(subject, ca, options);
    }
};

// `openssl ocsp` answering from the CA's index until the test ends.
class Responder {
public:
    Responder(const host_test::TempDir& dir, const OcspPki& pki, int port) {
        host_test::write_file(dir.file("ca.pem"), test_pki::pem(pki.ca_cert, "CERTIFICATE"));
        host_test::write_file(dir.file("ca.key"), ocsp_fixture::key_pem(pki.ca));
        host_test::write_file(dir.file("index.txt"), ocsp_fixture::index_line(pki.good_cert, Status::good) +
                                                         ocsp_fixture::index_line(pki.revoked_cert, Status::revoked));
        const std::string log = dir.file("responder.log");
        pid_ = fork();
        if (pid_ == 0) {
            if (freopen(log.c_str(), "w", stdout) == nullptr || dup2(fileno(stdout), 2) < 0) _exit(127);
            execlp("openssl", "openssl", "ocsp", "-index", dir.file("index.txt").c_str(), "-port",
                   std::to_string(port).c_str(), "-rsigner", dir.file("ca.pem").c_str(), "-rkey",
                   dir.file("ca.key").c_str(), "-CA", dir.file("ca.pem").c_str(), "-ndays", "1", nullptr);
            _exit(127);
        }
        // It says ACCEPT once it listens. A probing connection would not
        // do: one closed without a request sets it spinning.
        for (int i = 0; i < 200 && !contains(host_test::read_file(log), "ACCEPT"); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ~Responder() {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;

private:
    pid_t pid_ = -1;
};

class HaldenVerifyOcspTest : public ::testing::Test {
protected:
    ToolRun run(std::vector<std::string> args) {
        args.insert(args.begin(), {HALDEN_VERIFY_PATH, "--home", home_.path(), "--provider", HALDEN_PROVIDER_PATH});
        return tool_test::run_tool(args, {}, scratch_.path());
    }
    std::string file(const std::string& name, const Bytes& der) {
        host_test::write_file(scratch_.file(name), std::string(der.begin(), der.end()));
        return scratch_.file(name);
    }
    std::string staple(const Bytes& leaf, Status status) {
        return file("staple.der", ocsp_fixture::response(pki_.ca, pki_.ca_cert, leaf, status));
    }

    const int port_ = free_port();
    const OcspPki pki_{port_};
    host_test::TempDir home_, scratch_;
};

TEST_F(HaldenVerifyOcspTest, WithNeitherOcspNorCrlTheStatusIsNotEstablished) {
    // The first certificate passes by its staple; the second has nothing.
    const ToolRun r = run({"--json", "--ocsp-response", staple(pki_.good_cert, Status::good), "--issuer",
                           file("ca.der", pki_.ca_cert), file("good.der", pki_.good_cert),
                           file("silent.der", pki_.silent_cert)});
    EXPECT_EQ(r.status, 2) << r.err;
    EXPECT_TRUE(contains(r.out, R"("result": "unknown", "index": 1, "error": "0x80092012", )"
                                R"("error_name": "CRYPT_E_NO_REVOCATION_CHECK")"))
        << r.out;
}

TEST_F(HaldenVerifyOcspTest, StapledResponseDecidesWithoutTheNetwork) {
    // Nothing listens at the leaves' responder.
    const std::string ca = file("ca.der", pki_.ca_cert);
    const ToolRun good = run({"--store", ca, "--ocsp-response", staple(pki_.good_cert, Status::good),
                              file("good.der", pki_.good_cert)});
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_EQ(good.out, "good: CN=Good Leaf, O=Halden Test\n");

    const ToolRun revoked = run({"--json", "--store", ca, "--ocsp-response",
                                 staple(pki_.revoked_cert, Status::revoked), file("revoked.der", pki_.revoked_cert)});
    EXPECT_EQ(revoked.status, 1) << revoked.err;
    EXPECT_TRUE(contains(revoked.out, R"({"result": "revoked", "index": 0, "error": "0x80092010", )"
                                      R"("error_name": "CRYPT_E_REVOKED", "reason": 1, )"
                                      R"("reason_name": "keyCompromise", "freshness_seconds": null, "crl": null})"))
        << revoked.out;
}

TEST_F(HaldenVerifyOcspTest, LiveResponderAnswersGoodAndRevokedAndItsAnswerComesBackAsACrl) {
    const Responder responder(scratch_, pki_, port_);
    // The issuer is found in the additional store the tool passes.
    const std::string ca = file("ca.der", pki_.ca_cert);
    const ToolRun good = run({"--store", ca, file("good.der", pki_.good_cert)});
    EXPECT_EQ(good.status, 0) << good.out << good.err;
    EXPECT_EQ(good.out, "good: CN=Good Leaf, O=Halden Test\n");

    const std::string revoked_file = file("revoked.der", pki_.revoked_cert);
    const ToolRun revoked = run({"--store", ca, revoked_file});
    EXPECT_EQ(revoked.status, 1) << revoked.out << revoked.err;
    EXPECT_EQ(revoked.out, "revoked: CN=Revoked Leaf, O=Halden Test\n");

    // The synthetic CRL names the responder as issuer and carries the
    // response, whose reason the tool reads; the provider hands no entry.
    const ToolRun info = run({"--json", "--crl-info", "--store", ca, revoked_file});
    EXPECT_EQ(info.status, 1) << info.err;
    EXPECT_TRUE(contains(info.out, R"("reason": 1, "reason_name": "keyCompromise", "freshness_seconds": null, )"
                                   R"("crl": {"issuer": "CN=OCSP CA, O=Halden Test", "this_update": ")"))
        << info.out;
    EXPECT_TRUE(contains(info.out, R"(, "entry": null}})")) << info.out;
}

}  // namespace
