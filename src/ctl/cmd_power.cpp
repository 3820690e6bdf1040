// SPDX-License-Identifier: Apache-2.0
// cmd_power.cpp -- power: a host's power state, and changes of it.
//
// Made for scripts: switching on what is on is done, not failed. Reset and cycle need a host that
// is on, as in the shell.
#include "ctl/commands.h"
#include "ctl/method.h"
#include "ctl/model.h"
#include "ctl/power_wait.h"
#include "objmgr/schema.h"
#include "platform/clock.h"

namespace
{

struct ActionRow {
    const char *word;
    const char *method;
    const char *args;
    const char *wanted;  // the power afterwards
};
constexpr ActionRow kActions[] = {
    {"", "", nullptr, ""},  // PowerAction::None
    {"on", kMethodStart, nullptr, "on"},
    {"off", kMethodStop, nullptr, "off"},
    {"reset", kMethodReset, nullptr, "on"},
    {"cycle", kMethodReset, kPowerCycleArgument, "on"},
};

constexpr Column kColumns[] = {
    {"server", nullptr, false},    {"power", "POWER", false},    {"action", "ACTION", false},
    {"changed", "CHANGED", false}, {"age_seconds", "AGE", true},
};
constexpr SheetForm kForm = {"power", kColumns};

std::string ReadPower(const Server &server)
{
    ViewReader reader;
    const ServerView *view = reader.Read(server.directory, kViewSystem);
    return view == nullptr ? "" : ModelSystemOf(*view).power.text;
}

// Carries the action out.
MethodAnswer Act(const Server &server, PowerAction action)
{
    const ActionRow &row = kActions[static_cast<size_t>(action)];
    ModelSystem before;
    {
        ViewReader reader;
        const ServerView *view = reader.Read(server.directory, kViewSystem);
        if (view == nullptr)
            return {reader.Exit(), false, reader.Reason()};
        before = ModelSystemOf(*view);
    }
    if (!before.readable)
        return {kExitSilent, false, "the source is silent"};
    const bool both = action == PowerAction::On || action == PowerAction::Off;
    if (both && before.power.text == row.wanted)
        return {};
    if (!both && !before.IsOn())
        return {kExitFailed, false, "the host is off"};
    MethodAnswer answer = MethodInvoke(server.directory, kSystemClass, row.method, row.args);
    if (answer.status == kExitDone && !answer.applied && !both)
        return {kExitFailed, false, "the host is off"};
    return answer;
}

// A server on which the action was carried out.
struct Acted {
    Server server;
    bool changed;
};

std::vector<Acted> ActOnAll(const Options &options, const Console &console, CtlExit *status)
{
    const std::vector<MethodAnswer> answers =
        CommandInvoke(options, console, status,
                      [&](const Server &server) { return Act(server, options.action); });
    const std::vector<Server> servers = CommandServers(options);
    std::vector<Acted> acted;
    for (size_t i = 0; i < servers.size(); ++i) {
        if (answers[i].status == kExitDone)
            acted.push_back({servers[i], answers[i].applied});
    }
    return acted;
}

// All servers have the same time, from when the last one was told. Those that are in time stay.
void WaitForAll(const Options &options, const Console &console, std::vector<Acted> *acted,
                CtlExit *status)
{
    const ActionRow &row = kActions[static_cast<size_t>(options.action)];
    const u64 end = ClockMs() + u64{*options.waitSeconds} * 1000;
    std::erase_if(*acted, [&](const Acted &one) {
        const u64 now = ClockMs();
        const u32 rest = now < end ? static_cast<u32>((end - now + 999) / 1000) : 0;
        const PowerWorld world = {[&] { return ReadPower(one.server); }, ClockMs, CommandSleepMs};
        if (PowerWait(world, row.wanted, rest))
            return false;
        const std::string message = std::string("the host is not ") + row.wanted + " after " +
                                    std::to_string(*options.waitSeconds) + " s";
        *status =
            CommandBoth(*status, CommandFailed(options, console, one.server, kExitSilent, message));
        return true;
    });
}

}  // namespace

CtlExit CmdPower(const Options &options, const Console &console)
{
    CtlExit status = kExitDone;
    std::vector<Acted> servers;
    const ActionRow &row = kActions[static_cast<size_t>(options.action)];
    const bool acts = options.action != PowerAction::None;
    if (acts) {
        if (!CommandMayChange(options, console, std::string("power ") + row.word))
            return kExitUsage;
        servers = ActOnAll(options, console, &status);
        if (options.waitSeconds)
            WaitForAll(options, console, &servers, &status);
    } else {
        for (const Server &server : CommandServers(options))
            servers.push_back({server, false});
    }
    // The state once all is done.
    Answers answers(options, console, kForm, Answers::Shape::OneRow);
    for (const Acted &one : servers) {
        ViewReader reader;
        const ServerView *view =
            CommandReadHost(options, console, one.server, kViewSystem, &reader, &status);
        if (view == nullptr)
            continue;
        const ModelSystem system = ModelSystemOf(*view);
        answers.Add(one.server,
                    {{one.server.name, system.power, acts ? TextValue(row.word) : Value(),
                      acts ? FlagValue(one.changed) : Value(),
                      system.age ? SecondsValue(*system.age) : Value()}});
    }
    return answers.End(status);
}
