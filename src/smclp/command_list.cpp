// SPDX-License-Identifier: Apache-2.0
// command_list.cpp -- the table of verbs and the list made from it.
#include "smclp/command_list.h"

#include "platform/list.h"
#include "platform/memmgr.h"
#include "platform/str.h"
#include "smclp/commands/commands.h"

#include <string.h>

void *pCmdPara;
SmclpCommandLink *pClpCommandList;

// To add a verb: commands/cmd_<verb>.cpp, a row here, docs/verbs/<verb>.md and
// tests/cmd_<verb>_test.cpp.
const SmclpCommandRow smclpCommandTable[] = {
    // clang-format off
    {kCommandCd,      "cd",      SmclpParseCommandLineForCd,            SmclpCommandCd},
    {kCommandShow,    "show",    SmclpParseCommandLineForShow,          SmclpCommandShow},
    {kCommandHelp,    "help",    SmclpParseCommandLineForHelp,          SmclpCommandHelp},
    {kCommandCreate,  "create",  nullptr,                               SmclpCommandCreate},
    {kCommandDelete,  "delete",  SmclpParseCommandLineForDelete,        SmclpCommandDelete},
    {kCommandDump,    "dump",    nullptr,                               SmclpCommandDump},
    {kCommandLoad,    "load",    nullptr,                               SmclpCommandLoad},
    {kCommandReset,   "reset",   SmclpParseCommandLineForReset,         SmclpCommandReset},
    {kCommandSetx,    "setx",    nullptr,                               SmclpCommandSet},
    {kCommandStart,   "start",   SmclpParseCommandLineForStart,         SmclpCommandStart},
    {kCommandStop,    "stop",    SmclpParseCommandLineForStop,          SmclpCommandStop},
    {kCommandExit,    "exit",    SmclpParseCommandLineForExit,          SmclpCommandExit},
    {kCommandVersion, "version", SmclpParseCommandLineForVersion,       SmclpCommandVersion},
    {kCommandSet,     "set",     SmclpParseCommandLineForSetPowerState, SmclpCommandSetPowerState},
    {0,               nullptr,   nullptr,                               nullptr},
    // clang-format on
};

u32 SmclpCommandListInit()
{
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != 0; ++row) {
        if (SmclpCommandListAddCommand(row->id, row->verb, row->execute, row->parse) == nullptr)
            break;
    }
    return 1;
}

// Where the list's next link goes; null when the id is in the list already.
static SmclpCommandLink **EndOfListWithout(u32 id)
{
    SmclpCommandLink **end = &pClpCommandList;
    for (; *end != nullptr; end = &(*end)->next) {
        if ((*end)->command->id == id)
            return nullptr;
    }
    return end;
}

SmclpCommand *SmclpCommandListAddCommand(u32 id, const char *name, SmclpExecuteFunction execute,
                                         SmclpParseFunction parse)
{
    if (name == nullptr || strlen(name) >= sizeof(SmclpCommand::name))
        return nullptr;
    SmclpCommandLink **end = EndOfListWithout(id);
    if (end == nullptr)
        return nullptr;

    auto *command = static_cast<SmclpCommand *>(MemMgrAlloc(kSmclpCommandSize));
    if (command == nullptr)
        return nullptr;
    auto *link = static_cast<SmclpCommandLink *>(MemMgrAlloc(kSmclpCommandLinkSize));
    if (link == nullptr) {
        MemMgrFree(command);
        return nullptr;
    }
    *command = {id, {}, execute, parse};
    StrCopy(command->name, name, sizeof command->name);
    *link = {command, nullptr};
    *end = link;
    return command;
}

u32 SmclpCommandListUninit()
{
    for (SmclpCommandLink *link = pClpCommandList; link != nullptr;) {
        SmclpCommandLink *next = link->next;
        MemMgrFree(link->command);
        MemMgrFree(link);
        link = next;
    }
    return 0;
}

SmclpCommand *SmclpGetCommandById(u32 id)
{
    ListLock(pClpCommandList);
    SmclpCommand *found = nullptr;
    for (SmclpCommandLink *link = pClpCommandList; link != nullptr; link = link->next) {
        found = link->command;  // also when it does not match: the last one is the answer then
        if (found->id == id)
            break;
    }
    ListUnlock(pClpCommandList);
    return found;
}

SmclpCommand *SmclpGetCommandObjectByName(const char *name)
{
    ListLock(pClpCommandList);
    SmclpCommand *found = nullptr;
    for (SmclpCommandLink *link = pClpCommandList; link != nullptr; link = link->next) {
        if (StrEqual(link->command->name, name)) {
            found = link->command;
            break;
        }
    }
    ListUnlock(pClpCommandList);
    return found;
}

u32 SmclpCommandCreate(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *)
{
    return 1;
}

u32 SmclpCommandDump(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *)
{
    return 1;
}

u32 SmclpCommandLoad(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *)
{
    return 1;
}

u32 SmclpCommandSet(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *)
{
    return 1;
}
