// SPDX-License-Identifier: Apache-2.0
// cmd_sensors.cpp -- sensors: the readings and states of a server's sensors.
#include "ctl/commands.h"
#include "ctl/sensor_select.h"

CtlExit CmdSensors(const Options &options, const Console &console)
{
    CtlExit status = kExitDone;
    Answers answers(options, console, kSensorsForm, Answers::Shape::ManyRows);
    ViewReader reader;
    for (const Server &server : CommandServers(options)) {
        const ServerView *view =
            CommandReadHost(options, console, server, kViewSystem | kViewSensors, &reader, &status);
        if (view == nullptr)
            continue;
        const SensorSelection selected = SensorsSelected(options, *view);
        if (!selected.wrongTarget.empty()) {
            status = CommandBoth(
                status, CommandFailed(options, console, server, kExitFailed, selected.wrongTarget));
            continue;
        }
        std::vector<Row> rows;
        for (const ModelSensor &sensor : selected.sensors)
            rows.push_back(SensorRow(server.name, sensor));
        answers.Add(server, rows);
    }
    return answers.End(status);
}
