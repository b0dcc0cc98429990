#include "tests/nimbole/engine_support.h"

#include <ftw.h>
#include <stdlib.h>

namespace engine_test {
namespace {

/* No test sees the user's stores, registry or URL cache. */
struct TemporaryHome {
    TemporaryHome() {
        const char *base = getenv("TMPDIR");
        path = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/halden-engine-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) return;
        setenv("MAREN_HOME", path.c_str(), 1);
        unsetenv("MAREN_REGISTRY");
    }
    ~TemporaryHome() {
        nftw(path.c_str(), [](const char *p, const struct stat *, int, struct FTW *) { return remove(p); }, 16,
             FTW_DEPTH | FTW_PHYS);
    }
    std::string path;
} g_home;

}  // namespace

const std::string &test_home() { return g_home.path; }

}  // namespace engine_test
