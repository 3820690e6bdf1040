// SPDX-License-Identifier: Apache-2.0
// cmd_reset_test.cpp -- what is reset's own; the rest is in options_test and state_verb_test.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

namespace
{

u32 RunReset(ManagedElement *target, CmdPara para, std::string *output)
{
    OutputCapture capture;
    const u32 result = SmclpCommandReset(nullptr, target, nullptr, &para);
    *output = capture.Take();
    return result;
}

}  // namespace

TEST(CmdReset, CallsTheMethodWithItsOwnName)
{
    HandTree tree;
    ManagedElement *box = tree.Add(tree.root, "box");
    tree.Method(box, 0);
    std::string output;
    EXPECT_EQ(RunReset(box, {}, &output), 0u);
    EXPECT_EQ(output, "box was reset successfully.\n");
    EXPECT_EQ(tree.methodCalls, std::vector<std::string>{"box reset 0 0"});
}

TEST(CmdReset, KnowsOneStateAndOneRefusal)
{
    HandTree tree;
    ManagedElement *box = tree.Add(tree.root, "box");
    std::string output;
    tree.Method(box, 17);
    EXPECT_EQ(RunReset(box, {}, &output), 0u);
    EXPECT_EQ(output, "box is currently stopped\n");
    tree.Method(box, 18);
    EXPECT_EQ(RunReset(box, {}, &output), 0u);
    EXPECT_EQ(output, "ERROR: Command not supported.\n");
    tree.Method(box, 16);
    EXPECT_EQ(RunReset(box, {}, &output), 16u);
    EXPECT_EQ(output, "ERROR: Insufficient user privileges to perform operation.\n");
}

TEST(CmdReset, HelpDoesNotCallTheMethod)
{
    HandTree tree;
    ManagedElement *box = tree.Add(tree.root, "box");
    tree.Method(box, 0);
    std::string output;
    EXPECT_EQ(RunReset(box, {0, 0, 0, 0, 1, 0}, &output), 0u);
    EXPECT_EQ(output, "The RESET command resets the target.\n");
    EXPECT_TRUE(tree.methodCalls.empty());
}

TEST(CmdReset, FailsTheExaminationOfATargetWithoutMethod)
{
    HandTree tree;
    ManagedElement *box = tree.Add(tree.root, "box");
    std::string output;
    EXPECT_EQ(RunReset(box, {0, 0, 1, 1000, 0, 0}, &output), 0u);
    EXPECT_EQ(output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    EXPECT_EQ(RunReset(box, {}, &output), 0u);
    EXPECT_EQ(output, "ERROR: Command not supported.\n");
}
