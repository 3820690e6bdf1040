// SPDX-License-Identifier: Apache-2.0
// powersupplies.cpp -- /system1/powersupplies1: the power supplies and their redundancy.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MePowerSuppliesInstanceTag()
{
    return 1;
}

u32 MePowerSuppliesAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MePowerSupplies(ManagedElement *element)
{
    MeSetName(element, "powersupplies");
    MeSetDesc(element, "Manage power supply sensors");
    element->kindId = kMePowerSupplies;
    element->parentKindId = kMeSystem;
    element->addVerbs = MePowerSuppliesAddVerbs;
    element->instanceTag = MePowerSuppliesInstanceTag;
}
