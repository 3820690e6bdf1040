// SPDX-License-Identifier: Apache-2.0
// address.h -- target addresses: text to element and back.
#ifndef SMCLP_ADDRESS_H
#define SMCLP_ADDRESS_H

#include "smclp/me/me.h"

// Bytes of a path as users see it, its NUL included.
constexpr u32 kSmclpPathSize = 64;

// The element that an address names, absolute ("/system1/logs1") or relative to `current`; null
// when it names nothing. Kinds with instances are written with their number, or in the last
// segment with "*" for all of them.
//
// One element stands for all instances of its kind, so resolving stores the instance number and
// the all-instances flag of each segment in the elements on the way, also when a later segment
// fails and also when that element is the current target.
//
// A null current yields null; a null or empty text yields current.
ManagedElement *SmclpResolveTargetAddress(const char *text, ManagedElement *current);

// Writes the absolute address of `element`, with instance numbers, NUL-terminated into `out`
// (`size` bytes, at most 64; callers pass kSmclpPathSize). An element with instances of which none
// is selected leaves an empty piece ("/system1/"). Writes nothing for a null element and for a
// size of 65 or more; an address that does not fit loses its left end. Always returns 0.
u32 SmclpReturnAbsolutePath(const ManagedElement *element, char *out, u32 size);

// Puts `piece` in front of the path in `path` (kSmclpPathSize bytes), and "/" in front of that
// unless there is one. What does not fit is left out from the left.
void SmclpPrependToPath(char *path, const char *piece);

#endif
