// SPDX-License-Identifier: Apache-2.0
// command_list_fixture.h -- a list of commands on small pools of its own.
#ifndef TESTS_SMCLP_COMMAND_LIST_FIXTURE_H
#define TESTS_SMCLP_COMMAND_LIST_FIXTURE_H

#include "platform/list.h"
#include "platform/memmgr.h"
#include "smclp/command_list.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string>

// Pools 0 and 1: commands and links.
class CommandList : public testing::Test
{
protected:
    explicit CommandList(u32 commands = 16, u32 links = 128)
    {
        EXPECT_EQ(MemMgrAddPool(76, commands), 0u);
        EXPECT_EQ(MemMgrAddPool(8, links), 0u);
    }
    ~CommandList() override
    {
        EXPECT_EQ(ListLockDepth(), 0u);
        ResetShellGlobals();
    }

    // Ids and names in list order.
    static std::string Listed()
    {
        std::string text;
        for (const SmclpCommandLink *link = pClpCommandList; link != nullptr; link = link->next)
            text += std::to_string(link->command->id) + " " + link->command->name + "\n";
        return text;
    }
    static u32 UsedBlocks(u32 pool)
    {
        MemMgrPoolUse use = {};
        EXPECT_TRUE(MemMgrGetPoolUse(pool, &use));
        return use.used;
    }
};

#endif
