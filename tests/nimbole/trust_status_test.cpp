/* The trust status: the order of gravity by which the search keeps its best
 * failure, and the text forms. */
#include <gtest/gtest.h>

#include "nimbole/trust_status.h"

using halden::nimbole::TrustStatus;

namespace {
constexpr std::uint32_t kTime = 0x1, kRevoked = 0x4, kSignature = 0x8, kUsage = 0x10, kRoot = 0x20, kUnknown = 0x40,
                        kBasic = 0x400, kPartial = 0x10000;
}  // namespace

TEST(TrustStatusOrder, GravityDecidesNotTheNumericValue) {
    struct Case {
        std::uint32_t a, b;
        int expected;  // above 0: a is the better status
    } cases[] = {
        {0, 0, 0},      {0, kBasic, 1},  {kPartial, kRevoked | kTime, -1}, {kSignature, kPartial, 1},
        {kRoot, kTime, -1}, {kTime, kRevoked, -1}, {kRevoked, kUsage, -1}, {kUnknown, kRevoked, 1},
        {kBasic, kUsage, 1}, {kBasic, kBasic | kUsage, 1},
        {kRevoked | 0x80, kRevoked | 0x100000, 0},  // bits outside the eight take no part
    };
    for (const Case &c : cases) {
        EXPECT_EQ(TrustStatus(c.a).compare(c.b), c.expected) << std::hex << c.a << " vs " << c.b;
        EXPECT_EQ(TrustStatus(c.b).compare(c.a), -c.expected) << std::hex << c.b << " vs " << c.a;
    }
    EXPECT_EQ(TrustStatus(kRevoked | kPartial).compare(kRevoked, kPartial), -1);  // masked: numeric
}

TEST(TrustStatusText, NamesRoundTripAndPiecesCombineByOr) {
    const std::pair<std::uint32_t, const char *> printed[] = {
        {0, "CERT_TRUST_NO_ERROR"},
        {0x11, "IS_NOT_TIME_VALID|IS_NOT_VALID_FOR_USAGE"},
        {0x80001, "IS_NOT_TIME_VALID|0x80000"},
        {kPartial | kBasic | kRoot, "IS_UNTRUSTED_ROOT|INVALID_BASIC_CONSTRAINTS|IS_PARTIAL_CHAIN"},
    };
    for (const auto &[status, text] : printed) {
        EXPECT_EQ(TrustStatus(status).toString(), text);
        EXPECT_EQ(TrustStatus::fromString(text).value(), status) << text;
    }
    const std::pair<const char *, std::uint32_t> parsed[] = {
        {"NOT_SUCCESS", 0x1046D},
        {"ANY_ERROR", 0x1042D},
        {"NOT_SUCCESS|IS_REVOKED", kRevoked},  // a collective name must be the whole text
        {"  \t", 0},
        {"CT_NO_ERROR", 0},
        {" IS_REVOKED | IS_PARTIAL_CHAIN ", kRevoked | kPartial},
        {"0x400|1024|IS_REVOKED|4", kBasic | kRevoked},
        {"is_revoked|bogus", 0},
    };
    for (const auto &[text, status] : parsed) EXPECT_EQ(TrustStatus::fromString(text).value(), status) << text;
    EXPECT_EQ(TrustStatus().toWString(), L"Сертификат действителен");
    EXPECT_EQ(TrustStatus(kRevoked | 0x80).toWString(),
              L"Этот сертификат или один из сертификатов цепочки отозван.|0x80");
}

TEST(TrustStatusResult, RevokedWinsOverEveryOtherFailure) {
    EXPECT_EQ(TrustStatus(0).toRevocationResult(), 0);
    EXPECT_EQ(TrustStatus(kRevoked | kPartial).toRevocationResult(), CRYPT_E_REVOKED);
    EXPECT_EQ(TrustStatus(kPartial | 0x80).toRevocationResult(), CRYPT_E_NO_REVOCATION_CHECK);
}
