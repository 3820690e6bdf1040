// SPDX-License-Identifier: Apache-2.0
// sdr.cpp -- see sdr.h. Numbers of bytes count from 1 in comments, as in IPMI 2.0, section 43.
#include "objmgrd/ipmi/sdr.h"

#include "objmgrd/ipmi/ipmi_text.h"

#include <algorithm>
#include <iterator>
#include <stdio.h>

namespace
{

constexpr size_t kHeaderSize = 5;
constexpr u8 kFull = 0x01;
constexpr u8 kCompact = 0x02;
constexpr u8 kEventOnly = 0x03;
constexpr u8 kFruLocator = 0x11;
// Length of each up to its name's type/length byte and with it.
constexpr size_t kFullSize = 48;
constexpr size_t kCompactSize = 32;
constexpr size_t kEventOnlySize = 17;
constexpr size_t kFruLocatorSize = 16;

// The two's complement number in the low `bits` bits.
int16_t Signed(u32 value, u32 bits)
{
    const u32 sign = u32{1} << (bits - 1);
    value &= (sign << 1) - 1;
    return static_cast<int16_t>(static_cast<i32>(value ^ sign) - static_cast<i32>(sign));
}

// The name behind the type/length byte at record[at]; 5 bits of length.
std::string NameAt(const u8 *record, size_t size, size_t at)
{
    const u8 typeLength = record[at];
    const size_t length = std::min<size_t>(typeLength & 0x1f, size - at - 1);
    return IpmiText(static_cast<IpmiEncoding>(typeLength >> 6), record + at + 1, length, false);
}

std::string NameOr(const std::string &name, u8 number)
{
    if (!name.empty())
        return name;
    char text[32];
    snprintf(text, sizeof text, "Sensor 0x%02x", unsigned{number});
    return text;
}

// Bytes 6 to 10 are the same in every record of a sensor: whose it is.
SdrSensor Owned(const u8 *record)
{
    SdrSensor sensor;
    sensor.owner = record[5];
    sensor.lun = record[6] & 0x3;
    sensor.channel = record[6] >> 4;
    sensor.number = record[7];
    sensor.entityId = record[8];
    sensor.entityInstance = record[9];
    return sensor;
}

// Bytes 13 and 14 besides in full and compact records.
SdrSensor Common(const u8 *record)
{
    SdrSensor sensor = Owned(record);
    sensor.type = record[12];
    sensor.eventType = record[13];
    sensor.unit1 = record[20];
    sensor.baseUnit = record[21];
    sensor.modifierUnit = record[22];
    return sensor;
}

// Bytes 37 to 42, in the order of SdrThreshold; -1 from byte 1.
constexpr u8 kThresholdPlaces[kThresholdCount] = {41, 40, 39, 38, 37, 36};

void TakeThresholds(const u8 *record, SdrSensor *sensor)
{
    const u8 access = (record[11] >> 2) & 0x3;
    if (sensor->eventType != kSdrEventThreshold || access == 0)
        return;
    if (access != 3) {
        sensor->thresholds = SdrThresholds::Readable;
        return;
    }
    // Fixed: the comparisons that the sensor makes are in bits 4 to 6 of bytes 16 and 18.
    sensor->thresholds = SdrThresholds::Fixed;
    sensor->fixedMask =
        static_cast<u8>(((record[15] >> 4) & 0x7) | (((record[17] >> 4) & 0x7) << 3));
    for (u32 i = 0; i < kThresholdCount; ++i)
        sensor->fixedValues[i] = record[kThresholdPlaces[i]];
}

void AddFull(SdrRepository *repository, const u8 *record, size_t size)
{
    SdrSensor sensor = Common(record);
    sensor.name = NameOr(NameAt(record, size, kFullSize - 1), sensor.number);
    sensor.analogFormat = record[20] >> 6;
    sensor.analog = sensor.analogFormat != 3;
    if (sensor.analog) {
        sensor.linearization = record[23] & 0x7f;
        sensor.m = Signed(record[24] | ((record[25] & 0xc0u) << 2), 10);
        sensor.b = Signed(record[26] | ((record[27] & 0xc0u) << 2), 10);
        sensor.rExponent = static_cast<int8_t>(Signed(record[29] >> 4, 4));
        sensor.bExponent = static_cast<int8_t>(Signed(record[29] & 0xfu, 4));
    }
    TakeThresholds(record, &sensor);
    if (repository->sensors.size() < kSdrSensorsMax)
        repository->sensors.push_back(std::move(sensor));
}

// How several sensors share one record: their numbers follow on each other, and their names end
// in a number or a letter.
struct Sharing {
    u32 count;
    bool letters;
    u32 offset;
    bool entities;  // the entity instance counts up too
};

Sharing SharingAt(const u8 *bytes)
{
    return {.count = std::max<u32>(bytes[0] & 0xfu, 1),
            .letters = ((bytes[0] >> 4) & 0x3) == 1,
            .offset = bytes[1] & 0x7fu,
            .entities = (bytes[1] & 0x80) != 0};
}

std::string SharedSuffix(const Sharing &sharing, u32 i)
{
    const u32 value = sharing.offset + i;
    if (!sharing.letters)
        return std::to_string(value);
    const char last = static_cast<char>('A' + value % 26);
    return value < 26 ? std::string(1, last)
                      : std::string(1, static_cast<char>('A' + (value / 26 - 1) % 26)) + last;
}

void AddShared(std::vector<SdrSensor> *sensors, const SdrSensor &first, const std::string &name,
               const Sharing &sharing)
{
    for (u32 i = 0; i < sharing.count && sensors->size() < kSdrSensorsMax; ++i) {
        SdrSensor sensor = first;
        sensor.number = static_cast<u8>(first.number + i);
        if (sharing.entities)
            sensor.entityInstance = static_cast<u8>(first.entityInstance + i);
        sensor.name = NameOr(name, sensor.number);
        if (sharing.count > 1 && !name.empty())
            sensor.name += SharedSuffix(sharing, i);
        sensors->push_back(std::move(sensor));
    }
}

void AddCompact(SdrRepository *repository, const u8 *record, size_t size)
{
    AddShared(&repository->sensors, Common(record), NameAt(record, size, kCompactSize - 1),
              SharingAt(record + 23));
}

void AddEventOnly(SdrRepository *repository, const u8 *record, size_t size)
{
    SdrSensor sensor = Owned(record);
    sensor.type = record[10];
    sensor.eventType = record[11];
    AddShared(&repository->eventsOnly, sensor, NameAt(record, size, kEventOnlySize - 1),
              SharingAt(record + 12));
}

void AddFru(SdrRepository *repository, const u8 *record, size_t)
{
    const bool logical = (record[7] & 0x80) != 0;
    if (!logical || (record[5] & 0xfe) != kSdrBmcAddress || repository->frus.size() >= kSdrFrusMax)
        return;
    repository->frus.push_back({.deviceId = record[6],
                                .lun = static_cast<u8>((record[7] >> 3) & 0x3),
                                .entityId = record[12],
                                .entityInstance = record[13]});
}

struct KindRow {
    u8 type;
    size_t least;
    void (*add)(SdrRepository *repository, const u8 *record, size_t size);
};

constexpr KindRow kKinds[] = {{kFull, kFullSize, AddFull},
                              {kCompact, kCompactSize, AddCompact},
                              {kEventOnly, kEventOnlySize, AddEventOnly},
                              {kFruLocator, kFruLocatorSize, AddFru}};

}  // namespace

bool SdrAdd(SdrRepository *repository, const u8 *record, size_t sizeBytes)
{
    if (sizeBytes < kHeaderSize)
        return false;
    // The record may be shorter than what was read of it.
    const size_t size = std::min<size_t>(sizeBytes, kHeaderSize + record[4]);
    const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                   [&](const KindRow &row) { return row.type == record[3]; });
    if (kind == std::end(kKinds))
        return true;
    if (size < kind->least)
        return false;
    kind->add(repository, record, size);
    return true;
}

const SdrSensor *SdrFind(const SdrRepository &repository, u8 owner, u8 lun, u8 number)
{
    for (const std::vector<SdrSensor> *sensors : {&repository.sensors, &repository.eventsOnly}) {
        for (const SdrSensor &sensor : *sensors) {
            if (sensor.owner == owner && sensor.lun == lun && sensor.number == number)
                return &sensor;
        }
    }
    return nullptr;
}
