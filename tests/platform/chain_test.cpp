/* The chain builder as the issuer lookup uses it: element 1 names the
 * issuer whatever the trust, the self-signed and bad-signature bits are
 * where the lookup reads them, and nothing about revocation is ever said. */
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <maren/maren.h>

#include "tests/platform/host_test_support.h"
#include "tests/platform/test_pki.h"

using test_pki::Bytes;
using test_pki::CertOptions;
using test_pki::Identity;

namespace {

struct StoreCloser {
    void operator()(void *store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, StoreCloser>;
struct CertReleaser {
    void operator()(const CERT_CONTEXT *cert) const { CertFreeCertificateContext(cert); }
};
using Cert = std::unique_ptr<const CERT_CONTEXT, CertReleaser>;
struct ChainReleaser {
    void operator()(const CERT_CHAIN_CONTEXT *chain) const { CertFreeCertificateChain(chain); }
};
using Chain = std::unique_ptr<const CERT_CHAIN_CONTEXT, ChainReleaser>;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr DWORD kRevocationBits =
    CERT_TRUST_IS_REVOKED | CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;

/* One platform home for the whole program: the store layer keeps one copy
 * of each system store per process. Fresh keys keep the tests apart. */
void use_test_home() {
    static host_test::TempDir *home = [] {
        auto *dir = new host_test::TempDir;
        setenv("MAREN_HOME", dir->path().c_str(), 1);
        return dir;
    }();
    (void)home;
}

Cert context_of(const Bytes &der) {
    return Cert(CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
}

bool same(const CERT_CONTEXT *cert, const Bytes &der) {
    return cert != nullptr && cert->cbCertEncoded == der.size() &&
           std::equal(der.begin(), der.end(), cert->pbCertEncoded);
}

/* Certificate options in the words of the tests. */
CertOptions end_entity(long serial = 1) {
    CertOptions options;
    options.serial = serial;
    options.ca = false;
    return options;
}
CertOptions without_key_ids(CertOptions options = {}) {
    options.key_ids = false;
    return options;
}
CertOptions valid_between(int from_days, int to_days, CertOptions options = {}) {
    options.valid_from = from_days;
    options.valid_to = to_days;
    return options;
}

FILETIME days_from_now(int days) {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const unsigned long long ticks = (static_cast<unsigned long long>(now.dwHighDateTime) << 32 | now.dwLowDateTime) +
                                     static_cast<long long>(days) * 864000000000LL;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

class ChainTest : public ::testing::Test {
  protected:
    void SetUp() override {
        use_test_home();
        additional_.reset(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
        ASSERT_TRUE(additional_);
    }

    void add(const Bytes &der) {
        ASSERT_TRUE(CertAddEncodedCertificateToStore(additional_.get(), kEncoding, der.data(),
                                                     static_cast<DWORD>(der.size()), CERT_STORE_ADD_ALWAYS, nullptr));
    }

    static void trust(const Bytes &root) {
        const Store store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"Root"));
        ASSERT_TRUE(store);
        ASSERT_TRUE(CertAddEncodedCertificateToStore(store.get(), kEncoding, root.data(),
                                                     static_cast<DWORD>(root.size()), CERT_STORE_ADD_ALWAYS, nullptr));
    }

    /* The call the issuer lookup makes: default engine, no time, the
     * additional store, a zeroed 32-byte parameter, flags 0x100. */
    Chain build(const Bytes &end, FILETIME *time = nullptr) {
        const Cert cert = context_of(end);
        EXPECT_TRUE(cert);
        if (!cert) return nullptr;
        CERT_CHAIN_PARA para{};
        para.cbSize = 32;
        const CERT_CHAIN_CONTEXT *chain = nullptr;
        EXPECT_TRUE(CertGetCertificateChain(nullptr, cert.get(), time, additional_.get(), &para, 0x100, nullptr,
                                            &chain));
        Chain held(chain);
        if (held) expect_well_formed(*held);
        return held;
    }

    static void expect_well_formed(const CERT_CHAIN_CONTEXT &chain) {
        ASSERT_EQ(chain.cChain, 1u);
        const CERT_SIMPLE_CHAIN &simple = *chain.rgpChain[0];
        ASSERT_GE(simple.cElement, 1u);
        DWORD errors = 0;
        for (DWORD i = 0; i < simple.cElement; ++i) {
            const CERT_CHAIN_ELEMENT &e = *simple.rgpElement[i];
            EXPECT_NE(e.pCertContext, nullptr);
            EXPECT_EQ(e.pRevocationInfo, nullptr);
            EXPECT_EQ(e.TrustStatus.dwErrorStatus & kRevocationBits, 0u) << "element " << i;
            errors |= e.TrustStatus.dwErrorStatus;
        }
        EXPECT_EQ(chain.TrustStatus.dwErrorStatus, errors);
        EXPECT_EQ(simple.TrustStatus.dwErrorStatus, errors);
    }

    static const CERT_CHAIN_ELEMENT &element(const Chain &chain, DWORD i) {
        return *chain->rgpChain[0]->rgpElement[i];
    }
    static DWORD length(const Chain &chain) { return chain->rgpChain[0]->cElement; }

    Store additional_;
};

TEST_F(ChainTest, TrustedPathNamesTheIssuerAsElementOne) {
    const Identity root("Trusted Root"), ca("Issuing CA"), leaf("Leaf");
    const Bytes root_cert = test_pki::self_signed(root);
    const Bytes ca_cert = test_pki::issue(ca, root);
    const Bytes leaf_cert = test_pki::issue(leaf, ca, end_entity(7));
    trust(root_cert);
    add(ca_cert);

    const Chain chain = build(leaf_cert);
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 3u);
    EXPECT_TRUE(same(element(chain, 0).pCertContext, leaf_cert));
    EXPECT_TRUE(same(element(chain, 1).pCertContext, ca_cert));
    EXPECT_TRUE(same(element(chain, 2).pCertContext, root_cert));
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, 0u);
    EXPECT_EQ(chain->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
    EXPECT_NE(element(chain, 0).TrustStatus.dwInfoStatus & CERT_TRUST_HAS_KEY_MATCH_ISSUER, 0u);
    EXPECT_NE(element(chain, 2).TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
}

TEST_F(ChainTest, IssuersWithoutKeyIdentifiersAreFoundByName) {
    const Identity root("Named Root"), leaf("Named Leaf");
    const CertOptions no_ids = without_key_ids();
    const Bytes root_cert = test_pki::self_signed(root, no_ids);
    add(root_cert);

    const Chain chain = build(test_pki::issue(leaf, root, without_key_ids(end_entity())));
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 2u);
    EXPECT_TRUE(same(element(chain, 1).pCertContext, root_cert));
    EXPECT_NE(element(chain, 0).TrustStatus.dwInfoStatus & CERT_TRUST_HAS_NAME_MATCH_ISSUER, 0u);
    /* The root is only in the additional store, not trusted. */
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, static_cast<DWORD>(CERT_TRUST_IS_UNTRUSTED_ROOT));
}

TEST_F(ChainTest, AnIssuerWhoseSignatureVerifiesBeatsANameTwin) {
    /* Two CAs of one name; only the second signed the leaf, and it is added
     * last, so the search has to look past the first. */
    const Identity impostor("Twin CA"), real("Twin CA"), leaf("Twin Leaf");
    const CertOptions no_ids = without_key_ids();
    const Bytes impostor_cert = test_pki::self_signed(impostor, no_ids);
    const Bytes real_cert = test_pki::self_signed(real, no_ids);
    add(impostor_cert);
    add(real_cert);

    const Chain chain = build(test_pki::issue(leaf, real, without_key_ids(end_entity())));
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 2u);
    EXPECT_TRUE(same(element(chain, 1).pCertContext, real_cert));
    EXPECT_EQ(element(chain, 0).TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0u);
}

TEST_F(ChainTest, SelfSignedCertificateAloneReportsSelfSigned) {
    const Identity root("Lonely Root");
    const Bytes root_cert = test_pki::self_signed(root);
    add(root_cert);

    const Chain chain = build(root_cert);
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 1u);
    EXPECT_NE(element(chain, 0).TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
    EXPECT_NE(chain->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, static_cast<DWORD>(CERT_TRUST_IS_UNTRUSTED_ROOT));

    trust(root_cert);
    const Chain trusted = build(root_cert);
    ASSERT_TRUE(trusted);
    EXPECT_EQ(trusted->TrustStatus.dwErrorStatus, 0u);
    EXPECT_NE(trusted->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
}

TEST_F(ChainTest, BadSignaturesAreMarkedOnTheSignedElement) {
    const Identity root("Strict Root"), leaf("Tampered Leaf");
    const Bytes root_cert = test_pki::self_signed(root);
    add(root_cert);

    /* The issuer is still element 1; its signature on element 0 fails. */
    const Chain chain = build(test_pki::tampered(test_pki::issue(leaf, root, end_entity())));
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 2u);
    EXPECT_TRUE(same(element(chain, 1).pCertContext, root_cert));
    EXPECT_NE(element(chain, 0).TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0u);
    EXPECT_EQ(element(chain, 1).TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0u);

    /* A self-issued certificate whose own signature fails is not
     * self-signed, and has no issuer. */
    const Chain broken_root = build(test_pki::tampered(test_pki::self_signed(Identity("Broken Root"))));
    ASSERT_TRUE(broken_root);
    ASSERT_EQ(length(broken_root), 1u);
    EXPECT_EQ(broken_root->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
    EXPECT_EQ(element(broken_root, 0).TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
    EXPECT_NE(broken_root->TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0u);
}

TEST_F(ChainTest, ExpiredAndUntrustedPathsStillNameTheIssuer) {
    const Identity root("Old Root"), ca("Old CA"), leaf("Old Leaf");
    const Bytes root_cert = test_pki::self_signed(root, valid_between(-500, 365));
    const Bytes ca_cert = test_pki::issue(ca, root, valid_between(-400, -30));
    add(root_cert);
    add(ca_cert);
    const Bytes leaf_cert = test_pki::issue(leaf, ca, valid_between(-300, -60, end_entity()));

    const Chain now = build(leaf_cert);
    ASSERT_TRUE(now);
    ASSERT_EQ(length(now), 3u);
    EXPECT_TRUE(same(element(now, 1).pCertContext, ca_cert));
    EXPECT_NE(element(now, 0).TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_TIME_VALID, 0u);
    EXPECT_NE(element(now, 1).TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_TIME_VALID, 0u);
    EXPECT_EQ(element(now, 2).TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_TIME_VALID, 0u);
    EXPECT_NE(now->TrustStatus.dwErrorStatus & CERT_TRUST_IS_UNTRUSTED_ROOT, 0u);

    /* Asked about a time when all three were valid. */
    FILETIME then = days_from_now(-100);
    const Chain back_then = build(leaf_cert, &then);
    ASSERT_TRUE(back_then);
    EXPECT_EQ(back_then->TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_TIME_VALID, 0u);
}

TEST_F(ChainTest, MissingIssuerLeavesAPartialChain) {
    const Identity ca("Absent CA"), leaf("Orphan Leaf");
    const Chain chain = build(test_pki::issue(leaf, ca, end_entity()));
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 1u);
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, static_cast<DWORD>(CERT_TRUST_IS_PARTIAL_CHAIN));
    EXPECT_EQ(element(chain, 0).TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0u);
}

TEST_F(ChainTest, CrossSignedLoopEnds) {
    /* X certified by Y and Y by X: the walk reaches each once and stops. */
    const Identity x("Loop X"), y("Loop Y"), leaf("Loop Leaf");
    const Bytes x_by_y = test_pki::issue(x, y);
    const Bytes y_by_x = test_pki::issue(y, x);
    add(x_by_y);
    add(y_by_x);

    const Chain chain = build(test_pki::issue(leaf, x, end_entity()));
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 3u);
    EXPECT_TRUE(same(element(chain, 1).pCertContext, x_by_y));
    EXPECT_TRUE(same(element(chain, 2).pCertContext, y_by_x));
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, static_cast<DWORD>(CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_CYCLIC));
}

TEST_F(ChainTest, RevocationIsNeverChecked) {
    /* A CRL revoking the leaf is at hand and revocation is asked for. */
    const Identity root("Revoking Root"), leaf("Revoked Leaf");
    const Bytes root_cert = test_pki::self_signed(root);
    add(root_cert);
    const Bytes crl = test_pki::crl(root, {{7, 1}});
    ASSERT_TRUE(CertAddEncodedCRLToStore(additional_.get(), kEncoding, crl.data(), static_cast<DWORD>(crl.size()),
                                         CERT_STORE_ADD_ALWAYS, nullptr));
    const Cert cert = context_of(test_pki::issue(leaf, root, end_entity(7)));
    ASSERT_TRUE(cert);

    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof para;
    const CERT_CHAIN_CONTEXT *raw = nullptr;
    ASSERT_TRUE(CertGetCertificateChain(nullptr, cert.get(), nullptr, additional_.get(), &para,
                                        CERT_CHAIN_REVOCATION_CHECK_CHAIN, nullptr, &raw));
    const Chain chain(raw);
    expect_well_formed(*chain);
    EXPECT_EQ(length(chain), 2u);
}

TEST_F(ChainTest, DuplicateSharesTheContextUntilTheLastFree) {
    const Identity root("Shared Root");
    const Bytes root_cert = test_pki::self_signed(root);
    Chain chain = build(root_cert);
    ASSERT_TRUE(chain);
    const CERT_CHAIN_CONTEXT *copy = CertDuplicateCertificateChain(chain.get());
    EXPECT_EQ(copy, chain.get());
    chain.reset();
    /* Still readable through the second reference. */
    EXPECT_TRUE(same(copy->rgpChain[0]->rgpElement[0]->pCertContext, root_cert));
    CertFreeCertificateChain(copy);
    CertFreeCertificateChain(nullptr);
    EXPECT_EQ(CertDuplicateCertificateChain(nullptr), nullptr);
}

TEST_F(ChainTest, EngineWithARestrictedRootTrustsOnlyThatStore) {
    const Identity root("Private Root"), leaf("Private Leaf");
    const Bytes root_cert = test_pki::self_signed(root);
    const Store roots(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    ASSERT_TRUE(CertAddEncodedCertificateToStore(roots.get(), kEncoding, root_cert.data(),
                                                 static_cast<DWORD>(root_cert.size()), CERT_STORE_ADD_ALWAYS, nullptr));
    CERT_CHAIN_ENGINE_CONFIG config{};
    config.cbSize = sizeof config;
    config.hRestrictedRoot = roots.get();
    HCERTCHAINENGINE engine = nullptr;
    ASSERT_TRUE(CertCreateCertificateChainEngine(&config, &engine));
    const Cert cert = context_of(test_pki::issue(leaf, root, end_entity()));

    CERT_CHAIN_PARA para{};
    para.cbSize = 32;
    const CERT_CHAIN_CONTEXT *raw = nullptr;
    EXPECT_TRUE(CertGetCertificateChain(engine, cert.get(), nullptr, nullptr, &para, 0, nullptr, &raw));
    const Chain chain(raw);
    CertFreeCertificateChainEngine(engine);
    ASSERT_TRUE(chain);
    ASSERT_EQ(length(chain), 2u);
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, 0u);
}

TEST_F(ChainTest, BadArgumentsFailWithInvalidArg) {
    const Cert cert = context_of(test_pki::self_signed(Identity("Argument Root")));
    CERT_CHAIN_PARA para{};
    para.cbSize = 32;
    const CERT_CHAIN_CONTEXT *chain = reinterpret_cast<const CERT_CHAIN_CONTEXT *>(0x1);
    SetLastError(0);
    EXPECT_FALSE(CertGetCertificateChain(nullptr, nullptr, nullptr, nullptr, &para, 0, nullptr, &chain));
    EXPECT_EQ(chain, nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
    EXPECT_FALSE(CertGetCertificateChain(nullptr, cert.get(), nullptr, nullptr, &para, 0, nullptr, nullptr));
    EXPECT_FALSE(CertGetCertificateChain(nullptr, cert.get(), nullptr, nullptr, nullptr, 0, nullptr, &chain));
}

}  // namespace
