// SPDX-License-Identifier: Apache-2.0
// model.cpp -- see model.h.
#include "ctl/model.h"

#include "ctl/calendar.h"
#include "objmgr/schema.h"

#include <algorithm>
#include <charconv>

namespace
{

constexpr u32 kMostRecords = 65535;  // the shell counts records in 16 bits

// A decimal number that is the whole text; 0 for anything else: numbers of instances begin at 1.
u32 WholeNumber(std::string_view text)
{
    u32 number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() ? number : 0;
}

// The number at the end of a key that begins with `prefix`; 0: it does not.
u32 NumberInKey(std::string_view key, std::string_view prefix)
{
    return key.starts_with(prefix) ? WholeNumber(key.substr(prefix.size())) : 0;
}

const ViewInstance *Find(const ServerView &view, std::string_view key)
{
    for (const ViewInstance &instance : view.instances) {
        if (instance.key == key)
            return &instance;
    }
    return nullptr;
}

// The instances whose keys are a prefix and a number, in the order of those.
struct Numbered {
    u32 number;
    const ViewInstance *instance;
};

std::vector<Numbered> FindNumbered(const ServerView &view, std::string_view prefix)
{
    std::vector<Numbered> found;
    for (const ViewInstance &instance : view.instances) {
        if (const u32 number = NumberInKey(instance.key, prefix))
            found.push_back({number, &instance});
    }
    std::sort(found.begin(), found.end(),
              [](const Numbered &a, const Numbered &b) { return a.number < b.number; });
    return found;
}

Value TextOf(const ViewInstance &instance, std::string_view property)
{
    const auto text = ViewText(instance, property);
    return text ? TextValue(*text) : Value();
}

// Where the text names the unit, too ("23 %" of a fan), the number before it.
Value NumberOf(const ViewInstance &instance, std::string_view property)
{
    const auto text = ViewText(instance, property);
    if (!text)
        return {};
    std::string_view number = *text;
    const std::string_view unit = instance.unit;
    if (!unit.empty() && number.ends_with(unit)) {
        number.remove_suffix(unit.size());
        if (!number.ends_with(' '))
            return {};
        number.remove_suffix(1);
    }
    return NumberFromText(number);
}

// As the shell reads codes: what is no number, or does not fit, is 0.
u8 CodeOf(const ViewInstance &instance, std::string_view property)
{
    const auto text = ViewText(instance, property);
    const u32 code = text ? WholeNumber(*text) : 0;
    return code <= UINT8_MAX ? static_cast<u8>(code) : 0;
}

Value AgeValue(std::optional<double> age)
{
    return age ? SecondsValue(*age) : Value();
}

// "ON" is on; "OFF" in any case, and "0", are off, as the shell sees it.
Value PowerOf(const ViewInstance &system)
{
    const auto text = ViewText(system, kPropertyPowerStatus);
    if (!text)
        return {};
    Value power = TextValue(*text);
    for (char &c : power.text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (power.text == "0")
        power.text = "off";
    return power;
}

void SetState(const ViewInstance &instance, ModelSensor *sensor)
{
    const SensorKind &kind = *sensor->kind;
    if (kind.state == StateFrom::StateValue) {
        const auto text = ViewText(instance, kPropertyStateValue);
        if (!text)
            return;
        const u32 number = WholeNumber(*text);
        const SensorCode *code = kind.otherCode;
        for (const SensorCode &row : kind.codes) {
            if (row.code == number)
                code = &row;
        }
        sensor->state = TextValue(code->word);
        sensor->health = code->health;
        return;
    }
    sensor->state =
        TextOf(instance, kind.state == StateFrom::State ? kPropertyState : kPropertyStatusText);
    sensor->health = HealthOfState(sensor->state.text);
}

ModelSensor SensorOf(const ServerView &view, const Numbered &row, const SensorKind *kind)
{
    const ViewInstance &instance = *row.instance;
    ModelSensor sensor;
    sensor.index = row.number;
    sensor.kind = kind;
    sensor.name = TextOf(instance, kPropertyName);
    sensor.kindName = SensorKindName(*kind, sensor.name.text);
    if (kind->unit != nullptr) {
        sensor.reading = NumberOf(instance, kPropertyReading);
        const bool amperes = sensor.kindName == kCurrentKindName;
        sensor.unit = TextValue(!instance.unit.empty() ? SensorUnit(instance.unit)
                                : amperes              ? std::string_view("A")
                                                       : kind->unit);
        sensor.lowerCritical = NumberOf(instance, kPropertyFailThresholdMin);
        sensor.lowerWarning = NumberOf(instance, kPropertyWarningThresholdMin);
        sensor.upperWarning = NumberOf(instance, kPropertyWarningThresholdMax);
        sensor.upperCritical = NumberOf(instance, kPropertyFailThresholdMax);
    }
    SetState(instance, &sensor);
    sensor.age = ViewAge(view, instance);
    sensor.source = instance.source;
    return sensor;
}

ModelRecord RecordOf(u32 number, const ViewInstance *instance)
{
    ModelRecord record;
    record.number = number;
    if (instance == nullptr)
        return record;
    record.description = TextOf(*instance, kPropertyDescription);
    const auto digits = ViewText(*instance, kPropertyTimestamp);
    record.time = digits ? ModelTimeOfDigits(*digits) : std::nullopt;
    record.boot = digits && digits->find("System Boot") != std::string_view::npos;
    return record;
}

constexpr Column kSensorColumns[] = {
    // clang-format off
    {"server",         nullptr,    false},
    {"name",           "NAME",     false},
    {"target",         nullptr,    false},
    {"type",           "TYPE",     false},
    {"reading",        "READING",  true},
    {"unit",           "UNIT",     false},
    {"state",          "STATE",    false},
    {"health",         "HEALTH",   false},
    {"lower_critical", "LOW CRIT", true},
    {"lower_warning",  "LOW WARN", true},
    {"upper_warning",  "UP WARN",  true},
    {"upper_critical", "UP CRIT",  true},
    {"age_seconds",    "AGE",      true},
    // clang-format on
};

constexpr Column kSystemColumns[] = {
    // clang-format off
    {"server",      nullptr,       false},
    {"service_tag", "SERVICE TAG", false},
    {"host_name",   "HOST NAME",   false},
    {"description", "DESCRIPTION", false},
    {"power",       "POWER",       false},
    {"records",     "RECORDS",     true},
    {"service",     "SERVICE",     false},
    {"age_seconds", "AGE",         true},
    // clang-format on
};

constexpr Column kLogColumns[] = {
    // clang-format off
    {"server",          nullptr,       false},
    {"record",          "RECORD",      true},
    {"target",          nullptr,       false},
    {"time",            "TIME",        false},
    {"boot",            "BOOT",        false},
    {"description",     "DESCRIPTION", false},
    {"archived_record", nullptr,       true},
    {"archived_target", nullptr,       false},
    // clang-format on
};

constexpr Column kArchiveColumns[] = {
    // clang-format off
    {"server",          nullptr,       false},
    {"record",          "RECORD",      true},
    {"target",          nullptr,       false},
    {"time",            "TIME",        false},
    {"boot",            "BOOT",        false},
    {"description",     "DESCRIPTION", false},
    {"archived_record", "WAS",         true},
    {"archived_target", nullptr,       false},
    // clang-format on
};

Value RecordNumber(u32 number)
{
    return number == 0 ? Value() : IntegerValue(number);
}

Value RecordTarget(u32 number)
{
    return number == 0 ? Value() : TextValue("/system1/logs1/log1/record" + std::to_string(number));
}

}  // namespace

const SheetForm kSensorsForm = {"sensors", kSensorColumns};
const SheetForm kSystemForm = {"systems", kSystemColumns};
const SheetForm kLogForm = {"records", kLogColumns};
const SheetForm kArchiveForm = {"records", kArchiveColumns};

std::optional<i64> ModelTimeOfDigits(std::string_view digits)
{
    if (digits.size() != 14 ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    const auto field = [&](size_t at, size_t length) {
        return WholeNumber(digits.substr(at, length));
    };
    return CalendarSeconds({.year = field(0, 4),
                            .month = field(4, 2),
                            .day = field(6, 2),
                            .hour = field(8, 2),
                            .minute = field(10, 2),
                            .second = field(12, 2)});
}

ModelSystem ModelSystemOf(const ServerView &view)
{
    ModelSystem system;
    const ViewInstance *host = Find(view, kSystemClass);
    if (host == nullptr)
        return system;
    system.serviceTag = TextOf(*host, kPropertyServiceTag);
    system.hostName = TextOf(*host, kPropertyHostName);
    system.description = TextOf(*host, kPropertyDescription);
    system.power = PowerOf(*host);
    system.age = ViewAge(view, *host);
    system.readable = !system.power.IsNull();
    if (const ViewInstance *log = Find(view, kSelPath.text))
        system.records = NumberOf(*log, kPropertyNumRecords);
    return system;
}

std::vector<ModelSensor> ModelSensorsOf(const ServerView &view)
{
    std::vector<ModelSensor> sensors;
    const ViewInstance *host = Find(view, kSystemClass);
    if (host == nullptr)
        return sensors;
    const Value power = PowerOf(*host);
    if (power.IsNull() || power.text == "off")
        return sensors;
    const std::span<const SensorKind> kinds = SensorKinds();
    std::vector<u32> numbers(kinds.size());
    u32 index = 0;
    const std::vector<Numbered> rows = FindNumbered(view, kSensorPathHead.text);
    sensors.reserve(rows.size());
    for (const Numbered &row : rows) {
        if (row.number != ++index || row.instance->status != kCimOk)
            break;
        const SensorKind *kind = SensorKindOf(CodeOf(*row.instance, kPropertyType),
                                              CodeOf(*row.instance, kPropertyFormat));
        if (kind == nullptr)
            continue;
        ModelSensor sensor = SensorOf(view, row, kind);
        sensor.number = ++numbers[static_cast<size_t>(kind - kinds.data())];
        sensor.target = std::string("/system1/") + kind->collection + "/" + kind->element +
                        std::to_string(sensor.number);
        sensors.push_back(std::move(sensor));
    }
    return sensors;
}

std::vector<ModelRecord> ModelRecordsOf(const ServerView &view)
{
    std::vector<ModelRecord> records;
    const ViewInstance *log = Find(view, kSelPath.text);
    const auto count = log != nullptr ? ViewText(*log, kPropertyNumRecords) : std::nullopt;
    if (!count)
        return records;
    const u32 most = std::min(WholeNumber(*count), kMostRecords);
    const std::vector<Numbered> found = FindNumbered(view, kLogRecordPathHead.text);
    auto next = found.begin();
    for (u32 number = 1; number <= most; ++number) {
        while (next != found.end() && next->number < number)
            ++next;
        const bool there = next != found.end() && next->number == number;
        records.push_back(RecordOf(number, there ? next->instance : nullptr));
    }
    return records;
}

Row SensorRow(const Value &server, const ModelSensor &sensor)
{
    return {server,
            sensor.name,
            TextValue(sensor.target),
            TextValue(sensor.kindName),
            sensor.reading,
            sensor.unit,
            sensor.state,
            TextValue(HealthName(sensor.health)),
            sensor.lowerCritical,
            sensor.lowerWarning,
            sensor.upperWarning,
            sensor.upperCritical,
            AgeValue(sensor.age)};
}

Row SystemRow(const Value &server, const ServerView &view, const ModelSystem &system)
{
    return {server,
            system.serviceTag,
            system.hostName,
            system.description,
            system.power,
            system.records,
            view.service.empty() ? Value() : TextValue(view.service),
            AgeValue(system.age)};
}

Row RecordRow(const Value &server, const ModelRecord &record)
{
    return {server,
            RecordNumber(record.number),
            RecordTarget(record.number),
            record.time ? TimeValue(*record.time) : Value(),
            FlagValue(record.boot),
            record.description,
            RecordNumber(record.archived),
            RecordTarget(record.archived)};
}
