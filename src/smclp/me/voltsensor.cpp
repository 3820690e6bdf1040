// SPDX-License-Identifier: Apache-2.0
// voltsensor.cpp -- /system1/voltages1/voltsensorN: voltages that are good or bad.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "voltsensor";
constexpr u8 kType = 2;
constexpr u8 kFormat = 2;

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
constexpr SensorKind kSensor = {.read = get_voltdata, .states = VoltSensorStateText};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_voltdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeVoltSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeVoltSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MeVoltSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeVoltSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                  u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeVoltSensor(ManagedElement *element)
{
    MeSetName(element, "voltsensor");
    MeSetDesc(element, "Voltage sensor.");
    element->kindId = kMeVoltSensor;
    element->parentKindId = kMeVoltages;
    element->addProperties = MeVoltSensorAddProperties;
    element->addVerbs = MeVoltSensorAddVerbs;
    element->instanceTag = MeVoltSensorInstanceTag;
    element->refreshProperties = MeVoltSensorRefreshProperties;
}
