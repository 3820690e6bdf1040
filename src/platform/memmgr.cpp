// SPDX-License-Identifier: Apache-2.0
// memmgr.cpp -- fixed pools with constant-time allocation.
//
// Pools lie one behind the other in a few large pieces of memory, and each is first used from its
// beginning on: pages of blocks that were never needed are never touched, small pools share one,
// and the shell's pools take one request to the system in all.
#include "platform/memmgr.h"

#include <stdlib.h>

#if defined(__SANITIZE_ADDRESS__)
#define POOL_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define POOL_POISON 1
#endif
#endif
#ifdef POOL_POISON
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace
{

struct Pool;

struct alignas(alignof(u64)) BlockHeader {
    Pool *pool;  // null while the block is free
    void *link;  // in use: the user's word; free: the next free block's header
};

struct Pool {
    u32 blockSize;
    u32 blockCount;
    u32 used;
    u32 peak;
    u32 touched;  // blocks from the beginning that have ever been in use
    size_t stride;
    BlockHeader *freeList;
    char *memory;
};

// Room for all pools of the shell.
constexpr size_t kPieceSize = (160 + 16 * sizeof(void *)) * 1024;

struct Piece {
    char *memory;
    size_t size;
    size_t used;
};

Pool gPools[kMemMgrMaxPools];
u32 gPoolCount;
Piece gPieces[kMemMgrMaxPools];
u32 gPieceCount;

// Contents not defined. Null when the memory cannot be had.
char *TakeMemory(size_t size)
{
    if (gPieceCount == 0 || size > gPieces[gPieceCount - 1].size - gPieces[gPieceCount - 1].used) {
        const size_t pieceSize = size > kPieceSize ? size : kPieceSize;
        // Not cleared, so that nothing is touched.
        auto *memory = static_cast<char *>(malloc(pieceSize));
        if (memory == nullptr)
            return nullptr;
        gPieces[gPieceCount++] = {memory, pieceSize, 0};
    }
    Piece *piece = &gPieces[gPieceCount - 1];
    piece->used += size;
    return piece->memory + piece->used - size;
}

BlockHeader *HeaderOf(void *block)
{
    return static_cast<BlockHeader *>(block) - 1;
}

BlockHeader *TakeBlock(Pool *pool)
{
    BlockHeader *header = pool->freeList;
    if (header != nullptr) {
        pool->freeList = static_cast<BlockHeader *>(header->link);
    } else if (pool->touched < pool->blockCount) {
        header = reinterpret_cast<BlockHeader *>(pool->memory + pool->stride * pool->touched);
        ++pool->touched;
    } else {
        return nullptr;
    }
    header->pool = pool;
    header->link = nullptr;
    if (++pool->used > pool->peak)
        pool->peak = pool->used;
    return header;
}

}  // namespace

u32 MemMgrAddPool(u32 blockSize, u32 blockCount)
{
    if (blockSize == 0 || blockCount == 0 || gPoolCount == kMemMgrMaxPools)
        return 2;

    const size_t align = alignof(BlockHeader);
    const size_t payload = (MemMgrRoom(blockSize) + align - 1) / align * align;
    const size_t stride = sizeof(BlockHeader) + payload;
    size_t size;
    if (__builtin_mul_overflow(stride, size_t{blockCount}, &size))
        return 3;
    char *memory = TakeMemory(size);
    if (memory == nullptr)
        return 3;

    gPools[gPoolCount++] = {blockSize, blockCount, 0, 0, 0, stride, nullptr, memory};
    for (u32 i = 0; i < blockCount; ++i)
        ASAN_POISON_MEMORY_REGION(memory + i * stride + sizeof(BlockHeader), payload);
    return 0;
}

void *MemMgrAlloc(u32 blockSize)
{
    for (u32 i = 0; i < gPoolCount; ++i) {
        if (gPools[i].blockSize != blockSize)
            continue;
        BlockHeader *header = TakeBlock(&gPools[i]);
        if (header != nullptr) {
            ASAN_UNPOISON_MEMORY_REGION(header + 1, MemMgrRoom(blockSize));
            return header + 1;
        }
    }
    return nullptr;
}

void MemMgrFree(void *block)
{
    if (block == nullptr)
        return;
    BlockHeader *header = HeaderOf(block);
    Pool *pool = header->pool;
    if (pool == nullptr)
        return;
    header->pool = nullptr;
    header->link = pool->freeList;
    pool->freeList = header;
    --pool->used;
    ASAN_POISON_MEMORY_REGION(block, pool->stride - sizeof(BlockHeader));
}

void **MemMgrBlockLink(void *block)
{
    return &HeaderOf(block)->link;
}

bool MemMgrGetPoolUse(u32 index, MemMgrPoolUse *use)
{
    if (index >= gPoolCount)
        return false;
    const Pool &pool = gPools[index];
    *use = {pool.blockSize, pool.blockCount, pool.used, pool.peak};
    return true;
}

void MemMgrRemovePools()
{
    for (u32 i = 0; i < gPieceCount; ++i) {
        ASAN_UNPOISON_MEMORY_REGION(gPieces[i].memory, gPieces[i].size);
        free(gPieces[i].memory);
        gPieces[i] = {};
    }
    for (u32 i = 0; i < gPoolCount; ++i)
        gPools[i] = {};
    gPieceCount = gPoolCount = 0;
}
