#include <sys/stat.h>

#include <atomic>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <maren/errors.h>
#include <maren/host.h>

#include "tests/platform/host_test_support.h"

using host_test::ScopedEnv;
using host_test::TempDir;
using host_test::write_file;

namespace {

const char kMixedFile[] =
    "\xEF\xBB\xBF# comment\n"
    "; another comment\n"
    "\n"
    "[\\config\\Parameters]\r\n"
    "ChainSignatureCacheSize = 50\r\n"
    "LegacyRevokedCertHandling = 0x1\n"
    "Negative = -42\n"
    "Highest = 0x7FFFFFFFFFFFFFFF\n"
    "Lowest = -9223372036854775808\n"
    "TooBig = 9223372036854775808\n"
    "no equals here\n"
    "Bad = 12abc\n"
    "Unterminated = \"abc\n"
    "BadEscape = \"a\\nb\"\n"
    "Trailing = \"a\" b\n"
    "  Spaced Name   =   7  \n"
    "Empty = \"\"\n"
    "Escaped = \"say \\\"hi\\\" C:\\\\dir\"\n"
    "= 5\n"
    "[\\cryptography\\OID\\EncodingType 1\\CertDllVerifyRevocation\\DEFAULT]\n"
    "DLL = \"/usr/lib/x86_64-linux-gnu/libhalden.so.2\"\n"
    "[broken\n"
    "Lost = 1\n"
    "[ \\CONFIG\\parameters\\ ]\n"
    "Later = 3\n"
    "Negative = -43\n";

int get_long(const char *path, long *value) {
    *value = 0;
    return host_registry_get_long(path, value);
}

std::string get_string(const char *path, int *error) {
    size_t length = 0;
    *error = host_registry_get_string(path, nullptr, &length);
    if (*error != 0) return "<none>";
    std::string text(length, '#');
    *error = host_registry_get_string(path, &text[0], &length);
    if (*error != 0 || length == 0) return "<none>";
    text.resize(length - 1);
    return text;
}

}  // namespace

TEST(HostRegistry, ReadsGoodLinesAndSkipsMalformedOnes) {
    TempDir dir;
    ScopedEnv registry("MAREN_REGISTRY", dir.file("registry.conf"));
    write_file(dir.file("registry.conf"), kMixedFile);

    struct LongCase {
        const char *path;
        int error;
        long value;
    };
    const LongCase longs[] = {
        {"\\config\\Parameters\\ChainSignatureCacheSize", 0, 50},
        {"config\\PARAMETERS\\chainsignaturecachesize", 0, 50},
        {"\\config\\Parameters\\LegacyRevokedCertHandling", 0, 1},
        {"\\config\\Parameters\\Negative", 0, -43},  // the later line wins
        {"\\config\\Parameters\\Highest", 0, LONG_MAX},
        {"\\config\\Parameters\\Lowest", 0, LONG_MIN},
        {"\\config\\Parameters\\Spaced Name", 0, 7},
        {"\\config\\Parameters\\Later", 0, 3},
        {"\\config\\Parameters\\TooBig", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\Bad", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\Unterminated", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\BadEscape", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\Trailing", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\", ERROR_FILE_NOT_FOUND, 0},
        {"\\broken\\Lost", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\Lost", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\Missing", ERROR_FILE_NOT_FOUND, 0},
        {"\\config\\Parameters\\Escaped", ERROR_INVALID_DATA, 0},
    };
    for (const LongCase &c : longs) {
        SCOPED_TRACE(c.path);
        long value = 0;
        EXPECT_EQ(get_long(c.path, &value), c.error);
        EXPECT_EQ(value, c.value);
    }

    struct StringCase {
        const char *path;
        int error;
        const char *value;
    };
    const StringCase strings[] = {
        {"\\config\\Parameters\\Escaped", 0, "say \"hi\" C:\\dir"},
        {"\\config\\Parameters\\Empty", 0, ""},
        {"\\Cryptography\\OID\\EncodingType 1\\CertDllVerifyRevocation\\default\\dll", 0,
         "/usr/lib/x86_64-linux-gnu/libhalden.so.2"},
        {"\\config\\Parameters\\ChainSignatureCacheSize", ERROR_INVALID_DATA, "<none>"},
        {"\\config\\Parameters\\Missing", ERROR_FILE_NOT_FOUND, "<none>"},
    };
    for (const StringCase &c : strings) {
        SCOPED_TRACE(c.path);
        int error = -1;
        EXPECT_EQ(get_string(c.path, &error), c.value);
        EXPECT_EQ(error, c.error);
    }
}

TEST(HostRegistry, StringsFollowTheTwoCallSizeProtocol) {
    TempDir dir;
    ScopedEnv registry("MAREN_REGISTRY", dir.file("registry.conf"));
    write_file(dir.file("registry.conf"), "[k]\ns = \"abcd\"\n");

    size_t length = 99;
    EXPECT_EQ(host_registry_get_string("\\k\\s", nullptr, &length), 0);
    EXPECT_EQ(length, 5u);

    char buffer[8] = "#######";
    length = 4;
    EXPECT_EQ(host_registry_get_string("\\k\\s", buffer, &length), ERROR_MORE_DATA);
    EXPECT_EQ(length, 5u);
    EXPECT_EQ(buffer[0], '#');

    length = 5;
    EXPECT_EQ(host_registry_get_string("\\k\\s", buffer, &length), 0);
    EXPECT_EQ(length, 5u);
    EXPECT_STREQ(buffer, "abcd");

    EXPECT_EQ(host_registry_get_string(nullptr, buffer, &length), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(host_registry_get_string("\\k\\s", buffer, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(host_registry_get_long("\\k\\s", nullptr), ERROR_INVALID_PARAMETER);
}

TEST(HostRegistry, FileIsFoundThroughTheHomeDirectories) {
    TempDir dir;
    ScopedEnv no_registry("MAREN_REGISTRY", std::nullopt);
    long value = 0;
    {
        ScopedEnv home("MAREN_HOME", dir.file("maren-home"));
        mkdir(dir.file("maren-home").c_str(), 0700);
        write_file(dir.file("maren-home/registry.conf"), "[k]\nv = 1\n");
        EXPECT_EQ(get_long("\\k\\v", &value), 0);
        EXPECT_EQ(value, 1);
    }
    ScopedEnv no_home("MAREN_HOME", std::nullopt);
    {
        ScopedEnv xdg("XDG_DATA_HOME", dir.file("data"));
        mkdir(dir.file("data").c_str(), 0700);
        mkdir(dir.file("data/maren").c_str(), 0700);
        write_file(dir.file("data/maren/registry.conf"), "[k]\nv = 2\n");
        EXPECT_EQ(get_long("\\k\\v", &value), 0);
        EXPECT_EQ(value, 2);
    }
    ScopedEnv no_xdg("XDG_DATA_HOME", std::nullopt);
    ScopedEnv home("HOME", dir.path());
    EXPECT_EQ(get_long("\\k\\v", &value), ERROR_FILE_NOT_FOUND);
    for (const char *sub : {"/.local", "/.local/share", "/.local/share/maren"})
        mkdir((dir.path() + sub).c_str(), 0700);
    write_file(dir.file(".local/share/maren/registry.conf"), "[k]\nv = 3\n");
    EXPECT_EQ(get_long("\\k\\v", &value), 0);
    EXPECT_EQ(value, 3);
}

TEST(HostRegistry, ChangedOrRemovedFileIsReadAgain) {
    TempDir dir;
    const std::string path = dir.file("registry.conf");
    ScopedEnv registry("MAREN_REGISTRY", path);
    long value = 0;
    EXPECT_EQ(get_long("\\k\\v", &value), ERROR_FILE_NOT_FOUND);

    write_file(path, "[k]\nv = 1\n");
    EXPECT_EQ(get_long("\\k\\v", &value), 0);
    EXPECT_EQ(value, 1);

    /* Same size, new content. */
    write_file(path, "[k]\nv = 2\n");
    EXPECT_EQ(get_long("\\k\\v", &value), 0);
    EXPECT_EQ(value, 2);

    remove(path.c_str());
    EXPECT_EQ(get_long("\\k\\v", &value), ERROR_FILE_NOT_FOUND);
}

TEST(HostRegistry, ConcurrentLookupsSeeWholeVersionsWhileTheFileChanges) {
    TempDir dir;
    const std::string path = dir.file("registry.conf");
    ScopedEnv registry("MAREN_REGISTRY", path);
    write_file(path, "[k]\nv = \"version 0\"\n");

    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                char text[64];
                size_t length = sizeof text;
                const int error = host_registry_get_string("\\k\\v", text, &length);
                if (error != 0 || length < 10 || std::string(text, 8) != "version ") ++bad;
            }
        });
    }
    for (int i = 1; i <= 30; ++i) write_file(path, "[k]\nv = \"version " + std::to_string(i) + "\"\n");
    stop = true;
    for (auto &reader : readers) reader.join();
    EXPECT_EQ(bad.load(), 0);
    int error = 0;
    EXPECT_EQ(get_string("\\k\\v", &error), "version 30");
}
