/* The CRL item: its decoded extensions, the reason it gives for a serial
 * number, and the delta order. */
#include <gtest/gtest.h>

#include <set>

#include "nimbole/crl_item.h"
#include "tests/nimbole/item_contexts.h"

using namespace item_test;
using halden::nimbole::CRLItem;
using halden::nimbole::kCrlNotRevoked;

namespace {

CRLItem crl_of(const CrlSpec &plan) {
    static const Key key;
    return CRLItem(crl_context(make_crl(plan, key)).get());
}

CRLItem crl_with(std::vector<Ext> extensions) {
    CrlSpec plan;
    plan.extensions = std::move(extensions);
    return crl_of(plan);
}

Ext reason(unsigned char code) { return {"2.5.29.21", der::enumerated(code)}; }

}  // namespace

TEST(CrlItemFields, DecodesTheExtensionsItReads) {
    const CRLItem item = crl_with({
        {"2.5.29.20", der::tlv(0x02, {5})},
        {"2.5.29.27", der::tlv(0x02, {4})},
        {"2.5.29.35", der::authority_key_id({1, 2, 3})},
        {"2.5.29.28", der::issuing_dist_point("http://crl.test/a.crl")},
        {"2.5.29.46", der::dist_points("http://crl.test/delta.crl")},
    });
    const auto &d = item.data();
    EXPECT_TRUE(d.issuer_name && d.aki && d.idp && d.freshest_crl);
    EXPECT_EQ(d.aki_key_id, (Bytes{1, 2, 3}));
    EXPECT_EQ(blob_bytes(d.aki_raw), der::authority_key_id({1, 2, 3}));
    EXPECT_EQ(d.idp_raw, der::issuing_dist_point("http://crl.test/a.crl"));
    EXPECT_EQ(d.crl_matching, -1);
    EXPECT_EQ(d.sign.state, 2u);
}

TEST(CrlItemFields, UndecodableExtensionsLeaveFieldsEmptyButKeepTheRawIdp) {
    const CRLItem item = crl_with({{"2.5.29.35", der::kCutShort}, {"2.5.29.28", der::kCutShort},
                                   {"2.5.29.46", der::kCutShort}});
    const auto &d = item.data();
    EXPECT_FALSE(d.aki || d.idp || d.freshest_crl);
    EXPECT_TRUE(d.aki_raw.cbData == 0 && d.aki_key_id.empty());
    EXPECT_EQ(d.idp_raw, der::kCutShort);
    // The matching statement: 0 and 1 are read, anything else is unstated.
    const std::pair<Bytes, int> statements[] = {
        {der::enumerated(0), 0}, {der::enumerated(1), 1}, {der::enumerated(2), -1}, {der::kCutShort, -1}};
    for (const auto &[value, expected] : statements)
        EXPECT_EQ(crl_with({{"1.2.643.2.2.49.1", value}}).data().crl_matching, expected) << int(value[2]);
}

TEST(CrlItemReason, FirstMatchingEntryDecides) {
    const std::time_t now = std::time(nullptr), yesterday = now - 86400;
    CrlSpec plan;
    plan.entries = {
        {7, yesterday, {reason(1)}},
        {8, yesterday},
        {9, yesterday, {reason(8)}},
        {10, now + 86400, {reason(1)}},  // listed twice, first in the future
        {10, yesterday, {reason(5)}},
        {11, yesterday, {{"2.5.29.21", {0x0A, 0x00}}}},  // too short to hold a code
        {12, yesterday, {{"2.5.29.24", der::generalized(0x18, yesterday)}}},
        {128, yesterday, {reason(3)}},
    };
    const CRLItem crl = crl_of(plan);
    const FILETIME at_now = filetime(now), at_revocation = filetime(yesterday), before = filetime(yesterday - 1);
    struct Case {
        Bytes serial;  // little-endian, as decoded
        const FILETIME *time;
        int expected;
    } cases[] = {
        {{7}, &at_now, 1},      {{7}, nullptr, 1},         {{7}, &at_revocation, 1}, {{7}, &before, kCrlNotRevoked},
        {{8}, &at_now, 0},      {{9}, &at_now, 8},         {{10}, &at_now, kCrlNotRevoked},
        {{10}, nullptr, 1},     {{11}, &at_now, 0},        {{12}, &at_now, 0},      {{13}, &at_now, kCrlNotRevoked},
        {{0x80}, &at_now, kCrlNotRevoked},  // serials are compared raw
        {{0x80, 0x00}, &at_now, 3},
    };
    for (const Case &c : cases) {
        const CRYPT_DATA_BLOB serial{DWORD(c.serial.size()), const_cast<BYTE *>(c.serial.data())};
        EXPECT_EQ(crl.get_CRLReason(&serial, c.time), c.expected) << int(c.serial[0]) << " " << (c.time != nullptr);
    }
    Bytes seven{7};
    const CRYPT_DATA_BLOB serial{1, seven.data()};
    EXPECT_EQ(crl_of(CrlSpec{}).get_CRLReason(&serial, nullptr), kCrlNotRevoked);
}

TEST(CrlItemOrder, DeltasWithTheSameThisUpdateKeepTheFirst) {
    const std::time_t now = std::time(nullptr);
    CrlSpec older, newer, twin;
    older.this_update = now - 7200;
    newer.this_update = twin.this_update = now - 3600;
    twin.entries = {{42}};
    std::set<CRLItem, halden::nimbole::ThisUpdateDescendingOrder> deltas{crl_of(older), crl_of(newer)};
    EXPECT_FALSE(deltas.insert(crl_of(twin)).second);
    ASSERT_EQ(deltas.size(), 2u);
    EXPECT_EQ(deltas.begin()->info().cCRLEntry, 0u);  // the newest first, and not the twin
    EXPECT_EQ(CompareFileTime(&deltas.begin()->info().ThisUpdate, &deltas.rbegin()->info().ThisUpdate), 1);
    EXPECT_EQ(crl_of(CrlSpec{}).toString("> "), L"> Issuer:'CN=Root'\n");
}
