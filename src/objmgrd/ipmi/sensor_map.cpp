// SPDX-License-Identifier: Apache-2.0
// sensor_map.cpp -- see sensor_map.h.
#include "objmgrd/ipmi/sensor_map.h"

#include "objmgr/schema.h"
#include "objmgrd/ipmi/sensor_place.h"
#include "objmgrd/ipmi/sensor_state.h"

#include <cmath>
#include <stdio.h>

#include <freeipmi/freeipmi.h>

namespace
{

constexpr u16 Bit(u32 n)
{
    return static_cast<u16>(1u << n);
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

// The value of raw in the record's unit, made one of the place's, in digits.
std::string ValueText(const SdrSensor &sensor, u8 raw, double before, double factor,
                      int moreDecimals)
{
    const Magnitude reading = MagnitudeOf(sensor, raw);
    double value = 0;
    if (!sensor.analog ||
        ipmi_sensor_decode_value(sensor.rExponent, sensor.bExponent, reading.m, sensor.b,
                                 sensor.linearization, IPMI_SDR_ANALOG_DATA_FORMAT_UNSIGNED,
                                 reading.raw, &value) != 0 ||
        !std::isfinite(value))
        return kNotAvailable;
    value = (value + before) * factor;
    char text[400];
    snprintf(text, sizeof text, "%.*f", Decimals(sensor, value) + moreDecimals, value);
    // "-0.0" is what rounding makes of a small negative value.
    const std::string digits = text;
    const bool negativeZero =
        digits[0] == '-' && digits.find_first_not_of("-0.") == std::string::npos;
    return negativeZero ? digits.substr(1) : digits;
}

// A value where clients show the sensor.
std::string PlacedText(const SdrSensor &sensor, const SensorPlace &place, u8 raw)
{
    const std::string text = ValueText(sensor, raw, place.before, place.factor, place.moreDecimals);
    return text == kNotAvailable ? text : text + place.suffix;
}

void AddThresholdKind(const SdrSensor &sensor, const SensorPlace &place,
                      const SensorReading &reading, Properties *out)
{
    const CimStatus status = reading.denied ? kCimAccessDenied : kCimOk;
    out->Add(kPropertyReading, status,
             reading.valid ? PlacedText(sensor, place, reading.raw) : kNotAvailable);
    for (const ThresholdRow &row : kThresholdRows) {
        const bool there = (reading.thresholdMask & Bit(row.threshold)) != 0;
        out->Add(row.property, there ? PlacedText(sensor, place, reading.thresholds[row.threshold])
                                     : kNotAvailable);
    }
    out->Add(kPropertyStatusText, status, ThresholdStatus(reading));
}

void AddStateKind(const SdrSensor &sensor, const SensorReading &reading, Properties *out)
{
    const CimStatus status = reading.denied ? kCimAccessDenied : kCimOk;
    const bool known = reading.valid && reading.hasStates;
    const std::string words = known ? SensorStateWords(sensor, reading.states) : kStatusUnknown;
    out->Add(kPropertyState, status, words);
    out->Add(kPropertyStatusText, status, words);
    if (!SensorHasStateCode(sensor))
        return;
    // The words for codes have none for "not known": there is no code then.
    out->Add(kPropertyStateValue,
             reading.denied ? kCimAccessDenied
             : known        ? kCimOk
                            : kCimFailed,
             SensorStateCode(sensor, reading.states));
}

}  // namespace

std::string SensorValueText(const SdrSensor &sensor, u8 raw)
{
    return ValueText(sensor, raw, 0, 1, 0);
}

Instance SensorInstance(u32 index, const SdrSensor &sensor, const SensorReading &reading)
{
    const SensorPlace place = SensorPlaceOf(sensor);
    Instance instance;
    Properties out(&instance);
    out.Add(kPropertyIndex, std::to_string(index));
    out.Add(kPropertyType, std::to_string(place.type));
    out.Add(kPropertyFormat, std::to_string(SensorFormat(sensor)));
    out.Add(kPropertyName, place.name);
    instance.unit = place.unit;
    if (SensorFormat(sensor) == kFormatThreshold)
        AddThresholdKind(sensor, place, reading, &out);
    else
        AddStateKind(sensor, reading, &out);
    return instance;
}
