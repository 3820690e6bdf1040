// SPDX-License-Identifier: Apache-2.0
// emulation.h -- what a user-mode emulator does otherwise than the kernel (ZOR_EMULATED).
//
// Tests hold under emulation all the same where a constant here says what to expect. Those that
// cannot are in not_emulated.txt, with the reason.
#ifndef TESTS_SUPPORT_EMULATION_H
#define TESTS_SUPPORT_EMULATION_H

#include <signal.h>
#include <stdint.h>

#ifdef ZOR_EMULATED
constexpr bool kEmulated = true;
#else
constexpr bool kEmulated = false;
#endif

// What a parent sees of a child that SIGTSTP stopped: the emulator stops itself on its behalf.
constexpr int kStopSignal = kEmulated ? SIGSTOP : SIGTSTP;

// Signals of the C library's own, as bits of a mask in /proc/PID/status: 32 and 33, and those that
// the emulator carries them as.
constexpr uint64_t kLibrarySignals = (kEmulated ? 15ull : 3ull) << 31;

#endif
