/* Writing the configuration registry. The file is edited as text, so that
 * comments, blank lines, the order of sections and lines maren cannot parse
 * all survive: the line that gives the value its current meaning is
 * replaced, or a line is added at the end of the value's section, or a new
 * section at the end of the file. The result is parsed before it is written
 * and must read back the new value; it then replaces the old file through a
 * rename, under a lock that orders concurrent writers in all processes.
 * Readers notice the new file through the registry cache's file identity. */
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <maren/errors.h>
#include <maren/ext.h>

#include "base/ascii.h"
#include "platform/host/home.h"
#include "platform/host/registry.h"
#include "platform/host/registry_file.h"

namespace maren::detail {
using namespace halden;
namespace {

/* The reader refuses bigger files; so does the writer. */
constexpr off_t kMaxFileSize = 16 * 1024 * 1024;

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return fd_; }
    /* Closes now, reporting the error a deferred write may only show here. */
    int close_checked() {
        const int result = close(fd_);
        fd_ = -1;
        return result;
    }

  private:
    int fd_;
};

int error_of_errno(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS: return ERROR_ACCESS_DENIED;
    case ENOSPC:
    case EDQUOT: return ERROR_DISK_FULL;
    case ENOENT:
    case ENOTDIR: return ERROR_PATH_NOT_FOUND;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    default: return ERROR_WRITE_FAULT;
    }
}

std::string_view strip_backslashes(std::string_view s) {
    while (!s.empty() && s.front() == '\\') s.remove_prefix(1);
    while (!s.empty() && s.back() == '\\') s.remove_suffix(1);
    return s;
}

bool has_line_break(std::string_view s) { return s.find_first_of("\r\n") != std::string_view::npos; }

/* Where a value goes: "[\<section>]" and "<name> = ...". */
struct Target {
    std::string section;
    std::string name;
    std::string folded_section;
    std::string folded_key;
};

/* The section is what stands before the last backslash. Anything the
 * parser would read differently is refused. */
std::optional<Target> target_of(std::string_view path) {
    while (!path.empty() && path.front() == '\\') path.remove_prefix(1);
    const size_t cut = path.rfind('\\');
    if (cut == std::string_view::npos) return std::nullopt;
    const std::string_view section = strip_backslashes(path.substr(0, cut));
    const std::string_view name = path.substr(cut + 1);
    if (section.empty() || name.empty() || has_line_break(path)) return std::nullopt;
    if (ascii_trim(section) != section || ascii_trim(name) != name) return std::nullopt;
    if (name.find('=') != std::string_view::npos || name.front() == '[' || name.front() == '#' ||
        name.front() == ';')
        return std::nullopt;
    Target target{std::string(section), std::string(name), ascii_folded(section), std::string()};
    target.folded_key = target.folded_section + "\\" + ascii_folded(name);
    return target;
}

/* The value as it stands right of '='. */
std::string long_text(long value) { return std::to_string(value); }

std::string string_text(std::string_view value) {
    std::string text = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\') text.push_back('\\');
        text.push_back(c);
    }
    text.push_back('"');
    return text;
}

/* The file's text with the value set, following the parser's reading of
 * sections and value lines. */
std::string edited_text(const std::string &text, const Target &target, const std::string &value_text) {
    std::vector<std::string> lines;
    for (size_t start = 0;;) {
        const size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    /* A final line break leaves an empty last piece; it is not a line. */
    const bool ends_with_break = !text.empty() && text.back() == '\n';
    if (ends_with_break || text.empty()) lines.pop_back();
    const std::string carriage = !lines.empty() && !lines[0].empty() && lines[0].back() == '\r' ? "\r" : "";
    /* The unterminated last line is about to get a line break: the file's. */
    if (!ends_with_break && !lines.empty() && (lines.back().empty() || lines.back().back() != '\r'))
        lines.back() += carriage;

    std::optional<size_t> match;
    std::optional<size_t> last_in_section;
    bool in_target = false;
    bool section_open = false;
    std::string section;
    for (size_t i = 0; i < lines.size(); ++i) {
        std::string_view line = lines[i];
        if (i == 0 && line.substr(0, 3) == "\xEF\xBB\xBF") line.remove_prefix(3);
        line = ascii_trim(line);
        if (line.empty() || line.front() == '#' || line.front() == ';') continue;
        if (line.front() == '[') {
            const bool good = line.size() >= 2 && line.back() == ']';
            const std::string_view path = good ? strip_backslashes(ascii_trim(line.substr(1, line.size() - 2))) : "";
            section_open = !path.empty();
            section = ascii_folded(path);
            in_target = section_open && section == target.folded_section;
            if (in_target) last_in_section = i;
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos || !section_open) continue;
        const std::string_view name = ascii_trim(line.substr(0, equals));
        if (name.empty()) continue;
        if (in_target) last_in_section = i;
        /* The last line of the path is the one whose value counts. */
        if (section + "\\" + ascii_folded(name) == target.folded_key) match = i;
    }

    if (match) {
        std::string &line = lines[*match];
        const bool had_carriage = !line.empty() && line.back() == '\r';
        /* Keep what stands before the name: a byte-order mark, blanks. */
        size_t indent = *match == 0 && line.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
        while (indent < line.size() && ascii_isspace(line[indent])) ++indent;
        const size_t equals = line.find('=');
        const std::string name(ascii_trim(std::string_view(line).substr(indent, equals - indent)));
        line = line.substr(0, indent) + name + " = " + value_text + (had_carriage ? "\r" : "");
    } else if (last_in_section) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(*last_in_section) + 1,
                     target.name + " = " + value_text + carriage);
    } else {
        if (!lines.empty()) lines.push_back(carriage);
        lines.push_back("[\\" + target.section + "]" + carriage);
        lines.push_back(target.name + " = " + value_text + carriage);
    }

    std::string out;
    for (const std::string &line : lines) out += line + "\n";
    return out;
}

/* 0 and the text (empty when there is no file yet), or an error. */
int read_text(const std::string &path, std::string *text, struct stat *st, bool *exists) {
    const Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        if (errno != ENOENT) return error_of_errno(errno);
        *exists = false;
        return 0;
    }
    if (fstat(fd.get(), st) != 0) return error_of_errno(errno);
    if (!S_ISREG(st->st_mode) || st->st_size > kMaxFileSize) return ERROR_INVALID_PARAMETER;
    *exists = true;
    text->assign(static_cast<size_t>(st->st_size), '\0');
    size_t done = 0;
    while (done < text->size()) {
        const ssize_t n = read(fd.get(), &(*text)[done], text->size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return error_of_errno(errno);
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    text->resize(done);
    return 0;
}

int write_all(int fd, const std::string &text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return error_of_errno(errno);
        done += static_cast<size_t>(n);
    }
    return 0;
}

/* Writes the text to a new file beside path and renames it over path. */
int replace_file(const std::string &path, const std::string &text, const struct stat *old) {
    std::string temporary = path + ".XXXXXX";
    const int raw = mkostemp(&temporary[0], O_CLOEXEC);
    if (raw < 0) return error_of_errno(errno);
    Descriptor fd(raw);
    int error = 0;
    if (old != nullptr && fchmod(fd.get(), old->st_mode & 07777) != 0) error = error_of_errno(errno);
    if (error == 0) error = write_all(fd.get(), text);
    if (error == 0 && fsync(fd.get()) != 0) error = error_of_errno(errno);
    if (fd.close_checked() != 0 && error == 0) error = error_of_errno(errno);
    if (error == 0 && rename(temporary.c_str(), path.c_str()) != 0) error = error_of_errno(errno);
    if (error != 0) unlink(temporary.c_str());
    return error;
}

int set_value(const char *path, const RegistryValue &value, const std::string &value_text) {
    const std::optional<Target> target = target_of(path);
    if (!target) return ERROR_INVALID_PARAMETER;

    std::string file = registry_file_path();
    if (file.empty()) return ERROR_PATH_NOT_FOUND;
    const char *explicit_file = std::getenv("MAREN_REGISTRY");
    if (explicit_file == nullptr || explicit_file[0] == '\0') {
        if (const int error = create_home_directory(nullptr)) return error_of_errno(error);
    }
    /* Edit the file a link points to, and keep the link. */
    if (const std::unique_ptr<char, decltype(&free)> real(realpath(file.c_str(), nullptr), &free); real)
        file = real.get();

    /* Writers take turns on a lock file, which, unlike the registry file,
     * is never replaced. */
    const Descriptor lock(open((file + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock.get() < 0) return error_of_errno(errno);
    while (flock(lock.get(), LOCK_EX) != 0)
        if (errno != EINTR) return error_of_errno(errno);

    std::string text;
    struct stat st {};
    bool exists = false;
    if (const int error = read_text(file, &text, &st, &exists)) return error;
    const std::string edited = edited_text(text, *target, value_text);

    const RegistryData check = parse_registry_text(edited);
    const auto found = check.values.find(registry_key(path));
    if (found == check.values.end() || found->second != value) return ERROR_INVALID_PARAMETER;
    return replace_file(file, edited, exists ? &st : nullptr);
}

template <typename Work>
int guarded(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc &) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

}  // namespace
}  // namespace maren::detail

extern "C" {

int maren_registry_set_long(const char *path, long value) {
    if (path == nullptr) return ERROR_INVALID_PARAMETER;
    return maren::detail::guarded([&] {
        return maren::detail::set_value(path, maren::detail::RegistryValue(value), maren::detail::long_text(value));
    });
}

int maren_registry_set_string(const char *path, const char *value) {
    if (path == nullptr || value == nullptr || maren::detail::has_line_break(value)) return ERROR_INVALID_PARAMETER;
    return maren::detail::guarded([&] {
        return maren::detail::set_value(path, maren::detail::RegistryValue(std::string(value)),
                                        maren::detail::string_text(value));
    });
}

}  // extern "C"
