// SPDX-License-Identifier: Apache-2.0
// commands.h -- the commands of smclpctl.
#ifndef CTL_COMMANDS_H
#define CTL_COMMANDS_H

#include "ctl/options.h"
#include "ctl/view_reader.h"

// Where a command writes.
struct Console {
    FILE *out = stdout;
    FILE *err = stderr;
    bool color = false;  // `out` is a terminal, and NO_COLOR is not set
};

// Runs the command that the options name. The object manager's directory is the process's own.
CtlExit CommandRun(const Options &options, const Console &console);

// Says on standard error what went wrong, as JSON with --format json and jsonl. Returns `status`.
// server: what -w called it; null without -w.
CtlExit CommandFailed(const Options &options, const Console &console, const Value &server,
                      CtlExit status, const std::string &message);

// One file each: cmd_<command>.cpp.
CtlExit CmdSensors(const Options &options, const Console &console);
CtlExit CmdSystem(const Options &options, const Console &console);
CtlExit CmdPower(const Options &options, const Console &console);
CtlExit CmdLog(const Options &options, const Console &console);

// ---- what they share

// Reads the server's view. Null: there is none, which has been said; *status is the exit status.
const ServerView *CommandRead(const Options &options, const Console &console, u32 parts,
                              ViewReader *reader, CtlExit *status);

// Ends the answer: a failed write is kExitFailed and said, else `status`.
CtlExit CommandEnd(const Options &options, const Console &console, Output *output, CtlExit status);

// Seconds since 1970.
i64 CommandTime();

#endif
