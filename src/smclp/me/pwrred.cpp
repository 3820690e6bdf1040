// SPDX-License-Identifier: Apache-2.0
// pwrred.cpp -- /system1/powersupplies1/redundancysetN: whether the power supplies may lose one.
//
// The description is the battery sensor's: deliberate.
#include "smclp/me/sensor_kind.h"
#include "smclp/me/sensors.h"

namespace
{

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"InstanceID",       FromNumber, ""},
    {"RedundancyStatus", FromSensor, kPropertyState},
    {"TypeOfSet",        FromText,   "4"},
    {"MinNumberNeeded",  FromText,   "0"},
    {"ElementName",      FromSensor, kPropertyName},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 8, .format = 3};
constexpr ElementKind kKind = {
    .unit = "pwrred",
    .name = "redundancyset",
    .description = "Battery sensor.",
    .kindId = kMeRedundancySet,  // shared with fanred: deliberate
    .parentKindId = kMePowerSupplies,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MePwrRedSensor, get_pwrreddata, kKind)
