// SPDX-License-Identifier: Apache-2.0
// batsensor.cpp -- /system1/batteries1/sensorN: the CMOS battery.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "batsensor";
constexpr u8 kType = 41;
constexpr u8 kFormat = 2;

constexpr const char *BatterySensorStateText[] = {"absent", "low", "failed", "good"};

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName",    FromText,       "CIM_ComputerSystem"},
    {"SystemName",                 FromSystemName, nullptr},
    {"CreationClassName",          FromText,       "CIM_Sensor"},
    {"DeviceID",                   FromNumber,     "BATTERY "},
    {"SensorType",                 FromText,       "1"},
    {"PossibleStates",             FromStates,     nullptr},
    {"CurrentState",               FromSensor,     kPropertyState},
    {"ElementName",                FromSensor,     kPropertyName},
    {"OtherSensorTypeDescription", FromText,       "CMOS battery sensor."},
    {"EnabledState",               FromText,       "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.read = get_batdata, .states = BatterySensorStateText};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_batdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MeBatSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MeBatSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MeBatSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeBatSensorRefreshProperties(ManagedElement *element, const char *name, char *value, u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MeBatSensor(ManagedElement *element)
{
    MeSetName(element, "sensor");
    MeSetDesc(element, "Battery sensor.");
    element->kindId = kMeBatSensor;
    element->parentKindId = kMeBatteries;
    element->addProperties = MeBatSensorAddProperties;
    element->addVerbs = MeBatSensorAddVerbs;
    element->instanceTag = MeBatSensorInstanceTag;
    element->refreshProperties = MeBatSensorRefreshProperties;
}
