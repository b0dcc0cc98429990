/* The signature memory of one item and the process-wide store. A tampered
 * encoding fails on the platform, so a true answer for it came from a
 * memory; a compressed copy of the right key verifies on the platform but
 * compares unequal, so a false answer for it means no platform call. */
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "nimbole/cached_sign.h"
#include "nimbole/certificate_item.h"
#include "nimbole/public_key_copy.h"
#include "nimbole/signature_store.h"
#include "tests/nimbole/item_contexts.h"

using namespace item_test;
using namespace halden::nimbole;

namespace {

const Key &root_key() {
    static const Key key;
    return key;
}

const CertificateItem &root() {
    static const CertificateItem item(cert_context(make_cert(CertSpec("Root", "Root"), root_key(), root_key())).get());
    return item;
}
const CERT_PUBLIC_KEY_INFO &key() { return root().info().SubjectPublicKeyInfo; }
const CERT_PUBLIC_KEY_INFO &other_key() {
    static const CertificateItem stranger(cert_context(make_cert(CertSpec(), Key(), root_key())).get());
    return stranger.info().SubjectPublicKeyInfo;
}

// The root's key with its point compressed (04 || X || Y becomes 02/03 || X).
struct CompressedKey {
    CompressedKey() : info(key()) {
        const BYTE *point = key().PublicKey.pbData;
        bits.push_back(BYTE(0x02 | (point[64] & 1)));
        bits.insert(bits.end(), point + 1, point + 33);
        info.PublicKey = {DWORD(bits.size()), bits.data(), 0};
    }
    Bytes bits;
    CERT_PUBLIC_KEY_INFO info;
};

// A CA certificate (or a CRL) signed by the root: its bytes, the bytes
// tampered, its context.
struct Signed {
    explicit Signed(long serial, bool crl = false) {
        CertSpec plan("CA " + std::to_string(serial), "Root", serial);
        plan.extensions = {{"2.5.29.19", der::ca_constraints()}};
        CrlSpec crl_spec;
        crl_spec.entries = {{serial}};
        good = crl ? make_crl(crl_spec, root_key()) : make_cert(plan, Key(), root_key());
        bad = good;
        bad.back() ^= 0x01;
        if (crl) crl_ref = crl_context(good);
        else cert_ref = cert_context(good);
    }
    bool ask(CACHED_SIGN &sign, const CERT_PUBLIC_KEY_INFO &k, bool tampered, SignatureStore *store) const {
        const Bytes &bytes = tampered ? bad : good;
        return sign.is_signed_by(k, bytes.data(), unsigned(bytes.size()), cert_ref.get(), crl_ref.get(), store);
    }
    Bytes good, bad;
    CertContextRef cert_ref;
    CrlContextRef crl_ref;
};

size_t entries_in(const SignatureStore &store) {
    size_t n = 0;
    for (PCCERT_CONTEXT c = nullptr; (c = CertEnumCertificatesInStore(store.handle(), c)) != nullptr;) ++n;
    for (PCCRL_CONTEXT c = nullptr; (c = CertEnumCRLsInStore(store.handle(), c)) != nullptr;) ++n;
    return n;
}

bool remembers(const CACHED_SIGN &sign, const CERT_PUBLIC_KEY_INFO &k) {
    return sign.state != CACHED_SIGN::kUnknown && same_public_key(sign.key, k);
}

}  // namespace

TEST(SignatureMemoryStates, SuccessHoldsAgainstEveryKeyFailureOnlyAgainstItsOwn) {
    const Signed ca(1);
    const CompressedKey same_key;
    CACHED_SIGN verified, failed;
    EXPECT_TRUE(ca.ask(verified, key(), false, nullptr));
    EXPECT_EQ(verified.state, CACHED_SIGN::kVerified);
    EXPECT_TRUE(ca.ask(verified, key(), true, nullptr));
    EXPECT_FALSE(ca.ask(verified, other_key(), false, nullptr));
    EXPECT_FALSE(ca.ask(verified, same_key.info, false, nullptr));

    EXPECT_FALSE(ca.ask(failed, key(), true, nullptr));
    EXPECT_EQ(failed.state, CACHED_SIGN::kFailed);
    EXPECT_FALSE(ca.ask(failed, key(), false, nullptr));  // the same key: from memory
    EXPECT_FALSE(ca.ask(failed, other_key(), false, nullptr));
    EXPECT_TRUE(remembers(failed, key()));  // a second failure keeps the first key
    EXPECT_TRUE(ca.ask(failed, same_key.info, false, nullptr));
    EXPECT_EQ(failed.state, CACHED_SIGN::kVerified);
    EXPECT_TRUE(remembers(failed, same_key.info));
}

TEST(SignatureStore, RemembersVerifiedObjectsForOtherItems) {
    for (const bool crl : {false, true}) {
        SignatureStore store(50);
        const Signed object(2, crl);
        const CompressedKey same_key;
        CACHED_SIGN first, second, third, fourth;
        EXPECT_TRUE(object.ask(first, key(), false, &store));
        EXPECT_TRUE(object.ask(second, key(), true, &store)) << crl;  // a hit
        EXPECT_EQ(second.state, CACHED_SIGN::kVerified);
        // The same object with another key is a miss; a success adds a copy.
        EXPECT_FALSE(object.ask(third, same_key.info, true, &store));
        EXPECT_TRUE(object.ask(fourth, same_key.info, false, &store));
        EXPECT_EQ(entries_in(store), 2u);
    }
}

TEST(SignatureStore, TakesCapacityPlusOneOfEachKindThenStopsGrowing) {
    SignatureStore store(2);
    std::vector<Signed> objects;
    for (long serial = 1; serial <= 4; ++serial) {
        for (const bool crl : {false, true}) {
            objects.emplace_back(serial, crl);
            CACHED_SIGN sign;
            EXPECT_TRUE(objects.back().ask(sign, key(), false, &store));
        }
    }
    EXPECT_EQ(entries_in(store), 6u);
    for (size_t i = 0; i < objects.size(); ++i) {
        CACHED_SIGN fresh;
        EXPECT_EQ(objects[i].ask(fresh, key(), true, &store), i < 6) << i;
    }
}

TEST(SignatureStore, LookupCountsOnlyAPointerSizedKeyProperty) {
    const Signed ca(3);
    for (const DWORD size : {DWORD(4), DWORD(sizeof(void *)), DWORD(16)}) {
        SignatureStore store(50);
        PCCERT_CONTEXT added = nullptr;
        ASSERT_TRUE(CertAddEncodedCertificateToStore(store.handle(), X509_ASN_ENCODING, ca.good.data(),
                                                     DWORD(ca.good.size()), CERT_STORE_ADD_ALWAYS, &added));
        const CertContextRef hold = CertContextRef::adopt(added);
        auto *owned = static_cast<CERT_PUBLIC_KEY_INFO *>(std::malloc(sizeof(CERT_PUBLIC_KEY_INFO)));
        ASSERT_TRUE(copy_key_info(owned, &key()));
        unsigned char value[16] = {};
        std::memcpy(value, &owned, sizeof owned);
        const CRYPT_DATA_BLOB property{size, value};
        ASSERT_TRUE(CertSetCertificateContextProperty(added, kVerifiedKeyPropId, 0, &property));
        CACHED_SIGN sign;
        const bool hit = size == sizeof(void *);
        EXPECT_EQ(ca.ask(sign, key(), true, &store), hit) << size;
        if (!hit) {  // the store releases only a key it can read as its own
            free_key_info(owned);
            std::free(owned);
        }
    }
}

TEST(SignatureStore, CapacityBelowOneLeavesTheStoreUnopened) {
    SignatureStore store(0);
    const Signed ca(4);
    CACHED_SIGN first, second;
    EXPECT_TRUE(ca.ask(first, key(), false, &store));
    EXPECT_FALSE(ca.ask(second, key(), true, &store));
}

TEST(SignatureStore, OnlyCaCertificatesOfItemsEnterTheProcessStore) {
    SignatureStore *store = process_signature_store();
    if (store == nullptr) GTEST_SKIP() << "the process-wide store is configured off";
    const Signed ca(9001);
    const CertContextRef end_entity = cert_context(make_cert(CertSpec("Leaf", "Root", 9002), Key(), root_key()));
    EXPECT_TRUE(CertificateItem(ca.cert_ref.get()).is_signed_by(key(), {}));
    EXPECT_TRUE(CertificateItem(end_entity.get()).is_signed_by(key(), {}));
    const auto stored = [store](PCCERT_CONTEXT c) {
        return bool(CertContextRef::adopt(
            CertFindCertificateInStore(store->handle(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, c, nullptr)));
    };
    EXPECT_TRUE(stored(ca.cert_ref.get()));
    EXPECT_FALSE(stored(end_entity.get()));
}
