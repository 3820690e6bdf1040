// SPDX-License-Identifier: Apache-2.0
// cmd_health.cpp -- health: how a server does, for people and for monitoring.
#include "ctl/commands.h"
#include "ctl/health.h"
#include "ctl/session_count.h"

namespace
{

constexpr u32 kParts = kViewSystem | kViewSensors;

// The whole answer of a plug-in is one line on standard output and the exit status 0 to 3.
CtlExit Check(const Options &options, const Console &console)
{
    ViewReader reader;
    const ServerView *view = reader.Read(options.directory, kParts);
    const ServerHealth health = HealthOf(view, reader.Reason());
    const std::vector<ModelSensor> sensors =
        view != nullptr ? ModelSensorsOf(*view) : std::vector<ModelSensor>();
    fprintf(console.out, "%s\n", HealthPluginLine(health, sensors).c_str());
    const bool written = fflush(console.out) == 0;
    return static_cast<CtlExit>(written ? health.health : Health::Unknown);
}

}  // namespace

CtlExit CmdHealth(const Options &options, const Console &console)
{
    if (options.check)
        return Check(options, console);
    CtlExit status = kExitDone;
    Answers answers(options, console, kHealthForm, Answers::Shape::OneRow);
    ViewReader reader;
    const std::optional<u32> sessions = SessionCount();
    for (const Server &server : CommandServers(options)) {
        const ServerView *view = reader.Read(server.directory, kParts);
        ServerHealth health = HealthOf(view, reader.Reason());
        health.sessions = sessions;
        // The row says why; the exit status has it, too.
        if (!health.serves)
            status = CommandBoth(status, reader.Exit());
        else if (health.silent)
            status = CommandBoth(status, kExitSilent);
        answers.Add(server, {HealthRow(server.name, health)});
    }
    return answers.End(status);
}
