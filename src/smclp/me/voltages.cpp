// SPDX-License-Identifier: Apache-2.0
// voltages.cpp -- /system1/voltages1: the voltages, discrete and numeric.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "voltages",
    .name = "voltages",
    .description = "Manage voltage sensors",
    .kindId = kMeVoltages,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeVoltages, MeVoltages, kKind)
