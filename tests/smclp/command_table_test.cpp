// SPDX-License-Identifier: Apache-2.0
// command_table_test.cpp -- the table of verbs, and the list made from it.
#include "smclp/command_table.h"

#include "smclp/command_list_fixture.h"
#include "smclp/commands/commands.h"
#include "support/failing_memory.h"
#include "support/shell_tables.h"

#include <set>

namespace
{

using CommandTable = CommandList;

TEST_F(CommandTable, TableStandsInItsOrder)
{
    EXPECT_EQ(SmclpCommandListInit(), 1u);
    // Elements store the ids: later verbs stand behind these.
    EXPECT_TRUE(Listed().starts_with(
        "1 cd\n2 show\n3 help\n4 create\n5 delete\n6 dump\n7 load\n8 reset\n9 setx\n10 start\n"
        "11 stop\n12 exit\n13 version\n14 set\n"))
        << Listed();
}

TEST_F(CommandTable, VerbsHaveTheirFunctions)
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

TEST_F(CommandTable, IdsGrowAndNamesAreUniqueAndFit)
{
    u32 last = kCommandNone;
    std::set<std::string> names;
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != 0; ++row) {
        EXPECT_GT(row->id, last) << row->verb;
        last = row->id;
        EXPECT_TRUE(names.insert(row->verb).second) << row->verb;
        EXPECT_LE(std::string(row->verb).size(), 15u) << row->verb;
        EXPECT_NE(row->execute, nullptr) << row->verb;
    }
    EXPECT_EQ(names.size(), VerbCount());
}

TEST_F(CommandTable, UnsupportedVerbsReturnOne)
{
    EXPECT_EQ(SmclpCommandCreate(nullptr, nullptr, nullptr, nullptr), 1u);
    EXPECT_EQ(SmclpCommandDump(nullptr, nullptr, nullptr, nullptr), 1u);
    EXPECT_EQ(SmclpCommandLoad(nullptr, nullptr, nullptr, nullptr), 1u);
    EXPECT_EQ(SmclpCommandSet(nullptr, nullptr, nullptr, nullptr), 1u);
}

TEST_F(CommandTable, InitStopsAtTheFirstRowThatIsRefused)
{
    ASSERT_NE(SmclpCommandListAddCommand(3, "mine", nullptr, nullptr), nullptr);
    EXPECT_EQ(SmclpCommandListInit(), 1u);
    EXPECT_EQ(Listed(), "3 mine\n1 cd\n2 show\n");
}

TEST_F(CommandTable, EveryAllocationOfInitFailingInTurn)
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

TEST_F(CommandTable, TheLastRowHasNothing)
{
    const SmclpCommandRow &end = smclpCommandTable[VerbCount()];
    EXPECT_EQ(end.verb, nullptr);
    EXPECT_EQ(end.parse, nullptr);
    EXPECT_EQ(end.execute, nullptr);
}

}  // namespace
