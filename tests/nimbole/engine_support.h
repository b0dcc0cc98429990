/* The engine tests' side of things: a window on the engine's private state,
 * a private platform home for the program, memory stores, and a capture of
 * the narrative stream. */
#ifndef HALDEN_TESTS_NIMBOLE_ENGINE_SUPPORT_H
#define HALDEN_TESTS_NIMBOLE_ENGINE_SUPPORT_H

#include <iostream>
#include <sstream>
#include <string>

#include "nimbole/chain_builder.h"
#include "nimbole/chain_trace.h"
#include "tests/nimbole/item_contexts.h"

namespace halden::nimbole {

class CertChainBuilderPeer {
public:
    explicit CertChainBuilderPeer(CertChainBuilder &engine) : e(engine) {}
    std::set<CertificateEntry> &certs() { return e.certs; }
    std::set<CertificateEntry> &crl_excluded() { return e.crl_excluded; }
    HCERTSTORE &blacklist_store() { return e.blacklist_store; }
    FILETIME &current_time() { return e.current_time; }
    std::uint64_t &elapsed_ms() { return e.elapsed_ms; }
    CERT_USAGE_MATCH *usage() const { return e.usage; }
    bool owns_caches() const { return e.owns_caches; }
    const void *cert_cache() const { return e.cert_cache; }
    std::size_t cert_cache_size() const { return e.cert_cache->size(); }
    std::size_t crl_cache_size() const { return e.crl_cache->size(); }
    const std::string &indent() const { return e.indent; }

private:
    CertChainBuilder &e;
};

}  // namespace halden::nimbole

namespace engine_test {

/* The program's platform home, a temporary directory made before main. */
const std::string &test_home();

inline halden::nimbole::StoreRef memory_store() {
    return halden::nimbole::StoreRef(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr));
}

/* std::cout of one scope, with the narrative switched on. */
class NarrativeCapture {
public:
    NarrativeCapture() : saved_(std::cout.rdbuf(text_.rdbuf())) { halden::nimbole::TS_PRINT_CHAIN_DETAIL = true; }
    ~NarrativeCapture() {
        halden::nimbole::TS_PRINT_CHAIN_DETAIL = false;
        std::cout.rdbuf(saved_);
    }
    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf *saved_;
};

}  // namespace engine_test

#endif
