#include "platform/store/store_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>

#include "base/ascii.h"

namespace maren::store::files {
namespace {

constexpr char kCertificateSuffix[] = ".cer";
constexpr char kCrlSuffix[] = ".crl";
constexpr char kPropertiesSuffix[] = ".props";
constexpr char kGenerationFile[] = ".generation";
constexpr BYTE kPropertiesMagic[4] = {'M', 'P', 'R', 'P'};
constexpr std::uint32_t kPropertiesVersion = 1;

bool ends_with(const std::string &s, const char *suffix) {
    const size_t n = std::strlen(suffix);
    return s.size() > n && s.compare(s.size() - n, n, suffix) == 0;
}

void set_error_from_errno(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS: SetLastError(static_cast<DWORD>(ERROR_ACCESS_DENIED)); break;
    case ENOSPC:
    case EDQUOT: SetLastError(static_cast<DWORD>(ERROR_DISK_FULL)); break;
    case ENOENT: SetLastError(static_cast<DWORD>(ERROR_PATH_NOT_FOUND)); break;
    case ENOMEM: SetLastError(static_cast<DWORD>(E_OUTOFMEMORY)); break;
    default: SetLastError(static_cast<DWORD>(CRYPT_E_FILE_ERROR)); break;
    }
}

Stamp stamp_from(const struct stat &st) {
    Stamp stamp;
    stamp.device = static_cast<std::uint64_t>(st.st_dev);
    stamp.inode = static_cast<std::uint64_t>(st.st_ino);
    stamp.size = static_cast<std::uint64_t>(st.st_size);
    stamp.modified_ns = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return stamp;
}

bool write_all(int fd, const BYTE *p, size_t n) {
    while (n) {
        const ssize_t w = ::write(fd, p, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        p += w;
        n -= static_cast<size_t>(w);
    }
    return true;
}

// Writes next to `final_name` and renames over it. False with the last
// error set.
bool write_replacing(const std::string &folder, const std::string &final_name, const BYTE *p, size_t n,
                     Stamp *stamp) {
    static std::atomic<unsigned> counter{0};
    const std::string temporary = folder + "/." + final_name + "." + std::to_string(::getpid()) + "." +
                                  std::to_string(counter.fetch_add(1, std::memory_order_relaxed)) + ".tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        set_error_from_errno(errno);
        return false;
    }
    bool ok = write_all(fd, p, n);
    int error = errno;
    struct stat st;
    if (ok && stamp) {
        ok = ::fstat(fd, &st) == 0;
        error = errno;
    }
    if (::close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && ::rename(temporary.c_str(), (folder + "/" + final_name).c_str()) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        ::unlink(temporary.c_str());
        set_error_from_errno(error);
        return false;
    }
    if (stamp) *stamp = stamp_from(st);  // a rename keeps inode and times
    return true;
}

bool remove_if_present(const std::string &path) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return true;
    set_error_from_errno(errno);
    return false;
}

bool read_whole(const std::string &path, std::vector<BYTE> *bytes) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    if (ok) {
        bytes->resize(static_cast<size_t>(st.st_size));
        size_t done = 0;
        while (ok && done < bytes->size()) {
            const ssize_t r = ::read(fd, bytes->data() + done, bytes->size() - done);
            if (r < 0 && errno == EINTR) continue;
            if (r <= 0) ok = false;
            else done += static_cast<size_t>(r);
        }
    }
    ::close(fd);
    return ok;
}

void put32(std::vector<BYTE> *out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<BYTE>(v >> (8 * i)));
}

std::uint32_t get32(const BYTE *p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

}  // namespace

bool stamp_of(const std::string &path, Stamp *stamp) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return false;
    *stamp = stamp_from(st);
    return true;
}

bool is_directory(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string object_file_name(const EncodedObject &object) {
    const crypto::Sha1 &digest = object.sha1();
    return crypto::to_hex(digest.data(), digest.size()) +
           (object.kind() == ObjectKind::certificate ? kCertificateSuffix : kCrlSuffix);
}

ObjectKind kind_of_file(const std::string &name) {
    return ends_with(name, kCrlSuffix) ? ObjectKind::crl : ObjectKind::certificate;
}

bool list(const std::string &folder, std::vector<Listed> *objects) {
    DIR *dir = ::opendir(folder.c_str());
    if (dir == nullptr) return false;
    std::map<std::string, Listed> found;
    std::map<std::string, Stamp> properties;
    while (const struct dirent *entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.empty() || name[0] == '.') continue;
        const bool is_properties = ends_with(name, kPropertiesSuffix);
        const std::string object = is_properties ? name.substr(0, name.size() - std::strlen(kPropertiesSuffix)) : name;
        if (!ends_with(object, kCertificateSuffix) && !ends_with(object, kCrlSuffix)) continue;
        Stamp stamp;
        if (!stamp_of(folder + "/" + name, &stamp)) continue;  // gone meanwhile
        if (is_properties) {
            properties[object] = stamp;
        } else {
            Listed listed;
            listed.name = object;
            listed.kind = kind_of_file(object);
            listed.object = stamp;
            found[object] = listed;
        }
    }
    ::closedir(dir);
    objects->clear();
    for (auto &[name, listed] : found) {
        auto p = properties.find(name);
        if (p != properties.end()) {
            listed.has_properties = true;
            listed.properties = p->second;
        }
        objects->push_back(std::move(listed));
    }
    return true;
}

bool read_object(const std::string &folder, const std::string &name, std::vector<BYTE> *bytes) {
    return read_whole(folder + "/" + name, bytes);
}

bool write_object(const std::string &folder, const std::string &name, const EncodedObject &object) {
    return write_replacing(folder, name, object.data(), object.size(), nullptr);
}

bool remove_object(const std::string &folder, const std::string &name) {
    const bool object = remove_if_present(folder + "/" + name);
    const bool props = remove_if_present(folder + "/" + name + kPropertiesSuffix);
    return object && props;
}

bool read_properties(const std::string &folder, const std::string &name, PropertyList *list) {
    std::vector<BYTE> bytes;
    if (!read_whole(folder + "/" + name + kPropertiesSuffix, &bytes)) return false;
    if (bytes.size() < 8 || std::memcmp(bytes.data(), kPropertiesMagic, 4) != 0 ||
        get32(bytes.data() + 4) != kPropertiesVersion)
        return false;
    PropertyList parsed;
    size_t at = 8;
    while (at < bytes.size()) {
        if (bytes.size() - at < 8) return false;
        const std::uint32_t id = get32(bytes.data() + at);
        const std::uint32_t length = get32(bytes.data() + at + 4);
        at += 8;
        if (length > bytes.size() - at) return false;
        parsed.push_back(StoredProperty{id, std::vector<BYTE>(bytes.begin() + at, bytes.begin() + at + length)});
        at += length;
    }
    *list = std::move(parsed);
    return true;
}

bool write_properties(const std::string &folder, const std::string &name, const PropertyList &list, Stamp *stamp) {
    const std::string file = name + kPropertiesSuffix;
    if (list.empty()) {
        *stamp = Stamp{};
        return remove_if_present(folder + "/" + file);
    }
    std::vector<BYTE> bytes(kPropertiesMagic, kPropertiesMagic + 4);
    put32(&bytes, kPropertiesVersion);
    for (const StoredProperty &p : list) {
        put32(&bytes, p.id);
        put32(&bytes, static_cast<std::uint32_t>(p.value.size()));
        bytes.insert(bytes.end(), p.value.begin(), p.value.end());
    }
    return write_replacing(folder, file, bytes.data(), bytes.size(), stamp);
}

bool make_folders(const std::string &folder) {
    for (size_t at = 1; at <= folder.size(); ++at) {
        if (at != folder.size() && folder[at] != '/') continue;
        const std::string part = folder.substr(0, at);
        if (::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            set_error_from_errno(errno);
            return false;
        }
    }
    if (!is_directory(folder)) {
        SetLastError(static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
        return false;
    }
    return true;
}

bool remove_folder(const std::string &folder) {
    DIR *dir = ::opendir(folder.c_str());
    if (dir == nullptr) return errno == ENOENT;
    while (const struct dirent *entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        ::unlink((folder + "/" + name).c_str());
    }
    ::closedir(dir);
    if (::rmdir(folder.c_str()) == 0) return true;
    set_error_from_errno(errno);
    return false;
}

std::string match_folder_name(const std::string &parent, const std::string &name) {
    DIR *dir = ::opendir(parent.c_str());
    if (dir == nullptr) return name;
    std::string match = name;
    while (const struct dirent *entry = ::readdir(dir)) {
        const std::string candidate = entry->d_name;
        if (candidate == name) {
            match = name;
            break;
        }
        if (halden::ascii_equal_folded(candidate, name) && is_directory(parent + "/" + candidate))
            match = candidate;
    }
    ::closedir(dir);
    return match;
}

Generation::~Generation() {
    if (counter_) ::munmap(counter_, sizeof *counter_);
}

bool Generation::open(const std::string &folder) {
    const std::string path = folder + "/" + kGenerationFile;
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    writable_ = fd >= 0;
    if (fd < 0) fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    bool ok = ::fstat(fd, &st) == 0;
    if (ok && static_cast<size_t>(st.st_size) < sizeof *counter_)
        ok = writable_ && ::ftruncate(fd, sizeof *counter_) == 0;
    void *mapping = MAP_FAILED;
    if (ok)
        mapping = ::mmap(nullptr, sizeof *counter_, writable_ ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd, 0);
    ::close(fd);
    if (mapping == MAP_FAILED) return false;
    counter_ = static_cast<std::uint64_t *>(mapping);
    return true;
}

std::uint64_t Generation::value() const {
    return counter_ ? __atomic_load_n(counter_, __ATOMIC_ACQUIRE) : 0;
}

std::uint64_t Generation::bump() {
    if (!counter_ || !writable_) return value();
    return __atomic_fetch_add(counter_, 1, __ATOMIC_ACQ_REL);
}

}  // namespace maren::store::files
