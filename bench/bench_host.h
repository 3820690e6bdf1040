// SPDX-License-Identifier: Apache-2.0
// bench_host.h -- generated servers for figures: any number of sensors and log records.
#ifndef BENCH_BENCH_HOST_H
#define BENCH_BENCH_HOST_H

#include "platform/types.h"

#include <stddef.h>
#include <stdio.h>
#include <string>
#include <utility>
#include <vector>

// A sensor kind by the pair that the object manager gives it.
struct SensorPair {
    u8 type;
    u8 format;
    bool operator==(const SensorPair &) const = default;
};
constexpr SensorPair kTemperature = {1, 1};
constexpr SensorPair kFan = {4, 1};
constexpr SensorPair kFanRedundancy = {4, 3};
constexpr SensorPair kVoltage = {2, 2};
constexpr SensorPair kNumericVoltage = {2, 1};
constexpr SensorPair kPower = {3, 1};  // consumption, or amperage by its name
constexpr SensorPair kBattery = {41, 2};
constexpr SensorPair kIntrusion = {5, 2};
constexpr SensorPair kPowerSupply = {8, 2};
constexpr SensorPair kPowerRedundancy = {8, 3};
constexpr SensorPair kPerformance = {192, 2};

struct BenchSensor {
    SensorPair pair;
    bool amperage;  // a kPower sensor that measures amperes
};

// The sensors stand in the order of their index, from 1. No value of anything is empty.
struct BenchHost {
    std::vector<BenchSensor> sensors;
    u32 records = 0;
};

// At 37 sensors: 8 temperatures, 6 fans, 1 fan redundancy, 10 discrete and 4 numeric voltages, 2
// power (one of them amperage), 1 battery, 1 intrusion, 2 supplies, 1 supply redundancy, 1
// performance. Other numbers keep these shares as far as whole sensors can.
BenchHost MakeBenchHost(u32 sensors, u32 records);

using BenchProperties = std::vector<std::pair<std::string, std::string>>;
BenchProperties BenchSystem();
BenchProperties BenchSensorProperties(const BenchHost &host, u32 index);  // index from 1
BenchProperties BenchRecordProperties(u32 number);

// The host as a description for objmgrd-sim.
std::string BenchHostFile(const BenchHost &host);

#endif
