// SPDX-License-Identifier: Apache-2.0
// root.cpp -- "/", the root of the target tree. It has verbs and no properties.
#include "smclp/command_list.h"
#include "smclp/me/kinds.h"

u32 MeRootAddVerbs(ManagedElement *element)
{
    static constexpr u32 kVerbs[] = {kCommandCd, kCommandExit, kCommandHelp, kCommandShow,
                                     kCommandVersion};
    return MeAddCommands(element, kVerbs, sizeof kVerbs / sizeof kVerbs[0]);
}

void MeRoot(ManagedElement *element)
{
    MeSetName(element, "");
    MeSetDesc(element, "The managed element is the root");
    element->kindId = kMeRoot;
    element->parentKindId = kMeKindNone;
    element->instanceNumber = 0;
    element->addVerbs = MeRootAddVerbs;
}
