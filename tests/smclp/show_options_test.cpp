// SPDX-License-Identifier: Apache-2.0
// show_options_test.cpp -- the parser of show and its property lists.
#include "smclp/commands/show_options.h"

#include "platform/list.h"
#include "smclp/commands/commands.h"
#include "support/failing_memory.h"
#include "support/fake_objmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

std::string NamesOf(const ShowPara &para)
{
    std::string names;
    for (const void *entry = para.selectedProperties; entry != nullptr; entry = ListNext(entry))
        names += std::string("[") + static_cast<const char *>(entry) + "]";
    return names;
}

// One call of the parser. The names are released again, as the executor does.
class Show
{
public:
    explicit Show(const std::string &text)
    {
        char buffer[512] = "";
        text.copy(buffer, sizeof buffer - 1);
        result = SmclpParseCommandLineForShow(buffer, &record);
        line = buffer;
        allocated = pCmdPara != nullptr;
        if (allocated) {
            auto *made = static_cast<ShowPara *>(pCmdPara);
            names = NamesOf(*made);
            if (result == 0)
                ReleaseSelectedProperties(made);
            EXPECT_EQ(made->selectedProperties, nullptr) << text;
            para = *made;
        }
        EXPECT_EQ(HandTree::NamesInUse(), 0u) << text;
        free(pCmdPara);
        pCmdPara = nullptr;
    }
    u32 result;
    SmclpCommandLine record = {};
    std::string line;
    bool allocated;
    ShowPara para = {};
    std::string names;
};

class ShowOptions : public ::testing::Test
{
protected:
    HandTree tree;
};

// Lines that are refused, and that say FAILED with -examine.
void ExpectFault(const std::string &rest, u32 result)
{
    const Show refused("show " + rest);
    EXPECT_EQ(refused.result, result) << rest;
    EXPECT_TRUE(refused.allocated);
    const Show examined("show -examine " + rest);
    EXPECT_EQ(examined.result, 0u) << rest;
    EXPECT_EQ(examined.para.showExamine, 1001u) << rest;
}

std::string LineOf(std::string line, size_t length)
{
    while (line.size() + 2 <= length)
        line += "\"\"";
    if (line.size() < length)
        line += "\\";
    return line;
}

}  // namespace

TEST_F(ShowOptions, TableHasItsOptionsInOrder)
{
    void **table = SmclpShowCommandInit();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(numoptShow, 8u);
    EXPECT_EQ(arg_nullcheck(table), 0);
    const char *const expected[] = {
        "x|-|examine",
        "a|-|all",
        "-|d |targets|verbs|all|properties|associations",
        "-|l |all|1|2|3|4|5||",
        "-|o |format=clpxml|format=clpcsv",
        "h|-|help",
        "v|-|version",
    };
    for (size_t i = 0; i < 7; ++i) {
        const auto *header = static_cast<const arg_hdr *>(table[i]);
        const std::string shorts = header->shortopts != nullptr ? header->shortopts : "-";
        const std::string longs = header->longopts != nullptr ? header->longopts : "-";
        EXPECT_EQ(shorts + "|" + longs + "|" + header->glossary, expected[i]);
    }
    const void *const handles[] = {examine, show, display, level, o, help, version, cmd_end};
    for (size_t i = 0; i < 8; ++i)
        EXPECT_EQ(table[i], handles[i]);
    EXPECT_EQ(cmd_end->hdr.maxcount, 20);
    SmclpShowCommandUnInit(table);
}

TEST_F(ShowOptions, RecordKeepsItsWordsInTheirPlaces)
{
    EXPECT_EQ(offsetof(ShowPara, showRequest), 0u * 4);
    EXPECT_EQ(offsetof(ShowPara, showExamine), 1u * 4);
    EXPECT_EQ(offsetof(ShowPara, displayGiven), 3u * 4);
    EXPECT_EQ(offsetof(ShowPara, displayWhat), 4u * 4);
    EXPECT_EQ(offsetof(ShowPara, filterGiven), 5u * 4);
    EXPECT_EQ(offsetof(ShowPara, filterName), 6u * 4);
    EXPECT_EQ(offsetof(ShowPara, filterValue), 14u * 4);
    EXPECT_EQ(offsetof(ShowPara, selectedProperties), 30u * 4);
    EXPECT_EQ(sizeof(ShowPara::filterName), 32u);
    EXPECT_EQ(sizeof(ShowPara::filterValue), 64u);
    EXPECT_EQ(offsetof(ShowPara, levelValue) - offsetof(ShowPara, levelGiven), 4u);
    EXPECT_EQ(offsetof(ShowPara, formatGiven) - offsetof(ShowPara, levelGiven), 8u);
    EXPECT_EQ(offsetof(ShowPara, formatXml) - offsetof(ShowPara, levelGiven), 12u);
}

TEST_F(ShowOptions, NullLineOrRecordIsABadParameter)
{
    SmclpCommandLine record = {};
    char line[256] = "show";
    EXPECT_EQ(SmclpParseCommandLineForShow(nullptr, &record), 2u);
    EXPECT_EQ(SmclpParseCommandLineForShow(line, nullptr), 2u);
    EXPECT_EQ(pCmdPara, nullptr);
}

TEST_F(ShowOptions, LineOf254CharactersIsParsedAndOf255Refused)
{
    EXPECT_EQ(Show(LineOf("show", 254)).result, 0u);
    const Show refused(LineOf("show", 255));
    EXPECT_EQ(refused.result, 2u);
    EXPECT_FALSE(refused.allocated);
}

TEST_F(ShowOptions, WordsThatDoNotFitTheRoomAreASyntaxError)
{
    EXPECT_EQ(Show(std::string(191, 'w')).result, 0u);
    EXPECT_EQ(Show(std::string(192, 'w')).result, 4u);
    std::string line = "show -examine";
    for (int i = 0; i < 14; ++i)
        line += " a";
    EXPECT_EQ(Show(line).result, 0u);
    EXPECT_EQ(Show(line + " a").result, 4u);
}

TEST_F(ShowOptions, RewritesThatOutgrowTheLineAreASyntaxError)
{
    // Three options grow by one character each: 252 comes to 255, 253 to 256.
    EXPECT_EQ(Show(LineOf("show -d verbs -l 2 -o format=clptxt", 252)).result, 0u);
    EXPECT_EQ(Show(LineOf("show -d verbs -l 2 -o format=clptxt", 253)).result, 4u);
}

TEST_F(ShowOptions, WithoutMemoryForTheOptionTableOrTheRecordNothingIsParsed)
{
    // The table, each of its eight entries, then the record.
    for (u32 call = 1; call <= 10; ++call) {
        SmclpCommandLine record = {};
        char line[256] = "show -display properties=(a,b)";
        u32 result;
        {
            const MemoryFailure failure(Memory::Heap, call);
            result = SmclpParseCommandLineForShow(line, &record);
            EXPECT_TRUE(failure.Struck()) << call;
        }
        EXPECT_EQ(result, call == 10 ? 3u : 2u) << call;
        EXPECT_EQ(pCmdPara == nullptr, call == 10);
        free(pCmdPara);
        pCmdPara = nullptr;
        EXPECT_EQ(HandTree::NamesInUse(), 0u);
    }
}

TEST_F(ShowOptions, BareShowDisplays)
{
    const Show shown("show");
    EXPECT_EQ(shown.result, 0u);
    ShowPara expected = {};
    expected.showRequest = 1000;
    EXPECT_EQ(memcmp(&shown.para, &expected, sizeof expected), 0);
    EXPECT_STREQ(shown.record.target, "");
}

TEST_F(ShowOptions, RequestIsTheLastOfAllHelpVersion)
{
    const struct {
        const char *line;
        u32 request;
    } rows[] = {
        {"show -all", 1000},
        {"show -help", 800},
        {"show -version", 1002},
        {"show -all -help", 800},
        {"show -help -all", 800},
        {"show -version -help", 1002},
        {"show -help -version", 1002},
        {"show -all -version", 1002},
        {"show -version -help -all", 1002},
        {"show -level 2", 0},
        {"show -display verbs", 0},
        {"show -all -level 2", 1000},
        {"show -all -display verbs", 1000},
        {"show -output format=clpxml", 1000},
        {"show -output format=clpxml -level 2", 0},
        {"show /system1", 1000},
        {"show -examine", 0},
        {"show -examine -all", 1000},
        {"show -a", 1000},
        {"show -h", 800},
        {"show -v", 1002},
    };
    for (const auto &row : rows) {
        const Show shown(row.line);
        EXPECT_EQ(shown.result, 0u) << row.line;
        EXPECT_EQ(shown.para.showRequest, row.request) << row.line;
    }
}

TEST_F(ShowOptions, ExamineSaysWhetherTheLineIsValid)
{
    EXPECT_EQ(Show("show").para.showExamine, 0u);
    EXPECT_EQ(Show("show -examine").para.showExamine, 1000u);
    EXPECT_EQ(Show("show -x").para.showExamine, 1000u);
    EXPECT_EQ(Show("show -examine /system1").para.showExamine, 1000u);
    EXPECT_EQ(Show("show -examine a b").para.showExamine, 1001u);
    EXPECT_EQ(Show("show -examine -z").para.showExamine, 1001u);
    EXPECT_EQ(
        Show("show -examine -display verbs -level 2 -output format=clptxt t").para.showExamine,
        1000u);
}

// Targets

TEST_F(ShowOptions, OneOperandIsTheTarget)
{
    EXPECT_STREQ(Show("show /system1").record.target, "/system1");
    EXPECT_STREQ(Show("show /system1 -level 2").record.target, "/system1");
    EXPECT_STREQ(Show("show -display verbs /system1").record.target, "/system1");
    EXPECT_STREQ(Show("show \"/a b\"").record.target, "/a b");
}

TEST_F(ShowOptions, TargetOf63CharactersIsTakenAndALongerOneRefused)
{
    const Show taken("show " + std::string(63, 't'));
    EXPECT_EQ(taken.result, 0u);
    EXPECT_EQ(taken.record.target, std::string(63, 't'));
    for (const size_t length : {64u, 127u, 128u, 170u}) {
        const Show refused("show " + std::string(length, 't'));
        EXPECT_EQ(refused.result, 8u) << length;
        EXPECT_STREQ(refused.record.target, "");
        EXPECT_EQ(Show("show -examine " + std::string(length, 't')).result, 8u);
    }
}

TEST_F(ShowOptions, TargetThatBeginsWithAHyphenIsRefused)
{
    ExpectFault("--zap", 6);
    ExpectFault("-- -z", 6);
    ExpectFault("--d", 6);
    // The rest of the line is still looked at.
    EXPECT_EQ(Show("show -examine --zap -level 2").para.levelValue, 2u);
}

TEST_F(ShowOptions, StrayWordsAreASyntaxError)
{
    ExpectFault("a b", 4);
    ExpectFault("a b c -level 2", 4);
    ExpectFault("-z", 4);
    ExpectFault("-z a", 4);
    ExpectFault("-" + std::string(60, 'z'), 4);
    ExpectFault("-h -h", 4);
    // Two operands: a bad value is found first.
    EXPECT_EQ(Show("show a b -level 99").result, 9u);
    // No error argument: the values are not looked at.
    EXPECT_EQ(Show("show -z -level 99").result, 4u);
}

// -display

TEST_F(ShowOptions, DisplayValues)
{
    const struct {
        const char *value;
        u32 what;
    } rows[] = {
        {"all", 1000}, {"verbs", 0}, {"targets", 1}, {"properties", 2}, {"properties=(a)", 3},
    };
    for (const auto &row : rows) {
        for (const char *option : {"-display ", "-d ", "--d=", "-display \"\""}) {
            const Show shown(std::string("show ") + option + row.value);
            EXPECT_EQ(shown.result, 0u) << option << row.value;
            EXPECT_EQ(shown.para.displayGiven, 1u);
            EXPECT_EQ(shown.para.displayWhat, row.what) << option << row.value;
            EXPECT_EQ(shown.para.levelGiven, 0u);
        }
    }
}

TEST_F(ShowOptions, OtherDisplayValuesAreBadArguments)
{
    for (const char *value : {"associations", "propertiesx", "properties(a)", "propertie", "verb",
                              "verbsx", "allx", "targets1", "\"  \"", "x", "properties\\ =(a)"})
        ExpectFault(std::string("-display ") + value, 9);
}

TEST_F(ShowOptions, EmptyDisplayValueIsMissing)
{
    for (const char *value : {"-display ", "-display \"\"", "-display \" \"", "-d \" \""})
        ExpectFault(value, 10);
    EXPECT_EQ(Show("show target -display \"\"").result, 10u);
    // Without the blank it is no option.
    ExpectFault("-display", 4);
}

TEST_F(ShowOptions, DisplayThatSwallowsExamineIsInvalidSyntax)
{
    for (const char *line :
         {"show -display -examine", "show -display -x", "show -level -examine"}) {
        const Show shown(line);
        EXPECT_EQ(shown.result, 0u) << line;
        EXPECT_EQ(shown.para.showExamine, 1001u) << line;
        EXPECT_EQ(shown.para.displayGiven, 0u);
        EXPECT_EQ(shown.para.levelGiven, 0u);
    }
}

TEST_F(ShowOptions, DisplayValueOf127CharactersIsTakenAndOf128Refused)
{
    // "properties=(" and ")" are 13 characters.
    const std::string name(31, 'n');
    const std::string list = name + "," + name + "," + name + ",";  // 96
    const Show taken("show -display properties=(" + list + std::string(18, 'n') + ")");
    EXPECT_EQ(taken.result, 0u);
    EXPECT_EQ(taken.names,
              "[" + name + "][" + name + "][" + name + "][" + std::string(18, 'n') + "]");
    const std::string longer = "show -display properties=(" + list + std::string(19, 'n') + ")";
    EXPECT_EQ(Show(longer).result, 9u);
    EXPECT_EQ(Show(longer + " -examine").result, 9u);  // also under -examine: deliberate
    EXPECT_EQ(Show("show -display properties" + std::string(117, 'x')).result, 9u);
    EXPECT_EQ(Show("show -examine -display properties" + std::string(117, 'x')).result, 0u);
    EXPECT_EQ(Show("show -examine -display properties" + std::string(118, 'x')).result, 9u);
}

// -level

TEST_F(ShowOptions, LevelValues)
{
    const struct {
        const char *value;
        u32 number;
    } rows[] = {
        {"1", 1},  {"2", 2},      {"3", 3},
        {"4", 4},  {"5", 5},      {"14", 14},
        {"07", 7}, {"all", 1000}, {"0000000000000000000014", 14},
    };
    for (const auto &row : rows) {
        for (const char *option : {"-level ", "-l ", "--l="}) {
            const Show shown(std::string("show ") + option + row.value);
            EXPECT_EQ(shown.result, 0u) << option << row.value;
            EXPECT_EQ(shown.para.levelGiven, 1u);
            EXPECT_EQ(shown.para.levelValue, row.number) << option << row.value;
            EXPECT_EQ(shown.para.displayGiven, 0u);
        }
    }
}

TEST_F(ShowOptions, OtherLevelsAreBadArguments)
{
    // 4294967297 and 18446744073709551617 would wrap round to 1.
    for (const char *value :
         {"0", "15", "99", "1000", "00", "-1", "+1", "1x", "x1", "1.5", "\" 1\"", "0x1", "allx",
          "4294967297", "4294967310", "18446744073709551617", "1000000000000000000001"})
        ExpectFault(std::string("-level ") + value, 9);
    for (const char *value : {"-level ", "-level \"\"", "-level \" \""})
        ExpectFault(value, 10);
}

TEST_F(ShowOptions, HighestLevelIsThatOfTheTree)
{
    SMCLP_MAX_LEVEL = 3;
    EXPECT_EQ(Show("show -level 3").result, 0u);
    EXPECT_EQ(Show("show -level 4").result, 9u);
    EXPECT_EQ(Show("show -level all").para.levelValue, 1000u);
}

TEST_F(ShowOptions, DisplayIsLookedAtBeforeLevelAndLevelBeforeOutput)
{
    EXPECT_EQ(Show("show -level 99 -display \"\"").result, 10u);
    EXPECT_EQ(Show("show -output format=clpcsv -level \"\"").result, 10u);
    EXPECT_EQ(Show("show -level \"\" -display x").result, 9u);
}

// -output

TEST_F(ShowOptions, OutputFormats)
{
    const Show xml("show -output format=clpxml");
    EXPECT_EQ(xml.result, 0u);
    EXPECT_EQ(xml.para.formatGiven, 1u);
    EXPECT_EQ(xml.para.formatXml, 1u);
    const Show text("show -output format=clptxt");
    EXPECT_EQ(text.para.formatGiven, 1u);
    EXPECT_EQ(text.para.formatXml, 0u);
    for (const char *value : {"format=clpcsv", "x", "format=clpxmlx", "\"\"", "\" \""})
        ExpectFault(std::string("-output ") + value, 9);
    EXPECT_EQ(Show("show -output -examine").result, 9u);
}

// Rewrites

TEST_F(ShowOptions, RewritesReachTheFirstOccurrenceAnywhere)
{
    EXPECT_EQ(Show("show -all -display verbs -level 2 -examine -version -help -output f").line,
              "show -a --d verbs --l 2 -x -v -h --o f");
    EXPECT_STREQ(Show("show /a-all").record.target, "/a-a");
    EXPECT_STREQ(Show("show /a-display/b-level").record.target, "/a-d/b-l");
    EXPECT_EQ(Show("show /a-d -display verbs").line, "show /a--d -d verbs");
    EXPECT_EQ(Show("show /a-d -display verbs").result, 4u);
}

// Property lists

namespace
{

struct ListResult {
    u32 result;
    ShowPara para;
    std::string names;
    u32 namesLeft;
};

ListResult ParseList(const std::string &list, u32 examineCount = 0)
{
    ListResult parsed = {};
    parsed.para.displayWhat = kDisplaySelectedProperties;
    std::vector<char> text(list.begin(), list.end());
    text.push_back('\0');
    parsed.result = SmclpParseProperties(text.data(), &parsed.para, examineCount);
    parsed.names = NamesOf(parsed.para);
    ReleaseSelectedProperties(&parsed.para);
    parsed.namesLeft = HandTree::NamesInUse();
    return parsed;
}

void ExpectBadList(const std::string &list, u32 result)
{
    const ListResult refused = ParseList(list);
    EXPECT_EQ(refused.result, result) << list;
    EXPECT_EQ(refused.para.showExamine, 0u) << list;
    EXPECT_EQ(refused.namesLeft, 0u);
    const ListResult examined = ParseList(list, 1);
    EXPECT_EQ(examined.result, 0u) << list;
    EXPECT_EQ(examined.para.showExamine, 1001u) << list;
    EXPECT_EQ(examined.namesLeft, 0u);
}

}  // namespace

TEST_F(ShowOptions, ListNeedsARecord)
{
    char text[] = "(a)";
    EXPECT_EQ(SmclpParseProperties(text, nullptr, 0), 1u);
    EXPECT_EQ(SmclpParseProperties(text, nullptr, 1), 1u);
    EXPECT_STREQ(text, "(a)");
}

TEST_F(ShowOptions, ListNeedsItsParentheses)
{
    for (const char *list : {"", "a", "(", ")", "(a", "a)", ")a(", " (a)", "(a) ", "a,b", "a==1"})
        ExpectBadList(list, 1);
}

TEST_F(ShowOptions, ListOf128CharactersIsNotLookedAt)
{
    const std::string longest = "(" + std::string(126, ',');
    EXPECT_EQ(ParseList(longest).result, 1u);  // 127: looked at, no closing parenthesis
    const ListResult ignored = ParseList(longest + ",", 1);
    EXPECT_EQ(ignored.result, 0u);
    EXPECT_EQ(ignored.para.showExamine, 0u);
    EXPECT_EQ(ignored.names, "");
}

TEST_F(ShowOptions, NamesAreTakenInTheOrderWritten)
{
    EXPECT_EQ(ParseList("(a)").names, "[a]");
    EXPECT_EQ(ParseList("(name,elementname)").names, "[name][elementname]");
    EXPECT_EQ(ParseList("(c,a,b,a)").names, "[c][a][b][a]");
    EXPECT_EQ(ParseList("( a, b c )").names, "[ a][ b c ]");
    EXPECT_EQ(ParseList("(a=1)").names, "[a=1]");
    EXPECT_EQ(ParseList("((a),b))").names, "[(a)][b)]");
    EXPECT_EQ(ParseList("('a',\"b\")").names, "['a'][\"b\"]");
    for (const char *list : {"(a)", "(name,elementname)"}) {
        const ListResult parsed = ParseList(list);
        EXPECT_EQ(parsed.result, 0u);
        EXPECT_EQ(parsed.para.filterGiven, 0u);
        EXPECT_EQ(parsed.para.displayWhat, 3u);
    }
}

TEST_F(ShowOptions, EmptyItemsAreBadLists)
{
    for (const char *list : {"()", "(,)", "(,a)", "(a,)", "(a,,b)", "(a==1,)", "(,a==1)"})
        ExpectBadList(list, 9);
}

TEST_F(ShowOptions, LoneFilterShowsAllProperties)
{
    const ListResult parsed = ParseList("(healthstate==5)");
    EXPECT_EQ(parsed.result, 0u);
    EXPECT_EQ(parsed.para.filterGiven, 1u);
    EXPECT_STREQ(parsed.para.filterName, "healthstate");
    EXPECT_STREQ(parsed.para.filterValue, "5");
    EXPECT_EQ(parsed.para.displayWhat, 2u);
    EXPECT_EQ(parsed.names, "");
}

TEST_F(ShowOptions, FilterAmongNamesKeepsTheNames)
{
    for (const char *list : {"(a,f==1,b)", "(f==1,a,b)", "(a,b,f==1)"}) {
        const ListResult parsed = ParseList(list);
        EXPECT_EQ(parsed.result, 0u) << list;
        EXPECT_EQ(parsed.para.filterGiven, 1u);
        EXPECT_STREQ(parsed.para.filterName, "f");
        EXPECT_STREQ(parsed.para.filterValue, "1");
        EXPECT_EQ(parsed.para.displayWhat, 3u);
        EXPECT_EQ(parsed.names, "[a][b]");
    }
}

TEST_F(ShowOptions, FilterIsSplitAtItsFirstEqualsSign)
{
    const struct {
        const char *list;
        const char *name;
        const char *value;
    } rows[] = {
        {"(a==)", "a", ""},       {"(a===b)", "a", "=b"},   {"(a==b==c)", "a", "b==c"},
        {"(a=b==c)", "a", "==c"}, {"(a==b c)", "a", "b c"}, {"(a ==b)", "a ", "b"},
    };
    for (const auto &row : rows) {
        const ListResult parsed = ParseList(row.list);
        EXPECT_EQ(parsed.result, 0u) << row.list;
        EXPECT_STREQ(parsed.para.filterName, row.name) << row.list;
        EXPECT_STREQ(parsed.para.filterValue, row.value) << row.list;
    }
}

TEST_F(ShowOptions, SecondFilterIsABadList)
{
    for (const char *list : {"(a==1,b==2)", "(a==1,a==1)", "(n,a==1,m,b==2)", "(a==1,b==2,n)"})
        ExpectBadList(list, 9);
}

TEST_F(ShowOptions, FilterWithoutANameIsABadListOnlyAlone)
{
    ExpectBadList("(==5)", 9);
    ExpectBadList("(==)", 9);
    const ListResult parsed = ParseList("(a,==5)");
    EXPECT_EQ(parsed.result, 0u);
    EXPECT_EQ(parsed.para.filterGiven, 1u);
    EXPECT_STREQ(parsed.para.filterName, "");
    EXPECT_STREQ(parsed.para.filterValue, "5");
}

TEST_F(ShowOptions, NamesAndValuesThatDoNotFitAreABadList)
{
    EXPECT_EQ(ParseList("(" + std::string(31, 'n') + ")").names, "[" + std::string(31, 'n') + "]");
    ExpectBadList("(" + std::string(32, 'n') + ")", 9);
    ExpectBadList("(a," + std::string(32, 'n') + ",b)", 9);
    EXPECT_EQ(ParseList("(" + std::string(31, 'n') + "==1)").para.filterName, std::string(31, 'n'));
    ExpectBadList("(" + std::string(32, 'n') + "==1)", 9);
    EXPECT_EQ(ParseList("(n==" + std::string(63, 'v') + ")").para.filterValue,
              std::string(63, 'v'));
    ExpectBadList("(n==" + std::string(64, 'v') + ")", 9);
}

TEST_F(ShowOptions, ListsReachTheRecordThroughTheParser)
{
    EXPECT_EQ(Show("show -display properties=(name,elementname)").names, "[name][elementname]");
    EXPECT_EQ(Show("show -display \"properties=(a, b c)\"").names, "[a][ b c]");
    EXPECT_EQ(Show("show -display properties=(healthstate==5)").para.displayWhat, 2u);
    EXPECT_EQ(Show("show -display properties=(a,healthstate==5)").para.displayWhat, 3u);
    EXPECT_EQ(Show("show -display properties=(a,,b)").result, 9u);
    EXPECT_EQ(Show("show -display properties=(a==1,b==2)").result, 9u);
    EXPECT_EQ(Show("show -display properties=name").result, 1u);
    EXPECT_EQ(Show("show -display properties=").result, 1u);
    EXPECT_EQ(Show("show -display properties=()").result, 9u);
}

// The list's fault is forgotten: the whole line decides.
TEST_F(ShowOptions, BadListUnderExamineLeavesTheAnswerToTheLine)
{
    for (const char *list : {"(a,,b)", "name", "(==5)", "(a==1,b==2)"}) {
        const std::string line = std::string("show -examine -display properties=") + list;
        EXPECT_EQ(Show(line).result, 0u) << list;
        EXPECT_EQ(Show(line).para.showExamine, 1000u) << list;
        EXPECT_EQ(Show(line + " target").para.showExamine, 1000u) << list;
        EXPECT_EQ(Show(line + " a b").para.showExamine, 1001u) << list;
        EXPECT_EQ(Show(line + " -level 99").para.showExamine, 1001u) << list;
    }
}

TEST_F(ShowOptions, NamesAreReleasedWhenTheLineIsRefusedLater)
{
    // Show's constructor checks that nothing is left.
    EXPECT_EQ(Show("show -display properties=(a,b,c) -level 99").result, 9u);
    EXPECT_EQ(Show("show -display properties=(a,b,c) -level \"\"").result, 10u);
    EXPECT_EQ(Show("show -display properties=(a,b,c) -output x").result, 9u);
    EXPECT_EQ(Show("show -display properties=(a,b,c) x y").result, 4u);
    EXPECT_EQ(Show("show -display properties=(a,b,,c)").result, 9u);
}

TEST_F(ShowOptions, NamesAreReleasedAfterEveryCommand)
{
    FakeObjMgr om;
    tree.Property(tree.root, "A", "1");
    for (const char *rest : {"", " -help", " -version", " -examine", " -examine a b", " /nowhere",
                             " /nowhere -examine", " -level 99", " -level 2", " x y", " -output x",
                             " -level 99 -examine"}) {
        tree.Run(std::string("show -display properties=(a,b,f==1,c)") + rest);
        EXPECT_EQ(HandTree::NamesInUse(), 0u) << rest;
        tree.Run(std::string("show -display properties=(a,b,,c)") + rest);
        EXPECT_EQ(HandTree::NamesInUse(), 0u) << rest;
    }
}

TEST_F(ShowOptions, ExhaustedPoolIsOutOfMemory)
{
    std::vector<void *> taken;
    while (void *block = MemMgrAlloc(32))
        taken.push_back(block);
    EXPECT_EQ(taken.size(), 256u);
    for (const u32 spare : {0u, 1u, 2u, 3u}) {
        for (u32 i = 0; i < spare; ++i) {
            MemMgrFree(taken.back());
            taken.pop_back();
        }
        for (const char *rest : {"", " -examine"}) {
            EXPECT_EQ(tree.Run(std::string("show -display properties=(a,b,c)") + rest),
                      spare < 3 ? 3u : 0u);
            if (spare < 3) {
                EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
            }
            EXPECT_EQ(HandTree::NamesInUse(), 256 - spare);
        }
        for (u32 i = 0; i < spare; ++i)
            taken.push_back(MemMgrAlloc(32));
    }
    // A lone filter takes no name.
    EXPECT_EQ(tree.Run("show -display properties=(a==1)"), 0u);
    for (void *block : taken)
        MemMgrFree(block);
}

// Through the dispatcher

TEST_F(ShowOptions, ResultsPrintTheirLines)
{
    const struct {
        const char *line;
        u32 result;
        const char *output;
    } rows[] = {
        {"show -help -version", 0, "version 1.0\n"},
        {"show -display propertiesX", 9, kInvalidArgumentLine},
        {"show -display associations", 9, kInvalidArgumentLine},
        {"show -level 0", 9, kInvalidArgumentLine},
        {"show -level 15", 9, kInvalidArgumentLine},
        {"show -output format=clpcsv", 9, kInvalidArgumentLine},
        {"show -output -examine", 9, kInvalidArgumentLine},
        {"show -display \"\"", 10, kOptionMissingLine},
        {"show -level \" \"", 10, kOptionMissingLine},
        {"show -display properties=name", 1, kInvalidSyntaxLine},
        {"show --zap", 6, kInvalidSyntaxLine},
        {"show -z", 4, kInvalidSyntaxLine},
        {"show a b", 4, kInvalidSyntaxLine},
        {"show -display -examine", 0, kFailedLine},
        {"show -examine --zap", 0, kFailedLine},
        {"show -examine -level 99", 0, kFailedLine},
        {"show -examine -display properties=(a,,b)", 0, kSuccessLine},
        {"show -examine /nowhere", 0, kFailedLine},
        {"show /nowhere", 1, kInvalidTargetLine},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(tree.Run(row.line), row.result) << row.line;
        EXPECT_EQ(tree.output, row.output) << row.line;
    }
    EXPECT_EQ(tree.Run("show " + std::string(64, 't')), 8u);
    EXPECT_EQ(tree.output, kInvalidSyntaxLine);
}
