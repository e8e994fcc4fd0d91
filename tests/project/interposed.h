#pragma once

#include <sys/types.h>

/// What stands in for system calls of the program that interposed.cpp is linked into,
/// on its way through the C library. Whoever links it defines these. Any thread.
namespace interposed {

/// For open and open64.
int openFile(const char* path, int flags, mode_t mode);

/// For pwrite and pwrite64.
ssize_t writeAt(int fd, const void* data, size_t size, off_t offset);

} // namespace interposed
