// SPDX-License-Identifier: Apache-2.0
// fanred.cpp -- /system1/fans1/redundancysetN: whether the fans may lose one.
//
// The description is the battery sensor's: deliberate.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "fanred";
constexpr u8 kType = 4;
constexpr u8 kFormat = 3;

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"InstanceID",       FromNumber, ""},
    {"RedundancyStatus", FromSensor, kPropertyState},
    {"TypeOfSet",        FromText,   "3"},
    {"MinNumberNeeded",  FromText,   "0"},
    {"ElementName",      FromSensor, kPropertyName},
    // clang-format on
};
constexpr SensorKind kSensor = {.read = get_fanreddata};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_fanreddata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeFanRedSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeFanRedSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MeFanRedSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeFanRedSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                    u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeFanRedSensor(ManagedElement *element)
{
    MeSetName(element, "redundancyset");
    MeSetDesc(element, "Battery sensor.");
    element->kindId = kMeRedundancySet;  // shared with pwrred: deliberate
    element->parentKindId = kMeFans;
    element->addProperties = MeFanRedSensorAddProperties;
    element->addVerbs = MeFanRedSensorAddVerbs;
    element->instanceTag = MeFanRedSensorInstanceTag;
    element->refreshProperties = MeFanRedSensorRefreshProperties;
}
