// SPDX-License-Identifier: Apache-2.0
// cmd_set_test.cpp -- set: the operand goes to the method of the current target.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

TEST(CmdSet, AnswersForEachResultOfTheMethod)
{
    const struct {
        u32 methodResult;
        u32 result;
        const char *output;
    } rows[] = {
        {0, 0, "Command completed successfully.\n"},
        {1, 1, "Command failed.\n"},
        {2, 2, "Command failed.\n"},
        {16, 16, "ERROR: Insufficient user privileges to perform operation.\n"},
        {17, 0, "Selected state cannot be set.\n"},
        {18, 0, "Selected state cannot be set.\n"},
        {19, 19, "Command failed.\n"},
    };
    for (const auto &row : rows) {
        HandTree tree;
        tree.session.currentTarget = tree.Add(tree.root, "svc");
        tree.Method(tree.session.currentTarget, row.methodResult);
        EXPECT_EQ(tree.Run("set powerstate=2"), row.result) << row.methodResult;
        EXPECT_EQ(tree.output, row.output);
        EXPECT_EQ(tree.methodCalls, std::vector<std::string>{"svc powerstate=2 0 0"});
    }
}

TEST(CmdSet, HandsOverTheOperandLoweredAndOtherwiseUnchanged)
{
    const struct {
        const char *line;
        const char *operand;
    } rows[] = {
        {"set PowerState=6", "powerstate=6"},
        {"SET /System1/..//x*", "/system1/..//x*"},
        {"set stop", "stop"},
        {"set powerstate==06", "powerstate==06"},
        {"set \"Two  Words\"", "two words"},  // runs of blanks shrink before anything else
        {"set 100%s%n", "100%s%n"},
        {"set ..", ".."},
        {"set --zap", "--zap"},
    };
    for (const auto &row : rows) {
        HandTree tree;
        tree.session.currentTarget = tree.Add(tree.root, "svc");
        tree.Method(tree.session.currentTarget, 0);
        EXPECT_EQ(tree.Run(row.line), 0u) << row.line;
        EXPECT_EQ(tree.methodCalls,
                  std::vector<std::string>{std::string("svc ") + row.operand + " 0 0"});
    }
}

TEST(CmdSet, OperandIsNotResolved)
{
    HandTree tree;
    ManagedElement *svc = tree.Add(tree.root, "svc");
    ManagedElement *other = tree.Add(tree.root, "other");
    tree.Count(other, {3});
    tree.Method(svc, 0);
    tree.Method(other, 0);
    tree.session.currentTarget = svc;
    EXPECT_EQ(tree.Run("set /other2"), 0u);
    EXPECT_EQ(tree.methodCalls, std::vector<std::string>{"svc /other2 0 0"});
    EXPECT_EQ(tree.CountCalls(other), 0u);
    EXPECT_EQ(other->instanceNumber, 0u);
}

TEST(CmdSet, FollowsTheCurrentTarget)
{
    HandTree tree;
    for (const char *name : {"one", "two"})
        tree.Method(tree.Add(tree.root, name), 0);
    EXPECT_EQ(tree.Run("cd /one"), 0u);
    EXPECT_EQ(tree.Run("set x"), 0u);
    EXPECT_EQ(tree.Run("cd /two"), 0u);
    EXPECT_EQ(tree.Run("set x"), 0u);
    EXPECT_EQ(tree.methodCalls, (std::vector<std::string>{"one x 0 0", "two x 0 0"}));
}

TEST(CmdSet, OperandOf63CharactersIsTheLongest)
{
    HandTree tree;
    tree.Method(tree.root, 0);
    const std::string longest(63, 'x');
    EXPECT_EQ(tree.Run("set " + longest), 0u);
    EXPECT_EQ(tree.methodCalls, std::vector<std::string>{" " + longest + " 0 0"});
    EXPECT_EQ(tree.Run("set " + longest + "x"), 8u);
    EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
    EXPECT_EQ(tree.methodCalls.size(), 1u);
}

TEST(CmdSet, BareSetIsRefusedByTheParser)
{
    HandTree tree;
    tree.Method(tree.root, 0);
    EXPECT_EQ(tree.Run("set"), 8u);
    EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
    EXPECT_TRUE(tree.methodCalls.empty());
}

// The text of reset: deliberate.
TEST(CmdSet, HelpIsThatOfReset)
{
    HandTree tree;
    tree.Method(tree.root, 0);
    EXPECT_EQ(tree.Run("set -help"), 0u);
    EXPECT_EQ(tree.output, "The RESET command resets the target.\n");
    EXPECT_EQ(tree.Run("set x -help -version"), 0u);
    EXPECT_EQ(tree.output, "version 1.0\n");
    EXPECT_EQ(tree.Run("set x -examine"), 0u);
    EXPECT_EQ(tree.output, "SUCCESS : The command syntax is valid.\n");
    EXPECT_TRUE(tree.methodCalls.empty());
}

TEST(CmdSet, OptionWithoutOperandHandsOverAnEmptyText)
{
    HandTree tree;
    tree.Method(tree.root, 2);
    EXPECT_EQ(tree.Run("set -output format=clptxt"), 2u);
    EXPECT_EQ(tree.output, "Command failed.\n");
    EXPECT_EQ(tree.methodCalls, std::vector<std::string>{"  0 0"});
}

TEST(CmdSet, TargetWithoutMethodSupportsNothing)
{
    HandTree tree;
    for (const char *line : {"set x", "set -help", "set x -version"}) {
        EXPECT_EQ(tree.Run(line), 0u);
        EXPECT_EQ(tree.output, "ERROR: Command not supported.\n") << line;
    }
    EXPECT_EQ(tree.Run("set x -examine"), 0u);
    EXPECT_EQ(tree.output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
}

TEST(CmdSet, NoTargetIsInvalid)
{
    SmclpCommandLine record = {};
    CmdPara para = {};
    OutputCapture refused;
    EXPECT_EQ(SmclpCommandSetPowerState(nullptr, nullptr, &record, &para), 1u);
    EXPECT_EQ(refused.Take(), "ERROR: Invalid target specified.\n");
    para = {0, 0, 1, 1000, 0, 0};
    OutputCapture examined;
    EXPECT_EQ(SmclpCommandSetPowerState(nullptr, nullptr, &record, &para), 0u);
    EXPECT_EQ(examined.Take(),
              "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    OutputCapture silent;
    EXPECT_EQ(SmclpCommandSetPowerState(nullptr, nullptr, &record, nullptr), 1u);
    EXPECT_EQ(silent.Take(), "");
}
