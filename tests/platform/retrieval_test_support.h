/* Shared pieces of the retrieval tests: CRLs in force now, a retrieval
 * call with its outcome, and elapsed time. */
#ifndef MAREN_TESTS_PLATFORM_RETRIEVAL_TEST_SUPPORT_H
#define MAREN_TESTS_PLATFORM_RETRIEVAL_TEST_SUPPORT_H

#include <chrono>
#include <ctime>
#include <string>

#include <maren/maren.h>

#include "bench/crl_maker.h"
#include "tests/platform/store_test_support.h"

namespace retrieval_test {

using store_test::Bytes;

/* A signed CRL in force from an hour ago until `valid_seconds` from now,
 * listing `serials` (small positive numbers) with reason keyCompromise. */
inline Bytes crl_in_force(const crl_maker::Signer &signer, std::initializer_list<unsigned char> serials,
                          long crl_number = 1, std::time_t valid_seconds = 7 * 86400) {
    crl_maker::Plan plan;
    plan.this_update = std::time(nullptr) - 3600;
    plan.next_update = std::time(nullptr) + valid_seconds;
    plan.crl_number = crl_number;
    for (unsigned char serial : serials) plan.entries.push_back(crl_maker::Entry{{serial}, plan.this_update, 1});
    return crl_maker::make_crl(signer, plan);
}

inline std::string text(const Bytes &bytes) { return std::string(bytes.begin(), bytes.end()); }

struct Outcome {
    BOOL ok = FALSE;
    DWORD error = 0;
    void *object = nullptr;
};

inline Outcome retrieve(const std::string &url, LPCSTR oid, DWORD flags, DWORD timeout = 5000,
                        CRYPT_RETRIEVE_AUX_INFO *aux = nullptr) {
    Outcome outcome;
    SetLastError(0);
    outcome.ok = CryptRetrieveObjectByUrlA(url.c_str(), oid, flags, timeout, &outcome.object, nullptr, nullptr,
                                           nullptr, aux);
    outcome.error = GetLastError();
    return outcome;
}

/* A CRL retrieval, its context held. */
inline store_test::Crl retrieve_crl(const std::string &url, DWORD flags, DWORD *error = nullptr,
                                    CRYPT_RETRIEVE_AUX_INFO *aux = nullptr) {
    Outcome outcome = retrieve(url, CONTEXT_OID_CRL, flags, 5000, aux);
    if (error) *error = outcome.ok ? 0 : outcome.error;
    return store_test::Crl(static_cast<PCCRL_CONTEXT>(outcome.object));
}

inline long long elapsed_ms(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace retrieval_test

#endif
