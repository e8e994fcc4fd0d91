#include "project/interposed.h"

#include <cstdarg>
#include <fcntl.h>
#include <unistd.h>

// The C library's own declarations differ in attributes that say nothing here.
extern "C" {

int open(const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const auto mode = static_cast<mode_t>(va_arg(rest, unsigned));
    va_end(rest);
    return interposed::openFile(path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const auto mode = static_cast<mode_t>(va_arg(rest, unsigned));
    va_end(rest);
    return interposed::openFile(path, flags, mode);
}

ssize_t pwrite(int fd, const void* data, size_t size, off_t offset)
{
    return interposed::writeAt(fd, data, size, offset);
}

ssize_t pwrite64(int fd, const void* data, size_t size, off64_t offset)
{
    return interposed::writeAt(fd, data, size, offset);
}

} // extern "C"
