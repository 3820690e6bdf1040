// SPDX-License-Identifier: Apache-2.0
// perfsensor.cpp -- /system1/hardwareperformance1/sensorN: why the hardware runs slower.
//
// The state is a number that this kind translates. A number that is not in the table is "Others",
// unlike the intrusion sensor's first entry: deliberate.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr StateCode perfsensor_states[] = {
    {19221, "Normal"},
    {19222, "Others"},
    {19223, "Thermal Protection"},
    {19224, "Cooling Capacity changed"},
    {19225, "Power Capacity changed"},
    {19226, "User Configuration"},
};

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName",    FromText,       "CIM_ComputerSystem"},
    {"SystemName",                 FromSystemName, nullptr},
    {"CreationClassName",          FromText,       "CIM_Sensor"},
    {"DeviceID",                   FromNumber,     "HARDWARE PERFORMANCE SENSOR "},
    {"SensorType",                 FromText,       "1"},
    {"PossibleStates",             FromStateCodes, nullptr},
    {"CurrentState",               FromStateCode,  kPropertyStateValue},
    {"ElementName",                FromSensor,     kPropertyName},
    {"OtherSensorTypeDescription", FromText,       "Hardware performance sensor."},
    {"EnabledState",               FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {
    .type = 192, .format = 2, .codes = perfsensor_states, .defaultState = "Others"};
constexpr ElementKind kKind = {
    .unit = "perfsensor",
    .name = "sensor",
    .description = "Hardware performance sensor.",
    .kindId = kMePerfSensor,
    .parentKindId = kMeHardwarePerf,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MePerfSensor, get_perfdata, kKind)
