// SPDX-License-Identifier: Apache-2.0
// cmd_watch.cpp -- watch: what changes, line by line; on a terminal a table that renews itself.
#include "ctl/commands.h"
#include "ctl/sensor_select.h"
#include "ctl/watch_changes.h"

#include <map>
#include <stdlib.h>
#include <sys/ioctl.h>

namespace
{

constexpr size_t kCoursePlaces = 24;
constexpr char kHome[] = "\x1b[H\x1b[J";  // the cursor to the first place, all behind it away

constexpr Column kTableColumns[] = {
    {"server", nullptr, false},  {"name", "NAME", false},   {"reading", "READING", true},
    {"unit", "UNIT", false},     {"state", "STATE", false}, {"health", "HEALTH", false},
    {"course", "COURSE", false},
};
constexpr SheetForm kTableForm = {"watch", kTableColumns};

// One look, and what is wrong with it: nobody serves, the source is silent, there is no such
// target. Any of these may change, so that a watch goes on.
struct Seen {
    WatchLook look;
    CtlExit status = kExitDone;
    std::string wrong;
};

Seen Look(const Options &options, const Server &server, ViewReader *reader)
{
    const ServerView *view = reader->Read(server.directory, kViewSystem | kViewSensors);
    if (view == nullptr)
        return {{}, reader->Exit(), reader->Reason()};
    SensorSelection selected = SensorsSelected(options, *view);
    Seen seen = {{true, ModelSystemOf(*view), std::move(selected.sensors)}, kExitDone, ""};
    if (!seen.look.system.readable)
        seen = {std::move(seen.look), kExitSilent, "the source is silent"};
    else if (!selected.wrongTarget.empty())
        seen = {std::move(seen.look), kExitFailed, selected.wrongTarget};
    return seen;
}

// Waits between looks; false: they are over.
bool NextLook(const Options &options, u32 *looks)
{
    if (++*looks == options.count)
        return false;
    CommandSleepMs(options.intervalMs);
    return true;
}

CtlExit Lines(const Options &options, const Console &console)
{
    const std::vector<Server> servers = CommandServers(options);
    std::vector<WatchLook> last(servers.size());
    Answers answers(options, console, kWatchForm, Answers::Shape::ManyRows);
    answers.Stream();
    ViewReader reader;
    u32 looks = 0;
    CtlExit status = kExitDone;
    do {
        status = kExitDone;
        for (size_t i = 0; i < servers.size(); ++i) {
            Seen seen = Look(options, servers[i], &reader);
            status = CommandBoth(status, seen.status);
            // The first look is what is compared with, and what is wrong with it is said.
            if (looks != 0)
                answers.Add(servers[i],
                            WatchChanges(servers[i].name, CommandTime(), last[i], seen.look));
            else if (seen.status != kExitDone)
                CommandFailed(options, console, servers[i], seen.status, seen.wrong);
            last[i] = std::move(seen.look);
        }
    } while (ferror(console.out) == 0 && CommandIsRead(console) && NextLook(options, &looks));
    return answers.End(status);
}

class Table
{
public:
    Table(const Options &options, const Console &console) : options_(options), console_(console) {}

    // status: what the look ends with where it is the last.
    bool Show(const std::vector<Server> &servers, ViewReader *reader, CtlExit *status)
    {
        *status = kExitDone;
        char *text = nullptr;
        size_t size = 0;
        FILE *memory = open_memstream(&text, &size);
        if (memory == nullptr)
            return false;
        Output output(memory, OutputFormat::Table, kTableForm, 0, console_.color);
        if (options_.several)
            output.ShowServers();
        for (const Server &server : servers) {
            const Seen seen = Look(options_, server, reader);
            *status = CommandBoth(*status, seen.status);
            if (seen.status != kExitDone)
                output.Title((server.name.IsNull() ? "" : server.name.text + ": ") + seen.wrong);
            for (const ModelSensor &sensor : seen.look.sensors)
                output.Add({server.name, sensor.name, sensor.reading, sensor.unit, sensor.state,
                            TextValue(HealthName(sensor.health)),
                            TextValue(Course(server, sensor))});
        }
        output.End();
        fclose(memory);
        winsize window = {};  // asked each time: windows are resized
        ioctl(fileno(console_.out), TIOCGWINSZ, &window);
        fputs((kHome + WatchFit({text, size}, window.ws_col, window.ws_row)).c_str(), console_.out);
        free(text);
        return fflush(console_.out) == 0 && ferror(console_.out) == 0;
    }

private:
    std::string Course(const Server &server, const ModelSensor &sensor)
    {
        std::vector<double> &readings = courses_[server.name.text + sensor.target];
        if (!sensor.reading.IsNull())
            readings.push_back(NumberOfValue(sensor.reading));
        if (readings.size() > kCoursePlaces)
            readings.erase(readings.begin());
        return WatchCourse(readings);
    }

    const Options &options_;
    const Console &console_;
    std::map<std::string, std::vector<double>> courses_;
};

}  // namespace

CtlExit CmdWatch(const Options &options, const Console &console)
{
    if (!console.terminal || options.format != OutputFormat::Table)
        return Lines(options, console);
    Table table(options, console);
    const std::vector<Server> servers = CommandServers(options);
    ViewReader reader;
    u32 looks = 0;
    CtlExit status = kExitDone;
    while (table.Show(servers, &reader, &status)) {
        if (!NextLook(options, &looks))
            return status;
    }
    return kExitFailed;
}
