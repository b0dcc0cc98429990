#include "platform/store/store_registry.h"

#include <map>
#include <mutex>

#include "base/ascii.h"
#include "platform/host/home.h"
#include "platform/host/trace_internal.h"
#include "platform/store/store_files.h"
#include "platform/store/system_store.h"

namespace maren::store::registry {
namespace {

struct Place {
    std::string key;     // registry key
    std::string parent;  // the location's folder; empty without a platform home
};

bool always_exists(const std::string &name) {
    return halden::ascii_equal_folded(name, "Root") || halden::ascii_equal_folded(name, "CA");
}

// Worked out without touching the disk: an open of a loaded store costs a
// map lookup.
Place place_of(Location location, const std::string &name) {
    const std::string where = location == Location::current_user ? "user" : "machine";
    const std::string home = maren::detail::home_directory();
    Place place;
    if (!home.empty()) place.parent = home + "/stores/" + where;
    place.key = (home.empty() ? "\n" + where : place.parent) + "/" + halden::ascii_folded(name);
    return place;
}

// The store's folder: an existing one whose name differs only in case is
// taken as it is.
std::string folder_of(const Place &place, const std::string &name) {
    if (place.parent.empty()) return {};
    return place.parent + "/" + files::match_folder_name(place.parent, name);
}

class Registry {
  public:
    static Registry &instance() {
        static Registry *registry = new Registry;  // stores outlive static destructors
        return *registry;
    }

    bool open(Location location, const std::string &name, DWORD flags, Opened *opened) {
        std::lock_guard<std::mutex> lock(mutex_);
        const Place place = place_of(location, name);
        auto it = stores_.find(place.key);
        if (it != stores_.end()) {
            if (flags & CERT_STORE_CREATE_NEW_FLAG) return fail(ERROR_FILE_EXISTS);
            auto *store = static_cast<SystemStore *>(it->second.get());
            store->check_at_open();
            opened->store = it->second;
            opened->loaded_now = false;
            return true;
        }
        std::string folder = folder_of(place, name);
        const bool exists = always_exists(name) || (!folder.empty() && files::is_directory(folder));
        if (exists && (flags & CERT_STORE_CREATE_NEW_FLAG)) return fail(ERROR_FILE_EXISTS);
        if (!exists && (flags & CERT_STORE_OPEN_EXISTING_FLAG)) return fail(ERROR_FILE_NOT_FOUND);

        if (!folder.empty() && !files::is_directory(folder) && !files::make_folders(folder)) {
            if (!always_exists(name)) return false;
            MAREN_TRACE_WARNING("store %s: cannot create the folder, kept in memory only", folder.c_str());
            folder.clear();
        }
        auto *store = new SystemStore(folder);
        StorePin pin(store);
        store->load();
        stores_.emplace(place.key, pin);
        opened->store = std::move(pin);
        opened->loaded_now = true;
        return true;
    }

    bool remove(Location location, const std::string &name) {
        std::lock_guard<std::mutex> lock(mutex_);
        const Place place = place_of(location, name);
        auto it = stores_.find(place.key);
        const std::string folder = folder_of(place, name);
        const bool on_disk = !folder.empty() && files::is_directory(folder);
        if (it == stores_.end() && !on_disk) return fail(ERROR_FILE_NOT_FOUND);
        if (it != stores_.end()) {
            static_cast<SystemStore *>(it->second.get())->detach();
            stores_.erase(it);
        }
        return !on_disk || files::remove_folder(folder);
    }

  private:
    static bool fail(long error) {
        SetLastError(static_cast<DWORD>(error));
        return false;
    }

    std::mutex mutex_;
    std::map<std::string, StorePin> stores_;
};

}  // namespace

bool open(Location location, const std::string &name, DWORD flags, Opened *opened) {
    return Registry::instance().open(location, name, flags, opened);
}

bool remove(Location location, const std::string &name) { return Registry::instance().remove(location, name); }

}  // namespace maren::store::registry
