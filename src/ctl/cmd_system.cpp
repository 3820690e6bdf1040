// SPDX-License-Identifier: Apache-2.0
// cmd_system.cpp -- system: who a server is.
#include "ctl/commands.h"
#include "ctl/model.h"

CtlExit CmdSystem(const Options &options, const Console &console)
{
    CtlExit status = kExitDone;
    Answers answers(options, console, kSystemForm, Answers::Shape::OneRow);
    ViewReader reader;
    for (const Server &server : CommandServers(options)) {
        const ServerView *view =
            CommandReadHost(options, console, server, kViewSystem, &reader, &status);
        if (view != nullptr)
            answers.Add(server, {SystemRow(server.name, *view, ModelSystemOf(*view))});
    }
    return answers.End(status);
}
