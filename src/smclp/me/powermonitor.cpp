// SPDX-License-Identifier: Apache-2.0
// powermonitor.cpp -- /system1/powermonitor1: the power consumption and amperage sensors.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "powermonitor",
    .name = "powermonitor",
    .description = "Manage power monitoring sensors",
    .kindId = kMePowerMonitor,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(PowerMonitor, MePowerMonitor, kKind)
