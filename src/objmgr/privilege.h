// SPDX-License-Identifier: Apache-2.0
// privilege.h -- the bits of the privilege word.
//
// The shell never looks at these: it hands the word over and the service judges. A method that
// changes anything and is not in the table of objmgr/schema.h needs them all (default deny).
// Reading needs no right. Bits that are not defined are ignored, so a word of all ones holds every
// right.
#ifndef OBJMGR_PRIVILEGE_H
#define OBJMGR_PRIVILEGE_H

#include "platform/types.h"

constexpr u32 kPrivilegeLogin = 0x00000001;         // may log in; grants no change by itself
constexpr u32 kPrivilegePowerControl = 0x00000002;  // the host's power
constexpr u32 kPrivilegeClearLog = 0x00000004;      // the system event log
constexpr u32 kPrivilegeAll = kPrivilegeLogin | kPrivilegePowerControl | kPrivilegeClearLog;

#endif
