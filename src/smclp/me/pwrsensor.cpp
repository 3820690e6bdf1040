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

u32 FromPowerSupply(const PropertyRequest &request)
{
    char work[kSensorTextSize] = "";
    const u32 result = get_psinfo(request.number, work, request.argument);
    if (result == kMeOk)
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
constexpr SensorKind kSensor = {.type = 8, .format = 2};
constexpr ElementKind kKind = {
    .unit = kUnit,
    .name = "pwrsupply",
    .description = "Manage power supply sensors",
    .kindId = kMePwrSupSensor,
    .parentKindId = kMePowerSupplies,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

u32 get_psinfo(u32 index, char *out, const char *property)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    alignas(max_align_t) char storage[kSensorStorageSize] = {};
    ObjMgrInstance *supply = connection.InitInstance(storage, sizeof storage);
    if (supply == nullptr) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    const RowPath path = PowerSupplyPath(static_cast<u8>(index));
    if (connection.GetInstance(path.Text(), supply) != kCimOk)
        return kMeFailed;
    const char *text = connection.GetValue(supply, property);
    if (StrIsEmpty(text)) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    StrCopy(out, text, kSensorTextSize);
    return kMeOk;
}

ME_SENSOR_KIND(MePwrSupSensor, get_pwrsupdata, kKind)
