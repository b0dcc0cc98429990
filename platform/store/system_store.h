// A system store ("Root", "CA", "My", any name): a memory store kept in
// step with its folder (see store_files.h). One SystemStore per folder and
// process, shared by every handle that opens the name (store_registry.h).
//
// Writes go to disk at once, before the memory copy changes: adding writes
// the object file (and the property file), deleting removes them, setting
// a property rewrites the property file. COMMIT therefore has nothing left
// to do. Changes made by other processes are seen through the mapped
// generation counter, which every read looks at: when it moved, the
// folder is listed again and only new, vanished and changed files are
// read. Contexts handed out stay valid when their file disappears.
//
// On disk there is one object file per thumbprint: byte-equal copies added
// with CERT_STORE_ADD_ALWAYS share a file (and the property file of the
// copy written last), and the file goes with the last of them.
#ifndef MAREN_PLATFORM_STORE_SYSTEM_STORE_H
#define MAREN_PLATFORM_STORE_SYSTEM_STORE_H

#include <atomic>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/store/memory_store.h"
#include "platform/store/store_files.h"

namespace maren::store {

class SystemStore final : public MemoryStore {
  public:
    // A store over `folder`, which exists; an empty folder makes a store
    // that is never persisted (no platform home).
    explicit SystemStore(std::string folder);

    // Reads the folder: once, before the store is shared.
    void load();
    // The cheap look of an open that finds the store already loaded: the
    // generation counter, and the folder's time for files put there by
    // hand.
    void check_at_open();
    // The folder was deleted: keep the memory copy, write nothing more.
    void detach();

    bool persistent() const override { return persistent_.load(std::memory_order_acquire); }
    bool control(DWORD control_type, DWORD flags, const void *para) override;

  protected:
    bool on_insert(ContextCore &fresh) override;
    bool on_remove(ContextCore &gone, bool forced) override;
    bool on_properties(ContextCore &context) override;
    void refresh() override;

  private:
    struct Copies {
        std::vector<ContextCore *> members;
        bool has_properties = false;
        files::Stamp properties;
    };

    // Lists the folder and brings the memory copy in step; under writer_.
    void resync_locked();
    void resync();
    // After a write of ours: the counter moves, and we know why.
    void note_own_write();
    bool write_properties_of(const ContextCore &context, Copies *copies);

    const std::string folder_;
    std::atomic<bool> persistent_;
    files::Generation generation_;
    std::atomic<std::uint64_t> seen_{0};
    files::Stamp folder_stamp_;
    // By object file name; written under writer_.
    std::unordered_map<std::string, Copies> files_;
    std::unordered_map<const ContextCore *, std::string> file_of_;
    // Files that did not decode, with the stamp they had then.
    std::unordered_map<std::string, files::Stamp> unreadable_;
};

}  // namespace maren::store

#endif
