// SPDX-License-Identifier: Apache-2.0
// intrsensor.cpp -- /system1/intrusion1/sensorN: whether the chassis is open.
//
// The state is a number that this kind translates. The kind lists the verb delete, which clears
// the event log, whatever target it is called on: deliberate.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr StateCode intrsensor_states[] = {
    {520, "no intrusion"},
    {521, "chassis intrusion"},
    {522, "drive bay intrusion"},
    {523, "I/O card area intrusion"},
    {524, "processor area intrusion"},
    {525, "LAN disconnect"},
    {526, "unauthorized dock"},
    {527, "FAN area intrusion"},
};

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName",    FromText,       "CIM_ComputerSystem"},
    {"SystemName",                 FromSystemName, nullptr},
    {"CreationClassName",          FromText,       "CIM_Sensor"},
    {"DeviceID",                   FromNumber,     "INTRUSION "},
    {"SensorType",                 FromText,       "1"},
    {"PossibleStates",             FromStateCodes, nullptr},
    {"CurrentState",               FromStateCode,  kPropertyStateValue},
    {"ElementName",                FromSensor,     kPropertyName},
    {"OtherSensorTypeDescription", FromText,       "Chassis intrusion sensor."},
    {"EnabledState",               FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {
    .type = 5, .format = 2, .codes = intrsensor_states, .defaultState = "no intrusion"};
constexpr ElementKind kKind = {
    .unit = "intrsensor",
    .name = "sensor",
    .description = "Intrusion sensor.",
    .kindId = kMeIntrSensor,
    .parentKindId = kMeIntrusion,
    .verbs = kMeCommonVerbsAndDelete,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeIntrSensor, get_intrdata, kKind)
