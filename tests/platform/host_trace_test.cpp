#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <maren/host.h>

#include "tests/platform/host_test_support.h"

using host_test::read_file;
using host_test::read_lines;
using host_test::ScopedEnv;
using host_test::TempDir;
using host_test::write_file;

namespace {

std::string line_start(const char *module, const char *kind) {
    return "maren[" + std::to_string(getpid()) + "] " + module + " " + kind + " ";
}

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST(HostTrace, PlatformGlobalsStartAsTheLoadedConfigurationSays) {
    /* Decided at load; the same module asked again gives the same answer. */
    EXPECT_EQ(marencheck_db_ctx, host_print_init(nullptr, "marencheck", 0, 0x7f));
    EXPECT_EQ(__atomic_load_n(&_strictPkupCheck, __ATOMIC_RELAXED), 0);
}

TEST(HostTrace, LevelsComeFromTheEnvironmentPerModuleAndMask) {
    TempDir dir;
    ScopedEnv registry("MAREN_REGISTRY", dir.file("none.conf"));
    ScopedEnv file("MAREN_TRACE_FILE", dir.file("trace.log"));
    {
        ScopedEnv trace("MAREN_TRACE", "envmod1=0x09, *=0x02, envmod3=junk");
        HOST_PRINT_HANDLE one = host_print_init(nullptr, "envmod1", 0, 0x7f);
        ASSERT_NE(one, nullptr);
        EXPECT_EQ(host_print_init(nullptr, "envmod1", 0, 0x7f), one);
        EXPECT_TRUE(host_print_is(one, 0x01));
        EXPECT_TRUE(host_print_is(one, 0x08));
        EXPECT_FALSE(host_print_is(one, 0x02));
        EXPECT_EQ(host_print_init(nullptr, "envmod2", 0, 0x01), nullptr);  // masked out
        HOST_PRINT_HANDLE two = host_print_init(nullptr, "envmod2", 0, 0x7f);
        ASSERT_NE(two, nullptr);
        EXPECT_TRUE(host_print_is(two, 0x02));
        EXPECT_FALSE(host_print_is(two, 0x01));
        HOST_PRINT_HANDLE three = host_print_init(nullptr, "envmod3", 0, 0x7f);  // bad entry: "*" applies
        ASSERT_NE(three, nullptr);
        EXPECT_TRUE(host_print_is(three, 0x02));
    }
    {
        ScopedEnv trace("MAREN_TRACE", "0x7f");
        HOST_PRINT_HANDLE any = host_print_init(nullptr, "envmod4", 0, 0x3f);
        ASSERT_NE(any, nullptr);
        EXPECT_TRUE(host_print_is(any, 0x20));
        EXPECT_FALSE(host_print_is(any, 0x40));
    }
    ScopedEnv trace("MAREN_TRACE", std::nullopt);
    EXPECT_EQ(host_print_init(nullptr, "envmod5", 0, 0x7f), nullptr);
    EXPECT_EQ(host_print_is(nullptr, 0x01), 0);
    host_dprint_print_(nullptr, "silent %d", "", 1, "f", 1);
    host_elprint_print_(nullptr, "silent %d", "", 1, "f", 1);
    EXPECT_EQ(read_file(dir.file("trace.log")), "");
}

TEST(HostTrace, EachCallWritesOneWholeLine) {
    TempDir dir;
    const std::string log = dir.file("trace.log");
    ScopedEnv trace("MAREN_TRACE", "linemod=0x7f");
    ScopedEnv file("MAREN_TRACE_FILE", log);
    HOST_PRINT_HANDLE h = host_print_init(nullptr, "linemod", 0, 0x7f);
    ASSERT_NE(h, nullptr);

    const std::string long_text(3000, 'x');
    host_dprint_print_(h, "value %d of %s", "pre: ", 12, "do_work", 5, "six");
    host_elprint_print_(h, "has its own newline\n", "", 13, "fail");
    host_dprint_print_(h, nullptr, "", 14, "no_format");
    host_dprint_print_(h, "%s", "", 15, nullptr, long_text.c_str());

    const std::vector<std::string> lines = read_lines(log);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], line_start("linemod", "DEBUG") + "do_work:12: pre: value 5 of six");
    EXPECT_EQ(lines[1], line_start("linemod", "ERROR") + "fail:13: has its own newline");
    EXPECT_EQ(lines[2], line_start("linemod", "DEBUG") + "no_format:14: ");
    EXPECT_EQ(lines[3], line_start("linemod", "DEBUG") + "?:15: " + long_text);
}

TEST(HostTrace, LinesFromManyThreadsStayWhole) {
    TempDir dir;
    const std::string log = dir.file("trace.log");
    ScopedEnv trace("MAREN_TRACE", "threadmod=1");
    ScopedEnv file("MAREN_TRACE_FILE", log);
    HOST_PRINT_HANDLE h = host_print_init(nullptr, "threadmod", 0, 0x7f);
    ASSERT_NE(h, nullptr);

    constexpr int kThreads = 8, kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([h, t] {
            const std::string body(600 + t * 50, static_cast<char>('a' + t));
            for (int i = 0; i < kLines; ++i) host_elprint_print_(h, "%d %d %s", "", 1, "worker", t, i, body.c_str());
        });
    }
    for (auto &thread : threads) thread.join();

    const std::vector<std::string> lines = read_lines(log);
    ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
    const std::string start = line_start("threadmod", "ERROR") + "worker:1: ";
    for (const std::string &line : lines) {
        ASSERT_EQ(line.compare(0, start.size(), start), 0) << line.substr(0, 80);
        size_t pos = start.size();
        const int t = line[pos] - '0';
        ASSERT_TRUE(t >= 0 && t < kThreads) << line.substr(0, 80);
        pos = line.find(' ', pos + 2);
        ASSERT_NE(pos, std::string::npos);
        EXPECT_EQ(line.substr(pos + 1), std::string(600 + t * 50, static_cast<char>('a' + t)));
    }
}

TEST(HostTrace, RegistryConfiguresLevelsAndFileAndBadLinesAreReported) {
    TempDir dir;
    const std::string log = dir.file("trace.log");
    ScopedEnv trace("MAREN_TRACE", std::nullopt);
    ScopedEnv file("MAREN_TRACE_FILE", std::nullopt);
    ScopedEnv registry("MAREN_REGISTRY", dir.file("registry.conf"));
    write_file(dir.file("registry.conf"), "[\\config\\Trace]\n"
                                          "regmod = 0x08\n"
                                          "maren = 0x01\n"
                                          "File = \"" + log + "\"\n"
                                          "this line is wrong\n");
    /* The file is first parsed while the trace configuration is read; its
     * bad line is reported under the "maren" module that it configures. */
    HOST_PRINT_HANDLE h = host_print_init(nullptr, "regmod", 0, 0x7f);
    ASSERT_NE(h, nullptr);
    EXPECT_TRUE(host_print_is(h, 0x08));
    EXPECT_FALSE(host_print_is(h, 0x01));
    host_dprint_print_(h, "hello", "", 7, "greet");

    const std::string text = read_file(log);
    EXPECT_TRUE(contains(text, line_start("maren", "ERROR"))) << text;
    EXPECT_TRUE(contains(text, "line 5: no '=', skipped")) << text;
    EXPECT_TRUE(contains(text, line_start("regmod", "DEBUG") + "greet:7: hello\n")) << text;
}

TEST(HostTrace, EnvironmentAsksForRegistryErrorsOfTheMarenModule) {
    TempDir dir;
    const std::string log = dir.file("trace.log");
    ScopedEnv trace("MAREN_TRACE", "maren=0x01");
    ScopedEnv file("MAREN_TRACE_FILE", log);
    ScopedEnv registry("MAREN_REGISTRY", dir.file("registry.conf"));
    write_file(dir.file("registry.conf"), "x = 1\n");
    long value = 0;
    EXPECT_NE(host_registry_get_long("\\k\\x", &value), 0);
    EXPECT_TRUE(contains(read_file(log), "line 1: value outside a section, skipped"));
}
