// SPDX-License-Identifier: Apache-2.0
// notify.cpp -- see notify.h.
#include "objmgrd/notify.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

// 0 when the text is no number.
u64 NumberOf(const char *text)
{
    if (text == nullptr || *text < '0' || *text > '9')
        return 0;
    char *end = nullptr;
    const unsigned long long number = strtoull(text, &end, 10);
    return *end == '\0' ? number : 0;
}

// The watchdog of this process; 0: there is none.
u32 WatchdogOf(const char *usec, const char *pid)
{
    if (pid != nullptr && NumberOf(pid) != static_cast<u64>(getpid()))
        return 0;
    return static_cast<u32>(std::min<u64>(NumberOf(usec) / 1000, UINT32_MAX));
}

int ConnectTo(const char *name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t length = strlen(name);
    if ((name[0] != '/' && name[0] != '@') || length < 2 || length >= sizeof address.sun_path)
        return -1;
    memcpy(address.sun_path, name, length);
    if (name[0] == '@')
        address.sun_path[0] = '\0';
    // An abstract name has no NUL at its end.
    const socklen_t size =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length + (name[0] == '@' ? 0 : 1));
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&address), size) == 0)
        return fd;
    if (fd >= 0)
        close(fd);
    return -1;
}

}  // namespace

Notify::~Notify()
{
    if (fd_ >= 0)
        close(fd_);
}

void Notify::Open()
{
    const char *name = getenv("NOTIFY_SOCKET");
    if (name != nullptr)
        fd_ = ConnectTo(name);
    if (fd_ >= 0)
        watchdogMs_ = WatchdogOf(getenv("WATCHDOG_USEC"), getenv("WATCHDOG_PID"));
    for (const char *variable : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        unsetenv(variable);
}

// False: the init system's queue is full. Nobody waits for it.
bool Notify::Send(const std::string &text)
{
    return fd_ < 0 || send(fd_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void Notify::Ready()
{
    readyUntold_ = !Send("READY=1");
}

void Notify::Stopping()
{
    Send("STOPPING=1");
}

void Notify::Status(const std::string &text)
{
    const std::string line = text.substr(0, text.find('\n'));
    statusUntold_ = Send("STATUS=" + line) ? "" : line;
}

void Notify::Watchdog(u64 nowMs)
{
    if (readyUntold_)
        Ready();
    if (!statusUntold_.empty())
        Status(std::string(statusUntold_));
    if (watchdogMs_ != 0 && nowMs >= watchdogFrom_ && Send("WATCHDOG=1"))
        watchdogFrom_ = nowMs + watchdogMs_ / 2;
}
