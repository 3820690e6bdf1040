// SPDX-License-Identifier: Apache-2.0
// batteries.cpp -- /system1/batteries1: the battery sensors.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MeBatteriesInstanceTag()
{
    return 1;
}

u32 MeBatteriesAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeBatteries(ManagedElement *element)
{
    MeSetName(element, "batteries");
    MeSetDesc(element, "Manage battery sensors");
    element->kindId = kMeBatteries;
    element->parentKindId = kMeSystem;
    element->addVerbs = MeBatteriesAddVerbs;
    element->instanceTag = MeBatteriesInstanceTag;
}
