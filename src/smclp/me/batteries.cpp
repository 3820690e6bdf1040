// SPDX-License-Identifier: Apache-2.0
// batteries.cpp -- /system1/batteries1: the battery sensors.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "batteries",
    .name = "batteries",
    .description = "Manage battery sensors",
    .kindId = kMeBatteries,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeBatteries, MeBatteries, kKind)
