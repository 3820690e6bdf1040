// SPDX-License-Identifier: Apache-2.0
// memmgr.cpp -- fixed pools with constant-time allocation.
//
// Room for all blocks of the shell's pools is one piece of memory, one request to the system.
// Blocks lie in it in the order in which they were first needed, whatever their pool: pages of
// blocks that were never needed are never touched, and those that are touched are full.
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
struct Piece;

struct alignas(alignof(u64)) BlockHeader {
    Pool *pool;  // null while the block is free
    void *link;  // in use: the user's word; free: the next free block's header
};

struct Pool {
    u32 blockSize;
    u32 blockCount;
    u32 used;
    u32 peak;
    u32 touched;  // blocks that have ever been in use
    size_t stride;
    BlockHeader *freeList;
    Piece *piece;
};

// Room for all pools of the shell.
constexpr size_t kPieceSize = (160 + 16 * sizeof(void *)) * 1024;

struct Piece {
    char *memory;
    size_t size;
    size_t promised;  // to its pools, for all their blocks
    size_t used;      // from the beginning, by blocks that have ever been in use
};

Pool gPools[kMemMgrMaxPools];
u32 gPoolCount;
Piece gPieces[kMemMgrMaxPools];
u32 gPieceCount;

// A piece with room for `size` bytes, which are its pool's from now on; contents not defined. Null
// when the memory cannot be had.
Piece *PromiseMemory(size_t size)
{
    if (gPieceCount == 0 ||
        size > gPieces[gPieceCount - 1].size - gPieces[gPieceCount - 1].promised) {
        const size_t pieceSize = size > kPieceSize ? size : kPieceSize;
        // Not cleared, so that nothing is touched.
        auto *memory = static_cast<char *>(malloc(pieceSize));
        if (memory == nullptr)
            return nullptr;
        ASAN_POISON_MEMORY_REGION(memory, pieceSize);
        gPieces[gPieceCount++] = {memory, pieceSize, 0, 0};
    }
    Piece *piece = &gPieces[gPieceCount - 1];
    piece->promised += size;
    return piece;
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
        header = reinterpret_cast<BlockHeader *>(pool->piece->memory + pool->piece->used);
        ASAN_UNPOISON_MEMORY_REGION(header, sizeof *header);
        pool->piece->used += pool->stride;
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
    Piece *piece = PromiseMemory(size);
    if (piece == nullptr)
        return 3;

    gPools[gPoolCount++] = {blockSize, blockCount, 0, 0, 0, stride, nullptr, piece};
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
