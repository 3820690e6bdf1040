// SPDX-License-Identifier: Apache-2.0
// whole_file.cpp -- see whole_file.h.
#include "ctl/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

int WriteAll(int fd, const std::string &text)
{
    for (size_t put = 0; put < text.size();) {
        const ssize_t now = write(fd, text.data() + put, text.size() - put);
        if (now < 0 && errno != EINTR)
            return errno;
        put += now > 0 ? static_cast<size_t>(now) : 0;
    }
    return 0;
}

}  // namespace

int WholeFileWrite(const std::string &path, const std::string &text)
{
    // A device, a pipe or what a link such as /dev/stdout leads to would be gone after the rename.
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
        return S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    // In the same directory, so that a rename is possible. node_exporter reads *.prom only.
    const std::string begun = path + "." + std::to_string(getpid()) + ".tmp";
    const int fd = open(begun.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0)
        return errno;
    int error = WriteAll(fd, text);
    if (close(fd) != 0 && error == 0)
        error = errno;
    if (error == 0 && rename(begun.c_str(), path.c_str()) != 0)
        error = errno;
    if (error != 0)
        unlink(begun.c_str());
    return error;
}
