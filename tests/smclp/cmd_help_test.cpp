// SPDX-License-Identifier: Apache-2.0
// cmd_help_test.cpp -- help.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/hand_tree.h"
#include "support/shell_tables.h"

#include <gtest/gtest.h>

namespace
{

class CmdHelp : public ::testing::Test
{
protected:
    CmdHelp()
    {
        lamp = tree.Add(tree.root, "lamp");
        MeSetDesc(lamp, "Gives light.");
    }
    u32 RunHelp(ManagedElement *target, CmdPara para)
    {
        OutputCapture capture;
        const u32 result = SmclpCommandHelp(nullptr, target, nullptr, &para);
        output = capture.Take();
        return result;
    }
    HandTree tree;
    ManagedElement *lamp;
    std::string output;
};

}  // namespace

TEST_F(CmdHelp, DescriptionAndVerbsIndentedByTwo)
{
    tree.Verbs(lamp, {1, 12, 3, 2});
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "Gives light.\n"
                           "\n"
                           "Verbs:\n"
                           "  cd\n"
                           "  exit\n"
                           "  help\n"
                           "  show\n");
}

TEST_F(CmdHelp, WithoutVerbsOnlyTheDescription)
{
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "Gives light.\n");
    EXPECT_EQ(tree.Run("help"), 0u);
    EXPECT_EQ(tree.output, "\n");  // the root of this tree has no description
}

TEST_F(CmdHelp, SecondLinkToAnElementWithVerbsLeavesTheHeaderAlone)
{
    ManagedElement *other = tree.Add(tree.root, "other");
    lamp->second = other;
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "Gives light.\n");
    tree.Verbs(other, {2});
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "Gives light.\n\nVerbs:\n");
    // With verbs of its own the link makes no difference.
    tree.Verbs(lamp, {13});
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "Gives light.\n\nVerbs:\n  version\n");
}

// Looking up an unknown id yields the last verb of the table: deliberate.
TEST_F(CmdHelp, UnknownIdShowsTheLastVerb)
{
    tree.Verbs(lamp, {99});
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "Gives light.\n\nVerbs:\n  " + std::string(LastVerb().verb) + "\n");
}

TEST_F(CmdHelp, PercentSignsOfTheDescriptionPassBothRounds)
{
    MeSetDesc(lamp, "100%% of 5%s and %d%%%");
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, "100% of 5%s and %d%%\n");
}

TEST_F(CmdHelp, DescriptionOf255CharactersIsSaidWhole)
{
    EXPECT_EQ(MeSetDesc(lamp, std::string(255, 'd').c_str()), 0u);
    EXPECT_EQ(tree.Run("help /lamp"), 0u);
    EXPECT_EQ(tree.output, std::string(255, 'd') + "\n");
}

TEST_F(CmdHelp, NoTargetOrAWildcardIsInvalid)
{
    tree.Count(lamp, {2});
    EXPECT_EQ(tree.Run("help /lamp3"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.Run("help /lamp*"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.Run("help /lamp* -help"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.Run("help -examine /lamp*"), 0u);
    EXPECT_EQ(tree.output, kFailedLine);
    EXPECT_EQ(tree.Run("help -examine /lamp3"), 0u);
    EXPECT_EQ(tree.output, kFailedLine);
    EXPECT_EQ(tree.Run("help -examine /lamp2"), 0u);
    EXPECT_EQ(tree.output, kSuccessLine);
}

TEST_F(CmdHelp, HelpAndVersionOfTheVerbItself)
{
    EXPECT_EQ(tree.Run("help -help /lamp"), 0u);
    EXPECT_EQ(tree.output, "The HELP command displays additional details about the usage of a "
                           "specific command or provide more details on a target.\n");
    EXPECT_EQ(tree.Run("help -version -help /lamp"), 0u);
    EXPECT_EQ(tree.output, "version 1.0\n");
}

TEST_F(CmdHelp, OtherExamineResultsAreNoSyntaxCheck)
{
    EXPECT_EQ(RunHelp(lamp, {0, 0, 1, 7, 0, 0}), 0u);
    EXPECT_EQ(output, "Gives light.\n");
    EXPECT_EQ(RunHelp(lamp, {0, 0, 1, 1001, 0, 0}), 0u);
    EXPECT_EQ(output, kFailedLine);
    EXPECT_EQ(RunHelp(nullptr, {0, 0, 1, 7, 0, 0}), 0u);
    EXPECT_EQ(output, kFailedLine);
    lamp->allInstances = 1;
    EXPECT_EQ(RunHelp(lamp, {0, 0, 1, 7, 0, 0}), 0u);
    EXPECT_EQ(output, kFailedLine);
    EXPECT_EQ(RunHelp(lamp, {}), 2u);
    EXPECT_EQ(output, kInvalidTargetLine);
}

TEST_F(CmdHelp, NoParametersReturns1Silently)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpCommandHelp(nullptr, lamp, nullptr, nullptr), 1u);
    EXPECT_EQ(capture.Take(), "");
}
