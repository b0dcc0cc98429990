/* Store handles in the engine's search order, and store names from the
 * configuration. */
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "base/exceptions.h"
#include "nimbole/certificate_store.h"
#include "nimbole/store_handle.h"
#include "tests/nimbole/engine_support.h"

using namespace halden::nimbole;

TEST(StoreHandle, RootStoreSortsFirstWhateverItsHandle) {
    StoreRef first = engine_test::memory_store(), second = engine_test::memory_store();
    store_handle root, ca;
    ASSERT_TRUE(root.open(L"Root", false, 0));  // opened last: the greatest handle
    ASSERT_TRUE(ca.open(L"CA", false, 0));
    EXPECT_TRUE(root.is_root() && !ca.is_root());
    std::set<store_handle> stores{store_handle(second.get(), true, false), root,
                                  store_handle(first.get(), true, false), store_handle(first.get(), true, false)};
    std::vector<HCERTSTORE> order;
    for (const store_handle &s : stores) order.push_back(s.handle());
    EXPECT_EQ(order, (std::vector<HCERTSTORE>{root.handle(), std::min(first.get(), second.get()),
                                              std::max(first.get(), second.get())}));
    EXPECT_THROW(ca.open(L"Root", 0), CAException);
    EXPECT_FALSE(ca.is_root());
    const store_handle empty;
    EXPECT_THROW(store_handle{empty}, CAException);
}

TEST(CertificateStoreName, PrefixSaysUserOrSystemAndUsersSortFirst) {
    CertificateStore user_b, system_a, user_a;
    user_b.Set(L"user.b");
    system_a.Set(L"system.a");
    user_a.Set(L"a", false);
    EXPECT_TRUE(system_a.is_system() && !user_b.is_system());
    EXPECT_STREQ(user_b.name(), L"b");
    EXPECT_TRUE(user_a < user_b && user_b < system_a && !(system_a < user_a));
    for (const wchar_t *refused : {L"My", L"users.My", L"System.Root"})
        EXPECT_THROW(CertificateStore().Set(refused), CAException);
    CertificateStore copy = user_b;
    user_b.Set(L"a", false);
    EXPECT_EQ(user_b, user_a);
    EXPECT_STREQ(copy.name(), L"b");  // copies own their names
}
