// SPDX-License-Identifier: Apache-2.0
// fuzz_sensor_records.cpp -- any bytes as the sensor records of a BMC, as they are read and as they
// are stored between two starts.
// Byte 0: 0 a file of stored records; else the bytes behind it are records, each with its length in
// front (one byte), and the sensors they make are shown with that byte as their reading.
#include "ipmi_instance.h"
#include "objmgrd/ipmi/sdr_file.h"
#include "objmgrd/ipmi/sensor_map.h"
#include "objmgrd/ipmi/sensor_place.h"
#include "objmgrd/ipmi/sensor_state.h"

#include <string_view>

namespace
{

// A record may stand for a hundred sensors that differ in a number: so many of all, evenly spread,
// show what the rest would.
constexpr size_t kCheckedMax = 24;
// 31 bytes of Latin-1 or of BCD digits become 62 bytes; where a record stands for several sensors,
// a number of up to 141 follows.
constexpr size_t kNameMax = 65;

void CheckSensor(const SdrSensor &sensor, u8 byte)
{
    if (sensor.name.empty() || sensor.name.size() > kNameMax)
        abort();
    SensorReading reading;
    reading.valid = reading.hasStates = true;
    reading.raw = byte;
    reading.states = static_cast<u16>(byte | (byte << 7));
    reading.thresholdMask = byte & 0x3f;
    for (u8 &threshold : reading.thresholds)
        threshold = static_cast<u8>(byte ^ 0x80);
    const SensorPlace place = SensorPlaceOf(sensor);
    const bool amperes = place.type == kTypeCurrent && place.unit == "A";
    const bool watts = place.type == kTypeCurrent && place.unit == "W";
    const bool current = place.name.find("Current") != std::string::npos;
    if ((amperes && !current) || (watts && current))
        abort();  // the shell would say the other unit
    CheckInstance(SensorInstance(1, sensor, reading));
    CheckInstance(SensorInstance(1, sensor, SensorReading()));
}

void CheckStored(std::string_view bytes)
{
    SdrStored stored;
    if (!SdrStoredParse(bytes, "bmc", &stored)) {
        if (!stored.records.empty() || !stored.thresholds.empty())
            abort();
        return;
    }
    SdrStored again;
    if (!SdrStoredParse(SdrStoredPack("bmc", stored), "bmc", &again) ||
        again.records != stored.records)
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (size == 0)
        return 0;
    if (data[0] == 0) {
        CheckStored({reinterpret_cast<const char *>(data) + 1, size - 1});
        return 0;
    }
    SdrRepository repository;
    for (size_t at = 1; at < size;) {
        const size_t length = std::min<size_t>(data[at], size - at - 1);
        // A copy of exactly this size, so that a byte read behind it is seen.
        const std::vector<u8> record(data + at + 1, data + at + 1 + length);
        SdrAdd(&repository, record.data(), record.size());
        at += 1 + length;
    }
    if (repository.sensors.size() > kSdrSensorsMax || repository.frus.size() > kSdrFrusMax)
        abort();
    const size_t step = repository.sensors.size() / kCheckedMax + 1;
    for (size_t i = 0; i < repository.sensors.size(); i += step)
        CheckSensor(repository.sensors[i], data[0]);
    SensorsWithoutPlace(repository);
    return 0;
}
