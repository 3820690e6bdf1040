// SPDX-License-Identifier: Apache-2.0
// intrusion.cpp -- /system1/intrusion1: the intrusion sensors.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "intrusion",
    .name = "intrusion",
    .description = "Manage intrusion sensors",
    .kindId = kMeIntrusion,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeIntrusion, MeIntrusion, kKind)
