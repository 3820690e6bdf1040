// SPDX-License-Identifier: Apache-2.0
// caller_session.h -- whether the login session that a caller claims is his, for the record.
#ifndef OBJMGRD_CALLER_SESSION_H
#define OBJMGRD_CALLER_SESSION_H

#include "platform/types.h"

#include <string>

// Whether the registry (session/registry.h: the directory that ZORSSNDIR names, else the default)
// has a live session `id` that belongs to `uid`: as the owner of its file in the file system, which
// must be a plain file under its own number. Then *address is what that file says of the client's
// address, "" for none; else it is left as it is. Never waits, whatever stands under the name. For
// RecordOptions::session, whose context it does not need.
bool CallerSessionIs(void *context, u32 id, u32 uid, std::string *address);

#endif
