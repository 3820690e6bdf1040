// SPDX-License-Identifier: Apache-2.0
// dispatch_test.cpp -- one command line from end to end.
//
// Most tests add verbs of their own, which note what they are called with.
#include "smclp/dispatch.h"

#include "smclp/command_list.h"
#include "smclp/discovery.h"
#include "smclp/tokenise.h"
#include "support/failing_memory.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <string>

namespace
{

struct Noted {
    std::string parsedLine;
    std::string recordLine;
    std::string verb;
    u32 parses = 0;
    u32 executions = 0;
    SmclpSession *session = nullptr;
    ManagedElement *target = nullptr;
    void *parameters = nullptr;
    std::string recordTarget;

    // What the verb is to do.
    u32 parseResult = 0;
    u32 executeResult = 0;
    std::string targetText;
    bool allocates = false;
};
Noted gNoted;

u32 NoteParse(char *line, SmclpCommandLine *record)
{
    ++gNoted.parses;
    gNoted.parsedLine = line;
    gNoted.recordLine = record->line;
    gNoted.verb = record->verb;
    EXPECT_STREQ(record->target, "");
    EXPECT_EQ(pCmdPara, nullptr);
    strncpy(record->target, gNoted.targetText.c_str(), sizeof record->target - 1);
    if (gNoted.allocates)
        pCmdPara = malloc(24);
    return gNoted.parseResult;
}

u32 NoteExecute(SmclpSession *session, ManagedElement *target, SmclpCommandLine *record,
                void *parameters)
{
    ++gNoted.executions;
    gNoted.session = session;
    gNoted.target = target;
    gNoted.parameters = parameters;
    gNoted.recordTarget = record->target;
    EXPECT_EQ(parameters, pCmdPara);
    return gNoted.executeResult;
}

constexpr u32 kNoteId = 50;

class Dispatch : public testing::Test
{
protected:
    Dispatch()
    {
        gNoted = {};
        EXPECT_NE(SmclpCommandListAddCommand(kNoteId, "note", NoteExecute, NoteParse), nullptr);
    }

    FakeObjMgr objMgr_;
    TestShell shell_;
};

TEST_F(Dispatch, HandsTheNormalisedLineToTheParserAndKeepsItAsTyped)
{
    EXPECT_EQ(shell_.Run("NOTE   Some  Words"), 0u);
    EXPECT_EQ(gNoted.parsedLine, "note some words");
    EXPECT_EQ(gNoted.recordLine, "NOTE   Some  Words");
    EXPECT_EQ(gNoted.verb, "note");
    EXPECT_EQ(gNoted.executions, 1u);
    EXPECT_EQ(shell_.Output(), "");
}

TEST_F(Dispatch, ExecutorsResultIsTheResult)
{
    for (u32 result : {0u, 1u, 2u, 16u, UINT32_MAX}) {
        gNoted.executeResult = result;
        EXPECT_EQ(shell_.Run("note"), result);
        EXPECT_EQ(shell_.Output(), "");
    }
}

TEST_F(Dispatch, ExecutorGetsTheSessionAndItsCurrentTarget)
{
    ManagedElement *system = shell_.At("/system1");
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_EQ(gNoted.session, shell_.Session());
    EXPECT_EQ(gNoted.target, SmclpGetRootElement());
    ASSERT_EQ(SmclpSetCurrentTarget(shell_.Session(), system), 0u);
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_EQ(gNoted.target, system);
}

TEST_F(Dispatch, TargetTextIsResolvedAgainstTheCurrentTarget)
{
    ManagedElement *system = shell_.At("/system1");
    system->instanceNumber = 0;
    gNoted.targetText = "system1";
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_EQ(gNoted.target, system);
    EXPECT_EQ(system->instanceNumber, 1u);
    EXPECT_EQ(gNoted.recordTarget, "system1");
    EXPECT_EQ(SmclpGetCurrentTarget(shell_.Session()), SmclpGetRootElement());

    ASSERT_EQ(SmclpSetCurrentTarget(shell_.Session(), system), 0u);
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_EQ(gNoted.target, nullptr);
    gNoted.targetText = "..";
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_EQ(gNoted.target, SmclpGetRootElement());
}

TEST_F(Dispatch, TargetThatDoesNotResolveIsNullForTheExecutor)
{
    gNoted.targetText = "/none1";
    gNoted.executeResult = 7;
    EXPECT_EQ(shell_.Run("note"), 7u);
    EXPECT_EQ(gNoted.executions, 1u);
    EXPECT_EQ(gNoted.target, nullptr);
    EXPECT_EQ(shell_.Output(), "");
}

// The operand of set is no address.
TEST(DispatchOfSet, TargetTextIsNotResolved)
{
    gNoted = {};
    FakeObjMgr objMgr;
    TestShell shell;
    for (SmclpCommandLink *link = pClpCommandList; link != nullptr; link = link->next) {
        if (link->command->id == 14) {
            link->command->parse = NoteParse;
            link->command->execute = NoteExecute;
        }
    }
    gNoted.targetText = "/none1";
    EXPECT_EQ(shell.Run("set powerstate=2"), 0u);
    EXPECT_EQ(gNoted.target, SmclpGetRootElement());
    EXPECT_EQ(gNoted.recordTarget, "/none1");

    ManagedElement *system = shell.At("/system1");
    ASSERT_EQ(SmclpSetCurrentTarget(shell.Session(), system), 0u);
    system->instanceNumber = 0;
    gNoted.targetText = "/system1";
    EXPECT_EQ(shell.Run("set x"), 0u);
    EXPECT_EQ(gNoted.target, system);
    EXPECT_EQ(system->instanceNumber, 0u);
}

TEST_F(Dispatch, ParametersAreHandedOverAndFreed)
{
    gNoted.allocates = true;
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_NE(gNoted.parameters, nullptr);
    EXPECT_EQ(pCmdPara, nullptr);
    gNoted.allocates = false;
    EXPECT_EQ(shell_.Run("note"), 0u);
    EXPECT_EQ(gNoted.parameters, nullptr);
}

TEST_F(Dispatch, ParametersOfAParserThatFailsAreFreedToo)
{
    gNoted.allocates = true;
    gNoted.parseResult = 4;
    EXPECT_EQ(shell_.Run("note"), 4u);
    EXPECT_EQ(gNoted.executions, 0u);
    EXPECT_EQ(pCmdPara, nullptr);
}

TEST_F(Dispatch, ParametersLeftOverAreFreedWithAnUnknownVerb)
{
    pCmdPara = malloc(24);
    EXPECT_EQ(shell_.Run("nonsense"), 4u);
    EXPECT_EQ(pCmdPara, nullptr);
    pCmdPara = malloc(24);
    EXPECT_EQ(shell_.Run("create"), 11u);
    EXPECT_EQ(pCmdPara, nullptr);
}

TEST_F(Dispatch, ParsersResultChoosesTheErrorLine)
{
    gNoted.parseResult = 9;
    EXPECT_EQ(shell_.Run("note"), 9u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid argument specified.\n");
    gNoted.parseResult = 10;
    EXPECT_EQ(shell_.Run("note"), 10u);
    EXPECT_EQ(shell_.Output(), "ERROR: Required option is missing.\n");
    for (u32 result : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 11u, 12u, 255u, UINT32_MAX}) {
        gNoted.parseResult = result;
        EXPECT_EQ(shell_.Run("note"), result);
        EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n") << result;
    }
    EXPECT_EQ(gNoted.executions, 0u);
}

TEST_F(Dispatch, ParserThatFailsLeavesTheTargetUnresolved)
{
    ManagedElement *system = shell_.At("/system1");
    system->instanceNumber = 0;
    gNoted.targetText = "/system1";
    gNoted.parseResult = 8;
    EXPECT_EQ(shell_.Run("note"), 8u);
    EXPECT_EQ(system->instanceNumber, 0u);
}

TEST_F(Dispatch, UnsupportedVerbs)
{
    for (const char *line : {"create", "dump", "load", "setx", "create /system1", "DUMP -help",
                             "load -examine", "setx a=b"}) {
        EXPECT_EQ(shell_.Run(line), 11u) << line;
        EXPECT_EQ(shell_.Output(), "ERROR: Command not supported.\n") << line;
    }
}

TEST_F(Dispatch, VerbWithoutParserOrExecutorIsNotSupported)
{
    SmclpCommand *note = SmclpGetCommandObjectByName("note");
    note->parse = nullptr;
    EXPECT_EQ(shell_.Run("note"), 11u);
    EXPECT_EQ(shell_.Output(), "ERROR: Command not supported.\n");
    note->parse = NoteParse;
    note->execute = nullptr;
    EXPECT_EQ(shell_.Run("note"), 11u);
    EXPECT_EQ(shell_.Output(), "ERROR: Command not supported.\n");
    EXPECT_EQ(gNoted.parses, 0u);
    EXPECT_EQ(gNoted.executions, 0u);
}

TEST_F(Dispatch, UnknownVerbs)
{
    for (const char *line :
         {"nonsense", "", " ", "   ", " show", "sho", "shows", "set-x", "a,b", "=x", "x=y", "-help",
          "abcdefghijklmno", "abcdefghijklmnop", "\"show\"", "show\t/system1", "/system1"}) {
        EXPECT_EQ(shell_.Run(line), 4u) << line;
        EXPECT_EQ(shell_.Output(), "ERROR: Command not recognized.\n") << line;
    }
}

TEST_F(Dispatch, NullLineIsNotRecognized)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpExecuteCommand(shell_.Session(), nullptr), 4u);
    EXPECT_EQ(capture.Take(), "ERROR: Command not recognized.\n");
}

TEST_F(Dispatch, LineOf512CharactersIsNotRecognized)
{
    for (size_t size : {511u, 512u, 5000u}) {
        std::string line = "note " + std::string(size - 5, 'x');
        line.reserve(line.size() + 256);
        OutputCapture capture;
        EXPECT_EQ(SmclpExecuteCommand(shell_.Session(), line.data()), size < 512 ? 0u : 4u) << size;
        EXPECT_EQ(capture.Take(), size < 512 ? "" : "ERROR: Command not recognized.\n") << size;
    }
}

TEST_F(Dispatch, VerbIsTheSameInAnyCase)
{
    for (const char *line : {"version", "VERSION", "VeRsIoN"}) {
        EXPECT_EQ(shell_.Run(line), 0u);
        EXPECT_EQ(shell_.Output(), "version 1.0\n") << line;
    }
}

TEST_F(Dispatch, FailuresLeaveTheCurrentTargetAlone)
{
    const ManagedElement *before = SmclpGetCurrentTarget(shell_.Session());
    for (const char *line : {"nonsense", "create", "cd /none1", "cd -output x", "note"}) {
        shell_.Run(line);
        EXPECT_EQ(SmclpGetCurrentTarget(shell_.Session()), before) << line;
    }
    EXPECT_EQ(shell_.Run("cd system1"), 0u);
    EXPECT_EQ(SmclpGetCurrentTarget(shell_.Session()), shell_.At("/system1"));
}

// 255 characters are what the editor lets in; the parsers stop one earlier.
TEST_F(Dispatch, LongestLines)
{
    EXPECT_EQ(shell_.Run("note " + std::string(250, 'x')), 0u);
    EXPECT_EQ(gNoted.parsedLine, "note " + std::string(250, 'x'));
    EXPECT_EQ(shell_.Run("cd /" + std::string(251, 'x')), 2u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n");
    EXPECT_EQ(shell_.Run("cd /" + std::string(250, 'x')), 4u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n");
}

// A target has at most 63 characters; a longer one is refused by the parser.
TEST_F(Dispatch, TargetOf63CharactersAnd64)
{
    EXPECT_EQ(shell_.Run("cd /" + std::string(62, 'x')), 2u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid target specified.\n");
    for (size_t size : {64u, 127u}) {
        EXPECT_EQ(shell_.Run("cd /" + std::string(size - 1, 'x')), 8u) << size;
        EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n") << size;
    }
}

// The dispatcher trims nothing: the blank at the end makes an empty operand.
TEST_F(Dispatch, BlankAtTheEndIsAnEmptyOperand)
{
    EXPECT_EQ(shell_.Run("version "), 4u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n");
    EXPECT_EQ(shell_.Run("version" + std::string(247, ' ')), 4u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n");
}

TEST_F(Dispatch, WordsThatDoNotFitAreASyntaxError)
{
    EXPECT_NE(shell_.Run("help a b c d e f g h i j k l m n o p"), 0u);
    EXPECT_EQ(shell_.Output(), "ERROR: Invalid syntax specified.\n");
}

}  // namespace
