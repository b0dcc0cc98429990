/* Tracing. A module's levels come from MAREN_TRACE, or else from the
 * registry values \config\Trace\<module> and \config\Trace\*; they are off
 * by default. Lines go to MAREN_TRACE_FILE, or else the registry string
 * \config\Trace\File, or else standard error, one whole line per write:
 *
 *   maren[<pid>] <module> DEBUG <function>:<line>: <prefix><message>
 *
 * Reading the configuration may trace (the registry parser reports bad
 * lines), and that trace needs the configuration: while a thread reads the
 * configuration, its nested trace decisions use the environment alone, and
 * the registry's reports that the environment does not enable wait until
 * the reading is over. */
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <maren/host.h>

#include "base/ascii.h"
#include "platform/host/registry.h"
#include "platform/host/registry_file.h"
#include "platform/host/trace_internal.h"

namespace maren::detail {
using namespace halden;
namespace {

/* A handle points at one of these; they live as long as the process. */
struct Module {
    explicit Module(std::string n) : name(std::move(n)) {}
    const std::string name;
    std::atomic<unsigned> enabled{0};
};

struct Modules {
    std::mutex mutex;
    std::vector<std::unique_ptr<Module>> list;
};

Modules &modules() {
    static Modules *const instance = new Modules;
    return *instance;
}

Module *module_named(const std::string &name) {
    Modules &m = modules();
    std::lock_guard<std::mutex> lock(m.mutex);
    for (const auto &module : m.list)
        if (module->name == name) return module.get();
    m.list.push_back(std::make_unique<Module>(name));
    return m.list.back().get();
}

/* Where lines go. The file is kept open until the destination changes. */
struct Sink {
    std::mutex mutex;
    std::string path;  // empty: standard error
    int fd = STDERR_FILENO;
};

Sink &sink() {
    static Sink *const instance = new Sink;
    return *instance;
}

void set_destination(const std::string &path) {
    Sink &s = sink();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (path == s.path) return;
    int fd = STDERR_FILENO;
    if (!path.empty()) {
        fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0) fd = STDERR_FILENO;
    }
    if (s.fd != STDERR_FILENO) close(s.fd);
    s.fd = fd;
    s.path = fd == STDERR_FILENO ? std::string() : path;
}

void write_line(const std::string &line) {
    Sink &s = sink();
    std::lock_guard<std::mutex> lock(s.mutex);
    size_t done = 0;
    while (done < line.size()) {
        const ssize_t n = write(s.fd, line.data() + done, line.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        done += static_cast<size_t>(n);
    }
}

thread_local bool t_reading_configuration = false;
/* Set while this thread derives the "maren" handle under its lock. */
thread_local bool t_deriving_maren_handle = false;

class ReadingConfiguration {
  public:
    ReadingConfiguration() : previous_(t_reading_configuration) { t_reading_configuration = true; }
    ~ReadingConfiguration() { t_reading_configuration = previous_; }
    ReadingConfiguration(const ReadingConfiguration &) = delete;
    ReadingConfiguration &operator=(const ReadingConfiguration &) = delete;

  private:
    bool previous_;
};

const char *non_empty_env(const char *name) {
    const char *value = std::getenv(name);
    return (value != nullptr && value[0] != '\0') ? value : nullptr;
}

/* MAREN_TRACE: a number for every module, or "module=levels,..." where the
 * module "*" stands for all modules not named. Bad entries are ignored. */
unsigned levels_from_setting(std::string_view setting, std::string_view module) {
    long number = 0;
    if (parse_registry_long(ascii_trim(setting), &number)) return static_cast<unsigned>(number);
    bool have_own = false, have_all = false;
    unsigned own = 0, all = 0;
    while (!setting.empty()) {
        const size_t comma = setting.find(',');
        const std::string_view entry = setting.substr(0, comma);
        setting.remove_prefix(comma == std::string_view::npos ? setting.size() : comma + 1);
        const size_t equals = entry.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view name = ascii_trim(entry.substr(0, equals));
        if (!parse_registry_long(ascii_trim(entry.substr(equals + 1)), &number)) continue;
        if (name == "*") {
            have_all = true;
            all = static_cast<unsigned>(number);
        } else if (ascii_equal_folded(name, module)) {
            have_own = true;
            own = static_cast<unsigned>(number);
        }
    }
    return have_own ? own : (have_all ? all : 0);
}

unsigned configured_levels(const std::string &module, bool use_registry) {
    if (const char *setting = non_empty_env("MAREN_TRACE")) return levels_from_setting(setting, module);
    if (!use_registry) return 0;
    long value = 0;
    if (host_registry_get_long(("\\config\\Trace\\" + module).c_str(), &value) == 0 ||
        host_registry_get_long("\\config\\Trace\\*", &value) == 0)
        return static_cast<unsigned>(value);
    return 0;
}

std::string configured_destination() {
    if (const char *file = non_empty_env("MAREN_TRACE_FILE")) return file;
    const char *const key = "\\config\\Trace\\File";
    size_t length = 0;
    if (host_registry_get_string(key, nullptr, &length) != 0 || length == 0) return std::string();
    std::string path(length, '\0');
    if (host_registry_get_string(key, &path[0], &length) != 0) return std::string();
    path.resize(length - 1);
    return path;
}

/* The "maren" module's decision inside a configuration read: environment
 * only, and nothing is remembered. */
HOST_PRINT_HANDLE provisional_maren_handle() {
    static Module *const provisional = new Module("maren");
    const unsigned levels = configured_levels(provisional->name, false) & kTraceAllLevels;
    provisional->enabled.store(levels, std::memory_order_relaxed);
    if (levels == 0) return nullptr;
    if (const char *file = non_empty_env("MAREN_TRACE_FILE")) set_destination(file);
    return provisional;
}

/* Errors reported while a configuration read had no decision for the
 * "maren" module yet. Bounded: a broken file reports its first lines. */
struct Deferred {
    const char *function;
    int line;
    std::string message;
};

struct DeferredErrors {
    std::mutex mutex;
    std::vector<Deferred> list;
};

constexpr size_t kMaxDeferred = 64;
std::atomic<bool> g_have_deferred{false};

DeferredErrors &deferred_errors() {
    static DeferredErrors *const instance = new DeferredErrors;
    return *instance;
}

void print_deferred_errors() {
    if (t_reading_configuration || t_deriving_maren_handle || !g_have_deferred.load(std::memory_order_acquire))
        return;
    std::vector<Deferred> taken;
    {
        DeferredErrors &d = deferred_errors();
        std::lock_guard<std::mutex> lock(d.mutex);
        taken.swap(d.list);
        g_have_deferred.store(false, std::memory_order_release);
    }
    for (const Deferred &e : taken) maren_trace_error_deferrable(e.function, e.line, e.message);
}

/* The settings the "maren" handle was derived from. */
struct MarenSnapshot {
    bool has_trace = false;
    std::string trace;
    bool has_file = false;
    std::string file;
    uint64_t generation = 0;
    HOST_PRINT_HANDLE handle = nullptr;
};

bool same_env(const char *now, bool had, const std::string &was) { return now != nullptr ? had && was == now : !had; }

std::atomic<const MarenSnapshot *> g_maren_snapshot{nullptr};

__attribute__((format(printf, 3, 0))) void print_line(HOST_PRINT_HANDLE handle, const char *kind,
                                                      const char *format, const char *prefix, int line,
                                                      const char *function, va_list args) {
    const Module *module = static_cast<const Module *>(handle);
    if (module == nullptr || module->enabled.load(std::memory_order_relaxed) == 0) return;
    try {
        std::string text = "maren[" + std::to_string(getpid()) + "] " + module->name + " " + kind + " " +
                           (function != nullptr ? function : "?") + ":" + std::to_string(line) + ": " +
                           (prefix != nullptr ? prefix : "");
        if (format != nullptr && format[0] != '\0') {
            char small[512];
            va_list copy;
            va_copy(copy, args);
            const int n = std::vsnprintf(small, sizeof small, format, copy);
            va_end(copy);
            if (n < 0) {
                text += "(unprintable trace message)";
            } else if (static_cast<size_t>(n) < sizeof small) {
                text.append(small, static_cast<size_t>(n));
            } else {
                const size_t start = text.size();
                text.resize(start + static_cast<size_t>(n) + 1);
                std::vsnprintf(&text[start], static_cast<size_t>(n) + 1, format, args);
                text.resize(start + static_cast<size_t>(n));
            }
        }
        if (text.back() != '\n') text += '\n';
        write_line(text);
    } catch (...) {
        /* Tracing never fails visibly. */
    }
}

}  // namespace

HOST_PRINT_HANDLE maren_trace_handle() {
    if (t_reading_configuration || t_deriving_maren_handle) return provisional_maren_handle();
    const char *trace = std::getenv("MAREN_TRACE");
    const char *file = std::getenv("MAREN_TRACE_FILE");
    const MarenSnapshot *current = g_maren_snapshot.load(std::memory_order_acquire);
    if (current != nullptr && same_env(trace, current->has_trace, current->trace) &&
        same_env(file, current->has_file, current->file) && current->generation == registry_generation())
        return current->handle;

    /* Settings changed: derive the handle again. Old snapshots stay
     * reachable (and valid for readers still holding them). */
    static std::mutex *const mutex = new std::mutex;
    static auto *const retired = new std::vector<std::unique_ptr<MarenSnapshot>>;
    HOST_PRINT_HANDLE handle = nullptr;
    try {
        std::lock_guard<std::mutex> lock(*mutex);
        t_deriving_maren_handle = true;
        auto fresh = std::make_unique<MarenSnapshot>();
        trace = std::getenv("MAREN_TRACE");
        file = std::getenv("MAREN_TRACE_FILE");
        fresh->has_trace = trace != nullptr;
        fresh->trace = trace != nullptr ? trace : "";
        fresh->has_file = file != nullptr;
        fresh->file = file != nullptr ? file : "";
        /* Taken before reading, so a change during the read is seen later. */
        fresh->generation = registry_generation();
        fresh->handle = host_print_init(nullptr, "maren", 0, kTraceAllLevels);
        handle = fresh->handle;
        retired->push_back(std::move(fresh));
        g_maren_snapshot.store(retired->back().get(), std::memory_order_release);
    } catch (...) {
        handle = nullptr;
    }
    t_deriving_maren_handle = false;
    print_deferred_errors();
    return handle;
}

void maren_trace_error_deferrable(const char *function, int line, const std::string &message) {
    try {
        HOST_PRINT_HANDLE handle = nullptr;
        if (t_reading_configuration) {
            handle = provisional_maren_handle();
            if (handle == nullptr) {
                DeferredErrors &d = deferred_errors();
                std::lock_guard<std::mutex> lock(d.mutex);
                if (d.list.size() < kMaxDeferred) d.list.push_back(Deferred{function, line, message});
                g_have_deferred.store(true, std::memory_order_release);
                return;
            }
        } else {
            handle = maren_trace_handle();
        }
        if (handle != nullptr && host_print_is(handle, kTraceError))
            host_elprint_print_(handle, "%s", "", line, function, message.c_str());
    } catch (...) {
        /* Tracing never fails visibly. */
    }
}

}  // namespace maren::detail

extern "C" {

HOST_PRINT_HANDLE marencheck_db_ctx = nullptr;

HOST_PRINT_HANDLE host_print_init(void * /*reserved*/, const char *module, int /*flags*/, unsigned int mask) {
    using namespace maren::detail;
    if (module == nullptr || module[0] == '\0') return nullptr;
    try {
        const std::string name(module);
        const bool nested = t_reading_configuration;
        unsigned levels = 0;
        std::string destination;
        bool use_destination = false;
        {
            ReadingConfiguration reading;
            levels = configured_levels(name, !nested) & mask;
            /* A silent module opens no file. Nested reads keep the current
             * destination unless the environment names one. */
            if (levels != 0 && (!nested || non_empty_env("MAREN_TRACE_FILE") != nullptr)) {
                destination = configured_destination();
                use_destination = true;
            }
        }
        if (use_destination) set_destination(destination);
        Module *handle = module_named(name);
        handle->enabled.store(levels, std::memory_order_relaxed);
        if (!nested) print_deferred_errors();
        return levels != 0 ? handle : nullptr;
    } catch (...) {
        return nullptr;
    }
}

int host_print_is(HOST_PRINT_HANDLE handle, unsigned int level) {
    if (handle == nullptr) return 0;
    return (static_cast<const maren::detail::Module *>(handle)->enabled.load(std::memory_order_relaxed) & level) != 0;
}

void host_dprint_print_(HOST_PRINT_HANDLE handle, const char *format, const char *prefix, int line,
                        const char *function, ...) {
    va_list args;
    va_start(args, function);
    maren::detail::print_line(handle, "DEBUG", format, prefix, line, function, args);
    va_end(args);
}

void host_elprint_print_(HOST_PRINT_HANDLE handle, const char *format, const char *prefix, int line,
                         const char *function, ...) {
    va_list args;
    va_start(args, function);
    maren::detail::print_line(handle, "ERROR", format, prefix, line, function, args);
    va_end(args);
}

}  // extern "C"

namespace {

/* The platform's certificate checks trace under "marencheck"; the handle is
 * decided once, when the library loads. */
__attribute__((constructor)) void init_marencheck_trace() {
    marencheck_db_ctx = host_print_init(nullptr, "marencheck", 0, maren::detail::kTraceAllLevels);
}

}  // namespace
