// SPDX-License-Identifier: Apache-2.0
// cmd_cd_test.cpp -- cd.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

namespace
{

// /hall1/shelf and /hall1/shelf/book1..3.
class CmdCd : public ::testing::Test
{
protected:
    CmdCd()
    {
        hall = tree.Add(tree.root, "hall");
        tree.Count(hall, {1});
        shelf = tree.Add(hall, "shelf");
        book = tree.Add(shelf, "book");
        tree.Count(book, {3});
    }
    u32 RunCd(SmclpSession *session, ManagedElement *target, SmclpCommandLine *line, CdPara para)
    {
        OutputCapture capture;
        const u32 result = SmclpCommandCd(session, target, line, &para);
        output = capture.Take();
        return result;
    }
    HandTree tree;
    ManagedElement *hall;
    ManagedElement *shelf;
    ManagedElement *book;
    SmclpCommandLine record = {};
    std::string output;
};

}  // namespace

TEST_F(CmdCd, MovesAndSaysThePath)
{
    const struct {
        const char *line;
        const char *output;
    } rows[] = {
        {"cd hall1", "/hall1\n"},
        {"cd shelf/book3", "/hall1/shelf/book3\n"},
        {"cd ..", "/hall1/shelf\n"},
        {"cd ./book2", "/hall1/shelf/book2\n"},
        {"cd .", "/hall1/shelf/book2\n"},
        {"cd", "/hall1/shelf/book2\n"},
        {"cd /hall1/shelf/book1", "/hall1/shelf/book1\n"},
        {"CD ../..", "/hall1\n"},
        {"cd /", "/\n"},
        {"cd", "/\n"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(tree.Run(row.line), 0u) << row.line;
        EXPECT_EQ(tree.output, row.output) << row.line;
    }
    EXPECT_EQ(tree.session.currentTarget, tree.root);
}

TEST_F(CmdCd, LastComponentCarriesTheInstanceNumber)
{
    EXPECT_EQ(tree.Run("cd /hall1/shelf/book3"), 0u);
    EXPECT_EQ(tree.output, "/hall1/shelf/book3\n");
    EXPECT_EQ(tree.session.currentTarget, book);
    EXPECT_EQ(book->instanceNumber, 3u);
}

// Unlike the headers of show.
TEST_F(CmdCd, ElementWithoutSelectedInstanceKeepsItsName)
{
    EXPECT_EQ(RunCd(&tree.session, book, &record, {}), 0u);
    EXPECT_EQ(output, "/hall/shelf/book\n");
}

TEST_F(CmdCd, NumberOfAnElementWithoutInstancesIsSaidToo)
{
    shelf->instanceNumber = 65535;
    EXPECT_EQ(RunCd(&tree.session, shelf, &record, {}), 0u);
    EXPECT_EQ(output, "/hall/shelf65535\n");
}

TEST_F(CmdCd, ComponentThatBeginsWithASlashGetsNoOther)
{
    MeSetName(shelf, "/shelf");
    EXPECT_EQ(RunCd(&tree.session, book, &record, {}), 0u);
    EXPECT_EQ(output, "/hall/shelf/book\n");
}

TEST_F(CmdCd, PathOf63CharactersIsSaidWholeAndALongerOneKeepsItsEnd)
{
    ManagedElement *deep = tree.Add(tree.root, std::string(30, 'a').c_str());
    ManagedElement *end = tree.Add(deep, std::string(31, 'b').c_str());
    EXPECT_EQ(RunCd(&tree.session, end, &record, {}), 0u);
    EXPECT_EQ(output, "/" + std::string(30, 'a') + "/" + std::string(31, 'b') + "\n");

    end->instanceNumber = 12345;
    EXPECT_EQ(RunCd(&tree.session, end, &record, {}), 0u);
    EXPECT_EQ(output, std::string(26, 'a') + "/" + std::string(31, 'b') + "12345\n");
}

TEST_F(CmdCd, UnresolvedTargetIsInvalidAndNothingMoves)
{
    tree.session.currentTarget = shelf;
    for (const char *line : {"cd /nowhere", "cd book4", "cd /hall", "cd /hall1/", "cd --zap"}) {
        EXPECT_EQ(tree.Run(line), 2u) << line;
        EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
        EXPECT_EQ(tree.session.currentTarget, shelf);
    }
}

TEST_F(CmdCd, WildcardTargetIsInvalid)
{
    EXPECT_EQ(tree.Run("cd /hall1/shelf/book*"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.Run("cd /hall1/shelf/book* -help"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.session.currentTarget, tree.root);
    // Even where the syntax is valid.
    EXPECT_EQ(tree.Run("cd -examine /hall1/shelf/book*"), 0u);
    EXPECT_EQ(tree.output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
}

TEST_F(CmdCd, DefaultMovesToTheRoot)
{
    for (const char *line : {"cd -default", "cd -default -examine"}) {
        tree.session.currentTarget = shelf;
        EXPECT_EQ(tree.Run(line), 0u) << line;
        EXPECT_EQ(tree.output, "/\n");
        EXPECT_EQ(tree.session.currentTarget, tree.root);
    }
}

TEST_F(CmdCd, DefaultBesideHelpOnlyHelps)
{
    tree.session.currentTarget = shelf;
    EXPECT_EQ(tree.Run("cd -default -help"), 0u);
    EXPECT_EQ(tree.output, "The CD command is used to navigate the target address space.\n");
    EXPECT_EQ(tree.Run("cd -default -version"), 0u);
    EXPECT_EQ(tree.output, "version 1.0\n");
    EXPECT_EQ(tree.session.currentTarget, shelf);
    // With -output neither the root nor another target is meant.
    EXPECT_EQ(tree.Run("cd -default -output format=clptxt"), 0u);
    EXPECT_EQ(tree.session.currentTarget, shelf);
}

// The flag then is 1001, not 1: no syntax check. Deliberate.
TEST_F(CmdCd, DefaultWithStrayWordsAndExamineStaysWhereItIs)
{
    tree.session.currentTarget = shelf;
    EXPECT_EQ(tree.Run("cd -default bad extra -examine"), 0u);
    EXPECT_EQ(tree.output, "/hall/shelf\n");
    EXPECT_EQ(tree.session.currentTarget, shelf);
    EXPECT_EQ(tree.Run("cd -default bad extra"), 4u);
    EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
}

TEST_F(CmdCd, ExamineMovesNothing)
{
    EXPECT_EQ(tree.Run("cd -examine /hall1"), 0u);
    EXPECT_EQ(tree.output, "SUCCESS : The command syntax is valid.\n");
    EXPECT_EQ(tree.session.currentTarget, tree.root);
    EXPECT_EQ(tree.Run("cd -examine /nowhere"), 0u);
    EXPECT_EQ(tree.output, "FAILED  : Command syntax may be invalid or target may be invalid.\n");
}

TEST_F(CmdCd, OtherExamineResultsAreNoSyntaxCheck)
{
    CdPara para = {};
    para.examineFlag = 1;
    para.examineResult = 7;
    EXPECT_EQ(RunCd(&tree.session, shelf, &record, para), 0u);
    EXPECT_EQ(output, "/hall/shelf\n");
    EXPECT_EQ(tree.session.currentTarget, shelf);
    EXPECT_EQ(RunCd(&tree.session, nullptr, &record, para), 0u);
    EXPECT_EQ(output, kFailedLine);
    book->allInstances = 1;
    EXPECT_EQ(RunCd(&tree.session, book, &record, para), 0u);
    EXPECT_EQ(output, kFailedLine);
}

TEST_F(CmdCd, MissingArgumentsInOrder)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpCommandCd(&tree.session, shelf, &record, nullptr), 2u);
    EXPECT_EQ(capture.Take(), "");
    EXPECT_EQ(RunCd(&tree.session, nullptr, nullptr, {}), 2u);
    EXPECT_EQ(output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(RunCd(nullptr, shelf, nullptr, {}), 2u);
    EXPECT_EQ(output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(RunCd(&tree.session, shelf, nullptr, {0, 0, 0, 0, 0, 1, 0}), 2u);
    EXPECT_EQ(output, "ERROR: Command execution failed.\n");
    EXPECT_EQ(tree.session.currentTarget, tree.root);
    EXPECT_EQ(RunCd(nullptr, shelf, nullptr, {0, 0, 0, 1, 1000, 0, 0}), 0u);
    EXPECT_EQ(output, "SUCCESS : The command syntax is valid.\n");
}

TEST_F(CmdCd, VersionBeatsHelp)
{
    EXPECT_EQ(RunCd(&tree.session, shelf, &record, {0, 0, 0, 0, 0, 1, 1}), 0u);
    EXPECT_EQ(output, "version 1.0\n");
    EXPECT_EQ(tree.session.currentTarget, tree.root);
}
