// SPDX-License-Identifier: Apache-2.0
// command_list_test.cpp -- the list of commands.
#include "smclp/command_list.h"

#include "smclp/command_list_fixture.h"
#include "smclp/command_table.h"
#include "support/shell_tables.h"

namespace
{

u32 Parse(char *, SmclpCommandLine *)
{
    return 0;
}

u32 Execute(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *)
{
    return 0;
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
