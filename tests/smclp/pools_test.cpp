// SPDX-License-Identifier: Apache-2.0
// pools_test.cpp -- what the tree and the commands use of each pool, and how much room that leaves.
//
// Prints the use of every pool; bench/footprint shows it.
#include "platform/list.h"
#include "platform/memmgr.h"
#include "smclp/command_list.h"
#include "smclp/discovery.h"
#include "smclp/session.h"
#include "support/fake_objmgr.h"
#include "support/sensor_pairs.h"
#include "support/shell_tables.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string>
#include <vector>

namespace
{

// Every pool, in the order of registration.
std::vector<MemMgrPoolUse> Pools()
{
    std::vector<MemMgrPoolUse> pools;
    MemMgrPoolUse use = {};
    while (MemMgrGetPoolUse(static_cast<u32>(pools.size()), &use))
        pools.push_back(use);
    return pools;
}

// The pools of one size serve as one.
MemMgrPoolUse OfSize(u32 blockSize)
{
    MemMgrPoolUse sum = {blockSize, 0, 0, 0};
    for (const MemMgrPoolUse &pool : Pools()) {
        if (pool.blockSize != blockSize)
            continue;
        sum.blockCount += pool.blockCount;
        sum.used += pool.used;
        sum.peak += pool.peak;
    }
    return sum;
}

void Print(const char *when)
{
    printf("Pools %s\n  size  blocks    used    peak   peak %%\n", when);
    for (const MemMgrPoolUse &pool : Pools())
        printf("  %4u  %6u  %6u  %6u  %6u\n", pool.blockSize, pool.blockCount, pool.used, pool.peak,
               pool.peak * 100 / pool.blockCount);
}

// A server with `each` sensors of every kind that the shell knows, and as many records.
void Fill(FakeObjMgr *om, int each)
{
    for (int i = 0; i < each; ++i) {
        AddEverySensor(om, "12");
        om->AddRecord("Thu Jan 01 00:00:00 2026", "20260101000000", "a record");
    }
}

// Half of each stays free for what is to come. Two cannot, by the pool table itself (shell.cpp):
// their content is fixed when the shell is built, and so is its number here: the verbs, and the
// properties of the elements that were looked at.
void ExpectRoom(const char *when, u32 properties)
{
    SCOPED_TRACE(when);
    for (const MemMgrPoolUse &pool : Pools()) {
        const MemMgrPoolUse all = OfSize(pool.blockSize);
        if (pool.blockSize == kSmclpCommandSize)
            EXPECT_EQ(all.peak, VerbCount());
        else if (pool.blockSize == kMePropertySize)
            EXPECT_EQ(all.peak, properties);
        else
            EXPECT_LE(all.peak * 2, all.blockCount) << "blocks of " << pool.blockSize;
    }
}

TEST(Pools, RecordsHaveTheSizesOfTheirBlocksOn32Bits)
{
    EXPECT_EQ(kManagedElementSize, 400u);
    EXPECT_EQ(kSmclpCommandSize, 76u);
    EXPECT_EQ(kMePropertySize, 320u);
    EXPECT_EQ(kSmclpMeIdMappingSize, 12u);
    EXPECT_EQ(kSmclpCommandLinkSize, 8u);
    EXPECT_EQ(kSmclpSessionSize, 4u);
    EXPECT_EQ(kMeCommandIdSize, 4u);
    EXPECT_EQ(sizeof(MeProperty), 320u);
    if (sizeof(void *) != 4)
        return;
    EXPECT_EQ(sizeof(ManagedElement), 400u);
    EXPECT_EQ(sizeof(SmclpCommand), 76u);
    EXPECT_EQ(sizeof(SmclpMeIdMapping), 12u);
    EXPECT_EQ(sizeof(SmclpCommandLink), 8u);
    EXPECT_EQ(sizeof(SmclpSession), 4u);
}

TEST(Pools, TreeUsesABlockForEachOfItsParts)
{
    const TestShell shell;
    EXPECT_EQ(OfSize(320).used, 0u);  // before anybody looks
    const TreeCounts tree = CountTree();
    EXPECT_EQ(tree.elements, KindCount());
    EXPECT_EQ(OfSize(400).used, tree.elements);
    EXPECT_EQ(OfSize(12).used, tree.elements);
    EXPECT_EQ(OfSize(320).used, tree.properties);
    EXPECT_EQ(OfSize(4).used, tree.verbs + 1);  // the session
    EXPECT_EQ(OfSize(76).used, VerbCount());
    EXPECT_EQ(OfSize(8).used, VerbCount());
    for (const u32 general : {48u, 40u, 256u, 32u})
        EXPECT_EQ(OfSize(general).used, 0u) << general;
}

TEST(Pools, HalfOfThemStaysFreeAtTheHeaviestCommand)
{
    FakeObjMgr om;
    om.keepLog = false;
    Fill(&om, 3);
    TestShell shell;
    Print("after start-up");
    ExpectRoom("after start-up", 0);
    const std::vector<MemMgrPoolUse> before = Pools();
    EXPECT_EQ(shell.Run("show -level all /"), 0u);
    EXPECT_NE(shell.Output().find("/system1/logs1/log1/record3:\n"), std::string::npos);
    Print("after show -level all /");
    const std::vector<MemMgrPoolUse> after = Pools();
    const u32 properties = CountTree().properties;
    ExpectRoom("after show -level all /", properties);
    for (size_t i = 0; i < before.size(); ++i) {
        const bool added = after[i].blockSize == kMePropertySize;
        EXPECT_EQ(after[i].used, before[i].used + (added ? properties : 0)) << after[i].blockSize;
    }
}

// The one use that a command line decides: as many names as a value of 127 characters can hold.
TEST(Pools, HalfOfThemStaysFreeAtTheLongestSelection)
{
    FakeObjMgr om;
    om.keepLog = false;
    TestShell shell;
    std::string value = "properties=(a";
    while (value.size() + 3 <= 127)
        value += ",a";
    EXPECT_EQ(shell.Run("show -display " + value + ")"), 0u);
    EXPECT_EQ(OfSize(32).peak, 57u);
    EXPECT_EQ(OfSize(32).used, 0u);
    Print("after the longest selection");
    ExpectRoom("after the longest selection", 0);  // the root has none
}

}  // namespace
