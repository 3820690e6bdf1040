// SPDX-License-Identifier: Apache-2.0
// perfsensor.cpp -- /system1/hardwareperformance1/sensorN: why the hardware runs slower.
//
// The state is a number that this kind translates. A number that is not in the table is "Others",
// unlike the intrusion sensor's first entry: deliberate.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "perfsensor";
constexpr u8 kType = 192;
constexpr u8 kFormat = 2;

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
    .read = get_perfdata, .codes = perfsensor_states, .defaultState = "Others"};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_perfdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MePerfSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MePerfSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MePerfSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MePerfSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                  u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MePerfSensor(ManagedElement *element)
{
    MeSetName(element, "sensor");
    MeSetDesc(element, "Hardware performance sensor.");
    element->kindId = kMePerfSensor;
    element->parentKindId = kMeHardwarePerf;
    element->addProperties = MePerfSensorAddProperties;
    element->addVerbs = MePerfSensorAddVerbs;
    element->instanceTag = MePerfSensorInstanceTag;
    element->refreshProperties = MePerfSensorRefreshProperties;
}
