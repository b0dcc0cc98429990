/* Dynamic libraries named in the configuration registry. The flags of
 * host_load_library_registry select a loading mode on other platforms;
 * here every library is loaded with RTLD_NOW | RTLD_LOCAL, so they are
 * ignored: unresolved symbols show at load, and a library's symbols never
 * satisfy another library's references. */
#include <dlfcn.h>

#include <maren/errors.h>
#include <maren/host.h>

#include "platform/host/trace_internal.h"

namespace {

const char *last_dl_error() {
    const char *text = dlerror();
    return text != nullptr ? text : "unknown error";
}

}  // namespace

extern "C" {

void *host_load_library_registry(const char *path, int /*flags*/) {
    /* dlopen(NULL) would hand out the main program. */
    if (path == nullptr || path[0] == '\0') {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    dlerror();
    void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        MAREN_TRACE_ERROR("cannot load %s: %s", path, last_dl_error());
        SetLastError(ERROR_MOD_NOT_FOUND);
    }
    return library;
}

void *host_load_library_getaddr(void *library, const char *symbol) {
    /* A null handle would be RTLD_DEFAULT, a search of the whole process. */
    if (library == nullptr || symbol == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    dlerror();
    void *address = dlsym(library, symbol);
    if (address == nullptr) {
        MAREN_TRACE_ERROR("cannot find %s: %s", symbol, last_dl_error());
        SetLastError(ERROR_PROC_NOT_FOUND);
    }
    return address;
}

int host_unload_library_registry(void *library) {
    if (library == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    dlerror();
    if (dlclose(library) != 0) {
        MAREN_TRACE_ERROR("cannot unload a library: %s", last_dl_error());
        SetLastError(ERROR_INVALID_HANDLE);
        return -1;
    }
    return 0;
}

}  // extern "C"
