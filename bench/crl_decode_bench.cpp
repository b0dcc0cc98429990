// Decode speed of a CRL body: the object decoder's two-pass call of
// X509_CERT_CRL_TO_BE_SIGNED against OpenSSL's d2i_X509_CRL of the same bytes.
//
// The CRLs are made at start-up by crl_maker: v2 lists with 10 to 1,000,000
// entries, each a random 16-byte serial, a revocation time and a reason
// code, signed with a fresh P-256 key.
#include <benchmark/benchmark.h>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <decode/decode.h>
#include <maren/maren.h>

#include "bench/crl_maker.h"

namespace {

using crl_maker::Bytes;

struct Sample {
    Bytes der;
    std::vector<unsigned char> area;  // preallocated and touched once
};

std::map<size_t, Sample> g_samples;

DWORD measure(const Bytes &der) {
    DWORD cb = 0;
    if (!TSDecodeObject(0, X509_CERT_CRL_TO_BE_SIGNED, der.data(), static_cast<DWORD>(der.size()), 0, nullptr,
                        &cb)) {
        std::fprintf(stderr, "decoder refused the generated CRL (last error 0x%08" PRIX32 ")\n", GetLastError());
        std::exit(1);
    }
    return cb;
}

// One decode before timing: it must give every entry, the last one with its
// reason code (entries is never 0 here).
void check_decoded(Sample &s, size_t entries) {
    DWORD cb = static_cast<DWORD>(s.area.size());
    const BOOL ok = TSDecodeObject(0, X509_CERT_CRL_TO_BE_SIGNED, s.der.data(), static_cast<DWORD>(s.der.size()), 0,
                                   s.area.data(), &cb);
    CRL_INFO info;
    std::memcpy(&info, s.area.data(), sizeof info);
    if (!ok || info.cCRLEntry != entries || info.rgCRLEntry[entries - 1].cExtension != 1) {
        std::fprintf(stderr, "decoder gave a wrong result for %zu entries\n", entries);
        std::exit(1);
    }
}

void BM_HaldenDecode(benchmark::State &state) {
    Sample &s = g_samples.at(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        DWORD cb = static_cast<DWORD>(s.area.size());
        const BOOL ok = TSDecodeObject(0, X509_CERT_CRL_TO_BE_SIGNED, s.der.data(), static_cast<DWORD>(s.der.size()),
                                       0, s.area.data(), &cb);
        if (!ok) {
            state.SkipWithError("decode failed");
            break;
        }
        benchmark::DoNotOptimize(s.area.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(s.der.size()));
}

void BM_OpenSSLDecode(benchmark::State &state) {
    Sample &s = g_samples.at(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        const unsigned char *p = s.der.data();
        X509_CRL *crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(s.der.size()));
        if (crl == nullptr) {
            state.SkipWithError("d2i_X509_CRL failed");
            break;
        }
        benchmark::DoNotOptimize(crl);
        X509_CRL_free(crl);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(s.der.size()));
}

// Keeps the time per iteration of each run, to print the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
   public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0 || run.error_occurred) continue;
            const std::string name = run.benchmark_name();
            const size_t slash = name.find('/');
            if (slash == std::string::npos) continue;
            const size_t entries = std::strtoull(name.c_str() + slash + 1, nullptr, 10);
            const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            if (name.compare(0, slash, "BM_HaldenDecode") == 0) halden_[entries] = seconds;
            if (name.compare(0, slash, "BM_OpenSSLDecode") == 0) openssl_[entries] = seconds;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintSummary() const {
        std::printf("\n%10s %12s %14s %14s %8s\n", "entries", "DER bytes", "halden MB/s", "OpenSSL MB/s", "ratio");
        for (const auto &[entries, seconds] : halden_) {
            const auto other = openssl_.find(entries);
            if (other == openssl_.end()) continue;
            const double mb = static_cast<double>(g_samples.at(entries).der.size()) / 1e6;
            std::printf("%10zu %12zu %14.0f %14.0f %8.1f\n", entries, g_samples.at(entries).der.size(),
                        mb / seconds, mb / other->second, other->second / seconds);
        }
    }

   private:
    std::map<size_t, double> halden_;
    std::map<size_t, double> openssl_;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    const size_t sizes[] = {10, 10000, 100000, 1000000};
    {
        crl_maker::Signer signer;
        std::mt19937_64 rng(20240611);
        for (size_t n : sizes) {
            Sample s;
            s.der = crl_maker::make_random_crl(signer, n, rng);
            crl_maker::check_with_openssl(s.der, n, signer);
            s.area.assign(measure(s.der), 0);
            check_decoded(s, n);
            g_samples.emplace(n, std::move(s));
        }
    }
    for (size_t n : sizes) {
        for (auto *bench : {benchmark::RegisterBenchmark("BM_HaldenDecode", BM_HaldenDecode),
                            benchmark::RegisterBenchmark("BM_OpenSSLDecode", BM_OpenSSLDecode)})
            bench->Arg(static_cast<int64_t>(n))->UseRealTime()->Unit(benchmark::kMicrosecond);
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintSummary();
    benchmark::Shutdown();
    return 0;
}
