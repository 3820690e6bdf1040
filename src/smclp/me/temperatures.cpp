// SPDX-License-Identifier: Apache-2.0
// temperatures.cpp -- /system1/temperatures1: the temperature sensors.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "temperatures",
    .name = "temperatures",
    .description = "Manage temperature sensors",
    .kindId = kMeTemperatures,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeTemperatures, MeTemperatures, kKind)
