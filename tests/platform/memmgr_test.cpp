// SPDX-License-Identifier: Apache-2.0
// memmgr_test.cpp -- fixed pools: limits, order, exhaustion.
#include "platform/memmgr.h"

#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <stdint.h>
#include <string.h>
#include <unistd.h>
#include <utility>
#include <vector>

// Lets malloc answer null for sizes that no machine has, as it does without the sanitizer.
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace
{

class MemMgr : public testing::Test
{
protected:
    ~MemMgr() override { MemMgrRemovePools(); }
};

MemMgrPoolUse UseOf(u32 pool)
{
    MemMgrPoolUse use = {};
    EXPECT_TRUE(MemMgrGetPoolUse(pool, &use));
    return use;
}

TEST_F(MemMgr, WithoutAPoolThereIsNoBlock)
{
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
}

TEST_F(MemMgr, BlocksComeFromThePoolOfExactlyTheirSize)
{
    ASSERT_EQ(MemMgrAddPool(8, 2), 0u);
    EXPECT_EQ(MemMgrAlloc(7), nullptr);
    EXPECT_EQ(MemMgrAlloc(9), nullptr);
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
    EXPECT_EQ(MemMgrAlloc(0), nullptr);
    EXPECT_NE(MemMgrAlloc(8), nullptr);
}

TEST_F(MemMgr, PoolGivesAsManyBlocksAsRegisteredAndNoMore)
{
    ASSERT_EQ(MemMgrAddPool(76, 16), 0u);
    std::set<void *> blocks;
    for (int i = 0; i < 16; ++i) {
        void *block = MemMgrAlloc(76);
        ASSERT_NE(block, nullptr) << i;
        blocks.insert(block);
    }
    EXPECT_EQ(blocks.size(), 16u);
    EXPECT_EQ(MemMgrAlloc(76), nullptr);
}

TEST_F(MemMgr, FreedBlockIsGivenOutAgain)
{
    ASSERT_EQ(MemMgrAddPool(12, 1), 0u);
    void *block = MemMgrAlloc(12);
    ASSERT_EQ(MemMgrAlloc(12), nullptr);
    MemMgrFree(block);
    EXPECT_EQ(MemMgrAlloc(12), block);
    EXPECT_EQ(MemMgrAlloc(12), nullptr);
}

TEST_F(MemMgr, PoolsOfOneSizeServeOneAfterAnother)
{
    ASSERT_EQ(MemMgrAddPool(4, 1), 0u);
    ASSERT_EQ(MemMgrAddPool(8, 5), 0u);
    ASSERT_EQ(MemMgrAddPool(4, 2), 0u);
    void *first = MemMgrAlloc(4);
    EXPECT_EQ(UseOf(0).used, 1u);
    EXPECT_EQ(UseOf(2).used, 0u);
    EXPECT_NE(MemMgrAlloc(4), nullptr);
    EXPECT_NE(MemMgrAlloc(4), nullptr);
    EXPECT_EQ(UseOf(2).used, 2u);
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
    EXPECT_EQ(UseOf(1).used, 0u);

    MemMgrFree(first);
    EXPECT_EQ(UseOf(0).used, 0u);
    EXPECT_EQ(MemMgrAlloc(4), first);
}

TEST_F(MemMgr, WholeBlockCanBeWrittenWithoutTouchingItsNeighbours)
{
    constexpr u32 kSize = 13;
    ASSERT_EQ(MemMgrAddPool(kSize, 3), 0u);
    std::vector<char *> blocks;
    for (char c = 'a'; c < 'd'; ++c) {
        auto *block = static_cast<char *>(MemMgrAlloc(kSize));
        memset(block, c, MemMgrRoom(kSize));
        blocks.push_back(block);
    }
    for (size_t b = 0; b < blocks.size(); ++b) {
        for (u32 i = 0; i < MemMgrRoom(kSize); ++i)
            ASSERT_EQ(blocks[b][i], static_cast<char>('a' + b)) << b << " " << i;
    }
    for (char *block : blocks)
        MemMgrFree(block);
    EXPECT_EQ(UseOf(0).used, 0u);
}

// Small pools share a piece of memory; one that is larger than all that the shell needs, and those
// after it, get another.
TEST_F(MemMgr, PoolsOfAllSizesLieApart)
{
    struct Row {
        u32 size;
        u32 count;
    };
    const Row rows[] = {{4, 3}, {1000, 200}, {12, 5}, {2000, 300}, {76, 7}, {240, 1000}, {13, 2}};
    for (const Row &row : rows)
        ASSERT_EQ(MemMgrAddPool(row.size, row.count), 0u);
    std::vector<std::pair<const Row *, char *>> blocks;
    for (const Row &row : rows) {
        for (u32 i = 0; i < row.count; ++i) {
            auto *block = static_cast<char *>(MemMgrAlloc(row.size));
            ASSERT_NE(block, nullptr) << row.size;
            memset(block, static_cast<char>(blocks.size()), MemMgrRoom(row.size));
            blocks.emplace_back(&row, block);
        }
        EXPECT_EQ(MemMgrAlloc(row.size), nullptr) << row.size;
    }
    for (size_t b = 0; b < blocks.size(); ++b) {
        const auto &[row, block] = blocks[b];
        for (u32 i = 0; i < MemMgrRoom(row->size); ++i)
            ASSERT_EQ(block[i], static_cast<char>(b)) << row->size << " " << i;
        EXPECT_EQ(*MemMgrBlockLink(block), nullptr) << row->size;
    }
}

// Pages that the first blocks of large pools touch are shared with those of others.
TEST_F(MemMgr, BlocksLieInTheOrderInWhichTheyAreFirstNeeded)
{
    ASSERT_EQ(MemMgrAddPool(400, 64), 0u);
    ASSERT_EQ(MemMgrAddPool(12, 64), 0u);
    ASSERT_EQ(MemMgrAddPool(320, 256), 0u);
    const char *end = static_cast<char *>(MemMgrAlloc(400)) + MemMgrRoom(400);
    for (u32 size : {12u, 320u, 12u, 400u}) {
        const char *block = static_cast<char *>(MemMgrAlloc(size));
        EXPECT_GT(block, end) << size;
        EXPECT_LT(block, end + 32) << size;
        end = block + MemMgrRoom(size);
    }
}

// One piece of memory has room for the first two, the others are in pieces of their own.
TEST_F(MemMgr, InWhateverOrderTheyAreTakenAllBlocksAreThere)
{
    struct Row {
        u32 size;
        u32 count;
    };
    const Row rows[] = {{400, 64}, {12, 100}, {1000, 300}, {2000, 300}, {13, 30}};
    for (const Row &row : rows)
        ASSERT_EQ(MemMgrAddPool(row.size, row.count), 0u);
    std::vector<std::pair<char *, size_t>> blocks;
    for (u32 i = 0; i <= 300; ++i) {
        for (const Row &row : rows) {
            auto *block = static_cast<char *>(MemMgrAlloc(row.size));
            ASSERT_EQ(block != nullptr, i < row.count) << row.size << " " << i;
            if (block == nullptr)
                continue;
            memset(block, static_cast<char>(blocks.size()), MemMgrRoom(row.size));
            blocks.emplace_back(block, MemMgrRoom(row.size));
        }
    }
    for (size_t b = 0; b < blocks.size(); ++b) {
        for (size_t i = 0; i < blocks[b].second; ++i)
            ASSERT_EQ(blocks[b].first[i], static_cast<char>(b)) << b << " " << i;
    }
}

// Twice as wide are at most twelve words, the pointers of the largest record.
TEST_F(MemMgr, BlocksGrowWithPointers)
{
    struct Row {
        u32 size;
        size_t room;  // with pointers of 8 bytes
    };
    for (const Row &row : {Row{1, 5}, Row{4, 8}, Row{5, 13}, Row{8, 16}, Row{12, 24}, Row{44, 88},
                           Row{47, 95}, Row{48, 96}, Row{49, 97}, Row{76, 124}, Row{320, 368},
                           Row{400, 448}, Row{UINT32_MAX, size_t{UINT32_MAX} + 48}})
        EXPECT_EQ(MemMgrRoom(row.size), sizeof(void *) == 8 ? row.room : row.size) << row.size;
}

TEST_F(MemMgr, BlocksAreAlignedForAnyRecord)
{
    for (u32 size : {1u, 4u, 12u, 13u, 76u})
        ASSERT_EQ(MemMgrAddPool(size, 3), 0u);
    for (u32 size : {1u, 4u, 12u, 13u, 76u}) {
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(reinterpret_cast<uintptr_t>(MemMgrAlloc(size)) % alignof(u64), 0u) << size;
    }
}

TEST_F(MemMgr, ZeroIsNoSizeAndNoNumber)
{
    EXPECT_EQ(MemMgrAddPool(0, 1), 2u);
    EXPECT_EQ(MemMgrAddPool(1, 0), 2u);
    MemMgrPoolUse use = {};
    EXPECT_FALSE(MemMgrGetPoolUse(0, &use));
}

TEST_F(MemMgr, SixteenPoolsAndNoMore)
{
    for (u32 i = 0; i < 16; ++i)
        ASSERT_EQ(MemMgrAddPool(4 + i, 1), 0u) << i;
    EXPECT_EQ(MemMgrAddPool(100, 1), 2u);
    EXPECT_NE(MemMgrAlloc(19), nullptr);
    EXPECT_EQ(MemMgrAlloc(100), nullptr);
}

TEST_F(MemMgr, PoolThatNoMachineCanHoldIsRefused)
{
    EXPECT_EQ(MemMgrAddPool(UINT32_MAX, UINT32_MAX), 3u);
    EXPECT_EQ(MemMgrAddPool(UINT32_MAX / 2, UINT32_MAX / 2), 3u);
    MemMgrPoolUse use = {};
    EXPECT_FALSE(MemMgrGetPoolUse(0, &use));
    EXPECT_EQ(MemMgrAddPool(4, 1), 0u);
}

TEST_F(MemMgr, FreeOfNullIsIgnored)
{
    ASSERT_EQ(MemMgrAddPool(4, 1), 0u);
    MemMgrFree(nullptr);
    EXPECT_EQ(UseOf(0).used, 0u);
}

TEST_F(MemMgr, SecondFreeIsIgnored)
{
    ASSERT_EQ(MemMgrAddPool(4, 2), 0u);
    void *first = MemMgrAlloc(4);
    void *second = MemMgrAlloc(4);
    MemMgrFree(first);
    MemMgrFree(first);
    EXPECT_EQ(UseOf(0).used, 1u);
    EXPECT_EQ(MemMgrAlloc(4), first);
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
    MemMgrFree(second);
}

TEST_F(MemMgr, UseAndPeakAreCounted)
{
    ASSERT_EQ(MemMgrAddPool(4, 3), 0u);
    void *first = MemMgrAlloc(4);
    void *second = MemMgrAlloc(4);
    MemMgrFree(first);
    MemMgrFree(second);
    MemMgrAlloc(4);
    const MemMgrPoolUse use = UseOf(0);
    EXPECT_EQ(use.blockSize, 4u);
    EXPECT_EQ(use.blockCount, 3u);
    EXPECT_EQ(use.used, 1u);
    EXPECT_EQ(use.peak, 2u);
}

TEST_F(MemMgr, UseOfAPoolThatIsNoneIsRefused)
{
    ASSERT_EQ(MemMgrAddPool(4, 3), 0u);
    MemMgrPoolUse use = {};
    EXPECT_TRUE(MemMgrGetPoolUse(0, &use));
    EXPECT_FALSE(MemMgrGetPoolUse(1, &use));
    EXPECT_FALSE(MemMgrGetPoolUse(UINT32_MAX, &use));
}

TEST_F(MemMgr, LinkIsNullInEveryNewBlockAndBelongsToItsUser)
{
    ASSERT_EQ(MemMgrAddPool(4, 2), 0u);
    void *first = MemMgrAlloc(4);
    void *second = MemMgrAlloc(4);
    EXPECT_EQ(*MemMgrBlockLink(first), nullptr);
    *MemMgrBlockLink(first) = second;
    EXPECT_EQ(*MemMgrBlockLink(first), second);
    EXPECT_EQ(*MemMgrBlockLink(second), nullptr);

    MemMgrFree(second);
    MemMgrFree(first);
    ASSERT_EQ(MemMgrAlloc(4), first);
    EXPECT_EQ(*MemMgrBlockLink(first), nullptr);
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZED
#endif
#endif
#if defined(SANITIZED) || defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// What the process has of memory, in bytes.
u64 Mapped()
{
    u64 pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<u64>(sysconf(_SC_PAGESIZE));
}

TEST_F(MemMgr, RemovalGivesTheMemoryBack)
{
    if (kSanitized)
        GTEST_SKIP() << "the sanitizer holds freed memory, and looks itself for what is not freed";
    const u64 before = Mapped();
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(MemMgrAddPool(1024, 1024), 0u);
        ASSERT_EQ(MemMgrAddPool(2048, 1024), 0u);
        MemMgrRemovePools();
    }
    EXPECT_LT(Mapped(), before + 16 * 1024 * 1024);
}

// Each of these is larger than the piece that small pools share.
TEST_F(MemMgr, AsManyPiecesAsPoolsAreGivenBack)
{
    for (int round = 0; round < 2; ++round) {
        for (u32 i = 0; i < kMemMgrMaxPools; ++i)
            ASSERT_EQ(MemMgrAddPool(1024, 512 + i), 0u) << i;
        for (u32 i = 0; i < kMemMgrMaxPools; ++i)
            EXPECT_EQ(UseOf(i).blockCount, 512 + i);
        MemMgrRemovePools();
        MemMgrPoolUse use = {};
        EXPECT_FALSE(MemMgrGetPoolUse(0, &use));
    }
}

TEST_F(MemMgr, AfterRemovalThereAreNoPoolsAndNewOnesCanBeAdded)
{
    for (u32 i = 0; i < 16; ++i)
        ASSERT_EQ(MemMgrAddPool(4, 1), 0u);
    MemMgrAlloc(4);
    MemMgrRemovePools();
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
    MemMgrPoolUse use = {};
    EXPECT_FALSE(MemMgrGetPoolUse(0, &use));
    EXPECT_EQ(MemMgrAddPool(4, 1), 0u);
    EXPECT_NE(MemMgrAlloc(4), nullptr);
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
}

}  // namespace
