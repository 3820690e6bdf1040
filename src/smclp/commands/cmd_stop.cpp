// SPDX-License-Identifier: Apache-2.0
// cmd_stop.cpp -- stop: asks the target element to stop.
//
// Knows no element kind: hands the word "stop" to the target's Method slot and turns the code that
// comes back into one line. Whether the user may do it is the method's affair.
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"

static constexpr StateVerb kVerb = {
    .operation = "stop",
    .help = "The STOP command stops the target.",
    .done = "%s was stopped successfully.",
    .stateCode = kMeHostOff,
    .stateText = "%s is already stopped.",
    .deniedResult = kSmclpFailed,
};

SMCLP_STATE_VERB(Stop, kVerb)
