// SPDX-License-Identifier: Apache-2.0
// watched_open.cpp -- which files a program opens, and how.
#include "support/watched_open.h"

#include <fcntl.h>
#include <stdarg.h>
#include <sys/types.h>

static OpenWatcher sWatcher;

void WatchOpens(OpenWatcher watcher)
{
    sWatcher = watcher;
}

extern "C" {
int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...);
// What open() is called where a long is too short for a file's size.
int __wrap_open64(const char *path, int flags, ...) __attribute__((alias("__wrap_open")));
int __wrap_open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (sWatcher != nullptr)
        sWatcher(path, flags);
    return __real_open(path, flags, mode);
}
}
