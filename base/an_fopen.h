// File opening for the blob classes' file operations.
#ifndef HALDEN_BASE_AN_FOPEN_H
#define HALDEN_BASE_AN_FOPEN_H

#include <cstdio>

// fopen, retried while it is interrupted by a signal or the file system
// asks to try again.
std::FILE* host_an_fopen(const char* path, const char* mode);

#endif
