// SPDX-License-Identifier: Apache-2.0
// me.cpp -- the managed element model.
#include "smclp/me/me.h"

#include "platform/memmgr.h"
#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/command_list.h"

#include <string.h>

static constexpr char kUnit[] = "me";

ManagedElement *MeCreate()
{
    static_assert(sizeof(ManagedElement) <= MemMgrRoom(kManagedElementSize));
    auto *element = static_cast<ManagedElement *>(MemMgrAlloc(kManagedElementSize));
    if (element != nullptr)
        memset(element, 0, sizeof *element);
    return element;
}

u32 MeDestroy(ManagedElement *element)
{
    if (element == nullptr)
        return kMeBadArgument;
    MemMgrFree(element);
    return kMeOk;
}

ManagedElement *MeCreateChild(ManagedElement *parent, const char *name)
{
    if (parent == nullptr || name == nullptr || strlen(name) >= sizeof parent->name) {
        TRACE_INVALID_PARAMETER(kUnit);
        return nullptr;
    }
    ManagedElement *element = MeCreate();
    if (element == nullptr) {
        TraceLogMessage(kTraceLevel,
                        "ERROR: %s [%d]: Failed to allocate memory for new managed element\n",
                        kUnit, __LINE__);
        return nullptr;
    }
    MeSetName(element, name);
    element->parent = parent;
    ManagedElement **end = &parent->firstChild;
    while (*end != nullptr)
        end = &(*end)->nextSibling;
    *end = element;
    return element;
}

u32 MeSetName(ManagedElement *element, const char *name)
{
    if (element == nullptr || name == nullptr || strlen(name) >= sizeof element->name)
        return kMeFailed;
    StrCopy(element->name, name, sizeof element->name);
    return kMeOk;
}

u32 MeSetDesc(ManagedElement *element, const char *text)
{
    if (element == nullptr || text == nullptr || strlen(text) >= sizeof element->description)
        return kMeFailed;
    StrCopy(element->description, text, sizeof element->description);
    return kMeOk;
}

u32 MeAddCommand(ManagedElement *element, u32 commandId)
{
    if (element == nullptr)
        return kMeBadArgument;
    if (SmclpGetCommandById(commandId) == nullptr)
        return kMeFailed;
    auto *entry = static_cast<u32 *>(ListAllocateObject(&element->verbs, kMeCommandIdSize));
    if (entry == nullptr) {
        TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: Unable to allocate memory\n", kUnit,
                        __LINE__);
        return kMeBadArgument;
    }
    *entry = commandId;
    return kMeOk;
}

u32 MeAddCommands(ManagedElement *element, const u32 *commandIds, u32 count)
{
    for (u32 i = 0; i < count; ++i) {
        const u32 result = MeAddCommand(element, commandIds[i]);
        if (result != kMeOk)
            return result;
    }
    return kMeOk;
}

bool MeHasCommand(const ManagedElement *element, u32 commandId)
{
    for (const void *entry = element->verbs; entry != nullptr; entry = ListNext(entry)) {
        if (*static_cast<const u32 *>(entry) == commandId)
            return true;
    }
    return false;
}

u32 MeAddProperty(ManagedElement *element, const char *name, const char *value)
{
    if (element == nullptr || name == nullptr || value == nullptr)
        return kMeBadArgument;
    if (strlen(name) >= sizeof(MeProperty::name) || strlen(value) >= sizeof(MeProperty::value))
        return kMeBadArgument;
    auto *entry =
        static_cast<MeProperty *>(ListAllocateObject(&element->properties, kMePropertySize));
    if (entry == nullptr)
        return kMeOutOfMemory;
    StrCopy(entry->name, name, sizeof entry->name);
    StrCopy(entry->value, value, sizeof entry->value);
    return kMeOk;
}

const void *MeProperties(ManagedElement *element)
{
    if (element->properties == nullptr && element->addProperties != nullptr)
        element->addProperties(element);
    return element->properties;
}

namespace
{

// Of an element whose properties have been added.
MeProperty *FirstProperty(const ManagedElement *element)
{
    return static_cast<MeProperty *>(element->properties);
}

MeProperty *NextProperty(const MeProperty *entry)
{
    return static_cast<MeProperty *>(ListNext(entry));
}

// The result does not matter here: after a failure the value is what the kind made of it.
void Refresh(ManagedElement *element, MeProperty *entry)
{
    if (element->refreshProperties != nullptr)
        element->refreshProperties(element, entry->name, entry->value, sizeof entry->value);
}

bool PassesFilter(ManagedElement *element, const char *filterName, const char *filterValue)
{
    for (MeProperty *entry = FirstProperty(element); entry != nullptr;
         entry = NextProperty(entry)) {
        if (!StrEqualNoCase(entry->name, filterName))
            continue;
        Refresh(element, entry);
        if (StrEqualNoCase(entry->value, filterValue))
            return true;
    }
    return false;
}

MeProperty *LastEntryEmptied(const ManagedElement *element)
{
    MeProperty *entry = FirstProperty(element);
    if (entry == nullptr)
        return nullptr;
    while (NextProperty(entry) != nullptr)
        entry = NextProperty(entry);
    entry->value[0] = '\0';
    return entry;
}

}  // namespace

MeProperty *MeReturnProperty(ManagedElement *element, const char *name, MeProperty *,
                             u32 filterGiven, const char *filterValue, const char *filterName)
{
    if (element == nullptr || name == nullptr || strlen(name) >= sizeof(MeProperty::name))
        return nullptr;
    MeProperties(element);
    if (filterGiven != 0 && !PassesFilter(element, filterName, filterValue))
        return LastEntryEmptied(element);

    for (MeProperty *entry = FirstProperty(element); entry != nullptr;
         entry = NextProperty(entry)) {
        if (StrEqualNoCase(entry->name, name)) {
            Refresh(element, entry);
            return entry;
        }
    }
    return LastEntryEmptied(element);
}
