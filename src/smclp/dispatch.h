// SPDX-License-Identifier: Apache-2.0
// dispatch.h -- runs one command line from end to end.
#ifndef SMCLP_DISPATCH_H
#define SMCLP_DISPATCH_H

#include "smclp/session.h"

// Runs `line` (rewritten in place; its buffer holds at least 256 bytes) in the session and says
// the answer, or exactly one error line, to the user. Returns the executor's result;
// kDispatchNotRecognized for an unknown verb, kDispatchNotSupported for one that is not supported,
// or the parser's result when it refuses.
u32 SmclpExecuteCommand(SmclpSession *session, char *line);

#endif
