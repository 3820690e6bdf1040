// SPDX-License-Identifier: Apache-2.0
// command_list_test.cpp -- the table of verbs and the list made from it.
#include "smclp/command_table.h"

#include "platform/list.h"
#include "platform/memmgr.h"
#include "smclp/commands/commands.h"
#include "support/failing_memory.h"
#include "support/shell_tables.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace
{

u32 UsedBlocks(u32 pool)
{
    MemMgrPoolUse use = {};
    EXPECT_TRUE(MemMgrGetPoolUse(pool, &use));
    return use.used;
}

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
};

u32 Parse(char *, SmclpCommandLine *)
{
    return 0;
}

u32 Execute(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *)
{
    return 0;
}

TEST_F(CommandList, TableStandsInItsOrder)
{
    EXPECT_EQ(SmclpCommandListInit(), 1u);
    // Elements store the ids: later verbs stand behind these.
    EXPECT_TRUE(Listed().starts_with(
        "1 cd\n2 show\n3 help\n4 create\n5 delete\n6 dump\n7 load\n8 reset\n9 setx\n10 start\n"
        "11 stop\n12 exit\n13 version\n14 set\n"))
        << Listed();
}

TEST_F(CommandList, VerbsHaveTheirFunctions)
{
    SmclpCommandListInit();
    const struct {
        const char *name;
        SmclpParseFunction parse;
        SmclpExecuteFunction execute;
    } kExpected[] = {
        {"cd", SmclpParseCommandLineForCd, SmclpCommandCd},
        {"show", SmclpParseCommandLineForShow, SmclpCommandShow},
        {"help", SmclpParseCommandLineForHelp, SmclpCommandHelp},
        {"create", nullptr, SmclpCommandCreate},
        {"delete", SmclpParseCommandLineForDelete, SmclpCommandDelete},
        {"dump", nullptr, SmclpCommandDump},
        {"load", nullptr, SmclpCommandLoad},
        {"reset", SmclpParseCommandLineForReset, SmclpCommandReset},
        {"setx", nullptr, SmclpCommandSet},
        {"start", SmclpParseCommandLineForStart, SmclpCommandStart},
        {"stop", SmclpParseCommandLineForStop, SmclpCommandStop},
        {"exit", SmclpParseCommandLineForExit, SmclpCommandExit},
        {"version", SmclpParseCommandLineForVersion, SmclpCommandVersion},
        {"set", SmclpParseCommandLineForSetPowerState, SmclpCommandSetPowerState},
    };
    for (const auto &row : kExpected) {
        const SmclpCommand *command = SmclpGetCommandObjectByName(row.name);
        ASSERT_NE(command, nullptr) << row.name;
        EXPECT_EQ(command->parse, row.parse) << row.name;
        EXPECT_EQ(command->execute, row.execute) << row.name;
    }
}

TEST_F(CommandList, TableHasUniqueIdsAndNamesThatFit)
{
    std::set<u32> ids;
    std::set<std::string> names;
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != 0; ++row) {
        EXPECT_TRUE(ids.insert(row->id).second) << row->id;
        EXPECT_TRUE(names.insert(row->verb).second) << row->verb;
        EXPECT_LE(std::string(row->verb).size(), 15u) << row->verb;
        EXPECT_NE(row->execute, nullptr) << row->verb;
    }
    EXPECT_EQ(ids.size(), VerbCount());
}

TEST_F(CommandList, UnsupportedVerbsReturnOne)
{
    EXPECT_EQ(SmclpCommandCreate(nullptr, nullptr, nullptr, nullptr), 1u);
    EXPECT_EQ(SmclpCommandDump(nullptr, nullptr, nullptr, nullptr), 1u);
    EXPECT_EQ(SmclpCommandLoad(nullptr, nullptr, nullptr, nullptr), 1u);
    EXPECT_EQ(SmclpCommandSet(nullptr, nullptr, nullptr, nullptr), 1u);
}

TEST_F(CommandList, AddedCommandStandsAtTheEndWithWhatItWasGiven)
{
    SmclpCommandListInit();
    const SmclpCommand *command = SmclpCommandListAddCommand(40, "blink", Execute, Parse);
    ASSERT_NE(command, nullptr);
    EXPECT_EQ(command->id, 40u);
    EXPECT_STREQ(command->name, "blink");
    EXPECT_EQ(command->execute, Execute);
    EXPECT_EQ(command->parse, Parse);
    EXPECT_TRUE(Listed().ends_with(std::string(LastVerb().verb) + "\n40 blink\n"));
    EXPECT_EQ(SmclpGetCommandById(40), command);
    EXPECT_EQ(SmclpGetCommandObjectByName("blink"), command);
}

TEST_F(CommandList, FunctionsMayBeAbsent)
{
    const SmclpCommand *command = SmclpCommandListAddCommand(1, "blink", nullptr, nullptr);
    ASSERT_NE(command, nullptr);
    EXPECT_EQ(command->parse, nullptr);
    EXPECT_EQ(command->execute, nullptr);
}

TEST_F(CommandList, NameOf63CharactersIsTheLongest)
{
    const std::string longest(63, 'x');
    const SmclpCommand *command = SmclpCommandListAddCommand(1, longest.c_str(), Execute, Parse);
    ASSERT_NE(command, nullptr);
    EXPECT_EQ(std::string(command->name), longest);
    EXPECT_EQ(SmclpCommandListAddCommand(2, (longest + "x").c_str(), Execute, Parse), nullptr);
    EXPECT_EQ(Listed(), "1 " + longest + "\n");
    EXPECT_EQ(UsedBlocks(0), 1u);
}

TEST_F(CommandList, NullNameIsRefused)
{
    EXPECT_EQ(SmclpCommandListAddCommand(1, nullptr, Execute, Parse), nullptr);
    EXPECT_EQ(pClpCommandList, nullptr);
    EXPECT_EQ(UsedBlocks(0), 0u);
}

TEST_F(CommandList, IdThatIsInTheListIsRefused)
{
    ASSERT_NE(SmclpCommandListAddCommand(1, "one", Execute, Parse), nullptr);
    ASSERT_NE(SmclpCommandListAddCommand(2, "two", Execute, Parse), nullptr);
    EXPECT_EQ(SmclpCommandListAddCommand(1, "uno", Execute, Parse), nullptr);
    EXPECT_EQ(SmclpCommandListAddCommand(2, "due", Execute, Parse), nullptr);
    EXPECT_EQ(Listed(), "1 one\n2 two\n");
    EXPECT_EQ(UsedBlocks(0), 2u);
    EXPECT_EQ(UsedBlocks(1), 2u);
}

TEST_F(CommandList, SameNameUnderAnotherIdIsTakenAndTheFirstIsFound)
{
    const SmclpCommand *first = SmclpCommandListAddCommand(1, "one", Execute, Parse);
    ASSERT_NE(SmclpCommandListAddCommand(2, "one", Execute, Parse), nullptr);
    EXPECT_EQ(SmclpGetCommandObjectByName("one"), first);
}

TEST_F(CommandList, InitStopsAtTheFirstRowThatIsRefused)
{
    ASSERT_NE(SmclpCommandListAddCommand(3, "mine", Execute, Parse), nullptr);
    EXPECT_EQ(SmclpCommandListInit(), 1u);
    EXPECT_EQ(Listed(), "3 mine\n1 cd\n2 show\n");
}

class SmallCommandPool : public CommandList
{
protected:
    SmallCommandPool() : CommandList(2, 128) {}
};

TEST_F(SmallCommandPool, CommandThatCannotBeAllocatedIsRefused)
{
    EXPECT_EQ(SmclpCommandListInit(), 1u);
    EXPECT_EQ(Listed(), "1 cd\n2 show\n");
    EXPECT_EQ(UsedBlocks(1), 2u);
    EXPECT_EQ(SmclpCommandListAddCommand(50, "x", Execute, Parse), nullptr);
}

class SmallLinkPool : public CommandList
{
protected:
    SmallLinkPool() : CommandList(16, 2) {}
};

TEST_F(SmallLinkPool, CommandWithoutALinkIsGivenBack)
{
    EXPECT_EQ(SmclpCommandListInit(), 1u);
    EXPECT_EQ(Listed(), "1 cd\n2 show\n");
    EXPECT_EQ(UsedBlocks(0), 2u);
}

TEST_F(CommandList, EveryAllocationOfInitFailingInTurn)
{
    for (u32 call = 1;; ++call) {
        MemoryFailure failure(Memory::Pools, call);
        EXPECT_EQ(SmclpCommandListInit(), 1u);
        if (!failure.Struck()) {
            EXPECT_EQ(call, 2 * VerbCount() + 1);  // two for each row
            EXPECT_EQ(UsedBlocks(0), VerbCount());
            break;
        }
        EXPECT_EQ(UsedBlocks(0), (call - 1) / 2) << call;
        EXPECT_EQ(UsedBlocks(1), (call - 1) / 2) << call;
        SmclpCommandListUninit();
        pClpCommandList = nullptr;
    }
}

TEST_F(CommandList, UninitGivesEverythingBackAndLeavesTheHead)
{
    SmclpCommandListInit();
    const SmclpCommandLink *head = pClpCommandList;
    EXPECT_EQ(UsedBlocks(0), VerbCount());
    EXPECT_EQ(UsedBlocks(1), VerbCount());
    EXPECT_EQ(SmclpCommandListUninit(), 0u);
    EXPECT_EQ(UsedBlocks(0), 0u);
    EXPECT_EQ(UsedBlocks(1), 0u);
    EXPECT_EQ(pClpCommandList, head);
    pClpCommandList = nullptr;
}

TEST_F(CommandList, UninitOfAnEmptyListIsFine)
{
    EXPECT_EQ(SmclpCommandListUninit(), 0u);
}

TEST_F(CommandList, ByIdFindsEveryRow)
{
    SmclpCommandListInit();
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != kCommandNone; ++row)
        EXPECT_STREQ(SmclpGetCommandById(row->id)->name, row->verb);
}

// Deliberate: elements may list any id.
TEST_F(CommandList, ByIdAnswersAnUnknownIdWithTheLastCommand)
{
    SmclpCommandListInit();
    for (u32 id : {0u, LastVerb().id + 1, 99u, UINT32_MAX}) {
        ASSERT_NE(SmclpGetCommandById(id), nullptr) << id;
        EXPECT_STREQ(SmclpGetCommandById(id)->name, LastVerb().verb) << id;
    }
}

TEST_F(CommandList, EmptyListHasNoCommand)
{
    EXPECT_EQ(SmclpGetCommandById(1), nullptr);
    EXPECT_EQ(SmclpGetCommandObjectByName("cd"), nullptr);
}

TEST_F(CommandList, NamesAreComparedExactly)
{
    SmclpCommandListInit();
    EXPECT_EQ(SmclpGetCommandObjectByName("set")->id, 14u);
    EXPECT_EQ(SmclpGetCommandObjectByName("setx")->id, 9u);
    for (const char *name : {"Set", "SHOW", "sho", "shows", "", " set", "set "})
        EXPECT_EQ(SmclpGetCommandObjectByName(name), nullptr) << name;
    EXPECT_EQ(SmclpGetCommandObjectByName(nullptr), nullptr);
}

TEST_F(CommandList, LookupsLeaveTheListUnlocked)
{
    SmclpCommandListInit();
    SmclpGetCommandById(1);
    SmclpGetCommandById(99);
    SmclpGetCommandObjectByName("cd");
    SmclpGetCommandObjectByName("none");
    EXPECT_EQ(ListLockDepth(), 0u);
}

}  // namespace
