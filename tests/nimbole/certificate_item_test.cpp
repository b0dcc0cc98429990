/* The certificate item: what it decodes and leaves out, the tri-states,
 * key identifiers, the strict key period, and its order. */
#include <gtest/gtest.h>

#include <set>

#include "nimbole/certificate_item.h"
#include "nimbole/crl_item.h"
#include "tests/nimbole/item_contexts.h"

using namespace item_test;
using halden::nimbole::CertificateItem;

namespace {

const Key &root_key() {
    static const Key key;
    return key;
}
const Key &leaf_key() {
    static const Key key;
    return key;
}

CertificateItem leaf(std::vector<Ext> extensions = {}) {
    CertSpec plan;
    plan.extensions = std::move(extensions);
    return CertificateItem(cert_context(make_cert(plan, leaf_key(), root_key())).get());
}

CertificateItem root(std::vector<Ext> extensions = {}, std::time_t from = days_from_now(-1),
                     std::time_t to = days_from_now(365)) {
    CertSpec plan("Root", "Root");
    plan.not_before = from;
    plan.not_after = to;
    plan.extensions = std::move(extensions);
    return CertificateItem(cert_context(make_cert(plan, root_key(), root_key())).get());
}

// Sets the strict switch for one scope: 1 off, 2 on.
struct StrictCheck {
    explicit StrictCheck(int state) : old(__atomic_exchange_n(&_strictPkupCheck, state, __ATOMIC_RELAXED)) {}
    ~StrictCheck() { __atomic_store_n(&_strictPkupCheck, old, __ATOMIC_RELAXED); }
    int old;
};

}  // namespace

TEST(CertificateItemFields, DecodesWhatTheEngineReads) {
    const CertificateItem item = leaf({
        {"2.5.29.14", der::tlv(0x04, {9, 9})},
        {"2.5.29.35", der::authority_key_id({1, 2, 3})},
        {"2.5.29.15", der::tlv(0x03, {0x01, 0x06})},
        {"2.5.29.32", der::seq({der::seq({der::oid("1.2.3.4")})})},
        {"2.5.29.37", der::seq({der::oid("1.3.6.1.5.5.7.3.1")})},
        {"2.5.29.31", der::dist_points("http://crl.test/a.crl")},
        {"2.5.29.46", der::dist_points("http://crl.test/delta.crl")},
        {"2.5.29.19", der::ca_constraints()},
        {"2.5.29.16", der::key_period(days_from_now(-2), days_from_now(2))},
        {"1.3.6.1.4.1.311.21.12", der::seq({der::tlv(0x80, {1})})},
        {"1.3.6.1.5.5.7.1.1", der::ca_issuers("http://ca.test/root.cer")},
    });
    const auto &d = item.data();
    EXPECT_EQ(blob_bytes(d.subject_key_id), (Bytes{9, 9}));
    EXPECT_EQ(d.aki_key_id, (Bytes{1, 2, 3}));
    EXPECT_TRUE(d.aki && d.key_usage && d.cert_policies && d.ext_key_usage && d.crl_dist_points && d.aia);
    ASSERT_TRUE(d.freshest_crl && d.pkup);
    EXPECT_STREQ(d.freshest_crl->rgDistPoint[0].DistPointName.FullName.rgAltEntry[0].pwszURL,
                 L"http://crl.test/delta.crl");
    EXPECT_TRUE(d.pkup->pNotBefore && d.pkup->pNotAfter);
    EXPECT_TRUE(d.has_basic_constraints && d.basic_constraints.fCA);
    EXPECT_TRUE(d.has_app_policy_constraints && !d.has_policy_constraints);
    EXPECT_EQ(d.app_policy_constraints.dwRequireExplicitPolicySkipCerts, 1u);
    EXPECT_TRUE(d.issuer_name && d.subject_name);
    EXPECT_EQ(d.sign.state, 2u);
}

TEST(CertificateItemFields, AbsentOrUndecodableExtensionsLeaveNullAndFalse) {
    std::vector<Ext> broken;
    for (const char *oid : {"2.5.29.35", "2.5.29.15", "2.5.29.32", "1.3.6.1.4.1.311.21.10", "2.5.29.37", "2.5.29.31",
                            "2.5.29.46", "2.5.29.19", "2.5.29.16", "2.5.29.36", "1.3.6.1.4.1.311.21.12",
                            "1.3.6.1.5.5.7.1.1"})
        broken.push_back({oid, der::kCutShort});
    for (const auto &extensions : {std::vector<Ext>{}, broken}) {
        const CertificateItem item = leaf(extensions);
        const auto &d = item.data();
        EXPECT_FALSE(d.aki || d.key_usage || d.cert_policies || d.app_policies || d.ext_key_usage ||
                     d.crl_dist_points || d.freshest_crl || d.pkup || d.aia) << extensions.size();
        EXPECT_FALSE(d.has_basic_constraints || d.has_policy_constraints || d.has_app_policy_constraints);
        EXPECT_TRUE(d.aki_key_id.empty() && d.subject_name);
    }
}

TEST(CertificateItemFields, SubjectKeyIdentifierHeaderIsSteppedOverByHand) {
    struct Case {
        Bytes value, expected;
        DWORD error;  // 0: untouched
    } cases[] = {
        {{0x04, 0x02, 0xAA, 0xBB}, {0xAA, 0xBB}, 0},
        {{0x04, 0x81, 0x02, 0xAA, 0xBB}, {0xAA, 0xBB}, 0},
        {{0x04, 0x01, 0xAA, 0xBB, 0xCC}, {0xAA, 0xBB, 0xCC}, 0},  // shorter stated length keeps all
        {{0x04, 0x80, 0xAA}, {0xAA}, 0},                          // indefinite length
        {{0x03, 0x01, 0xAA}, {}, 0x80093101},
        {{0x04}, {}, 0x80093102},
        {{0x04, 0x85, 0, 0, 0, 0, 1, 0xAA}, {}, 0x80093102},
        {{0x04, 0x82, 0x01}, {}, 0x80093102},
        {{0x04, 0x03, 0xAA}, {}, 0x80093101},
    };
    for (const Case &c : cases) {
        CertSpec plan;
        plan.extensions = {{"2.5.29.14", c.value}};
        const CertContextRef context = cert_context(make_cert(plan, leaf_key(), root_key()));
        SetLastError(0);
        const CertificateItem item(context.get());
        EXPECT_EQ(blob_bytes(item.data().subject_key_id), c.expected) << c.value.size();
        EXPECT_EQ(GetLastError(), c.error) << c.value.size();
    }
}

TEST(CertificateItemTriStates, WorkedOutOnFirstNeedAndSeenThroughCopies) {
    const CertificateItem ca = root(), end_entity = leaf();
    EXPECT_EQ(ca.data().self_signed, 2u);
    EXPECT_EQ(ca.data().self_issued, 2u);
    const CertificateItem copy = ca;
    EXPECT_TRUE(copy.is_self_signed() && copy.is_self_issued());
    EXPECT_EQ(ca.data().self_signed, 1u);
    EXPECT_EQ(ca.data().self_issued, 1u);
    EXPECT_FALSE(end_entity.is_self_signed() || end_entity.is_self_issued());
    EXPECT_EQ(end_entity.data().self_signed, 0u);
    // An identifier that can't be read is no obstacle.
    EXPECT_TRUE(root({{"2.5.29.14", {0x03, 0x01, 0xAA}}}).is_self_signed());
}

TEST(CertificateItemSignature, KeyIdentifiersMustAgreeBeforeAnySignatureCheck) {
    const CertificateItem signer = root(), stranger = leaf();
    const CERT_PUBLIC_KEY_INFO &right_key = signer.info().SubjectPublicKeyInfo;
    Bytes right = {1, 2, 3}, wrong = {7};
    const CRYPT_DATA_BLOB r{3, right.data()}, w{1, wrong.data()}, none{};
    EXPECT_FALSE(leaf({{"2.5.29.35", der::authority_key_id(right)}}).is_signed_by(right_key, w));
    EXPECT_TRUE(leaf({{"2.5.29.35", der::authority_key_id(right)}}).is_signed_by(right_key, r));
    EXPECT_TRUE(leaf({{"2.5.29.35", der::authority_key_id(right)}}).is_signed_by(right_key, none));
    EXPECT_TRUE(leaf().is_signed_by(right_key, w));
    EXPECT_FALSE(leaf().is_signed_by(stranger.info().SubjectPublicKeyInfo, r));
}

TEST(CertificateItemStrictCheck, SignedMomentMustLieInTheIssuersKeyPeriod) {
    const std::time_t now = std::time(nullptr);  // one "now": bounds are tested to the second
    const auto at = [now](double days) { return now + static_cast<std::time_t>(days * 86400); };
    const Ext period{"2.5.29.16", der::key_period(at(-10), at(10))};
    const Ext upper_only{"2.5.29.16", der::seq({der::generalized(0x81, at(10))})};
    const Ext no_bounds{"2.5.29.16", der::seq({})};
    struct Case {
        std::vector<Ext> issuer_extensions;  // the issuer is valid from -15 to 15
        double signed_at;
        bool expected;
    } cases[] = {
        {{period}, -11, false}, {{period}, -10, true}, {{period}, 10, true}, {{period}, 11, false},
        {{upper_only}, -100, true}, {{}, -14, true}, {{}, -16, false}, {{no_bounds}, 14, true},
        {{no_bounds}, 16, false},
    };
    for (const Case &c : cases) {
        const CertificateItem issuer = root(c.issuer_extensions, at(-15), at(15));
        CertSpec subject_spec;
        subject_spec.not_before = at(c.signed_at);
        CrlSpec crl_spec;
        crl_spec.this_update = at(c.signed_at);
        const CertificateItem subject(cert_context(make_cert(subject_spec, leaf_key(), root_key())).get());
        const halden::nimbole::CRLItem crl(crl_context(make_crl(crl_spec, root_key())).get());
        {
            const StrictCheck on(2);
            EXPECT_EQ(subject.was_valid_to_sign(issuer), c.expected) << c.signed_at;
            EXPECT_EQ(crl.was_valid_to_sign(issuer), c.expected) << c.signed_at;
        }
        const StrictCheck off(1);
        EXPECT_TRUE(subject.was_valid_to_sign(issuer) && crl.was_valid_to_sign(issuer));
    }
}

TEST(CertificateItemOrder, ByLengthFirstAndEqualExactlyWhenTheBytesAre) {
    CertSpec longer;
    longer.subject = std::string(60, 'a');
    const CertificateItem short_one = leaf(), long_one(cert_context(make_cert(longer, leaf_key(), root_key())).get());
    ASSERT_LT(short_one.context()->cbCertEncoded, long_one.context()->cbCertEncoded);
    EXPECT_TRUE(short_one < long_one && !(long_one < short_one));

    std::set<CertificateItem> items;
    std::vector<Bytes> encodings;
    for (long serial = 10; serial < 16; ++serial) {  // serials of one length
        CertSpec plan;
        plan.serial = serial;
        encodings.push_back(make_cert(plan, leaf_key(), root_key()));
        items.emplace(cert_context(encodings.back()).get());
    }
    EXPECT_EQ(items.size(), encodings.size());
    for (const Bytes &encoding : encodings) {
        const Bytes copy = encoding;  // the same bytes in another buffer
        const auto found = items.find(CertificateItem(cert_context(copy).get()));
        ASSERT_NE(found, items.end());
        EXPECT_EQ(Bytes(found->context()->pbCertEncoded, found->context()->pbCertEncoded + copy.size()), copy);
    }
}
