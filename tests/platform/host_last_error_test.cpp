#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <maren/host.h>

TEST(HostLastError, EachThreadSeesOnlyItsOwnValue) {
    constexpr int kThreads = 16;
    constexpr int kIterations = 10000;
    SetLastError(0xDEADBEEF);
    std::atomic<int> foreign{0};
    std::atomic<int> dirty_start{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &foreign, &dirty_start] {
            if (GetLastError() != 0) ++dirty_start;
            for (int i = 0; i < kIterations; ++i) {
                const DWORD mine = static_cast<DWORD>(t) << 24 | static_cast<DWORD>(i);
                SetLastError(mine);
                std::this_thread::yield();
                if (GetLastError() != mine) ++foreign;
            }
        });
    }
    for (auto &thread : threads) thread.join();
    EXPECT_EQ(foreign.load(), 0);
    EXPECT_EQ(dirty_start.load(), 0);
    EXPECT_EQ(GetLastError(), 0xDEADBEEFu);
}
