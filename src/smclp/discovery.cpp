// SPDX-License-Identifier: Apache-2.0
// discovery.cpp -- from meTable to the tree of targets.
#include "smclp/discovery.h"

#include "platform/memmgr.h"

SmclpMeIdMapping *pMeMapping;
u32 SMCLP_MAX_LEVEL = 1;

namespace
{

void LinkAsLastChild(ManagedElement *parent, ManagedElement *element)
{
    element->parent = parent;
    if (parent->firstChild == nullptr)
        ++SMCLP_MAX_LEVEL;
    ManagedElement **end = &parent->firstChild;
    while (*end != nullptr)
        end = &(*end)->nextSibling;
    *end = element;
}

// False: the element is left out, neither mapped nor linked nor freed.
bool IsPlaced(const ManagedElement *element)
{
    if (element->name[0] == '\0' && element->kindId != kMeRoot)
        return false;
    return element->kindId != kMeKindUnset && element->parentKindId != kMeKindUnset;
}

}  // namespace

u32 SmclpDiscoverElements()
{
    return SmclpDiscoverFrom(meTable);
}

u32 SmclpDiscoverFrom(const MeConstructor *table)
{
    u32 result = kSmclpFailed;
    for (const MeConstructor *construct = table; *construct != nullptr; ++construct) {
        ManagedElement *element = MeCreate();
        if (element == nullptr)
            return result;
        element->kindId = kMeKindUnset;
        element->parentKindId = kMeKindUnset;
        element->word9 = 0;
        element->word10 = 1;
        (*construct)(element);
        if (element->addVerbs != nullptr)
            element->addVerbs(element);
        result = kSmclpOk;

        if (!IsPlaced(element) || SmclpAddMeIdMapping(element, element->kindId) != kSmclpOk)
            continue;
        ManagedElement *parent = SmclpGetMeById(element->parentKindId);
        if (parent != nullptr)
            LinkAsLastChild(parent, element);
    }
    return result;
}

u32 SmclpPopulateManagedElement(ManagedElement *element)
{
    if (element == nullptr)
        return kSmclpBadParameter;
    if (element->addVerbs != nullptr)
        element->addVerbs(element);
    if (element->addProperties != nullptr)
        element->addProperties(element);
    return kSmclpOk;
}

u32 SmclpAddMeIdMapping(ManagedElement *element, u32 kindId)
{
    static_assert(sizeof(SmclpMeIdMapping) <= MemMgrRoom(kSmclpMeIdMappingSize));
    auto *entry = static_cast<SmclpMeIdMapping *>(MemMgrAlloc(kSmclpMeIdMappingSize));
    if (entry == nullptr)
        return kSmclpNoMemory;
    *entry = {nullptr, element, kindId};
    SmclpMeIdMapping **end = &pMeMapping;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = entry;
    return kSmclpOk;
}

ManagedElement *SmclpGetMeById(u32 kindId)
{
    if (kindId == kMeKindUnset || kindId == kMeKindNone)
        return nullptr;
    for (SmclpMeIdMapping *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        if (entry->kindId == kindId)
            return entry->element;
    }
    return nullptr;
}

ManagedElement *SmclpGetRootElement()
{
    for (SmclpMeIdMapping *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        if (entry->element->kindId != 0)
            return entry->element;
    }
    return nullptr;
}
