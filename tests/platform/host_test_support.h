/* Temporary directories, files and environment settings for the host
 * service tests. */
#ifndef MAREN_TESTS_PLATFORM_HOST_TEST_SUPPORT_H
#define MAREN_TESTS_PLATFORM_HOST_TEST_SUPPORT_H

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <ftw.h>

namespace host_test {

class TempDir {
  public:
    TempDir() {
        const char *base = getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/maren-host-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data()) != nullptr) path_ = buffer.data();
    }
    ~TempDir() {
        if (!path_.empty())
            nftw(path_.c_str(), [](const char *p, const struct stat *, int, struct FTW *) { return remove(p); }, 16,
                 FTW_DEPTH | FTW_PHYS);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

/* Sets (or unsets, with nullopt) a variable for one scope. */
class ScopedEnv {
  public:
    ScopedEnv(const char *name, const std::optional<std::string> &value) : name_(name) {
        if (const char *old = getenv(name)) old_ = old;
        if (value) setenv(name, value->c_str(), 1);
        else unsetenv(name);
    }
    ~ScopedEnv() {
        if (old_) setenv(name_.c_str(), old_->c_str(), 1);
        else unsetenv(name_.c_str());
    }
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;

  private:
    std::string name_;
    std::optional<std::string> old_;
};

inline void write_file(const std::string &path, const std::string &text) {
    /* Through a rename, as editors do, so the new file is a new inode. */
    const std::string temporary = path + ".new";
    std::ofstream(temporary, std::ios::binary | std::ios::trunc) << text;
    rename(temporary.c_str(), path.c_str());
}

inline std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::vector<std::string> read_lines(const std::string &path) {
    std::vector<std::string> lines;
    std::istringstream in(read_file(path));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace host_test

#endif
