// SPDX-License-Identifier: Apache-2.0
// hardwareperf.cpp -- /system1/hardwareperformance1: the hardware performance sensors.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "hardwareperf",
    .name = "hardwareperformance",
    .description = "Manage hardware performance sensors",
    .kindId = kMeHardwarePerf,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeHardwarePerf, MeHardwarePerf, kKind)
