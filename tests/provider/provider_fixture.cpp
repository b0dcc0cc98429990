#include "tests/provider/provider_fixture.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "provider/revocation_provider.h"
#include "provider/trace_context.h"

namespace provider_test {
namespace {

// Every test program gets a platform home of its own, so that no test sees
// the user's stores or registry, and parallel runs don't meet.
class TemporaryHome {
public:
    TemporaryHome() {
        const char* base = getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/halden-provider-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data()) != nullptr) {
            path_ = buffer.data();
            setenv("MAREN_HOME", path_.c_str(), 1);
            unsetenv("MAREN_REGISTRY");
        }
    }
    ~TemporaryHome() {
        if (!path_.empty()) {
            nftw(
                path_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 16,
                FTW_DEPTH | FTW_PHYS);
        }
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

TemporaryHome g_home;

}  // namespace

std::string test_home() {
    return g_home.path();
}

StorePtr memory_store() {
    return StorePtr(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr));
}

CertPtr add_to_store(void* store, const Bytes& der) {
    const CERT_CONTEXT* added = nullptr;
    if (!CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                                          CERT_STORE_ADD_ALWAYS, &added)) {
        throw std::runtime_error("adding a certificate to a store");
    }
    return CertPtr(added);
}

CertPtr free_context(const Bytes& der) {
    return CertPtr(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
}

OcspResponder::OcspResponder() {
    server_.route("/ocsp", [this](const halden::test::HttpRequestSeen& request) { return reply_to(request); });
}

void OcspResponder::answer(long serial, const provider_pki::Identity& signer, const Bytes& signer_cert,
                           provider_pki::ResponseSpec plan) {
    std::lock_guard<std::mutex> lock(mutex_);
    Answer& a = answers_[serial];
    a.signed_response = true;
    a.signer = signer;
    a.signer_cert = signer_cert;
    a.plan = plan;
}

void OcspResponder::answer_raw(long serial, halden::test::HttpReply reply) {
    std::lock_guard<std::mutex> lock(mutex_);
    Answer& a = answers_[serial];
    a.signed_response = false;
    a.raw = std::move(reply);
}

halden::test::HttpReply OcspResponder::reply_to(const halden::test::HttpRequestSeen& request) {
    const Bytes body(request.body.begin(), request.body.end());
    const long serial = provider_pki::first_requested_serial(body);
    Answer answer;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = answers_.find(serial);
        if (found == answers_.end()) {
            halden::test::HttpReply missing;
            missing.status = 404;
            return missing;
        }
        answer = found->second;
    }
    if (!answer.signed_response) {
        return answer.raw;
    }
    const Bytes response = provider_pki::ocsp_response_to(body, *answer.signer, answer.signer_cert, answer.plan);
    return halden::test::HttpReply::ok(std::string(response.begin(), response.end()), "application/ocsp-response");
}

TestPki::TestPki() {
    provider_pki::CertOptions root_options;
    root_options.valid_from = -30L * 86400;
    root = provider_pki::self_signed(root_id, root_options);
    provider_pki::CertOptions intermediate_options;
    intermediate_options.ca = true;
    intermediate_options.valid_from = -20L * 86400;
    intermediate_options.ocsp_url = responder.url();
    intermediate = provider_pki::issue(intermediate_id, root_id, intermediate_options);
    responder.answer(provider_pki::serial_of(intermediate), root_id, root);
    store = memory_store();
    root_context = add_to_store(store.get(), root);
    intermediate_context = add_to_store(store.get(), intermediate);
}

Bytes TestPki::leaf(provider_pki::ResponseSpec plan, provider_pki::CertOptions options) {
    const Bytes cert = unanswered_leaf(options);
    responder.answer(provider_pki::serial_of(cert), intermediate_id, intermediate, plan);
    return cert;
}

Bytes TestPki::unanswered_leaf(provider_pki::CertOptions options) {
    if (options.ocsp_url.empty()) {
        options.ocsp_url = responder.url();
    }
    static int counter = 0;
    return provider_pki::issue(provider_pki::Identity("Provider Test Leaf " + std::to_string(++counter)),
                               intermediate_id, options);
}

BOOL verify(const std::vector<const CERT_CONTEXT*>& certs, DWORD flags, CERT_REVOCATION_PARA* para,
            CERT_REVOCATION_STATUS* status) {
    std::vector<const CERT_CONTEXT*> copy = certs;
    return _HaldenModule.CertDllVerifyRevocation(static_cast<DWORD>(copy.size()), copy.data(), flags, para, status);
}

CERT_REVOCATION_STATUS fresh_status() {
    CERT_REVOCATION_STATUS status{};
    status.cbSize = sizeof status;
    // Values the provider must overwrite or leave, never zero by accident.
    status.dwIndex = 0xAAAA;
    status.dwError = 0xBBBB;
    status.dwReason = 0xCCCC;
    return status;
}

CERT_REVOCATION_PARA para_with(CERT_REVOCATION_CRL_INFO* crl_info) {
    CERT_REVOCATION_PARA para{};
    para.cbSize = sizeof para;
    para.pCrlInfo = crl_info;
    return para;
}

FILETIME filetime_of(std::time_t unix_seconds) {
    const std::uint64_t ticks = (static_cast<std::uint64_t>(unix_seconds) + 11644473600ull) * 10000000ull;
    FILETIME time;
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

// A new file each time: the platform keeps its trace file open by name.
ScopedTrace::ScopedTrace() {
    static int counter = 0;
    path_ = test_home() + "/trace-" + std::to_string(++counter) + ".log";
    setenv("MAREN_TRACE", "halden=0x7f,marencheck=0x7f", 1);
    setenv("MAREN_TRACE_FILE", path_.c_str(), 1);
    db_ctx = host_print_init(nullptr, "halden", 0, 0x7f);
    marencheck_db_ctx = host_print_init(nullptr, "marencheck", 0, 0x7f);
}

ScopedTrace::~ScopedTrace() {
    unsetenv("MAREN_TRACE");
    unsetenv("MAREN_TRACE_FILE");
    db_ctx = host_print_init(nullptr, "halden", 0, 0x7f);
    marencheck_db_ctx = host_print_init(nullptr, "marencheck", 0, 0x7f);
}

std::string ScopedTrace::text() const {
    std::ifstream in(path_, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace provider_test
