// SPDX-License-Identifier: Apache-2.0
// login_line.h -- which command line a login asks for, however the server that lets it in says so.
//
//     sshd, Dropbear: forced command      the client's line is in SSH_ORIGINAL_COMMAND
//     the user's login shell              -c LINE, or no argument for the prompt
//     both                                -c "smclp-login --idle 600", and SSH_ORIGINAL_COMMAND
//     subsystem                           as one of these, with a line that names smclp-login
#ifndef SESSION_LOGIN_LINE_H
#define SESSION_LOGIN_LINE_H

#include "platform/types.h"
#include "session/login_options.h"

// What LoginTakeLine returns.
constexpr u32 kLoginLineTaken = 0;     // options->line is what is asked for; null: the prompt
constexpr u32 kLoginLineFault = 2;     // a line that names smclp-login has options that are none
constexpr u32 kLoginLineRefused = 77;  // a program for copying files

// Settles options->line. `original` is the value of SSH_ORIGINAL_COMMAND, null for none; nothing of
// it counts when options has a COMMAND. Blanks, tabs, CR and LF around a line are taken off (both
// texts are changed in place and pointed into); an `original` that is empty then is none.
//
// A line whose first word (after an "exec") is smclp-login, with or without a directory, asks for
// the prompt: that is a login shell which is told to run itself as the forced command, or a
// subsystem. Anybody can send such a line, so its options only take away: --privilege clears bits,
// --idle, --sessions and --user-sessions lower limits, --type is taken where `options` has none
// and it is not the console's; --address counts for nothing, -c and COMMAND are faults. --host is
// taken where `options` has none: what its user may do there, that server's service says. The
// line's words stand between blanks; quotes mean nothing.
//
// A line whose first word is kLoginTool, as that name alone, and which options->allowTool lets do
// so, asks for that program: options->tool gets its words, `line` is null. Words stand between
// blanks, tabs and line ends; what stands between single or double quotes belongs to one word as it
// is. Nothing else means anything, so no line can start a second program. A quote that is not
// closed and more than kLoginToolWordsMax words are faults. Where the tool is not allowed such a
// line is the shell's, as every other, which does not recognize it.
//
// With fault and refused, one line without the program's name and a new line is in message, cut to
// size bytes with its NUL.
u32 LoginTakeLine(LoginOptions *options, char *original, char *message, size_t size);

#endif
