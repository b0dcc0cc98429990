/* CResponse on responses OpenSSL makes: what it reads, what it refuses, and
 * how it judges a signature, a responder and the times of an answer. */
#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/platform/ocsp_test_support.h"

using namespace ocsp_test;
using ocsp_pki::Signer;
using ocsp_pki::Single;
using ocsp_pki::Status;

namespace {

class OcspResponse : public ::testing::Test {
  protected:
    void SetUp() override { use_test_home(); }
    Pki pki;
};

CCertID request_id(const Pki &pki) {
    CRequest request;
    prepare(request, pki);
    return request.get_SRCertID(0);
}

TEST_F(OcspResponse, ReadsGoodRevokedAndUnknownAnswers) {
    Single revoked = pki.single(Status::revoked);
    revoked.serial = 77;
    revoked.reason = 1;
    Single unknown = pki.single(Status::unknown);
    unknown.serial = 78;
    unknown.next_update.reset();
    const CResponse response = imported(ocsp_pki::response({pki.single(), revoked, unknown}, pki.ca_signer()));

    EXPECT_EQ(response.get_Status(), 0);
    ASSERT_EQ(response.get_SRNumber(), 3u);
    EXPECT_EQ(response.get_SRIndexByCertID(request_id(pki)), 0);
    EXPECT_EQ(response.get_SRStatus(0), 0);
    EXPECT_EQ(response.get_SRStatus(1), 1);
    EXPECT_EQ(response.get_SRStatus(2), 2);
    EXPECT_EQ(response.get_SRRevTime(0), nullptr);
    ASSERT_NE(response.get_SRRevTime(1), nullptr);
    const Tarsis::CDateTime now = Tarsis::CDateTime::Now();
    EXPECT_LT(*response.get_SRRevTime(1), now);
    EXPECT_GT(*response.get_SRRevTime(1), now - Tarsis::CDateTimeSpan::OneHour() * 3);
    EXPECT_EQ(response.get_SRRevReason(1), 1);
    EXPECT_LT(response.get_SRThisUpdate(0), now);
    ASSERT_NE(response.get_SRNextUpdate(0), nullptr);
    EXPECT_GT(*response.get_SRNextUpdate(0), now);
    EXPECT_EQ(response.get_SRNextUpdate(2), nullptr);
    EXPECT_EQ(bytes_of(response.get_SRCertID(1).get_serialNumber()), Bytes({77}));
    EXPECT_EQ(response.get_SignatureAlgorithmOID(), "1.2.840.10045.4.3.2");  // ecdsa-with-SHA256
    EXPECT_EQ(response.get_SignatureAlgorithmParameters().cbData(), 0u);
}

TEST_F(OcspResponse, ExportGivesTheImportedBytesWithTheSizeProtocol) {
    const Bytes der = ocsp_pki::response({pki.single()}, pki.ca_signer());
    const CResponse original = imported(der);
    const CResponse copy(original);  // value semantics: the copy outlives nothing
    unsigned long size = 0;
    copy.Export(nullptr, &size);
    ASSERT_EQ(size, der.size());
    Bytes out(size);
    unsigned long small = size - 1;
    EXPECT_ANY_THROW(copy.Export(out.data(), &small));
    EXPECT_EQ(small, der.size());
    copy.Export(out.data(), &size);
    EXPECT_EQ(out, der);
}

TEST_F(OcspResponse, UnsuccessfulOrEmptyResponsesAnswerEmptyValues) {
    CResponse empty;
    const CResponse try_later = imported(ocsp_pki::error_response(3));
    for (const CResponse *response : {static_cast<const CResponse *>(&empty), &try_later}) {
        EXPECT_EQ(response->get_SRNumber(), 0u);
        EXPECT_EQ(response->get_SRIndexByCertID(request_id(pki)), -1);
        EXPECT_EQ(response->get_SRStatus(0), -1);
        EXPECT_EQ(response->get_SRRevTime(0), nullptr);
        EXPECT_EQ(response->get_SRNextUpdate(0), nullptr);
        EXPECT_EQ(response->get_SRCertID(0).get_serialNumber().cbData(), 0u);
        EXPECT_NE(response->VerifySR(0, nullptr, nullptr), 0);
        EXPECT_EQ(response->get_OCSPCertificate(nullptr, 0), nullptr);
        EXPECT_NE(response->Verify(pki.ca_ctx.get(), nullptr), 0);
        EXPECT_NE(response->VerifyCertificate(pki.ca_ctx.get(), false, nullptr, 0), 0);
        EXPECT_TRUE(response->get_SignatureAlgorithmOID().empty());
    }
    EXPECT_EQ(empty.get_Status(), -1);
    EXPECT_EQ(try_later.get_Status(), 3);
}

TEST_F(OcspResponse, ImportRefusesWhatIsNotAnOcspResponse) {
    const Bytes good = ocsp_pki::response({pki.single()}, pki.ca_signer());
    Bytes trailing = good;
    trailing.push_back(0);
    const Bytes truncated(good.begin(), good.end() - 1);
    const Bytes certificate = pki.ca;
    const Bytes garbage = {'H', 'T', 'T', 'P', '/', '1', '.', '1'};
    CResponse response = imported(good);
    for (const Bytes *bad : {static_cast<const Bytes *>(&trailing), &truncated, &certificate, &garbage}) {
        EXPECT_ANY_THROW(response.Import(bad->data(), static_cast<unsigned long>(bad->size()), nullptr));
        EXPECT_EQ(response.get_SRNumber(), 1u) << "a refused import leaves the response as it was";
    }
    EXPECT_ANY_THROW(response.Import(nullptr, 0, nullptr));
}

TEST_F(OcspResponse, ImportRefusesResponsesAboveTheSizeCap) {
    const Bytes der = ocsp_pki::response({pki.single()}, pki.ca_signer());
    ASSERT_EQ(maren_registry_set_long("\\config\\OCSP\\MaxResponseBytes", static_cast<long>(der.size() - 1)), 0);
    CResponse response;
    EXPECT_ANY_THROW(response.Import(der.data(), static_cast<unsigned long>(der.size()), nullptr));
    ASSERT_EQ(maren_registry_set_long("\\config\\OCSP\\MaxResponseBytes", 65536), 0);
    EXPECT_NO_THROW(response.Import(der.data(), static_cast<unsigned long>(der.size()), nullptr));
}

TEST_F(OcspResponse, FindsTheResponderCertificateByNameOrKeyInResponseOrStores) {
    const Identity delegate_key(unique("delegate"));
    const Bytes delegate = pki.delegate(delegate_key);
    const Cert delegate_ctx = context_of(delegate);
    const Store store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), delegate_ctx.get(), CERT_STORE_ADD_ALWAYS, nullptr));
    void *stores[] = {store.get()};

    struct Case {
        const char *name;
        bool include_cert;
        bool by_key;
        bool use_stores;
        bool found;
    } cases[] = {
        {"by name, sent along", true, false, false, true},
        {"by key, sent along", true, true, false, true},
        {"by name, from the stores", false, false, true, true},
        {"by key, from the stores", false, true, true, true},
        {"not sent and no stores", false, false, false, false},
    };
    for (const Case &c : cases) {
        const Signer signer{&delegate_key, delegate, c.include_cert, c.by_key};
        const CResponse response = imported(ocsp_pki::response({pki.single()}, signer));
        const Cert found(response.get_OCSPCertificate(c.use_stores ? stores : nullptr, c.use_stores ? 1 : 0));
        if (!c.found) {
            EXPECT_EQ(found, nullptr) << c.name;
            continue;
        }
        ASSERT_NE(found, nullptr) << c.name;
        EXPECT_EQ(Bytes(found->pbCertEncoded, found->pbCertEncoded + found->cbCertEncoded), delegate) << c.name;
    }
}

TEST_F(OcspResponse, VerifyChecksTheSignatureWithTheGivenCertificate) {
    const Bytes der = ocsp_pki::response({pki.single()}, pki.ca_signer());
    const CResponse response = imported(der);
    EXPECT_EQ(response.Verify(pki.ca_ctx.get(), nullptr), 0);
    EXPECT_EQ(response.Verify(pki.ca_ctx.get(), nullptr), 0) << "the remembered result is the same";
    EXPECT_NE(response.Verify(pki.leaf_ctx.get(), nullptr), 0) << "another key";
    EXPECT_NE(response.Verify(nullptr, nullptr), 0);

    ocsp_pki::ResponseOptions tampered;
    tampered.tamper_signature = true;
    const CResponse bad = imported(ocsp_pki::response({pki.single()}, pki.ca_signer(), tampered));
    EXPECT_NE(bad.Verify(pki.ca_ctx.get(), nullptr), 0);
}

TEST_F(OcspResponse, VerifyCertificateAcceptsOnlyTheCaOrItsOcspSigningDelegate) {
    const Identity good_key(unique("delegate")), plain_key(unique("no EKU")), stale_key(unique("expired"));
    const Pki other;
    const Identity foreign_key(unique("foreign"));
    ocsp_pki::ResponderOptions no_eku;
    no_eku.ocsp_signing = false;
    ocsp_pki::ResponderOptions expired;
    expired.valid_from = -10;
    expired.valid_to = -1;
    const Cert delegate = context_of(pki.delegate(good_key));
    const Cert without_eku = context_of(pki.delegate(plain_key, no_eku));
    const Cert out_of_time = context_of(pki.delegate(stale_key, expired));
    const Cert foreign = context_of(other.delegate(foreign_key));

    // The delegates' CA is found in the stores the caller gives.
    const Store store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), pki.ca_ctx.get(), CERT_STORE_ADD_ALWAYS, nullptr));
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), other.ca_ctx.get(), CERT_STORE_ADD_ALWAYS, nullptr));
    void *stores[] = {store.get()};

    // Signed by the CA, which it doesn't send along.
    const CResponse response = imported(ocsp_pki::response({pki.single()}, pki.ca_signer(false)));
    EXPECT_EQ(response.VerifyCertificate(pki.ca_ctx.get(), false, nullptr, 0), 0) << "the CA itself";
    EXPECT_EQ(response.VerifyCertificate(delegate.get(), false, nullptr, 0), CERT_E_UNTRUSTEDCA)
        << "the CA is nowhere to be found";
    EXPECT_EQ(response.VerifyCertificate(delegate.get(), false, stores, 1), 0);
    EXPECT_EQ(response.VerifyCertificate(delegate.get(), false, nullptr, 0), 0)
        << "once certified, a delegate stays certified for this response";
    EXPECT_EQ(response.VerifyCertificate(without_eku.get(), false, stores, 1), CERT_E_WRONG_USAGE);
    EXPECT_EQ(response.VerifyCertificate(out_of_time.get(), false, stores, 1), CERT_E_EXPIRED);
    EXPECT_EQ(response.VerifyCertificate(foreign.get(), false, stores, 1), CERT_E_UNTRUSTEDCA);
    EXPECT_EQ(response.VerifyCertificate(other.ca_ctx.get(), false, stores, 1), CERT_E_WRONG_USAGE)
        << "another CA is no delegate";
    EXPECT_NE(response.VerifyCertificate(nullptr, false, stores, 1), 0);
}

TEST_F(OcspResponse, VerifySrChecksThisUpdateAndNextUpdate) {
    Single current = pki.single();
    Single no_next = pki.single();
    no_next.next_update.reset();
    Single stale = pki.single();
    stale.this_update = -7200;
    stale.next_update = -3600;
    Single early = pki.single();
    early.this_update = 3600;
    Single slightly_early = pki.single();
    slightly_early.this_update = 60;  // within the clock skew
    const CResponse response =
        imported(ocsp_pki::response({current, no_next, stale, early, slightly_early}, pki.ca_signer()));
    EXPECT_EQ(response.VerifySR(0, nullptr, nullptr), 0);
    EXPECT_EQ(response.VerifySR(1, nullptr, nullptr), 0);
    EXPECT_EQ(response.VerifySR(2, nullptr, nullptr), CERT_E_EXPIRED);
    EXPECT_EQ(response.VerifySR(3, nullptr, nullptr), CERT_E_EXPIRED);
    EXPECT_EQ(response.VerifySR(4, nullptr, nullptr), 0);
    EXPECT_NE(response.VerifySR(5, nullptr, nullptr), 0);
}

TEST_F(OcspResponse, MatchesCertIdsOnEveryPart) {
    Single sha256 = pki.single();
    sha256.sha256 = true;
    Single other_serial = pki.single();
    other_serial.serial = 5;
    const Pki other;
    Single other_issuer = other.single();
    other_issuer.serial = 0;
    const CResponse response = imported(ocsp_pki::response({sha256, other_serial, other_issuer}, pki.ca_signer()));
    EXPECT_EQ(response.get_SRIndexByCertID(request_id(pki)), -1);
    EXPECT_EQ(response.get_SRCertID(0).get_hashAlgorithm(), "2.16.840.1.101.3.4.2.1");
}

}  // namespace
