// SPDX-License-Identifier: Apache-2.0
// listener.h -- the service's socket in its directory, and what comes through it.
//
// Descriptors that callers pass along are refused by the kernel where it can do that
// (SO_PASSRIGHTS, Linux 6.16). Elsewhere every packet is looked at before it is taken, and
// connections are closed by a process of their own (objmgrd/closer.h), since what is in their
// queues is not known.
#ifndef OBJMGRD_LISTENER_H
#define OBJMGRD_LISTENER_H

#include "objmgrd/closer.h"

#include <sys/stat.h>

struct ListenerOptions {
    bool group = false;  // who may connect: true: the owner and the group (0660), else the owner
    // false: as where the kernel cannot refuse descriptors. For tests.
    bool kernelRefuses = true;
};

class Listener
{
public:
    Listener() = default;
    ~Listener();  // as Close
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    // Listens in the open directory, in place of whatever has the socket's name there. dirFd must
    // outlive Close. 0 or an errno value, and closed.
    int Open(int dirFd, const ListenerOptions &options);
    // Makes sure that clients still reach this socket under its name, and listens anew where they
    // do not; who waits in the old one's queue has to come again. *anew: that was done. 0 or an
    // errno value, with nobody listening under the name.
    int Check(bool *anew);
    // Removes the name, unless another socket has it by now, and stops listening.
    void Close();

    // Non-blocking; readable when somebody connects. -1: closed.
    int Fd() const { return fd_; }

    // One packet of a connection, without waiting: its size (more than `size`: it was longer and
    // is cut), or -1 with errno: EAGAIN: there is none yet; EBADMSG: it carries descriptors, and is
    // left where it is. 0: an empty packet, or the end.
    ssize_t Receive(int fd, void *packet, size_t size) const;
    // Ends a connection; never waits.
    void Drop(int fd);

private:
    int Listen(int *out);
    bool HasName() const;

    ListenerOptions options_;
    int dirFd_ = -1;
    int fd_ = -1;
    struct stat name_ = {};  // what stands under the name
    bool refuses_ = false;   // the kernel refuses descriptors
    Closer closer_;
};

#endif
