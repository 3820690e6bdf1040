// SPDX-License-Identifier: Apache-2.0
// powersupplies.cpp -- /system1/powersupplies1: the power supplies and their redundancy.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "powersupplies",
    .name = "powersupplies",
    .description = "Manage power supply sensors",
    .kindId = kMePowerSupplies,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MePowerSupplies, MePowerSupplies, kKind)
