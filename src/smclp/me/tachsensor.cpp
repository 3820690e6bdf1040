// SPDX-License-Identifier: Apache-2.0
// tachsensor.cpp -- /system1/fans1/tachsensorN: fan speeds.
//
// Readings are the object manager's own text, in revolutions per minute.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName", FromText,       "CIM_ComputerSystem"},
    {"SystemName",              FromSystemName, nullptr},
    {"CreationClassName",       FromText,       "CIM_NumericSensor"},
    {"DeviceID",                FromNumber,     "FAN "},
    {"BaseUnits",               FromText,       "RPM"},
    {"CurrentReading",          FromSensor,     kPropertyReading},
    {"LowerThresholdCritical",  FromSensor,     kPropertyFailThresholdMin},
    {"SupportedThreshold",      FromText,       "{ \"LowerThresholdCritical\" }"},
    {"SettableThreshold",       FromText,       "{ }"},
    {"SensorType",              FromText,       "5"},
    {"PossibleStates",          FromStates,     nullptr},
    {"CurrentState",            FromSensor,     kPropertyStatusText},
    {"ElementName",             FromSensor,     kPropertyName},
    {"EnabledState",            FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 4, .format = 1, .states = kThresholdStateText};
constexpr ElementKind kKind = {
    .unit = "tachsensor",
    .name = "tachsensor",
    .description = "Manage fan sensors.",
    .kindId = kMeTachSensor,
    .parentKindId = kMeFans,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeTachSensor, get_tachdata, kKind)
