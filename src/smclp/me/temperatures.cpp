// SPDX-License-Identifier: Apache-2.0
// temperatures.cpp -- /system1/temperatures1: the temperature sensors.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MeTemperaturesInstanceTag()
{
    return 1;
}

u32 MeTemperaturesAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeTemperatures(ManagedElement *element)
{
    MeSetName(element, "temperatures");
    MeSetDesc(element, "Manage temperature sensors");
    element->kindId = kMeTemperatures;
    element->parentKindId = kMeSystem;
    element->addVerbs = MeTemperaturesAddVerbs;
    element->instanceTag = MeTemperaturesInstanceTag;
}
