// SPDX-License-Identifier: Apache-2.0
// sensor_map.cpp -- see sensor_map.h. A kind of sensor is a row of kKinds.
#include "objmgrd/redfish/sensor_map.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <stdio.h>

namespace
{

// Readings and limits beyond this are what services say for "not known".
constexpr double kNumberMost = 1e9;

struct KindRow {
    SensorKind kind;
    u8 type;
    u8 format;
    bool numbered;  // the noun gets a number also when there is only one
    SensorSource newer;
    SensorSource older;
    const char *unit;
    const char *noun;  // the name of a sensor that has none
    const char *list;  // in the older document
};

constexpr KindRow kKinds[] = {
    {SensorKind::Temperature, 1, 1, true, SensorSource::Sensors, SensorSource::Thermal, "C",
     "Temperature", "Temperatures"},
    {SensorKind::Fan, 4, 1, true, SensorSource::Fans, SensorSource::Thermal, "RPM", "Fan", "Fans"},
    {SensorKind::Voltage, 2, 1, true, SensorSource::Sensors, SensorSource::Power, "V", "Voltage",
     "Voltages"},
    {SensorKind::Power, 3, 1, true, SensorSource::Sensors, SensorSource::Power, "W", "Power",
     "PowerControl"},
    {SensorKind::Current, 3, 1, true, SensorSource::Sensors, SensorSource::None, "A", "Current",
     ""},
    {SensorKind::Intrusion, 5, 2, false, SensorSource::Chassis, SensorSource::None, "", "Intrusion",
     ""},
    {SensorKind::Battery, 41, 2, true, SensorSource::Batteries, SensorSource::None, "", "Battery",
     ""},
    {SensorKind::Supply, 8, 2, true, SensorSource::Supplies, SensorSource::Power, "",
     "Power Supply", "PowerSupplies"},
    {SensorKind::FanRedundancy, 4, 3, false, SensorSource::ThermalSubsystem, SensorSource::Thermal,
     "", "Fan Redundancy", "Redundancy"},
    {SensorKind::SupplyRedundancy, 8, 3, false, SensorSource::PowerSubsystem, SensorSource::Power,
     "", "Power Supply Redundancy", "Redundancy"},
};

constexpr bool KindsStandInOrder()
{
    u32 number = 0;
    for (const KindRow &row : kKinds) {
        if (static_cast<u32>(row.kind) != number++)
            return false;
    }
    return number == kSensorKindCount;
}
static_assert(KindsStandInOrder(), "RowOf() uses the kind as the row's number");

const KindRow &RowOf(SensorKind kind)
{
    return kKinds[static_cast<u32>(kind)];
}

// ---- units ----

struct UnitRow {
    const char *word;
    SensorKind kind;
};

constexpr UnitRow kUnits[] = {
    {"Cel", SensorKind::Temperature},  {"C", SensorKind::Temperature},
    {"DegC", SensorKind::Temperature}, {"Celsius", SensorKind::Temperature},
    {"V", SensorKind::Voltage},        {"Volts", SensorKind::Voltage},
    {"A", SensorKind::Current},        {"Amps", SensorKind::Current},
    {"W", SensorKind::Power},          {"Watts", SensorKind::Power},
    {"RPM", SensorKind::Fan},          {"{rev}/min", SensorKind::Fan},
};

struct Unit {
    std::optional<SensorKind> kind;
    double factor = 1;  // to the kind's unit
    bool percent = false;
};

std::optional<SensorKind> UnitKind(std::string_view word)
{
    for (const UnitRow &row : kUnits) {
        if (word == row.word)
            return row.kind;
    }
    return std::nullopt;
}

Unit UnitOf(const std::string &word)
{
    if (word == "%" || word == "Percent")
        return {std::nullopt, 1, true};
    if (const auto kind = UnitKind(word))
        return {kind, 1, false};
    const std::string_view rest = std::string_view(word).substr(word.empty() ? 0 : 1);
    const auto kind = UnitKind(rest);
    const bool scaled = kind.has_value() && kind != SensorKind::Fan &&
                        kind != SensorKind::Temperature && (word[0] == 'k' || word[0] == 'm');
    if (!scaled)
        return {};
    return {kind, word[0] == 'k' ? 1000.0 : 0.001, false};
}

// ---- what every document has ----

constexpr const char *kUnavailableStates[] = {"Absent", "Disabled", "UnavailableOffline",
                                              "StandbyOffline", "Deferring"};

bool IsUnavailable(const std::string &state)
{
    return std::any_of(std::begin(kUnavailableStates), std::end(kUnavailableStates),
                       [&](const char *word) { return state == word; });
}

std::optional<double> Sane(std::optional<double> number)
{
    if (!number.has_value() || std::fabs(*number) > kNumberMost)
        return std::nullopt;
    return number;
}

std::optional<double> Scaled(std::optional<double> number, double factor)
{
    return number.has_value() ? Sane(*number * factor) : std::nullopt;
}

void TakeCommon(JsonValue object, Sensor *sensor)
{
    const JsonValue status = object["Status"];
    sensor->state = status["State"].Text();
    sensor->health = status["Health"].Text();
    sensor->told = object["Name"].Text();
    sensor->shortId = object["Id"].Text();
    if (sensor->shortId.empty())
        sensor->shortId = object["MemberId"].Text();
}

void TakeReading(std::optional<double> number, double factor, Sensor *sensor)
{
    if (!IsUnavailable(sensor->state))
        sensor->reading = Scaled(number, factor);
}

// ---- limits ----

struct LimitRow {
    SensorLimit limit;
    bool upper;
    const char *newer;  // in Thresholds
    const char *older;
};

constexpr LimitRow kLimits[] = {
    {SensorLimit::LowerCaution, false, "LowerCaution", "LowerThresholdNonCritical"},
    {SensorLimit::UpperCaution, true, "UpperCaution", "UpperThresholdNonCritical"},
    {SensorLimit::LowerCritical, false, "LowerCritical", "LowerThresholdCritical"},
    {SensorLimit::UpperCritical, true, "UpperCritical", "UpperThresholdCritical"},
    {SensorLimit::LowerFatal, false, "LowerFatal", "LowerThresholdFatal"},
    {SensorLimit::UpperFatal, true, "UpperFatal", "UpperThresholdFatal"},
};

struct Range {
    std::optional<double> least;
    std::optional<double> most;
};

// 0 is what many services write for "none".
void DropEmptyLimits(const Range &range, Sensor *sensor)
{
    const bool allZero = std::all_of(std::begin(sensor->limits), std::end(sensor->limits),
                                     [](const auto &limit) { return limit.value_or(0) == 0; });
    const bool emptyRange =
        range.least.has_value() && range.most.has_value() && *range.least >= *range.most;
    const bool endsAtZero = range.most.has_value() && *range.most <= 0 && !emptyRange;
    const bool negative = sensor->reading.has_value() && *sensor->reading < 0;
    for (const LimitRow &row : kLimits) {
        std::optional<double> &limit = sensor->limits[static_cast<u32>(row.limit)];
        if (limit != 0.0)
            continue;
        const bool counts = row.upper ? negative || endsAtZero
                                      : sensor->kind == SensorKind::Temperature && !allZero;
        if (!counts)
            limit.reset();
    }
}

void TakeNewerLimits(JsonValue document, double factor, Sensor *sensor)
{
    const JsonValue thresholds = document["Thresholds"];
    for (const LimitRow &row : kLimits) {
        const JsonValue threshold = thresholds[row.newer];
        if (!threshold["Activation"].IsText("Disabled"))
            sensor->limits[static_cast<u32>(row.limit)] =
                Scaled(threshold["Reading"].Number(), factor);
    }
    DropEmptyLimits({document["ReadingRangeMin"].Number(), document["ReadingRangeMax"].Number()},
                    sensor);
}

void TakeOlderLimits(JsonValue entry, Sensor *sensor)
{
    for (const LimitRow &row : kLimits)
        sensor->limits[static_cast<u32>(row.limit)] = Sane(entry[row.older].Number());
    const bool temperature = sensor->kind == SensorKind::Temperature;
    DropEmptyLimits({entry[temperature ? "MinReadingRangeTemp" : "MinReadingRange"].Number(),
                     entry[temperature ? "MaxReadingRangeTemp" : "MaxReadingRange"].Number()},
                    sensor);
}

// ---- states in words ----

struct WordRow {
    const char *told;
    const char *word;
};

template <typename Rows>
const char *WordOf(const Rows &rows, const std::string &told, const char *otherwise)
{
    for (const WordRow &row : rows) {
        if (told == row.told)
            return row.word;
    }
    return otherwise;
}

constexpr WordRow kBatteryWords[] = {{"OK", "good"}, {"Warning", "low"}, {"Critical", "failed"}};
constexpr WordRow kSupplyHealth[] = {
    {"OK", "good"}, {"Warning", "degraded"}, {"Critical", "failed"}};
constexpr WordRow kSupplyStates[] = {{"Absent", "absent"},
                                     {"Disabled", "offline"},
                                     {"UnavailableOffline", "offline"},
                                     {"StandbyOffline", "offline"}};
constexpr WordRow kSupplyInputs[] = {{"LossOfInput", "input lost"},
                                     {"OutOfRange", "input out of range"}};
constexpr WordRow kRedundancyWords[] = {
    {"OK", "Fully Redundant"}, {"Warning", "Redundancy Degraded"}, {"Critical", "Redundancy Lost"}};

constexpr u32 kNoIntrusion = 520;
constexpr u32 kChassisIntrusion = 521;

const char *BatteryWords(const Sensor &sensor)
{
    return sensor.state == "Absent" ? "absent"
                                    : WordOf(kBatteryWords, sensor.health, kStatusUnknown);
}

const char *SupplyWords(const Sensor &sensor, const std::string &input)
{
    if (const char *word = WordOf(kSupplyStates, sensor.state, nullptr))
        return word;
    if (const char *word = WordOf(kSupplyInputs, input, nullptr))
        return word;
    return WordOf(kSupplyHealth, sensor.health, kStatusUnknown);
}

const char *RedundancyWords(const Sensor &sensor, JsonValue group)
{
    if (sensor.state == "Disabled" || group["Mode"].IsText("NotRedundant") ||
        group["RedundancyType"].IsText("NotRedundant"))
        return "Non-redundant";
    return IsUnavailable(sensor.state) ? kStatusUnknown
                                       : WordOf(kRedundancyWords, sensor.health, kStatusUnknown);
}

u32 WattageOf(JsonValue supply)
{
    double most = supply["PowerCapacityWatts"].Number().value_or(0);
    if (most <= 0) {
        const JsonValue ranges = supply["InputRanges"];
        for (size_t i = 0; i < ranges.Size(); ++i)
            most = std::max({most, ranges[i]["OutputWattage"].Number().value_or(0),
                             ranges[i]["CapacityWatts"].Number().value_or(0)});
    }
    return most >= 0.5 && most <= kNumberMost ? static_cast<u32>(std::lround(most)) : 0;
}

// ---- one sensor from its document or entry. False: it is of another kind ----

struct TypeRow {
    const char *type;  // ReadingType
    SensorKind kind;
};

constexpr TypeRow kTypes[] = {
    {"Temperature", SensorKind::Temperature},
    {"Voltage", SensorKind::Voltage},
    {"Power", SensorKind::Power},
    {"Current", SensorKind::Current},
    {"Rotational", SensorKind::Fan},
};

std::optional<SensorKind> KindOfSensor(JsonValue document, const Unit &unit)
{
    const std::string type = document["ReadingType"].Text();
    for (const TypeRow &row : kTypes) {
        if (type == row.type)
            return row.kind;
    }
    if (unit.percent && document["PhysicalContext"].IsText("Fan"))
        return SensorKind::Fan;
    return unit.kind;
}

bool TakeSensor(JsonValue document, Sensor *sensor)
{
    const std::string word = document["ReadingUnits"].Text();
    const Unit unit = UnitOf(word);
    if (KindOfSensor(document, unit) != sensor->kind)
        return false;
    TakeCommon(document, sensor);
    sensor->percent = unit.percent && sensor->kind == SensorKind::Fan;
    // What is in another unit than the kind's would be a wrong number.
    if (word.empty() || unit.kind == sensor->kind || sensor->percent) {
        TakeReading(document["Reading"].Number(), unit.factor, sensor);
        TakeNewerLimits(document, unit.factor, sensor);
    }
    return true;
}

bool TakeFan(JsonValue document, Sensor *sensor)
{
    TakeCommon(document, sensor);
    const JsonValue speed = document["SpeedPercent"];
    const auto rpm = Sane(speed["SpeedRPM"].Number());
    const auto percent = Sane(speed["Reading"].Number());
    sensor->percent = !rpm.has_value() && percent.has_value();
    TakeReading(sensor->percent ? percent : rpm, 1, sensor);
    return true;
}

bool TakeSupply(JsonValue object, Sensor *sensor)
{
    TakeCommon(object, sensor);
    sensor->words = SupplyWords(*sensor, object["LineInputStatus"].Text());
    sensor->wattage = WattageOf(object);
    return true;
}

bool TakeBattery(JsonValue document, Sensor *sensor)
{
    TakeCommon(document, sensor);
    sensor->words = BatteryWords(*sensor);
    return true;
}

bool TakeRedundancy(JsonValue group, Sensor *sensor)
{
    TakeCommon(group, sensor);
    sensor->words = RedundancyWords(*sensor, group);
    return true;
}

bool TakeIntrusion(JsonValue chassis, Sensor *sensor)
{
    const JsonValue security = chassis["PhysicalSecurity"];
    if (!security.Has("IntrusionSensor"))
        return false;
    sensor->shortId = chassis["Id"].Text();
    const JsonValue state = security["IntrusionSensor"];
    if (state.IsText("Normal"))
        sensor->code = kNoIntrusion;
    else if (state.IsText("HardwareIntrusion") || state.IsText("TamperingDetected"))
        sensor->code = kChassisIntrusion;
    return true;
}

bool TakeOlderFan(JsonValue entry, Sensor *sensor)
{
    TakeCommon(entry, sensor);
    if (sensor->told.empty())
        sensor->told = entry["FanName"].Text();
    sensor->percent = UnitOf(entry["ReadingUnits"].Text()).percent;
    auto reading = entry["Reading"].Number();
    if (!reading.has_value() && entry["ReadingRPM"].Number().has_value()) {
        reading = entry["ReadingRPM"].Number();
        sensor->percent = false;
    }
    TakeReading(reading, 1, sensor);
    TakeOlderLimits(entry, sensor);
    return true;
}

bool TakeOlderReading(JsonValue entry, const char *name, Sensor *sensor)
{
    TakeCommon(entry, sensor);
    TakeReading(entry[name].Number(), 1, sensor);
    TakeOlderLimits(entry, sensor);
    return true;
}

bool TakePowerControl(JsonValue entry, Sensor *sensor)
{
    TakeCommon(entry, sensor);
    // Deliberate: services say "Disabled" and "Critical" of the limiting, not of the reading.
    sensor->state.clear();
    sensor->health.clear();
    TakeReading(entry["PowerConsumedWatts"].Number(), 1, sensor);
    return true;
}

bool TakeEntry(JsonValue entry, Sensor *sensor)
{
    switch (sensor->kind) {
    case SensorKind::Temperature:
        return TakeOlderReading(entry, "ReadingCelsius", sensor);
    case SensorKind::Fan:
        return TakeOlderFan(entry, sensor);
    case SensorKind::Voltage:
        return TakeOlderReading(entry, "ReadingVolts", sensor);
    case SensorKind::Power:
        return TakePowerControl(entry, sensor);
    case SensorKind::Supply:
        return TakeSupply(entry, sensor);
    case SensorKind::FanRedundancy:
    case SensorKind::SupplyRedundancy:
        return TakeRedundancy(entry, sensor);
    default:
        return false;
    }
}

// ---- lists and documents ----

// What tells the entries of a list apart, whatever their order: the first of these members that
// all of them have, each with a text of its own.
constexpr const char *kEntryIds[] = {"@odata.id", "MemberId", "Name", "GroupName"};

const char *IdMember(JsonValue list)
{
    for (const char *member : kEntryIds) {
        std::set<std::string> seen;
        size_t entries = 0;
        for (size_t i = 0; i < list.Size(); ++i) {
            const std::string id = list[i][member].RawText();
            if (!list[i].IsObject() || list[i].SaysNothing())
                continue;
            ++entries;
            if (!id.empty())
                seen.insert(id);
        }
        if (seen.size() == entries)
            return member;
    }
    return nullptr;
}

std::vector<Sensor> SensorsInList(const Resource &resource, SensorKind kind, const char *name)
{
    std::vector<Sensor> sensors;
    const JsonValue list = resource.document[name];
    const char *member = IdMember(list);
    for (size_t i = 0; i < list.Size(); ++i) {
        Sensor sensor;
        sensor.kind = kind;
        sensor.document = LinkName(resource.link);
        sensor.id = sensor.document + "#" + name + "/" +
                    (member != nullptr ? list[i][member].RawText() : std::to_string(i));
        if (list[i].IsObject() && !list[i].SaysNothing() && TakeEntry(list[i], &sensor))
            sensors.push_back(std::move(sensor));
    }
    return sensors;
}

void AddDocument(const Resource &resource, SensorKind kind, bool (*take)(JsonValue, Sensor *),
                 std::vector<Sensor> *sensors)
{
    Sensor sensor;
    sensor.kind = kind;
    sensor.document = LinkName(resource.link);
    sensor.id = sensor.document;
    const JsonValue document = resource.document;
    if (document.IsObject() && !document.SaysNothing() && take(document, &sensor))
        sensors->push_back(std::move(sensor));
}

std::vector<Sensor> SensorsInMembers(const std::vector<Resource> &members, SensorKind kind,
                                     bool (*take)(JsonValue, Sensor *))
{
    std::vector<Sensor> sensors;
    for (const Resource &member : members)
        AddDocument(member, kind, take, &sensors);
    return sensors;
}

std::vector<Sensor> Unordered(const ChassisView &chassis, SensorKind kind, SensorSource source)
{
    const KindRow &row = RowOf(kind);
    switch (source) {
    case SensorSource::Sensors:
        return SensorsInMembers(chassis.sensors, kind, TakeSensor);
    case SensorSource::Fans:
        return SensorsInMembers(chassis.fans, kind, TakeFan);
    case SensorSource::Supplies:
        return SensorsInMembers(chassis.supplies, kind, TakeSupply);
    case SensorSource::Batteries:
        return SensorsInMembers(chassis.batteries, kind, TakeBattery);
    case SensorSource::Chassis:
        return SensorsInMembers({chassis.chassis}, kind, TakeIntrusion);
    case SensorSource::ThermalSubsystem:
        return SensorsInList(chassis.thermalSubsystem, kind, "FanRedundancy");
    case SensorSource::PowerSubsystem:
        return SensorsInList(chassis.powerSubsystem, kind, "PowerSupplyRedundancy");
    case SensorSource::Thermal:
        return SensorsInList(chassis.thermal, kind, row.list);
    case SensorSource::Power:
        return SensorsInList(chassis.power, kind, row.list);
    case SensorSource::None:
        break;
    }
    return {};
}

// ---- choosing ----

struct Worth {
    size_t rpm = 0;  // of fans: readings in RPM
    size_t entries = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it sees is the compiler's own.
    auto operator<=>(const Worth &) const = default;
};

Worth WorthOf(const std::vector<Sensor> &sensors)
{
    Worth worth;
    worth.entries = sensors.size();
    for (const Sensor &sensor : sensors)
        worth.rpm +=
            sensor.kind == SensorKind::Fan && !sensor.percent && sensor.reading.has_value();
    return worth;
}

// Fans have a collection of their own; where it is missing, or tells less than the sensors among
// the others do, these count.
SensorSource NewerOf(const ChassisView &chassis, const KindRow &row)
{
    if (row.kind != SensorKind::Fan)
        return row.newer;
    const Worth fans = WorthOf(Unordered(chassis, row.kind, SensorSource::Fans));
    const Worth sensors = WorthOf(Unordered(chassis, row.kind, SensorSource::Sensors));
    return fans.entries == 0 || sensors.rpm > fans.rpm ? SensorSource::Sensors : SensorSource::Fans;
}

// ---- names ----

bool HasLetter(const std::string &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
}

constexpr char kCurrentWord[] = "Current";

// Clients take a sensor of type 3 for an ammeter when its name has "Current" in it.
std::string WithCurrent(const std::string &name)
{
    return name.find(kCurrentWord) == std::string::npos ? name + " " + kCurrentWord : name;
}

std::string WithoutCurrent(std::string name)
{
    for (size_t at = 0; (at = name.find(kCurrentWord, at)) != std::string::npos;)
        name[at] = 'c';
    return name;
}

std::string NameOf(const Sensor &sensor, u32 number, bool several)
{
    const KindRow &row = RowOf(sensor.kind);
    std::string name = sensor.told;
    if (name.empty() || name == "nil")
        name = HasLetter(sensor.shortId) && sensor.kind != SensorKind::Intrusion
                   ? sensor.shortId
                   : row.noun + (row.numbered || several ? " " + std::to_string(number) : "");
    if (sensor.kind == SensorKind::Current)
        return WithCurrent(name);
    return sensor.kind == SensorKind::Power ? WithoutCurrent(std::move(name)) : name;
}

// ---- instances ----

bool IsBeyond(const Sensor &sensor, SensorLimit lower, SensorLimit upper)
{
    const auto &least = sensor.limits[static_cast<u32>(lower)];
    const auto &most = sensor.limits[static_cast<u32>(upper)];
    return (least.has_value() && *sensor.reading <= *least) ||
           (most.has_value() && *sensor.reading >= *most);
}

// Only with a reading.
const char *LimitsStatus(const Sensor &sensor)
{
    if (IsBeyond(sensor, SensorLimit::LowerFatal, SensorLimit::UpperFatal))
        return kStatusNonRecoverable;
    if (IsBeyond(sensor, SensorLimit::LowerCritical, SensorLimit::UpperCritical))
        return kStatusFailed;
    if (IsBeyond(sensor, SensorLimit::LowerCaution, SensorLimit::UpperCaution))
        return kStatusWarning;
    return kStatusNormal;
}

const char *StatusOf(const Sensor &sensor)
{
    const bool has = sensor.reading.has_value();
    if (!has && sensor.state == "Absent")
        return kStatusUnknown;
    if (sensor.health == "Critical")
        return has && IsBeyond(sensor, SensorLimit::LowerFatal, SensorLimit::UpperFatal)
                   ? kStatusNonRecoverable
                   : kStatusFailed;
    if (sensor.health == "Warning")
        return kStatusWarning;
    if (!has)
        return kStatusUnknown;
    return sensor.health == "OK" ? kStatusNormal : LimitsStatus(sensor);
}

std::string ValueText(const Sensor &sensor, const std::optional<double> &value)
{
    if (!value.has_value())
        return kNotAvailable;
    return NumberText(*value) + (sensor.percent ? " %" : "");
}

struct LimitProperty {
    const char *name;
    SensorLimit limit;
};

constexpr LimitProperty kLimitProperties[] = {
    {"WarningThresholdMin", SensorLimit::LowerCaution},
    {"WarningThresholdMax", SensorLimit::UpperCaution},
    {"FailThresholdMin", SensorLimit::LowerCritical},
    {"FailThresholdMax", SensorLimit::UpperCritical},
};

}  // namespace

std::string NumberText(double number)
{
    char text[400];
    snprintf(text, sizeof text, "%.3f", number);
    std::string digits = text;
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.')
        digits.pop_back();
    return digits == "-0" ? "0" : digits;
}

SensorGroup SensorGroupOf(SensorKind kind)
{
    switch (kind) {
    case SensorKind::Temperature:
        return SensorGroup::Temperatures;
    case SensorKind::Fan:
        return SensorGroup::Fans;
    case SensorKind::Voltage:
        return SensorGroup::Voltages;
    case SensorKind::Power:
    case SensorKind::Current:
        return SensorGroup::Currents;
    default:
        return SensorGroup::States;
    }
}

bool SensorChoice::Uses(SensorSource source, const SensorGroups &groups) const
{
    return std::any_of(std::begin(kKinds), std::end(kKinds), [&](const KindRow &row) {
        return of[static_cast<u32>(row.kind)] == source &&
               groups[static_cast<u32>(SensorGroupOf(row.kind))];
    });
}

std::vector<Sensor> SensorsIn(const ChassisView &chassis, SensorKind kind, SensorSource source)
{
    std::vector<Sensor> sensors = Unordered(chassis, kind, source);
    std::stable_sort(sensors.begin(), sensors.end(), [](const Sensor &a, const Sensor &b) {
        return NaturalCompare(a.id, b.id) < 0;
    });
    return sensors;
}

SensorChoice ChooseSources(const ChassisView &chassis)
{
    SensorChoice choice;
    for (const KindRow &row : kKinds) {
        const SensorSource newer = NewerOf(chassis, row);
        const Worth newerWorth = WorthOf(Unordered(chassis, row.kind, newer));
        const Worth olderWorth = WorthOf(Unordered(chassis, row.kind, row.older));
        SensorSource &chosen = choice.of[static_cast<u32>(row.kind)];
        if (newerWorth.entries + olderWorth.entries != 0)
            chosen = newerWorth < olderWorth ? row.older : newer;
    }
    return choice;
}

std::vector<Sensor> SensorsOf(const ChassisView &chassis, const SensorChoice &choice)
{
    std::vector<Sensor> all;
    for (const KindRow &row : kKinds) {
        std::vector<Sensor> some =
            SensorsIn(chassis, row.kind, choice.of[static_cast<u32>(row.kind)]);
        std::move(some.begin(), some.end(), std::back_inserter(all));
    }
    return all;
}

void NameSensors(std::vector<Sensor> *sensors)
{
    u32 counts[kSensorKindCount] = {};
    for (const Sensor &sensor : *sensors)
        ++counts[static_cast<u32>(sensor.kind)];
    u32 numbers[kSensorKindCount] = {};
    std::map<std::pair<SensorKind, std::string>, u32> uses;
    for (Sensor &sensor : *sensors) {
        const u32 kind = static_cast<u32>(sensor.kind);
        sensor.name = NameOf(sensor, ++numbers[kind], counts[kind] > 1);
        ++uses[{sensor.kind, sensor.name}];
    }
    for (Sensor &sensor : *sensors) {
        if (uses.at({sensor.kind, sensor.name}) > 1 && !sensor.shortId.empty())
            sensor.name += " (" + sensor.shortId + ")";
        if (sensor.kind == SensorKind::Power)
            sensor.name = WithoutCurrent(std::move(sensor.name));
    }
}

const char *SensorUnit(const Sensor &sensor)
{
    return sensor.percent ? "%" : RowOf(sensor.kind).unit;
}

Instance SensorInstance(u32 index, const Sensor &sensor)
{
    const KindRow &row = RowOf(sensor.kind);
    const bool failed = sensor.status != kCimOk;
    Instance instance;
    const auto add = [&](const char *name, std::string text) {
        instance.properties.push_back({name, kCimOk, std::move(text)});
    };
    const auto addLive = [&](const char *name, std::string text) {
        instance.properties.push_back({name, sensor.status, failed ? "" : std::move(text)});
    };
    add("Index", std::to_string(index));
    add("Type", std::to_string(row.type));
    add("Format", std::to_string(row.format));
    add("Name", sensor.name);
    instance.unit = SensorUnit(sensor);
    if (row.format == 1) {
        addLive("Reading", ValueText(sensor, sensor.reading));
        for (const LimitProperty &property : kLimitProperties)
            add(property.name, ValueText(sensor, sensor.limits[static_cast<u32>(property.limit)]));
        addLive("StatusText", StatusOf(sensor));
    } else if (sensor.kind == SensorKind::Intrusion) {
        if (sensor.code != 0 || failed)
            addLive("StateValue", std::to_string(sensor.code));
    } else {
        addLive("State", sensor.words);
        addLive("StatusText", sensor.words);
    }
    return instance;
}
