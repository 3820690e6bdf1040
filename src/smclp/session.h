// SPDX-License-Identifier: Apache-2.0
// session.h -- the shell's own session record, and whether the login session still lives.
#ifndef SMCLP_SESSION_H
#define SMCLP_SESSION_H

#include "platform/types.h"
#include "smclp/results.h"

struct ManagedElement;

constexpr u32 kSmclpSessionSize = 4;  // on the controller

// The session handle is the address of this record.
struct SmclpSession {
    ManagedElement *currentTarget;
};
static_assert(sizeof(void *) != 4 || sizeof(SmclpSession) == kSmclpSessionSize,
              "sessions come from the pool of 4-byte blocks");

// The session manager needs no set-up and no teardown: both return kSmclpOk. Nothing calls the
// second: it is there because the interface of a session manager has both.
u32 SmclpSessMgrInit();
u32 SmclpSessMgrUninit();

// Allocates a session in *handle, with the root element as its current target. Returns
// kSmclpOk; kSmclpBadParameter for a null pointer, and when there is no root (the session exists
// then all the same and is the caller's to remove); kSmclpNoMemory, with *handle null, when the
// pool is exhausted.
u32 SmclpCreateSession(SmclpSession **handle);

// Frees the session. Returns kSmclpOk, or kSmclpBadParameter for null.
u32 SmclpRemoveSession(SmclpSession *session);

// The current target. Set returns kSmclpOk, or kSmclpBadParameter when either is null (nothing
// changes then). Get returns null for a null session. SetById returns kSmclpNoElement when no
// element has that kind id; nothing in the shell calls it: it belongs to the interface.
u32 SmclpSetCurrentTarget(SmclpSession *session, ManagedElement *element);
u32 SmclpSetCurrentTargetById(SmclpSession *session, u32 kindId);
ManagedElement *SmclpGetCurrentTarget(const SmclpSession *session);

// kSmclpOk when the login session that ZORSID, ZORSSNTYPE and ZORIP name is valid, else
// kSmclpFailed. Asks the session manager (ssn_check) each time. The handle is not consulted.
u32 SmclpValidateSession(const SmclpSession *session);

#endif
