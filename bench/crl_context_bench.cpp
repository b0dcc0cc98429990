// CertCreateCRLContext against OpenSSL's d2i_X509_CRL on the same bytes, at
// 10,000, 100,000 and 1,000,000 entries (CRLs from crl_maker: random 16-byte
// serials, a reason code each). Both sides parse the whole CRL into a form
// their library answers queries from, and free it again.
// Run: build/bench/bench/crl_context_bench
#include <benchmark/benchmark.h>

#include <openssl/x509.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

#include <maren/maren.h>

#include "bench/crl_maker.h"

namespace {

std::map<int64_t, crl_maker::Bytes> g_crls;

const crl_maker::Bytes& crl_of(int64_t entries) {
    auto it = g_crls.find(entries);
    if (it == g_crls.end()) {
        static crl_maker::Signer signer;
        std::mt19937_64 rng(static_cast<std::mt19937_64::result_type>(entries));
        crl_maker::Bytes der = crl_maker::make_random_crl(signer, static_cast<std::size_t>(entries), rng);
        crl_maker::check_with_openssl(der, static_cast<std::size_t>(entries), signer);
        it = g_crls.emplace(entries, std::move(der)).first;
    }
    return it->second;
}

void BM_CertCreateCRLContext(benchmark::State& state) {
    // A private copy per run: a context made from bytes maren already holds
    // would be shared instead of parsed.
    const crl_maker::Bytes der = crl_of(state.range(0));
    for (auto _ : state) {
        PCCRL_CONTEXT crl =
            CertCreateCRLContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
        if (crl == nullptr) {
            state.SkipWithError("CertCreateCRLContext failed");
            break;
        }
        benchmark::DoNotOptimize(crl->pCrlInfo->cCRLEntry);
        CertFreeCRLContext(crl);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(der.size()));
}

void BM_OpenSSLd2iX509CRL(benchmark::State& state) {
    const crl_maker::Bytes& der = crl_of(state.range(0));
    for (auto _ : state) {
        const unsigned char* p = der.data();
        X509_CRL* crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
        if (crl == nullptr) {
            state.SkipWithError("d2i_X509_CRL failed");
            break;
        }
        benchmark::DoNotOptimize(X509_CRL_get_REVOKED(crl));
        X509_CRL_free(crl);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(der.size()));
}

BENCHMARK(BM_CertCreateCRLContext)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenSSLd2iX509CRL)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
