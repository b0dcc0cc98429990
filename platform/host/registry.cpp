/* The configuration registry: values looked up by path in the registry
 * file. The parsed file is kept in memory for the whole process and read
 * again when a lookup finds that the file changed. A lookup returns 0, or
 * ERROR_FILE_NOT_FOUND when there is no file or no such value,
 * ERROR_INVALID_DATA when the value has the other type, ERROR_MORE_DATA
 * when a string does not fit, ERROR_INVALID_PARAMETER for null arguments.
 * The thread's last error is left alone, as the published registry does. */
#include "platform/host/registry.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include <maren/errors.h>
#include <maren/host.h>

#include "platform/host/home.h"
#include "platform/host/registry_file.h"
#include "platform/host/trace_internal.h"

namespace maren::detail {
namespace {

/* Far beyond any real configuration; a bigger file is refused rather than
 * read into memory. */
constexpr off_t kMaxFileSize = 16 * 1024 * 1024;

/* What identifies one version of the file. */
struct FileIdentity {
    std::string path;
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    struct timespec mtime {};
    struct timespec ctime {};

    bool operator==(const FileIdentity &o) const {
        return path == o.path && exists == o.exists && device == o.device && inode == o.inode && size == o.size &&
               mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec && ctime.tv_sec == o.ctime.tv_sec &&
               ctime.tv_nsec == o.ctime.tv_nsec;
    }
    bool operator!=(const FileIdentity &o) const { return !(*this == o); }
};

FileIdentity identity_of(const std::string &path, const struct stat *st) {
    FileIdentity id;
    id.path = path;
    if (st != nullptr) {
        id.exists = true;
        id.device = st->st_dev;
        id.inode = st->st_ino;
        id.size = st->st_size;
        id.mtime = st->st_mtim;
        id.ctime = st->st_ctim;
    }
    return id;
}

using Values = std::map<std::string, RegistryValue>;

struct Cache {
    std::mutex mutex;
    bool loaded = false;
    FileIdentity identity;
    std::shared_ptr<const Values> values;  // null: no file
    std::atomic<uint64_t> generation{0};
};

/* Never destroyed, so lookups from other static destructors stay safe. */
Cache &cache() {
    static Cache *const instance = new Cache;
    return *instance;
}

/* Reads and parses the file. Null when it cannot be opened; empty when it
 * cannot be used. */
std::shared_ptr<const Values> load(const std::string &path, std::vector<std::string> *diagnostics) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno != ENOENT) diagnostics->push_back(std::string("cannot open: ") + std::strerror(errno));
        return nullptr;
    }
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > kMaxFileSize) {
        diagnostics->push_back("not a regular file of at most 16 MiB, ignored");
        close(fd);
        return std::make_shared<const Values>();
    }
    std::string text(static_cast<size_t>(st.st_size), '\0');
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = read(fd, &text[done], text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    close(fd);
    text.resize(done);

    RegistryData data = parse_registry_text(text);
    *diagnostics = std::move(data.diagnostics);
    return std::make_shared<const Values>(std::move(data.values));
}

/* The current values, re-read when the file changed; null when there is no
 * file. Parser diagnostics are traced after the lock is released, because
 * tracing may itself consult the registry. */
std::shared_ptr<const Values> current_values() {
    const std::string path = registry_file_path();
    if (path.empty()) return nullptr;

    struct stat st {};
    const bool present = stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
    const FileIdentity seen = identity_of(path, present ? &st : nullptr);

    std::vector<std::string> diagnostics;
    std::shared_ptr<const Values> values;
    {
        Cache &c = cache();
        std::lock_guard<std::mutex> lock(c.mutex);
        if (!c.loaded || c.identity != seen) {
            /* The identity seen before reading: should the file change in
             * between, the next lookup sees a difference and reads again. */
            c.values = present ? load(path, &diagnostics) : nullptr;
            c.identity = seen;
            c.loaded = true;
            c.generation.fetch_add(1, std::memory_order_release);
        }
        values = c.values;
    }
    for (const std::string &d : diagnostics)
        maren_trace_error_deferrable(__func__, __LINE__, "registry " + path + ": " + d);
    return values;
}

/* Finds a value; returns 0 or the error code of a lookup. */
int find(const char *path, std::shared_ptr<const Values> *holder, const RegistryValue **value) {
    *holder = current_values();
    if (!*holder) return ERROR_FILE_NOT_FOUND;
    const auto it = (*holder)->find(registry_key(path));
    if (it == (*holder)->end()) return ERROR_FILE_NOT_FOUND;
    *value = &it->second;
    return 0;
}

}  // namespace

std::string registry_file_path() {
    const char *explicit_path = std::getenv("MAREN_REGISTRY");
    if (explicit_path != nullptr && explicit_path[0] != '\0') return explicit_path;
    std::string home = home_directory();
    if (home.empty()) return home;
    return home + "/registry.conf";
}

uint64_t registry_generation() { return cache().generation.load(std::memory_order_acquire); }

}  // namespace maren::detail

extern "C" {

int host_registry_get_long(const char *path, long *value) {
    if (path == nullptr || value == nullptr) return ERROR_INVALID_PARAMETER;
    try {
        std::shared_ptr<const maren::detail::Values> holder;
        const maren::detail::RegistryValue *found = nullptr;
        if (const int error = maren::detail::find(path, &holder, &found)) return error;
        const long *number = std::get_if<long>(found);
        if (number == nullptr) return ERROR_INVALID_DATA;
        *value = *number;
        return 0;
    } catch (const std::bad_alloc &) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

int host_registry_get_string(const char *path, char *buffer, size_t *length) {
    if (path == nullptr || length == nullptr) return ERROR_INVALID_PARAMETER;
    try {
        std::shared_ptr<const maren::detail::Values> holder;
        const maren::detail::RegistryValue *found = nullptr;
        if (const int error = maren::detail::find(path, &holder, &found)) return error;
        const std::string *text = std::get_if<std::string>(found);
        if (text == nullptr) return ERROR_INVALID_DATA;
        const size_t needed = text->size() + 1;
        if (buffer == nullptr) {
            *length = needed;
            return 0;
        }
        if (*length < needed) {
            *length = needed;
            return ERROR_MORE_DATA;
        }
        std::memcpy(buffer, text->c_str(), needed);
        *length = needed;
        return 0;
    } catch (const std::bad_alloc &) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

}  // extern "C"
