// SPDX-License-Identifier: Apache-2.0
// logs.cpp -- /system1/logs1: the collection of logs. It has no properties.
#include "smclp/me/logs.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

u32 MeLogsInstanceTag()
{
    return 1;
}

u32 MeLogsAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

void MeLogs(ManagedElement *element)
{
    MeSetName(element, "logs");
    MeSetDesc(element, "Contains the collection of SEL log Elements");
    element->kindId = kMeLogs;
    element->parentKindId = kMeSystem;
    element->instanceNumber = 0;
    element->addVerbs = MeLogsAddVerbs;
    element->instanceTag = MeLogsInstanceTag;
}
