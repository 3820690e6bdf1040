// SPDX-License-Identifier: Apache-2.0
// sensor_select.cpp -- see sensor_select.h.
#include "ctl/sensor_select.h"

#include <algorithm>
#include <charconv>

namespace
{

constexpr std::string_view kSystemTarget = "/system1";
constexpr std::string_view kRecordTargetHead = "/system1/logs1/log1/record";

// What else the shell's tree has; the records come besides.
struct OtherTarget {
    std::string_view target;
    const char *what;
};
constexpr OtherTarget kOtherTargets[] = {
    {"/system1/logs1", "the logs"},
    {"/system1/logs1/log1", "the event log"},
    {"/system1/pwrmgtsvc1", "the power management"},
    {"/system1/pwrmgtsvc1/pwrmgtcap1", "what the power management can do"},
    {"/system1/chassis1", "the chassis"},
};

bool IsAtOrBelow(std::string_view target, std::string_view above)
{
    return above == "/" || target == above ||
           (target.starts_with(above) && target[above.size()] == '/');
}

// The collection of sensors that a target is or stands in; empty: none.
std::string CollectionOf(std::string_view target)
{
    for (const SensorKind &kind : SensorKinds()) {
        std::string collection = std::string(kSystemTarget) + "/" + kind.collection;
        if (IsAtOrBelow(target, collection))
            return collection;
    }
    return "";
}

// What stands at a target that is no sensor's and no collection's; null: nothing.
const char *OtherThingAt(std::string_view target, const ModelSystem &system)
{
    for (const OtherTarget &other : kOtherTargets) {
        if (target == other.target)
            return other.what;
    }
    if (!target.starts_with(kRecordTargetHead))
        return nullptr;
    const std::string_view digits = target.substr(kRecordTargetHead.size());
    u32 number = 0;
    const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool there = end.ec == std::errc() && end.ptr == digits.data() + digits.size() &&
                       number >= 1 && number <= NumberOfValue(system.records);
    return there ? "a record of the event log" : nullptr;
}

// Why there is no sensor at a target, nor below it; empty: there could be one.
std::string WrongTarget(const std::string &target, const ModelSystem &system)
{
    const std::string collection = CollectionOf(target);
    if (target == "/" || target == kSystemTarget || target == collection)
        return "";
    if (const char *what = OtherThingAt(target, system))
        return target + " is " + what + ": no sensors there";
    const bool off = system.IsOff() && !collection.empty();
    return "no such target: " + target + (off ? " (the host is off: it has no sensors)" : "");
}

}  // namespace

SensorSelection SensorsSelected(const Options &options, const ServerView &view)
{
    SensorSelection selected = {ModelSensorsOf(view), ""};
    std::vector<ModelSensor> &sensors = selected.sensors;
    if (!options.target.empty()) {
        std::erase_if(sensors, [&](const ModelSensor &sensor) {
            return !IsAtOrBelow(sensor.target, options.target);
        });
        if (sensors.empty()) {
            const ModelSystem system = ModelSystemOf(view);
            if (system.readable)
                selected.wrongTarget = WrongTarget(options.target, system);
        }
    }
    std::erase_if(sensors, [&](const ModelSensor &sensor) {
        return !options.types.empty() && std::find(options.types.begin(), options.types.end(),
                                                   sensor.kindName) == options.types.end();
    });
    return selected;
}
