// SPDX-License-Identifier: Apache-2.0
// powermonitor.cpp -- /system1/powermonitor1: the power consumption and amperage sensors.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MePowerMonitorInstanceTag()
{
    return 1;
}

u32 MePowerMonitorAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void PowerMonitor(ManagedElement *element)
{
    MeSetName(element, "powermonitor");
    MeSetDesc(element, "Manage power monitoring sensors");
    element->kindId = kMePowerMonitor;
    element->parentKindId = kMeSystem;
    element->addVerbs = MePowerMonitorAddVerbs;
    element->instanceTag = MePowerMonitorInstanceTag;
}
