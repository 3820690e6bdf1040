// SPDX-License-Identifier: Apache-2.0
// logins.h -- the logins that the service was told of, each with the connection that told.
//
// smclp-login keeps that connection for as long as it lives, and no other process has it: its end
// is the kernel's word that the login is over. So a logout is written down also of one that was
// killed and could tell nothing, and nobody can have another's written: a line goes to whom the
// kernel named when the connection was made.
//
// What a login costs is a descriptor and a few hundred bytes. Of one uid kLoginsUidMost are
// remembered and kLoginsMost of all; those above are written down when they come, and when they
// tell of their end.
#ifndef OBJMGRD_LOGINS_H
#define OBJMGRD_LOGINS_H

#include "objmgrd/listener.h"
#include "objmgrd/record.h"

#include <poll.h>
#include <vector>

constexpr u32 kLoginsUidMost = 64;  // four times what smclp-login allows one user by default
constexpr u32 kLoginsMost = 512;    // half of the descriptors that a process has by default

class Logins
{
public:
    // Both must outlive the connections. record: null: nothing is written down. most: kLoginsMost,
    // or less where the process has fewer descriptors.
    void Start(Listener *listener, Record *record, u32 most);

    // Whether one more of this uid is remembered.
    bool HasRoom(u32 uid) const;
    // Remembers one for which there is room. Takes the connection. recorded: of Record::Login.
    void Add(int fd, const Peer &peer, const LoginNotice &notice, RecordedLogin recorded,
             u64 nowMs);

    // Appends what is to be polled.
    void AddPolled(std::vector<pollfd> *polled);
    // What came of what AddPolled appended last, from `polled` on.
    void Serve(const pollfd *polled, u64 nowMs);

    // Ends the connections; nothing is written down, since the logins go on.
    void Clear();

private:
    struct Login {
        int fd;
        Peer peer;
        LoginNotice notice;
        RecordedLogin recorded;
        u64 sinceMs;
    };
    bool GoesOn(const Login &login, u64 nowMs) const;

    Listener *listener_ = nullptr;
    Record *record_ = nullptr;
    u32 most_ = kLoginsMost;
    size_t polled_ = 0;
    std::vector<Login> logins_;
};

#endif
