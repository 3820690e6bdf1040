// SPDX-License-Identifier: Apache-2.0
// event_words.cpp -- see event_words.h.
#include "objmgrd/ipmi/event_words.h"

#include "objmgrd/ipmi/ipmi_text.h"
#include "objmgrd/text.h"

#include <freeipmi/freeipmi.h>

namespace
{

constexpr u32 kWordsMax = 256;
constexpr u32 kStateBits = 15;

// The text of `length` characters in the buffer; a negative length is an error.
std::string Taken(int length, const char *buffer)
{
    return length > 0 ? TextTrim(std::string(buffer, static_cast<size_t>(length))) : std::string();
}

std::string ShortWords(u8 eventType, u8 sensorType, u32 offset)
{
    char text[kWordsMax] = "";
    const int length =
        eventType == kSdrEventSensorSpecific
            ? ipmi_get_sensor_type_message_short(sensorType, offset, text, sizeof text)
            : ipmi_get_generic_event_message_short(eventType, offset, text, sizeof text);
    return Taken(length, text);
}

// The library cuts the unit off behind a percent sign, so it does not see that one.
std::string UnitWords(const SdrSensor &sensor, bool abbreviated)
{
    const bool percentage = (sensor.unit1 & 0x1) != 0;
    // The library has a word for the unit 0: "unspecified".
    if (sensor.baseUnit == 0)
        return percentage ? "%" : "";
    char text[kWordsMax] = "";
    const int length = ipmi_sensor_units_string(
        0, (sensor.unit1 >> 1) & 0x3, (sensor.unit1 >> 3) & 0x7, sensor.baseUnit,
        sensor.modifierUnit, text, sizeof text, abbreviated ? 1 : 0);
    return (percentage ? "% " : "") + Taken(length, text);
}

}  // namespace

std::string EventStateWords(u8 eventType, u8 sensorType, u16 states)
{
    std::string all;
    for (u32 bit = 0; bit < kStateBits; ++bit) {
        if ((states & (1u << bit)) == 0)
            continue;
        const std::string words = ShortWords(eventType, sensorType, bit);
        all += (all.empty() ? "" : ", ") + (words.empty() ? "state " + std::to_string(bit) : words);
    }
    return all;
}

std::string EventWords(u8 eventType, u8 sensorType, u8 offset)
{
    char text[kWordsMax] = "";
    const int length = eventType == kSdrEventSensorSpecific
                           ? ipmi_get_sensor_type_message(sensorType, offset, text, sizeof text)
                           : ipmi_get_generic_event_message(eventType, offset, text, sizeof text);
    return Taken(length, text);
}

std::string EventData2Words(u8 sensorType, u8 offset, u8 data2)
{
    char text[kWordsMax] = "";
    return Taken(ipmi_get_event_data2_message(sensorType, offset, data2, text, sizeof text), text);
}

std::string EventData3Words(u8 sensorType, u8 offset, u8 data2, u8 data3)
{
    char text[kWordsMax] = "";
    return Taken(ipmi_get_event_data3_message(sensorType, offset, data2, data3, text, sizeof text),
                 text);
}

std::string SensorTypeWords(u8 sensorType)
{
    const char *words = ipmi_get_sensor_type_string(sensorType);
    return words != nullptr ? words : "Sensor type 0x" + IpmiHex(&sensorType, 1);
}

std::string SensorUnitWords(const SdrSensor &sensor)
{
    return UnitWords(sensor, true);
}

std::string SensorUnitLongWords(const SdrSensor &sensor)
{
    return UnitWords(sensor, false);
}
