// SPDX-License-Identifier: Apache-2.0
// health.cpp -- see health.h.
#include "ctl/health.h"

#include <set>

namespace
{

constexpr Column kColumns[] = {
    // clang-format off
    {"server",      nullptr,     false},
    {"health",      "HEALTH",    false},
    {"service",     "SERVICE",   false},
    {"up",          "UP",        false},
    {"source",      "SOURCE",    false},
    {"power",       "POWER",     false},
    {"sensors",     "SENSORS",   true},
    {"warnings",    "WARNINGS",  true},
    {"criticals",   "CRITICALS", true},
    {"unknowns",    "UNKNOWNS",  true},
    {"message",     "MESSAGE",   false},
    {"age_seconds", "AGE",       true},
    {"sessions",    "SESSIONS",  true},
    // clang-format on
};

// Text is what plug-ins may write: no bar, which begins the figures.
std::string PluginText(std::string text)
{
    for (char &c : text)
        c = c == '|' ? '/' : c;
    return text;
}

// What is right, as plug-ins write it: "3:42", "3:" without an upper limit. A number alone would
// begin at 0, so that a limit above alone is "~:42".
std::string Range(const Value &low, const Value &high)
{
    if (low.IsNull() && high.IsNull())
        return "";
    return (low.IsNull() ? "~" : low.text) + ":" + high.text;
}

// Figures are digits, a point and a sign: there is no exponent.
bool IsFigure(const Value &value)
{
    return !value.IsNull() && value.text.find('e') == std::string::npos;
}

Value FigureOrNothing(const Value &value)
{
    return IsFigure(value) ? value : Value();
}

// What a sensor is called for people: by its target where it has no name.
const std::string &NameOf(const ModelSensor &sensor)
{
    return sensor.name.text.empty() ? sensor.target : sensor.name.text;
}

// "'Inlet Temp'=23;3:42;-7:47": the figure of a sensor with a reading.
std::string Figure(const std::string &label, const ModelSensor &sensor)
{
    std::string name;
    for (const char c : label)
        name.append(c == '\'' ? 2 : 1, c);
    const std::string warning =
        Range(FigureOrNothing(sensor.lowerWarning), FigureOrNothing(sensor.upperWarning));
    const std::string critical =
        Range(FigureOrNothing(sensor.lowerCritical), FigureOrNothing(sensor.upperCritical));
    std::string figure = "'" + name + "'=" + sensor.reading.text;
    if (!warning.empty() || !critical.empty())
        figure += ";" + warning;
    return critical.empty() ? figure : figure + ";" + critical;
}

// The figures of all sensors. What draws them knows each by its label alone: of sensors with the
// same name the second and those behind it have their targets for labels.
std::string Figures(const std::vector<ModelSensor> &sensors)
{
    std::set<std::string> labels;
    std::string figures;
    for (const ModelSensor &sensor : sensors) {
        if (!IsFigure(sensor.reading))
            continue;
        std::string label = NameOf(sensor);
        std::erase_if(label, [](char c) { return c == '=' || c == '|'; });
        if (label.empty() || !labels.insert(label).second)
            label = sensor.target;
        figures += " " + Figure(label, sensor);
    }
    return figures;
}

std::string Message(const ServerHealth &health)
{
    if (!health.serves)
        return health.reason;
    if (health.silent)
        return "the source is silent";
    return health.power.text == "off" ? "the host is off" : "";
}

}  // namespace

const SheetForm kHealthForm = {"health", kColumns};

ServerHealth HealthOf(const ServerView *view, const std::string &reason)
{
    ServerHealth health;
    health.reason = reason;
    if (view == nullptr)
        return health;
    const ModelSystem system = ModelSystemOf(*view);
    health.serves = true;
    health.service = view->service;
    health.power = system.power;
    health.silent = !system.readable;
    for (const ViewSource &source : view->sources) {
        health.source += (health.source.empty() ? "" : ",") + TextValue(source.name).text;
        if (source.ageSeconds && source.ageSeconds > health.age)
            health.age = source.ageSeconds;
    }
    for (const ModelSensor &sensor : ModelSensorsOf(*view)) {
        ++health.sensors;
        health.warnings += sensor.health == Health::Warning ? 1 : 0;
        health.criticals += sensor.health == Health::Critical ? 1 : 0;
        health.unknowns += sensor.health == Health::Unknown ? 1 : 0;
    }
    // A sensor without a state is common (an empty slot) and no fault of the server.
    if (!health.silent)
        health.health = health.criticals != 0  ? Health::Critical
                        : health.warnings != 0 ? Health::Warning
                                               : Health::Ok;
    return health;
}

Row HealthRow(const Value &server, const ServerHealth &health)
{
    const auto text = [](const std::string &value) {
        return value.empty() ? Value() : TextValue(value);
    };
    return {server,
            TextValue(HealthName(health.health)),
            text(health.service),
            FlagValue(health.serves && !health.silent),
            text(health.source),
            health.power,
            IntegerValue(health.sensors),
            IntegerValue(health.warnings),
            IntegerValue(health.criticals),
            IntegerValue(health.unknowns),
            text(Message(health)),
            health.age ? SecondsValue(*health.age) : Value(),
            health.sessions ? IntegerValue(*health.sessions) : Value()};
}

std::string HealthPluginLine(const ServerHealth &health, const std::vector<ModelSensor> &sensors)
{
    static constexpr const char *kWords[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
    std::string line = std::string("SMCLP ") + kWords[static_cast<size_t>(health.health)] + " - ";
    const u32 bad = health.criticals + health.warnings;
    const std::string message = Message(health);
    if (!message.empty())
        line += message;
    else if (bad == 0)
        line += std::to_string(health.sensors) + " sensors";
    else
        line += std::to_string(bad) + " of " + std::to_string(health.sensors) + " sensors: ";
    std::string list;
    for (const Health wanted : {Health::Critical, Health::Warning}) {
        for (const ModelSensor &sensor : sensors) {
            if (sensor.health != wanted)
                continue;
            list += (list.empty() ? "" : ", ") + NameOf(sensor);
            if (!sensor.reading.IsNull())
                list += " " + sensor.reading.text + " " + sensor.unit.text;
            list += " (" + sensor.state.text + ")";
        }
    }
    line = PluginText(line + list);
    const std::string figures = Figures(sensors);
    return figures.empty() ? line : line + " |" + figures;
}
