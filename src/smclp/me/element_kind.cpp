// SPDX-License-Identifier: Apache-2.0
// element_kind.cpp -- what element kinds share.
#include "smclp/me/element_kind.h"

#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/command_list.h"

#include <string.h>

u32 FromText(const PropertyRequest &request)
{
    StrCopy(request.value, request.argument, request.length);
    return kMeOk;
}

u32 MeAddTableProperties(const PropertyTable &table, ManagedElement *element)
{
    for (const PropertyRow &row : table.rows) {
        const u32 result = MeAddProperty(element, row.name, "");
        if (result != 0)
            return result;
    }
    return 0;
}

const PropertyRow *MeFindPropertyRow(const PropertyTable &table, const char *name)
{
    for (const PropertyRow &row : table.rows) {
        if (StrEqual(name, row.name))
            return &row;
    }
    return nullptr;
}

u32 MeRefreshFromTable(const PropertyTable &table, const ManagedElement *element, const char *name,
                       char *value, u32 length, int line)
{
    if (element == nullptr || name == nullptr || value == nullptr) {
        TRACE_ASSERT_FAILED_AT(table.unit, line);
        return kMeFailed;
    }
    if (length < kMeMinRefreshLength)
        return kMeFailed;
    memset(value, 0, length);
    const PropertyRow *row = MeFindPropertyRow(table, name);
    if (row == nullptr)
        return kMeOk;
    return row->source({row->argument, element->instanceNumber, value, length, table.sensor});
}

u32 MeAddCommonVerbs(ManagedElement *element)
{
    static constexpr u32 kVerbs[] = {kCommandCd, kCommandExit, kCommandHelp, kCommandShow,
                                     kCommandVersion};
    return MeAddCommands(element, kVerbs, sizeof kVerbs / sizeof kVerbs[0]);
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
