// SPDX-License-Identifier: Apache-2.0
// tempsensor.cpp -- /system1/temperatures1/tempsensorN.
//
// Readings are the object manager's own text, in degrees Celsius; nothing is scaled or cached. N
// counts the sensors of this Type and Format only.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName",   FromText,       "CIM_ComputerSystem"},
    {"SystemName",                FromSystemName, nullptr},
    {"CreationClassName",         FromText,       "CIM_NumericSensor"},
    {"DeviceID",                  FromNumber,     "TEMPERATURE "},
    {"BaseUnits",                 FromText,       "C"},
    {"CurrentReading",            FromSensor,     kPropertyReading},
    {"LowerThresholdNonCritical", FromSensor,     kPropertyWarningThresholdMin},
    {"UpperThresholdNonCritical", FromSensor,     kPropertyWarningThresholdMax},
    {"LowerThresholdCritical",    FromSensor,     kPropertyFailThresholdMin},
    {"UpperThresholdCritical",    FromSensor,     kPropertyFailThresholdMax},
    {"SupportedThreshold",        FromText,       "{ \"LowerThresholdNonCritical\" "
                                                  "\"UpperThresholdNonCritical\" "
                                                  "\"LowerThresholdCritical\" "
                                                  "\"UpperThresholdCritical\" }"},
    {"SettableThreshold",         FromText,       "{ }"},
    {"SensorType",                FromText,       "2"},
    {"PossibleStates",            FromStates,     nullptr},
    {"CurrentState",              FromSensor,     kPropertyStatusText},
    {"ElementName",               FromSensor,     kPropertyName},
    {"EnabledState",              FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 1, .format = 1, .states = kThresholdStateText};
constexpr ElementKind kKind = {
    .unit = "tempsensor",
    .name = "tempsensor",
    .description = "Temperature sensor.",
    .kindId = kMeTempSensor,
    .parentKindId = kMeTemperatures,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeTempSensor, get_tempdata, kKind)
