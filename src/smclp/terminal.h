// SPDX-License-Identifier: Apache-2.0
// terminal.h -- keys from standard input.
//
// The only code that knows termios: one function saves and sets, one restores. The terminal is in
// raw mode only while keys of a line are awaited. It stays there from one key of a line to the
// next: between two keys of pasted text or of a slow serial line the terminal would echo on its
// own what the editor echoes again. It comes back on every way out: a signal that ends or stops
// the process restores it first.
#ifndef SMCLP_TERMINAL_H
#define SMCLP_TERMINAL_H

#include "platform/types.h"

// The end of input, as a key: no key has this code.
constexpr i32 kTerminalEndOfInput = -1;

// Puts the terminal into raw mode, until TerminalRestore. The shell calls it before the prompt is
// printed, so that a program that answers the prompt at once is not echoed twice. Nothing happens
// when standard input is no terminal, or raw already.
void TerminalAwaitKeys();

// Waits for one key in raw mode and returns its code, 0 to 255, or kTerminalEndOfInput. Standard
// input that is no terminal is read the same way. Leaves the terminal in raw mode: the caller
// calls TerminalRestore when the line is done.
//
// At the end of input TerminalInputGone() becomes true: at once for a pipe, a file or a terminal
// that was hung up, within half a second for a terminal that only reads empty.
i32 TerminalReadKey();
bool TerminalInputGone();

// Puts the terminal back as it was before raw mode. Nothing happens when it is not raw.
void TerminalRestore();

// Makes every signal that would end the process, faults and real-time signals included, restore the
// terminal first (the process still ends by that same signal), and TSTP before it stops it. KILL
// and STOP cannot be caught. Once, at the start of the interactive shell. A signal that is ignored
// or has a handler keeps that.
void TerminalCatchSignals();

#endif
