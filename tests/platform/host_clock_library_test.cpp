#include <dlfcn.h>
#include <pthread.h>

#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include <maren/errors.h>
#include <maren/host.h>

TEST(HostClock, TimeDifferenceNormalisesMicroseconds) {
    struct Case {
        timeval a, b, expected;
    };
    const Case cases[] = {
        {{5, 100}, {3, 200}, {1, 999900}},
        {{5, 200}, {3, 100}, {2, 100}},
        {{3, 0}, {5, 0}, {-2, 0}},
        {{3, 100}, {5, 200}, {-3, 999900}},
        {{1, 2500000}, {0, 0}, {3, 500000}},   // inputs not normalised
        {{0, 0}, {0, 1500000}, {-2, 500000}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.a.tv_sec << "." << c.a.tv_usec << " - " << c.b.tv_sec << "."
                                        << c.b.tv_usec);
        timeval result{77, 77};
        host_time_sub(&c.a, &c.b, &result);
        EXPECT_EQ(result.tv_sec, c.expected.tv_sec);
        EXPECT_EQ(result.tv_usec, c.expected.tv_usec);
    }
    timeval first{}, second{}, elapsed{};
    ASSERT_EQ(host_gettimeofday(&first), 0);
    ASSERT_EQ(host_gettimeofday(&second), 0);
    host_time_sub(&second, &first, &elapsed);
    EXPECT_GE(elapsed.tv_sec, 0);
}

TEST(HostMutex, RecursiveMutexReentersAndStillExcludesOthers) {
    pthread_mutex_t mutex;
    ASSERT_EQ(host_mutex_init_recursive(&mutex), 0);
    ASSERT_EQ(pthread_mutex_lock(&mutex), 0);
    ASSERT_EQ(pthread_mutex_lock(&mutex), 0);
    int other = -1;
    std::thread([&] { other = pthread_mutex_trylock(&mutex); }).join();
    EXPECT_EQ(other, EBUSY);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_destroy(&mutex), 0);
}

TEST(HostLibrary, LoadsFindsAndUnloadsOrFailsWithTheRightError) {
    void *libc = host_load_library_registry("libc.so.6", 0);
    ASSERT_NE(libc, nullptr);
    void *address = host_load_library_getaddr(libc, "strlen");
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(reinterpret_cast<size_t (*)(const char *)>(address)("four"), 4u);

    SetLastError(0);
    EXPECT_EQ(host_load_library_getaddr(libc, "no_such_symbol_in_libc"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
    EXPECT_EQ(host_unload_library_registry(libc), 0);

    SetLastError(0);
    EXPECT_EQ(host_load_library_registry("/nonexistent/libnothing.so", 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);

    SetLastError(0);
    EXPECT_EQ(host_load_library_registry(nullptr, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(host_load_library_getaddr(nullptr, "strlen"), nullptr);
    EXPECT_NE(host_unload_library_registry(nullptr), 0);
}
