// SPDX-License-Identifier: Apache-2.0
// pwrconsumption.cpp -- /system1/powermonitor1/numericsensorN: power and current drawn.
//
// Two variants share one Type, Format and numbering: power consumption in watts, and amperage,
// told apart by the sensor's name each time a property depends on it. Amperage has no thresholds.
#include "platform/str.h"
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

#include <string.h>

namespace
{

// The text for the variant that the sensor is.
u32 WriteVariant(const PropertyRequest &request, const char *power, const char *amperage)
{
    u32 isAmperage = 0;
    const u32 result = is_amperage_sensor(request.number, &isAmperage);
    if (result == kMeOk)
        StrCopy(request.value, isAmperage != 0 ? amperage : power, request.length);
    return result;
}

u32 DeviceId(const PropertyRequest &request)
{
    u32 isAmperage = 0;
    const u32 result = is_amperage_sensor(request.number, &isAmperage);
    if (result != kMeOk)
        return result;
    PropertyRequest numbered = request;
    numbered.argument = isAmperage != 0 ? "AMPERAGE " : "POWER CONSUMPTION ";
    return FromNumber(numbered);
}

u32 Units(const PropertyRequest &request)
{
    return WriteVariant(request, "Watts", "AMP");
}

u32 Threshold(const PropertyRequest &request)
{
    u32 isAmperage = 0;
    const u32 result = is_amperage_sensor(request.number, &isAmperage);
    if (result != kMeOk)
        return result;
    if (isAmperage == 0)
        return FromSensor(request);
    StrCopy(request.value, "N/A", request.length);
    return kMeOk;
}

u32 TypeDescription(const PropertyRequest &request)
{
    return WriteVariant(request, "Power consumption sensor.", "Amperage sensor.");
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"SystemCreationClassName",    FromText,        "CIM_ComputerSystem"},
    {"SystemName",                 FromSystemName,  nullptr},
    {"CreationClassName",          FromText,        "CIM_NumericSensor"},
    {"DeviceID",                   DeviceId,        nullptr},
    {"BaseUnits",                  Units,           nullptr},
    {"CurrentReading",             FromSensor,      kPropertyReading},
    {"UpperThresholdNonCritical",  Threshold,       kPropertyWarningThresholdMax},
    {"UpperThresholdCritical",     Threshold,       kPropertyFailThresholdMax},
    {"SupportedThreshold",         FromText,        "{ \"UpperThresholdNonCritical\" \"UpperThresholdCritical\" }"},
    {"SettableThreshold",          FromText,        "{ }"},
    {"SensorType",                 FromText,        "1"},
    {"PossibleStates",             FromStates,      nullptr},
    {"CurrentState",               FromSensor,      kPropertyStatusText},
    {"ElementName",                FromSensor,      kPropertyName},
    {"OtherSensorTypeDescription", TypeDescription, nullptr},
    {"EnabledState",               FromText,        "1"},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 3, .format = 1, .states = kThresholdStateText};
constexpr ElementKind kKind = {
    .unit = "pwrconsumption",
    .name = "numericsensor",
    .description = "Numeric sensor.",
    .kindId = kMePowerConsumption,
    .parentKindId = kMePowerMonitor,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

u32 is_amperage_sensor(u32 instance, u32 *flag)
{
    char name[kSensorTextSize] = "";
    const u32 result = get_num_sensor_data(instance, name, kPropertyName);
    if (result == kMeOk)
        *flag = strstr(name, "Current") != nullptr ? 1 : 0;
    return result;
}

ME_SENSOR_KIND(MePowerConsumption, get_num_sensor_data, kKind)
