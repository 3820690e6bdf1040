// SPDX-License-Identifier: Apache-2.0
// pwrred.cpp -- /system1/powersupplies1/redundancysetN: whether the power supplies may lose one.
//
// The description is the battery sensor's: deliberate.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "pwrred";
constexpr u8 kType = 8;
constexpr u8 kFormat = 3;

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"InstanceID",       FromNumber, ""},
    {"RedundancyStatus", FromSensor, kPropertyState},
    {"TypeOfSet",        FromText,   "4"},
    {"MinNumberNeeded",  FromText,   "0"},
    {"ElementName",      FromSensor, kPropertyName},
    // clang-format on
};
constexpr SensorKind kSensor = {.read = get_pwrreddata};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_pwrreddata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MePwrRedSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MePwrRedSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MePwrRedSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MePwrRedSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                    u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MePwrRedSensor(ManagedElement *element)
{
    MeSetName(element, "redundancyset");
    MeSetDesc(element, "Battery sensor.");
    element->kindId = kMeRedundancySet;  // shared with fanred: deliberate
    element->parentKindId = kMePowerSupplies;
    element->addProperties = MePwrRedSensorAddProperties;
    element->addVerbs = MePwrRedSensorAddVerbs;
    element->instanceTag = MePwrRedSensorInstanceTag;
    element->refreshProperties = MePwrRedSensorRefreshProperties;
}
