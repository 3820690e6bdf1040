// SPDX-License-Identifier: Apache-2.0
// loopback_socket.h -- a UDP socket at a free port of 127.0.0.1.
#ifndef TESTS_SUPPORT_LOOPBACK_SOCKET_H
#define TESTS_SUPPORT_LOOPBACK_SOCKET_H

#include "platform/types.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

class LoopbackSocket
{
public:
    // `flags`: of socket(), such as SOCK_NONBLOCK.
    explicit LoopbackSocket(int flags = 0)
        : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | flags, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(getsockname(fd_, reinterpret_cast<sockaddr *>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
    }
    ~LoopbackSocket() { close(fd_); }
    LoopbackSocket(const LoopbackSocket &) = delete;
    LoopbackSocket &operator=(const LoopbackSocket &) = delete;

    int Fd() const { return fd_; }
    u16 Port() const { return port_; }

private:
    int fd_;
    u16 port_ = 0;
};

#endif
