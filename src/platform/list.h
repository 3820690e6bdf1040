// SPDX-License-Identifier: Apache-2.0
// list.h -- singly linked lists of pool blocks, in the order of addition.
//
// A list is one pointer, null when empty, so that a record holds a list in one word. The links
// live in the blocks' own headers (MemMgrBlockLink): entries of any pool can be listed and a list
// takes nothing from the pools but its entries. One thread.
#ifndef PLATFORM_LIST_H
#define PLATFORM_LIST_H

#include "platform/types.h"

// Points to the first entry; null for an empty list.
using ListHead = void *;

// Allocates an entry of `entrySize` bytes (its size on the controller, as MemMgrAlloc takes it),
// cleared to zeros, appends it to the list and returns it. Null, with the list unchanged, when
// the pool is exhausted.
void *ListAllocateObject(ListHead *head, u32 entrySize);

// The entry after `entry`, or null at the end.
void *ListNext(const void *entry);

// Gives every entry back to its pool and empties the list.
void ListFree(ListHead *head);

// Brackets around a walk of a shared list; they nest. There is one thread, so they only count: a
// lock that is not undone shows in ListLockDepth, which tests look at.
void ListLock(const void *list);
void ListUnlock(const void *list);
u32 ListLockDepth();

#endif
