// The maren side of the provider's tests: owners of contexts and stores, a
// PKI of root, intermediate and leaves whose OCSP address points at a
// loopback responder, and trace capture.
#ifndef HALDEN_TESTS_PROVIDER_PROVIDER_FIXTURE_H
#define HALDEN_TESTS_PROVIDER_PROVIDER_FIXTURE_H

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "tests/provider/provider_pki.h"
#include "tests/support/loopback_http_server.h"

namespace provider_test {

using provider_pki::Bytes;

struct CertFree {
    void operator()(const CERT_CONTEXT* cert) const { CertFreeCertificateContext(cert); }
};
using CertPtr = std::unique_ptr<const CERT_CONTEXT, CertFree>;

struct CrlFree {
    void operator()(const CRL_CONTEXT* crl) const { CertFreeCRLContext(crl); }
};
using CrlPtr = std::unique_ptr<const CRL_CONTEXT, CrlFree>;

struct StoreClose {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using StorePtr = std::unique_ptr<void, StoreClose>;

StorePtr memory_store();
// A context in `store` (so that the platform finds its neighbours there).
CertPtr add_to_store(void* store, const Bytes& der);
CertPtr free_context(const Bytes& der);

// An OCSP responder on 127.0.0.1 that answers by the serial number of the
// first certificate asked about; a serial it was not told about gets 404.
class OcspResponder {
public:
    OcspResponder();
    std::string url() const { return server_.url("/ocsp"); }

    void answer(long serial, const provider_pki::Identity& signer, const Bytes& signer_cert,
                provider_pki::ResponseSpec plan = {});
    // An HTTP answer that is no OCSP response at all.
    void answer_raw(long serial, halden::test::HttpReply reply);
    int requests() const { return server_.requests("/ocsp"); }

private:
    struct Answer {
        bool signed_response = true;
        std::optional<provider_pki::Identity> signer;
        Bytes signer_cert;
        provider_pki::ResponseSpec plan;
        halden::test::HttpReply raw;
    };
    halden::test::HttpReply reply_to(const halden::test::HttpRequestSeen& request);

    mutable std::mutex mutex_;
    std::map<long, Answer> answers_;
    halden::test::LoopbackHttpServer server_;
};

// Root -> intermediate -> leaves. The intermediate and the leaves name the
// responder; the responder answers with the issuer's own key.
class TestPki {
public:
    TestPki();

    // A leaf whose responder answers as `plan` says.
    Bytes leaf(provider_pki::ResponseSpec plan = {}, provider_pki::CertOptions options = {});
    // A leaf with the OCSP address but no answer registered.
    Bytes unanswered_leaf(provider_pki::CertOptions options = {});

    provider_pki::Identity root_id{"Provider Test Root"};
    provider_pki::Identity intermediate_id{"Provider Test Intermediate"};
    OcspResponder responder;
    Bytes root;
    Bytes intermediate;
    // Holds root and intermediate; leaves made into it find their chain.
    StorePtr store;
    CertPtr root_context;
    CertPtr intermediate_context;
};

// Calls the provider routine as the export would.
BOOL verify(const std::vector<const CERT_CONTEXT*>& certs, DWORD flags, CERT_REVOCATION_PARA* para,
            CERT_REVOCATION_STATUS* status);

CERT_REVOCATION_STATUS fresh_status();
CERT_REVOCATION_PARA para_with(CERT_REVOCATION_CRL_INFO* crl_info = nullptr);

FILETIME filetime_of(std::time_t unix_seconds);

// Turns the provider's and the platform check's traces on into a file for
// one scope.
class ScopedTrace {
public:
    ScopedTrace();
    ~ScopedTrace();
    ScopedTrace(const ScopedTrace&) = delete;
    ScopedTrace& operator=(const ScopedTrace&) = delete;
    std::string text() const;

private:
    std::string path_;
};

// The process's platform home, a temporary directory.
std::string test_home();

}  // namespace provider_test

#endif
