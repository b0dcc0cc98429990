// What the provider makes of OCSP: stapled responses, and the answers of a
// live responder on 127.0.0.1. Good and revoked decide; everything else is
// left to the CRL road, which has no verdict yet.
#include <gtest/gtest.h>

#include <ctime>
#include <functional>

#include "provider/additional_store.h"
#include "provider/contract_codes.h"
#include "provider/ocsp_check.h"
#include "tests/provider/provider_fixture.h"

namespace provider_test {
namespace {

using halden::provider::kNoVerdict;
using halden::test::HttpReply;
using provider_pki::CertStatus;
using provider_pki::ResponseSpec;

constexpr DWORD kNoCheck = static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK);
constexpr DWORD kRevoked = static_cast<DWORD>(CRYPT_E_REVOKED);

ResponseSpec with_status(CertStatus status) {
    ResponseSpec plan;
    plan.status = status;
    plan.revoked_at = std::time(nullptr) - 86400;
    return plan;
}

// The additional store of a call without stores of the caller.
ATL2::CCertStore collection() {
    ATL2::CCertStore store;
    EXPECT_EQ(BuildAdditionalStore(store, nullptr), S_OK);
    return store;
}

TEST(LiveOcsp, EachAnswerOfTheResponderMapsToOneOutcome) {
    TestPki pki;
    provider_pki::Identity stranger("Provider Test Stranger");
    const Bytes stranger_cert = provider_pki::self_signed(stranger);
    ResponseSpec tampered, unauthorized, elapsed;
    tampered.tamper_signature = true;
    unauthorized.response_status = 6;
    elapsed.this_update = -7200;
    elapsed.next_update = -3600L;
    const auto raw = [&](HttpReply reply) {
        const Bytes cert = pki.unanswered_leaf();
        pki.responder.answer_raw(provider_pki::serial_of(cert), reply);
        return cert;
    };
    HttpReply drop;
    drop.mode = HttpReply::Mode::drop;

    struct Case {
        const char* what;
        std::function<Bytes()> make_leaf;
        DWORD error;  // 0: passes
    };
    const Case cases[] = {
        {"good", [&] { return pki.leaf(); }, 0},
        {"revoked", [&] { return pki.leaf(with_status(CertStatus::revoked)); }, kRevoked},
        {"unknown", [&] { return pki.leaf(with_status(CertStatus::unknown)); }, kNoCheck},
        {"bad signature", [&] { return pki.leaf(tampered); }, kNoCheck},
        {"unauthorized", [&] { return pki.leaf(unauthorized); }, kNoCheck},
        {"elapsed nextUpdate", [&] { return pki.leaf(elapsed); }, kNoCheck},
        {"signed by a stranger",
         [&] {
             const Bytes cert = pki.unanswered_leaf();
             pki.responder.answer(provider_pki::serial_of(cert), stranger, stranger_cert);
             return cert;
         },
         kNoCheck},
        {"not an OCSP response", [&] { return raw(HttpReply::ok("no OCSP here")); }, kNoCheck},
        {"dropped connection", [&] { return raw(drop); }, kNoCheck},
        {"HTTP error", [&] { return pki.unanswered_leaf(); }, kNoCheck},
    };
    CertPtr good = add_to_store(pki.store.get(), pki.leaf());
    for (const Case& c : cases) {
        CertPtr leaf = add_to_store(pki.store.get(), c.make_leaf());
        CERT_REVOCATION_PARA para = para_with();
        para.pIssuerCert = pki.intermediate_context.get();
        CERT_REVOCATION_STATUS status = fresh_status();
        // Behind a good certificate, so that the index tells.
        EXPECT_EQ(verify({good.get(), leaf.get()}, 0, &para, &status), c.error == 0 ? TRUE : FALSE) << c.what;
        EXPECT_EQ(GetLastError(), c.error) << c.what;
        EXPECT_EQ(status.dwIndex, c.error != 0 ? 1u : 0u) << c.what;
        if (c.error == kRevoked) {
            // An OCSP verdict leaves the CRL fields as the caller passed them.
            EXPECT_EQ(status.dwError, 0xBBBBu);
            EXPECT_EQ(status.dwReason, 0xCCCCu);
        }
    }
}

TEST(LiveOcsp, ARevocationAfterTheTimeToUseStillCountsAsGood) {
    TestPki pki;
    const ResponseSpec revoked = with_status(CertStatus::revoked);
    CertPtr leaf = add_to_store(pki.store.get(), pki.leaf(revoked));
    // Only a strictly earlier time to use passes.
    for (const long offset : {-1L, 0L, 1L}) {
        FILETIME time_to_use = filetime_of(revoked.revoked_at + offset);
        CERT_REVOCATION_PARA para = para_with();
        para.pIssuerCert = pki.intermediate_context.get();
        para.pftTimeToUse = &time_to_use;
        CERT_REVOCATION_STATUS status = fresh_status();
        EXPECT_EQ(verify({leaf.get()}, 0, &para, &status), offset < 0 ? TRUE : FALSE) << offset;
        EXPECT_EQ(GetLastError(), offset < 0 ? 0u : kRevoked) << offset;
    }
}

TEST(LiveOcsp, NoIssuerOrARootAsksNobody) {
    TestPki pki;
    CertPtr leaf = add_to_store(pki.store.get(), pki.leaf());
    ATL2::CCertStore store = collection();
    const CERT_CONTEXT* no_issuer = nullptr;
    EXPECT_EQ(VerifyRevocationOneCert(leaf.get(), nullptr, no_issuer, store), kNoVerdict);
    EXPECT_TRUE(store.children().empty());
    // The issuer is made findable first, even for a root.
    const CERT_CONTEXT* root = pki.root_context.get();
    EXPECT_EQ(VerifyRevocationOneCert(root, nullptr, root, store), kNoVerdict);
    EXPECT_EQ(store.children().size(), 1u);
    EXPECT_EQ(pki.responder.requests(), 0);
}

TEST(LiveOcsp, TheSyntheticCrlComesBeforeVerificationAndNeedsAnAnswer) {
    TestPki pki;
    ResponseSpec tampered;
    tampered.tamper_signature = true;
    CertPtr forged = add_to_store(pki.store.get(), pki.leaf(tampered));
    provider_pki::CertOptions nowhere;
    {
        halden::test::LoopbackHttpServer gone;
        nowhere.ocsp_url = gone.url("/ocsp");
    }
    CertPtr unreachable = add_to_store(pki.store.get(), pki.unanswered_leaf(nowhere));
    const CERT_CONTEXT* issuer = pki.intermediate_context.get();
    struct Case {
        const CERT_CONTEXT* cert;
        HRESULT result;
        bool crl;
    };
    for (const Case& c : {Case{forged.get(), NTE_BAD_SIGNATURE, true}, Case{unreachable.get(), kNoVerdict, false}}) {
        CERT_REVOCATION_CRL_INFO crl_info{};
        crl_info.cbSize = sizeof crl_info;
        CERT_REVOCATION_PARA para = para_with(&crl_info);
        ATL2::CCertStore store = collection();
        EXPECT_EQ(VerifyRevocationOneCert(c.cert, &para, issuer, store), c.result);
        EXPECT_EQ(crl_info.pBaseCrlContext != nullptr, c.crl);
        CertFreeCRLContext(crl_info.pBaseCrlContext);
    }
}

TEST(LiveOcsp, TheChainParametersResyncTimeWinsAndIsReadOnlyWhenCovered) {
    TestPki pki;
    CertPtr leaf = add_to_store(pki.store.get(), pki.leaf());
    const CERT_CONTEXT* issuer = pki.intermediate_context.get();
    ATL2::CCertStore store = collection();
    ASSERT_EQ(VerifyRevocationOneCert(leaf.get(), nullptr, issuer, store), S_OK);
    ASSERT_EQ(pki.responder.requests(), 1);

    FILETIME later = filetime_of(std::time(nullptr) + 3600);
    CERT_REVOCATION_CHAIN_PARA chain{};
    chain.cbSize = sizeof chain;
    CERT_REVOCATION_PARA para = para_with();
    para.pChainPara = &chain;
    // The cached answer serves while nobody asks for a fresher one...
    para.pftCacheResync = &later;
    para.cbSize = offsetof(CERT_REVOCATION_PARA, pftCacheResync);
    EXPECT_EQ(VerifyRevocationOneCert(leaf.get(), &para, issuer, store), S_OK);
    EXPECT_EQ(pki.responder.requests(), 1);
    // ...and the chain parameter's time is read when the structure covers it.
    para.cbSize = sizeof para;
    para.pftCacheResync = nullptr;
    chain.pftCacheResync = &later;
    EXPECT_EQ(VerifyRevocationOneCert(leaf.get(), &para, issuer, store), S_OK);
    EXPECT_EQ(pki.responder.requests(), 2);
}

TEST(StapledOcsp, AStapledAnswerDecidesFirstOrFallsThrough) {
    TestPki pki;
    struct Case {
        const char* what;
        std::function<Bytes(const Bytes&)> staple;
        bool with_crl_info;
        DWORD error;   // 0: passes
        int requests;  // to the live responder, which says good
    };
    const auto answer = [&](CertStatus status) {
        return [&pki, status](const Bytes& cert) {
            return provider_pki::ocsp_response_for(cert, pki.intermediate, pki.intermediate_id, pki.intermediate,
                                                   with_status(status));
        };
    };
    const auto not_ocsp = [](const Bytes&) { return Bytes{0x30, 0x03, 0x02, 0x01, 0x00}; };
    const Case cases[] = {
        {"good", answer(CertStatus::good), false, 0, 0},
        {"revoked", answer(CertStatus::revoked), false, kRevoked, 0},
        {"unknown", answer(CertStatus::unknown), false, 0, 1},
        {"not OCSP", not_ocsp, false, 0, 1},
        // Handing it to the caller as a CRL fails.
        {"not OCSP, CRL wanted", not_ocsp, true, kNoCheck, 0},
    };
    for (const Case& c : cases) {
        const Bytes cert = pki.leaf();
        CertPtr leaf = add_to_store(pki.store.get(), cert);
        const Bytes response = c.staple(cert);
        CRYPT_DATA_BLOB blob{static_cast<DWORD>(response.size()), const_cast<BYTE*>(response.data())};
        ASSERT_TRUE(CertSetCertificateContextProperty(leaf.get(), CERT_OCSP_RESPONSE_PROP_ID, 0, &blob));
        CERT_REVOCATION_CRL_INFO crl_info{};
        crl_info.cbSize = sizeof crl_info;
        CERT_REVOCATION_PARA para = para_with(c.with_crl_info ? &crl_info : nullptr);
        para.pIssuerCert = pki.intermediate_context.get();
        CERT_REVOCATION_STATUS status = fresh_status();
        const int before = pki.responder.requests();
        __atomic_store_n(&_strictPkupCheck, 0, __ATOMIC_RELAXED);
        EXPECT_EQ(verify({leaf.get()}, 0, &para, &status), c.error == 0 ? TRUE : FALSE) << c.what;
        EXPECT_EQ(GetLastError(), c.error) << c.what;
        EXPECT_EQ(pki.responder.requests() - before, c.requests) << c.what;
        EXPECT_EQ(crl_info.pBaseCrlContext, nullptr) << c.what;
        // A stapled verdict needs no strict check; the live one asks for it.
        EXPECT_EQ(__atomic_load_n(&_strictPkupCheck, __ATOMIC_RELAXED) != 0, c.requests != 0) << c.what;
    }
}

TEST(StapledOcsp, AStapledGoodAnswerIsHandedBackAsACrl) {
    TestPki pki;
    const Bytes cert = pki.unanswered_leaf();
    const Bytes response =
        provider_pki::ocsp_response_for(cert, pki.intermediate, pki.intermediate_id, pki.intermediate, {});
    CertPtr leaf = add_to_store(pki.store.get(), cert);
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(response.size()), const_cast<BYTE*>(response.data())};
    ASSERT_TRUE(CertSetCertificateContextProperty(leaf.get(), CERT_OCSP_RESPONSE_PROP_ID, 0, &blob));
    CERT_REVOCATION_CRL_INFO crl_info{};
    crl_info.cbSize = sizeof crl_info;
    CERT_REVOCATION_PARA para = para_with(&crl_info);
    CERT_REVOCATION_STATUS status = fresh_status();
    EXPECT_EQ(verify({leaf.get()}, 0, &para, &status), TRUE);
    ASSERT_NE(crl_info.pBaseCrlContext, nullptr);
    CrlPtr crl(crl_info.pBaseCrlContext);
    EXPECT_EQ(crl->pCrlInfo->cCRLEntry, 0u);
    ASSERT_EQ(crl->pCrlInfo->cExtension, 1u);
    const CRYPT_OBJID_BLOB& value = crl->pCrlInfo->rgExtension[0].Value;
    EXPECT_EQ(Bytes(value.pbData, value.pbData + value.cbData), response);
}

}  // namespace
}  // namespace provider_test
