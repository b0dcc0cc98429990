// The URL cache across processes: what one process fetched another finds
// without the network; a damaged store folder costs only the damaged
// entries; the size limit evicts the least recently used URL.
#include <gtest/gtest.h>

#include <dirent.h>

#include <fstream>
#include <sstream>

#include "tests/platform/retrieval_test_support.h"
#include "tests/support/loopback_http_server.h"

namespace {

using halden::test::LoopbackHttpServer;
using namespace retrieval_test;

// Runs the child with its retrievals; its output lines.
std::vector<std::string> child(const std::vector<std::string> &steps) {
    std::string command = MAREN_RETRIEVAL_CHILD;
    for (const std::string &step : steps) command += " '" + step + "'";
    std::vector<std::string> lines;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return lines;
    char line[256];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::string text_line = line;
        if (!text_line.empty() && text_line.back() == '\n') text_line.pop_back();
        lines.push_back(text_line);
    }
    pclose(pipe);
    return lines;
}

std::string le32(uint32_t v) {
    const char bytes[4] = {char(v & 0xFF), char(v >> 8 & 0xFF), char(v >> 16 & 0xFF), char(v >> 24 & 0xFF)};
    return std::string(bytes, 4);
}

std::string not_found() {
    std::ostringstream out;
    out << "error " << std::hex << static_cast<unsigned>(CRYPT_E_NOT_FOUND);
    return out.str();
}

std::vector<std::string> files_in(const std::string &folder, const std::string &suffix) {
    std::vector<std::string> names;
    if (DIR *dir = opendir(folder.c_str())) {
        while (dirent *entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                names.push_back(name);
        }
        closedir(dir);
    }
    return names;
}

class UrlCacheProcessTest : public ::testing::Test {
  protected:
    static crl_maker::Signer &signer() {
        static crl_maker::Signer *s = new crl_maker::Signer;
        return *s;
    }
    void SetUp() override {
        server.serve_bytes("/one.crl", text(crl_in_force(signer(), {1}, 1)));
        server.serve_bytes("/two.crl", text(crl_in_force(signer(), {1, 2}, 2)));
        server.serve_bytes("/three.crl", text(crl_in_force(signer(), {1, 2, 3}, 3)));
    }
    std::string cache_folder() const { return home.user_store("maren-url-cache"); }

    store_test::TempHome home;
    LoopbackHttpServer server;
};

TEST_F(UrlCacheProcessTest, WhatOneProcessFetchedAnotherFindsCacheOnly) {
    EXPECT_EQ(child({"wire:" + server.url("/two.crl")}), std::vector<std::string>{"ok 2"});
    EXPECT_EQ(child({"cache:" + server.url("/two.crl"), "default:" + server.url("/two.crl"),
                     "cache:" + server.url("/one.crl")}),
              (std::vector<std::string>{"ok 2", "ok 2", not_found()}));
    EXPECT_EQ(server.requests("/two.crl"), 1);
    EXPECT_EQ(server.requests("/one.crl"), 0);
}

TEST_F(UrlCacheProcessTest, DamagedStoreFolderIsSkippedEntryByEntry) {
    ASSERT_EQ(child({"wire:" + server.url("/one.crl"), "wire:" + server.url("/two.crl"),
                     "wire:" + server.url("/three.crl")}),
              (std::vector<std::string>{"ok 1", "ok 2", "ok 3"}));
    std::vector<std::string> objects = files_in(cache_folder(), ".crl");
    std::vector<std::string> properties = files_in(cache_folder(), ".crl.props");
    ASSERT_EQ(objects.size(), 3u);
    ASSERT_EQ(properties.size(), 3u);
    // Objects are named by thumbprint: damage whichever two come first -
    // one object file, and one entry's URL property (its URL without the
    // NUL) - and add a stray file.
    std::sort(objects.begin(), objects.end());
    std::ofstream(cache_folder() + "/" + objects[0], std::ios::trunc) << "not DER";
    const std::string url_without_nul(24 + 40, 'h');
    std::string props = std::string("MPRP") + le32(1) + le32(0x8001) + le32(static_cast<uint32_t>(url_without_nul.size())) +
                        url_without_nul;
    std::ofstream(cache_folder() + "/" + objects[1] + ".props", std::ios::trunc | std::ios::binary) << props;
    std::ofstream(cache_folder() + "/00112233445566778899AABBCCDDEEFF00112233.crl") << "\x30\x03\x02\x01";

    std::vector<std::string> lines = child({"cache:" + server.url("/one.crl"), "cache:" + server.url("/two.crl"),
                                            "cache:" + server.url("/three.crl")});
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), not_found()), 2) << lines[0] << "|" << lines[1] << "|" << lines[2];
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const std::string &l) { return l.rfind("ok", 0) == 0; }), 1);
}

TEST_F(UrlCacheProcessTest, LeastRecentlyUsedUrlGoesAtTheLimit) {
    ASSERT_EQ(maren_registry_set_long("\\config\\Nimbole\\cache_settings\\max_elements", 2), 0);
    const std::string one = server.url("/one.crl"), two = server.url("/two.crl"), three = server.url("/three.crl");
    EXPECT_EQ(child({"wire:" + one, "wire:" + two, "cache:" + one, "wire:" + three, "cache:" + one, "cache:" + two,
                     "cache:" + three}),
              (std::vector<std::string>{"ok 1", "ok 2", "ok 1", "ok 3", "ok 1", not_found(), "ok 3"}));
    // The eviction reached the disk.
    EXPECT_EQ(files_in(cache_folder(), ".crl").size(), 2u);
    EXPECT_EQ(child({"cache:" + two}), std::vector<std::string>{not_found()});

    // A store holding more than the limit is trimmed when it is loaded.
    ASSERT_EQ(maren_registry_set_long("\\config\\Nimbole\\cache_settings\\max_elements", 1), 0);
    std::vector<std::string> lines = child({"cache:" + one, "cache:" + three});
    EXPECT_EQ(std::count(lines.begin(), lines.end(), not_found()), 1);
    EXPECT_EQ(files_in(cache_folder(), ".crl").size(), 1u);

    // Negative reads as 100; 0 turns the cache off.
    ASSERT_EQ(maren_registry_set_long("\\config\\Nimbole\\cache_settings\\max_elements", -5), 0);
    EXPECT_EQ(child({"wire:" + one, "wire:" + two, "wire:" + three, "cache:" + one, "cache:" + two}),
              (std::vector<std::string>{"ok 1", "ok 2", "ok 3", "ok 1", "ok 2"}));
    ASSERT_EQ(maren_registry_set_long("\\config\\Nimbole\\cache_settings\\max_elements", 0), 0);
    EXPECT_EQ(child({"wire:" + one, "cache:" + one}), (std::vector<std::string>{"ok 1", not_found()}));
}

}  // namespace
