#include "platform/store/system_store.h"

#include <algorithm>
#include <unordered_set>

#include "platform/host/trace_internal.h"

namespace maren::store {
namespace {

// Loading happens inside other calls; their last error is theirs.
class KeepLastError {
  public:
    KeepLastError() : saved_(GetLastError()) {}
    ~KeepLastError() { SetLastError(saved_); }
    KeepLastError(const KeepLastError &) = delete;
    KeepLastError &operator=(const KeepLastError &) = delete;

  private:
    DWORD saved_;
};

}  // namespace

SystemStore::SystemStore(std::string folder)
    : MemoryStore(Type::system), folder_(std::move(folder)), persistent_(!folder_.empty()) {}

void SystemStore::load() {
    if (!persistent()) return;
    if (!generation_.open(folder_))
        MAREN_TRACE_WARNING("store %s: no change counter, changes by other processes show on resync only",
                            folder_.c_str());
    std::lock_guard<std::mutex> writer(writer_);
    const std::uint64_t generation = generation_.value();
    resync_locked();
    seen_.store(generation, std::memory_order_release);
}

void SystemStore::check_at_open() {
    if (!persistent()) return;
    std::lock_guard<std::mutex> writer(writer_);
    const std::uint64_t generation = generation_.value();
    files::Stamp now;
    const bool folder_changed = files::stamp_of(folder_, &now) && now != folder_stamp_;
    if (!folder_changed && generation == seen_.load(std::memory_order_acquire)) return;
    resync_locked();
    seen_.store(generation, std::memory_order_release);
}

void SystemStore::detach() {
    std::lock_guard<std::mutex> writer(writer_);
    persistent_.store(false, std::memory_order_release);
}

void SystemStore::refresh() {
    if (!persistent() || !generation_.mapped()) return;
    if (generation_.value() == seen_.load(std::memory_order_acquire)) return;
    resync();
}

void SystemStore::resync() {
    std::lock_guard<std::mutex> writer(writer_);
    if (!persistent()) return;
    const std::uint64_t generation = generation_.value();
    resync_locked();
    seen_.store(generation, std::memory_order_release);
}

void SystemStore::resync_locked() {
    KeepLastError keep;
    // The folder's time is taken before the listing: a change after it
    // shows at the next look.
    files::Stamp folder_now;
    files::stamp_of(folder_, &folder_now);
    std::vector<files::Listed> listed;
    if (!files::list(folder_, &listed)) {
        MAREN_TRACE_WARNING("store %s: cannot list the folder", folder_.c_str());
        return;
    }
    std::vector<ContextCore *> fresh;
    std::vector<ContextCore *> gone;
    std::unordered_set<std::string> present;
    for (files::Listed &entry : listed) {
        present.insert(entry.name);
        auto known = files_.find(entry.name);
        if (known != files_.end()) {
            Copies &copies = known->second;
            if (copies.has_properties == entry.has_properties &&
                (!entry.has_properties || copies.properties == entry.properties))
                continue;
            PropertyList list;
            if (entry.has_properties && !files::read_properties(folder_, entry.name, &list))
                MAREN_TRACE_WARNING("store %s: unreadable properties of %s", folder_.c_str(), entry.name.c_str());
            for (ContextCore *member : copies.members) member->properties.replace_persisted(list);
            copies.has_properties = entry.has_properties;
            copies.properties = entry.properties;
            continue;
        }
        auto bad = unreadable_.find(entry.name);
        if (bad != unreadable_.end() && bad->second == entry.object) continue;
        std::vector<BYTE> bytes;
        EncodedObject::Ptr object;
        if (files::read_object(folder_, entry.name, &bytes))
            object = EncodedObject::from_vector(entry.kind, std::move(bytes));
        if (!object) {
            MAREN_TRACE_WARNING("store %s: skipping %s, it does not decode", folder_.c_str(), entry.name.c_str());
            unreadable_[entry.name] = entry.object;
            continue;
        }
        unreadable_.erase(entry.name);
        ContextCore *context = new_context(std::move(object), this);
        Copies &copies = files_[entry.name];
        if (entry.has_properties) {
            PropertyList list;
            if (files::read_properties(folder_, entry.name, &list)) context->properties.replace_persisted(list);
            else MAREN_TRACE_WARNING("store %s: unreadable properties of %s", folder_.c_str(), entry.name.c_str());
            copies.has_properties = true;
            copies.properties = entry.properties;
        }
        copies.members.push_back(context);
        file_of_[context] = entry.name;
        fresh.push_back(context);
    }
    for (auto it = files_.begin(); it != files_.end();) {
        if (present.count(it->first)) {
            ++it;
            continue;
        }
        for (ContextCore *member : it->second.members) {
            file_of_.erase(member);
            gone.push_back(member);
        }
        it = files_.erase(it);
    }
    for (auto it = unreadable_.begin(); it != unreadable_.end();) {
        if (present.count(it->first)) ++it;
        else it = unreadable_.erase(it);
    }
    apply(fresh, gone);
    folder_stamp_ = folder_now;
}

void SystemStore::note_own_write() {
    const std::uint64_t before = generation_.bump();
    if (seen_.load(std::memory_order_acquire) == before) seen_.store(before + 1, std::memory_order_release);
    files::stamp_of(folder_, &folder_stamp_);
}

bool SystemStore::write_properties_of(const ContextCore &context, Copies *copies) {
    const PropertyList list = context.properties.persisted();
    files::Stamp stamp;
    if (!files::write_properties(folder_, file_of_.at(&context), list, &stamp)) return false;
    copies->has_properties = !list.empty();
    copies->properties = stamp;
    return true;
}

bool SystemStore::on_insert(ContextCore &fresh) {
    const std::string name = files::object_file_name(fresh.object());
    const bool first = files_.count(name) == 0;
    Copies &copies = files_[name];
    file_of_[&fresh] = name;
    bool ok = true;
    if (persistent()) {
        ok = !first || files::write_object(folder_, name, fresh.object());
        // A first copy clears what an earlier object of that name left; a
        // further copy without properties leaves the file to the others.
        if (ok && (first || !fresh.properties.persisted().empty())) ok = write_properties_of(fresh, &copies);
        if (ok) note_own_write();
    }
    if (!ok) {
        file_of_.erase(&fresh);
        if (first) files_.erase(name);
        return false;
    }
    copies.members.push_back(&fresh);
    return true;
}

bool SystemStore::on_remove(ContextCore &gone, bool forced) {
    auto file = file_of_.find(&gone);
    if (file == file_of_.end()) return true;
    auto copies = files_.find(file->second);
    std::vector<ContextCore *> &members = copies->second.members;
    if (members.size() == 1 && persistent()) {
        if (files::remove_object(folder_, file->second)) note_own_write();
        else if (forced) MAREN_TRACE_WARNING("store %s: cannot remove %s", folder_.c_str(), file->second.c_str());
        else return false;
    }
    members.erase(std::remove(members.begin(), members.end(), &gone), members.end());
    if (members.empty()) files_.erase(copies);
    file_of_.erase(file);
    return true;
}

bool SystemStore::on_properties(ContextCore &context) {
    if (!persistent()) return true;
    auto file = file_of_.find(&context);
    if (file == file_of_.end()) return true;
    if (!write_properties_of(context, &files_.at(file->second))) return false;
    note_own_write();
    return true;
}

bool SystemStore::control(DWORD control_type, DWORD flags, const void *para) {
    switch (control_type) {
    case CERT_STORE_CTRL_RESYNC:
        resync();
        return true;
    case CERT_STORE_CTRL_COMMIT:
        // Every change went to disk when it was made.
        return true;
    case CERT_STORE_CTRL_AUTO_RESYNC:
        // Every read already looks at the change counter.
        return true;
    default:
        return MemoryStore::control(control_type, flags, para);
    }
}

}  // namespace maren::store
