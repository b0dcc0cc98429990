// CryptVerifyCertificateSignature(Ex) on certificates and CRLs signed with
// every family maren verifies, made by OpenSSL at test time: good
// signatures verify; a flipped bit in the signed part or the signature, a
// wrong key, an unknown algorithm and a malformed key or object are refused
// with the published last error.
#include "tests/platform/crypto_pki_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using pki_test::Bytes;
using pki_test::Family;
using pki_test::Signing;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

struct Algorithm {
    const char* name;
    Family family;
    Signing signing;
};

std::vector<Algorithm> algorithms() {
    std::vector<Algorithm> all = {
        {"RSA SHA-1", Family::rsa, {EVP_sha1(), false}},
        {"RSA SHA-256", Family::rsa, {EVP_sha256(), false}},
        {"RSA SHA-512", Family::rsa, {EVP_sha512(), false}},
        {"RSA-PSS SHA-256 (rsaEncryption key)", Family::rsa, {EVP_sha256(), true}},
        {"RSA-PSS SHA-384 (RSASSA-PSS key)", Family::rsa_pss, {EVP_sha384(), true}},
        {"ECDSA P-256", Family::ec_p256, {EVP_sha256(), false}},
        {"ECDSA P-384", Family::ec_p384, {EVP_sha384(), false}},
        {"ECDSA P-521", Family::ec_p521, {EVP_sha512(), false}},
        {"ECDSA P-256 SHA-1", Family::ec_p256, {EVP_sha1(), false}},
        {"Ed25519", Family::ed25519, {nullptr, false}},
        {"DSA SHA-256", Family::dsa, {EVP_sha256(), false}},
        {"DSA SHA-1", Family::dsa, {EVP_sha1(), false}},
    };
    if (pki_test::gost_engine() != nullptr) {
        all.push_back({"GOST 2012-256", Family::gost256, {pki_test::gost_md(NID_id_GostR3411_2012_256), false}});
        all.push_back({"GOST 2012-512", Family::gost512, {pki_test::gost_md(NID_id_GostR3411_2012_512), false}});
    }
    return all;
}

// The outcome of one verification: TRUE, or the last error.
DWORD verify(const Bytes& der, const CERT_PUBLIC_KEY_INFO* key) {
    SetLastError(0);
    if (CryptVerifyCertificateSignature(0, kEncoding, der.data(), DWORD(der.size()),
                                        const_cast<CERT_PUBLIC_KEY_INFO*>(key)))
        return 0;
    return GetLastError() != 0 ? GetLastError() : 0xFFFFFFFF;
}

constexpr DWORD kBadSignature = DWORD(NTE_BAD_SIGNATURE);

TEST(CryptVerifyCertificateSignature, EveryFamilyVerifiesGoodAndRefusesTamperedCertificatesAndCrls) {
    for (const Algorithm& a : algorithms()) {
        SCOPED_TRACE(a.name);
        EVP_PKEY* key = pki_test::key_of(a.family);
        auto info = pki_test::public_key_info(key);
        auto other = pki_test::public_key_info(pki_test::key_of(a.family, 1));
        ASSERT_TRUE(info && other);

        const Bytes objects[] = {pki_test::self_signed_certificate(key, a.signing), pki_test::crl(key, a.signing)};
        for (const Bytes& der : objects) {
            const pki_test::Range tbs = pki_test::to_be_signed(der);
            EXPECT_EQ(0u, verify(der, info.get()));
            EXPECT_EQ(kBadSignature, verify(pki_test::flipped(der, tbs.offset + tbs.size - 3), info.get()));
            EXPECT_EQ(kBadSignature, verify(pki_test::flipped(der, der.size() - 2), info.get()));
            EXPECT_EQ(kBadSignature, verify(der, other.get()));
        }
    }
}

TEST(CryptVerifyCertificateSignature, UnknownAlgorithmsForeignOrMalformedKeysAndObjectsAreCleanFailures) {
    EVP_PKEY* rsa = pki_test::key_of(Family::rsa);
    auto info = pki_test::public_key_info(rsa);
    const Bytes cert = pki_test::self_signed_certificate(rsa, {EVP_sha256(), false});

    // sha256WithRSAEncryption (...1.1.11) becomes ...1.1.127 in the outer
    // algorithm only.
    const Bytes unknown = pki_test::replace_last(cert, pki_test::hex("2A 86 48 86 F7 0D 01 01 0B"),
                                                 pki_test::hex("2A 86 48 86 F7 0D 01 01 7F"));
    EXPECT_EQ(DWORD(NTE_BAD_ALGID), verify(unknown, info.get()));

    // RSA-PSS with a trailer field other than 1.
    const Bytes pss = pki_test::self_signed_certificate(rsa, {EVP_sha256(), true});
    const Bytes odd_trailer = pki_test::replace_last(pss, pki_test::hex("A2 03 02 01 20"),
                                                     pki_test::hex("A3 03 02 01 02"));
    EXPECT_EQ(DWORD(NTE_BAD_ALGID), verify(odd_trailer, info.get()));

    // A key of another family did not make the signature.
    for (Family f : {Family::ec_p256, Family::ed25519, Family::dsa, Family::rsa_pss})
        EXPECT_EQ(kBadSignature, verify(cert, pki_test::public_key_info(pki_test::key_of(f)).get()));

    BYTE junk[] = {0x05, 0x00, 0x03};
    CERT_PUBLIC_KEY_INFO broken{{const_cast<char*>(szOID_RSA_RSA), {2, junk}}, {3, junk, 0}};
    EXPECT_EQ(DWORD(NTE_BAD_KEY), verify(cert, &broken));
    broken.Algorithm.pszObjId = const_cast<char*>("not an oid");
    EXPECT_EQ(DWORD(NTE_BAD_KEY), verify(cert, &broken));

    EXPECT_EQ(DWORD(CRYPT_E_ASN1_EOD), verify(Bytes(cert.begin(), cert.end() - 10), info.get()));
    EXPECT_EQ(DWORD(CRYPT_E_ASN1_BADTAG), verify(pki_test::flipped(cert, 0, 0x01), info.get()));
    EXPECT_EQ(DWORD(CRYPT_E_ASN1_EOD), verify(Bytes(), info.get()));

    EXPECT_EQ(DWORD(E_INVALIDARG), verify(cert, nullptr));
}

TEST(CryptVerifyCertificateSignatureEx, SubjectsAndIssuersAsContextsBlobsAndKeys) {
    EVP_PKEY* key = pki_test::key_of(Family::ec_p384);
    Bytes cert = pki_test::self_signed_certificate(key, {EVP_sha384(), false});
    Bytes crl = pki_test::crl(key, {EVP_sha384(), false});
    auto cert_info = pki_test::decode_alloc<CERT_INFO>(X509_CERT_TO_BE_SIGNED, cert);
    ASSERT_TRUE(cert_info);
    CERT_CONTEXT cert_context{X509_ASN_ENCODING, cert.data(), DWORD(cert.size()), cert_info.get(), nullptr};
    CRL_CONTEXT crl_context{X509_ASN_ENCODING, crl.data(), DWORD(crl.size()), nullptr, nullptr};
    CRYPT_DATA_BLOB blob{DWORD(crl.size()), crl.data()};
    auto ex = [](DWORD subject_type, void* subject, DWORD issuer_type, void* issuer) {
        SetLastError(0);
        return CryptVerifyCertificateSignatureEx(0, X509_ASN_ENCODING, subject_type, subject, issuer_type, issuer, 0,
                                                 nullptr)
                   ? 0
                   : GetLastError();
    };
    EXPECT_EQ(0u, ex(CRYPT_VERIFY_CERT_SIGN_SUBJECT_CERT, &cert_context, CRYPT_VERIFY_CERT_SIGN_ISSUER_CERT,
                     &cert_context));
    EXPECT_EQ(0u, ex(CRYPT_VERIFY_CERT_SIGN_SUBJECT_CRL, &crl_context, CRYPT_VERIFY_CERT_SIGN_ISSUER_PUBKEY,
                     &cert_info->SubjectPublicKeyInfo));
    EXPECT_EQ(0u, ex(CRYPT_VERIFY_CERT_SIGN_SUBJECT_BLOB, &blob, CRYPT_VERIFY_CERT_SIGN_ISSUER_CERT, &cert_context));
    // A key-signed object is not hash-signed, and a chain is no issuer here.
    EXPECT_EQ(DWORD(NTE_BAD_ALGID),
              ex(CRYPT_VERIFY_CERT_SIGN_SUBJECT_CRL, &crl_context, CRYPT_VERIFY_CERT_SIGN_ISSUER_NULL, nullptr));
    EXPECT_EQ(DWORD(E_INVALIDARG), ex(CRYPT_VERIFY_CERT_SIGN_SUBJECT_CRL, &crl_context,
                                      CRYPT_VERIFY_CERT_SIGN_ISSUER_CHAIN, &cert_context));
}

TEST(CryptVerifyCertificateSignature, ManyThreadsVerifyAtOnce) {
    struct Job {
        Bytes der;
        pki_test::Local<CERT_PUBLIC_KEY_INFO> key;
    };
    std::vector<Job> jobs;
    for (const Algorithm& a : algorithms()) {
        EVP_PKEY* key = pki_test::key_of(a.family);
        jobs.push_back({pki_test::crl(key, a.signing), pki_test::public_key_info(key)});
    }
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 8; ++t)
        threads.emplace_back([&jobs, &failures, t] {
            for (std::size_t i = 0; i < 5 * jobs.size(); ++i)
                if (verify(jobs[(i + t) % jobs.size()].der, jobs[(i + t) % jobs.size()].key.get()) != 0) ++failures;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, failures.load());
}

}  // namespace
