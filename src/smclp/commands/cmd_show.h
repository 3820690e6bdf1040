// SPDX-License-Identifier: Apache-2.0
// cmd_show.h -- the parts of the show verb.
#ifndef SMCLP_COMMANDS_CMD_SHOW_H
#define SMCLP_COMMANDS_CMD_SHOW_H

#include "smclp/command_list.h"
#include "smclp/commands/show_options.h"
#include "smclp/me/me.h"

// The parameters of the command being executed; null between commands.
extern ShowPara *gpShowPara;

// What each section lists.
enum WhatToShow : u32 { kTargets = 1, kProperties = 2, kVerbs = 3, kEverything = 4 };
extern u32 gWhatToShow;

// How far down the walk may still go. Set from the level; the walk lowers it at the last sibling
// of every row, so it may fall below 1: then nothing descends.
extern i32 imax;

// 1 while the section's header has not been printed.
extern u32 bPrintFlag;

// Shows an element and what the level asks for below it. Returns 0.
u32 SmclpShowDisplay(ManagedElement *element, const SmclpCommandLine *record);

// Shows `element`, its following siblings and what is below them, down to the kind of `stop`. Null
// shows nothing. Returns the result of the last walk among the element's children.
u32 SmclpShowCalculateTargetsForDisplay(ManagedElement *element, const ManagedElement *stop);

// Shows one section. Returns the result of its last list.
u32 SmclpShowDisplayCalculatedTargets(ManagedElement *element);

// The lists of a section. Each prints the section's header first if that is still due, and
// nothing at all when there is nothing to list. Return 0, or the result of a failed header.
u32 SmclpShowOutputTargets(const ManagedElement *element);
u32 SmclpShowOutputVerbs(const ManagedElement *element);
u32 SmclpShowOutputPropAll(ManagedElement *element);
u32 SmclpShowOutputPropSelective(ManagedElement *element);

#endif
