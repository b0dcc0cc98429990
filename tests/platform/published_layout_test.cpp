// The published CryptoAPI headers on this platform: structure layouts, the
// width of the base types, and the values of constants whose form matters
// (HRESULT casts, pointer-valued type constants, composed flags).
#include <maren/maren.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "c_layout.h"

static_assert(sizeof(DWORD) == 4, "DWORD is 32-bit");
static_assert(sizeof(LONG) == 4, "LONG is 32-bit");
static_assert(sizeof(BOOL) == 4, "BOOL is 32-bit");
static_assert(sizeof(HRESULT) == 4, "HRESULT is 32-bit");
static_assert(sizeof(wchar_t) == 4 && sizeof(WCHAR) == 4, "wide characters are 32-bit");
static_assert(sizeof(void *) == 8 && sizeof(ULONG_PTR) == 8, "pointers are 64-bit");
static_assert(sizeof(CERT_CHAIN_PARA) == 32, "callers pass cbSize 32 for the chain parameters");

namespace {

struct LayoutRow {
    std::string name;
    size_t actual;
    size_t expected;
};

std::vector<LayoutRow> cppRows()
{
#define LAYOUT_SIZE(type, bytes) {#type, sizeof(type), bytes},
#define LAYOUT_OFFSET(type, field, bytes) {#type "." #field, offsetof(type, field), bytes},
    return {
#include "published_layout_list.h"
    };
#undef LAYOUT_SIZE
#undef LAYOUT_OFFSET
}

TEST(PublishedLayout, CppLayoutMatchesHandComputedLp64Numbers)
{
    for (const LayoutRow &row : cppRows())
        EXPECT_EQ(row.actual, row.expected) << row.name;
}

TEST(PublishedLayout, CCompilerLaysOutEveryStructureAsCppDoes)
{
    size_t count = 0;
    const c_layout_row *rows = c_layout_rows(&count);
    const std::vector<LayoutRow> cpp = cppRows();
    ASSERT_EQ(count, cpp.size());
    for (size_t i = 0; i < count; ++i) {
        EXPECT_EQ(std::string(rows[i].name), cpp[i].name);
        EXPECT_EQ(rows[i].actual, rows[i].expected) << rows[i].name << " in C";
        EXPECT_EQ(rows[i].actual, cpp[i].actual) << rows[i].name << " C against C++";
    }
    EXPECT_EQ(c_header_uses(), 4);
}

TEST(PublishedConstants, HresultsRoundTripThroughADwordLastError)
{
    // Failure HRESULTs are negative as HRESULT and keep their bit pattern
    // as the DWORD that GetLastError returns.
    struct Row {
        HRESULT code;
        uint32_t bits;
    };
    const Row rows[] = {
        {E_FAIL, 0x80004005u},
        {E_INVALIDARG, 0x80070057u},
        {E_OUTOFMEMORY, 0x8007000Eu},
        {NTE_FAIL, 0x80090020u},
        {NTE_NO_MEMORY, 0x8009000Eu},
        {SEC_E_INSUFFICIENT_MEMORY, 0x80090300u},
        {CRYPT_E_BAD_ENCODE, 0x80092002u},
        {CRYPT_E_NOT_FOUND, 0x80092004u},
        {CRYPT_E_REVOKED, 0x80092010u},
        {CRYPT_E_NO_REVOCATION_DLL, 0x80092011u},
        {CRYPT_E_NO_REVOCATION_CHECK, 0x80092012u},
        {CRYPT_E_REVOCATION_OFFLINE, 0x80092013u},
        {CRYPT_E_NOT_IN_REVOCATION_DATABASE, 0x80092014u},
        {CRYPT_E_ASN1_ERROR, 0x80093100u},
        {CRYPT_E_ASN1_INTERNAL, 0x80093101u},
        {CRYPT_E_ASN1_EOD, 0x80093102u},
        {CRYPT_E_ASN1_MEMORY, 0x80093106u},
        {CRYPT_E_ASN1_BADTAG, 0x8009310Bu},
        {CRYPT_E_ASN1_NOEOD, 0x80093202u},
        {TRUST_E_FAIL, 0x800B010Bu},
        {CERT_E_REVOKED, 0x800B010Cu},
    };
    for (const Row &row : rows) {
        EXPECT_LT(row.code, 0) << std::hex << row.bits;
        EXPECT_EQ(static_cast<DWORD>(row.code), row.bits);
    }
    EXPECT_EQ(S_OK, 0);
    EXPECT_EQ(S_FALSE, 1);

    // Win32 codes compare with a DWORD without a cast; the positive ones
    // map onto their FACILITY_WIN32 HRESULT.
    const DWORD moreData = 234;
    EXPECT_EQ(ERROR_MORE_DATA, moreData);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER), E_INVALIDARG);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_OUTOFMEMORY), E_OUTOFMEMORY);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_INVALID_DATA), static_cast<HRESULT>(0x8007000Du));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SUCCESS), 0);
}

TEST(PublishedConstants, TypeSelectorsAreSmallIntegersCastToPointers)
{
    struct Row {
        LPCSTR selector;
        uintptr_t value;
    };
    const Row rows[] = {
        {X509_CERT, 1},
        {X509_CERT_CRL_TO_BE_SIGNED, 3},
        {X509_NAME, 7},
        {X509_ALTERNATE_NAME, 12},
        {X509_BASIC_CONSTRAINTS2, 15},
        {X509_UNICODE_NAME, 20},
        {X509_MULTI_BYTE_INTEGER, 28},
        {X509_ENUMERATED, 29},
        {X509_CRL_DIST_POINTS, 35},
        {X509_ECC_SIGNATURE, 47},
        {X509_ISSUING_DIST_POINT, 54},
        {X509_POLICY_CONSTRAINTS, 57},
        {X509_CERTIFICATE_TEMPLATE, 64},
        {X509_OBJECT_IDENTIFIER, 73},
        {X509_ANY_OCTETS, 0x1000},
        {X509_ANY_ENCODED, 0x1001},
        {X509_ENROLLMENT_NAME_VALUE, 0x80C6},
        {X509_ENROLLMENT_CSP_INFO, 0x80C7},
        {X509_CERT_NAME_LENIENT, 0x80C8},
        {CERT_STORE_PROV_MEMORY, 2},
        {CERT_STORE_PROV_SYSTEM_W, 10},
        {CERT_STORE_PROV_COLLECTION, 11},
        {CERT_STORE_PROV_SYSTEM_REGISTRY_W, 13},
        {CONTEXT_OID_CERTIFICATE, 1},
        {CONTEXT_OID_CRL, 2},
        {CONTEXT_OID_OCSP_RESP, 6},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(row.selector), row.value);
        EXPECT_TRUE(MAREN_IS_INT_STRUCT_TYPE(row.selector)) << row.value;
    }
    EXPECT_FALSE(MAREN_IS_INT_STRUCT_TYPE(szOID_CRL_DIST_POINTS));
    EXPECT_FALSE(MAREN_IS_INT_STRUCT_TYPE(MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT));
}

TEST(PublishedConstants, ComposedFlagsHaveTheirPublishedNumbers)
{
    struct Row {
        const char *name;
        uint64_t actual;
        uint64_t expected;
    };
    const Row rows[] = {
        {"encoding pair", X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0x10001},
        {"CERT_FIND_ANY", CERT_FIND_ANY, 0},
        {"CERT_FIND_SHA1_HASH", CERT_FIND_SHA1_HASH, 0x10000},
        {"CERT_FIND_SUBJECT_NAME", CERT_FIND_SUBJECT_NAME, 0x20007},
        {"CERT_FIND_ISSUER_NAME", CERT_FIND_ISSUER_NAME, 0x20004},
        {"CERT_FIND_EXISTING", CERT_FIND_EXISTING, 0xD0000},
        {"CERT_FIND_KEY_IDENTIFIER", CERT_FIND_KEY_IDENTIFIER, 0xF0000},
        {"CERT_FIND_SUBJECT_CERT", CERT_FIND_SUBJECT_CERT, 0xB0000},
        {"CERT_SYSTEM_STORE_CURRENT_USER", CERT_SYSTEM_STORE_CURRENT_USER, 0x10000},
        {"CERT_SYSTEM_STORE_LOCAL_MACHINE", CERT_SYSTEM_STORE_LOCAL_MACHINE, 0x20000},
        {"user store read-only, existing",
         CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG, 0x1C000},
        {"CALG_SHA1", CALG_SHA1, 0x8004},
        {"CALG_MD5", CALG_MD5, 0x8003},
        {"CALG_SHA_256", CALG_SHA_256, 0x800C},
        {"CALG_SHA_512", CALG_SHA_512, 0x800E},
        {"CALG_RSA_SIGN", CALG_RSA_SIGN, 0x2400},
        {"CALG_RSA_KEYX", CALG_RSA_KEYX, 0xA400},
        {"CALG_ECDSA", CALG_ECDSA, 0x2203},
        {"CALG_NO_SIGN", CALG_NO_SIGN, 0x2000},
        {"CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY", CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY, 0x80000000u},
        {"CERT_STORE_ALL_CONTEXT_FLAG", CERT_STORE_ALL_CONTEXT_FLAG, 0xFFFFFFFFu},
    };
    for (const Row &row : rows)
        EXPECT_EQ(row.actual, row.expected) << row.name;
}

} // namespace
