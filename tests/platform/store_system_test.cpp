/* System stores: the names that always exist, the open flags, one
 * in-memory copy per name, files on disk read by another process, that
 * process's writes seen by handles kept open, hand-dropped and corrupt
 * files. */
#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/platform/store_test_support.h"

using namespace store_test;

namespace {

DWORD last_error() { return GetLastError(); }

// Runs the child process with the same MAREN_HOME; its first output line.
std::string child(const std::string &arguments, int *status = nullptr) {
    const std::string command = std::string(MAREN_STORE_CHILD) + " " + arguments;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "popen failed";
    char line[8192] = {0};
    if (std::fgets(line, sizeof line, pipe) == nullptr) line[0] = '\0';
    const int raw = pclose(pipe);
    if (status) *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    std::string text = line;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

void write_file(const std::string &path, const Bytes &bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char *>(bytes.data()), std::streamsize(bytes.size()));
}

class SystemStoreTest : public ::testing::Test {
  protected:
    TempHome home;
    Key key = make_key();
    Bytes cert_der(long serial) { return make_cert(CertPlan("leaf", "ca", serial, key, key)); }

    bool has_cert(HCERTSTORE store, const Bytes &der) {
        Cert probe = cert_of(der);
        const Bytes hash = thumbprint(probe.get());
        CRYPT_HASH_BLOB blob = blob_of(hash);
        Cert found(CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_SHA1_HASH, &blob, nullptr));
        return found != nullptr;
    }
};

TEST_F(SystemStoreTest, RootAndCaAlwaysExistAndOtherNamesOnlyOnceCreated) {
    const DWORD existing = CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG;
    for (const wchar_t *name : {L"Root", L"CA"}) {
        Store store = system_store(name, existing);
        ASSERT_TRUE(store.get()) << "store " << name[0];
        EXPECT_TRUE(CertControlStore(store.get(), 0, CERT_STORE_CTRL_AUTO_RESYNC, nullptr));
        EXPECT_EQ(0, count_certs(store.get()));
    }
    SetLastError(0);
    EXPECT_EQ(nullptr, system_store(L"Nowhere", existing).get());
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), last_error());
    EXPECT_EQ(nullptr, system_store(L"Root", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_CREATE_NEW_FLAG).get());
    EXPECT_EQ(DWORD(ERROR_FILE_EXISTS), last_error());

    Store created = system_store(L"Mine", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_CREATE_NEW_FLAG);
    ASSERT_TRUE(created.get());
    EXPECT_TRUE(system_store(L"Mine", existing).get());
    EXPECT_EQ(nullptr, system_store(L"../escape").get());
    EXPECT_EQ(DWORD(E_INVALIDARG), last_error());
}

TEST_F(SystemStoreTest, ReadOnlyHandlesRefuseAdds) {
    Store store = system_store(L"CA", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG);
    EXPECT_FALSE(add_cert(store.get(), cert_der(1)));
    EXPECT_EQ(DWORD(E_ACCESSDENIED), last_error());
}

TEST_F(SystemStoreTest, EveryOpenOfANameSharesOneCopyWhateverTheProviderOrCase) {
    Store reader = system_store(L"CA", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG |
                                           CERT_STORE_OPEN_EXISTING_FLAG);
    Store writer(CertOpenStore(CERT_STORE_PROV_SYSTEM_REGISTRY_W, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                               CERT_SYSTEM_STORE_CURRENT_USER, L"ca"));
    ASSERT_TRUE(reader.get() && writer.get());
    EXPECT_NE(reader.get(), writer.get()) << "each open has its own handle";
    EXPECT_LT(reinterpret_cast<uintptr_t>(reader.get()), reinterpret_cast<uintptr_t>(writer.get()));
    const Bytes der = cert_der(1);
    ASSERT_TRUE(add_cert(writer.get(), der, CERT_STORE_ADD_USE_EXISTING));
    EXPECT_TRUE(has_cert(reader.get(), der));
    Store machine = system_store(L"CA", CERT_SYSTEM_STORE_LOCAL_MACHINE);
    EXPECT_FALSE(has_cert(machine.get(), der)) << "the local machine's CA is another store";
}

TEST_F(SystemStoreTest, WritesReachDiskWhereAnotherProcessReadsThem) {
    const Bytes der = cert_der(1);
    const Bytes crl = make_crl(CrlPlan("ca", key, {1}));
    const Bytes stapled = {0x30, 0x03, 0x0A, 0x01, 0x00};
    {
        Store store = system_store(L"My");
        PCCERT_CONTEXT stored = nullptr;
        ASSERT_TRUE(CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, der.data(), DWORD(der.size()),
                                                     CERT_STORE_ADD_NEW, &stored));
        Cert holder(stored);
        CRYPT_DATA_BLOB blob = blob_of(stapled);
        ASSERT_TRUE(CertSetCertificateContextProperty(stored, CERT_OCSP_RESPONSE_PROP_ID, 0, &blob));
        ASSERT_TRUE(CertSetCertificateContextProperty(stored, 0x8000, CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG, &blob));
        ASSERT_TRUE(add_crl(store.get(), crl, CERT_STORE_ADD_NEW));
        EXPECT_TRUE(CertControlStore(store.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr));
    }
    Cert probe = cert_of(der);
    const std::string hash = hex(thumbprint(probe.get()));
    struct stat st;
    EXPECT_EQ(0, stat((home.user_store("My") + "/" + hash + ".cer").c_str(), &st)) << "named by its thumbprint";

    EXPECT_EQ("1 1", child("count My"));
    EXPECT_EQ(hex(stapled), child("property My " + hash + " 70"));
    EXPECT_EQ("absent", child("property My " + hash + " 0x8000")) << "kept from disk on request";

    int status = -1;
    child("delete My " + hash, &status);
    EXPECT_EQ(0, status);
    Store store = system_store(L"My");
    EXPECT_EQ(0, count_certs(store.get())) << "the other process's delete is seen here";
    EXPECT_EQ(1, count_crls(store.get()));
}

TEST_F(SystemStoreTest, AHandleKeptOpenSeesAnotherProcessesWritesAndKeepsItsContexts) {
    Store ca = system_store(L"CA", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG |
                                       CERT_STORE_OPEN_EXISTING_FLAG);
    ASSERT_TRUE(CertControlStore(ca.get(), 0, CERT_STORE_CTRL_AUTO_RESYNC, nullptr));
    const Bytes der = cert_der(7);
    const std::string file = home.path() + "/leaf.der";
    write_file(file, der);
    int status = -1;
    child("add CA " + file, &status);
    ASSERT_EQ(0, status);
    EXPECT_TRUE(has_cert(ca.get(), der));

    Cert held(CertEnumCertificatesInStore(ca.get(), nullptr));
    ASSERT_TRUE(held);
    child("delete CA " + hex(thumbprint(held.get())), &status);
    ASSERT_EQ(0, status);
    EXPECT_FALSE(has_cert(ca.get(), der));
    EXPECT_EQ(7, held->pCertInfo->SerialNumber.pbData[0]) << "a context handed out stays valid";
    EXPECT_EQ(der.size(), held->cbCertEncoded);
}

TEST_F(SystemStoreTest, FilesDroppedByHandShowAfterResyncAndAtTheNextOpen) {
    Store store = system_store(L"Root");
    const Bytes der = cert_der(1);
    Cert probe = cert_of(der);
    write_file(home.user_store("Root") + "/" + hex(thumbprint(probe.get())) + ".cer", der);
    ASSERT_TRUE(CertControlStore(store.get(), 0, CERT_STORE_CTRL_RESYNC, nullptr));
    EXPECT_TRUE(has_cert(store.get(), der));

    const Bytes second = cert_der(2);
    write_file(home.user_store("Root") + "/dropped-by-hand.cer", second);
    Store reopened = system_store(L"Root", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG);
    EXPECT_TRUE(has_cert(reopened.get(), second));
    EXPECT_TRUE(has_cert(store.get(), second)) << "one copy for both handles";
}

TEST_F(SystemStoreTest, CorruptFilesAndLeftoversAreSkipped) {
    const std::string folder = home.user_store("CA");
    {
        Store store = system_store(L"CA");
        ASSERT_TRUE(add_cert(store.get(), cert_der(1), CERT_STORE_ADD_NEW));
        ASSERT_TRUE(add_crl(store.get(), make_crl(CrlPlan("ca", key)), CERT_STORE_ADD_NEW));
    }
    const Bytes good = cert_der(2);
    Bytes truncated(good.begin(), good.begin() + long(good.size() / 2));
    write_file(folder + "/0000000000000000000000000000000000000000.cer", truncated);
    write_file(folder + "/1111111111111111111111111111111111111111.crl", good);  // a certificate is no CRL
    write_file(folder + "/2222222222222222222222222222222222222222.cer", {});
    write_file(folder + "/.leftover.cer.123.0.tmp", good);
    write_file(folder + "/notes.txt", {'h', 'i'});
    Cert probe = cert_of(cert_der(1));
    write_file(folder + "/" + hex(thumbprint(probe.get())) + ".cer.props", {'b', 'a', 'd'});
    EXPECT_EQ("1 1", child("count CA"));
}

TEST_F(SystemStoreTest, DeleteFlagRemovesTheStore) {
    {
        Store store = system_store(L"Temp");
        ASSERT_TRUE(add_cert(store.get(), cert_der(1)));
    }
    SetLastError(1);
    EXPECT_EQ(nullptr, system_store(L"Temp", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_DELETE_FLAG).get());
    EXPECT_EQ(0u, last_error());
    EXPECT_EQ(nullptr, system_store(L"Temp", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG).get());
    Store again = system_store(L"Temp");
    EXPECT_EQ(0, count_certs(again.get()));
}

}  // namespace
