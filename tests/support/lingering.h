// SPDX-License-Identifier: Apache-2.0
// lingering.h -- a descriptor that holds whoever closes it last for a minute: a TCP socket with
// SO_LINGER and data unsent.
#ifndef TESTS_SUPPORT_LINGERING_H
#define TESTS_SUPPORT_LINGERING_H

#include "support/descriptor_message.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

class LingeringSocket
{
public:
    LingeringSocket()
    {
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        sockaddr *any = reinterpret_cast<sockaddr *>(&address);
        right = bind(listener, any, size) == 0 && listen(listener, 1) == 0 &&
                getsockname(listener, any, &size) == 0;
        fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        right = right && connect(fd_, any, size) == 0;
        other_ = right ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
        close(listener);
        const linger minute = {1, 60};
        right = right && setsockopt(fd_, SOL_SOCKET, SO_LINGER, &minute, sizeof minute) == 0;
        // The other end reads nothing: some of it stays unsent.
        fcntl(fd_, F_SETFL, O_NONBLOCK);
        const std::vector<char> data(1 << 20);
        while (right && send(fd_, data.data(), data.size(), MSG_NOSIGNAL) > 0)
            continue;
    }
    ~LingeringSocket()
    {
        // Reset, so that nobody lingers any more.
        const linger none = {1, 0};
        setsockopt(other_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
        close(other_);
        if (fd_ >= 0)
            close(fd_);
    }
    LingeringSocket(const LingeringSocket &) = delete;
    LingeringSocket &operator=(const LingeringSocket &) = delete;

    // A packet with the descriptor over a connected local socket; afterwards whoever has the packet
    // holds the descriptor alone. False where it was refused. A child sends it: whoever closes his
    // own too late would linger himself, and a process that ends does not.
    bool SendOver(int connection, const void *packet = "x", size_t bytes = 1) const
    {
        int go[2];
        if (pipe(go) != 0)
            return false;
        const pid_t child = fork();
        if (child == 0) {
            char byte;
            _exit(read(go[0], &byte, 1) == 1 && SendDescriptor(connection, fd_, packet, bytes) ? 0
                                                                                               : 1);
        }
        close(fd_);
        fd_ = -1;
        int status = 1;
        if (write(go[1], "g", 1) == 1)
            waitpid(child, &status, 0);
        close(go[0]);
        close(go[1]);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    bool right = false;  // it lingers

private:
    mutable int fd_ = -1;
    int other_ = -1;
};

#endif
