// Decode speed of a CRL body: the object decoder's two-pass call of
// X509_CERT_CRL_TO_BE_SIGNED against OpenSSL's d2i_X509_CRL of the same bytes.
//
// The CRLs are made at start-up: v2 lists with 10 to 1,000,000 entries, each
// entry a random positive 16-byte serial, a random UTCTime between 2015 and
// 2024 and a reason code extension, with a CRL number extension, signed with a
// fresh P-256 key. The entries are written as DER directly (the X509_CRL API
// takes many seconds for a million entries) and the to-be-signed bytes are
// signed with EVP, so the result is an ordinary signed CRL that OpenSSL
// parses and verifies.
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

namespace {

using Bytes = std::vector<unsigned char>;

void put_length(Bytes &out, size_t n) {
    if (n < 0x80) {
        out.push_back(static_cast<unsigned char>(n));
        return;
    }
    unsigned char tmp[8];
    int k = 0;
    while (n != 0) {
        tmp[k++] = static_cast<unsigned char>(n & 0xFF);
        n >>= 8;
    }
    out.push_back(static_cast<unsigned char>(0x80 | k));
    while (k > 0) out.push_back(tmp[--k]);
}

void put_tlv(Bytes &out, unsigned char tag, const Bytes &content) {
    out.push_back(tag);
    put_length(out, content.size());
    out.insert(out.end(), content.begin(), content.end());
}

void put_utc_time(Bytes &out, time_t t) {
    struct tm tm {};
    gmtime_r(&t, &tm);
    char text[64];
    std::snprintf(text, sizeof text, "%02d%02d%02d%02d%02d%02dZ", tm.tm_year % 100, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    out.push_back(0x17);
    out.push_back(13);
    out.insert(out.end(), text, text + 13);
}

struct Signer {
    EVP_PKEY *key = nullptr;
    Signer() {
        key = EVP_EC_gen("P-256");
        if (key == nullptr) {
            std::fprintf(stderr, "key generation failed\n");
            std::exit(1);
        }
    }
    ~Signer() { EVP_PKEY_free(key); }
    Signer(const Signer &) = delete;
    Signer &operator=(const Signer &) = delete;

    Bytes sign(const Bytes &tbs) const {
        EVP_MD_CTX *ctx = EVP_MD_CTX_new();
        size_t len = 0;
        Bytes sig;
        if (EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key) == 1 &&
            EVP_DigestSign(ctx, nullptr, &len, tbs.data(), tbs.size()) == 1) {
            sig.resize(len);
            if (EVP_DigestSign(ctx, sig.data(), &len, tbs.data(), tbs.size()) == 1)
                sig.resize(len);
            else
                sig.clear();
        }
        EVP_MD_CTX_free(ctx);
        if (sig.empty()) {
            std::fprintf(stderr, "signing failed\n");
            std::exit(1);
        }
        return sig;
    }
};

Bytes make_crl(const Signer &signer, size_t entries, std::mt19937_64 &rng) {
    static const Bytes ecdsa_sha256 = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};
    static const unsigned char reasons[] = {1, 1, 1, 4, 4, 5, 3, 0, 9, 2, 6};

    auto *name = X509_NAME_new();  // X509_NAME is also a structure constant of maren
    X509_NAME_add_entry_by_txt(name, "C", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("DE"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("Halden Bench"), -1,
                               -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>("Halden Bench Issuing CA"), -1, -1, 0);
    unsigned char *name_der = nullptr;
    const int name_len = i2d_X509_NAME(name, &name_der);
    X509_NAME_free(name);

    Bytes list;
    list.reserve(entries * 50);
    const time_t first = 1420070400;  // 2015-01-01
    const time_t span = 10 * 365 * 86400;
    for (size_t i = 0; i < entries; ++i) {
        Bytes entry;
        entry.reserve(48);
        entry.push_back(0x02);
        entry.push_back(16);
        uint64_t a = rng(), b = rng();
        unsigned char serial[16];
        std::memcpy(serial, &a, 8);
        std::memcpy(serial + 8, &b, 8);
        serial[0] = static_cast<unsigned char>((serial[0] & 0x7F) | 0x10);  // positive and minimal
        entry.insert(entry.end(), serial, serial + 16);
        put_utc_time(entry, first + static_cast<time_t>(rng() % span));
        const unsigned char reason_ext[] = {0x30, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x1D, 0x15,
                                            0x04, 0x03, 0x0A, 0x01, reasons[rng() % sizeof reasons]};
        entry.insert(entry.end(), reason_ext, reason_ext + sizeof reason_ext);
        put_tlv(list, 0x30, entry);
    }

    Bytes body = {0x02, 0x01, 0x01};
    body.insert(body.end(), ecdsa_sha256.begin(), ecdsa_sha256.end());
    body.insert(body.end(), name_der, name_der + name_len);
    OPENSSL_free(name_der);
    const time_t now = 1735689600;  // 2025-01-01
    put_utc_time(body, now);
    put_utc_time(body, now + 7 * 86400);
    if (entries != 0) put_tlv(body, 0x30, list);
    Bytes().swap(list);
    const Bytes crl_number = {0x30, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x1D, 0x14, 0x04, 0x03, 0x02, 0x01, 0x00};
    Bytes ext;
    ext.insert(ext.end(), crl_number.begin(), crl_number.end());
    ext[ext.size() - 1] = static_cast<unsigned char>(entries & 0x7F);
    put_tlv(body, 0xA0, ext);

    Bytes tbs;
    put_tlv(tbs, 0x30, body);
    Bytes().swap(body);
    const Bytes sig = signer.sign(tbs);

    Bytes bits = {0x00};
    bits.insert(bits.end(), sig.begin(), sig.end());
    Bytes outer = std::move(tbs);
    outer.insert(outer.end(), ecdsa_sha256.begin(), ecdsa_sha256.end());
    put_tlv(outer, 0x03, bits);
    Bytes crl;
    crl.reserve(outer.size() + 8);
    put_tlv(crl, 0x30, outer);
    return crl;
}

// The bytes must be a valid signed CRL for OpenSSL, else the comparison
// would time its error path.
void check_with_openssl(const Bytes &crl, size_t entries, EVP_PKEY *key) {
    const unsigned char *p = crl.data();
    X509_CRL *parsed = d2i_X509_CRL(nullptr, &p, static_cast<long>(crl.size()));
    const bool ok = parsed != nullptr && p == crl.data() + crl.size() &&
                    static_cast<size_t>(sk_X509_REVOKED_num(X509_CRL_get_REVOKED(parsed))) == entries &&
                    X509_CRL_verify(parsed, key) == 1;
    X509_CRL_free(parsed);
    if (!ok) {
        std::fprintf(stderr, "generated CRL of %zu entries is not accepted by OpenSSL\n", entries);
        std::exit(1);
    }
}

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
        Signer signer;
        std::mt19937_64 rng(20240611);
        for (size_t n : sizes) {
            Sample s;
            s.der = make_crl(signer, n, rng);
            check_with_openssl(s.der, n, signer.key);
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
