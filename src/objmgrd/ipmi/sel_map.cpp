// SPDX-License-Identifier: Apache-2.0
// sel_map.cpp -- see sel_map.h. Layout of a record: IPMI 2.0, tables 32-1 to 32-3.
#include "objmgrd/ipmi/sel_map.h"

#include "objmgrd/ipmi/event_words.h"
#include "objmgrd/ipmi/ipmi_text.h"
#include "objmgrd/ipmi/sensor_map.h"

#include <cstdio>

namespace
{

constexpr u8 kSystemEvent = 0x02;
constexpr u8 kFirstOemWithTime = 0xC0;
constexpr u8 kFirstOemWithoutTime = 0xE0;
constexpr u32 kSinceStartMost = 0x20000000;  // times up to here count from the BMC's start
constexpr u32 kNoTime = 0xFFFFFFFF;

u32 Long(const u8 *bytes)
{
    return bytes[0] | (static_cast<u32>(bytes[1]) << 8) | (static_cast<u32>(bytes[2]) << 16) |
           (static_cast<u32>(bytes[3]) << 24);
}

LogTimes TimesOf(const SelRecord &record)
{
    const u8 type = record[2];
    const bool hasTime =
        type == kSystemEvent || (type >= kFirstOemWithTime && type < kFirstOemWithoutTime);
    const u32 seconds = Long(&record[3]);
    if (!hasTime || seconds == kNoTime)
        return LogTimesNone();
    return seconds <= kSinceStartMost ? LogTimesOfStart() : LogTimesOf(seconds);
}

// The fields of a system event.
struct Event {
    u8 owner;
    u8 lun;
    u8 sensorType;
    u8 number;
    u8 eventType;
    bool deasserted;
    u8 offset;
    u8 data1;
    u8 data2;
    u8 data3;
};

Event EventOf(const SelRecord &record)
{
    return {.owner = record[7],
            .lun = static_cast<u8>(record[8] & 0x3),
            .sensorType = record[10],
            .number = record[11],
            .eventType = static_cast<u8>(record[12] & 0x7f),
            .deasserted = (record[12] & 0x80) != 0,
            .offset = static_cast<u8>(record[13] & 0xf),
            .data1 = record[13],
            .data2 = record[14],
            .data3 = record[15]};
}

std::string NameOf(const Event &event, const SdrSensor *sensor)
{
    if (sensor != nullptr)
        return sensor->name;
    char number[16];
    snprintf(number, sizeof number, " 0x%02x", unsigned{event.number});
    return SensorTypeWords(event.sensorType) + number;
}

std::string WithUnit(const SdrSensor &sensor, u8 raw)
{
    const std::string value = SensorValueText(sensor, raw);
    const std::string unit = SensorUnitWords(sensor);
    return unit.empty() ? value : value + " " + unit;
}

// What bytes 2 and 3 of a threshold event hold is in bits 7, 6 and 5, 4 of byte 1: 1 means the
// reading and the threshold that made it.
std::string ThresholdDetails(const Event &event, const SdrSensor *sensor)
{
    if (sensor == nullptr || !sensor->analog)
        return "";
    std::string details;
    if ((event.data1 >> 6) == 1)
        details = "reading " + WithUnit(*sensor, event.data2);
    if (((event.data1 >> 4) & 0x3) == 1)
        details +=
            (details.empty() ? "threshold " : ", threshold ") + WithUnit(*sensor, event.data3);
    return details;
}

// 3 in the same bits: what the sensor type says about its own events.
std::string OwnDetails(const Event &event)
{
    std::string details;
    if (event.eventType != kSdrEventSensorSpecific)
        return details;
    if ((event.data1 >> 6) == 3)
        details = EventData2Words(event.sensorType, event.offset, event.data2);
    if (((event.data1 >> 4) & 0x3) == 3) {
        const std::string more =
            EventData3Words(event.sensorType, event.offset, event.data2, event.data3);
        if (!more.empty())
            details += (details.empty() ? "" : ", ") + more;
    }
    return details;
}

std::string EventText(const Event &event)
{
    std::string words = EventWords(event.eventType, event.sensorType, event.offset);
    if (!words.empty())
        return words;
    char text[80];
    snprintf(text, sizeof text, "event type 0x%02x, data %02x %02x %02x", unsigned{event.eventType},
             unsigned{event.data1}, unsigned{event.data2}, unsigned{event.data3});
    return text;
}

std::string SystemEventText(const SelRecord &record, const SdrRepository &sensors)
{
    const Event event = EventOf(record);
    const SdrSensor *sensor = SdrFind(sensors, event.owner, event.lun, event.number);
    std::string text = NameOf(event, sensor) + ": " + EventText(event) +
                       (event.deasserted ? ", deasserted" : ", asserted");
    const std::string details =
        event.eventType == kSdrEventThreshold ? ThresholdDetails(event, sensor) : OwnDetails(event);
    return details.empty() ? text : text + " (" + details + ")";
}

std::string DescriptionOf(const SelRecord &record, const SdrRepository &sensors)
{
    const u8 type = record[2];
    if (type == kSystemEvent)
        return SystemEventText(record, sensors);
    char head[80];
    if (type >= kFirstOemWithoutTime) {
        snprintf(head, sizeof head, "OEM record 0x%02x: ", unsigned{type});
        return head + IpmiHex(&record[3], 13);
    }
    if (type >= kFirstOemWithTime) {
        const u32 manufacturer = Long(&record[7]) & 0xFFFFFF;
        snprintf(head, sizeof head, "OEM record 0x%02x of manufacturer %u: ", unsigned{type},
                 manufacturer);
        return head + IpmiHex(&record[10], 6);
    }
    snprintf(head, sizeof head, "Record of unknown type 0x%02x: ", unsigned{type});
    return head + IpmiHex(&record[3], 13);
}

}  // namespace

Instance SelRecordInstance(u32 number, const SelRecord &record, const SdrRepository &sensors)
{
    return SelRecordInstance(number, TimesOf(record), DescriptionOf(record, sensors));
}
