// SPDX-License-Identifier: Apache-2.0
// hardwareperf.cpp -- /system1/hardwareperformance1: the hardware performance sensors.
#include "smclp/me/collections.h"
#include "smclp/me/element_kind.h"

u32 MeHardwarePerfInstanceTag()
{
    return 1;
}

u32 MeHardwarePerfAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeHardwarePerf(ManagedElement *element)
{
    MeSetName(element, "hardwareperformance");
    MeSetDesc(element, "Manage hardware performance sensors");
    element->kindId = kMeHardwarePerf;
    element->parentKindId = kMeSystem;
    element->addVerbs = MeHardwarePerfAddVerbs;
    element->instanceTag = MeHardwarePerfInstanceTag;
}
