#include "bench/crl_maker.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace crl_maker {

void put_length(Bytes &out, std::size_t n) {
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

void put_utc_time(Bytes &out, std::time_t t) {
    struct tm tm {};
    gmtime_r(&t, &tm);
    char text[64];
    std::snprintf(text, sizeof text, "%02d%02d%02d%02d%02d%02dZ", tm.tm_year % 100, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    out.push_back(0x17);
    out.push_back(13);
    out.insert(out.end(), text, text + 13);
}

Signer::Signer() {
    key_ = EVP_EC_gen("P-256");
    if (key_ == nullptr) {
        std::fprintf(stderr, "key generation failed\n");
        std::exit(1);
    }
}

Signer::~Signer() { EVP_PKEY_free(key_); }

Bytes Signer::sign(const Bytes &tbs) const {
    EVP_MD_CTX *ctx = EVP_MD_CTX_new();
    size_t len = 0;
    Bytes sig;
    if (EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_) == 1 &&
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

namespace {

Bytes issuer_name(const std::string &common_name) {
    auto *name = X509_NAME_new();  // X509_NAME is also a structure constant of maren
    X509_NAME_add_entry_by_txt(name, "C", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("DE"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("Halden Bench"), -1,
                               -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char *>(common_name.c_str()),
                               -1, -1, 0);
    unsigned char *der = nullptr;
    const int length = i2d_X509_NAME(name, &der);
    X509_NAME_free(name);
    Bytes out(der, der + (length > 0 ? length : 0));
    OPENSSL_free(der);
    return out;
}

void put_entry(Bytes &list, const Entry &entry) {
    Bytes body;
    body.reserve(48);
    put_tlv(body, 0x02, entry.serial);
    put_utc_time(body, entry.revoked);
    if (entry.reason >= 0) {
        const unsigned char reason_ext[] = {0x30, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x1D, 0x15, 0x04,
                                            0x03, 0x0A, 0x01, static_cast<unsigned char>(entry.reason)};
        body.insert(body.end(), reason_ext, reason_ext + sizeof reason_ext);
    }
    put_tlv(list, 0x30, body);
}

// The list of entries is handed in already encoded, so that the random
// CRLs need not hold a million Entry values.
Bytes assemble(const Signer &signer, const Plan &plan, Bytes &&list) {
    static const Bytes ecdsa_sha256 = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};
    Bytes body = {0x02, 0x01, 0x01};
    body.insert(body.end(), ecdsa_sha256.begin(), ecdsa_sha256.end());
    const Bytes name = issuer_name(plan.issuer_common_name);
    body.insert(body.end(), name.begin(), name.end());
    put_utc_time(body, plan.this_update);
    put_utc_time(body, plan.next_update);
    if (!list.empty()) put_tlv(body, 0x30, list);
    Bytes().swap(list);
    const Bytes crl_number = {0x30, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x1D, 0x14, 0x04, 0x03, 0x02, 0x01, 0x00};
    Bytes ext(crl_number);
    ext[ext.size() - 1] = static_cast<unsigned char>(plan.crl_number & 0x7F);
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

}  // namespace

Bytes make_crl(const Signer &signer, const Plan &plan) {
    Bytes list;
    for (const Entry &entry : plan.entries) put_entry(list, entry);
    return assemble(signer, plan, std::move(list));
}

Bytes make_random_crl(const Signer &signer, std::size_t entries, std::mt19937_64 &rng) {
    static const int reasons[] = {1, 1, 1, 4, 4, 5, 3, 0, 9, 2, 6};
    const std::time_t first = 1420070400;  // 2015-01-01
    const std::time_t span = 10 * 365 * 86400;
    Bytes list;
    list.reserve(entries * 50);
    Entry entry;
    entry.serial.resize(16);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::uint64_t a = rng(), b = rng();
        std::memcpy(entry.serial.data(), &a, 8);
        std::memcpy(entry.serial.data() + 8, &b, 8);
        entry.serial[0] = static_cast<unsigned char>((entry.serial[0] & 0x7F) | 0x10);  // positive and minimal
        entry.revoked = first + static_cast<std::time_t>(rng() % span);
        entry.reason = reasons[rng() % (sizeof reasons / sizeof reasons[0])];
        put_entry(list, entry);
    }
    Plan plan;
    plan.crl_number = static_cast<long>(entries & 0x7F);
    return assemble(signer, plan, std::move(list));
}

namespace {
std::size_t revoked_count(X509_CRL *crl) {
    STACK_OF(X509_REVOKED) *revoked = X509_CRL_get_REVOKED(crl);
    return revoked ? static_cast<std::size_t>(sk_X509_REVOKED_num(revoked)) : 0;
}
}  // namespace

void check_with_openssl(const Bytes &crl, std::size_t entries, const Signer &signer) {
    const unsigned char *p = crl.data();
    X509_CRL *parsed = d2i_X509_CRL(nullptr, &p, static_cast<long>(crl.size()));
    const bool ok = parsed != nullptr && p == crl.data() + crl.size() &&
                    revoked_count(parsed) == entries &&
                    X509_CRL_verify(parsed, signer.key()) == 1;
    X509_CRL_free(parsed);
    if (!ok) {
        std::fprintf(stderr, "generated CRL of %zu entries is not accepted by OpenSSL\n", entries);
        std::exit(1);
    }
}

}  // namespace crl_maker
