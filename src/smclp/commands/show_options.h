// SPDX-License-Identifier: Apache-2.0
// show_options.h -- the parameters of show, and its parser's parts.
#ifndef SMCLP_COMMANDS_SHOW_OPTIONS_H
#define SMCLP_COMMANDS_SHOW_OPTIONS_H

#include "platform/list.h"
#include "smclp/commands/options.h"

// ShowPara::showRequest. A later one in this order wins: display, help, version.
constexpr u32 kShowDisplay = 1000;
constexpr u32 kShowHelp = 800;
constexpr u32 kShowHelpToo = 900;  // the parser never sets it; the executor takes it for help
constexpr u32 kShowVersion = 1002;

// ShowPara::displayWhat.
constexpr u32 kDisplayVerbs = 0;
constexpr u32 kDisplayTargets = 1;
constexpr u32 kDisplayAllProperties = 2;
constexpr u32 kDisplaySelectedProperties = 3;
constexpr u32 kDisplayAll = 1000;

// ShowPara::levelValue for all levels.
constexpr u32 kLevelAll = 1000;

constexpr u32 kSelectedNameSize = 32;  // bytes of a name, its NUL included; also on the controller

// 35 words on the controller.
struct ShowPara {
    u32 showRequest;
    u32 showExamine;  // kSyntaxValid, kSyntaxInvalid, or 0: no check
    u32 unused2;
    u32 displayGiven;
    u32 displayWhat;
    u32 filterGiven;                     // 1: only targets whose filterName has filterValue
    char filterName[kSelectedNameSize];  // NUL-terminated
    char filterValue[64];                // NUL-terminated
    ListHead selectedProperties;         // of char[kSelectedNameSize], in the order written
    u32 levelGiven;
    u32 levelValue;  // 1 to SMCLP_MAX_LEVEL, or kLevelAll
    u32 formatGiven;
    u32 formatXml;
};
static_assert(sizeof(void *) != 4 || sizeof(ShowPara) == 35 * sizeof(u32), "35 words");

// The options of show beside those of options.h.
extern struct arg_lit *show;  // -all
extern struct arg_str *display;
extern struct arg_str *level;

// Takes the property list after "properties=" ("(a,b==c)") apart into *para; text is changed in
// place. examineCount non-zero: a fault sets showExamine to kSyntaxInvalid and returns 0. Results:
//   kParseOk        done; also for a text of 128 characters or more, which is not looked at
//   kParseBadList   null para, or no parentheses around the list
//   kParseNoMemory  no memory for a name
//   kParseBadValue  an empty item, a second filter, a lone filter without a name, or a name or
//   filter value
//      that does not fit its field
u32 SmclpParseProperties(char *text, ShowPara *para, u32 examineCount);

// Gives the names back to their pool.
void ReleaseSelectedProperties(ShowPara *para);

#endif
