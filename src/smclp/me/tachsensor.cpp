// SPDX-License-Identifier: Apache-2.0
// tachsensor.cpp -- /system1/fans1/tachsensorN: fan speeds.
//
// Readings are the object manager's own text, in revolutions per minute.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "tachsensor";
constexpr u8 kType = 4;
constexpr u8 kFormat = 1;

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
constexpr SensorKind kSensor = {.read = get_tachdata, .states = kThresholdStateText};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_tachdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeTachSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeTachSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MeTachSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeTachSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                  u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeTachSensor(ManagedElement *element)
{
    MeSetName(element, "tachsensor");
    MeSetDesc(element, "Manage fan sensors.");
    element->kindId = kMeTachSensor;
    element->parentKindId = kMeFans;
    element->addProperties = MeTachSensorAddProperties;
    element->addVerbs = MeTachSensorAddVerbs;
    element->instanceTag = MeTachSensorInstanceTag;
    element->refreshProperties = MeTachSensorRefreshProperties;
}
