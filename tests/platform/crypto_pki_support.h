// PKI artifacts for the codec and crypto tests, made with OpenSSL at test
// time: keys of every family maren verifies, self-signed certificates and
// CRLs signed with them, and the platform structures decoded from them.
#ifndef MAREN_TESTS_PLATFORM_CRYPTO_PKI_SUPPORT_H
#define MAREN_TESTS_PLATFORM_CRYPTO_PKI_SUPPORT_H

// The GOST algorithms exist only behind the (deprecated) ENGINE interface.
// maren.h defines X509_NAME as a structure type constant: OpenSSL's name
// type is spelled struct X509_name_st here.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <openssl/engine.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <maren/maren.h>

namespace pki_test {

using Bytes = std::vector<std::uint8_t>;

struct PkeyFree {
    void operator()(EVP_PKEY* k) const { EVP_PKEY_free(k); }
};
using Key = std::unique_ptr<EVP_PKEY, PkeyFree>;
struct LocalFreer {
    void operator()(void* p) const { LocalFree(p); }
};
template <typename T>
using Local = std::unique_ptr<T, LocalFreer>;

// "30 03 02 01 05" -> bytes.
inline Bytes hex(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    Bytes out;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        out.push_back(std::uint8_t(std::stoul(text.substr(i, 2), nullptr, 16)));
    return out;
}

inline void check(bool ok, const char* what) {
    if (!ok) throw std::runtime_error(what);
}

template <typename T, typename I2d>
Bytes der_of(T* object, I2d i2d) {
    unsigned char* der = nullptr;
    const int n = i2d(object, &der);
    check(n > 0, "i2d");
    Bytes out(der, der + n);
    OPENSSL_free(der);
    return out;
}

// The GOST engine of the test process; null when it isn't installed.
inline ENGINE* gost_engine() {
    static ENGINE* const engine = []() -> ENGINE* {
        ENGINE* e = ENGINE_by_id("gost");
        if (e == nullptr || ENGINE_init(e) != 1) return nullptr;
        ENGINE_register_pkey_asn1_meths(e);
        ENGINE_register_pkey_meths(e);
        ENGINE_register_digests(e);
        return e;
    }();
    ERR_clear_error();
    return engine;
}

inline const EVP_MD* gost_md(int nid) { return gost_engine() ? ENGINE_get_digest(gost_engine(), nid) : nullptr; }

enum class Family { rsa, rsa_pss, ec_p256, ec_p384, ec_p521, ed25519, dsa, gost256, gost512 };

// Runs a key generation context with string options; frees the context.
inline Key keygen(EVP_PKEY_CTX* ctx, std::initializer_list<std::pair<const char*, const char*>> options) {
    EVP_PKEY* key = nullptr;
    bool ok = ctx != nullptr && EVP_PKEY_keygen_init(ctx) == 1;
    for (const auto& option : options) ok = ok && EVP_PKEY_CTX_ctrl_str(ctx, option.first, option.second) > 0;
    check(ok && EVP_PKEY_keygen(ctx, &key) == 1, "key generation");
    EVP_PKEY_CTX_free(ctx);
    return Key(key);
}

inline Key generate(Family family) {
    auto by_name = [](const char* name) { return EVP_PKEY_CTX_new_from_name(nullptr, name, nullptr); };
    switch (family) {
    case Family::rsa: return keygen(by_name("RSA"), {{"rsa_keygen_bits", "2048"}});
    case Family::rsa_pss: return keygen(by_name("RSA-PSS"), {{"rsa_keygen_bits", "2048"}});
    case Family::ec_p256: return keygen(by_name("EC"), {{"ec_paramgen_curve", "P-256"}});
    case Family::ec_p384: return keygen(by_name("EC"), {{"ec_paramgen_curve", "P-384"}});
    case Family::ec_p521: return keygen(by_name("EC"), {{"ec_paramgen_curve", "P-521"}});
    case Family::ed25519: return keygen(by_name("ED25519"), {});
    case Family::gost256: return keygen(EVP_PKEY_CTX_new_id(NID_id_GostR3410_2012_256, gost_engine()), {{"paramset", "A"}});
    case Family::gost512: return keygen(EVP_PKEY_CTX_new_id(NID_id_GostR3410_2012_512, gost_engine()), {{"paramset", "A"}});
    case Family::dsa: break;
    }
    EVP_PKEY_CTX* ctx = by_name("DSA");
    EVP_PKEY* params = nullptr;
    check(ctx && EVP_PKEY_paramgen_init(ctx) == 1 && EVP_PKEY_CTX_set_dsa_paramgen_bits(ctx, 1024) == 1 &&
              EVP_PKEY_paramgen(ctx, &params) == 1,
          "DSA parameters");
    EVP_PKEY_CTX_free(ctx);
    Key key = keygen(EVP_PKEY_CTX_new_from_pkey(nullptr, params, nullptr), {});
    EVP_PKEY_free(params);
    return key;
}

// Keys are slow to make: each (family, slot) is made once per process.
// They are never freed: OpenSSL cleans up (engines included) at exit,
// before static destructors would run.
inline EVP_PKEY* key_of(Family family, int slot = 0) {
    static std::mutex lock;
    static auto* const keys = new std::map<std::pair<Family, int>, Key>();
    std::lock_guard<std::mutex> guard(lock);
    Key& key = (*keys)[{family, slot}];
    if (!key) key = generate(family);
    return key.get();
}

// How one certificate or CRL is signed: the digest (null for Ed25519) and
// whether RSA-PSS padding is used.
struct Signing {
    const EVP_MD* md;
    bool pss;
};

template <typename T, typename SignCtx>
void sign_with(EVP_PKEY* key, Signing signing, T* object, SignCtx sign_ctx) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    EVP_PKEY_CTX* pctx = nullptr;
    bool ok = EVP_DigestSignInit(ctx, &pctx, signing.md, nullptr, key) == 1;
    if (signing.pss)
        ok = ok && EVP_PKEY_CTX_set_rsa_padding(pctx, RSA_PKCS1_PSS_PADDING) == 1 &&
             EVP_PKEY_CTX_set_rsa_pss_saltlen(pctx, 32) == 1;
    check(ok && sign_ctx(object, ctx) > 0, "signing");
    EVP_MD_CTX_free(ctx);
}

inline struct X509_name_st* name_of(const char* common_name) {
    struct X509_name_st* name = X509_NAME_new();
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(common_name), -1,
                               -1, 0);
    return name;
}

inline Bytes self_signed_certificate(EVP_PKEY* key, Signing signing) {
    X509* x = X509_new();
    X509_set_version(x, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x), 7);
    struct X509_name_st* name = name_of("maren test");
    X509_set_subject_name(x, name);
    X509_set_issuer_name(x, name);
    X509_NAME_free(name);
    X509_gmtime_adj(X509_getm_notBefore(x), 0);
    X509_gmtime_adj(X509_getm_notAfter(x), 86400L * 30);
    X509_set_pubkey(x, key);
    sign_with(key, signing, x, X509_sign_ctx);
    const Bytes out = der_of(x, i2d_X509);
    X509_free(x);
    return out;
}

// A CRL of the given version (0 for v1) revoking `serials`.
inline Bytes crl(EVP_PKEY* key, Signing signing, std::vector<long> serials = {7}, long version = 1) {
    X509_CRL* c = X509_CRL_new();
    if (version != 0) X509_CRL_set_version(c, version);
    struct X509_name_st* name = name_of("maren test");
    X509_CRL_set_issuer_name(c, name);
    X509_NAME_free(name);
    ASN1_TIME* now = X509_gmtime_adj(nullptr, 0);
    ASN1_TIME* later = X509_gmtime_adj(nullptr, 86400L * 7);
    X509_CRL_set1_lastUpdate(c, now);
    X509_CRL_set1_nextUpdate(c, later);
    for (long s : serials) {
        X509_REVOKED* r = X509_REVOKED_new();
        ASN1_INTEGER* serial = ASN1_INTEGER_new();
        ASN1_INTEGER_set(serial, s);
        X509_REVOKED_set_serialNumber(r, serial);
        ASN1_INTEGER_free(serial);
        X509_REVOKED_set_revocationDate(r, now);
        X509_CRL_add0_revoked(c, r);
    }
    ASN1_TIME_free(now);
    ASN1_TIME_free(later);
    sign_with(key, signing, c, X509_CRL_sign_ctx);
    const Bytes out = der_of(c, i2d_X509_CRL);
    X509_CRL_free(c);
    return out;
}

// A structure decoded by maren into LocalFree memory.
template <typename T>
Local<T> decode_alloc(LPCSTR type, const Bytes& der, DWORD flags = 0) {
    void* out = nullptr;
    DWORD size = 0;
    if (!CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, type, der.data(), DWORD(der.size()),
                             flags | CRYPT_DECODE_ALLOC_FLAG, nullptr, &out, &size))
        return nullptr;
    return Local<T>(static_cast<T*>(out));
}

// The maren form of a key's SubjectPublicKeyInfo.
inline Local<CERT_PUBLIC_KEY_INFO> public_key_info(EVP_PKEY* key) {
    return decode_alloc<CERT_PUBLIC_KEY_INFO>(X509_PUBLIC_KEY_INFO, der_of(key, i2d_PUBKEY));
}

// Where the to-be-signed element of a signed object lies.
struct Range {
    std::size_t offset, size;
};
inline Range to_be_signed(const Bytes& der) {
    auto header = [&der](std::size_t at, std::size_t* length) {
        const std::size_t n = (der.at(at + 1) & 0x80) ? der.at(at + 1) & 0x7F : 0;
        *length = n ? 0 : der.at(at + 1);
        for (std::size_t i = 0; i < n; ++i) *length = (*length << 8) | der.at(at + 2 + i);
        return 2 + n;
    };
    std::size_t length = 0;
    const std::size_t at = header(0, &length);
    return Range{at, header(at, &length) + length};
}

inline Bytes flipped(Bytes der, std::size_t at, std::uint8_t mask = 0x01) {
    der.at(at) ^= mask;
    return der;
}

// The bytes with the last occurrence of `from` replaced by `to` (same size).
inline Bytes replace_last(Bytes der, const Bytes& from, const Bytes& to) {
    auto it = std::find_end(der.begin(), der.end(), from.begin(), from.end());
    check(it != der.end(), "pattern not found");
    std::copy(to.begin(), to.end(), it);
    return der;
}

inline FILETIME filetime_of(int year, int month, int day, int hour, int minute, int second) {
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    const std::uint64_t ticks = (std::uint64_t(timegm(&t)) + 11644473600ULL) * 10000000ULL;
    return FILETIME{DWORD(ticks), DWORD(ticks >> 32)};
}

inline std::uint64_t ticks(const FILETIME& t) { return std::uint64_t(t.dwHighDateTime) << 32 | t.dwLowDateTime; }

}  // namespace pki_test

#endif
