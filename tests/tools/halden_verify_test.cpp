// halden-verify as a user runs it, against a stand-in provider that scripts
// the answer and records the arguments: the command line, the call the tool
// makes, and how it reads each answer of the provider's contract.
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/host_test_support.h"
#include "tests/platform/test_pki.h"
#include "tests/tools/ocsp_fixture.h"
#include "tests/tools/tool_process.h"

using test_pki::Bytes;
using test_pki::Identity;
using tool_test::contains;
using tool_test::ToolRun;

namespace {

// A CA (serial 0C), two leaves it issued (0A, 0B), one more certificate
// (0D) and the CA's CRL revoking serial 7 for key compromise.
struct Pki {
    Identity ca{"Verify CA"}, a{"Leaf A"}, b{"Leaf B"}, d{"Other"};
    Bytes ca_cert = test_pki::self_signed(ca, options(0x0C, true));
    Bytes a_cert = test_pki::issue(a, ca, options(0x0A, false));
    Bytes b_cert = test_pki::issue(b, ca, options(0x0B, false));
    Bytes d_cert = test_pki::issue(d, ca, options(0x0D, false));
    Bytes ca_crl = test_pki::crl(ca, {{7, 1}});

    static test_pki::CertOptions options(long serial, bool ca) {
        test_pki::CertOptions o;
        o.serial = serial;
        o.ca = ca;
        return o;
    }
};

class HaldenVerifyTest : public ::testing::Test {
protected:
    ToolRun run(std::vector<std::string> args, std::vector<std::string> env = {}) {
        args.insert(args.begin(), {HALDEN_VERIFY_PATH, "--home", home_.path(), "--provider", FAKE_PROVIDER_PATH});
        env.push_back("HALDEN_FAKE_SEEN=" + seen_path());
        return tool_test::run_tool(args, env, scratch_.path());
    }
    std::string file(const std::string& name, const Bytes& der) {
        host_test::write_file(scratch_.file(name), std::string(der.begin(), der.end()));
        return scratch_.file(name);
    }
    std::string seen_path() const { return scratch_.file("seen"); }
    std::string seen() const { return host_test::read_file(seen_path()); }

    host_test::ScopedEnv no_trace_{"TS_PRINT_CHAIN_DETAIL", std::nullopt};
    const Pki pki_;
    host_test::TempDir home_, scratch_;
};

TEST_F(HaldenVerifyTest, UsageErrorsExitWith64BeforeTheProviderIsAsked) {
    const std::string cert = file("a.der", pki_.a_cert), crl = file("ca.crl", pki_.ca_crl);
    const std::string junk = file("junk.pem", Bytes{'n', 'o', 'p', 'e'});
    const struct {
        std::vector<std::string> args;
        const char* message;
    } cases[] = {
        {{"--bogus", cert}, "unknown option --bogus"},
        {{cert, "--timeout"}, "--timeout needs a value"},
        {{"--timeout", "soon", cert}, "--timeout needs milliseconds"},
        {{"--time", "2024-02-30T12:00:00Z", cert}, "--time needs a UTC time"},
        {{"--json"}, "no certificate file given"},
        {{scratch_.file("missing.pem")}, "missing.pem: cannot read"},
        {{junk}, "junk.pem: not a certificate, CRL or PKCS#7 file"},
        {{crl}, "ca.crl: holds a CRL"},
        {{"--crl", cert, cert}, "a.der: holds a certificate; --crl takes CRLs"},
        {{"--ocsp-response", cert, cert}, "a.der: not a DER OCSP response"},
        {{"--provider", junk, cert}, "cannot load the provider"},
    };
    for (const auto& c : cases) {
        const ToolRun r = run(c.args);
        EXPECT_EQ(r.status, 64) << c.message;
        EXPECT_TRUE(contains(r.err, c.message)) << r.err;
        EXPECT_TRUE(contains(r.err, "Try 'halden-verify --help'."));
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(seen(), "") << c.message;
    }
}

TEST_F(HaldenVerifyTest, HelpShowsTheInterfaceAndTheExitStatuses) {
    const ToolRun r = run({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(contains(r.out, "usage: halden-verify [OPTIONS] CERT...\n"));
    EXPECT_TRUE(contains(r.out, "  --ocsp-response FILE    a DER OCSP response stapled to the first certificate"));
    EXPECT_TRUE(contains(r.out, "Exit status: 0 every certificate good; 1 a certificate revoked;"));
}

TEST_F(HaldenVerifyTest, HandsTheProviderEveryCertificateAndOptionAsThePlatformWould) {
    const Bytes stapled = ocsp_fixture::response(pki_.ca, pki_.ca_cert, pki_.a_cert, ocsp_fixture::Status::good);
    // Leaf B comes in a PEM file after leaf A; the store file holds 0D and
    // the CRL, and the CA comes as --issuer.
    host_test::write_file(scratch_.file("ab.pem"),
                          test_pki::pem(pki_.a_cert, "CERTIFICATE") + test_pki::pem(pki_.b_cert, "CERTIFICATE"));
    host_test::write_file(scratch_.file("store.pem"),
                          test_pki::pem(pki_.d_cert, "CERTIFICATE") + test_pki::pem(pki_.ca_crl, "X509 CRL"));
    const ToolRun r = run({"--trace", "--chain", "--cache-only", "--accumulative-timeout", "--timeout", "750", "--time",
                           "2024-05-01T12:00:00Z", "--issuer", file("ca.der", pki_.ca_cert), "--store",
                           scratch_.file("store.pem"), "--crl", file("ca.crl", pki_.ca_crl), "--crl-info",
                           "--ocsp-response", file("staple.der", stapled), scratch_.file("ab.pem")});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(seen(), "call 10001 1 flags 7\n"
                      "sizes 1 1\n"
                      "certs 0A 0B\n"
                      "stapled " + std::to_string(stapled.size()) + "\n"
                      "issuer 0C\n"
                      "stores 1: 0A 0B 0C 0D crls 1\n"
                      "crl store: crls 1\n"
                      "time 133590384000000000\n"
                      "timeout 750\n"
                      "crl info 1\n"
                      "trace at load 1, home " + home_.path() + "\n");

    // Without options nothing is offered: no CRL store (an empty one would
    // hide the Root store's CRLs), no time, no issuer.
    EXPECT_EQ(run({file("a.der", pki_.a_cert)}).status, 0);
    EXPECT_EQ(seen(), "call 10001 1 flags 0\nsizes 1 1\ncerts 0A\nstapled 0\nissuer none\n"
                      "stores 1: 0A crls 0\ncrl store: none\ntime none\ntimeout 0\ncrl info 0\n"
                      "trace at load 0, home " + home_.path() + "\n");
}

TEST_F(HaldenVerifyTest, ReadsEachAnswerOfTheProvidersContract) {
    const std::string a = file("a.der", pki_.a_cert), b = file("b.der", pki_.b_cert);
    const struct {
        const char* answer;
        int status;
        const char* human;
        const char* json;
    } cases[] = {
        {"good", 0, "good: CN=Leaf A, O=Halden Test\ngood: CN=Leaf B, O=Halden Test\n",
         R"({"result": "good", "index": 0, "error": "0x00000000", "error_name": "ERROR_SUCCESS", "reason": null, )"
         R"("reason_name": null, "freshness_seconds": null, "crl": null})"},
        {"revoked 1 1 42", 1,
         "good: CN=Leaf A, O=Halden Test\nrevoked: CN=Leaf B, O=Halden Test (keyCompromise)\n"
         "freshness: the CRL was 42 seconds old\n",
         R"({"result": "revoked", "index": 1, "error": "0x80092010", "error_name": "CRYPT_E_REVOKED", "reason": 1, )"
         R"("reason_name": "keyCompromise", "freshness_seconds": 42, "crl": null})"},
        {"unknown 0", 2,
         "unknown: CN=Leaf A, O=Halden Test (status not established: CRYPT_E_NO_REVOCATION_CHECK (0x80092012))\n",
         R"({"result": "unknown", "index": 0, "error": "0x80092012", "error_name": "CRYPT_E_NO_REVOCATION_CHECK", )"
         R"("reason": null, "reason_name": null, "freshness_seconds": null, "crl": null})"},
        // The refusal comes as the result, the last error being untouched.
        {"invalid", 70, "invalid-argument: the provider refused the arguments (E_INVALIDARG (0x80070057))\n",
         R"({"result": "invalid-argument", "index": 0, "error": "0x80070057", "error_name": "E_INVALIDARG", )"
         R"("reason": null, "reason_name": null, "freshness_seconds": null, "crl": null})"},
    };
    for (const auto& c : cases) {
        const std::vector<std::string> env = {std::string("HALDEN_FAKE_ANSWER=") + c.answer};
        const ToolRun human = run({a, b}, env), json = run({"--json", a, b}, env);
        EXPECT_EQ(human.status, c.status) << c.answer << human.err;
        EXPECT_EQ(human.out, c.human);
        EXPECT_EQ(json.status, c.status) << c.answer;
        EXPECT_EQ(json.out, std::string(c.json) + "\n");
    }

    const ToolRun odd = run({a}, {"HALDEN_FAKE_ANSWER=answer 7"});
    EXPECT_EQ(odd.status, 70);
    EXPECT_TRUE(contains(odd.err, "the provider answered 0x00000007"));
}

TEST_F(HaldenVerifyTest, ShowsTheCrlThatCameBackAndReleasesIt) {
    const std::vector<std::string> env = {"HALDEN_FAKE_ANSWER=revoked 0 1 5",
                                          "HALDEN_FAKE_CRL=" + file("ca.crl", pki_.ca_crl)};
    const std::string a = file("a.der", pki_.a_cert);
    const ToolRun json = run({"--crl-info", "--json", a}, env);
    EXPECT_EQ(json.status, 1) << json.err;
    const std::string time = R"("\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")";
    EXPECT_TRUE(std::regex_search(json.out, std::regex(R"("crl": \{"issuer": "CN=Verify CA, O=Halden Test", )"
                                                       R"("this_update": )" + time + R"(, "next_update": )" + time +
                                                       R"(, "entry": \{"serial": "07", "revocation_date": )" + time +
                                                       R"(\}\}\}\n$)")))
        << json.out;

    EXPECT_TRUE(contains(seen(), "crls released 1\n")) << seen();

    const ToolRun human = run({"--crl-info", a}, env);
    EXPECT_EQ(human.status, 1);
    EXPECT_TRUE(contains(human.out, "crl: issued by CN=Verify CA, O=Halden Test, this update ")) << human.out;
    EXPECT_TRUE(contains(human.out, "crl entry: serial 07, revoked "));
}

}  // namespace
