// SPDX-License-Identifier: Apache-2.0
// cmd_version_test.cpp -- version.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

TEST(CmdVersion, SaysTheVersionWithAndWithoutOption)
{
    HandTree tree;
    for (const char *line : {"version", "VERSION", "version -version", "version -help -version",
                             "version -output format=clpxml"}) {
        EXPECT_EQ(tree.Run(line), 0u);
        EXPECT_EQ(tree.output, "version 1.0\n") << line;
    }
}

TEST(CmdVersion, HelpAndExamineHaveTheirOwnAnswers)
{
    HandTree tree;
    EXPECT_EQ(tree.Run("version -help"), 0u);
    EXPECT_EQ(tree.output, "The VERSION command is used to display the version of the SM-CLP "
                           "protocol supported.\n");
    EXPECT_EQ(tree.Run("version -examine -help"), 0u);
    EXPECT_EQ(tree.output, "SUCCESS : The command syntax is valid.\n");
    EXPECT_EQ(tree.Run("version -examine foo"), 0u);
    EXPECT_EQ(tree.output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    EXPECT_EQ(tree.Run("version foo"), 4u);
    EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
}

// The target comes before the parameters and before -examine.
TEST(CmdVersion, NoTargetIsInvalidWhateverElseIsGiven)
{
    CmdPara para = {0, 0, 1, 1000, 1, 1};
    for (void *parameters : {static_cast<void *>(&para), static_cast<void *>(nullptr)}) {
        OutputCapture capture;
        EXPECT_EQ(SmclpCommandVersion(nullptr, nullptr, nullptr, parameters), 1u);
        EXPECT_EQ(capture.Take(), "ERROR: Invalid target specified.\n");
    }
}

TEST(CmdVersion, NoParametersReturns1Silently)
{
    HandTree tree;
    OutputCapture capture;
    EXPECT_EQ(SmclpCommandVersion(nullptr, tree.root, nullptr, nullptr), 1u);
    EXPECT_EQ(capture.Take(), "");
}

TEST(CmdVersion, WildcardTargetIsAsGoodAsAnother)
{
    HandTree tree;
    tree.root->allInstances = 1;
    CmdPara para = {};
    OutputCapture capture;
    EXPECT_EQ(SmclpCommandVersion(nullptr, tree.root, nullptr, &para), 0u);
    EXPECT_EQ(capture.Take(), "version 1.0\n");
}

TEST(CmdVersion, AnyExamineResultBut1000Fails)
{
    HandTree tree;
    for (const u32 examineResult : {0u, 999u, 1000u, 1001u}) {
        CmdPara para = {0, 0, 1, examineResult, 1, 1};
        OutputCapture capture;
        EXPECT_EQ(SmclpCommandVersion(nullptr, tree.root, nullptr, &para), 0u);
        EXPECT_EQ(capture.Take(), examineResult == 1000 ? kSuccessLine : kFailedLine);
    }
}
