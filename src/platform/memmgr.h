// SPDX-License-Identifier: Apache-2.0
// memmgr.h -- pooled memory: every long-lived record of the shell has a pool and so a hard limit.
//
// A pool is a number of blocks of one size, registered once at start. All operations take constant
// time (at most kMemMgrMaxPools pools are looked at) and none uses the general heap after its pool
// was registered. One thread.
//
// Block sizes are those of the records on the 32-bit controller. Where pointers are wider, the
// blocks grow by what pointers need and the numbers, of bytes asked for and of blocks, stay the
// same: a record asks for its size on the controller (400 for a ManagedElement) on every machine,
// and the block has MemMgrRoom bytes, enough for the record as it is there.
#ifndef PLATFORM_MEMMGR_H
#define PLATFORM_MEMMGR_H

#include "platform/types.h"

constexpr u32 kMemMgrMaxPools = 16;

// What grows in the record that has most pointers, a ManagedElement, in words. The large records
// are texts for the rest: were their blocks to grow in proportion, half of each would never be
// used.
constexpr u32 kMemMgrWordsMax = 12;

// Bytes that the user of a block of `blockSize` may use.
constexpr size_t MemMgrRoom(u32 blockSize)
{
    const u32 words = blockSize / 4 < kMemMgrWordsMax ? (blockSize + 3) / 4 : kMemMgrWordsMax;
    return blockSize + words * (sizeof(void *) - 4);
}

extern "C" {

// Registers a pool of `blockCount` blocks of `blockSize` bytes. Several pools of one size serve
// one after another, in the order of registration. Returns 0; 2 when a number is 0 or there are
// kMemMgrMaxPools pools already; 3 when the memory cannot be had.
u32 MemMgrAddPool(u32 blockSize, u32 blockCount);

// A block of the pool whose block size is exactly `blockSize`: aligned for any record, contents
// not defined. Null when there is no such pool or every pool of that size is exhausted. Give it
// back with MemMgrFree.
void *MemMgrAlloc(u32 blockSize);

// Gives a block back. Null, and a block that was given back already, are ignored.
void MemMgrFree(void *block);
}

// A word that belongs to the block's user while the block is in use, null at first: the list
// service links entries with it, so that a list needs no memory of its own.
void **MemMgrBlockLink(void *block);

// The use of one pool, for footprint figures and tests.
struct MemMgrPoolUse {
    u32 blockSize;   // bytes, as registered
    u32 blockCount;  // as registered
    u32 used;        // blocks in use now
    u32 peak;        // most blocks ever in use
};

// Fills *use for the pool number `index` (from 0, in the order of registration). False when there
// is no such pool.
bool MemMgrGetPoolUse(u32 index, MemMgrPoolUse *use);

// Gives all pools back to the system; every block becomes invalid. For the end of the process and
// for tests.
void MemMgrRemovePools();

#endif
