// SPDX-License-Identifier: Apache-2.0
// commands.h -- the commands of smclpctl.
#ifndef CTL_COMMANDS_H
#define CTL_COMMANDS_H

#include "ctl/fold.h"
#include "ctl/method.h"
#include "ctl/options.h"
#include "ctl/view_reader.h"

#include <functional>

// Where a command writes.
struct Console {
    FILE *out = stdout;
    FILE *err = stderr;
    bool terminal = false;  // `out` is one
    bool color = false;     // ... and NO_COLOR is not set
    // Asks a question on the terminal; false: no, or nobody can be asked.
    bool (*ask)(const std::string &question) = nullptr;
};

// One server that is asked.
struct Server {
    Value name;             // what -w calls it; null without -w
    std::string directory;  // of its object manager; empty: the process's own
};

// Runs the command that the options name.
CtlExit CommandRun(const Options &options, const Console &console);

// One file each: cmd_<command>.cpp.
CtlExit CmdSensors(const Options &options, const Console &console);
CtlExit CmdSystem(const Options &options, const Console &console);
CtlExit CmdPower(const Options &options, const Console &console);
CtlExit CmdLog(const Options &options, const Console &console);
CtlExit CmdWatch(const Options &options, const Console &console);
CtlExit CmdHealth(const Options &options, const Console &console);
CtlExit CmdAudit(const Options &options, const Console &console);
CtlExit CmdExport(const Options &options, const Console &console);

// ---- what they share

// Those of -w, or the one.
std::vector<Server> CommandServers(const Options &options);

// Says on standard error what went wrong, as JSON with --format json and jsonl. Returns `status`.
CtlExit CommandFailed(const Options &options, const Console &console, const Server &server,
                      CtlExit status, const std::string &message);

// The exit status of several servers: done if all are; what all others have in common; else failed.
CtlExit CommandBoth(CtlExit one, CtlExit other);

// Reads a server's view. Null: there is none, which has been said; *status takes it in.
const ServerView *CommandRead(const Options &options, const Console &console, const Server &server,
                              u32 parts, ViewReader *reader, CtlExit *status);
// The same where the host has to be readable, too: one that is not is said, and still answered.
const ServerView *CommandReadHost(const Options &options, const Console &console,
                                  const Server &server, u32 parts, ViewReader *reader,
                                  CtlExit *status);

// Whether a change of so many servers may be made: --yes, few of them, or a yes on the terminal.
// False has been said.
bool CommandMayChange(const Options &options, const Console &console, const std::string &what);

// Makes a method call on each server (method_batch.h), begun as --every says. The answers, in the
// order of the servers; of those that failed has been said why, and *status takes them in.
std::vector<MethodAnswer> CommandInvoke(const Options &options, const Console &console,
                                        CtlExit *status,
                                        const std::function<MethodAnswer(const Server &)> &call);

void CommandSleepMs(u32 ms);
// Whether somebody may still read what is written: false behind a pipe whose reader has ended.
bool CommandIsRead(const Console &console);
i64 CommandTime();  // seconds since 1970

// A command's answer: rows of each server. A table of several servers shows equal answers once, and
// so at the end; everything else goes out as it comes.
class Answers
{
public:
    enum class Shape : u8 {
        OneRow,   // of each server: one table, with a column for the servers
        ManyRows  // of each server: a table for each, under its name
    };
    Answers(const Options &options, const Console &console, const SheetForm &form, Shape shape);

    void Stream();
    void Add(const Server &server, const std::vector<Row> &rows);
    // A failed write is kExitFailed and said, else `status`. Where no server answered and that has
    // been said, nothing is written.
    CtlExit End(CtlExit status);

private:
    const Options &options_;
    const Console &console_;
    const SheetForm &form_;
    Shape shape_;
    bool fold_;
    bool answered_ = false;
    Output output_;
    std::vector<ServerAnswer> answers_;
};

#endif
