#include "base/an_fopen.h"

#include <cerrno>

std::FILE* host_an_fopen(const char* path, const char* mode) {
    // Bounded so that a file system that keeps answering EAGAIN can't hang
    // the caller.
    constexpr int kMaxTries = 100;
    for (int tries = 1;; ++tries) {
        errno = 0;
        std::FILE* file = std::fopen(path, mode);
        if (file != nullptr) {
            return file;
        }
        const int error = errno;
        if ((error != EINTR && error != EAGAIN && error != EINPROGRESS) || tries == kMaxTries) {
            return nullptr;
        }
    }
}
