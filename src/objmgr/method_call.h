// SPDX-License-Identifier: Apache-2.0
// method_call.h -- one method call over the service's socket, seen from the client.
#ifndef OBJMGR_METHOD_CALL_H
#define OBJMGR_METHOD_CALL_H

#include "objmgr/protocol.h"

// Sends the `size` bytes of a packed request (objmgr/protocol.h) and waits for the reply, timeoutMs
// milliseconds in all. `packet` (kMethodPacketMax bytes) is written over. Returns the reply's
// status, kCimFailed when there is none; *reply is set in any case.
//
// Nothing is sent unless the directory is writable for its owner alone and the process that listens
// is the owner's or root's, as the kernel says: anybody else could only claim to have done
// something.
CimStatus MethodCall(u8 *packet, size_t size, u32 timeoutMs, MethodReply *reply);

#endif
