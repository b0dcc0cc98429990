// Speed of the store finds the warm revocation check leans on:
//   - by key identifier and by subject in a memory store of 10,000
//     certificates (one P-256 key, subjects, serials and key identifiers
//     all different);
//   - CRL_FIND_EXISTING of a 1,000,000-entry CRL (about 47 MB) in a store
//     that holds it: the query being the stored object, the bytes of a
//     context handed back through CertAddEncodedCRLToStore, and a separate
//     copy of the same bytes (the digest is worked out once per object,
//     the bytes are compared on every find);
//   - opening and closing "Root" once it is loaded.
// The large CRL is written as DER directly with a placeholder signature:
// finds never check signatures.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "bench/crl_maker.h"

#include "tests/platform/store_test_pki.h"

namespace {

using store_test::Bytes;

// A signed CRL of random 16-byte serials, each with a reason code.
Bytes large_crl(size_t entries) {
    static crl_maker::Signer signer;
    std::mt19937_64 random(42);
    return crl_maker::make_random_crl(signer, entries, random);
}

struct CertificateStore {
    static constexpr int kCount = 10000;
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    std::vector<Bytes> key_ids;
    std::vector<Bytes> subjects;

    CertificateStore() {
        const store_test::Key key = store_test::make_key();
        for (int i = 0; i < kCount; ++i) {
            const std::string subject = "subject " + std::to_string(i);
            Bytes id(20);
            for (int b = 0; b < 20; ++b) id[size_t(b)] = static_cast<unsigned char>((i * 131 + b * 7) >> (b % 3));
            id[0] = static_cast<unsigned char>(i & 0xFF);
            id[1] = static_cast<unsigned char>(i >> 8);
            const Bytes der = store_test::make_cert(store_test::CertPlan(subject, "issuer", i + 1, key, key).key_id(id));
            CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), DWORD(der.size()),
                                             CERT_STORE_ADD_ALWAYS, nullptr);
            key_ids.push_back(id);
            subjects.push_back(store_test::name_der(subject));
        }
    }
};

CertificateStore &certificates() {
    static CertificateStore *store = new CertificateStore;
    return *store;
}

void find_by(benchmark::State &state, DWORD type, const std::vector<Bytes> &keys) {
    HCERTSTORE store = certificates().store;
    size_t i = 0;
    for (auto _ : state) {
        const Bytes &key = keys[(i++ * 7919) % keys.size()];
        CRYPT_DATA_BLOB blob{DWORD(key.size()), const_cast<BYTE *>(key.data())};
        PCCERT_CONTEXT found = CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, type, &blob, nullptr);
        if (found == nullptr) state.SkipWithError("not found");
        CertFreeCertificateContext(found);
    }
}

void BM_FindByKeyIdentifier(benchmark::State &state) {
    find_by(state, CERT_FIND_KEY_IDENTIFIER, certificates().key_ids);
}
BENCHMARK(BM_FindByKeyIdentifier);

void BM_FindBySubject(benchmark::State &state) { find_by(state, CERT_FIND_SUBJECT_NAME, certificates().subjects); }
BENCHMARK(BM_FindBySubject);

struct LargeCrl {
    Bytes der = large_crl(1000000);
    PCCRL_CONTEXT crl = CertCreateCRLContext(X509_ASN_ENCODING, der.data(), DWORD(der.size()));
    PCCRL_CONTEXT copy = CertCreateCRLContext(X509_ASN_ENCODING, der.data(), DWORD(der.size()));
    HCERTSTORE added = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    HCERTSTORE encoded = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);

    LargeCrl() {
        CertAddCRLContextToStore(added, crl, CERT_STORE_ADD_ALWAYS, nullptr);
        CertAddEncodedCRLToStore(encoded, X509_ASN_ENCODING, crl->pbCrlEncoded, crl->cbCrlEncoded,
                                 CERT_STORE_ADD_ALWAYS, nullptr);
        // Neighbours of other lengths, as a store of CRLs has.
        const store_test::Key key = store_test::make_key();
        for (long i = 0; i < 20; ++i) {
            const Bytes other = store_test::make_crl(store_test::CrlPlan("other " + std::to_string(i), key, {i}));
            for (HCERTSTORE store : {added, encoded})
                CertAddEncodedCRLToStore(store, X509_ASN_ENCODING, other.data(), DWORD(other.size()),
                                         CERT_STORE_ADD_ALWAYS, nullptr);
        }
    }
};

LargeCrl &large() {
    static LargeCrl *crl = new LargeCrl;
    return *crl;
}

void find_existing(benchmark::State &state, HCERTSTORE store, PCCRL_CONTEXT query) {
    state.counters["bytes"] = double(query->cbCrlEncoded);
    for (auto _ : state) {
        PCCRL_CONTEXT found = CertFindCRLInStore(store, 0, 0, CRL_FIND_EXISTING, query, nullptr);
        if (found == nullptr) state.SkipWithError("not found");
        CertFreeCRLContext(found);
    }
}

void BM_FindExistingLargeCrl_StoredObject(benchmark::State &state) {
    find_existing(state, large().added, large().crl);
}
BENCHMARK(BM_FindExistingLargeCrl_StoredObject);

void BM_FindExistingLargeCrl_AddedFromItsBytes(benchmark::State &state) {
    find_existing(state, large().encoded, large().crl);
}
BENCHMARK(BM_FindExistingLargeCrl_AddedFromItsBytes);

void BM_FindExistingLargeCrl_SeparateCopy(benchmark::State &state) {
    find_existing(state, large().added, large().copy);
}
BENCHMARK(BM_FindExistingLargeCrl_SeparateCopy)->Unit(benchmark::kMillisecond);

void BM_OpenLoadedRootStore(benchmark::State &state) {
    char pattern[] = "/tmp/maren-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) state.SkipWithError("mkdtemp");
    setenv("MAREN_HOME", pattern, 1);
    HCERTSTORE first = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0x1C000, L"Root");
    for (auto _ : state) {
        HCERTSTORE root = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0x1C000, L"Root");
        if (root == nullptr) state.SkipWithError("open");
        CertCloseStore(root, 0);
    }
    CertCloseStore(first, 0);
    std::system((std::string("rm -rf ") + pattern).c_str());
}
BENCHMARK(BM_OpenLoadedRootStore);

}  // namespace

BENCHMARK_MAIN();
