// SPDX-License-Identifier: Apache-2.0
// list.cpp -- lists of pool blocks.
#include "platform/list.h"

#include "platform/memmgr.h"

#include <string.h>

namespace
{

u32 gLockDepth;

}  // namespace

void *ListAllocateObject(ListHead *head, u32 entrySize)
{
    void *entry = MemMgrAlloc(entrySize);
    if (entry == nullptr)
        return nullptr;
    memset(entry, 0, MemMgrRoom(entrySize));

    void **end = head;
    while (*end != nullptr)
        end = MemMgrBlockLink(*end);
    *end = entry;
    return entry;
}

void *ListNext(const void *entry)
{
    return *MemMgrBlockLink(const_cast<void *>(entry));
}

void ListFree(ListHead *head)
{
    void *entry = *head;
    *head = nullptr;
    while (entry != nullptr) {
        void *next = ListNext(entry);
        MemMgrFree(entry);
        entry = next;
    }
}

void ListLock(const void *)
{
    ++gLockDepth;
}

void ListUnlock(const void *)
{
    if (gLockDepth > 0)
        --gLockDepth;
}

u32 ListLockDepth()
{
    return gLockDepth;
}
