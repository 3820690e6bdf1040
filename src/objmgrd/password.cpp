// SPDX-License-Identifier: Apache-2.0
// password.cpp -- see password.h.
#include "objmgrd/password.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr size_t kPageSize = 4096;
static_assert(kPasswordMax < kPageSize - 1, "a line that is too long is seen to be");

class Descriptor
{
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int Get() const { return fd_; }

private:
    int fd_;
};

// "" or what keeps the file from being used.
std::string FaultOf(const struct stat &info)
{
    if (!S_ISREG(info.st_mode))
        return "is no regular file";
    if (info.st_uid != 0 && info.st_uid != geteuid())
        return "belongs to user " + std::to_string(info.st_uid) +
               ", neither to root nor to the service's user";
    if ((info.st_mode & 077) != 0)
        return "can be read or changed by others: chmod 600 it";
    return "";
}

}  // namespace

Password::Password(u32 mostBytes, const char *protocol) : mostBytes_(mostBytes), protocol_(protocol)
{
    void *page =
        mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        abort();  // as every other allocation of the service
    text_ = static_cast<char *>(page);
    // Both are a service to the careful; without them the password is as safe as the memory is.
    (void)!mlock(page, kPageSize);
    (void)!madvise(page, kPageSize, MADV_DONTDUMP);
}

Password::~Password()
{
    explicit_bzero(text_, kPageSize);
    munmap(text_, kPageSize);
}

std::string Password::Read(const std::string &file)
{
    explicit_bzero(text_, kPageSize);
    // Non-blocking, so that a pipe cannot hold the start up.
    const Descriptor fd(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (fd.Get() < 0)
        return errno == ELOOP ? "is a symbolic link" : strerror(errno);
    struct stat info;
    if (fstat(fd.Get(), &info) != 0)
        return strerror(errno);
    std::string fault = FaultOf(info);
    if (!fault.empty())
        return fault;
    // Straight into the page: no copy stays behind in a buffer.
    ssize_t size = 0;
    do
        size = read(fd.Get(), text_, kPageSize - 1);
    while (size < 0 && errno == EINTR);
    if (size < 0) {
        fault = strerror(errno);
    } else {
        const size_t length = strcspn(text_, "\r\n");
        if (memchr(text_, '\0', static_cast<size_t>(size)) != nullptr)
            fault = "holds a byte 0";
        else if (length > mostBytes_)
            fault = "holds a password of more than " + std::to_string(mostBytes_) +
                    " bytes, which " + protocol_ + " does not take";
        else
            explicit_bzero(text_ + length, kPageSize - length);
    }
    if (!fault.empty())
        explicit_bzero(text_, kPageSize);
    return fault;
}
