// SPDX-License-Identifier: Apache-2.0
// batsensor.cpp -- /system1/batteries1/sensorN: the CMOS battery.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr const char *BatterySensorStateText[] = {"absent", "low", "failed", "good"};

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName",    FromText,       "CIM_ComputerSystem"},
    {"SystemName",                 FromSystemName, nullptr},
    {"CreationClassName",          FromText,       "CIM_Sensor"},
    {"DeviceID",                   FromNumber,     "BATTERY "},
    {"SensorType",                 FromText,       "1"},
    {"PossibleStates",             FromStates,     nullptr},
    {"CurrentState",               FromSensor,     kPropertyState},
    {"ElementName",                FromSensor,     kPropertyName},
    {"OtherSensorTypeDescription", FromText,       "CMOS battery sensor."},
    {"EnabledState",               FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 41, .format = 2, .states = BatterySensorStateText};
constexpr ElementKind kKind = {
    .unit = "batsensor",
    .name = "sensor",
    .description = "Battery sensor.",
    .kindId = kMeBatSensor,
    .parentKindId = kMeBatteries,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeBatSensor, get_batdata, kKind)
