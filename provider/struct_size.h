// Published structures that start with cbSize grow at their end: a reader
// uses a field only when the caller's cbSize reaches the end of it, so an
// older, shorter structure never has its tail read.
#ifndef HALDEN_PROVIDER_STRUCT_SIZE_H
#define HALDEN_PROVIDER_STRUCT_SIZE_H

#include <cstddef>

// True when `ptr` is not null and its cbSize reaches the end of `member`.
#define HALDEN_COVERS(ptr, Type, member) \
    ((ptr) != nullptr && (ptr)->cbSize >= offsetof(Type, member) + sizeof(static_cast<Type*>(nullptr)->member))

#endif
