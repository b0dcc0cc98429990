// The shipped library, loaded the way a platform loads a provider.
#include <dlfcn.h>

#include <gtest/gtest.h>

#include "tests/provider/provider_fixture.h"

namespace provider_test {
namespace {

struct LoadedProvider : ::testing::Test {
    void SetUp() override {
        library = dlopen(HALDEN_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        entry = reinterpret_cast<PFN_CERT_DLL_VERIFY_REVOCATION>(dlsym(library, CRYPT_OID_VERIFY_REVOCATION_FUNC));
        ASSERT_NE(entry, nullptr);
    }
    void TearDown() override {
        if (library != nullptr) {
            dlclose(library);
        }
    }
    void* library = nullptr;
    PFN_CERT_DLL_VERIFY_REVOCATION entry = nullptr;
};

TEST_F(LoadedProvider, ShowsTheExportAndNothingOfItsInsides) {
    for (const char* inside :
         {"_HaldenModule", "db_ctx", "_Z15OnceDbTraceInitv", "CertDllVerifyRevocationInt",
          "_Z26CertDllVerifyRevocationIntjjjPPvjP21_CERT_REVOCATION_PARAP23_CERT_REVOCATION_STATUS",
          "_ZN6Tarsis3PKI14certListStorerE"}) {
        EXPECT_EQ(dlsym(library, inside), nullptr) << inside;
    }
}

TEST_F(LoadedProvider, AnswersThroughTheExport) {
    TestPki pki;
    provider_pki::ResponseSpec revoked;
    revoked.status = provider_pki::CertStatus::revoked;
    revoked.revoked_at = std::time(nullptr) - 60;
    CertPtr good = add_to_store(pki.store.get(), pki.leaf());
    CertPtr bad = add_to_store(pki.store.get(), pki.leaf(revoked));
    CERT_REVOCATION_PARA para = para_with();
    para.pIssuerCert = pki.intermediate_context.get();

    // Encoding and revocation types are not read.
    void* goods[] = {const_cast<CERT_CONTEXT*>(good.get())};
    CERT_REVOCATION_STATUS status = fresh_status();
    EXPECT_EQ(entry(0x12345, 77, 1, goods, 0, &para, &status), TRUE);
    EXPECT_EQ(GetLastError(), 0u);

    void* mixed[] = {goods[0], const_cast<CERT_CONTEXT*>(bad.get())};
    status = fresh_status();
    EXPECT_EQ(entry(X509_ASN_ENCODING, CERT_CONTEXT_REVOCATION_TYPE, 2, mixed, 0, &para, &status), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_REVOKED));
    EXPECT_EQ(status.dwIndex, 1u);

    SetLastError(0x1234);
    EXPECT_EQ(entry(X509_ASN_ENCODING, CERT_CONTEXT_REVOCATION_TYPE, 0, mixed, 0, &para, &status),
              static_cast<BOOL>(E_INVALIDARG));
    EXPECT_EQ(GetLastError(), 0x1234u);
}

}  // namespace
}  // namespace provider_test
