// SPDX-License-Identifier: Apache-2.0
// voltsensor.cpp -- /system1/voltages1/voltsensorN: voltages that are good or bad.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr const char *VoltSensorStateText[] = {"good", "bad", "unknown"};

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName", FromText,       "CIM_ComputerSystem"},
    {"SystemName",              FromSystemName, nullptr},
    {"CreationClassName",       FromText,       "CIM_Sensor"},
    {"DeviceID",                FromNumber,     "VOLTAGE "},
    {"SensorType",              FromText,       "3"},
    {"PossibleStates",          FromStates,     nullptr},
    {"CurrentState",            FromSensor,     kPropertyState},
    {"ElementName",             FromSensor,     kPropertyName},
    {"EnabledState",            FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 2, .format = 2, .states = VoltSensorStateText};
constexpr ElementKind kKind = {
    .unit = "voltsensor",
    .name = "voltsensor",
    .description = "Voltage sensor.",
    .kindId = kMeVoltSensor,
    .parentKindId = kMeVoltages,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeVoltSensor, get_voltdata, kKind)
