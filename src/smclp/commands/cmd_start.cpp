// SPDX-License-Identifier: Apache-2.0
// cmd_start.cpp -- start: asks the target element to start.
//
// Knows no element kind: hands the word "start" to the target's Method slot and turns the code that
// comes back into one line. Whether the user may do it is the method's affair.
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"

static constexpr StateVerb kVerb = {
    .operation = "start",
    .help = "The START command starts the target.",
    .done = "%s was started successfully.",
    .stateCode = kMeHostOn,
    .stateText = "%s is already started.",
    .deniedResult = kSmclpFailed,
};

SMCLP_STATE_VERB(Start, kVerb)
