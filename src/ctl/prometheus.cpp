// SPDX-License-Identifier: Apache-2.0
// prometheus.cpp -- see prometheus.h.
#include "ctl/prometheus.h"

#include "ctl/model.h"

#include <string.h>

namespace
{

constexpr char kUp[] = "smclp_up";
constexpr char kAge[] = "smclp_source_age_seconds";
constexpr char kPower[] = "smclp_chassis_power_on";
constexpr char kRecords[] = "smclp_log_records";
constexpr char kOtherValue[] = "smclp_sensor_value";
constexpr char kOtherState[] = "smclp_sensor_state";

// In the order of the text.
struct MetricRow {
    const char *name;
    const char *help;
};
constexpr MetricRow kMetrics[] = {
    {kUp, "Whether the service answers and hears its source."},
    {kAge, "Seconds since the source was last heard."},
    {kPower, "Whether the host is switched on."},
    {kRecords, "Records in the event log."},
    {"smclp_temperature_celsius", "Temperature in degrees Celsius."},
    {"smclp_temperature_state", "State of a temperature sensor: 0 ok, 1 warning, 2 critical."},
    {"smclp_fan_speed_rpm", "Fan speed in revolutions per minute."},
    {"smclp_fan_speed_state", "State of a fan sensor: 0 ok, 1 warning, 2 critical."},
    {"smclp_voltage_volts", "Voltage in volts."},
    {"smclp_voltage_state", "State of a voltage sensor: 0 ok, 1 warning, 2 critical."},
    {"smclp_current_amperes", "Current in amperes."},
    {"smclp_current_state", "State of a current sensor: 0 ok, 1 warning, 2 critical."},
    {"smclp_power_watts", "Power in watts."},
    {"smclp_power_state", "State of a power sensor: 0 ok, 1 warning, 2 critical."},
    {kOtherValue, "Reading of a sensor in the unit that its label says."},
    {kOtherState, "State of a sensor of the type in its label: 0 ok, 1 warning, 2 critical."},
};

struct KindRow {
    const char *kind;
    const char *unit;
    const char *value;
    const char *state;
};
constexpr KindRow kKinds[] = {
    {"temperature", "C", "smclp_temperature_celsius", "smclp_temperature_state"},
    {"fan", "RPM", "smclp_fan_speed_rpm", "smclp_fan_speed_state"},
    {"voltage", "V", "smclp_voltage_volts", "smclp_voltage_state"},
    {kCurrentKindName, "A", "smclp_current_amperes", "smclp_current_state"},
    {kPowerKindName, "W", "smclp_power_watts", "smclp_power_state"},
};

const KindRow *FindKind(const char *name)
{
    for (const KindRow &row : kKinds) {
        if (strcmp(row.kind, name) == 0)
            return &row;
    }
    return nullptr;
}

std::string LabelText(std::string_view text)
{
    std::string label;
    for (const char c : text) {
        if (c == '"' || c == '\\')
            label.append(1, '\\').append(1, c);
        else
            label += c;  // no line break is in a Value
    }
    return label;
}

}  // namespace

void PrometheusText::AddLine(const char *metric, const Labels &labels, const std::string &number)
{
    std::string list;
    for (const auto &label : labels) {
        if (!label.second.empty())
            list.append(list.empty() ? "" : ",")
                .append(label.first)
                .append("=\"")
                .append(LabelText(label.second) + "\"");
    }
    std::string &lines = lines_[metric];
    lines += metric;
    if (!list.empty())
        lines.append("{").append(list).append("}");
    lines.append(" ").append(number).append("\n");
}

void PrometheusText::Add(const Value &server, const ServerView *view)
{
    const ModelSystem system = view != nullptr ? ModelSystemOf(*view) : ModelSystem();
    AddLine(kUp, {{"server", server.text}}, system.readable ? "1" : "0");
    if (view == nullptr)
        return;
    for (const ViewSource &source : view->sources) {
        if (source.ageSeconds)
            AddLine(kAge, {{"server", server.text}, {"source", TextValue(source.name).text}},
                    SecondsValue(*source.ageSeconds).text);
    }
    if (!system.readable)
        return;
    AddLine(kPower, {{"server", server.text}}, system.IsOn() ? "1" : "0");
    if (!system.records.IsNull())
        AddLine(kRecords, {{"server", server.text}}, system.records.text);
    for (const ModelSensor &sensor : ModelSensorsOf(*view)) {
        const Labels labels = {
            {"server", server.text}, {"name", sensor.name.text}, {"target", sensor.target}};
        Labels typed = labels;
        typed.push_back({"type", sensor.kindName});
        const KindRow *kind = FindKind(sensor.kindName);
        if (sensor.health != Health::Unknown) {
            AddLine(kind != nullptr ? kind->state : kOtherState, kind != nullptr ? labels : typed,
                    std::to_string(static_cast<int>(sensor.health)));
        }
        if (sensor.reading.IsNull())
            continue;
        if (kind != nullptr && sensor.unit.text == kind->unit) {
            AddLine(kind->value, labels, sensor.reading.text);
            continue;
        }
        typed.push_back({"unit", sensor.unit.text});
        AddLine(kOtherValue, typed, sensor.reading.text);
    }
}

std::string PrometheusText::Text() const
{
    std::string text;
    for (const MetricRow &metric : kMetrics) {
        const auto lines = lines_.find(metric.name);
        if (lines == lines_.end())
            continue;
        text.append("# HELP ").append(metric.name).append(" ").append(metric.help);
        text.append("\n# TYPE ").append(metric.name).append(" gauge\n").append(lines->second);
    }
    return text;
}
