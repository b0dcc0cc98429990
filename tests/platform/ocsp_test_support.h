/* The world of the OCSP tests: a CA, leaves whose authority information
 * access names a responder on the loopback server, delegated responders,
 * platform contexts of them all, and a platform home of their own. Names
 * and serials never repeat within a process, so the process-wide response
 * cache never mixes two tests. */
#ifndef MAREN_TESTS_PLATFORM_OCSP_TEST_SUPPORT_H
#define MAREN_TESTS_PLATFORM_OCSP_TEST_SUPPORT_H

#include <stdlib.h>

#include <atomic>
#include <memory>
#include <string>

#include <maren/maren.h>

#include "base/blob.h"
#include "base/date_time.h"
#include "tests/platform/host_test_support.h"
#include "tests/platform/ocsp_test_pki.h"

namespace ocsp_test {

using ocsp_pki::Bytes;
using ocsp_pki::Identity;
using Tarsis::PKI::OCSP::CCertID;
using Tarsis::PKI::OCSP::Client::CRequest;
using Tarsis::PKI::OCSP::Client::CResponse;

struct CertFree {
    void operator()(const CERT_CONTEXT *c) const { CertFreeCertificateContext(c); }
};
using Cert = std::unique_ptr<const CERT_CONTEXT, CertFree>;
struct StoreClose {
    void operator()(void *s) const { CertCloseStore(s, 0); }
};
using Store = std::unique_ptr<void, StoreClose>;

inline Cert context_of(const Bytes &der) {
    return Cert(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
}

/* The serial number of a certificate with a small positive serial. */
inline long serial_of(const CERT_CONTEXT *cert) {
    const CRYPT_INTEGER_BLOB &serial = cert->pCertInfo->SerialNumber;
    long value = 0;
    for (DWORD i = serial.cbData; i > 0; --i) value = value << 8 | serial.pbData[i - 1];
    return value;
}

inline Bytes bytes_of(const Tarsis::CBlob &blob) { return Bytes(blob.pbData(), blob.pbData() + blob.cbData()); }

/* One platform home for the program, so that the system stores and the
 * registry file are the tests' own. */
inline void use_test_home() {
    static const host_test::TempDir home;
    static const bool set = setenv("MAREN_HOME", home.path().c_str(), 1) == 0;
    (void)set;
}

inline std::string unique(const std::string &stem) {
    static std::atomic<int> counter{0};
    return stem + " " + std::to_string(++counter);
}

inline long next_serial() {
    static std::atomic<long> serial{100};
    return ++serial;
}

/* A CA with a leaf that names `ocsp_url` as its responder. */
struct Pki {
    explicit Pki(const std::string &ocsp_url = "http://127.0.0.1:9/ocsp")
        : ca_key(unique("OCSP CA")), leaf_key(unique("OCSP leaf")) {
        ca = test_pki::self_signed(ca_key);
        leaf = leaf_with_url(ocsp_url);
        ca_ctx = context_of(ca);
        leaf_ctx = context_of(leaf);
    }
    Bytes leaf_with_url(const std::string &url, long serial = 0) const {
        test_pki::CertOptions options;
        options.ca = false;
        options.serial = serial != 0 ? serial : next_serial();
        options.ocsp_url = url;
        return test_pki::issue(leaf_key, ca_key, options);
    }
    /* A responder certified by this CA. */
    Bytes delegate(const Identity &key, ocsp_pki::ResponderOptions options = {}) const {
        options.serial = next_serial();
        return ocsp_pki::responder_cert(key, ca_key, options);
    }
    ocsp_pki::Signer ca_signer(bool include_cert = true) const { return {&ca_key, ca, include_cert, false}; }
    ocsp_pki::Single single(ocsp_pki::Status status = ocsp_pki::Status::good) const {
        ocsp_pki::Single s;
        s.cert = leaf;
        s.issuer = ca;
        s.status = status;
        return s;
    }

    Identity ca_key;
    Identity leaf_key;
    Bytes ca;
    Bytes leaf;
    Cert ca_ctx;
    Cert leaf_ctx;
};

/* A request for the leaf as halden makes it. */
inline void prepare(CRequest &request, const Pki &pki, const CERT_CONTEXT *leaf = nullptr) {
    request.put_UseNonce(false);
    request.put_DisableProducedAtCheck(true);
    request.put_Flags(2);
    request.put_CacheResync(nullptr);
    request.put_SRCertIDFromCert(leaf != nullptr ? leaf : pki.leaf_ctx.get(), pki.ca_ctx.get(), 0, nullptr);
}

inline CResponse imported(const Bytes &der) {
    CResponse response;
    response.Import(der.data(), static_cast<unsigned long>(der.size()), nullptr);
    return response;
}

inline FILETIME seconds_from_now(long seconds) {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const long long ticks =
        static_cast<long long>(static_cast<unsigned long long>(now.dwHighDateTime) << 32 | now.dwLowDateTime) +
        seconds * 10000000LL;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(static_cast<unsigned long long>(ticks) >> 32)};
}

}  // namespace ocsp_test

#endif
