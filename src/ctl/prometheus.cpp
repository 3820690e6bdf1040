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

// The place of a metric in the table, which has every one.
size_t MetricIndex(const char *name)
{
    size_t i = 0;
    while (strcmp(kMetrics[i].name, name) != 0)
        ++i;
    return i;
}

void AppendLabelText(std::string *list, std::string_view text)
{
    for (const char c : text) {
        if (c == '"' || c == '\\')
            *list += '\\';
        *list += c;  // no line break is in a Value
    }
}

}  // namespace

PrometheusText::PrometheusText() : lines_(std::size(kMetrics)) {}

void PrometheusText::AddLine(const char *metric, std::span<const Label> labels,
                             const std::string &number)
{
    std::string &lines = lines_[MetricIndex(metric)];
    lines += metric;
    const char *before = "{";
    for (const Label &label : labels) {
        if (label.text.empty())
            continue;
        lines.append(before).append(label.name).append("=\"");
        AppendLabelText(&lines, label.text);
        lines += '"';
        before = ",";
    }
    if (*before == ',')
        lines += '}';
    lines.append(" ").append(number).append("\n");
}

void PrometheusText::Add(const Value &server, const ServerView *view)
{
    const ModelSystem system = view != nullptr ? ModelSystemOf(*view) : ModelSystem();
    const Label own[] = {{"server", server.text}};
    AddLine(kUp, own, system.readable ? "1" : "0");
    if (view == nullptr)
        return;
    for (const ViewSource &source : view->sources) {
        if (!source.ageSeconds)
            continue;
        const Value name = TextValue(source.name);
        const Label labels[] = {{"server", server.text}, {"source", name.text}};
        AddLine(kAge, labels, SecondsValue(*source.ageSeconds).text);
    }
    if (!system.readable)
        return;
    AddLine(kPower, own, system.IsOn() ? "1" : "0");
    if (!system.records.IsNull())
        AddLine(kRecords, own, system.records.text);
    for (const ModelSensor &sensor : ModelSensorsOf(*view)) {
        // The last two are those of what has no metric of its own.
        const Label labels[] = {{"server", server.text},
                                {"name", sensor.name.text},
                                {"target", sensor.target},
                                {"type", sensor.kindName},
                                {"unit", sensor.unit.text}};
        const std::span<const Label> all(labels);
        const KindRow *kind = FindKind(sensor.kindName);
        if (sensor.health != Health::Unknown) {
            AddLine(kind != nullptr ? kind->state : kOtherState, all.first(kind != nullptr ? 3 : 4),
                    std::to_string(static_cast<int>(sensor.health)));
        }
        if (sensor.reading.IsNull())
            continue;
        const bool known = kind != nullptr && sensor.unit.text == kind->unit;
        AddLine(known ? kind->value : kOtherValue, known ? all.first(3) : all, sensor.reading.text);
    }
}

std::string PrometheusText::Text() const
{
    std::string text;
    for (size_t i = 0; i < lines_.size(); ++i) {
        if (lines_[i].empty())
            continue;
        const MetricRow &metric = kMetrics[i];
        text.append("# HELP ").append(metric.name).append(" ").append(metric.help);
        text.append("\n# TYPE ").append(metric.name).append(" gauge\n").append(lines_[i]);
    }
    return text;
}
