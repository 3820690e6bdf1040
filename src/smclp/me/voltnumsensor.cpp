// SPDX-License-Identifier: Apache-2.0
// voltnumsensor.cpp -- /system1/voltages1/numericsensorN: voltages with a reading.
//
// Readings are the object manager's own text, in volts. No threshold is shown.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "voltnumsensor";
constexpr u8 kType = 2;
constexpr u8 kFormat = 1;

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
constexpr SensorKind kSensor = {.read = get_volt_num_data, .states = kThresholdStateText};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_volt_num_data(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeVoltNumSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeVoltNumSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MeVoltNumSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeVoltNumSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                     u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeVoltNumSensor(ManagedElement *element)
{
    MeSetName(element, "numericsensor");
    MeSetDesc(element, "Manage voltage sensors.");
    element->kindId = kMeVoltSensor;  // shared with voltsensor: deliberate
    element->parentKindId = kMeVoltages;
    element->addProperties = MeVoltNumSensorAddProperties;
    element->addVerbs = MeVoltNumSensorAddVerbs;
    element->instanceTag = MeVoltNumSensorInstanceTag;
    element->refreshProperties = MeVoltNumSensorRefreshProperties;
}
