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

// wrong: why there is nothing to watch; empty: there is.
WatchLook Look(const Options &options, const Server &server, ViewReader *reader, std::string *wrong)
{
    WatchLook look;
    const ServerView *view = reader->Read(server.directory, kViewSystem | kViewSensors);
    look.serves = view != nullptr;
    if (view == nullptr) {
        *wrong = reader->Reason();
        return look;
    }
    look.system = ModelSystemOf(*view);
    SensorSelection selected = SensorsSelected(options, *view);
    look.sensors = std::move(selected.sensors);
    *wrong = selected.wrongTarget;
    return look;
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
    do {
        for (size_t i = 0; i < servers.size(); ++i) {
            std::string wrong;
            WatchLook look = Look(options, servers[i], &reader, &wrong);
            // The first look is what is compared with. That nobody serves is said, or that there is
            // no such target; either may come yet.
            if (looks != 0)
                answers.Add(servers[i],
                            WatchChanges(servers[i].name, CommandTime(), last[i], look));
            else if (!wrong.empty())
                CommandFailed(options, console, servers[i],
                              look.serves ? kExitFailed : reader.Exit(), wrong);
            last[i] = std::move(look);
        }
    } while (ferror(console.out) == 0 && CommandIsRead(console) && NextLook(options, &looks));
    return answers.End(kExitDone);
}

class Table
{
public:
    Table(const Options &options, const Console &console) : options_(options), console_(console) {}

    bool Show(const std::vector<Server> &servers, ViewReader *reader)
    {
        char *text = nullptr;
        size_t size = 0;
        FILE *memory = open_memstream(&text, &size);
        if (memory == nullptr)
            return false;
        Output output(memory, OutputFormat::Table, kTableForm, 0, console_.color);
        if (options_.several)
            output.ShowServers();
        for (const Server &server : servers) {
            std::string wrong;
            const WatchLook look = Look(options_, server, reader, &wrong);
            if (!wrong.empty())
                output.Title((server.name.IsNull() ? "" : server.name.text + ": ") + wrong);
            for (const ModelSensor &sensor : look.sensors)
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
    while (table.Show(servers, &reader)) {
        if (!NextLook(options, &looks))
            return kExitDone;
    }
    return kExitFailed;
}
