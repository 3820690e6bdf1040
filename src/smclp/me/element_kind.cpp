// SPDX-License-Identifier: Apache-2.0
// element_kind.cpp -- what element kinds share.
#include "smclp/me/element_kind.h"

#include "platform/str.h"
#include "platform/trace.h"

#include <string.h>

u32 FromText(const PropertyRequest &request)
{
    StrCopy(request.value, request.argument, request.length);
    return kMeOk;
}

void MeFillIn(const ElementKind &kind, ManagedElement *element)
{
    MeSetName(element, kind.name);
    MeSetDesc(element, kind.description);
    element->kindId = kind.kindId;
    element->parentKindId = kind.parentKindId;
    element->instanceNumber = 0;
}

u32 MeAddKindVerbs(const ElementKind &kind, ManagedElement *element)
{
    return MeAddCommands(element, kind.verbs.data(), static_cast<u32>(kind.verbs.size()));
}

u32 MeAddKindProperties(const ElementKind &kind, ManagedElement *element)
{
    for (const PropertyRow &row : kind.rows) {
        const u32 result = MeAddProperty(element, row.name, "");
        if (result != kMeOk)
            return result;
    }
    return kMeOk;
}

const PropertyRow *MeFindPropertyRow(const ElementKind &kind, const char *name)
{
    for (const PropertyRow &row : kind.rows) {
        if (StrEqual(name, row.name))
            return &row;
    }
    return nullptr;
}

u32 MeRefreshFromRows(const ElementKind &kind, const ManagedElement *element, const char *name,
                      char *value, u32 length, int line)
{
    if (element == nullptr || name == nullptr || value == nullptr) {
        TRACE_ASSERT_FAILED_AT(kind.unit, line);
        return kMeFailed;
    }
    if (length < kMeMinRefreshLength)
        return kMeFailed;
    memset(value, 0, length);
    const PropertyRow *row = MeFindPropertyRow(kind, name);
    if (row == nullptr)
        return kMeOk;
    return row->source({row->argument, element->instanceNumber, value, length, kind.sensor});
}

void AppendText(char *to, size_t size, const char *text)
{
    const size_t used = strnlen(to, size);
    if (used < size)
        StrCopy(to + used, text, size - used);
}

void AppendListBegin(char *to, size_t size)
{
    AppendText(to, size, "{ ");
}

void AppendListText(char *to, size_t size, const char *text)
{
    AppendText(to, size, "\"");
    AppendText(to, size, text);
    AppendText(to, size, "\" ");
}

void AppendListEnd(char *to, size_t size)
{
    AppendText(to, size, "}");
}
