// SPDX-License-Identifier: Apache-2.0
// cmd_system.cpp -- system: who a server is.
#include "ctl/commands.h"
#include "ctl/model.h"

CtlExit CmdSystem(const Options &options, const Console &console)
{
    ViewReader reader;
    CtlExit status = kExitDone;
    const ServerView *view = CommandRead(options, console, kViewSystem, &reader, &status);
    if (view == nullptr)
        return status;
    const ModelSystem system = ModelSystemOf(*view);
    if (!system.readable)
        status = CommandFailed(options, console, {}, kExitSilent, "the source is silent");
    Output output(console.out, options.format, kSystemForm, CommandTime(), console.color);
    output.Add(SystemRow({}, *view, system));
    return CommandEnd(options, console, &output, status);
}
