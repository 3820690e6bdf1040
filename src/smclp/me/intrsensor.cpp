// SPDX-License-Identifier: Apache-2.0
// intrsensor.cpp -- /system1/intrusion1/sensorN: whether the chassis is open.
//
// The state is a number that this kind translates. The kind lists the verb delete, which clears
// the event log, whatever target it is called on: deliberate.
#include "smclp/command_list.h"
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "intrsensor";
constexpr u8 kType = 5;
constexpr u8 kFormat = 2;

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
    .read = get_intrdata, .codes = intrsensor_states, .defaultState = "no intrusion"};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_intrdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeIntrSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeIntrSensorAddVerbs(ManagedElement *element)
{
    const u32 result = MeAddCommonVerbs(element);
    return result != 0 ? result : MeAddCommand(element, kCommandDelete);
}

u32 MeIntrSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeIntrSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                  u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeIntrSensor(ManagedElement *element)
{
    MeSetName(element, "sensor");
    MeSetDesc(element, "Intrusion sensor.");
    element->kindId = kMeIntrSensor;
    element->parentKindId = kMeIntrusion;
    element->addProperties = MeIntrSensorAddProperties;
    element->addVerbs = MeIntrSensorAddVerbs;
    element->instanceTag = MeIntrSensorInstanceTag;
    element->refreshProperties = MeIntrSensorRefreshProperties;
}
