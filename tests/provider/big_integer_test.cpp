// The big integer of serial numbers: its DER reader and writer, its text
// form, and its arithmetic.
#include <gtest/gtest.h>

#include <functional>

#include <maren/errors.h>

#include "asn1/objects/big_integer.h"
#include "base/atl.h"

namespace {

using Tarsis::ASN1::CBigInteger;

CBigInteger big(std::initializer_list<unsigned char> bytes) {
    return CBigInteger(bytes.begin(), bytes.size());
}

HRESULT thrown(const std::function<void()>& action) {
    try {
        action();
    } catch (const ATL::CAtlException& e) {
        return e;
    }
    return S_OK;
}

TEST(BigInteger, ReadsAndWritesDefiniteIntegersOnly) {
    struct Case {
        CBigInteger der;
        CBigInteger value;  // empty: refused
    };
    const Case cases[] = {
        {big({0x02, 0x01, 0x00}), big({0x00})},
        {big({0x02, 0x02, 0xff, 0x00}), big({0xff, 0x00})},
        {big({0x02, 0x81, 0x01, 0x2a}), big({0x2a})},
        {big({0x02, 0x84, 0x00, 0x00, 0x00, 0x01, 0x05}), big({0x05})},
        {big({0x02, 0x01, 0x07, 0x30, 0x00}), big({0x07})},  // trailing bytes ignored
        {big({0x04, 0x01, 0x00}), {}},                       // not an INTEGER
        {big({0x02, 0x00}), {}},                             // no content
        {big({0x02, 0x80, 0x01, 0x00, 0x00}), {}},           // indefinite
        {big({0x02, 0x85, 0x00, 0x00, 0x00, 0x00, 0x01}), {}},
        {big({0x02, 0x03, 0x01, 0x02}), {}},  // cut short
        {big({0x02}), {}},
    };
    for (const Case& c : cases) {
        CBigInteger value;
        const HRESULT code = thrown([&] { value.decode(c.der); });
        if (c.value.cbData() == 0) {
            EXPECT_EQ(code, CRYPT_E_ASN1_INTERNAL) << c.der.writeToHexString(1).c_str();
            continue;
        }
        EXPECT_EQ(value, c.value) << c.der.writeToHexString(1).c_str();
        value.decode(value.encode());
        EXPECT_EQ(value, c.value);
    }
    CBigInteger long_value(200);
    EXPECT_EQ(long_value.encode().pbData()[1], 0x81);
    EXPECT_EQ(thrown([] { CBigInteger().encode(); }), CRYPT_E_ASN1_INTERNAL);
}

TEST(BigInteger, ReadsHexTextBehindTheMarker) {
    CBigInteger value;
    Tarsis::ASN1::StringToBigInteger("0x012", value);  // odd with a leading 0: padded in front
    EXPECT_EQ(value, big({0x00, 0x12}));
    Tarsis::ASN1::StringToBigInteger("0x00ff", value);
    EXPECT_EQ(value, big({0x00, 0xff}));
    for (const char* bad : {"0x", "", "ab12", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(thrown([&] { Tarsis::ASN1::StringToBigInteger(bad, value); }), CRYPT_E_ASN1_INTERNAL);
    }
}

TEST(BigInteger, IncrementsAndAddsWithoutGrowing) {
    CBigInteger value = big({0x00, 0xff});
    EXPECT_EQ(value++, big({0x00, 0xff}));
    EXPECT_EQ(value, big({0x01, 0x00}));
    CBigInteger all_ones = big({0xff, 0xff});
    EXPECT_EQ(++all_ones, big({0x00, 0x00}));
    CBigInteger floor = big({0x01, 0xff, 0xff});
    floor.increment(1);  // the carry is dropped above index 1
    EXPECT_EQ(floor, big({0x01, 0x00, 0x00}));
    CBigInteger empty;
    ++empty;
    EXPECT_EQ(empty.cbData(), 0u);

    CBigInteger sum = big({0x80, 0xff});
    EXPECT_EQ(sum.add(big({0x80, 0x01})), 1);
    EXPECT_EQ(sum, big({0x01, 0x00}));
    EXPECT_EQ(thrown([&] { sum.add(big({0x01})); }), E_INVALIDARG);
}

TEST(BigInteger, CompareIgnoresRedundantSignBytes) {
    struct Case {
        CBigInteger a;
        CBigInteger b;
        int order;
    };
    const Case cases[] = {
        {big({0x00, 0x7f}), big({0x7f}), 0}, {big({0xff, 0x80}), big({0x80}), 0}, {big({0x01}), big({0x02}), -1},
        {big({0x01, 0x00}), big({0x7f}), 1}, {big({0x80}), big({0x01}), -1},      {CBigInteger(), CBigInteger(), 0},
        {CBigInteger(), big({0x80}), 1},     {big({0x01}), CBigInteger(), 1},
    };
    for (const Case& c : cases) {
        const int order = c.a.compare(c.b);
        EXPECT_EQ((order > 0) - (order < 0), c.order)
            << c.a.writeToHexString(0).c_str() << " against " << c.b.writeToHexString(0).c_str();
    }
}

}  // namespace
