// The serial index of a CRL context against OpenSSL's X509_CRL_get0_by_serial,
// at 10,000, 100,000 and 1,000,000 entries (CRLs from crl_maker: random
// 16-byte serials, a reason code each):
//   - BM_IndexBuild: the first maren_crl_find_entry on a fresh context, which
//     builds the index;
//   - BM_OpenSSLFirstLookup: the first X509_CRL_get0_by_serial on a freshly
//     parsed X509_CRL, which sorts the entries;
//   - BM_IndexLookup / BM_OpenSSLLookup: later lookups, of listed serials in
//     random order (Hit) and of serials not listed (Miss);
//   - BM_ResidentMemory: the growth of the resident set around
//     CertCreateCRLContext and the first lookup, against d2i_X509_CRL and its
//     first lookup, as counters (bytes and multiples of the DER size);
//   - BM_RandomLoadLatency: one dependent load from a random place in 64 MB,
//     the floor under a lookup in a large list that isn't cached.
// Run: build-bench-net/bench/crl_index_bench
#include <benchmark/benchmark.h>

#include <malloc.h>
#include <openssl/asn1.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <vector>

#include <maren/maren.h>

#include "bench/crl_maker.h"

namespace {

using crl_maker::Bytes;

struct Sample {
    Bytes der;
    // Serials of listed entries in random order, little-endian as contexts
    // hold them, and the same as OpenSSL integers.
    std::vector<Bytes> hits;
    std::vector<ASN1_INTEGER *> hits_openssl;
    std::vector<Bytes> misses;
    std::vector<ASN1_INTEGER *> misses_openssl;
};

std::map<int64_t, Sample> g_samples;
// Enough queries that a 1,000,000-entry list's lookups miss the caches.
constexpr size_t kQueries = 65536;

ASN1_INTEGER *openssl_integer(const Bytes &little_endian) {
    Bytes big(little_endian.rbegin(), little_endian.rend());
    ASN1_INTEGER *value = ASN1_INTEGER_new();
    ASN1_STRING_set(value, big.data(), static_cast<int>(big.size()));
    return value;
}

PCCRL_CONTEXT create_context(const Bytes &der) {
    PCCRL_CONTEXT crl = CertCreateCRLContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
    if (crl == nullptr) {
        std::fprintf(stderr, "CertCreateCRLContext failed: 0x%08x\n", static_cast<unsigned>(GetLastError()));
        std::exit(1);
    }
    return crl;
}

X509_CRL *parse_openssl(const Bytes &der) {
    const unsigned char *p = der.data();
    X509_CRL *crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
    if (crl == nullptr) {
        std::fprintf(stderr, "d2i_X509_CRL failed\n");
        std::exit(1);
    }
    return crl;
}

const CRL_ENTRY *find(PCCRL_CONTEXT crl, const Bytes &serial) {
    CRYPT_INTEGER_BLOB blob{static_cast<DWORD>(serial.size()), const_cast<BYTE *>(serial.data())};
    return maren_crl_find_entry(crl, &blob);
}

Sample make_sample(const crl_maker::Signer &signer, size_t entries, std::mt19937_64 &rng) {
    Sample s;
    s.der = crl_maker::make_random_crl(signer, entries, rng);
    crl_maker::check_with_openssl(s.der, entries, signer);
    PCCRL_CONTEXT crl = create_context(s.der);
    std::vector<DWORD> order(entries);
    for (size_t i = 0; i < entries; ++i) order[i] = static_cast<DWORD>(i);
    std::shuffle(order.begin(), order.end(), rng);
    for (size_t i = 0; i < kQueries; ++i) {
        const CRYPT_INTEGER_BLOB &serial = crl->pCrlInfo->rgCRLEntry[order[i % entries]].SerialNumber;
        s.hits.emplace_back(serial.pbData, serial.pbData + serial.cbData);
        Bytes miss(16);
        for (auto &b : miss) b = static_cast<unsigned char>(rng());
        miss[15] = static_cast<unsigned char>((miss[15] & 0x7F) | 0x20);
        s.misses.push_back(miss);
    }
    for (const Bytes &b : s.hits) s.hits_openssl.push_back(openssl_integer(b));
    for (const Bytes &b : s.misses) s.misses_openssl.push_back(openssl_integer(b));
    // Both must agree with the list before anything is timed.
    X509_CRL *parsed = parse_openssl(s.der);
    for (size_t i = 0; i < 256; ++i) {
        X509_REVOKED *revoked = nullptr;
        if (find(crl, s.hits[i]) == nullptr || find(crl, s.misses[i]) != nullptr ||
            X509_CRL_get0_by_serial(parsed, &revoked, s.hits_openssl[i]) != 1 ||
            X509_CRL_get0_by_serial(parsed, &revoked, s.misses_openssl[i]) != 0) {
            std::fprintf(stderr, "lookups disagree with the list of %zu entries\n", entries);
            std::exit(1);
        }
    }
    X509_CRL_free(parsed);
    CertFreeCRLContext(crl);
    return s;
}

void BM_IndexBuild(benchmark::State &state) {
    const Sample &s = g_samples.at(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        PCCRL_CONTEXT crl = create_context(s.der);
        state.ResumeTiming();
        benchmark::DoNotOptimize(find(crl, s.hits[0]));
        state.PauseTiming();
        CertFreeCRLContext(crl);
        state.ResumeTiming();
    }
}

void BM_OpenSSLFirstLookup(benchmark::State &state) {
    const Sample &s = g_samples.at(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        X509_CRL *crl = parse_openssl(s.der);
        state.ResumeTiming();
        X509_REVOKED *revoked = nullptr;
        benchmark::DoNotOptimize(X509_CRL_get0_by_serial(crl, &revoked, s.hits_openssl[0]));
        state.PauseTiming();
        X509_CRL_free(crl);
        state.ResumeTiming();
    }
}

template <bool kHit>
void BM_IndexLookup(benchmark::State &state) {
    const Sample &s = g_samples.at(state.range(0));
    const std::vector<Bytes> &queries = kHit ? s.hits : s.misses;
    PCCRL_CONTEXT crl = create_context(s.der);
    find(crl, queries[0]);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(crl, queries[i]));
        i = (i + 1) % kQueries;
    }
    CertFreeCRLContext(crl);
}

template <bool kHit>
void BM_OpenSSLLookup(benchmark::State &state) {
    const Sample &s = g_samples.at(state.range(0));
    const std::vector<ASN1_INTEGER *> &queries = kHit ? s.hits_openssl : s.misses_openssl;
    X509_CRL *crl = parse_openssl(s.der);
    X509_REVOKED *revoked = nullptr;
    X509_CRL_get0_by_serial(crl, &revoked, queries[0]);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(X509_CRL_get0_by_serial(crl, &revoked, queries[i]));
        i = (i + 1) % kQueries;
    }
    X509_CRL_free(crl);
}

// The machine's own cost of one load from a random place in 64 MB, each
// address depending on the last: what a lookup in a large list that is
// not in the caches can't go below.
void BM_RandomLoadLatency(benchmark::State &state) {
    const size_t n = 64u * 1024 * 1024 / sizeof(size_t);
    std::vector<size_t> next(n), order(n);
    for (size_t i = 0; i < n; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937_64(1));
    for (size_t i = 0; i < n; ++i) next[order[i]] = order[(i + 1) % n];
    size_t p = 0;
    for (auto _ : state) {
        p = next[p];
        benchmark::DoNotOptimize(p);
    }
}

long resident_bytes() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

// Runs once: the process's resident set before and after each side loads
// the CRL and answers its first question.
void BM_ResidentMemory(benchmark::State &state) {
    const Sample &s = g_samples.at(state.range(0));
    double maren_growth = 0, openssl_growth = 0, index_growth = 0;
    for (auto _ : state) {
        malloc_trim(0);
        long before = resident_bytes();
        PCCRL_CONTEXT crl = create_context(s.der);
        const long decoded = resident_bytes();
        benchmark::DoNotOptimize(find(crl, s.hits[0]));
        const long indexed = resident_bytes();
        maren_growth = static_cast<double>(indexed - before);
        index_growth = static_cast<double>(indexed - decoded);
        CertFreeCRLContext(crl);

        malloc_trim(0);
        before = resident_bytes();
        X509_CRL *parsed = parse_openssl(s.der);
        X509_REVOKED *revoked = nullptr;
        benchmark::DoNotOptimize(X509_CRL_get0_by_serial(parsed, &revoked, s.hits_openssl[0]));
        openssl_growth = static_cast<double>(resident_bytes() - before);
        X509_CRL_free(parsed);
    }
    const double der = static_cast<double>(s.der.size());
    state.counters["der_MB"] = der / 1e6;
    state.counters["maren_MB"] = maren_growth / 1e6;
    state.counters["maren_x_der"] = maren_growth / der;
    state.counters["index_MB"] = index_growth / 1e6;
    state.counters["openssl_MB"] = openssl_growth / 1e6;
    state.counters["openssl_x_der"] = openssl_growth / der;
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    const size_t sizes[] = {10000, 100000, 1000000};
    {
        crl_maker::Signer signer;
        std::mt19937_64 rng(20240611);
        for (size_t n : sizes) g_samples.emplace(static_cast<int64_t>(n), make_sample(signer, n, rng));
    }
    // Memory first, before the heap holds what the other runs leave.
    for (size_t n : sizes)
        benchmark::RegisterBenchmark("BM_ResidentMemory", BM_ResidentMemory)
            ->Arg(static_cast<int64_t>(n))
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_RandomLoadLatency/64MB", BM_RandomLoadLatency);
    for (size_t n : sizes) {
        const int64_t arg = static_cast<int64_t>(n);
        const int64_t rounds = n >= 1000000 ? 3 : 10;
        benchmark::RegisterBenchmark("BM_IndexBuild", BM_IndexBuild)->Arg(arg)->Iterations(rounds)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("BM_OpenSSLFirstLookup", BM_OpenSSLFirstLookup)
            ->Arg(arg)
            ->Iterations(rounds)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("BM_IndexLookup/Hit", BM_IndexLookup<true>)->Arg(arg);
        benchmark::RegisterBenchmark("BM_IndexLookup/Miss", BM_IndexLookup<false>)->Arg(arg);
        benchmark::RegisterBenchmark("BM_OpenSSLLookup/Hit", BM_OpenSSLLookup<true>)->Arg(arg);
        benchmark::RegisterBenchmark("BM_OpenSSLLookup/Miss", BM_OpenSSLLookup<false>)->Arg(arg);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (auto &entry : g_samples) {
        for (ASN1_INTEGER *v : entry.second.hits_openssl) ASN1_INTEGER_free(v);
        for (ASN1_INTEGER *v : entry.second.misses_openssl) ASN1_INTEGER_free(v);
    }
    return 0;
}
