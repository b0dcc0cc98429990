// The folder of a system store on disk.
//
//   <home>/stores/user/<name>/       current user's stores
//   <home>/stores/machine/<name>/    local machine's stores
//
// In a store's folder:
//   <THUMBPRINT>.cer, <THUMBPRINT>.crl
//       one object, DER, named by the upper-case hex SHA-1 of its bytes;
//   <THUMBPRINT>.cer.props, <THUMBPRINT>.crl.props
//       the object's persisted properties, when it has any: "MPRP", a
//       32-bit format version (1), then for each property in id order a
//       32-bit id, a 32-bit length and the value bytes; numbers
//       little-endian;
//   .generation
//       a 64-bit counter that every writing process increments after a
//       change; readers map it and compare it with the value they last
//       loaded, which costs a memory read per look;
//   .<file>.<pid>.<n>.tmp
//       a file being written. Every file is written beside its final name
//       and renamed over it, so a crash leaves either the old or the new
//       file and never half of one; names beginning with a dot are never
//       read as objects.
// Other names are ignored. A file that does not decode is skipped (and
// traced) and never stops the store from opening.
#ifndef MAREN_PLATFORM_STORE_STORE_FILES_H
#define MAREN_PLATFORM_STORE_STORE_FILES_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/store/encoded_object.h"
#include "platform/store/property_set.h"

namespace maren::store::files {

// What tells a file's versions apart.
struct Stamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified_ns = 0;

    bool operator==(const Stamp &o) const {
        return device == o.device && inode == o.inode && size == o.size && modified_ns == o.modified_ns;
    }
    bool operator!=(const Stamp &o) const { return !(*this == o); }
};

// False when the path can't be looked at (errno set).
bool stamp_of(const std::string &path, Stamp *stamp);
bool is_directory(const std::string &path);

// "<thumbprint>.cer" or ".crl".
std::string object_file_name(const EncodedObject &object);
ObjectKind kind_of_file(const std::string &name);

struct Listed {
    std::string name;  // object file name
    ObjectKind kind;
    Stamp object;
    bool has_properties = false;
    Stamp properties;
};
// The objects in a folder. False (errno set) when it can't be read.
bool list(const std::string &folder, std::vector<Listed> *objects);

bool read_object(const std::string &folder, const std::string &name, std::vector<BYTE> *bytes);
// False with the last error set.
bool write_object(const std::string &folder, const std::string &name, const EncodedObject &object);
// Removes the object file and its property file; absent files are no fault.
bool remove_object(const std::string &folder, const std::string &name);

// False when the file is absent or malformed.
bool read_properties(const std::string &folder, const std::string &name, PropertyList *list);
// Writes the list, or removes the file for an empty list; `stamp`
// receives the new file's stamp (zero when removed). False with the last
// error set.
bool write_properties(const std::string &folder, const std::string &name, const PropertyList &list, Stamp *stamp);

// Creates the folder and its missing parents (mode 0700). False with the
// last error set.
bool make_folders(const std::string &folder);
// Removes the folder with every file in it.
bool remove_folder(const std::string &folder);
// The entry of `parent` equal to `name` with ASCII case folded, or `name`.
std::string match_folder_name(const std::string &parent, const std::string &name);

// The mapped .generation counter of a folder.
class Generation {
  public:
    Generation() = default;
    Generation(const Generation &) = delete;
    Generation &operator=(const Generation &) = delete;
    ~Generation();

    // Maps the folder's counter, creating it when missing and possible.
    bool open(const std::string &folder);
    bool mapped() const { return counter_ != nullptr; }
    std::uint64_t value() const;
    // Increments it; returns the value before.
    std::uint64_t bump();

  private:
    std::uint64_t *counter_ = nullptr;
    bool writable_ = false;
};

}  // namespace maren::store::files

#endif
