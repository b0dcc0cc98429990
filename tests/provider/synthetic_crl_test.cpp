// The synthetic CRL made of an OCSP response, read back with OpenSSL.
#include <gtest/gtest.h>

#include <ctime>

#include "base/blob.h"
#include "base/date_time.h"
#include "provider/ocsp_to_crl.h"
#include "tests/provider/provider_fixture.h"

namespace provider_test {
namespace {

using provider_pki::CertStatus;
using provider_pki::ResponseSpec;
using Tarsis::PKI::OCSP::Client::CResponse;

CResponse imported(const Bytes& der) {
    CResponse response;
    response.Import(der.data(), der.size(), nullptr);
    return response;
}

Bytes crl_bytes(const CRL_CONTEXT* crl) {
    return Bytes(crl->pbCrlEncoded, crl->pbCrlEncoded + crl->cbCrlEncoded);
}

struct SyntheticCrl : ::testing::Test {
    TestPki pki;
    CERT_REVOCATION_CRL_INFO info = [] {
        CERT_REVOCATION_CRL_INFO fresh{};
        fresh.cbSize = sizeof fresh;
        return fresh;
    }();
    ~SyntheticCrl() override {
        CertFreeCRLContext(info.pBaseCrlContext);
        CertFreeCRLContext(info.pDeltaCrlContext);
    }
    Bytes response_about(const Bytes& cert, const ResponseSpec& plan) {
        return provider_pki::ocsp_response_for(cert, pki.intermediate, pki.intermediate_id, pki.intermediate, plan);
    }
};

TEST_F(SyntheticCrl, ARevokedAnswerBecomesAHashSignedCrlWithOneEntry) {
    provider_pki::CertOptions options;
    options.serial = 0x010203;
    const Bytes cert = pki.unanswered_leaf(options);
    ResponseSpec plan;
    plan.status = CertStatus::revoked;
    plan.revoked_at = std::time(nullptr) - 7200;
    const Bytes response = response_about(cert, plan);
    CResponse parsed = imported(response);
    ASSERT_EQ(ConvertOcspToCrl(parsed, &info), S_OK);
    ASSERT_NE(info.pBaseCrlContext, nullptr);
    EXPECT_EQ(info.cbSize, 40u);
    EXPECT_EQ(info.pDeltaCrlContext, nullptr);
    EXPECT_EQ(info.pCrlEntry, nullptr);
    EXPECT_EQ(info.fDeltaCrlEntry, FALSE);

    const provider_pki::CrlView crl = provider_pki::read_crl(crl_bytes(info.pBaseCrlContext));
    EXPECT_EQ(crl.version, 1);
    EXPECT_EQ(crl.issuer, provider_pki::subject_of(pki.intermediate));
    EXPECT_EQ(crl.this_update, parsed.get_SRThisUpdate(0).getTime());
    EXPECT_EQ(crl.next_update, parsed.get_SRNextUpdate(0)->getTime());
    EXPECT_EQ(crl.revoked_serials, std::vector<long>{0x010203});
    EXPECT_EQ(crl.revocation_dates, std::vector<std::time_t>{plan.revoked_at});
    // The inner algorithm copies the response's, the outer one names a bare
    // hash whose value is the signature.
    EXPECT_EQ(crl.inner_algorithm, parsed.get_SignatureAlgorithmOID());
    EXPECT_EQ(crl.outer_algorithm, "1.3.14.3.2.26");
    EXPECT_FALSE(crl.outer_algorithm_has_parameters);
    EXPECT_EQ(crl.signature, provider_pki::sha1(crl.to_be_signed));
    ASSERT_EQ(crl.extension_count, 1);
    EXPECT_EQ(crl.extension_oid, "1.3.6.1.5.5.7.48.1.1");
    EXPECT_TRUE(crl.extension_critical);
    EXPECT_EQ(crl.extension_value, response);

    // The platform's view holds the serial little-endian.
    const CRL_INFO* decoded = info.pBaseCrlContext->pCrlInfo;
    ASSERT_EQ(decoded->cCRLEntry, 1u);
    const CRYPT_INTEGER_BLOB& serial = decoded->rgCRLEntry[0].SerialNumber;
    EXPECT_EQ(Bytes(serial.pbData, serial.pbData + serial.cbData), (Bytes{0x03, 0x02, 0x01}));
}

TEST_F(SyntheticCrl, AGoodAnswerWithoutNextUpdateListsNothingAndLastsHalfADay) {
    ResponseSpec plan;
    plan.next_update.reset();
    CResponse parsed = imported(response_about(pki.unanswered_leaf(), plan));
    ASSERT_EQ(ConvertOcspToCrl(parsed, &info), S_OK);
    const CRL_INFO* decoded = info.pBaseCrlContext->pCrlInfo;
    EXPECT_EQ(decoded->cCRLEntry, 0u);
    EXPECT_EQ(decoded->cExtension, 1u);
    const auto ticks = [](const FILETIME& t) {
        return static_cast<std::uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime;
    };
    EXPECT_EQ(ticks(decoded->NextUpdate) - ticks(decoded->ThisUpdate), 432000000000ull);
}

TEST_F(SyntheticCrl, AnUnknownAnswerIsListedAsOfThisUpdate) {
    ResponseSpec plan;
    plan.status = CertStatus::unknown;
    CResponse parsed = imported(response_about(pki.unanswered_leaf(), plan));
    ASSERT_EQ(ConvertOcspToCrl(parsed, &info), S_OK);
    const CRL_INFO* decoded = info.pBaseCrlContext->pCrlInfo;
    ASSERT_EQ(decoded->cCRLEntry, 1u);
    EXPECT_EQ(CompareFileTime(&decoded->rgCRLEntry[0].RevocationDate, &decoded->ThisUpdate), 0);
}

TEST_F(SyntheticCrl, EarlierContextsAreReleasedOnlyOnSuccess) {
    CResponse first = imported(response_about(pki.unanswered_leaf(), {}));
    ASSERT_EQ(ConvertOcspToCrl(first, &info), S_OK);
    info.pDeltaCrlContext = CertDuplicateCRLContext(info.pBaseCrlContext);
    const CRL_CONTEXT* base = info.pBaseCrlContext;

    ResponseSpec two;
    two.copies = 2;
    CResponse doubled = imported(response_about(pki.unanswered_leaf(), two));
    EXPECT_EQ(ConvertOcspToCrl(doubled, &info), HRESULT_FROM_WIN32(ERROR_INVALID_DATA));
    EXPECT_EQ(info.pBaseCrlContext, base);
    EXPECT_NE(info.pDeltaCrlContext, nullptr);

    // Success frees both; the leak checker sees to the rest.
    CResponse second = imported(response_about(pki.unanswered_leaf(), {}));
    ASSERT_EQ(ConvertOcspToCrl(second, &info), S_OK);
    EXPECT_EQ(info.pDeltaCrlContext, nullptr);
}

TEST_F(SyntheticCrl, ResponsesThatSayNothingAboutOneCertificateAreRefused) {
    ResponseSpec unsuccessful;
    unsuccessful.response_status = 3;
    ResponseSpec no_signer_cert;
    no_signer_cert.omit_signer_cert = true;
    for (const ResponseSpec& plan : {unsuccessful, no_signer_cert}) {
        CResponse parsed = imported(response_about(pki.unanswered_leaf(), plan));
        EXPECT_EQ(ConvertOcspToCrl(parsed, &info), HRESULT_FROM_WIN32(ERROR_INVALID_DATA));
        EXPECT_EQ(info.pBaseCrlContext, nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
    }
    CResponse good = imported(response_about(pki.unanswered_leaf(), {}));
    EXPECT_EQ(ConvertOcspToCrl(good, nullptr), E_INVALIDARG);
}

}  // namespace
}  // namespace provider_test
