// SPDX-License-Identifier: Apache-2.0
// root.cpp -- "/", the root of the target tree. It has verbs and no properties.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

static constexpr ElementKind kKind = {
    .unit = "root",
    .name = "",
    .description = "The managed element is the root",
    .kindId = kMeRoot,
    .parentKindId = kMeKindNone,
};

ME_ADD_VERBS(MeRoot, kKind)

void MeRoot(ManagedElement *element)
{
    MeFillIn(kKind, element);
    element->addVerbs = MeRootAddVerbs;
}
