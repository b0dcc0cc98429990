#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <maren/errors.h>
#include <maren/host.h>

#include "base/acmpt_blob.h"
#include "base/base64.h"
#include "base/exceptions.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Result {
    BOOL ok;
    DWORD error;
    std::string text;
    Bytes bytes;
};

Result encode(const Bytes& data, DWORD flags) {
    static const unsigned char kAny = 0;
    const BYTE* p = data.empty() ? &kAny : data.data();
    DWORD size = 0;
    base64_encode_ex(p, static_cast<DWORD>(data.size()), nullptr, &size, flags);
    std::string text(size, '\0');
    const BOOL ok = base64_encode_ex(p, static_cast<DWORD>(data.size()), &text[0], &size, flags);
    text.resize(size);
    return {ok, GetLastError(), text, {}};
}

// Asks for the size, then decodes into exactly that room.
Result decode(const std::string& text, DWORD flags = 0) {
    DWORD size = 0;
    if (!base64_decode_ex(text.data(), static_cast<DWORD>(text.size()), nullptr, &size, flags)) {
        return {FALSE, GetLastError(), {}, {}};
    }
    Bytes out(size + 1);
    const BOOL ok = base64_decode_ex(text.data(), static_cast<DWORD>(text.size()), out.data(), &size, flags);
    out.resize(size);
    return {ok, GetLastError(), {}, out};
}

Bytes bytes_of(const std::string& s) { return Bytes(s.begin(), s.end()); }

std::vector<Bytes> random_buffers() {
    std::mt19937 rng(20240611);
    std::vector<Bytes> buffers;
    for (int i = 0; i < 300; ++i) {
        Bytes b(i < 100 ? static_cast<std::size_t>(i) : rng() % 3001);
        for (auto& c : b) c = static_cast<unsigned char>(rng());
        buffers.push_back(b);
    }
    return buffers;
}

std::string openssl_block(const Bytes& data) {
    std::string out(4 * ((data.size() + 2) / 3) + 1, '\0');
    out.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]), data.data(),
                                                        static_cast<int>(data.size()))));
    return out;
}

// OpenSSL's streaming encoder writes 64-character lines, each ended by "\n".
std::string openssl_lines(const Bytes& data) {
    EVP_ENCODE_CTX* ctx = EVP_ENCODE_CTX_new();
    std::string out(data.size() * 2 + 80, '\0');
    int n = 0, tail = 0;
    EVP_EncodeInit(ctx);
    EVP_EncodeUpdate(ctx, reinterpret_cast<unsigned char*>(&out[0]), &n, data.data(), static_cast<int>(data.size()));
    EVP_EncodeFinal(ctx, reinterpret_cast<unsigned char*>(&out[static_cast<std::size_t>(n)]), &tail);
    EVP_ENCODE_CTX_free(ctx);
    out.resize(static_cast<std::size_t>(n + tail));
    return out;
}

bool openssl_decode(const std::string& text, Bytes* out) {
    EVP_ENCODE_CTX* ctx = EVP_ENCODE_CTX_new();
    out->assign(text.size() + 3, 0);
    int n = 0, tail = 0;
    EVP_DecodeInit(ctx);
    const bool ok = EVP_DecodeUpdate(ctx, out->data(), &n, reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size())) >= 0 &&
                    EVP_DecodeFinal(ctx, out->data() + n, &tail) == 1;
    EVP_ENCODE_CTX_free(ctx);
    out->resize(static_cast<std::size_t>(n + tail));
    return ok;
}

TEST(Base64Acceptance, AgreesWithOpenSslInBothDirections) {
    for (const Bytes& data : random_buffers()) {
        SCOPED_TRACE(data.size());
        const Result flat = encode(data, HALDEN_BASE64_NOCRLF);
        ASSERT_TRUE(flat.ok);
        EXPECT_EQ(flat.text, openssl_block(data));

        const Result lines = encode(data, 0);
        ASSERT_TRUE(lines.ok);
        EXPECT_EQ(lines.text, openssl_lines(data));
        Bytes theirs;
        ASSERT_TRUE(openssl_decode(lines.text, &theirs));
        EXPECT_EQ(theirs, data);

        for (const std::string& text : {openssl_block(data), openssl_lines(data)}) {
            const Result ours = decode(text);
            ASSERT_TRUE(ours.ok);
            EXPECT_EQ(ours.error, 0u);
            EXPECT_EQ(ours.bytes, data);
        }
    }
}

TEST(Base64Acceptance, UrlSafeRoundTripUsesItsAlphabetWithoutPadding) {
    for (const Bytes& data : random_buffers()) {
        const Result text = encode(data, HALDEN_BASE64_URI | HALDEN_BASE64_NOCRLF);
        std::string expected = openssl_block(data);
        while (!expected.empty() && expected.back() == '=') expected.pop_back();
        for (char& c : expected) c = c == '+' ? '-' : c == '/' ? '_' : c;
        ASSERT_EQ(text.text, expected);
        EXPECT_EQ(decode(text.text, HALDEN_BASE64_URI).bytes, data);
        EXPECT_EQ(decode(text.text, HALDEN_BASE64_URI | HALDEN_BASE64_STRICT).bytes, data);
    }
}

TEST(Base64Encode, SizesFollowTheLineRule) {
    const struct {
        std::size_t bytes;
        DWORD flags;
        DWORD chars;
    } cases[] = {{0, 0, 0},    {1, 0, 5},     {48, 0, 65},  {49, 0, 70},
                 {48, HALDEN_BASE64_NOCRLF, 64}, {49, HALDEN_BASE64_NOCRLF, 68}, {96, 0, 130},
                 {1, HALDEN_BASE64_URI, 3},      {2, HALDEN_BASE64_URI, 4},      {3, HALDEN_BASE64_URI, 5}};
    for (const auto& c : cases) {
        const Result r = encode(Bytes(c.bytes, 0xAB), c.flags);
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.text.size(), c.chars) << c.bytes << " bytes, flags " << c.flags;
    }
}

TEST(Base64Encode, ReportsBadArgumentsAndShortRoom) {
    const BYTE data[49] = {};
    DWORD size = 0;
    EXPECT_FALSE(base64_encode_ex(nullptr, 1, nullptr, &size, 0));
    EXPECT_EQ(GetLastError(), 160u);
    EXPECT_FALSE(base64_encode_ex(data, 1, nullptr, nullptr, 0));
    EXPECT_EQ(GetLastError(), 160u);

    char out[80];
    size = 69;
    EXPECT_FALSE(base64_encode_ex(data, 49, out, &size, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 70u);
    size = 70;
    EXPECT_TRUE(base64_encode_ex(data, 49, out, &size, 0));
    EXPECT_EQ(GetLastError(), 0u);
}

TEST(Base64Decode, AcceptsAndRefusesTextsAsDocumented) {
    const struct {
        const char* text;
        DWORD flags;
        BOOL ok;
        DWORD error;
        const char* bytes;
    } cases[] = {
        {"QQ", 0, TRUE, 0, "A"},
        {"QQ==", 0, TRUE, 0, "A"},
        {"QQ=", 0, FALSE, 13, ""},
        {"QQ===", 0, FALSE, 13, ""},
        {"Q", 0, TRUE, 0, "@"},  // a lone character still gives its 6 bits
        {"Q===", 0, TRUE, 0, "@"},
        {"Q===", HALDEN_BASE64_STRICT, FALSE, 13, ""},
        {"QUJD-----END", 0, TRUE, 38, "ABC"},
        {"QU\r\nJ D\t", 0, TRUE, 0, "ABC"},
        {"QUJD!!", 0, TRUE, 0, "ABC"},
        {"QUJD!!", HALDEN_BASE64_STRICT, FALSE, 13, ""},
        {"QUJD = \n==", HALDEN_BASE64_STRICT, TRUE, 0, "ABC"},
        {"QUJD====", HALDEN_BASE64_STRICT, FALSE, 13, ""},
        {"QQ==\n-----END X-----", HALDEN_BASE64_STRICT, TRUE, 38, "A"},
        {"!QUJD", 0, FALSE, 13, ""},
        {"-_8", HALDEN_BASE64_URI, TRUE, 0, "\xfb\xff"},
        {"+/8=", HALDEN_BASE64_URI, TRUE, 0, "\xfb\xff"},  // the standard alphabet, told by "+"
        {"+/8=", HALDEN_BASE64_URI | HALDEN_BASE64_STRICT, FALSE, 13, ""},
        {"-_8=", HALDEN_BASE64_URI, FALSE, 13, ""},  // the URL-safe alphabet has no padding
        {"+_8", HALDEN_BASE64_URI, FALSE, 13, ""},   // one text, one alphabet
        {"-_8", 0, TRUE, 38, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const Result r = decode(c.text, c.flags);
        EXPECT_EQ(r.ok, c.ok);
        EXPECT_EQ(r.error, c.error);
        EXPECT_EQ(r.bytes, bytes_of(c.bytes));
    }
}

TEST(Base64Decode, ReportsBadArgumentsAndShortRoom) {
    DWORD size = 7;
    EXPECT_FALSE(base64_decode_ex("QQ==", 4, nullptr, nullptr, 0));
    EXPECT_EQ(GetLastError(), 160u);
    EXPECT_FALSE(base64_decode_ex(nullptr, 4, nullptr, &size, 0));
    EXPECT_EQ(GetLastError(), 160u);
    EXPECT_EQ(size, 0u);
    size = 7;
    EXPECT_TRUE(base64_decode_ex(nullptr, 0, nullptr, &size, 0));
    EXPECT_EQ(size, 0u);

    BYTE out[3];
    size = 2;
    EXPECT_FALSE(base64_decode_ex("QUJD", 4, out, &size, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 0u);
}

const Base64Hdrs* const kRecords[] = {&Base64CertificateHdrs, &Base64RequestHdrs, &Base64CRLHdrs};

TEST(Base64Header, EncodeAndDecodeRoundTripWithEachRecord) {
    const Bytes data = random_buffers()[150];
    for (const Base64Hdrs* record : kRecords) {
        DWORD size = 0;
        ASSERT_TRUE(base64hdr_encode(record, data.data(), static_cast<DWORD>(data.size()), nullptr, &size));
        std::string text(size, '\0');
        ASSERT_TRUE(base64hdr_encode(record, data.data(), static_cast<DWORD>(data.size()), &text[0], &size));
        EXPECT_EQ(text, std::string(record->pszHeader) + "\n" + openssl_lines(data) + record->pszFooter + "\n");

        Bytes out(size);
        DWORD room = size;
        ASSERT_TRUE(base64hdr_decode(text.data(), size, out.data(), &room));
        EXPECT_EQ(GetLastError(), 38u);  // stopped at the footer
        out.resize(room);
        EXPECT_EQ(out, data);
    }
    Base64Hdrs bad = Base64CRLHdrs;
    bad.cbSize = 23;
    DWORD size = 0;
    EXPECT_FALSE(base64hdr_encode(&bad, data.data(), 1, nullptr, &size));
    EXPECT_EQ(GetLastError(), 160u);
}

TEST(Base64Header, SkipperFindsTheBodyBehindAnOptionalHeader) {
    const struct {
        const char* text;
        const char* body;  // null: no body
    } cases[] = {
        {"-----BEGIN X509 CRL-----\r\nMIIB\n", "MIIB\n"},
        {" \n\tMIIB", "MIIB"},
        {"--- - BEGIN - --- \n  QUJD", "QUJD"},
        {"-----BEGIN CERTIFICATE-----\n", nullptr},
        {"----- \n", nullptr},
        {"", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const char* body = nullptr;
        DWORD length = 0;
        const DWORD total = static_cast<DWORD>(std::string(c.text).size());
        EXPECT_EQ(skip_base64_header(c.text, total, &body, &length) != 0, c.body != nullptr);
        if (c.body != nullptr) {
            EXPECT_EQ(std::string(body, length), c.body);
        }
    }
    DWORD size = 5;
    EXPECT_FALSE(base64hdr_decode("-----BEGIN X-----\n", 18, nullptr, &size));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_BAD_ENCODE));
    EXPECT_EQ(size, 0u);
}

TEST(AcmptBlobBase64, ConvertsBothWaysAndThrowsTheDocumentedTexts) {
    const Bytes data = random_buffers()[120];
    const CACMPT_BLOB blob(data.data(), static_cast<DWORD>(data.size()));
    const CACMPT_BLOB pem = blob.toBase64Hdr(CACMPT_BLOB::Base64CRLHeader, CACMPT_BLOB::Base64CRLFooter);
    const CACMPT_BLOB back = pem.fromBase64Hdr();
    EXPECT_EQ(Bytes(back.pbData, back.pbData + back.cbData), data);
    const CACMPT_BLOB plain = blob.toBase64(HALDEN_BASE64_NOCRLF).fromBase64();
    EXPECT_EQ(Bytes(plain.pbData, plain.pbData + plain.cbData), data);
    EXPECT_EQ(CACMPT_BLOB().toBase64().cbData, 0u);

    for (const char* text : {"!!!!", " \n "}) {
        const CACMPT_BLOB bad(reinterpret_cast<const BYTE*>(text), static_cast<DWORD>(std::strlen(text)));
        try {
            bad.fromBase64();
            ADD_FAILURE() << text;
        } catch (const CAException& e) {
            EXPECT_NE(std::string(e.what()).find("'invalid base 64 format'"), std::string::npos);
        }
    }
    EXPECT_THROW(blob.toBase64Hdr(nullptr, "x"), CAException);
}

}  // namespace
