// SPDX-License-Identifier: Apache-2.0
// pwrsensor.cpp -- /system1/powersupplies1/pwrsupplyN.
//
// The output power comes from the record of the power supply with the sensor's own number.
#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/me/objmgr_access.h"
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr char kUnit[] = "pwrsensor";
constexpr u8 kType = 8;
constexpr u8 kFormat = 2;

u32 FromPowerSupply(const PropertyRequest &request)
{
    char work[kSensorTextSize] = "";
    const u32 result = get_psinfo(request.number, work, request.argument);
    if (result == 0)
        StrCopy(request.value, work, request.length);
    return result;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName", FromText,        "CIM_ComputerSystem"},
    {"SystemName",              FromSystemName,  nullptr},
    {"CreationClassName",       FromText,        "CIM_PowerSupply"},
    {"DeviceID",                FromNumber,      "Power Supply "},
    {"TotalOutputPower",        FromPowerSupply, kPropertyPowerSupplyWattage},
    {"OperationalStatus",       FromSensor,      kPropertyState},
    {"HealthState",             FromSensor,      kPropertyStatusText},
    {"EnabledState",            FromText,        "1"},
    {"ElementName",             FromSensor,      kPropertyName},
    // clang-format on
};
constexpr SensorKind kSensor = {.read = get_pwrsupdata};
constexpr PropertyTable kTable = {kUnit, kRows, &kSensor};

}  // namespace

u32 get_psinfo(u32 index, char *out, const char *property)
{
    ObjMgrConnection connection;
    if (!connection.Connect(kUnit, __LINE__))
        return 1;
    alignas(max_align_t) char storage[kSensorStorageSize] = {};
    ObjMgrInstance *supply = connection->InitInstance(storage, sizeof storage);
    if (supply == nullptr) {
        TRACE_ASSERT_FAILED(kUnit);
        return 1;
    }
    const RowPath path = PowerSupplyPath(static_cast<u8>(index));
    if (connection->GetInstance(connection.Handle(), path.Text(), 0, supply) != kCimOk)
        return 1;
    const char *text = connection->GetInstanceValue(supply, property);
    if (StrIsEmpty(text)) {
        TRACE_ASSERT_FAILED(kUnit);
        return 1;
    }
    StrCopy(out, text, kSensorTextSize);
    return 0;
}

u32 get_pwrsupdata(u32 instance, char *out, const char *property)
{
    return get_sensor_data(kType, kFormat, instance, out, property);
}

u32 MePwrSupSensorInstanceTag()
{
    return get_num_instances(kType, kFormat);
}

u32 MePwrSupSensorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MePwrSupSensorAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MePwrSupSensorRefreshProperties(ManagedElement *element, const char *name, char *value,
                                    u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MePwrSupSensor(ManagedElement *element)
{
    MeSetName(element, "pwrsupply");
    MeSetDesc(element, "Manage power supply sensors");
    element->kindId = kMePwrSupSensor;
    element->parentKindId = kMePowerSupplies;
    element->addProperties = MePwrSupSensorAddProperties;
    element->addVerbs = MePwrSupSensorAddVerbs;
    element->instanceTag = MePwrSupSensorInstanceTag;
    element->refreshProperties = MePwrSupSensorRefreshProperties;
}
