// The private key usage period decoder and its size protocol.
#include <gtest/gtest.h>

#include "decode_test_support.h"

using namespace decode_test;

namespace {

const Bytes kNotBefore = hex("80 0F 32 30 32 34 30 31 30 31 30 30 30 30 30 30 5A");  // 20240101000000Z
const Bytes kNotAfter = hex("81 0F 32 30 32 36 30 31 30 31 30 30 30 30 30 30 5A");   // 20260101000000Z

// Size query then decode; the size is 0 and the error kept on failure.
DWORD run(const Bytes &der, std::vector<uint64_t> *out = nullptr, DWORD *error = nullptr) {
    DWORD size = 0;
    SetLastError(kUntouched);
    if (!TSDecodePrivateKeyUsagePeriod(1, nullptr, der.data(), DWORD(der.size()), 0, nullptr, &size)) {
        if (error) *error = GetLastError();
        return 0;
    }
    std::vector<uint64_t> local;
    std::vector<uint64_t> &buffer = out ? *out : local;
    buffer.assign(size / 8, 0);
    DWORD given = size;
    EXPECT_TRUE(TSDecodePrivateKeyUsagePeriod(1, nullptr, der.data(), DWORD(der.size()), 0, buffer.data(), &given));
    return size;
}

TEST(PrivateKeyUsagePeriod, PresentBoundsFollowTheirPointersAbsentOnesAreNull) {
    std::vector<uint64_t> both;
    ASSERT_EQ(run(tlv(0x30, cat({kNotBefore, kNotAfter})), &both), 32u);
    const auto *p = reinterpret_cast<const TSCERT_PRIVATEKEY_USAGE_PERIOD *>(both.data());
    EXPECT_EQ(reinterpret_cast<const uint64_t *>(p->pNotBefore), both.data() + 2);
    EXPECT_EQ(reinterpret_cast<const uint64_t *>(p->pNotAfter), both.data() + 3);
    SYSTEMTIME st{};
    ASSERT_TRUE(FileTimeToSystemTime(p->pNotAfter, &st));
    EXPECT_EQ(st.wYear, 2026);

    std::vector<uint64_t> after;
    ASSERT_EQ(run(tlv(0x30, kNotAfter), &after), 24u);
    EXPECT_EQ(reinterpret_cast<const TSCERT_PRIVATEKEY_USAGE_PERIOD *>(after.data())->pNotBefore, nullptr);
    EXPECT_EQ(run(hex("30 00")), 16u);
    // Constructed tag forms pass; a [0] behind the [1] is ignored.
    EXPECT_EQ(run(tlv(0x30, cat({Bytes{0xA0}, Bytes(kNotBefore.begin() + 1, kNotBefore.end())}))), 24u);
    EXPECT_EQ(run(tlv(0x30, cat({kNotAfter, kNotBefore}))), 24u);
}

TEST(PrivateKeyUsagePeriod, ShortBuffersAndMalformations) {
    const Bytes der = tlv(0x30, cat({kNotBefore, kNotAfter}));
    std::vector<uint64_t> area(4, 0);
    DWORD given = 31;
    EXPECT_FALSE(TSDecodePrivateKeyUsagePeriod(1, nullptr, der.data(), DWORD(der.size()), 0, area.data(), &given));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(given, 32u);

    const struct {
        Bytes der;
        DWORD error;
    } bad[] = {
        {Bytes{}, DWORD(CRYPT_E_ASN1_EOD)},
        {hex("31 00"), DWORD(CRYPT_E_ASN1_BADTAG)},
        {hex("30 05 80 03 31 32 33"), DWORD(CRYPT_E_ASN1_EOD)},  // not a GeneralizedTime length
        {hex("30 10 80 0F"), DWORD(CRYPT_E_ASN1_EOD)},           // declared beyond the input
        {tlv(0x30, hex("80 0F 32 30 32 34 31 33 30 31 30 30 30 30 30 30 5A")), DWORD(CRYPT_E_ASN1_EOD)},  // month 13
    };
    for (const auto &c : bad) {
        DWORD error = 0;
        EXPECT_EQ(run(c.der, nullptr, &error), 0u);
        EXPECT_EQ(error, c.error);
    }
}

}  // namespace
