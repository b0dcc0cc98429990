#include "platform/host/home.h"

#include <errno.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace maren::detail {
namespace {

const char *non_empty_env(const char *name) {
    const char *value = std::getenv(name);
    return (value != nullptr && value[0] != '\0') ? value : nullptr;
}

/* $HOME, or the password database's entry when HOME is unset. */
std::string user_home() {
    if (const char *home = non_empty_env("HOME")) return home;
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
    struct passwd pw {};
    struct passwd *found = nullptr;
    if (getpwuid_r(getuid(), &pw, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && found->pw_dir[0] != '\0')
        return found->pw_dir;
    return std::string();
}

int make_directory(const std::string &path) {
    if (mkdir(path.c_str(), 0700) == 0) return 0;
    const int error = errno;
    struct stat st {};
    if (error == EEXIST && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return 0;
    return error;
}

}  // namespace

std::string home_directory() {
    if (const char *home = non_empty_env("MAREN_HOME")) return home;
    /* The base directory convention ignores relative values. */
    const char *data = non_empty_env("XDG_DATA_HOME");
    if (data != nullptr && data[0] == '/') return std::string(data) + "/maren";
    std::string home = user_home();
    if (home.empty()) return home;
    return home + "/.local/share/maren";
}

int create_home_directory(std::string *path) {
    std::string home = home_directory();
    if (home.empty()) return ENOENT;
    for (size_t slash = home.find('/', 1); slash != std::string::npos; slash = home.find('/', slash + 1)) {
        if (home[slash - 1] == '/') continue;
        if (const int error = make_directory(home.substr(0, slash))) return error;
    }
    if (const int error = make_directory(home)) return error;
    if (path != nullptr) *path = std::move(home);
    return 0;
}

}  // namespace maren::detail
