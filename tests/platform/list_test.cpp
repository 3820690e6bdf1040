// SPDX-License-Identifier: Apache-2.0
// list_test.cpp -- lists of pool blocks.
#include "platform/list.h"

#include "platform/memmgr.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

class List : public testing::Test
{
protected:
    ~List() override { MemMgrRemovePools(); }

    u32 *Append(u32 value)
    {
        auto *entry = static_cast<u32 *>(ListAllocateObject(&head_, 4));
        if (entry != nullptr)
            *entry = value;
        return entry;
    }

    ListHead head_ = nullptr;
};

u32 UsedBlocks(u32 pool)
{
    MemMgrPoolUse use = {};
    EXPECT_TRUE(MemMgrGetPoolUse(pool, &use));
    return use.used;
}

TEST_F(List, EntriesStandInTheOrderOfAddition)
{
    ASSERT_EQ(MemMgrAddPool(4, 3), 0u);
    u32 *first = Append(11);
    u32 *second = Append(22);
    u32 *third = Append(33);
    EXPECT_EQ(head_, first);
    EXPECT_EQ(ListNext(first), second);
    EXPECT_EQ(ListNext(second), third);
    EXPECT_EQ(ListNext(third), nullptr);
    EXPECT_EQ(*first, 11u);
    EXPECT_EQ(*second, 22u);
    EXPECT_EQ(*third, 33u);
}

TEST_F(List, EntryIsClearedAlsoInABlockUsedBefore)
{
    ASSERT_EQ(MemMgrAddPool(320, 1), 0u);
    void *block = MemMgrAlloc(320);
    memset(block, 0xA5, 320);
    MemMgrFree(block);

    const auto *entry = static_cast<const unsigned char *>(ListAllocateObject(&head_, 320));
    ASSERT_NE(entry, nullptr);
    for (u32 i = 0; i < 320; ++i)
        EXPECT_EQ(entry[i], 0) << i;
}

TEST_F(List, ExhaustedPoolLeavesTheListAsItWas)
{
    ASSERT_EQ(MemMgrAddPool(4, 2), 0u);
    u32 *first = Append(1);
    u32 *second = Append(2);
    EXPECT_EQ(Append(3), nullptr);
    EXPECT_EQ(head_, first);
    EXPECT_EQ(ListNext(first), second);
    EXPECT_EQ(ListNext(second), nullptr);
}

TEST_F(List, WithoutAPoolOfThatSizeTheListStaysEmpty)
{
    ASSERT_EQ(MemMgrAddPool(8, 2), 0u);
    EXPECT_EQ(Append(1), nullptr);
    EXPECT_EQ(head_, nullptr);
}

TEST_F(List, TakesNothingFromThePoolsButItsEntries)
{
    ASSERT_EQ(MemMgrAddPool(4, 3), 0u);
    ASSERT_EQ(MemMgrAddPool(8, 3), 0u);
    Append(1);
    Append(2);
    EXPECT_EQ(UsedBlocks(0), 2u);
    EXPECT_EQ(UsedBlocks(1), 0u);
}

TEST_F(List, EntriesOfDifferentPoolsShareAList)
{
    ASSERT_EQ(MemMgrAddPool(4, 1), 0u);
    ASSERT_EQ(MemMgrAddPool(320, 1), 0u);
    void *small = ListAllocateObject(&head_, 4);
    void *large = ListAllocateObject(&head_, 320);
    EXPECT_EQ(head_, small);
    EXPECT_EQ(ListNext(small), large);
    EXPECT_EQ(ListNext(large), nullptr);
}

TEST_F(List, TwoListsOfOnePoolStayApart)
{
    ASSERT_EQ(MemMgrAddPool(4, 4), 0u);
    ListHead other = nullptr;
    u32 *mine = Append(1);
    void *theirs = ListAllocateObject(&other, 4);
    u32 *mineToo = Append(2);
    EXPECT_EQ(head_, mine);
    EXPECT_EQ(ListNext(mine), mineToo);
    EXPECT_EQ(other, theirs);
    EXPECT_EQ(ListNext(theirs), nullptr);
}

TEST_F(List, FreeGivesEveryEntryBackAndEmptiesTheList)
{
    ASSERT_EQ(MemMgrAddPool(4, 3), 0u);
    Append(1);
    Append(2);
    Append(3);
    ListFree(&head_);
    EXPECT_EQ(head_, nullptr);
    EXPECT_EQ(UsedBlocks(0), 0u);
    EXPECT_NE(Append(4), nullptr);
}

TEST_F(List, FreeOfAnEmptyListDoesNothing)
{
    ListFree(&head_);
    EXPECT_EQ(head_, nullptr);
}

TEST_F(List, LocksNest)
{
    ASSERT_EQ(ListLockDepth(), 0u);
    ListLock(head_);
    ListLock(head_);
    EXPECT_EQ(ListLockDepth(), 2u);
    ListUnlock(head_);
    EXPECT_EQ(ListLockDepth(), 1u);
    ListUnlock(head_);
    EXPECT_EQ(ListLockDepth(), 0u);
}

TEST_F(List, UnlockWithoutLockIsIgnored)
{
    ListUnlock(head_);
    EXPECT_EQ(ListLockDepth(), 0u);
}

}  // namespace
