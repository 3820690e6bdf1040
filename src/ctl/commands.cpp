// SPDX-License-Identifier: Apache-2.0
// commands.cpp -- see commands.h.
#include "ctl/commands.h"

#include <errno.h>
#include <string.h>
#include <time.h>

i64 CommandTime()
{
    return static_cast<i64>(time(nullptr));
}

CtlExit CommandFailed(const Options &options, const Console &console, const Value &server,
                      CtlExit status, const std::string &message)
{
    fflush(console.out);  // what was answered comes before what went wrong
    if (options.format == OutputFormat::Json || options.format == OutputFormat::JsonLines) {
        const std::string name = server.IsNull() ? "null" : JsonText(server.text);
        fprintf(console.err,
                "{\"schema\":%d,\"server\":%s,\"error\":{\"exit\":%d,\"message\":%s}}\n",
                kSheetSchema, name.c_str(), status, JsonText(TextValue(message).text).c_str());
    } else {
        const std::string name = server.IsNull() ? "" : server.text + ": ";
        fprintf(console.err, "smclpctl: %s%s\n", name.c_str(), TextValue(message).text.c_str());
    }
    return status;
}

const ServerView *CommandRead(const Options &options, const Console &console, u32 parts,
                              ViewReader *reader, CtlExit *status)
{
    const ServerView *view = reader->Read(parts);
    if (view == nullptr)
        *status = CommandFailed(options, console, {}, kExitNoService, reader->Reason());
    return view;
}

CtlExit CommandEnd(const Options &options, const Console &console, Output *output, CtlExit status)
{
    if (output->End())
        return status;
    const int error = errno;
    return CommandFailed(options, console, {}, kExitFailed,
                         std::string("cannot write: ") + strerror(error));
}

CtlExit CommandRun(const Options &options, const Console &console)
{
    switch (options.command) {
    case CommandId::Sensors:
        return CmdSensors(options, console);
    case CommandId::System:
        return CmdSystem(options, console);
    case CommandId::Power:
        return CmdPower(options, console);
    case CommandId::Log:
        break;
    }
    return CmdLog(options, console);
}
