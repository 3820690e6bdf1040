// SPDX-License-Identifier: Apache-2.0
// sensor_map.cpp -- see sensor_map.h. A kind of state is a row of kStateRows.
#include "objmgrd/ipmi/sensor_map.h"

#include "objmgr/schema.h"
#include "objmgrd/ipmi/event_words.h"

#include <cmath>
#include <cstdio>

#include <freeipmi/freeipmi.h>

namespace
{

constexpr u8 kTypeVoltage = 2;
constexpr u8 kTypeIntrusion = 5;
constexpr u8 kTypePowerSupply = 8;
constexpr u8 kTypeBattery = 41;
constexpr u8 kTypePerformance = 192;

constexpr u32 kFormatThreshold = 1;
constexpr u32 kFormatDiscrete = 2;
constexpr u32 kFormatRedundancy = 3;

constexpr u16 Bit(u32 n)
{
    return static_cast<u16>(1u << n);
}

u32 FormatOf(const SdrSensor &sensor)
{
    if (sensor.eventType == kSdrEventThreshold)
        return kFormatThreshold;
    return sensor.eventType == kSdrEventRedundancy ? kFormatRedundancy : kFormatDiscrete;
}

// Highest rank first.
struct StatusRow {
    u16 bits;
    const char *word;
};

constexpr StatusRow kStatusRows[] = {
    {Bit(kLowerNonRecoverable) | Bit(kUpperNonRecoverable), kStatusNonRecoverable},
    {Bit(kLowerCritical) | Bit(kUpperCritical), kStatusFailed},
    {Bit(kLowerNonCritical) | Bit(kUpperNonCritical), kStatusWarning},
};

const char *ThresholdStatus(const SensorReading &reading)
{
    if (!reading.valid || !reading.hasStates)
        return kStatusUnknown;
    for (const StatusRow &row : kStatusRows) {
        if ((reading.states & row.bits) != 0)
            return row.word;
    }
    return kStatusNormal;
}

// A state of a sensor of this type and event/reading type is `word` when one of `bits` is set; the
// first row that fits counts, and one without bits always fits.
struct StateRow {
    u8 type;
    u8 eventType;
    u16 bits;
    const char *word;
};

constexpr u16 kAlways = 0;

constexpr StateRow kStateRows[] = {
    {kTypeVoltage, 0x03, Bit(1), "good"},  // state asserted: power is good
    {kTypeVoltage, 0x03, Bit(0), "bad"},
    {kTypeVoltage, 0x03, kAlways, kStatusUnknown},
    {kTypeVoltage, 0x05, Bit(1), "bad"},  // limit exceeded
    {kTypeVoltage, 0x05, kAlways, "good"},
    {kTypeVoltage, 0x07, 0x7e, "bad"},  // every severity but OK, monitor and informational
    {kTypeVoltage, 0x07, kAlways, "good"},
    {kTypeBattery, 0x6F, Bit(1), "failed"},
    {kTypeBattery, 0x6F, Bit(0), "low"},
    {kTypeBattery, 0x6F, Bit(2), "good"},
    {kTypeBattery, 0x6F, kAlways, "absent"},
};

// For the event/reading types that the rows leave out.
bool HasOwnWords(u8 type)
{
    return type == kTypeVoltage || type == kTypeBattery;
}

std::string StateWords(const SdrSensor &sensor, const SensorReading &reading)
{
    if (!reading.valid || !reading.hasStates)
        return kStatusUnknown;
    if (FormatOf(sensor) == kFormatDiscrete) {
        for (const StateRow &row : kStateRows) {
            if (row.type == sensor.type && row.eventType == sensor.eventType &&
                (row.bits == kAlways || (reading.states & row.bits) != 0))
                return row.word;
        }
        if (HasOwnWords(sensor.type))
            return kStatusUnknown;
    }
    std::string words = EventStateWords(sensor.eventType, sensor.type, reading.states);
    if (!words.empty())
        return words;
    return sensor.type == kTypePowerSupply ? "absent" : "none";
}

// The code of a state is `base` plus its bit's number, for the lowest of `bits` that is set.
struct CodeRow {
    u8 type;
    u32 none;  // no bit of `bits` is set
    u16 bits;
    u32 base;
};

constexpr CodeRow kCodeRows[] = {
    {kTypeIntrusion, 520, 0x7f, 521},
    {kTypePerformance, 19221, 0x3e, 19221},  // bit 0 says that all is normal
};

std::string CodeText(const CodeRow &row, u16 states)
{
    for (u32 bit = 0; bit < 16; ++bit) {
        if ((row.bits & states & Bit(bit)) != 0)
            return std::to_string(row.base + bit);
    }
    return std::to_string(row.none);
}

const CodeRow *CodeRowOf(const SdrSensor &sensor)
{
    for (const CodeRow &row : kCodeRows) {
        if (row.type == sensor.type && FormatOf(sensor) == kFormatDiscrete)
            return &row;
    }
    return nullptr;
}

// Decimals of a value: those of its result exponent where the scale is linear, else enough for
// three digits.
int Decimals(const SdrSensor &sensor, double value)
{
    if (sensor.linearization == 0)
        return sensor.rExponent < 0 ? -sensor.rExponent : 0;
    const double size = std::fabs(value);
    return size >= 100 ? 0 : size >= 10 ? 1 : 2;
}

struct ThresholdRow {
    const char *property;
    SdrThreshold threshold;
};

constexpr ThresholdRow kThresholdRows[] = {
    {kPropertyWarningThresholdMin, kLowerNonCritical},
    {kPropertyWarningThresholdMax, kUpperNonCritical},
    {kPropertyFailThresholdMin, kLowerCritical},
    {kPropertyFailThresholdMax, kUpperCritical},
};

class Properties
{
public:
    explicit Properties(Instance *instance) : instance_(instance) {}
    void Add(const char *name, std::string text)
    {
        instance_->properties.push_back({name, kCimOk, std::move(text)});
    }
    void Add(const char *name, CimStatus status, std::string text)
    {
        instance_->properties.push_back({name, status, status == kCimOk ? std::move(text) : ""});
    }

private:
    Instance *instance_;
};

void AddThresholdKind(const SdrSensor &sensor, const SensorReading &reading, Properties *out)
{
    const CimStatus status = reading.denied ? kCimAccessDenied : kCimOk;
    out->Add(kPropertyReading, status,
             reading.valid ? SensorValueText(sensor, reading.raw) : kNotAvailable);
    for (const ThresholdRow &row : kThresholdRows) {
        const bool there = (reading.thresholdMask & Bit(row.threshold)) != 0;
        out->Add(row.property, there ? SensorValueText(sensor, reading.thresholds[row.threshold])
                                     : kNotAvailable);
    }
    out->Add(kPropertyStatusText, status, ThresholdStatus(reading));
}

void AddStateKind(const SdrSensor &sensor, const SensorReading &reading, Properties *out)
{
    const CimStatus status = reading.denied ? kCimAccessDenied : kCimOk;
    const std::string words = StateWords(sensor, reading);
    out->Add(kPropertyState, status, words);
    out->Add(kPropertyStatusText, status, words);
    const CodeRow *row = CodeRowOf(sensor);
    if (row == nullptr)
        return;
    // The words for codes have none for "not known": there is no code then.
    const bool known = reading.valid && reading.hasStates;
    out->Add(kPropertyStateValue,
             reading.denied ? kCimAccessDenied
             : known        ? kCimOk
                            : kCimFailed,
             CodeText(*row, reading.states));
}

// A raw value without its sign, and the sensor's factor with that sign.
struct Magnitude {
    int16_t m;
    u8 raw;
};

// The library turns signed raw values into numbers through the type char, which has no sign on ARM:
// there -1 degree would be 255. So it gets none of them.
Magnitude MagnitudeOf(const SdrSensor &sensor, u8 raw)
{
    if (sensor.analogFormat == IPMI_SDR_ANALOG_DATA_FORMAT_UNSIGNED || raw < 0x80)
        return {sensor.m, raw};
    const bool ones = sensor.analogFormat == IPMI_SDR_ANALOG_DATA_FORMAT_1S_COMPLEMENT;
    // m has 10 bits, so that its negative fits.
    return {static_cast<int16_t>(-sensor.m), static_cast<u8>((ones ? 255 : 256) - raw)};
}

}  // namespace

std::string SensorValueText(const SdrSensor &sensor, u8 raw)
{
    const Magnitude reading = MagnitudeOf(sensor, raw);
    double value = 0;
    if (!sensor.analog ||
        ipmi_sensor_decode_value(sensor.rExponent, sensor.bExponent, reading.m, sensor.b,
                                 sensor.linearization, IPMI_SDR_ANALOG_DATA_FORMAT_UNSIGNED,
                                 reading.raw, &value) != 0 ||
        !std::isfinite(value))
        return kNotAvailable;
    char text[400];
    snprintf(text, sizeof text, "%.*f", Decimals(sensor, value), value);
    // "-0.0" is what rounding makes of a small negative value.
    const std::string digits = text;
    const bool negativeZero =
        digits[0] == '-' && digits.find_first_not_of("-0.") == std::string::npos;
    return negativeZero ? digits.substr(1) : digits;
}

Instance SensorInstance(u32 index, const SdrSensor &sensor, const SensorReading &reading)
{
    Instance instance;
    Properties out(&instance);
    out.Add(kPropertyIndex, std::to_string(index));
    out.Add(kPropertyType, std::to_string(sensor.type));
    out.Add(kPropertyFormat, std::to_string(FormatOf(sensor)));
    out.Add(kPropertyName, sensor.name);
    if (FormatOf(sensor) == kFormatThreshold)
        AddThresholdKind(sensor, reading, &out);
    else
        AddStateKind(sensor, reading, &out);
    return instance;
}
