// SPDX-License-Identifier: Apache-2.0
// command_list.cpp -- the list of command objects.
#include "smclp/command_list.h"

#include "platform/list.h"
#include "platform/memmgr.h"
#include "platform/str.h"

#include <string.h>

void *pCmdPara;
SmclpCommandLink *pClpCommandList;

namespace
{

// Where the list's next link goes; null when the id is in the list already.
SmclpCommandLink **EndOfListWithout(u32 id)
{
    SmclpCommandLink **end = &pClpCommandList;
    for (; *end != nullptr; end = &(*end)->next) {
        if ((*end)->command->id == id)
            return nullptr;
    }
    return end;
}

}  // namespace

SmclpCommand *SmclpCommandListAddCommand(u32 id, const char *name, SmclpExecuteFunction execute,
                                         SmclpParseFunction parse)
{
    if (name == nullptr || strlen(name) >= sizeof(SmclpCommand::name))
        return nullptr;
    SmclpCommandLink **end = EndOfListWithout(id);
    if (end == nullptr)
        return nullptr;

    static_assert(sizeof(SmclpCommand) <= MemMgrRoom(kSmclpCommandSize));
    auto *command = static_cast<SmclpCommand *>(MemMgrAlloc(kSmclpCommandSize));
    if (command == nullptr)
        return nullptr;
    static_assert(sizeof(SmclpCommandLink) <= MemMgrRoom(kSmclpCommandLinkSize));
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
