// SPDX-License-Identifier: Apache-2.0
// cmd_exit_test.cpp -- exit with options.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

namespace
{

u32 RunExit(CmdPara para, std::string *output)
{
    OutputCapture capture;
    const u32 result = SmclpCommandExit(nullptr, nullptr, nullptr, &para);
    *output = capture.Take();
    return result;
}

}  // namespace

TEST(CmdExit, PlainExitReturns2Silently)
{
    HandTree tree;
    EXPECT_EQ(tree.Run("exit"), 2u);
    EXPECT_EQ(tree.output, "");
    EXPECT_EQ(tree.Run("exit -output format=clpxml"), 2u);
    EXPECT_EQ(tree.output, "");
    std::string output;
    EXPECT_EQ(RunExit({}, &output), 2u);
    EXPECT_EQ(output, "");
}

TEST(CmdExit, NoParametersReturns2Silently)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpCommandExit(nullptr, nullptr, nullptr, nullptr), 2u);
    EXPECT_EQ(capture.Take(), "");
}

TEST(CmdExit, OperandIsASyntaxError)
{
    HandTree tree;
    EXPECT_EQ(tree.Run("exit foo"), 4u);
    EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
    EXPECT_EQ(tree.Run("exit -examine foo"), 0u);
    EXPECT_EQ(tree.output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
}

TEST(CmdExit, OptionsAnswerAndDoNotEndTheSession)
{
    HandTree tree;
    EXPECT_EQ(tree.Run("exit -help"), 0u);
    EXPECT_EQ(tree.output, "The EXIT command terminates the current SM-CLP session.\n");
    EXPECT_EQ(tree.Run("exit -version -help"), 0u);
    EXPECT_EQ(tree.output, "version 1.0\n");
    EXPECT_EQ(tree.Run("exit -examine -version -help"), 0u);
    EXPECT_EQ(tree.output, "SUCCESS : The command syntax is valid.\n");
}

TEST(CmdExit, AnyExamineResultBut1000Fails)
{
    for (const u32 examineResult : {0u, 999u, 1000u, 1001u}) {
        std::string output;
        EXPECT_EQ(RunExit({0, 0, 1, examineResult, 1, 1}, &output), 0u);
        EXPECT_EQ(output, examineResult == 1000 ? kSuccessLine : kFailedLine);
    }
}
