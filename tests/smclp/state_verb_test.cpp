// SPDX-License-Identifier: Apache-2.0
// state_verb_test.cpp -- what start, stop and reset do with the target's method.
#include "smclp/commands/state_verb.h"

#include "smclp/commands/commands.h"
#include "smclp/me/system.h"
#include "support/fake_objmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

void MeRoot(ManagedElement *element);
void MeSystem(ManagedElement *element);

namespace
{

constexpr char kDenied[] = "ERROR: Insufficient user privileges to perform operation.\n";

struct Row {
    u32 methodResult;
    u32 result;
    const char *output;
};

// Runs the verb on an element named "box" whose method gives each result.
void ExpectAnswers(const char *verb, const std::vector<Row> &rows)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(verb) + " " + std::to_string(row.methodResult));
        HandTree tree;
        ManagedElement *box = tree.Add(tree.root, "box");
        tree.Method(box, row.methodResult);
        EXPECT_EQ(tree.Run(std::string(verb) + " /box"), row.result);
        EXPECT_EQ(tree.output, row.output);
        EXPECT_EQ(tree.methodCalls, std::vector<std::string>{std::string("box ") + verb + " 0 0"});
    }
}

constexpr const char *kVerbs[] = {"start", "stop", "reset"};

}  // namespace

TEST(StateVerb, StartAnswersForEachResultOfTheMethod)
{
    ExpectAnswers("start", {{0, 0, "box was started successfully.\n"},
                            {1, 0, "ERROR: Command not supported.\n"},
                            {2, 0, "ERROR: Command not supported.\n"},
                            {16, 1, kDenied},
                            {17, 0, "ERROR: Command not supported.\n"},
                            {18, 0, "box is already started.\n"},
                            {19, 0, "ERROR: Command not supported.\n"},
                            {0xffffffff, 0, "ERROR: Command not supported.\n"}});
}

TEST(StateVerb, StopAnswersForEachResultOfTheMethod)
{
    ExpectAnswers("stop", {{0, 0, "box was stopped successfully.\n"},
                           {1, 0, "ERROR: Command not supported.\n"},
                           {2, 0, "ERROR: Command not supported.\n"},
                           {16, 1, kDenied},
                           {17, 0, "box is already stopped.\n"},
                           {18, 0, "ERROR: Command not supported.\n"},
                           {19, 0, "ERROR: Command not supported.\n"}});
}

// No full stop after the state, and 16 where start and stop return 1: deliberate.
TEST(StateVerb, ResetAnswersForEachResultOfTheMethod)
{
    ExpectAnswers("reset", {{0, 0, "box was reset successfully.\n"},
                            {1, 0, "ERROR: Command not supported.\n"},
                            {2, 0, "ERROR: Command not supported.\n"},
                            {16, 16, kDenied},
                            {17, 0, "box is currently stopped\n"},
                            {18, 0, "ERROR: Command not supported.\n"},
                            {19, 0, "ERROR: Command not supported.\n"}});
}

TEST(StateVerb, NameOf63CharactersIsSaidWhole)
{
    HandTree tree;
    const std::string name(63, 'n');
    ManagedElement *element = tree.Add(tree.root, name.c_str());
    tree.Method(element, 0);
    EXPECT_EQ(tree.Run("start /" + std::string(62, 'n')), 1u);
    tree.session.currentTarget = element;
    EXPECT_EQ(tree.Run("start"), 0u);
    EXPECT_EQ(tree.output, name + " was started successfully.\n");
}

TEST(StateVerb, PercentSignsInANameAreNoFormat)
{
    HandTree tree;
    tree.session.currentTarget = tree.Add(tree.root, "50%%s%n");
    tree.Method(tree.session.currentTarget, 0);
    EXPECT_EQ(tree.Run("stop"), 0u);
    EXPECT_EQ(tree.output, "50%s%n was stopped successfully.\n");
}

TEST(StateVerb, WithoutTargetTheCurrentOneIsMeant)
{
    for (const char *verb : kVerbs) {
        HandTree tree;
        tree.session.currentTarget = tree.Add(tree.root, "box");
        tree.Method(tree.session.currentTarget, 0);
        EXPECT_EQ(tree.Run(verb), 0u);
        EXPECT_EQ(tree.methodCalls, std::vector<std::string>{std::string("box ") + verb + " 0 0"});
    }
}

TEST(StateVerb, HelpVersionAndExamineDoNotCallTheMethod)
{
    for (const char *verb : kVerbs) {
        HandTree tree;
        tree.Method(tree.Add(tree.root, "box"), 0);
        for (const char *option : {" -help", " -version", " -examine", " -examine -help x y"})
            EXPECT_EQ(tree.Run(std::string(verb) + " /box" + option), 0u);
        EXPECT_TRUE(tree.methodCalls.empty()) << verb;
    }
}

// Not even help: deliberate.
TEST(StateVerb, TargetWithoutMethodSupportsNothing)
{
    for (const char *verb : kVerbs) {
        HandTree tree;
        tree.Add(tree.root, "box");
        for (const char *option : {"", " -help", " -version", " -help -version"}) {
            EXPECT_EQ(tree.Run(std::string(verb) + " /box" + option), 0u);
            EXPECT_EQ(tree.output, "ERROR: Command not supported.\n") << verb << option;
        }
        EXPECT_EQ(tree.Run(std::string(verb) + " /box -examine"), 0u);
        EXPECT_EQ(tree.output,
                  "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    }
}

TEST(StateVerb, NoTargetIsInvalid)
{
    for (const auto execute : {SmclpCommandStart, SmclpCommandStop, SmclpCommandReset}) {
        SmclpCommandLine record = {};
        CmdPara para = {};
        OutputCapture refused;
        EXPECT_EQ(execute(nullptr, nullptr, &record, &para), 1u);
        EXPECT_EQ(refused.Take(), "ERROR: Invalid target specified.\n");
        para.examineFlag = 1;
        para.examineResult = 1000;
        OutputCapture examined;
        EXPECT_EQ(execute(nullptr, nullptr, &record, &para), 0u);
        EXPECT_EQ(examined.Take(),
                  "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    }
}

TEST(StateVerb, NeedsNeitherSessionNorRecord)
{
    HandTree tree;
    ManagedElement *box = tree.Add(tree.root, "box");
    tree.Method(box, 0);
    for (const auto execute : {SmclpCommandStart, SmclpCommandStop, SmclpCommandReset}) {
        CmdPara para = {};
        OutputCapture capture;
        EXPECT_EQ(execute(nullptr, box, nullptr, &para), 0u);
        EXPECT_NE(capture.Take(), "");
        OutputCapture silent;
        EXPECT_EQ(execute(nullptr, box, nullptr, nullptr), 1u);
        EXPECT_EQ(silent.Take(), "");
    }
    EXPECT_EQ(tree.methodCalls.size(), 3u);
}

TEST(StateVerb, AnyExamineResultBut1000Fails)
{
    HandTree tree;
    ManagedElement *box = tree.Add(tree.root, "box");
    tree.Method(box, 0);
    for (const auto execute : {SmclpCommandStart, SmclpCommandStop, SmclpCommandReset}) {
        for (const u32 examineResult : {0u, 999u, 1000u, 1001u}) {
            CmdPara para = {0, 0, 1, examineResult, 1, 1};
            OutputCapture capture;
            EXPECT_EQ(execute(nullptr, box, nullptr, &para), 0u);
            EXPECT_EQ(capture.Take(), examineResult == 1000 ? kSuccessLine : kFailedLine);
        }
    }
    EXPECT_TRUE(tree.methodCalls.empty());
}

// The system and a failing object manager

namespace
{

class SystemTree : public HandTree
{
public:
    SystemTree()
    {
        MeRoot(root);
        SmclpPopulateManagedElement(root);
        system = AddKind(root, MeSystem);
    }
    ManagedElement *system;
};

struct Failure {
    u32 result;
    const char *output;
};

// Fails the n-th call of the object manager for n = 1, 2, ... as `expected` says, then none.
void WalkFailures(const char *verb, const char *power, CimStatus status,
                  const std::vector<Failure> &expected)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    for (u32 n = 1; n <= expected.size(); ++n) {
        SCOPED_TRACE(std::string(verb) + ", call " + std::to_string(n));
        FakeObjMgr om;
        om.Set("OEM_QARN_System", "PowerStatus", power);
        om.failCall = n;
        om.failStatus = status;
        SystemTree tree;
        const TraceCapture trace;
        EXPECT_EQ(tree.Run(std::string(verb) + " /system1"), expected[n - 1].result);
        EXPECT_EQ(tree.output, expected[n - 1].output);
        EXPECT_EQ(om.openConnections, 0);
        EXPECT_EQ(om.calls, n < expected.size() ? n : expected.size() - 1);
        EXPECT_EQ(om.Logged("Close").size(), n == 1 ? 0u : 1u);
    }
}

}  // namespace

TEST(StateVerb, EveryCallOfTheObjectManagerMayFail)
{
    WalkFailures("start", "OFF", 1,
                 {{0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, "system was started successfully.\n"}});
    WalkFailures("stop", "ON", 1,
                 {{0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, "system was stopped successfully.\n"}});
    WalkFailures("reset", "ON", 6,
                 {{0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {0, "system was reset successfully.\n"}});
}

TEST(StateVerb, EveryCallOfTheObjectManagerMayBeDenied)
{
    WalkFailures("start", "OFF", 2,
                 {{0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {1, kNoPrivilegeLine},
                  {1, kNoPrivilegeLine},
                  {0, "system was started successfully.\n"}});
    WalkFailures("stop", "ON", 2,
                 {{0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {1, kNoPrivilegeLine},
                  {1, kNoPrivilegeLine},
                  {0, "system was stopped successfully.\n"}});
    WalkFailures("reset", "ON", 2,
                 {{0, kNotSupportedLine},
                  {0, kNotSupportedLine},
                  {16, kNoPrivilegeLine},
                  {16, kNoPrivilegeLine},
                  {0, "system was reset successfully.\n"}});
}

TEST(StateVerb, SystemThatIsThereAlreadySaysSo)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    FakeObjMgr om;
    SystemTree tree;
    EXPECT_EQ(tree.Run("start /system1"), 0u);
    EXPECT_EQ(tree.output, "system is already started.\n");
    EXPECT_EQ(tree.Run("stop /system1"), 0u);
    EXPECT_EQ(tree.output, "system was stopped successfully.\n");
    EXPECT_EQ(tree.Run("stop /system1"), 0u);
    EXPECT_EQ(tree.output, "system is already stopped.\n");
    EXPECT_EQ(tree.Run("reset /system1"), 0u);
    EXPECT_EQ(tree.output, "system is currently stopped\n");
    EXPECT_EQ(tree.Run("start /system1"), 0u);
    EXPECT_EQ(tree.output, "system was started successfully.\n");
    EXPECT_EQ(tree.Run("reset /system1"), 0u);
    EXPECT_EQ(tree.output, "system was reset successfully.\n");
    EXPECT_EQ(om.openConnections, 0);
}
