// SPDX-License-Identifier: Apache-2.0
// fanred.cpp -- /system1/fans1/redundancysetN: whether the fans may lose one.
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
    {"TypeOfSet",        FromText,   "3"},
    {"MinNumberNeeded",  FromText,   "0"},
    {"ElementName",      FromSensor, kPropertyName},
    // clang-format on
};
constexpr SensorKind kSensor = {.type = 4, .format = 3};
constexpr ElementKind kKind = {
    .unit = "fanred",
    .name = "redundancyset",
    .description = "Battery sensor.",
    .kindId = kMeRedundancySet,  // shared with pwrred: deliberate
    .parentKindId = kMeFans,
    .rows = kRows,
    .sensor = &kSensor,
};

}  // namespace

ME_SENSOR_KIND(MeFanRedSensor, get_fanreddata, kKind)
