/* Names as the engine compares them: PrintableString values of the common
 * attributes normalised, then attribute by attribute in encoded order. */
#include <gtest/gtest.h>

#include <string>

#include "nimbole/cert_name.h"
#include "tests/nimbole/der.h"

using namespace std::string_literals;
using halden::nimbole::cmp_CERT_NAME_INFO;
using halden::nimbole::parse_CERT_NAME;

namespace {

struct A {
    std::string oid;
    std::string value;
    unsigned char tag = 0x13;  // PrintableString
};
constexpr unsigned char kUtf8 = 0x0C, kIa5 = 0x16;
using Name = std::vector<std::vector<A>>;  // RDNs of attributes, encoded in the order given

halden::nimbole::CertNamePtr parsed(const Name &rdns) {
    der::Bytes body;
    for (const auto &rdn : rdns) {
        der::Bytes set;
        for (const A &a : rdn) {
            const der::Bytes attribute = der::seq({der::oid(a.oid), der::text(a.tag, a.value)});
            set.insert(set.end(), attribute.begin(), attribute.end());
        }
        const der::Bytes encoded = der::tlv(0x31, set);
        body.insert(body.end(), encoded.begin(), encoded.end());
    }
    der::Bytes name = der::tlv(0x30, body);
    return parse_CERT_NAME(CRYPT_DATA_BLOB{DWORD(name.size()), name.data()});
}

Name cn(const std::string &value, unsigned char tag = 0x13) { return {{{"2.5.4.3", value, tag}}}; }

}  // namespace

TEST(CertNameNormalization, OneValue) {
    const std::pair<std::string, std::string> cases[] = {
        {"  Halden   Test  ", "halden test"}, {"a \t\n b", "a b"}, {"a\tb", "a b"}, {" abc \0\0"s, "abc"},
        {"abc\0 "s, "abc\0"s},             {"   ", ""},
        {"A\xA0" "B", "a\xA0" "b"},  // 0xA0 is no white space, and only A-Z fold
    };
    for (const auto &[in, out] : cases) {
        std::string value = in;
        const DWORD n =
            halden::nimbole::normalize_name_value(reinterpret_cast<BYTE *>(value.data()), DWORD(value.size()));
        EXPECT_EQ(value.substr(0, n), out) << '"' << in << '"';
    }
}

TEST(CertNameComparison, AfterNormalization) {
    const A o{"2.5.4.10", "Halden"}, c{"2.5.4.3", "x"};
    struct Case {
        const char *what;
        Name a, b;
        bool equal;
    } cases[] = {
        {"case and blanks of a PrintableString", cn("Halden  Test"), cn("  halden test "), true},
        {"the same as UTF8String", cn("Halden  Test", kUtf8), cn("  halden test ", kUtf8), false},
        {"string type not compared", cn("abc"), cn("abc", kIa5), true},
        {"IA5String is not folded", cn("ABC"), cn("ABC", kIa5), false},
        {"attribute outside the list", {{{"2.5.4.5", "AB"}}}, {{{"2.5.4.5", "ab"}}}, false},
        {"other attribute type", cn("x"), {{{"2.5.4.4", "x"}}}, false},
        {"RDN order counts", {{o}, {c}}, {{c}, {o}}, false},
        {"order inside an RDN counts", {{o, c}}, {{c, o}}, false},
        {"one RDN more", {{o}, {c}}, {{c}}, false},
        {"every listed attribute folds",
         {{{"2.5.4.6", "RU"}, {"1.2.840.113549.1.9.1", "A@B"}, {"2.5.4.8", "S"}, {"2.5.4.7", "L"}},
          {{"2.5.4.11", "OU"}, {"2.5.4.12", "T"}, {"2.5.4.42", "G"}, {"2.5.4.43", "I"}, {"2.5.4.4", "SN"}}},
         {{{"2.5.4.6", "ru"}, {"1.2.840.113549.1.9.1", "a@b"}, {"2.5.4.8", "s"}, {"2.5.4.7", "l"}},
          {{"2.5.4.11", "ou"}, {"2.5.4.12", "t"}, {"2.5.4.42", "g"}, {"2.5.4.43", "i"}, {"2.5.4.4", "sn"}}},
         true},
        {"no RDNs at all", {}, {}, true},
    };
    for (const Case &k : cases) {
        SCOPED_TRACE(k.what);
        const auto a = parsed(k.a), b = parsed(k.b);
        ASSERT_TRUE(a && b);
        EXPECT_EQ(cmp_CERT_NAME_INFO(a.get(), b.get()), k.equal);
        EXPECT_EQ(cmp_CERT_NAME_INFO(b.get(), a.get()), k.equal);
    }
}

TEST(CertNameComparison, MissingNamesAreNeverEqual) {
    const auto name = parsed(cn("x"));
    EXPECT_FALSE(cmp_CERT_NAME_INFO(nullptr, nullptr));
    EXPECT_FALSE(cmp_CERT_NAME_INFO(name.get(), nullptr));
    EXPECT_FALSE(parse_CERT_NAME(CRYPT_DATA_BLOB{}));
    der::Bytes broken{0x31, 0x00};
    EXPECT_FALSE(parse_CERT_NAME(CRYPT_DATA_BLOB{2, broken.data()}));
}
