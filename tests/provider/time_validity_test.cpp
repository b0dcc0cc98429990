// Whether an issuer's private key was valid when its certificate began to
// be, and the strict switch that asks for that check.
#include <gtest/gtest.h>

#include <ctime>

#include "nimbole/strict_pkup.h"
#include "provider/time_validity.h"
#include "tests/provider/provider_fixture.h"

namespace provider_test {
namespace {

const std::time_t kNow = std::time(nullptr);
const std::time_t kDay = 86400;

struct TimeValidity : ::testing::Test {
    provider_pki::Identity id{"Provider Test Key Period"};

    CertPtr cert_with(provider_pki::CertOptions options) {
        options.ca = true;
        return free_context(provider_pki::self_signed(id, options));
    }
    CertPtr with_period(std::optional<std::time_t> not_before, std::optional<std::time_t> not_after) {
        provider_pki::CertOptions options;
        options.key_usage_period = true;
        options.period_not_before = not_before;
        options.period_not_after = not_after;
        return cert_with(options);
    }
    // -1: the test could not be made; otherwise 0 or 1.
    static int valid_at(const CERT_CONTEXT* cert, std::time_t when) {
        bool valid = true;
        const HRESULT code = IsCertContextValidOnTime(cert, filetime_of(when), &valid);
        return code != S_OK ? (valid ? -2 : -1) : (valid ? 1 : 0);
    }
};

TEST_F(TimeValidity, TheKeyPeriodDecidesWithInclusiveBounds) {
    const std::time_t from = kNow - 10 * kDay;
    const std::time_t to = kNow + 10 * kDay;
    CertPtr both = with_period(from, to);
    CertPtr only_after = with_period(std::nullopt, to);
    // With only a lower bound the key stays valid beyond the certificate.
    CertPtr only_before = with_period(from, std::nullopt);
    struct Case {
        const char* what;
        const CERT_CONTEXT* cert;
        std::time_t when;
        int valid;
    };
    const Case cases[] = {
        {"before the period", both.get(), from - 1, 0},
        {"at its start", both.get(), from, 1},
        {"at its end", both.get(), to, 1},
        {"after it", both.get(), to + 1, 0},
        {"no lower bound, long ago", only_after.get(), kNow - 3650 * kDay, 1},
        {"no lower bound, after the end", only_after.get(), to + 1, 0},
        {"no upper bound, after the certificate", only_before.get(), kNow + 3650 * kDay, 1},
        {"no upper bound, too early", only_before.get(), from - 1, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(valid_at(c.cert, c.when), c.valid) << c.what;
    }
}

TEST_F(TimeValidity, WithoutTheExtensionTheCertificatesValidityDecides) {
    provider_pki::CertOptions options;
    options.valid_from = -kDay;
    options.valid_to = kDay;
    CertPtr plain = cert_with(options);
    EXPECT_EQ(valid_at(plain.get(), kNow), 1);
    EXPECT_EQ(valid_at(plain.get(), kNow - 2 * kDay), 0);
    EXPECT_EQ(valid_at(plain.get(), kNow + 2 * kDay), 0);

    // With the extension the certificate's validity plays no part.
    options.key_usage_period = true;
    options.period_not_before = kNow - 5 * kDay;
    CertPtr period = cert_with(options);
    EXPECT_EQ(valid_at(period.get(), kNow - 3 * kDay), 1);
}

TEST_F(TimeValidity, AnUndecodablePeriodIsNoVerdictAndIsTraced) {
    provider_pki::CertOptions options;
    options.broken_key_usage_period = true;
    CertPtr broken = cert_with(options);
    ScopedTrace trace;
    EXPECT_EQ(valid_at(broken.get(), kNow), -1);
    EXPECT_EQ(IsCertPrivateKeyValidOnTime(broken.get(), filetime_of(kNow)), E_FAIL);
    const std::string text = trace.text();
    EXPECT_NE(text.find("Extension PRIVATEKEY_USAGE_PERIOD could not be decoded: hr = 0x80093100."), std::string::npos)
        << text;
    EXPECT_NE(text.find("IsCertContextValidOnTime failed with code: -2147467259"), std::string::npos) << text;
}

TEST_F(TimeValidity, AnInvalidTimeIsTracedEvenWhenItHasNoCalendarForm) {
    CertPtr period = with_period(kNow - kDay, kNow + kDay);
    ScopedTrace trace;
    EXPECT_EQ(IsCertPrivateKeyValidOnTime(period.get(), filetime_of(kNow + 2 * kDay)), CRYPT_E_NO_REVOCATION_CHECK);
    EXPECT_EQ(IsCertPrivateKeyValidOnTime(period.get(), filetime_of(kNow)), S_OK);
    const FILETIME beyond_calendar{0xFFFFFFFFu, 0xFFFFFFFFu};
    bool valid = true;
    EXPECT_EQ(IsCertContextValidOnTime(period.get(), beyond_calendar, &valid), S_OK);
    EXPECT_FALSE(valid);
    const std::string text = trace.text();
    EXPECT_NE(text.find("Certificate has not been valid on time ("), std::string::npos) << text;
    EXPECT_NE(text.find("(0xffffffffffffffff)..."), std::string::npos) << text;
}

TEST(StrictPkupSwitch, TheRegistryIsReadOnceAndOnlyTheLow32BitsCount) {
    struct Case {
        std::optional<long> value;
        int state;
    };
    // The absent value first: the home starts without a registry.
    const Case cases[] = {{std::nullopt, 1}, {0, 1}, {1, 2}, {0x100000000L, 1}, {-1, 2}};
    for (const Case& c : cases) {
        if (c.value) {
            ASSERT_EQ(maren_registry_set_long("\\config\\MarenCheck\\StrictPkupCheck", *c.value), 0);
        }
        __atomic_store_n(&_strictPkupCheck, 0, __ATOMIC_RELAXED);
        EXPECT_EQ(halden::nimbole::StrictPkupCheckState(), c.state) << (c.value ? *c.value : -99);
    }
    // Read once: a later change of the value needs a restart.
    ASSERT_EQ(maren_registry_set_long("\\config\\MarenCheck\\StrictPkupCheck", 0), 0);
    EXPECT_EQ(halden::nimbole::StrictPkupCheckState(), 2);
}

TEST(StrictPkupSwitch, AnIssuerWhoseKeyExpiredBeforeTheLeafFailsOnlyWhenStrict) {
    TestPki pki;
    provider_pki::Identity retired_id("Provider Test Retired Key");
    provider_pki::CertOptions issuer_options;
    issuer_options.ca = true;
    issuer_options.key_usage_period = true;
    issuer_options.period_not_after = kNow - 10 * kDay;
    const Bytes retired = provider_pki::issue(retired_id, pki.root_id, issuer_options);
    CertPtr retired_context = add_to_store(pki.store.get(), retired);
    provider_pki::CertOptions leaf_options;
    leaf_options.ocsp_url = pki.responder.url();
    const Bytes leaf = provider_pki::issue(provider_pki::Identity("Provider Test Late Leaf"), retired_id, leaf_options);
    pki.responder.answer(provider_pki::serial_of(leaf), retired_id, retired);
    CertPtr leaf_context = add_to_store(pki.store.get(), leaf);

    struct Case {
        long strict;
        BOOL result;
    };
    for (const Case& c : {Case{0, TRUE}, Case{1, FALSE}}) {
        ASSERT_EQ(maren_registry_set_long("\\config\\MarenCheck\\StrictPkupCheck", c.strict), 0);
        __atomic_store_n(&_strictPkupCheck, 0, __ATOMIC_RELAXED);
        CERT_REVOCATION_PARA para = para_with();
        para.pIssuerCert = retired_context.get();
        CERT_REVOCATION_STATUS status = fresh_status();
        EXPECT_EQ(verify({leaf_context.get()}, 0, &para, &status), c.result) << c.strict;
        EXPECT_EQ(GetLastError(), c.result ? 0u : static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK));
    }
}

}  // namespace
}  // namespace provider_test
