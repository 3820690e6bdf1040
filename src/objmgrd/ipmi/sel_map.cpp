// SPDX-License-Identifier: Apache-2.0
// sel_map.cpp -- see sel_map.h. Layout of a record: IPMI 2.0, tables 32-1 to 32-3.
#include "objmgrd/ipmi/sel_map.h"

#include "objmgrd/ipmi/event_words.h"
#include "objmgrd/ipmi/ipmi_text.h"
#include "objmgrd/ipmi/sensor_map.h"

#include <stdio.h>

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

// What bytes 2 and 3 of an event hold is in bits 7, 6 and 5, 4 of byte 1: 0 nothing, 1 the reading
// and the threshold that made it (of a threshold event), 2 what makers define, 3 what the sensor
// type says about its own events. What there are no words for is told in bytes.
std::string Data2Text(const Event &event, const SdrSensor *sensor)
{
    const u8 kind = event.data1 >> 6;
    if (event.eventType == kSdrEventThreshold)
        return kind == 1 && sensor != nullptr && sensor->analog
                   ? "reading " + WithUnit(*sensor, event.data2)
                   : "";
    return event.eventType == kSdrEventSensorSpecific && kind == 3
               ? EventData2Words(event.sensorType, event.offset, event.data2)
               : "";
}

std::string Data3Text(const Event &event, const SdrSensor *sensor)
{
    const u8 kind = (event.data1 >> 4) & 0x3;
    if (event.eventType == kSdrEventThreshold)
        return kind == 1 && sensor != nullptr && sensor->analog
                   ? "threshold " + WithUnit(*sensor, event.data3)
                   : "";
    return event.eventType == kSdrEventSensorSpecific && kind == 3
               ? EventData3Words(event.sensorType, event.offset, event.data2, event.data3)
               : "";
}

std::string Details(const Event &event, const SdrSensor *sensor)
{
    const std::string text2 = Data2Text(event, sensor);
    const std::string text3 = Data3Text(event, sensor);
    const bool bare2 = (event.data1 >> 6) != 0 && text2.empty();
    const bool bare3 = ((event.data1 >> 4) & 0x3) != 0 && text3.empty();
    const u8 data[] = {event.data2, event.data3};
    std::string bare;
    if (bare2 && bare3)
        bare = "data " + IpmiHex(data, 2);
    else if (bare2)
        bare = "data 2 " + IpmiHex(data, 1);
    else if (bare3)
        bare = "data 3 " + IpmiHex(data + 1, 1);
    std::string details = text2;
    for (const std::string &more : {text3, bare}) {
        if (!more.empty())
            details += (details.empty() ? "" : ", ") + more;
    }
    return details;
}

// An event that there are no words for.
std::string BareText(const Event &event)
{
    char text[80];
    snprintf(text, sizeof text, "event type 0x%02x, data %02x %02x %02x", unsigned{event.eventType},
             unsigned{event.data1}, unsigned{event.data2}, unsigned{event.data3});
    return text;
}

std::string SystemEventText(const SelRecord &record, const SdrRepository &sensors)
{
    const Event event = EventOf(record);
    const SdrSensor *sensor = SdrFind(sensors, event.owner, event.lun, event.number);
    const std::string direction = event.deasserted ? ", deasserted" : ", asserted";
    const std::string words = EventWords(event.eventType, event.sensorType, event.offset);
    const std::string head = NameOf(event, sensor) + ": ";
    if (words.empty())
        return head + BareText(event) + direction;
    const std::string details = Details(event, sensor);
    return head + words + direction + (details.empty() ? "" : " (" + details + ")");
}

std::string DescriptionOf(const SelRecord &record, const SdrRepository &sensors)
{
    const u8 type = record[2];
    if (type == kSystemEvent)
        return SystemEventText(record, sensors);
    char head[80];
    if (type == kSelUnreadable) {
        snprintf(head, sizeof head, "Record 0x%02x%02x cannot be read: completion code 0x%02X",
                 unsigned{record[1]}, unsigned{record[0]}, unsigned{record[3]});
        return head;
    }
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

SelRecord SelUnreadableRecord(u16 id, u8 code)
{
    return {static_cast<u8>(id & 0xff), static_cast<u8>(id >> 8), kSelUnreadable, code};
}

Instance SelRecordInstance(u32 number, const SelRecord &record, const SdrRepository &sensors)
{
    return SelRecordInstance(number, TimesOf(record), DescriptionOf(record, sensors));
}
