// SPDX-License-Identifier: Apache-2.0
// bench_host.cpp -- generated servers for figures.
#include "bench_host.h"

namespace
{

constexpr struct {
    SensorPair pair;
    u32 share;
} kShares[] = {
    {kTemperature, 8}, {kFan, 6},     {kFanRedundancy, 1}, {kVoltage, 10},    {kNumericVoltage, 4},
    {kPower, 2},       {kBattery, 1}, {kIntrusion, 1},     {kPowerSupply, 2}, {kPowerRedundancy, 1},
    {kPerformance, 1},
};
constexpr u32 kSharesTotal = 37;

std::string Number(u32 number)
{
    return std::to_string(number);
}

std::string Table(const char *header, const BenchProperties &properties)
{
    std::string text = std::string(header) + "\n";
    for (const auto &[name, value] : properties)
        text += name + " = \"" + value + "\"\n";
    return text + "\n";
}

}  // namespace

BenchHost MakeBenchHost(u32 sensors, u32 records)
{
    BenchHost host;
    host.records = records;
    u32 shares = 0;
    for (const auto &row : kShares) {
        // Cumulative, so that the numbers add up.
        shares += row.share;
        const u32 upTo = sensors * shares / kSharesTotal;
        for (u32 n = 1; host.sensors.size() < upTo; ++n)
            host.sensors.push_back({row.pair, row.pair == kPower && n % 2 == 0});
    }
    return host;
}

BenchProperties BenchSystem()
{
    return {{"PowerStatus", "ON"},
            {"ServiceTag", "BENCH01"},
            {"Description", "Generated Server"},
            {"HostName", "bench.example.net"},
            {"Oem", "0"}};
}

BenchProperties BenchSensorProperties(const BenchHost &host, u32 index)
{
    const BenchSensor &sensor = host.sensors[index - 1];
    const std::string name = (sensor.amperage ? "Current " : "Sensor ") + Number(index);
    return {{"Index", Number(index)},
            {"Type", Number(sensor.pair.type)},
            {"Format", Number(sensor.pair.format)},
            {"Name", name},
            {"Reading", Number(20 + index % 50)},
            {"WarningThresholdMin", "5"},
            {"WarningThresholdMax", "75"},
            {"FailThresholdMin", "0"},
            {"FailThresholdMax", "80"},
            {"StatusText", "normal"},
            {"State", "good"},
            {"StateValue", sensor.pair == kPerformance ? "19221" : "520"}};
}

BenchProperties BenchRecordProperties(u32 number)
{
    char time[32];
    snprintf(time, sizeof time, "2026-03-01 %02u:%02u:%02u", number / 3600 % 24, number / 60 % 60,
             number % 60);
    return {{"RecordNum", Number(number)},
            {"Timestamp", time},
            {"Description", "The " + Number(number) + ". event of this server."}};
}

std::string BenchHostFile(const BenchHost &host)
{
    std::string text = Table("[OEM_QARN_System]", BenchSystem());
    u32 supplies = 0;
    for (u32 index = 1; index <= host.sensors.size(); ++index) {
        text += Table("[[OEM_QARN_Sensor]]", BenchSensorProperties(host, index));
        supplies += host.sensors[index - 1].pair == kPowerSupply;
    }
    for (u32 supply = 1; supply <= supplies; ++supply)
        text += Table("[[OEM_QARN_PowerSupply]]",
                      {{"PowerSupplyIndex", Number(supply)}, {"PowerSupplyWattage", "750"}});
    for (u32 number = 1; number <= host.records; ++number)
        text += Table("[[OEM_QARN_LogRecord]]", BenchRecordProperties(number));
    return text;
}
