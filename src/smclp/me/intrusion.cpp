// SPDX-License-Identifier: Apache-2.0
// intrusion.cpp -- /system1/intrusion1: the intrusion sensors.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MeIntrusionInstanceTag()
{
    return 1;
}

u32 MeIntrusionAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeIntrusion(ManagedElement *element)
{
    MeSetName(element, "intrusion");
    MeSetDesc(element, "Manage intrusion sensors");
    element->kindId = kMeIntrusion;
    element->parentKindId = kMeSystem;
    element->addVerbs = MeIntrusionAddVerbs;
    element->instanceTag = MeIntrusionInstanceTag;
}
