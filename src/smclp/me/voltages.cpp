// SPDX-License-Identifier: Apache-2.0
// voltages.cpp -- /system1/voltages1: the voltages, discrete and numeric.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MeVoltagesInstanceTag()
{
    return 1;
}

u32 MeVoltagesAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeVoltages(ManagedElement *element)
{
    MeSetName(element, "voltages");
    MeSetDesc(element, "Manage voltage sensors");
    element->kindId = kMeVoltages;
    element->parentKindId = kMeSystem;
    element->addVerbs = MeVoltagesAddVerbs;
    element->instanceTag = MeVoltagesInstanceTag;
}
