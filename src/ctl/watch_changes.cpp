// SPDX-License-Identifier: Apache-2.0
// watch_changes.cpp -- see watch_changes.h.
#include "ctl/watch_changes.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace
{

constexpr Column kColumns[] = {
    {"server", nullptr, false}, {"time", "TIME", false}, {"target", nullptr, false},
    {"name", "NAME", false},    {"what", "WHAT", false}, {"from", "FROM", true},
    {"to", "TO", true},         {"unit", "UNIT", false}, {"health", "HEALTH", false},
};

class Changes
{
public:
    Changes(const Value &server, i64 time) : server_(server), time_(TimeValue(time)) {}

    void Add(const char *what, const Value &from, const Value &to, const ModelSensor *sensor)
    {
        if (from == to)
            return;
        const bool reading = sensor != nullptr && std::string_view(what) == "reading";
        rows.push_back({server_, time_, sensor != nullptr ? TextValue(sensor->target) : Value(),
                        sensor != nullptr ? sensor->name : Value(), TextValue(what), from, to,
                        reading ? sensor->unit : Value(),
                        sensor != nullptr ? TextValue(HealthName(sensor->health)) : Value()});
    }

    std::vector<Row> rows;

private:
    Value server_;
    Value time_;
};

}  // namespace

const SheetForm kWatchForm = {"changes", kColumns};

std::vector<Row> WatchChanges(const Value &server, i64 time, const WatchLook &before,
                              const WatchLook &after)
{
    Changes changes(server, time);
    changes.Add("service", FlagValue(before.serves), FlagValue(after.serves), nullptr);
    changes.Add("power", before.system.power, after.system.power, nullptr);
    std::unordered_map<std::string, const ModelSensor *> old;
    for (const ModelSensor &sensor : before.sensors)
        old[sensor.target] = &sensor;
    for (const ModelSensor &sensor : after.sensors) {
        const auto known = old.find(sensor.target);
        const ModelSensor none;
        const ModelSensor &from = known != old.end() ? *known->second : none;
        changes.Add("reading", from.reading, sensor.reading, &sensor);
        changes.Add("state", from.state, sensor.state, &sensor);
        if (known != old.end())
            old.erase(known);
    }
    for (const ModelSensor &sensor : before.sensors) {
        if (old.count(sensor.target) == 0)
            continue;
        changes.Add("reading", sensor.reading, {}, &sensor);
        changes.Add("state", sensor.state, {}, &sensor);
    }
    return changes.rows;
}

std::string WatchCourse(const std::vector<double> &readings)
{
    static constexpr const char *kHeights[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    if (readings.empty())
        return "";
    const auto [low, high] = std::minmax_element(readings.begin(), readings.end());
    std::string course;
    for (const double reading : readings) {
        const double part = *high > *low ? (reading - *low) / (*high - *low) : 0;
        course += kHeights[std::lround(part * 7)];
    }
    return course;
}

std::string WatchFit(const std::string &text, size_t columns, size_t rows)
{
    const size_t lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    // Behind the last line the cursor needs one of its own.
    const bool cut = rows > 2 && lines > rows - 1;
    const size_t most = cut ? rows - 2 : lines;
    std::string fit;
    size_t line = 0;
    size_t shown = 0;
    bool color = false;  // within an escape sequence, which takes no room
    for (size_t i = 0; i < text.size() && line < most; ++i) {
        const char c = text[i];
        if (c == '\n') {
            ++line;
            shown = 0;
        }
        color = color || c == '\x1b';
        shown += c != '\n' && !color && (static_cast<u8>(c) & 0xc0) != 0x80 ? 1 : 0;
        if (c == '\n' || color || columns == 0 || shown <= columns)
            fit += c;
        color = color && c != 'm';
    }
    if (cut)
        fit += "... " + std::to_string(lines - most) + " more\n";
    return fit;
}
