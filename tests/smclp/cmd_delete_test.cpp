// SPDX-License-Identifier: Apache-2.0
// cmd_delete_test.cpp -- delete: clears the event log.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/fake_objmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

namespace
{

using Log = std::vector<std::string>;

// /entry1 and /entry2, which list delete, and /fixed1, which does not.
class CmdDelete : public ::testing::Test
{
protected:
    CmdDelete()
    {
        entry = tree.Add(tree.root, "entry");
        tree.Count(entry, {2});
        tree.Verbs(entry, {1, 5, 12, 3, 2, 13});
        fixed = tree.Add(tree.root, "fixed");
        tree.Count(fixed, {1});
        tree.Verbs(fixed, {1, 12, 3, 2, 13});
        om.AddRecord("System Boot", "", "one");
        om.ClearLog();
    }
    HandTree tree;
    FakeObjMgr om;
    ManagedElement *entry;
    ManagedElement *fixed;
};

}  // namespace

TEST_F(CmdDelete, ClearsTheLogOfAWildcardTarget)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const TraceCapture trace;
    EXPECT_EQ(tree.Run("delete /entry*"), 0u);
    EXPECT_EQ(tree.output, "All records deleted successfully.\n");
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "SetPrivilege 1ff",
                           "InvokeMethod OEM_QARN_MessageLog.Name=SEL Clear", "Close"}));
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_EQ(om.objects["OEM_QARN_MessageLog.Name=SEL"].properties["NumRecords"].text, "0");
}

TEST_F(CmdDelete, NumberedTargetIsNotSupported)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    for (const char *line : {"delete /entry1", "delete /entry1 -help", "delete /entry2 -version"}) {
        EXPECT_EQ(tree.Run(line), 11u);
        EXPECT_EQ(tree.output, "ERROR: Command not supported.\n") << line;
    }
    EXPECT_EQ(om.calls, 0u);
}

TEST_F(CmdDelete, TargetThatDoesNotListTheVerbIsNotSupported)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    for (const char *line :
         {"delete /fixed*", "delete /fixed1", "delete", "delete /fixed* -help"}) {
        EXPECT_EQ(tree.Run(line), 11u);
        EXPECT_EQ(tree.output, "ERROR: Command not supported.\n") << line;
    }
    EXPECT_EQ(om.calls, 0u);
}

TEST_F(CmdDelete, UnresolvedTargetIsInvalid)
{
    EXPECT_EQ(tree.Run("delete /entry3"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.Run("delete -examine /entry3"), 0u);
    EXPECT_EQ(tree.output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    EXPECT_EQ(om.calls, 0u);
}

TEST_F(CmdDelete, ExamineWantsTheVerbTheWildcardAndValidSyntax)
{
    const struct {
        const char *line;
        const char *output;
    } rows[] = {
        {"delete -examine /entry*", kSuccessLine},  {"delete -examine /entry1", kFailedLine},
        {"delete -examine /fixed*", kFailedLine},   {"delete -examine /fixed1", kFailedLine},
        {"delete -examine /entry* x", kFailedLine}, {"delete -examine", kFailedLine},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(tree.Run(row.line), 0u) << row.line;
        EXPECT_EQ(tree.output, row.output) << row.line;
    }
    entry->allInstances = 1;
    for (const u32 examineResult : {0u, 1001u}) {
        CmdPara para = {0, 0, 1, examineResult, 0, 0};
        OutputCapture capture;
        EXPECT_EQ(SmclpCommandDelete(nullptr, entry, nullptr, &para), 0u);
        EXPECT_EQ(capture.Take(), kFailedLine);
    }
    EXPECT_EQ(om.calls, 0u);
}

TEST_F(CmdDelete, HelpAndVersionClearNothing)
{
    EXPECT_EQ(tree.Run("delete /entry* -help"), 0u);
    EXPECT_EQ(tree.output, "The DELETE command is used to remove target(s).\n");
    EXPECT_EQ(tree.Run("delete /entry* -help -version"), 0u);
    EXPECT_EQ(tree.output, "version 1.0\n");
    EXPECT_EQ(om.calls, 0u);
}

TEST_F(CmdDelete, MissingInterfaceIsTracedAtLine149)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const TraceCapture trace;
    om.interfaceMissing = true;
    EXPECT_EQ(tree.Run("delete /entry*"), 11u);
    EXPECT_EQ(tree.output, "");
    EXPECT_EQ(trace.Lines(), Log{"ERROR: cmd_delete [149]: ** ASSERT FAILED"});
    EXPECT_EQ(om.log, Log{"ObjMgrGetInterface null"});
}

// Unlike elsewhere nothing is closed that was not opened.
TEST_F(CmdDelete, FailedOpenIsSilentAndNotClosed)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const TraceCapture trace;
    om.openFails = true;
    EXPECT_EQ(tree.Run("delete /entry*"), 11u);
    EXPECT_EQ(tree.output, "");
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open"}));
}

TEST_F(CmdDelete, UnusablePrivilegeIsSilent)
{
    const TraceCapture trace;
    for (const char *word :
         {static_cast<const char *>(nullptr), "", "xyz", "0x", "1g", " 1", "-1"}) {
        const ScopedEnv privilege("ZORPRIV", word);
        om.ClearLog();
        EXPECT_EQ(tree.Run("delete /entry*"), 16u);
        EXPECT_EQ(tree.output, "");
        EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "Close"}));
    }
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(CmdDelete, PrivilegeIsReadInBase16)
{
    const ScopedEnv privilege("ZORPRIV", "0x1F");
    EXPECT_EQ(tree.Run("delete /entry*"), 0u);
    EXPECT_EQ(om.Logged("SetPrivilege"), Log{"SetPrivilege 1f"});
}

TEST_F(CmdDelete, RefusedClearNamesThePrivilege)
{
    const ScopedEnv privilege("ZORPRIV", "1");
    const TraceCapture trace;
    om.methodStatus = 2;
    om.methodResult = 5;
    EXPECT_EQ(tree.Run("delete /entry*"), 16u);
    EXPECT_EQ(tree.output, "ERROR: Insufficient user privileges to perform operation.\n");
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_EQ(om.log.back(), "Close");
    EXPECT_EQ(om.openConnections, 0);
}

TEST_F(CmdDelete, FailedClearIsTracedAtLine203)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const struct {
        CimStatus status;
        u32 result;
    } rows[] = {{1, 0}, {6, 0}, {17, 0}, {0, 1}, {0, 2}, {0, 0xffffffff}};
    for (const auto &row : rows) {
        const TraceCapture trace;
        om.ClearLog();
        om.methodStatus = row.status;
        om.methodResult = row.result;
        EXPECT_EQ(tree.Run("delete /entry*"), 1u);
        EXPECT_EQ(tree.output, "");
        EXPECT_EQ(trace.Lines(), Log{"ERROR: cmd_delete [203]: ** ASSERT FAILED"});
        EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "SetPrivilege 1ff",
                               "InvokeMethod OEM_QARN_MessageLog.Name=SEL Clear", "Close"}));
    }
}

TEST_F(CmdDelete, NoParametersReturns2Silently)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpCommandDelete(nullptr, entry, nullptr, nullptr), 2u);
    EXPECT_EQ(capture.Take(), "");
}

TEST_F(CmdDelete, EveryCallOfTheObjectManagerMayFail)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const struct {
        u32 failCall;
        CimStatus status;
        u32 result;
        const char *output;
    } rows[] = {
        {1, 1, 11, ""},
        {2, 1, 11, ""},
        {3, 1, 1, ""},
        {3, 2, 16, kNoPrivilegeLine},
        {4, 1, 0, "All records deleted successfully.\n"},
    };
    const TraceCapture trace;
    for (const auto &row : rows) {
        om.ClearLog();
        om.failCall = row.failCall;
        om.failStatus = row.status;
        EXPECT_EQ(tree.Run("delete /entry*"), row.result) << row.failCall;
        EXPECT_EQ(tree.output, row.output) << row.failCall;
        EXPECT_EQ(om.openConnections, 0);
    }
    EXPECT_EQ(om.calls, 3u);
}
