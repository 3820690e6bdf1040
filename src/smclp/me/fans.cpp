// SPDX-License-Identifier: Apache-2.0
// fans.cpp -- /system1/fans1: the fan speeds and the fan redundancy.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "fans",
    .name = "fans",
    .description = "Manage fan sensors",
    .kindId = kMeFans,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeSensors, MeSensors, kKind)
