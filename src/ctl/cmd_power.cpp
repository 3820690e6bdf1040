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

#include <time.h>

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

std::string ReadPower()
{
    ViewReader reader;
    const ServerView *view = reader.Read(kViewSystem);
    return view == nullptr ? "" : ModelSystemOf(*view).power.text;
}

u64 MonotonicMs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
}

void SleepMs(u32 ms)
{
    const timespec pause = {ms / 1000, static_cast<long>(ms % 1000) * 1000000};
    nanosleep(&pause, nullptr);
}

// Carries the action out on a host of that power.
MethodAnswer Act(const ActionRow &row, PowerAction action, const ModelSystem &before)
{
    if (!before.readable)
        return {kExitSilent, false, "the source is silent"};
    const bool both = action == PowerAction::On || action == PowerAction::Off;
    if (both && before.power.text == row.wanted)
        return {};
    if (!both && !before.IsOn())
        return {kExitFailed, false, "the host is off"};
    MethodAnswer answer = MethodInvoke(kSystemClass, row.method, row.args);
    if (answer.status == kExitDone && !answer.applied && !both)
        return {kExitFailed, false, "the host is off"};
    return answer;
}

// The host's state once all is done.
CtlExit Answer(const Options &options, const Console &console, const Value &action,
               const Value &changed)
{
    ViewReader reader;
    CtlExit status = kExitDone;
    const ServerView *view = CommandRead(options, console, kViewSystem, &reader, &status);
    if (view == nullptr)
        return status;
    const ModelSystem system = ModelSystemOf(*view);
    if (!system.readable)
        status = CommandFailed(options, console, {}, kExitSilent, "the source is silent");
    Output output(console.out, options.format, kForm, CommandTime(), console.color);
    output.Add(
        {{}, system.power, action, changed, system.age ? SecondsValue(*system.age) : Value()});
    return CommandEnd(options, console, &output, status);
}

}  // namespace

CtlExit CmdPower(const Options &options, const Console &console)
{
    if (options.action == PowerAction::None)
        return Answer(options, console, {}, {});
    const ActionRow &row = kActions[static_cast<size_t>(options.action)];
    ModelSystem before;
    {
        ViewReader reader;
        CtlExit status = kExitDone;
        const ServerView *view = CommandRead(options, console, kViewSystem, &reader, &status);
        if (view == nullptr)
            return status;
        before = ModelSystemOf(*view);
    }
    const MethodAnswer answer = Act(row, options.action, before);
    if (answer.status != kExitDone)
        return CommandFailed(options, console, {}, answer.status, answer.message);
    const u32 limit = options.waitSeconds.value_or(0);
    if (options.waitSeconds && !PowerWait({ReadPower, MonotonicMs, SleepMs}, row.wanted, limit)) {
        return CommandFailed(options, console, {}, kExitSilent,
                             std::string("the host is not ") + row.wanted + " after " +
                                 std::to_string(limit) + " s");
    }
    return Answer(options, console, TextValue(row.word), FlagValue(answer.applied));
}
