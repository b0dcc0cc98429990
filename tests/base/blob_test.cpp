#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/acmpt_blob.h"
#include "base/atl.h"
#include "base/blob.h"
#include "base/exceptions.h"

namespace {

using Tarsis::CBlob;
using Bytes = std::vector<unsigned char>;

CBlob blob(const Bytes& b) { return CBlob(b.data(), b.size()); }
Bytes bytes(const CBlob& b) { return Bytes(b.pbData(), b.pbData() + b.cbData()); }
Bytes bytes(const CACMPT_BLOB& b) { return Bytes(b.pbData, b.pbData + b.cbData); }

template <typename F>
HRESULT code_of(F f) {
    try {
        f();
    } catch (const ATL::CAtlException& e) {
        return e.m_hr;
    }
    return 0;
}

class BlobFiles : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/halden_base_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }
    std::string path(const char* name) const { return dir_ + "/" + name; }
    std::string dir_;
};

TEST(CBlob, ZeroSizedAndDefaultBlobsDifferInPointerButCompareEqual) {
    const CBlob sized(0), empty;
    EXPECT_NE(sized.pbData(), nullptr);
    EXPECT_EQ(empty.pbData(), nullptr);
    EXPECT_EQ(sized.cbData(), 0u);
    EXPECT_TRUE(sized == empty);
    EXPECT_FALSE(sized < empty || empty < sized);
    EXPECT_EQ(bytes(CBlob(3)), Bytes(3, 0));
}

TEST(CBlob, WritesHexInUpperCaseGroups) {
    const Bytes nine = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e, 0x6f, 0x70, 0x81};
    const struct {
        unsigned group;
        const char* text;
    } cases[] = {{0, "001A2B3C4D5E6F7081"},
                 {4, "001A2B3C 4D5E6F70 81"},
                 {1, "00 1A 2B 3C 4D 5E 6F 70 81"},
                 {9, "001A2B3C4D5E6F7081"}};
    for (const auto& c : cases) {
        EXPECT_STREQ(blob(nine).writeToHexString(c.group).c_str(), c.text);
    }
    EXPECT_STREQ(CBlob().writeToHexString(4).c_str(), "");
}

TEST(CBlob, ReadsHexUntilTheFirstNonDigitOrUnpairedDigit) {
    const struct {
        const char* text;
        Bytes expected;
    } cases[] = {{" 0a 0B c", {0x0a, 0x0b}}, {"\t\n0a0b0C", {0x0a, 0x0b, 0x0c}}, {"0a x1", {0x0a}},
                 {"0 a", {}},                {"zz", {}},                       {"", {}}};
    for (const auto& c : cases) {
        CBlob b = blob({1, 2, 3, 4, 5, 6, 7, 8, 9});
        b.readFromHexString(c.text);
        EXPECT_EQ(bytes(b), c.expected) << c.text;
    }
}

TEST(CBlob, OrdersByBytesThenByLength) {
    const struct {
        Bytes a, b;
        int sign;
    } cases[] = {{{1, 2}, {1, 3}, -1}, {{1, 2}, {1, 2, 0}, -1}, {{2}, {1, 9, 9}, 1},
                 {{}, {0}, -1},        {{5, 5}, {5, 5}, 0},      {{0xff}, {0x7f, 0}, 1}};
    for (const auto& c : cases) {
        const CBlob a = blob(c.a), b = blob(c.b);
        EXPECT_EQ(a < b, c.sign < 0);
        EXPECT_EQ(a > b, c.sign > 0);
        EXPECT_EQ(a <= b, c.sign <= 0);
        EXPECT_EQ(a >= b, c.sign >= 0);
        EXPECT_EQ(a == b, c.sign == 0);
        EXPECT_EQ(a != b, c.sign != 0);
    }
}

TEST(CBlob, AssignsAndAppendsFromItselfSafely) {
    CBlob b = blob({1, 2, 3});
    const CBlob& same = b;
    b = same;
    EXPECT_EQ(bytes(b), (Bytes{1, 2, 3}));
    b.assign(b.pbData() + 1, 2);
    EXPECT_EQ(bytes(b), (Bytes{2, 3}));
    b += b;
    EXPECT_EQ(bytes(b), (Bytes{2, 3, 2, 3}));
    b.reverse();
    EXPECT_EQ(bytes(b), (Bytes{3, 2, 3, 2}));
    b.assign(nullptr, 0);
    EXPECT_EQ(b.pbData(), nullptr);
}

TEST(CBlob, GrowthAfterShrinkReallocatesAndKeepsTheValidBytes) {
    CBlob b = blob({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    unsigned char* first = b.pbData();
    b.resize_to(2);
    EXPECT_EQ(b.pbData(), first);
    b.resize_to(5);
    EXPECT_NE(b.pbData(), first);
    EXPECT_EQ(Bytes(b.pbData(), b.pbData() + 2), (Bytes{1, 2}));
    b.clear();
    EXPECT_EQ(b.cbData(), 0u);
    EXPECT_NE(b.pbData(), nullptr);
}

TEST_F(BlobFiles, CBlobFilesRoundTripAndReportMissingFiles) {
    const Bytes data = {0, 1, 0xff, '\n', 0};
    blob(data).writeToFile(path("a").c_str());
    CBlob read;
    const std::string narrow = path("a");
    read.readFromFile(std::wstring(narrow.begin(), narrow.end()).c_str());
    EXPECT_EQ(bytes(read), data);

    CBlob().writeToFile(path("empty").c_str());
    read.readFromFile(path("empty").c_str());
    EXPECT_EQ(read.cbData(), 0u);

    const std::string missing = path("no/such");
    EXPECT_EQ(code_of([&] { CBlob().readFromFile(missing.c_str()); }), static_cast<HRESULT>(0x80070002));
    EXPECT_EQ(code_of([&] { CBlob(1).writeToFile(missing.c_str()); }), static_cast<HRESULT>(0x80070002));
}

TEST(AcmptBlob, CapacityStartsAt4096AndDoubles) {
    CACMPT_BLOB b;
    EXPECT_EQ(b.capacity(), 0u);
    const struct {
        DWORD size, capacity;
    } steps[] = {{1, 4096}, {4096, 4096}, {4097, 8192}, {10000, 16384}, {5, 16384}, {40000, 65536}};
    for (const auto& s : steps) {
        b.resize_to(s.size);
        EXPECT_EQ(b.cbData, s.size);
        EXPECT_EQ(b.capacity(), s.capacity) << s.size;
    }
    CACMPT_BLOB copy(b);
    CACMPT_BLOB& same = copy;
    copy = same;
    EXPECT_EQ(copy.cbData, 40000u);
}

TEST_F(BlobFiles, AcmptBlobFileErrorsNameThePathAndEmptyTheBlob) {
    const BYTE data[] = {9, 8, 7};
    CACMPT_BLOB b(data, 3);
    b.writeToFile(path("x").c_str());
    CACMPT_BLOB read;
    read.readFromFile(path("x").c_str());
    EXPECT_EQ(bytes(read), (Bytes{9, 8, 7}));

    const std::string missing = path("none/x");
    for (bool writing : {false, true}) {
        try {
            writing ? b.writeToFile(missing.c_str()) : read.readFromFile(missing.c_str());
            ADD_FAILURE();
        } catch (const Asn1Exception& e) {
            EXPECT_NE(std::string(e.what()).find("'couldn't open file " + missing + "'"), std::string::npos);
        }
    }
    EXPECT_EQ(b.cbData, 0u);
    EXPECT_EQ(read.cbData, 0u);
    b.writeToFile(path("never").c_str());
    EXPECT_NE(access(path("never").c_str(), F_OK), 0);
}

TEST(AcmptBlob, HexHasNoSeparatorsAndHonoursTheLength) {
    CACMPT_BLOB b;
    b.readFromHexString(" 0a0B 0c0d", 8);
    EXPECT_EQ(bytes(b), (Bytes{0x0a, 0x0b, 0x0c}));
    EXPECT_EQ(b.writeToHexString(), "0A0B0C");
}

TEST(AcmptBigInteger, IncrementCarriesDownToTheLowestIndex) {
    const struct {
        Bytes value;
        int lowest;
        Bytes expected;
    } cases[] = {{{0x00, 0xff}, 0, {0x01, 0x00}},
                 {{0xff, 0xff}, 0, {0x00, 0x00}},
                 {{0x01, 0xff, 0xff}, 1, {0x01, 0x00, 0x00}},
                 {{0x01, 0xff, 0xff}, 2, {0x01, 0xff, 0x00}},
                 {{}, 0, {}}};
    for (const auto& c : cases) {
        CACMPT_BigInteger n(c.value.data(), static_cast<DWORD>(c.value.size()));
        n.increment(c.lowest);
        EXPECT_EQ(bytes(n), c.expected);
    }
    const BYTE one[] = {0x01, 0xff};
    CACMPT_BigInteger n(one, 2);
    EXPECT_EQ(bytes(n++), (Bytes{0x01, 0xff}));
    EXPECT_EQ(bytes(++n), (Bytes{0x02, 0x01}));
}

}  // namespace
