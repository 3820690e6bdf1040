// SPDX-License-Identifier: Apache-2.0
// ssn.h -- the session manager's one question: is this login session still valid?
//
// The answer comes from the session registry (session/registry.h), in the directory that
// ZORSSNDIR names, else /run/zor/sessions. Nothing is kept between calls: every call looks at the
// registry as it is then. No heap, no C++ runtime library, callable from a C program.
#ifndef SESSION_SSN_H
#define SESSION_SSN_H

#include "platform/types.h"

// Results of ssn_check. Only 0 gives *state a meaning.
constexpr u32 kSsnAnswered = 0;      // there is such a session; *state says what became of it
constexpr u32 kSsnUnreadable = 1;    // the registry or the session's file cannot be read, is not
                                     // what the session manager writes, belongs to another user
                                     // than the caller or root, or cannot be marked used
constexpr u32 kSsnBadParameter = 2;  // a null pointer; nothing was looked at or written
constexpr u32 kSsnUnknown = 5;       // no session has this id (0 never is one), or there is no
                                     // registry

// Values of *state. The first that applies, in the order dead, other client, expired, live.
constexpr u32 kSsnStateNone = 0;         // with every result but kSsnAnswered
constexpr u32 kSsnStateLive = 1;         // valid; the session is marked as used now
constexpr u32 kSsnStateExpired = 2;      // unused for as long as its idle limit or longer
constexpr u32 kSsnStateDead = 3;         // no process of the session is left
constexpr u32 kSsnStateOtherClient = 4;  // opened for another client address or another type

// Looks the session up. `address` is the client's IPv4 address with the first byte of the dotted
// form as the most significant (127.0.0.1 is 2130706433), 0 for a session without one; `type` the
// session type it was opened with.
//
// A session is valid exactly when 0 is returned and *state is kSsnStateLive. Only then is
// anything changed: the session's idle time starts again from 0. An expired session is not marked
// and so stays expired.
//
// *second: for a live session the seconds after which it expires unless it is used again, which
// is its idle limit, or 0 when it has none. 0 with every other answer.
extern "C" u32 ssn_check(u32 sessionId, u32 address, u8 type, u32 *state, u32 *second);

#endif
