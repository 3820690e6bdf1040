// SPDX-License-Identifier: Apache-2.0
// cmd_show_test.cpp -- show: sections, what they list, and the walk.
#include "smclp/commands/cmd_show.h"

#include "platform/list.h"
#include "smclp/commands/commands.h"
#include "support/hand_tree.h"
#include "support/shell_tables.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

class CmdShow : public ::testing::Test
{
protected:
    // A child that lists one verb, so that it has a section.
    ManagedElement *Add(ManagedElement *parent, const char *name)
    {
        ManagedElement *element = tree.Add(parent, name);
        tree.Verbs(element, {2});
        return element;
    }
    // The sections' paths when `target` is shown down to `level`, verbs only.
    std::string Walk(const std::string &level, const std::string &target = "/")
    {
        EXPECT_EQ(tree.Run("show -display verbs -level " + level + " " + target), 0u);
        return tree.Sections();
    }
    u32 RunShow(ManagedElement *target, ShowPara *para)
    {
        OutputCapture capture;
        const u32 result = SmclpCommandShow(nullptr, target, nullptr, para);
        output = capture.Take();
        return result;
    }
    HandTree tree;
    std::string output;
};

// A tree with every kind of list: /box1 has targets, properties and verbs.
class Section : public CmdShow
{
protected:
    Section()
    {
        box = tree.Add(tree.root, "box");
        tree.Count(box, {1});
        tree.Verbs(box, {1, 2, 13});
        lid = tree.Add(box, "lid");
        nail = tree.Add(box, "nail");
        tree.Count(nail, {3});
        tree.Property(box, "Color", "red");
        tree.Property(box, "Weight", "5");
    }
    ManagedElement *box;
    ManagedElement *lid;
    ManagedElement *nail;
};

constexpr char kTargetsOfBox[] = "\n/box1:\n"
                                 "\n  Targets:\n"
                                 "    lid\n"
                                 "    nail1\n"
                                 "    nail2\n"
                                 "    nail3\n";
constexpr char kPropertiesOfBox[] = "\n/box1:\n"
                                    "\n  Properties:\n"
                                    "    Color                   = red\n"
                                    "    Weight                  = 5\n";
constexpr char kVerbsOfBox[] = "\n/box1:\n"
                               "\n  Verbs:\n"
                               "    cd\n"
                               "    show\n"
                               "    version\n";
constexpr char kAllOfBox[] = "\n/box1:\n"
                             "\n  Targets:\n"
                             "    lid\n"
                             "    nail1\n"
                             "    nail2\n"
                             "    nail3\n"
                             "\n  Properties:\n"
                             "    Color                   = red\n"
                             "    Weight                  = 5\n"
                             "\n  Verbs:\n"
                             "    cd\n"
                             "    show\n"
                             "    version\n";

}  // namespace

// One section

TEST_F(Section, ListsTargetsPropertiesAndVerbs)
{
    for (const char *line :
         {"show /box1", "show -all /box1", "show -level 1 /box1", "show -display all /box1",
          "show -display all -level 1 /box1", "show -all -level 1 /box1",
          "show -output format=clpxml /box1", "show -output format=clptxt /box1", "SHOW /BOX1"}) {
        EXPECT_EQ(tree.Run(line), 0u) << line;
        EXPECT_EQ(tree.output, kAllOfBox) << line;
    }
}

TEST_F(Section, ListsOnlyWhatIsAskedFor)
{
    const struct {
        const char *line;
        const char *output;
    } rows[] = {
        {"show -display targets /box1", kTargetsOfBox},
        {"show -display properties /box1", kPropertiesOfBox},
        {"show -display verbs /box1", kVerbsOfBox},
        {"show -display verbs -level 1 /box1", kVerbsOfBox},
        {"show -all -display targets /box1", kTargetsOfBox},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(tree.Run(row.line), 0u) << row.line;
        EXPECT_EQ(tree.output, row.output) << row.line;
    }
}

TEST_F(Section, ShowsTheCurrentTargetWithoutAnOperand)
{
    EXPECT_EQ(tree.Run("cd /box1"), 0u);
    EXPECT_EQ(tree.Run("show"), 0u);
    EXPECT_EQ(tree.output, kAllOfBox);
}

TEST_F(Section, WithoutAnythingToListPrintsNothing)
{
    EXPECT_EQ(tree.Run("show /box1/lid"), 0u);
    EXPECT_EQ(tree.output, "");
    for (const char *what : {"all", "targets", "properties", "verbs", "properties=(color)"}) {
        EXPECT_EQ(tree.Run(std::string("show /box1/lid -display ") + what), 0u);
        EXPECT_EQ(tree.output, "") << what;
    }
}

TEST_F(Section, HeaderStandsBeforeTheFirstListThatPrints)
{
    tree.Count(nail, {0});
    tree.Count(box, {1});
    box->firstChild = nail;
    EXPECT_EQ(tree.Run("show /box1"), 0u);
    EXPECT_EQ(tree.output, "\n/box1:\n"
                           "\n  Properties:\n"
                           "    Color                   = red\n"
                           "    Weight                  = 5\n"
                           "\n  Verbs:\n"
                           "    cd\n"
                           "    show\n"
                           "    version\n");
    tree.SetValue(box, "Color", "");
    tree.SetValue(box, "Weight", "");
    EXPECT_EQ(tree.Run("show /box1"), 0u);
    EXPECT_EQ(tree.output, kVerbsOfBox);
}

// Targets

TEST_F(Section, ChildWithoutInstancesIsNotListed)
{
    tree.Count(nail, {0});
    EXPECT_EQ(tree.Run("show -display targets /box1"), 0u);
    EXPECT_EQ(tree.output, "\n/box1:\n\n  Targets:\n    lid\n");
    EXPECT_EQ(tree.CountCalls(nail), 1u);
    // Without any other there is no list at all.
    box->firstChild = nail;
    EXPECT_EQ(tree.Run("show -display targets /box1"), 0u);
    EXPECT_EQ(tree.output, "");
}

TEST_F(Section, CountOfAChildIsReadAgainForEachInstance)
{
    tree.Count(nail, {3});
    tree.Run("show -display targets /box1");
    const u32 calls = tree.CountCalls(nail);
    EXPECT_GE(calls, 4u);

    tree.Count(nail, {5, 5, 2});
    tree.Run("show -display targets /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n\n  Targets:\n    lid\n    nail1\n    nail2\n");
}

TEST_F(Section, ListingTargetsLeavesTheirInstanceNumbers)
{
    nail->instanceNumber = 2;
    nail->allInstances = 1;
    tree.Run("show /box1");
    EXPECT_EQ(nail->instanceNumber, 2u);
    EXPECT_EQ(nail->allInstances, 1u);
}

TEST_F(Section, LongNumbersAreWrittenInDecimal)
{
    tree.Count(nail, {12});
    lid->nextSibling = nullptr;
    box->firstChild = nail;
    tree.Run("show -display targets /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n\n  Targets:\n"
                           "    nail1\n    nail2\n    nail3\n    nail4\n    nail5\n    nail6\n"
                           "    nail7\n    nail8\n    nail9\n    nail10\n    nail11\n    nail12\n");
}

// Verbs

// Looking up an unknown id yields the last verb of the table: deliberate.
TEST_F(Section, UnknownVerbIsListedAsTheLast)
{
    tree.Verbs(lid, {99, 1});
    tree.Run("show /box1/lid");
    EXPECT_EQ(tree.output,
              "\n/box1/lid:\n\n  Verbs:\n    " + std::string(LastVerb().verb) + "\n    cd\n");
}

TEST_F(Section, PathShowsInstancesAndTheRoot)
{
    tree.Verbs(tree.root, {1});
    tree.Verbs(nail, {1});
    tree.Run("show -display verbs /");
    EXPECT_EQ(tree.output, "\n/:\n\n  Verbs:\n    cd\n");
    tree.Run("show -display verbs /box1/nail2");
    EXPECT_EQ(tree.output, "\n/box1/nail2:\n\n  Verbs:\n    cd\n");
}

// Properties

TEST_F(Section, EmptyValuesAreNotShown)
{
    tree.SetValue(box, "Color", "");
    tree.Run("show -display properties /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n"
                           "\n  Properties:\n"
                           "    Weight                  = 5\n");
    tree.SetValue(box, "Weight", "");
    tree.Run("show -display properties /box1");
    EXPECT_EQ(tree.output, "");
}

TEST_F(Section, AllPropertiesArePaddedTo23)
{
    tree.Property(lid, "A", "v");
    tree.Property(lid, std::string(19, 'n'), "v");
    tree.Property(lid, std::string(20, 'n'), "v");
    tree.Property(lid, std::string(21, 'n'), "v");
    tree.Property(lid, std::string(22, 'n'), "v");
    tree.Property(lid, std::string(23, 'n'), "v");
    tree.Property(lid, std::string(24, 'n'), "v");
    tree.Property(lid, std::string(63, 'n'), "v");
    tree.Run("show -display properties /box1/lid");
    EXPECT_EQ(tree.output,
              "\n/box1/lid:\n"
              "\n  Properties:\n"
              "    A                       = v\n"
              "    nnnnnnnnnnnnnnnnnnn     = v\n"
              "    nnnnnnnnnnnnnnnnnnnn    = v\n"
              "    nnnnnnnnnnnnnnnnnnnnn   = v\n"
              "    nnnnnnnnnnnnnnnnnnnnnn  = v\n"
              "    nnnnnnnnnnnnnnnnnnnnnnn  = v\n"
              "    nnnnnnnnnnnnnnnnnnnnnnnn  = v\n"
              "    nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn  = v\n");
}

TEST_F(Section, SelectedPropertiesArePaddedTo20)
{
    const struct {
        std::string name;
        const char *line;
    } rows[] = {
        {"a", "    a                   = v\n"},
        {std::string(19, 'n'), "    nnnnnnnnnnnnnnnnnnn = v\n"},
        {std::string(20, 'n'), "    nnnnnnnnnnnnnnnnnnnn = v\n"},
        {std::string(22, 'n'), "    nnnnnnnnnnnnnnnnnnnnnn = v\n"},
        {std::string(23, 'n'), "    nnnnnnnnnnnnnnnnnnnnnnn = v\n"},
        {std::string(24, 'n'), "    nnnnnnnnnnnnnnnnnnnnnnnn = v\n"},
        {std::string(31, 'n'), "    nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn = v\n"},
    };
    for (const auto &row : rows) {
        tree.Property(lid, row.name, "v");
        tree.Run("show -display properties=(" + row.name + ") /box1/lid");
        EXPECT_EQ(tree.output, std::string("\n/box1/lid:\n\n  Properties:\n") + row.line);
    }
}

// In the order asked for, and written as asked for.
TEST_F(Section, SelectedPropertiesStandAsRequested)
{
    tree.Run("show -display properties=(Weight,COLOR,nothing,weight) /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n"
                           "\n  Properties:\n"
                           "    weight              = 5\n"
                           "    color               = red\n"
                           "    weight              = 5\n");
    EXPECT_EQ(tree.refreshCalls.size(), 3u);
    EXPECT_EQ(tree.refreshCalls[0], "box Weight 256");
}

TEST_F(Section, SelectedPropertiesThatDoNotExistPrintNothing)
{
    tree.Run("show -display properties=(nothing,naught) /box1");
    EXPECT_EQ(tree.output, "");
    tree.Run("show -display \"properties=(color, weight)\" /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n\n  Properties:\n    color               = red\n");
}

TEST_F(Section, LoneFilterShowsAllPropertiesOfAMatch)
{
    for (const char *filter : {"(weight==5)", "(COLOR==RED)"}) {
        tree.Run(std::string("show /box1 -display properties=") + filter);
        EXPECT_EQ(tree.output, kPropertiesOfBox) << filter;
    }
    for (const char *filter : {"(weight==6)", "(color==re)", "(nothing==5)", "(color==)"}) {
        tree.Run(std::string("show /box1 -display properties=") + filter);
        EXPECT_EQ(tree.output, "") << filter;
    }
}

TEST_F(Section, FilterAmongNamesShowsTheNamesOfAMatch)
{
    tree.Run("show /box1 -display properties=(color,weight==5)");
    EXPECT_EQ(tree.output, "\n/box1:\n\n  Properties:\n    color               = red\n");
    tree.Run("show /box1 -display properties=(weight==6,color)");
    EXPECT_EQ(tree.output, "");
    tree.Run("show /box1 -display properties=(color,==5)");
    EXPECT_EQ(tree.output, "");
}

TEST_F(Section, FilterChoosesAmongInstances)
{
    tree.Property(nail, "State", "2");
    tree.Property(nail, "Size", "9");
    tree.SetValue(nail, "State", "3", 2);
    tree.Run("show /box1/nail* -display properties=(state==2)");
    EXPECT_EQ(tree.output, "\n/box1/nail1:\n"
                           "\n  Properties:\n"
                           "    State                   = 2\n"
                           "    Size                    = 9\n"
                           "\n/box1/nail3:\n"
                           "\n  Properties:\n"
                           "    State                   = 2\n"
                           "    Size                    = 9\n");
    tree.Run("show /box1/nail* -display properties=(size,state==3)");
    EXPECT_EQ(tree.output, "\n/box1/nail2:\n\n  Properties:\n    size                = 9\n");
}

TEST_F(Section, PercentSignsPassBothRounds)
{
    tree.SetValue(box, "Color", "50%% %s %d%n %");
    tree.SetValue(box, "Weight", "%%%");
    tree.Run("show -display properties /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n"
                           "\n  Properties:\n"
                           "    Color                   = 50% %s %d%n %\n"
                           "    Weight                  = %%\n");
}

TEST_F(Section, ValueOf255CharactersIsShownWhole)
{
    tree.SetValue(box, "Color", std::string(255, 'c'));
    tree.Run("show -display properties=(color) /box1");
    EXPECT_EQ(tree.output, "\n/box1:\n\n  Properties:\n    color               = " +
                               std::string(255, 'c') + "\n");
}

TEST_F(Section, ValueThatKeepsFailingShowsWhatTheKindLeft)
{
    tree.Run("show -display properties /box1");
    tree.RemoveValue(box, "Color");
    tree.Run("show -display properties /box1");
    EXPECT_EQ(tree.output, kPropertiesOfBox);
}

// What to show, from the parameters

TEST_F(Section, CombinationsThatMatchNoCasePrintNothing)
{
    const struct {
        u32 request, displayGiven, what, levelGiven;
    } rows[] = {
        {0, 0, 0, 0}, {7, 0, 0, 0}, {1000, 1, 4, 0}, {1000, 1, 7, 1}, {0, 1, 999, 0},
    };
    for (const auto &row : rows) {
        ShowPara para = {};
        para.showRequest = row.request;
        para.displayGiven = row.displayGiven;
        para.displayWhat = row.what;
        para.levelGiven = row.levelGiven;
        para.levelValue = 1;
        EXPECT_EQ(RunShow(box, &para), 1u);
        EXPECT_EQ(output, "");
    }
}

TEST_F(Section, LevelThatWasNotGivenBecomes1)
{
    box->instanceNumber = 1;
    for (const u32 what : {0u, 1u, 2u, 1000u}) {
        ShowPara para = {};
        para.displayGiven = 1;
        para.displayWhat = what;
        para.levelValue = 5;
        EXPECT_EQ(RunShow(box, &para), 0u);
        EXPECT_EQ(para.levelValue, 1u);
        EXPECT_EQ(output, what == 0   ? kVerbsOfBox
                          : what == 1 ? kTargetsOfBox
                          : what == 2 ? kPropertiesOfBox
                                      : kAllOfBox);
        EXPECT_EQ(para.displayWhat, what == 1000 ? 2u : what);
    }
    ShowPara plain = {};
    plain.showRequest = 1000;
    plain.displayWhat = 7;
    plain.levelValue = 5;
    EXPECT_EQ(RunShow(box, &plain), 0u);
    EXPECT_EQ(plain.levelValue, 1u);
    EXPECT_EQ(plain.displayWhat, 2u);
    EXPECT_EQ(output, kAllOfBox);
    EXPECT_EQ(gWhatToShow, 4u);
}

TEST_F(Section, LevelAloneShowsEverythingWhateverTheRequest)
{
    box->instanceNumber = 1;
    for (const u32 request : {0u, 7u, 1000u}) {
        ShowPara para = {};
        para.showRequest = request;
        para.levelGiven = 1;
        para.levelValue = 1;
        EXPECT_EQ(RunShow(box, &para), 0u);
        EXPECT_EQ(output, kAllOfBox);
    }
}

TEST_F(Section, SelectedListWithoutNamesPrintsNothing)
{
    ShowPara para = {};
    para.displayGiven = 1;
    para.displayWhat = 3;
    EXPECT_EQ(RunShow(box, &para), 0u);
    EXPECT_EQ(output, "");
}

// Answers that show nothing

TEST_F(Section, NoParametersReturns1Silently)
{
    bPrintFlag = 0;
    EXPECT_EQ(RunShow(box, nullptr), 1u);
    EXPECT_EQ(output, "");
    EXPECT_EQ(bPrintFlag, 1u);
}

TEST_F(Section, NoTargetIsInvalidEvenForHelp)
{
    for (const u32 request : {1000u, 800u, 900u, 1002u}) {
        ShowPara para = {};
        para.showRequest = request;
        EXPECT_EQ(RunShow(nullptr, &para), 1u);
        EXPECT_EQ(output, "ERROR: Invalid target specified.\n");
    }
}

TEST_F(Section, HelpAndVersionRequests)
{
    ShowPara para = {};
    para.showRequest = 1002;
    EXPECT_EQ(RunShow(box, &para), 0u);
    EXPECT_EQ(output, "version 1.0\n");
    for (const u32 request : {800u, 900u}) {
        para.showRequest = request;
        EXPECT_EQ(RunShow(box, &para), 0u);
        EXPECT_EQ(output, "The SHOW command is used to display information about targets.\n");
    }
}

TEST_F(Section, ExamineAnswersBeforeEverythingElse)
{
    ShowPara para = {};
    para.showRequest = 1002;
    para.showExamine = 1000;
    EXPECT_EQ(RunShow(box, &para), 0u);
    EXPECT_EQ(output, kSuccessLine);
    EXPECT_EQ(RunShow(nullptr, &para), 0u);
    EXPECT_EQ(output, kFailedLine);
    para.showExamine = 1001;
    EXPECT_EQ(RunShow(box, &para), 0u);
    EXPECT_EQ(output, kFailedLine);
    EXPECT_EQ(RunShow(nullptr, &para), 0u);
    EXPECT_EQ(output, kFailedLine);
    para.showExamine = 7;  // no syntax check
    EXPECT_EQ(RunShow(box, &para), 0u);
    EXPECT_EQ(output, "version 1.0\n");
    // A wildcard target is as good as another here.
    EXPECT_EQ(tree.Run("show -examine /box1/nail*"), 0u);
    EXPECT_EQ(tree.output, kSuccessLine);
}

TEST_F(Section, NamesAreReleasedOnEveryPath)
{
    const struct {
        u32 request, examine, what;
        bool target;
    } rows[] = {{1000, 0, 3, true},    {1000, 0, 3, false},   {800, 0, 3, true},
                {1002, 0, 3, true},    {1000, 1000, 3, true}, {1000, 1000, 3, false},
                {1000, 1001, 3, true}, {1000, 0, 7, true}};
    for (const auto &row : rows) {
        ShowPara para = {};
        para.showRequest = row.request;
        para.showExamine = row.examine;
        para.displayGiven = 1;
        para.displayWhat = row.what;
        for (const char *name : {"color", "weight"})
            strcpy(static_cast<char *>(ListAllocateObject(&para.selectedProperties, 32)), name);
        EXPECT_EQ(HandTree::NamesInUse(), 2u);
        RunShow(row.target ? box : nullptr, &para);
        EXPECT_EQ(HandTree::NamesInUse(), 0u);
    }
}

// The walk. Each expectation is worked out by hand from the budget (imax).

TEST_F(CmdShow, LevelTwoTwoSiblings)
{
    tree.Verbs(tree.root, {2});
    Add(tree.root, "a");
    Add(tree.root, "b");
    EXPECT_EQ(Walk("1"), "/");
    EXPECT_EQ(Walk("2"), "/ /a /b");
    EXPECT_EQ(Walk("3"), "/ /a /b");
    EXPECT_EQ(Walk("all"), "/ /a /b");
}

// Each sibling walks those after it again: n siblings make 2^(n-1) walks. Deliberate.
TEST_F(CmdShow, LaterSiblingsComeAgainForEveryEarlierOne)
{
    tree.Verbs(tree.root, {2});
    Add(tree.root, "a");
    Add(tree.root, "b");
    Add(tree.root, "c");
    EXPECT_EQ(Walk("2"), "/ /a /b /c /c");
    Add(tree.root, "d");
    EXPECT_EQ(Walk("2"), "/ /a /b /c /d /d /c /d /d");
    EXPECT_EQ(Walk("all"), "/ /a /b /c /d /d /c /d /d");
    EXPECT_EQ(Walk("1"), "/");
}

TEST_F(CmdShow, WholeOutputOfARepeatedWalk)
{
    Add(tree.root, "a");
    Add(tree.root, "b");
    Add(tree.root, "c");
    EXPECT_EQ(tree.Run("show -level 2"), 0u);
    EXPECT_EQ(tree.output, "\n/:\n"
                           "\n  Targets:\n"
                           "    a\n"
                           "    b\n"
                           "    c\n"
                           "\n/a:\n"
                           "\n  Verbs:\n"
                           "    show\n"
                           "\n/b:\n"
                           "\n  Verbs:\n"
                           "    show\n"
                           "\n/c:\n"
                           "\n  Verbs:\n"
                           "    show\n"
                           "\n/c:\n"
                           "\n  Verbs:\n"
                           "    show\n");
}

TEST_F(CmdShow, ChainGoesAsDeepAsTheLevel)
{
    tree.Verbs(tree.root, {2});
    Add(Add(Add(Add(tree.root, "a"), "b"), "c"), "d");
    EXPECT_EQ(Walk("1"), "/");
    EXPECT_EQ(Walk("2"), "/ /a");
    EXPECT_EQ(Walk("3"), "/ /a /a/b");
    EXPECT_EQ(Walk("4"), "/ /a /a/b /a/b/c");
    EXPECT_EQ(Walk("5"), "/ /a /a/b /a/b/c /a/b/c/d");
    EXPECT_EQ(Walk("6"), "/ /a /a/b /a/b/c /a/b/c/d");
    EXPECT_EQ(Walk("14"), "/ /a /a/b /a/b/c /a/b/c/d");
    EXPECT_EQ(Walk("all"), "/ /a /a/b /a/b/c /a/b/c/d");
    EXPECT_EQ(Walk("2", "/a/b"), "/a/b /a/b/c");
    EXPECT_EQ(tree.Run("show -level 15"), 9u);
    EXPECT_EQ(tree.Run("show -level 0"), 9u);
}

// The end of each row of siblings takes one from what is left for the next branch.
TEST_F(CmdShow, FirstBranchUsesUpTheBudgetOfTheSecond)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    ManagedElement *b = Add(tree.root, "b");
    Add(a, "c");
    Add(b, "d");
    EXPECT_EQ(Walk("2"), "/ /a /b");
    EXPECT_EQ(Walk("3"), "/ /a /a/c /b");
    EXPECT_EQ(Walk("4"), "/ /a /a/c /b /b/d");
    EXPECT_EQ(Walk("all"), "/ /a /a/c /b /b/d");
}

TEST_F(CmdShow, ThreeBranchesRunTheBudgetBelowOne)
{
    tree.Verbs(tree.root, {2});
    Add(Add(tree.root, "a"), "x");
    Add(Add(tree.root, "b"), "y");
    Add(Add(tree.root, "c"), "z");
    EXPECT_EQ(Walk("2"), "/ /a /b /c /c");
    EXPECT_EQ(imax, -1);
    EXPECT_EQ(Walk("3"), "/ /a /a/x /b /c /c");
    EXPECT_EQ(imax, -1);
    EXPECT_EQ(Walk("4"), "/ /a /a/x /b /b/y /c /c");
    EXPECT_EQ(Walk("5"), "/ /a /a/x /b /b/y /c /c/z /c");
    EXPECT_EQ(imax, -1);
    EXPECT_EQ(Walk("all"), "/ /a /a/x /b /b/y /c /c/z /c /c/z");
    EXPECT_EQ(imax, 7);
}

// A row that is not the last of its parent leaves the budget, so its later branches go deeper
// than the level says.
TEST_F(CmdShow, LaterBranchMayGoDeeperThanTheLevel)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    Add(tree.root, "g");
    Add(a, "b");
    Add(Add(a, "e"), "f");
    EXPECT_EQ(Walk("3"), "/ /a /a/b /a/e /a/e/f /g");
    EXPECT_EQ(imax, -1);
}

TEST_F(CmdShow, ThreeLevelsWithTwoSiblingsEach)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    ManagedElement *b = Add(a, "b");
    ManagedElement *e = Add(a, "e");
    Add(b, "c");
    Add(e, "f");
    EXPECT_EQ(Walk("3"), "/ /a /a/b /a/e");
    EXPECT_EQ(Walk("4"), "/ /a /a/b /a/b/c /a/e");
    EXPECT_EQ(Walk("5"), "/ /a /a/b /a/b/c /a/e /a/e/f");
}

TEST_F(CmdShow, EveryInstanceIsWalked)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {2});
    Add(a, "b");
    EXPECT_EQ(Walk("2"), "/ /a1 /a2");
    EXPECT_EQ(Walk("3"), "/ /a1 /a1/b /a2 /a2/b");
    // The row of b ended twice.
    EXPECT_EQ(imax, -1);
}

TEST_F(CmdShow, InstancesWithBranches)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {2});
    Add(Add(a, "b"), "c");
    Add(Add(a, "d"), "e");
    EXPECT_EQ(Walk("4"), "/ /a1 /a1/b /a1/b/c /a1/d /a2 /a2/b /a2/b/c /a2/d");
    EXPECT_EQ(imax, -2);
}

TEST_F(CmdShow, KindWithoutInstancesIsPassedOver)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {0});
    Add(a, "x");
    Add(tree.root, "b");
    EXPECT_EQ(Walk("3"), "/ /b");
    EXPECT_EQ(tree.CountCalls(a), 1u);
}

TEST_F(CmdShow, CountIsReadAgainBeforeEveryRound)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {3, 1});
    EXPECT_EQ(Walk("2"), "/ /a1");
    EXPECT_EQ(tree.CountCalls(a), 2u);
    tree.Count(a, {1, 2, 3, 3});
    EXPECT_EQ(Walk("2"), "/ /a1 /a2 /a3");
    EXPECT_EQ(tree.CountCalls(a), 4u);
    tree.Count(a, {3});
    EXPECT_EQ(Walk("2"), "/ /a1 /a2 /a3");
    EXPECT_EQ(tree.CountCalls(a), 4u);
}

TEST_F(CmdShow, InstanceNumbersAreRestored)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    ManagedElement *b = Add(a, "b");
    tree.Count(a, {3});
    tree.Count(b, {2});
    a->instanceNumber = 2;
    b->instanceNumber = 0;
    EXPECT_EQ(Walk("3"), "/ /a1 /a1/b1 /a1/b2 /a2 /a2/b1 /a2/b2 /a3 /a3/b1 /a3/b2");
    EXPECT_EQ(a->instanceNumber, 2u);
    EXPECT_EQ(b->instanceNumber, 0u);
}

// Two elements may share a kind: the walk stops at either.
TEST_F(CmdShow, WalkStopsAtTheKindNotTheElement)
{
    tree.Verbs(tree.root, {2});
    ManagedElement *a = Add(tree.root, "a");
    ManagedElement *b = Add(a, "b");
    Add(b, "c");
    a->kindId = 77;
    b->kindId = 77;
    EXPECT_EQ(Walk("3"), "/ /a");
    EXPECT_EQ(Walk("4"), "/ /a /a/b /a/b/c");
}

TEST_F(CmdShow, WildcardTargetShowsEachInstanceAndGoesOnToItsSiblings)
{
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {2});
    Add(a, "c");
    Add(tree.root, "b");
    EXPECT_EQ(Walk("1", "/a*"), "/a1 /a2 /b");
    EXPECT_EQ(imax, 0);
    EXPECT_EQ(Walk("2", "/a*"), "/a1 /a1/c /a2 /a2/c /b");
    EXPECT_EQ(imax, -1);
    // The numbered target is one section and what is below it.
    EXPECT_EQ(Walk("1", "/a2"), "/a2");
    EXPECT_EQ(Walk("2", "/a2"), "/a2 /a2/c");
}

TEST_F(CmdShow, WildcardTargetWithThreeSiblingsRepeatsThem)
{
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {2});
    Add(tree.root, "b");
    Add(tree.root, "c");
    EXPECT_EQ(Walk("1", "/a*"), "/a1 /a2 /b /c /c");
}

TEST_F(CmdShow, WildcardOfTheLastSiblingStaysThere)
{
    Add(tree.root, "a");
    ManagedElement *b = Add(tree.root, "b");
    tree.Count(b, {3});
    EXPECT_EQ(Walk("1", "/b*"), "/b1 /b2 /b3");
    EXPECT_EQ(Walk("all", "/b*"), "/b1 /b2 /b3");
    EXPECT_EQ(tree.Run("show /b*"), 0u);
    EXPECT_EQ(tree.Sections(), "/b1 /b2 /b3");
}

TEST_F(CmdShow, WildcardWithoutInstancesPrintsNothing)
{
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {0});
    EXPECT_EQ(tree.Run("show /a*"), 0u);
    EXPECT_EQ(tree.output, "");
    EXPECT_EQ(tree.Run("show -level 3 /a*"), 0u);
    EXPECT_EQ(tree.output, "");
}

TEST_F(CmdShow, WildcardDescendsFromItsOwnLevel)
{
    ManagedElement *a = Add(tree.root, "a");
    tree.Count(a, {1});
    Add(Add(a, "b"), "c");
    EXPECT_EQ(Walk("1", "/a*"), "/a1");
    EXPECT_EQ(Walk("2", "/a*"), "/a1 /a1/b");
    EXPECT_EQ(Walk("3", "/a*"), "/a1 /a1/b /a1/b/c");
    EXPECT_EQ(Walk("all", "/a*"), "/a1 /a1/b /a1/b/c");
}

TEST_F(CmdShow, LeafHasNothingBelow)
{
    Add(tree.root, "a");
    for (const char *depth : {"1", "2", "5", "all"})
        EXPECT_EQ(Walk(depth, "/a"), "/a") << depth;
}

TEST_F(CmdShow, WalkOfNothingReturns0)
{
    EXPECT_EQ(SmclpShowCalculateTargetsForDisplay(nullptr, nullptr), 0u);
    EXPECT_EQ(SmclpShowCalculateTargetsForDisplay(nullptr, tree.root), 0u);
}

TEST_F(CmdShow, OtherListsPrintNothing)
{
    ManagedElement *a = Add(tree.root, "a");
    OutputCapture capture;
    gWhatToShow = 5;
    EXPECT_EQ(SmclpShowDisplayCalculatedTargets(a), 0u);
    EXPECT_EQ(capture.Take(), "");
    EXPECT_EQ(bPrintFlag, 1u);
}
