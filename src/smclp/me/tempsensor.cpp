// SPDX-License-Identifier: Apache-2.0
// tempsensor.cpp -- /system1/temperatures1/tempsensorN.
//
// Readings are the object manager's own text, in degrees Celsius; nothing is scaled or cached. N
// counts the sensors of this Type and Format only.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "tempsensor";
constexpr u8 kType = 1;
constexpr u8 kFormat = 1;

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
constexpr SensorKind kSensor = {.read = get_tempdata, .states = kThresholdStateText};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_tempdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeTempSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeTempSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MeTempSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeTempSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                  u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeTempSensor(ManagedElement *element)
{
    MeSetName(element, "tempsensor");
    MeSetDesc(element, "Temperature sensor.");
    element->kindId = kMeTempSensor;
    element->parentKindId = kMeTemperatures;
    element->addProperties = MeTempSensorAddProperties;
    element->addVerbs = MeTempSensorAddVerbs;
    element->instanceTag = MeTempSensorInstanceTag;
    element->refreshProperties = MeTempSensorRefreshProperties;
}
