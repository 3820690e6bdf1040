// SPDX-License-Identifier: Apache-2.0
// listening_init.h -- an init system that hears what a service tells it (sd_notify(3)).
#ifndef TESTS_SUPPORT_LISTENING_INIT_H
#define TESTS_SUPPORT_LISTENING_INIT_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

class ListeningInit
{
public:
    ListeningInit() = default;
    ~ListeningInit()
    {
        for (const char *name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            unsetenv(name);
        if (fd_ >= 0)
            close(fd_);
    }
    ListeningInit(const ListeningInit &) = delete;
    ListeningInit &operator=(const ListeningInit &) = delete;

    // At a path, or at "@" and an abstract name; says so in the environment.
    void Listen(const std::string &name)
    {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        socklen_t size = sizeof address;
        if (name[0] == '@') {
            address.sun_path[0] = '\0';
            size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        }
        ASSERT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&address), size), 0);
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    // The next datagram; "" when none comes within the time.
    std::string Heard(int timeoutMs = 0) const
    {
        pollfd wait = {fd_, POLLIN, 0};
        poll(&wait, 1, timeoutMs);
        char text[512];
        const ssize_t size = recv(fd_, text, sizeof text, 0);
        return size < 0 ? "" : std::string(text, static_cast<size_t>(size));
    }

private:
    int fd_ = -1;
};

#endif
