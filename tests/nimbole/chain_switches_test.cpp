/* The process-wide switches and the user's stores. A switch is read once
 * per process, so every case runs in a child process of its own. */
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "nimbole/chain_switches.h"
#include "tests/nimbole/engine_support.h"

using namespace halden::nimbole;

namespace {

std::string registry(const char *revoked, const char *matching, const char *engine) {
    std::string text = "[\\config\\Parameters]\n";
    if (revoked) text += std::string("LegacyRevokedCertHandling = ") + revoked + "\n";
    if (matching) text += std::string("ForceMicrosoftCRLMatching = ") + matching + "\n";
    if (engine) text += std::string("[\\config\\Nimbole]\nlegacy_user_chain_engine = ") + engine + "\n";
    return text;
}

int switches() {
    return (IsLegacyRevokedCertHandling() ? 1 : 0) | (IsMSMatchingEnforced() ? 2 : 0) |
           (IsLegacyUserChainEngine() ? 4 : 0);
}

/* In the child: the switches read from `first`, then again after the
 * registry changed to `then`, in one exit code. */
[[noreturn]] void read_twice(const std::string &first, const std::string &then) {
    const std::string path = engine_test::test_home() + "/switches.conf";
    std::ofstream(path, std::ios::trunc) << first;
    setenv("MAREN_REGISTRY", path.c_str(), 1);
    const int before = switches();
    std::ofstream(path + ".new", std::ios::trunc) << then;
    std::rename((path + ".new").c_str(), path.c_str());
    std::exit(before | switches() << 3);
}

}  // namespace

TEST(ChainSwitches, ReadOnceAtFirstUseAndOnlyNonZeroLongsCount) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string all_on = registry("1", "1", "1"), all_off = registry("0", "0", "0");
    const std::pair<std::string, int> cases[] = {
        {"", 0}, {all_off, 0}, {all_on, 7}, {registry("5", nullptr, nullptr), 1},
        {registry(nullptr, "-1", nullptr), 2}, {registry(nullptr, nullptr, "0x100000000"), 4},
        {registry("\"1\"", "\"1\"", "\"1\""), 0},  // a string is no long
    };
    for (const auto &[first, expected] : cases) {
        // Whatever the registry says later, the first reading stands.
        EXPECT_EXIT(read_twice(first, expected == 0 ? all_on : all_off),
                    testing::ExitedWithCode(expected | expected << 3), "")
            << first;
    }
}

TEST(UserStores, OpenedOnceAndKeptForTheProcess) {
    SetLastError(0);
    const HCERTSTORE root = GetUserRootStore(), ca = GetUserCAStore();
    ASSERT_TRUE(root != nullptr && ca != nullptr && root != ca);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_TRUE(GetUserRootStore() == root && GetUserCAStore() == ca);
}
