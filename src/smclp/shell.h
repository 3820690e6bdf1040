// SPDX-License-Identifier: Apache-2.0
// shell.h -- start-up below main, the interactive loop and one-shot mode.
#ifndef SMCLP_SHELL_H
#define SMCLP_SHELL_H

#include "smclp/me/me.h"

// Registers the memory pools, builds the command list and the tree of targets. Returns 0, or the
// non-zero result of the session manager or of discovery.
u32 SmclpInit();
// The same with the tree of another table of kinds than meTable (SmclpDiscoverFrom).
u32 SmclpInitFrom(const MeConstructor *kinds);

// Frees the command list; always returns 0. The tree lives until the process ends.
u32 SmclpUninit();

// Prints the banner: the version line and two lines that tell a user what to type first.
void SmclpShellShowVersion();

// Runs the shell: one command when there is at least one argument besides the program's name
// (joined by SmclpBuildCommandLine), else the interactive loop. Returns the result of the last
// command run, or that of the creation of the session when none ran.
u32 SmclpShell(int argc, char **argv);

#endif
