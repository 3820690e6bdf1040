// SPDX-License-Identifier: Apache-2.0
// answers_once.h -- answers that the network doubles, while libfreeipmi opens a session.
//
// An opening is some six requests, and the library gives it up when an answer comes that does not
// belong to the request in hand. So on a network that doubles packets hardly any session comes
// about, and each that was given up stays with the BMC for a minute, of which it holds few. Where
// it is the request that was doubled both answers bear its message tag and differ in the rest: the
// first one counts.
//
// What the library receives it receives through two functions of its own that are public
// (ipmi_lan_recvfrom, ipmi_rmcpplus_recvfrom); this program's take their place. They do what the
// library's do, and pass by, while an AnswersOnce lives, what has come before. Inside a session
// nothing is passed by: packets bear numbers there, and the library looks at them.
#ifndef OBJMGRD_IPMI_ANSWERS_ONCE_H
#define OBJMGRD_IPMI_ANSWERS_ONCE_H

#include <stddef.h>

// For all that the calling thread receives, to the end of the scope. One at a time in a thread.
// Waiting for the packet behind one that is passed by has no limit but a signal (EINTR).
class AnswersOnce
{
public:
    AnswersOnce();
    ~AnswersOnce();
    // How many have come so far; more than 64 count as 64.
    static size_t Count();
    AnswersOnce(const AnswersOnce &) = delete;
    AnswersOnce &operator=(const AnswersOnce &) = delete;
};

#endif
