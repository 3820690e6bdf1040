// SPDX-License-Identifier: Apache-2.0
// logs.cpp -- /system1/logs1: the collection of logs. It has no properties.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "logs",
    .name = "logs",
    .description = "Contains the collection of SEL log Elements",
    .kindId = kMeLogs,
    .parentKindId = kMeSystem,
};

ME_COLLECTION_KIND(MeLogs, MeLogs, kKind)
