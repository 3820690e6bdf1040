// SPDX-License-Identifier: Apache-2.0
// fans.cpp -- /system1/fans1: the fan speeds and the fan redundancy.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MeSensorsInstanceTag()
{
    return 1;
}

u32 MeSensorsAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeSensors(ManagedElement *element)
{
    MeSetName(element, "fans");
    MeSetDesc(element, "Manage fan sensors");
    element->kindId = kMeFans;
    element->parentKindId = kMeSystem;
    element->addVerbs = MeSensorsAddVerbs;
    element->instanceTag = MeSensorsInstanceTag;
}
