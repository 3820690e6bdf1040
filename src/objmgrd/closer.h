// SPDX-License-Identifier: Apache-2.0
// closer.h -- closes what may hold whoever closes it for as long as somebody else likes.
//
// A connection from a stranger may have descriptors in its queue, and closing it closes them: with
// one of a TCP socket that has SO_LINGER set and data unsent that takes as long as its owner has
// chosen, with one of a file of a file system of his own likewise. No signal that leaves the
// process alive ends it, so a thread would not do: they add up. A small process closes; one that
// cannot keep up is killed, upon which the kernel closes without waiting, and another takes its
// place.
#ifndef OBJMGRD_CLOSER_H
#define OBJMGRD_CLOSER_H

#include "platform/types.h"

#include <sys/types.h>
#include <vector>

class Closer
{
public:
    Closer() = default;
    ~Closer();  // as Stop
    Closer(const Closer &) = delete;
    Closer &operator=(const Closer &) = delete;

    // Starts the process; 0 or an errno value.
    int Start();
    // Kills it.
    void Stop();

    // Ends the connection for its other side at once, and closes it without waiting. Without a
    // process (before Start) it is closed here.
    void Close(int fd);

    pid_t Pid() const { return pid_; }  // -1: there is none

private:
    bool Give(int fd) const;
    void Kill();

    int fd_ = -1;
    pid_t pid_ = -1;
    std::vector<pid_t> killed_;  // not gone yet
};

#endif
