// SPDX-License-Identifier: Apache-2.0
// voltnumsensor.cpp -- /system1/voltages1/numericsensorN: voltages with a reading.
//
// Readings are the object manager's own text, in volts. No threshold is shown.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName", FromText,       "CIM_ComputerSystem"},
    {"SystemName",              FromSystemName, nullptr},
    {"CreationClassName",       FromText,       "CIM_NumericSensor"},
    {"DeviceID",                FromNumber,     "NUMERIC VOLTAGE "},
    {"BaseUnits",               FromText,       "V"},
    {"CurrentReading",          FromSensor,     kPropertyReading},
    {"SupportedThreshold",      FromText,       "{ }"},
    {"SettableThreshold",       FromText,       "{ }"},
    {"SensorType",              FromText,       "3"},
    {"PossibleStates",          FromStates,     nullptr},
    {"CurrentState",            FromSensor,     kPropertyStatusText},
    {"ElementName",             FromSensor,     kPropertyName},
    {"EnabledState",            FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 2, .format = 1, .states = kThresholdStateText};
constexpr ElementKind kKind = {
    .unit = "voltnumsensor",
    .name = "numericsensor",
    .description = "Manage voltage sensors.",
    .kindId = kMeVoltSensor,  // shared with voltsensor: deliberate
    .parentKindId = kMeVoltages,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeVoltNumSensor, get_volt_num_data, kKind)
