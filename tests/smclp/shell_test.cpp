// SPDX-License-Identifier: Apache-2.0
// shell_test.cpp -- start-up, the loop and one-shot mode, as whole transcripts.
#include "smclp/shell.h"

#include "platform/memmgr.h"
#include "smclp/command_list.h"
#include "smclp/discovery.h"
#include "smclp/dispatch.h"
#include "support/child_process.h"
#include "support/failing_memory.h"
#include "support/fake_objmgr.h"
#include "support/shell_tables.h"
#include "support/test_shell.h"

#include <functional>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

constexpr char kBanner[] =
    "MORV5 SM-CLP System Management Shell, version 1.0\n"
    "Type \"show\" to list the targets here, \"cd system1\" to move to the managed system.\n"
    "Type \"help\" for the verbs of a target, \"exit\" to end the session.\n";
constexpr char kNotRecognized[] = "ERROR: Command not recognized.\n";
constexpr char kInvalidSyntax[] = "ERROR: Invalid syntax specified.\n";
constexpr char kSyntaxFailed[] =
    "FAILED  : Command syntax may be invalid or target may be invalid.\n";
constexpr char kTimedOut[] = "Session timed out or is not longer valid\n";
constexpr const char *kVariables[] = {"ZORSID", "ZORSSNTYPE", "ZORIP"};

u32 CallSmclpShell(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "smclp");
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return SmclpShell(static_cast<int>(arguments.size()), argv.data());
}

u32 UsedBlocksOfSize(u32 blockSize)
{
    u32 used = 0;
    MemMgrPoolUse use = {};
    for (u32 index = 0; MemMgrGetPoolUse(index, &use); ++index)
        used += use.blockSize == blockSize ? use.used : 0;
    return used;
}

// A shell in a process of its own, in a valid login session unless `prepare` changes that; it runs
// after SmclpInit.
ChildResult RunShell(const std::string &input, const std::vector<std::string> &arguments = {},
                     const std::function<void()> &prepare = nullptr)
{
    return RunInChild(input, [&]() -> int {
        FakeObjMgr objMgr;
        for (const char *name : kVariables)
            setenv(name, "1", 1);
        if (SmclpInit() != 0)
            return 99;
        if (prepare)
            prepare();
        const u32 before = UsedBlocksOfSize(4);
        const u32 result = CallSmclpShell(arguments);
        if (UsedBlocksOfSize(4) != before || SmclpUninit() != 0)
            return 98;  // the session was not removed
        return static_cast<int>(result);
    });
}

// What comes after the banner.
std::string Transcript(const ChildResult &result)
{
    const size_t length = strlen(kBanner);
    if (result.output.compare(0, length, kBanner) != 0)
        return "NO BANNER: " + result.output;
    return result.output.substr(length);
}

TEST(Init, RegistersThePoolsInTheirOrder)
{
    static constexpr u32 kExpected[][2] = {{400, 64}, {12, 64}, {4, 16},    {76, 16}, {320, 256},
                                           {4, 256},  {4, 256}, {48, 16},   {8, 128}, {8, 128},
                                           {40, 32},  {40, 32}, {256, 256}, {32, 256}};
    TestShell shell;
    MemMgrPoolUse use = {};
    u32 index = 0;
    for (const auto &pool : kExpected) {
        ASSERT_TRUE(MemMgrGetPoolUse(index, &use)) << index;
        EXPECT_EQ(use.blockSize, pool[0]) << index;
        EXPECT_EQ(use.blockCount, pool[1]) << index;
        ++index;
    }
    EXPECT_FALSE(MemMgrGetPoolUse(index, &use));
}

TEST(Init, BuildsCommandListAndTree)
{
    EXPECT_EQ(SmclpInit(), 0u);
    EXPECT_NE(SmclpGetCommandObjectByName("set"), nullptr);
    ASSERT_NE(SmclpGetRootElement(), nullptr);
    EXPECT_EQ(SmclpGetRootElement()->kindId, 1u);
    EXPECT_NE(SmclpGetMeById(5), nullptr);
    ResetShellGlobals();
}

TEST(Init, LeavesRoomForBlocksOfEverySize)
{
    TestShell shell;
    EXPECT_LT(UsedBlocksOfSize(400), 64u);
    EXPECT_LT(UsedBlocksOfSize(12), 64u);
    EXPECT_LT(UsedBlocksOfSize(4), 16u + 256 + 256);
    EXPECT_LT(UsedBlocksOfSize(76), 16u);
    EXPECT_LT(UsedBlocksOfSize(320), 256u);
    EXPECT_LT(UsedBlocksOfSize(8), 128u + 128);
}

// Deliberate: pools of one size serve in the order of registration, so the verbs of the elements
// fill the one that is named for sessions first.
TEST(Init, SessionAndVerbsShareTheSmallestBlocks)
{
    TestShell shell;
    const u32 before = UsedBlocksOfSize(4);
    SmclpSession *session = nullptr;
    ASSERT_EQ(SmclpCreateSession(&session), 0u);
    EXPECT_EQ(UsedBlocksOfSize(4), before + 1);
    SmclpRemoveSession(session);
    EXPECT_EQ(UsedBlocksOfSize(4), before);
}

TEST(Uninit, GivesTheCommandsBackAndKeepsTheTree)
{
    ASSERT_EQ(SmclpInit(), 0u);
    MemMgrPoolUse before = {};
    MemMgrGetPoolUse(0, &before);
    EXPECT_EQ(SmclpUninit(), 0u);
    MemMgrPoolUse use = {};
    MemMgrGetPoolUse(3, &use);
    EXPECT_EQ(use.used, 0u);
    MemMgrGetPoolUse(8, &use);
    EXPECT_EQ(use.used, 0u);
    MemMgrGetPoolUse(0, &use);
    EXPECT_EQ(use.used, before.used);
    pClpCommandList = nullptr;
    ResetShellGlobals();
}

TEST(Banner, VersionLineAndTwoMore)
{
    OutputCapture capture;
    SmclpShellShowVersion();
    EXPECT_EQ(capture.Take(), kBanner);
}

TEST(Loop, PromptHasNoBlankAndStandsOnALineOfItsOwn)
{
    const ChildResult result = RunShell("exit\r");
    EXPECT_EQ(result.output, std::string(kBanner) + "\n->exit\n");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Loop, RunsLineAfterLine)
{
    const ChildResult result = RunShell("version\rcd system1\rhelp -version\rcd\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->version\nversion 1.0\n"
                                  "\n->cd system1\n/system1\n"
                                  "\n->help -version\nversion 1.0\n"
                                  "\n->cd\n/system1\n"
                                  "\n->exit\n");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Loop, HelpOfTheSystem)
{
    const ChildResult result = RunShell("help /system1\nexit\n");
    EXPECT_EQ(Transcript(result), "\n->help /system1\n"
                                  "This target is used to manage system settings and operations\n"
                                  "\nVerbs:\n  cd\n  exit\n  help\n  reset\n  show\n  start\n"
                                  "  stop\n  version\n"
                                  "\n->exit\n");
}

TEST(Loop, FailuresDoNotEndItAndTheLastResultIsKept)
{
    const ChildResult result = RunShell("version\rnonsense\rcreate\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->version\nversion 1.0\n"
                                  "\n->nonsense\nERROR: Command not recognized.\n"
                                  "\n->create\nERROR: Command not supported.\n"
                                  "\n->exit\n");
    EXPECT_EQ(result.exitStatus, 11);
    EXPECT_EQ(RunShell("nonsense\rversion\rexit\r").exitStatus, 0);
    EXPECT_EQ(RunShell("nonsense\r\rexit\r").exitStatus, 4);
}

TEST(Loop, ExitEndsItInAnyCaseAndBetweenBlanks)
{
    for (const char *line : {"exit", "EXIT", "Exit", "  exit", "exit  ", "  eXiT  "}) {
        const ChildResult result = RunShell(std::string(line) + "\rversion\r");
        EXPECT_EQ(Transcript(result), "\n->" + std::string(line) + "\n");
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(Loop, ExitWithAnythingElseIsACommand)
{
    const ChildResult result = RunShell("exit -help\rexitx\rexit -version -help\rexit now\rexi\r"
                                        "exit -examine\rexit\r");
    EXPECT_EQ(Transcript(result),
              "\n->exit -help\nThe EXIT command terminates the current SM-CLP session.\n"
              "\n->exitx\nERROR: Command not recognized.\n"
              "\n->exit -version -help\nversion 1.0\n"
              "\n->exit now\nERROR: Invalid syntax specified.\n"
              "\n->exi\nERROR: Command not recognized.\n"
              "\n->exit -examine\nSUCCESS : The command syntax is valid.\n"
              "\n->exit\n");
}

// Deliberate: only the bare word ends the loop.
TEST(Loop, ResultTwoOfTheExitVerbDoesNotEndIt)
{
    const ChildResult result = RunShell("exit -output format=clptxt\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->exit -output format=clptxt\n\n->exit\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST(Loop, EmptyLinesOnlyPromptAgain)
{
    const ChildResult result = RunShell("\r\n\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->\n->\n->\n->exit\n");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Loop, LineOfBlanksIsACommandThatIsNotRecognized)
{
    const ChildResult result = RunShell("   \rexit\r");
    EXPECT_EQ(Transcript(result), "\n->   \nERROR: Command not recognized.\n\n->exit\n");
    EXPECT_EQ(result.exitStatus, 4);
}

TEST(Loop, BlanksAroundALineAreTrimmedAndCaseDoesNotMatter)
{
    const ChildResult result = RunShell("  VERSION  \rexit\r");
    EXPECT_EQ(Transcript(result), "\n->  VERSION  \nversion 1.0\n\n->exit\n");
}

TEST(Loop, BackspaceAndArrowsEditTheLine)
{
    const ChildResult result = RunShell("verx\x7fsion\r\x1b[A\rcx\bd\r\x1b[A\x1b[A\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->verx\b \bsion\nversion 1.0\n"
                                  "\n->version\nversion 1.0\n"
                                  "\n->cx\b \bd\n/\n"
                                  "\n->cd\b \b\b \bversion\nversion 1.0\n"
                                  "\n->exit\n");
}

TEST(Loop, HistoryHoldsLinesAsTypedAndAlsoThoseThatFailed)
{
    const ChildResult result = RunShell("  nonsense \r\x1b[A\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->  nonsense \nERROR: Command not recognized.\n"
                                  "\n->  nonsense \nERROR: Command not recognized.\n"
                                  "\n->exit\n");
}

TEST(Loop, LineOf255CharactersAndOneMore)
{
    const std::string longest = "cd /" + std::string(251, 'x');
    const ChildResult result = RunShell(longest + "y\rexit\r");
    EXPECT_EQ(Transcript(result), "\n->" + longest + "\n" + kInvalidSyntax + "\n->exit\n");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(RunShell(longest.substr(0, 254) + "\rexit\r").exitStatus, 4);
}

TEST(Loop, EndOfInputEndsItWithTheLastResult)
{
    const ChildResult none = RunShell("");
    EXPECT_EQ(Transcript(none), "\n->");
    EXPECT_EQ(none.exitStatus, 0);

    const ChildResult one = RunShell("nonsense\n");
    EXPECT_EQ(Transcript(one), "\n->nonsense\nERROR: Command not recognized.\n\n->");
    EXPECT_EQ(one.exitStatus, 4);
}

TEST(Loop, LineThatTheEndOfInputCutsOffIsNotRun)
{
    const ChildResult result = RunShell("nonsense\nversion");
    EXPECT_EQ(Transcript(result), "\n->nonsense\nERROR: Command not recognized.\n\n->version");
    EXPECT_EQ(result.exitStatus, 4);
}

TEST(Loop, ClosedInputEndsIt)
{
    const ChildResult result = RunShell("", {}, [] { close(0); });
    EXPECT_EQ(Transcript(result), "\n->");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Loop, EndOfInputInAnInvalidSessionSaysNothing)
{
    const ChildResult result = RunShell("", {}, [] { gFakeSsn.state = 2; });
    EXPECT_EQ(Transcript(result), "\n->");
}

TEST(Validation, InvalidSessionEndsTheLoopBeforeTheLineIsRun)
{
    for (const char *line : {"version", "nonsense", "exit", "   "}) {
        const ChildResult result =
            RunShell(std::string(line) + "\rversion\r", {}, [] { gFakeSsn.state = 2; });
        EXPECT_EQ(Transcript(result), "\n->" + std::string(line) + "\n" + kTimedOut);
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(Validation, EmptyLineIsValidatedToo)
{
    const ChildResult result = RunShell("\rversion\r", {}, [] { gFakeSsn.state = 2; });
    EXPECT_EQ(Transcript(result), std::string("\n->") + kTimedOut);
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Validation, EachMissingVariableEndsTheLoopAtTheFirstLine)
{
    for (const char *name : kVariables) {
        const ChildResult result = RunShell("version\rversion\r", {}, [name] { unsetenv(name); });
        EXPECT_EQ(Transcript(result), std::string("\n->version\n") + kTimedOut) << name;
        const ChildResult empty = RunShell("\r\r", {}, [name] { unsetenv(name); });
        EXPECT_EQ(Transcript(empty), std::string("\n->") + kTimedOut) << name;
    }
}

TEST(Validation, RefusedQuestionEndsTheLoop)
{
    const ChildResult result = RunShell("version\r", {}, [] { gFakeSsn.result = 5; });
    EXPECT_EQ(Transcript(result), std::string("\n->version\n") + kTimedOut);
}

TEST(Validation, SessionThatExpiresBetweenTwoLines)
{
    const ChildResult result = RunShell("version\rexpire\rversion\r", {}, [] {
        SmclpCommandListAddCommand(
            50, "expire",
            [](SmclpSession *, ManagedElement *, SmclpCommandLine *, void *) -> u32 {
                gFakeSsn.state = 2;
                return 42;
            },
            [](char *, SmclpCommandLine *) -> u32 { return 0; });
    });
    EXPECT_EQ(Transcript(result), std::string("\n->version\nversion 1.0\n"
                                              "\n->expire\n"
                                              "\n->version\n") +
                                      kTimedOut);
    EXPECT_EQ(result.exitStatus, 42);
}

TEST(Validation, IsAskedOnceAfterEveryLine)
{
    const ChildResult result = RunInChild("\rversion\r   \rexit\r", [] {
        FakeObjMgr objMgr;
        for (const char *name : kVariables)
            setenv(name, "1", 1);
        SmclpInit();
        CallSmclpShell({});
        return static_cast<int>(gFakeSsn.calls);
    });
    EXPECT_EQ(result.exitStatus, 4);
}

TEST(OneShot, RunsTheLineWithoutBannerPromptOrValidation)
{
    const ChildResult result = RunShell("version\r", {"version"}, [] {
        for (const char *name : kVariables)
            unsetenv(name);
        gFakeSsn.state = 2;
    });
    EXPECT_EQ(result.output, "version 1.0\n");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(OneShot, NeverAsksTheSessionManager)
{
    EXPECT_EQ(RunInChild("",
                         [] {
                             FakeObjMgr objMgr;
                             SmclpInit();
                             CallSmclpShell({"version"});
                             return static_cast<int>(gFakeSsn.calls);
                         })
                  .exitStatus,
              0);
}

TEST(OneShot, ReadsNoInput)
{
    EXPECT_EQ(RunInChild("abc",
                         [] {
                             FakeObjMgr objMgr;
                             SmclpInit();
                             CallSmclpShell({"version"});
                             return static_cast<int>(lseek(0, 0, SEEK_CUR));
                         })
                  .exitStatus,
              0);
}

TEST(OneShot, ResultOfTheCommandIsTheStatus)
{
    const struct {
        std::vector<std::string> arguments;
        const char *output;
        int status;
    } kCases[] = {
        {{"nonsense"}, kNotRecognized, 4},
        {{"create"}, "ERROR: Command not supported.\n", 11},
        {{"cd", "/none1"}, "ERROR: Invalid target specified.\n", 2},
        {{"version", "x"}, kInvalidSyntax, 4},
        {{"exit"}, "", 2},
        {{"exit", "-help"}, "The EXIT command terminates the current SM-CLP session.\n", 0},
    };
    for (const auto &row : kCases) {
        const ChildResult result = RunShell("", row.arguments);
        EXPECT_EQ(result.output, row.output) << row.arguments[0];
        EXPECT_EQ(result.exitStatus, row.status) << row.arguments[0];
    }
}

TEST(OneShot, TwoArgumentsAreJoinedByABlank)
{
    const ChildResult joined = RunShell("", {"cd", "/system1"});
    EXPECT_EQ(joined.output, "/system1\n");
    EXPECT_EQ(joined.exitStatus, 0);

    const ChildResult show = RunShell("", {"show", "/system1"});
    EXPECT_EQ(show.output, RunShell("", {"show /system1"}).output);
    EXPECT_NE(show.output.find("/system1:\n"), std::string::npos) << show.output;
    EXPECT_EQ(show.exitStatus, 0);
}

// Deliberate: of three arguments the third is lost and a blank stays behind the second, which makes
// an empty operand.
TEST(OneShot, ThirdArgumentIsLost)
{
    const ChildResult result = RunShell("", {"help", "-version", "/system1"});
    EXPECT_EQ(result.output, RunShell("", {"help -version "}).output);
    EXPECT_EQ(RunShell("", {"version", "-version", "x"}).output, kInvalidSyntax);
    EXPECT_EQ(RunShell("", {"version -version"}).output, "version 1.0\n");
}

TEST(OneShot, LineIsNotTrimmed)
{
    EXPECT_EQ(RunShell("", {" version"}).output, kNotRecognized);
    EXPECT_EQ(RunShell("", {"version "}).output, kInvalidSyntax);
    EXPECT_EQ(RunShell("", {""}).output, kNotRecognized);
    EXPECT_EQ(RunShell("", {"", "version"}).output, kNotRecognized);
    EXPECT_EQ(RunShell("", {" exit "}).output, kNotRecognized);
}

TEST(OneShot, LongArguments)
{
    const std::string longest = "cd /" + std::string(251, 'x');
    EXPECT_EQ(RunShell("", {longest.substr(0, 254)}).exitStatus, 4);
    EXPECT_EQ(RunShell("", {longest}).exitStatus, 2);
    EXPECT_EQ(RunShell("", {longest}).output, kInvalidSyntax);
    // It does not fit the line at all: the line is empty.
    EXPECT_EQ(RunShell("", {longest + "x"}).exitStatus, 4);
    EXPECT_EQ(RunShell("", {longest + "x"}).output, kNotRecognized);
    EXPECT_EQ(RunShell("", {std::string(100'000, 'x'), "y"}).output, kNotRecognized);
}

TEST(Creation, WithoutARootTheShellEndsWithItsResult)
{
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{}, std::vector<std::string>{"version"}}) {
        const ChildResult result = RunShell("version\r", arguments, [] { pMeMapping = nullptr; });
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 2);
    }
}

TEST(Creation, WithoutMemoryTheShellEndsWithItsResult)
{
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{}, std::vector<std::string>{"version"}}) {
        const ChildResult result = RunShell("version\r", arguments,
                                            [] { static MemoryFailure failure(Memory::Pools, 1); });
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 3);
    }
}

// Lines that reach every part of the shell. Their output does not matter here.
constexpr const char *kTypicalLines[] = {
    "version",
    "version -help",
    "help",
    "help /system1",
    "help -examine /system1",
    "cd /system1",
    "cd -default",
    "cd -examine /none1",
    "show",
    "show /system1",
    "show -level 2 /system1/fans1",
    "show -display properties=name,description /system1",
    "show -display properties=(elementname==host-a),verbs,targets /system1",
    "show -examine -display properties=x",
    "start /system1",
    "stop /system1 -output format=clpxml",
    "reset -examine /system1",
    "exit -help",
    "set powerstate=2",
    "delete /system1/logs1/log1",
    "create",
    "nonsense",
    "cd -output format=none",
};

// The n-th allocation from the pools fails during start-up, for every n: the shell starts with
// what there is, or says why not by a result.
TEST(Exhaustion, EveryPoolAllocationOfStartUpFailingInTurn)
{
    const u32 firstElement = 2 * VerbCount() + 1;  // behind two allocations for each command
    u32 call = 1;
    for (bool more = true; more; ++call) {
        FakeObjMgr objMgr;
        TraceCapture traces;
        {
            MemoryFailure failure(Memory::Pools, call);
            ASSERT_EQ(SmclpInit(), call == firstElement ? 1u : 0u) << call;
            more = failure.Struck();
        }
        SmclpSession *session = nullptr;
        ASSERT_EQ(SmclpCreateSession(&session), call == firstElement ? 2u : 0u) << call;
        for (const char *text : kTypicalLines) {
            char line[256] = "";
            strncpy(line, text, sizeof line - 1);
            OutputCapture capture;
            SmclpExecuteCommand(session, line);
            capture.Take();
        }
        EXPECT_EQ(objMgr.openConnections, 0) << call;
        SmclpRemoveSession(session);
        ResetShellGlobals();
    }
    EXPECT_GT(call, firstElement + 20);
}

// From the n-th allocation on nothing is left.
TEST(Exhaustion, PoolsThatRunOutDuringStartUp)
{
    const u32 firstElement = 2 * VerbCount() + 1;
    for (u32 call = 1; call <= firstElement + 31; ++call) {
        FakeObjMgr objMgr;
        TraceCapture traces;
        {
            MemoryFailure failure(Memory::Pools, call, true);
            ASSERT_EQ(SmclpInit(), call <= firstElement ? 1u : 0u) << call;
        }
        SmclpSession *session = nullptr;
        // The root is mapped by the seventh allocation of its own.
        ASSERT_EQ(SmclpCreateSession(&session), call <= firstElement + 6 ? 2u : 0u) << call;
        for (const char *text : {"version", "show", "cd /system1", "help"}) {
            char line[256] = "";
            strncpy(line, text, sizeof line - 1);
            OutputCapture capture;
            const u32 result = SmclpExecuteCommand(session, line);
            const std::string output = capture.Take();
            if (call == 1) {
                EXPECT_EQ(result, 4u);
                EXPECT_EQ(output, kNotRecognized);
            }
        }
        SmclpRemoveSession(session);
        ResetShellGlobals();
    }
}

// One pool after the other cannot be registered for want of memory.
TEST(Exhaustion, EveryPoolMissingInTurn)
{
    // The results of SmclpInit and of the creation of a session.
    static constexpr u32 kExpected[14][2] = {{1, 2}, {0, 2}, {0, 0}, {0, 0}, {0, 0},
                                             {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0},
                                             {0, 0}, {0, 0}, {0, 0}, {0, 0}};
    for (u32 pool = 1; pool <= 14; ++pool) {
        FakeObjMgr objMgr;
        TraceCapture traces;
        {
            MemoryFailure failure(Memory::Registration, pool);
            EXPECT_EQ(SmclpInit(), kExpected[pool - 1][0]) << pool;
            EXPECT_TRUE(failure.Struck());
        }
        SmclpSession *session = nullptr;
        EXPECT_EQ(SmclpCreateSession(&session), kExpected[pool - 1][1]) << pool;
        for (const char *text : kTypicalLines) {
            char line[256] = "";
            strncpy(line, text, sizeof line - 1);
            OutputCapture capture;
            SmclpExecuteCommand(session, line);
            capture.Take();
        }
        SmclpRemoveSession(session);
        ResetShellGlobals();
    }
}

TEST(Exhaustion, WithoutAnyPoolTheShellDoesNotStart)
{
    TraceCapture traces;
    MemoryFailure failure(Memory::Heap, 1, true);
    EXPECT_EQ(SmclpInit(), 1u);
    SmclpSession *session = nullptr;
    EXPECT_EQ(SmclpCreateSession(&session), 3u);
    ResetShellGlobals();
}

// Whether `part` is `whole` with some pieces of its text missing, each piece one output call or
// more.
bool IsWithPiecesMissing(const std::string &part, const std::string &whole)
{
    size_t at = 0;
    for (char c : part) {
        at = whole.find(c, at);
        if (at == std::string::npos)
            return false;
        ++at;
    }
    return true;
}

// Every allocation from the general heap fails in turn, in our own code and in the option parser
// that is linked in. The answer is that of the command, with an output call missing, or one line
// that refuses it; the next command answers as ever.
TEST(Exhaustion, EveryHeapAllocationOfACommandFailingInTurn)
{
    setenv("ZORPRIV", "ffffffff", 1);
    for (const char *line : kTypicalLines) {
        SCOPED_TRACE(line);
        std::string reference;
        {
            FakeObjMgr objMgr;
            TestShell shell;
            shell.Run(line);
            reference = shell.Output();
        }
        u32 call = 1;
        for (bool more = true; more; ++call) {
            SCOPED_TRACE(call);
            FakeObjMgr objMgr;
            TestShell shell;
            {
                MemoryFailure failure(Memory::Heap, call);
                shell.Run(line);
                more = failure.Struck();
            }
            const std::string output = shell.Output();
            EXPECT_TRUE(output == kInvalidSyntax || output == kSyntaxFailed ||
                        IsWithPiecesMissing(output, reference))
                << output;
            EXPECT_EQ(objMgr.openConnections, 0);
            if (output == kInvalidSyntax && reference != kInvalidSyntax) {
                EXPECT_EQ(objMgr.calls, 0u) << "a refused command did something";
            }
            EXPECT_EQ(shell.Run("version"), 0u);
            EXPECT_EQ(shell.Output(), "version 1.0\n");
        }
        if (std::string(line) != "create" && std::string(line) != "nonsense") {
            EXPECT_GT(call, 10u) << "the option parser's own allocations are not reached";
        }
    }
    unsetenv("ZORPRIV");
}

TEST(Exhaustion, NoHeapAtAllDuringACommand)
{
    for (const char *line : kTypicalLines) {
        SCOPED_TRACE(line);
        FakeObjMgr objMgr;
        TestShell shell;
        {
            MemoryFailure failure(Memory::Heap, 1, true);
            shell.Run(line);
        }
        EXPECT_EQ(objMgr.openConnections, 0);
        EXPECT_EQ(objMgr.calls, 0u);
        const std::string output = shell.Output();
        EXPECT_TRUE(output == kInvalidSyntax || output == kNotRecognized ||
                    output == "ERROR: Command not supported.\n")
            << output;
        EXPECT_EQ(shell.Run("version"), 0u);
    }
}

TEST(Exhaustion, EveryPoolAllocationOfACommandFailingInTurn)
{
    for (const char *line : kTypicalLines) {
        SCOPED_TRACE(line);
        u32 call = 1;
        for (bool more = true; more; ++call) {
            SCOPED_TRACE(call);
            FakeObjMgr objMgr;
            TestShell shell;
            {
                MemoryFailure failure(Memory::Pools, call);
                shell.Run(line);
                more = failure.Struck();
            }
            EXPECT_EQ(objMgr.openConnections, 0);
            EXPECT_EQ(shell.Run("version"), 0u);
        }
    }
}

}  // namespace
