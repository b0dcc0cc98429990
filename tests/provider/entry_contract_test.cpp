// The provider's contract with its caller: argument checks, the chain mode,
// the index and the codes that may come out, whatever the input.
#include <gtest/gtest.h>

#include <algorithm>

#include "provider/contract_codes.h"
#include "provider/revocation_provider.h"
#include "tests/provider/provider_fixture.h"

namespace provider_test {
namespace {

constexpr BOOL kInvalidArgResult = static_cast<BOOL>(E_INVALIDARG);
constexpr DWORD kNoCheck = static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK);

TEST(EntryArguments, BadArgumentsAnswerTheInvalidArgValueAndLeaveTheLastError) {
    TestPki pki;
    CertPtr leaf = add_to_store(pki.store.get(), pki.leaf());
    const CERT_CONTEXT* one[] = {leaf.get()};
    const CERT_CONTEXT* null_first[] = {nullptr, leaf.get()};
    struct Case {
        DWORD count;
        const CERT_CONTEXT* const* certs;
        bool with_status;
        DWORD index_after;
    };
    // The index is reset before the first element is looked at.
    for (const Case& c : {Case{1, nullptr, true, 0xAAAA}, Case{1, one, false, 0}, Case{0, one, true, 0xAAAA},
                          Case{2, null_first, true, 0}}) {
        CERT_REVOCATION_STATUS status = fresh_status();
        SetLastError(0x5EED);
        EXPECT_EQ(
            _HaldenModule.CertDllVerifyRevocation(c.count, c.certs, 0, nullptr, c.with_status ? &status : nullptr),
            kInvalidArgResult);
        EXPECT_EQ(GetLastError(), 0x5EEDu);
        EXPECT_EQ(status.dwIndex, c.with_status ? c.index_after : 0xAAAAu);
        EXPECT_EQ(status.dwError, 0xBBBBu);
    }

    // A null behind good certificates: the index keeps its last value.
    CERT_REVOCATION_PARA para = para_with();
    para.pIssuerCert = pki.intermediate_context.get();
    CERT_REVOCATION_STATUS status = fresh_status();
    EXPECT_EQ(verify({leaf.get(), leaf.get(), nullptr}, 0, &para, &status), kInvalidArgResult);
    EXPECT_EQ(status.dwIndex, 0u);
}

TEST(EntryChainMode, OnlyASelfSignedLastElementOfSeveralIsLeftOut) {
    TestPki pki;
    CertPtr leaf = add_to_store(pki.store.get(), pki.leaf());
    HCERTSTORE stores[] = {pki.store.get()};
    struct Case {
        const char* what;
        std::vector<const CERT_CONTEXT*> chain;
        BOOL result;
    };
    // A checked root would fail: nobody can answer for it.
    const Case cases[] = {
        {"root left out", {leaf.get(), pki.intermediate_context.get(), pki.root_context.get()}, TRUE},
        // The last element's issuer comes from a chain the platform builds.
        {"intermediate last", {leaf.get(), pki.intermediate_context.get()}, TRUE},
        {"root alone", {pki.root_context.get()}, FALSE},
    };
    for (const Case& c : cases) {
        CERT_REVOCATION_PARA para = para_with();
        para.cCertStore = 1;
        para.rgCertStore = stores;
        CERT_REVOCATION_STATUS status = fresh_status();
        EXPECT_EQ(verify(c.chain, CERT_VERIFY_REV_CHAIN_FLAG, &para, &status), c.result) << c.what;
        EXPECT_EQ(GetLastError(), c.result ? 0u : kNoCheck) << c.what;
    }
}

TEST(EntryIndex, TheFirstCertificateWithoutAVerdictIsNamed) {
    TestPki pki;
    provider_pki::ResponseSpec unknown;
    unknown.status = provider_pki::CertStatus::unknown;
    CertPtr good = add_to_store(pki.store.get(), pki.leaf());
    CertPtr open = add_to_store(pki.store.get(), pki.leaf(unknown));
    CERT_REVOCATION_PARA para = para_with();
    para.pIssuerCert = pki.intermediate_context.get();
    CERT_REVOCATION_STATUS status = fresh_status();
    // A certificate met twice is no cycle: its first entry is gone.
    EXPECT_EQ(verify({good.get(), good.get(), open.get(), good.get()}, 0, &para, &status), FALSE);
    EXPECT_EQ(GetLastError(), kNoCheck);
    EXPECT_EQ(status.dwIndex, 2u);
    EXPECT_EQ(status.dwError, kNoCheck);

    // Cache-only revocation never asks the responder, which would say good.
    CertPtr unasked = add_to_store(pki.store.get(), pki.leaf());
    const int before = pki.responder.requests();
    status = fresh_status();
    EXPECT_EQ(verify({unasked.get()}, CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION, &para, &status), FALSE);
    EXPECT_EQ(GetLastError(), kNoCheck);
    EXPECT_EQ(pki.responder.requests(), before);

    // A status too short for dwError: the CRL routine answers by the last
    // error alone.
    status = fresh_status();
    status.cbSize = 12;
    EXPECT_EQ(verify({open.get()}, 0, &para, &status), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
    EXPECT_EQ(status.dwError, 0xBBBBu);
}

TEST(EntryCodes, OnlyTheContractCodesLeaveTheLibrary) {
    for (const HRESULT code : {E_INVALIDARG, CRYPT_E_REVOKED, CRYPT_E_NO_REVOCATION_DLL, CRYPT_E_NO_REVOCATION_CHECK,
                               CRYPT_E_REVOCATION_OFFLINE, CRYPT_E_NOT_IN_REVOCATION_DATABASE}) {
        EXPECT_EQ(halden::provider::MapToContractCode(code), code);
    }
    for (const HRESULT code : {NTE_FAIL, E_FAIL, halden::provider::kNoVerdict, HRESULT_FROM_WIN32(5), CRYPT_E_NOT_FOUND,
                               CRYPT_E_PENDING_CLOSE, static_cast<HRESULT>(0x80092015), 87}) {
        EXPECT_EQ(halden::provider::MapToContractCode(code), CRYPT_E_NO_REVOCATION_CHECK) << std::hex << code;
    }
}

TEST(EntryHostileInput, BadStoresEndInNoRevocationCheckBeforeAnythingIsWritten) {
    TestPki pki;
    CertPtr leaf = add_to_store(pki.store.get(), pki.leaf());
    HCERTSTORE null_store[] = {nullptr};
    for (HCERTSTORE* stores : {static_cast<HCERTSTORE*>(nullptr), null_store}) {
        CERT_REVOCATION_PARA para = para_with();
        para.cCertStore = 1;
        para.rgCertStore = stores;
        CERT_REVOCATION_STATUS status = fresh_status();
        EXPECT_EQ(verify({leaf.get()}, 0, &para, &status), FALSE);
        EXPECT_EQ(GetLastError(), kNoCheck);
        EXPECT_EQ(status.dwIndex, 0xAAAAu);
    }
}

TEST(EntryHostileInput, DamagedStapledResponsesEndInAContractCode) {
    TestPki pki;
    const Bytes cert = pki.unanswered_leaf();
    const Bytes intact =
        provider_pki::ocsp_response_for(cert, pki.intermediate, pki.intermediate_id, pki.intermediate, {});
    CertPtr leaf = add_to_store(pki.store.get(), cert);
    std::vector<Bytes> damaged;
    for (size_t size = 0; size < intact.size(); ++size) {
        damaged.emplace_back(intact.begin(), intact.begin() + size);
    }
    for (size_t at = 0; at < intact.size(); at += 5) {
        damaged.push_back(intact);
        damaged.back()[at] ^= 0xFF;
    }
    for (const Bytes& response : damaged) {
        CRYPT_DATA_BLOB blob{static_cast<DWORD>(response.size()), const_cast<BYTE*>(response.data())};
        ASSERT_TRUE(CertSetCertificateContextProperty(leaf.get(), CERT_OCSP_RESPONSE_PROP_ID, 0, &blob));
        CERT_REVOCATION_CRL_INFO crl_info{};
        crl_info.cbSize = sizeof crl_info;
        CERT_REVOCATION_PARA para = para_with(&crl_info);
        CERT_REVOCATION_STATUS status = fresh_status();
        const BOOL result = verify({leaf.get()}, CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION, &para, &status);
        const DWORD error = GetLastError();
        EXPECT_TRUE(result == FALSE ? error == kNoCheck || error == static_cast<DWORD>(CRYPT_E_REVOKED)
                                    : result == TRUE && error == 0)
            << response.size() << ": " << result << " " << std::hex << error;
        CertFreeCRLContext(crl_info.pBaseCrlContext);
    }
    EXPECT_EQ(pki.responder.requests(), 0);
}

}  // namespace
}  // namespace provider_test
