// SPDX-License-Identifier: Apache-2.0
// results.h -- the result codes that the shell's parts share.
#ifndef SMCLP_RESULTS_H
#define SMCLP_RESULTS_H

#include "platform/types.h"

// Of functions in general. Where a function has others its header says so.
enum SmclpResult : u32 {
    kSmclpOk = 0,
    kSmclpFailed = 1,        // general failure, or not found
    kSmclpBadParameter = 2,  // a null or unusable argument
    kSmclpNoMemory = 3,
    kSmclpNoElement = 5,
};

// Of a verb's parser (SmclpParseFunction). 1 and 9 have two meanings: both read the same to a user.
enum SmclpParseResult : u32 {
    kParseOk = 0,
    kParseBadList = 1,         // a property list without its parentheses
    kParseNotPossible = 2,     // line of 255 characters or more, or no memory for the option table
    kParseNoMemory = 3,        // for the parameters
    kParseUnexpected = 4,      // unexpected words or options, or more words than there is room for
    kParseTargetIsOption = 6,  // the target begins with "-"
    kParseBadTarget = 8,       // too long, or missing where it is required; also of a verb
    kParseBadValue = 9,        // an option's value, or an item of a property list, is none
    kParseValueMissing = 10,
};

// Of the dispatcher, where no parser and no executor ran.
constexpr u32 kDispatchNotRecognized = 4;
constexpr u32 kDispatchNotSupported = 11;

#endif
