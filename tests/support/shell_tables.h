// SPDX-License-Identifier: Apache-2.0
// shell_tables.h -- how much the shell's tables hold, counted where it stands.
//
// A test that is about something else takes its numbers from here: a new verb, kind or property
// breaks the tests of its own table alone.
#ifndef TESTS_SUPPORT_SHELL_TABLES_H
#define TESTS_SUPPORT_SHELL_TABLES_H

#include "smclp/command_table.h"
#include "smclp/discovery.h"
#include "smclp/me/kinds.h"

inline u32 VerbCount()
{
    u32 count = 0;
    while (smclpCommandTable[count].id != kCommandNone)
        ++count;
    return count;
}

inline const SmclpCommandRow &LastVerb()
{
    return smclpCommandTable[VerbCount() - 1];
}

inline u32 KindCount()
{
    u32 count = 0;
    while (meTable[count] != nullptr)
        ++count;
    return count;
}

// Of all elements of the tree that stands.
struct TreeCounts {
    u32 elements = 0;
    u32 verbs = 0;  // command ids
    u32 properties = 0;
    u32 parents = 0;  // elements with a child
};

inline TreeCounts CountTree()
{
    TreeCounts counts;
    for (const SmclpMeIdMapping *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        ++counts.elements;
        for (const void *verb = entry->element->verbs; verb != nullptr; verb = ListNext(verb))
            ++counts.verbs;
        for (const void *one = MeProperties(entry->element); one != nullptr; one = ListNext(one))
            ++counts.properties;
        counts.parents += entry->element->firstChild != nullptr ? 1 : 0;
    }
    return counts;
}

#endif
