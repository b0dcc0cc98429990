/* ocspVerifyResponse on stapled responses: 0 only for a verified good,
 * CRYPT_E_REVOKED only for a verified revoked, 1 for everything else; the
 * issuer is found without help. */
#include <gtest/gtest.h>

#include "tests/platform/ocsp_test_support.h"

using namespace ocsp_test;
using ocsp_pki::Signer;
using ocsp_pki::Single;
using ocsp_pki::Status;

namespace {

constexpr DWORD kRevoked = 0x80092010;

DWORD verify(const CERT_CONTEXT *cert, const Bytes &response) {
    return ocspVerifyResponse(cert, response.data(), static_cast<DWORD>(response.size()), 0, nullptr);
}

/* Puts the CA in the current user's "CA" store, where the issuer is found. */
void publish(const Bytes &ca) {
    const Store store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"CA"));
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, ca.data(),
                                                 static_cast<DWORD>(ca.size()), CERT_STORE_ADD_USE_EXISTING, nullptr));
}

class OcspStapled : public ::testing::Test {
  protected:
    void SetUp() override {
        use_test_home();
        publish(pki.ca);
    }
    Pki pki;
};

TEST_F(OcspStapled, AnswersOnlyForAVerifiedGoodOrRevoked) {
    const Identity delegate_key(unique("delegate")), plain_key(unique("no EKU"));
    ocsp_pki::ResponderOptions no_eku;
    no_eku.ocsp_signing = false;
    const Signer ca = pki.ca_signer(false);
    const Signer delegate{&delegate_key, pki.delegate(delegate_key), true, false};
    const Signer unauthorised{&plain_key, pki.delegate(plain_key, no_eku), true, false};
    ocsp_pki::ResponseOptions tampered;
    tampered.tamper_signature = true;
    Single stale = pki.single();
    stale.this_update = -7200;
    stale.next_update = -3600;
    Single early = pki.single();
    early.this_update = 3600;
    Single other_serial = pki.single();
    other_serial.serial = 1;
    Single sha256 = pki.single(Status::revoked);
    sha256.sha256 = true;

    struct Case {
        const char *name;
        Bytes response;
        DWORD expected;
    } cases[] = {
        {"good", ocsp_pki::response({pki.single()}, ca), 0},
        {"revoked", ocsp_pki::response({pki.single(Status::revoked)}, ca), kRevoked},
        {"unknown", ocsp_pki::response({pki.single(Status::unknown)}, ca), 1},
        {"good from a delegate", ocsp_pki::response({pki.single()}, delegate), 0},
        {"revoked, SHA-256 CertID", ocsp_pki::response({sha256}, ca), kRevoked},
        {"good among others", ocsp_pki::response({other_serial, pki.single()}, ca), 0},
        {"nextUpdate passed", ocsp_pki::response({stale}, ca), 1},
        {"thisUpdate in the future", ocsp_pki::response({early}, ca), 1},
        {"bad signature", ocsp_pki::response({pki.single()}, ca, tampered), 1},
        {"responder without id-kp-OCSPSigning", ocsp_pki::response({pki.single()}, unauthorised), 1},
        {"about another certificate", ocsp_pki::response({other_serial}, ca), 1},
        {"unsuccessful", ocsp_pki::error_response(6), 1},
        {"malformed", Bytes{0x30, 0x03, 0x0A, 0x01, 0x00}, 1},
    };
    for (const Case &c : cases) EXPECT_EQ(verify(pki.leaf_ctx.get(), c.response), c.expected) << c.name;

    const Bytes good = ocsp_pki::response({pki.single()}, ca);
    EXPECT_EQ(ocspVerifyResponse(nullptr, good.data(), static_cast<DWORD>(good.size()), 0, nullptr), 1u);
    EXPECT_EQ(ocspVerifyResponse(pki.leaf_ctx.get(), nullptr, 0, 0, nullptr), 1u);
}

TEST_F(OcspStapled, IssuerIsFoundInTheCertificatesOwnStoreOrNotAtAll) {
    const Pki unpublished;
    const Bytes good = ocsp_pki::response({unpublished.single()}, unpublished.ca_signer(false));
    EXPECT_EQ(verify(unpublished.leaf_ctx.get(), good), 1u) << "no issuer anywhere";

    const Store store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), unpublished.ca_ctx.get(), CERT_STORE_ADD_ALWAYS,
                                                 nullptr));
    const CERT_CONTEXT *leaf = nullptr;
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), unpublished.leaf_ctx.get(), CERT_STORE_ADD_ALWAYS,
                                                 &leaf));
    const Cert held(leaf);
    EXPECT_EQ(verify(leaf, good), 0u);
}

TEST_F(OcspStapled, LastErrorIsLeftAlone) {
    SetLastError(12345);
    EXPECT_EQ(verify(pki.leaf_ctx.get(), Bytes{0x01}), 1u);
    EXPECT_EQ(GetLastError(), 12345u);
}

}  // namespace
