// SPDX-License-Identifier: Apache-2.0
// cmd_reset.cpp -- reset: asks the target element to reset.
//
// Knows no element kind: hands the word "reset" to the target's Method slot and turns the code that
// comes back into one line. Whether the user may do it is the method's affair.
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"

static constexpr StateVerb kVerb = {
    .operation = "reset",
    .help = "The RESET command resets the target.",
    .done = "%s was reset successfully.",
    .stateCode = kMeHostOff,
    .stateText = "%s is currently stopped",  // no full stop: deliberate
    .deniedResult = kMeNoPrivilege,          // start and stop return 1 here: deliberate
};

SMCLP_STATE_VERB(Reset, kVerb)
