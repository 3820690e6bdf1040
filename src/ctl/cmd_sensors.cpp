// SPDX-License-Identifier: Apache-2.0
// cmd_sensors.cpp -- sensors: the readings and states of a server's sensors.
#include "ctl/commands.h"
#include "ctl/model.h"

#include <algorithm>

namespace
{

bool IsWanted(const Options &options, const ModelSensor &sensor)
{
    const std::string &target = options.target;
    const bool below = target.empty() || sensor.target == target || target == "/" ||
                       sensor.target.starts_with(target + "/");
    const bool typed = options.types.empty() ||
                       std::find(options.types.begin(), options.types.end(), sensor.kindName) !=
                           options.types.end();
    return below && typed;
}

}  // namespace

CtlExit CmdSensors(const Options &options, const Console &console)
{
    ViewReader reader;
    CtlExit status = kExitDone;
    const ServerView *view =
        CommandRead(options, console, kViewSystem | kViewSensors, &reader, &status);
    if (view == nullptr)
        return status;
    if (!ModelSystemOf(*view).readable)
        status = CommandFailed(options, console, {}, kExitSilent, "the source is silent");
    Output output(console.out, options.format, kSensorsForm, CommandTime(), console.color);
    for (const ModelSensor &sensor : ModelSensorsOf(*view)) {
        if (IsWanted(options, sensor))
            output.Add(SensorRow({}, sensor));
    }
    return CommandEnd(options, console, &output, status);
}
