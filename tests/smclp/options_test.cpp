// SPDX-License-Identifier: Apache-2.0
// options_test.cpp -- the option parsers that verbs share, and rules that hold for every verb.
#include "smclp/commands/options.h"

#include "smclp/command_table.h"
#include "smclp/commands/commands.h"
#include "support/failing_memory.h"
#include "support/fake_objmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>
#include <string.h>

#define DECLARE_TABLE(verb)                        \
    void **Smclp##verb##CommandInit();             \
    void Smclp##verb##CommandUnInit(void **table); \
    extern u32 numopt##verb;
DECLARE_TABLE(Cd)
DECLARE_TABLE(Exit)
DECLARE_TABLE(Version)
DECLARE_TABLE(Start)
DECLARE_TABLE(Stop)
DECLARE_TABLE(Reset)
DECLARE_TABLE(Help)
DECLARE_TABLE(Delete)
DECLARE_TABLE(SetPowerState)
#undef DECLARE_TABLE

namespace
{

using Words = std::vector<u32>;

// One call of a parser, with its parameters.
class Parse
{
public:
    Parse(SmclpParseFunction parse, const std::string &text)
    {
        memset(&record, 0, sizeof record);
        char buffer[512] = "";
        text.copy(buffer, sizeof buffer - 1);
        result = parse(buffer, &record);
        line = buffer;
        allocated = pCmdPara != nullptr;
        const bool isCd = parse == SmclpParseCommandLineForCd;
        const auto *words = static_cast<const u32 *>(pCmdPara);
        if (allocated && parse != SmclpParseCommandLineForShow)
            para.assign(words, words + (isCd ? 7 : 6));
        free(pCmdPara);
        pCmdPara = nullptr;
    }
    u32 result;
    SmclpCommandLine record;
    std::string line;  // as the parser left it
    bool allocated;
    Words para;
};

struct Parser {
    const char *verb;
    SmclpParseFunction parse;
    bool takesTarget;
    bool keepsLine;
};

// Every parser but that of show.
constexpr Parser kParsers[] = {
    {"cd", SmclpParseCommandLineForCd, true, true},
    {"exit", SmclpParseCommandLineForExit, false, false},
    {"version", SmclpParseCommandLineForVersion, false, false},
    {"start", SmclpParseCommandLineForStart, true, false},
    {"stop", SmclpParseCommandLineForStop, true, false},
    {"reset", SmclpParseCommandLineForReset, true, false},
    {"help", SmclpParseCommandLineForHelp, true, true},
    {"delete", SmclpParseCommandLineForDelete, true, false},
    {"set", SmclpParseCommandLineForSetPowerState, true, false},
};

bool IsCd(const Parser &parser)
{
    return std::string(parser.verb) == "cd";
}

bool IsSet(const Parser &parser)
{
    return std::string(parser.verb) == "set";
}

// The six words of the verbs, or the seven of cd, whose third is never set.
Words Para(const Parser &parser, u32 formatGiven, u32 formatXml, u32 flag, u32 result, u32 helps,
           u32 versions)
{
    if (IsCd(parser))
        return {formatGiven, formatXml, 0, flag, result, helps, versions};
    return {formatGiven, formatXml, flag, result, helps, versions};
}

Parse Start(const std::string &text)
{
    return Parse(SmclpParseCommandLineForStart, text);
}

Parse Cd(const std::string &text)
{
    return Parse(SmclpParseCommandLineForCd, text);
}

// The tables that are built and not yet freed.
int sTables;

void **BuildTable()
{
    ++sTables;
    return SmclpStartCommandInit();
}

void FreeTable(void **table)
{
    --sTables;
    SmclpStartCommandUnInit(table);
}

// A verb's line of `length` characters that comes out as the bare verb: quotes group nothing.
std::string LineOf(const std::string &verb, size_t length)
{
    std::string line = verb;
    while (line.size() + 2 <= length)
        line += "\"\"";
    if (line.size() < length)
        line += "\\";
    return line;
}

}  // namespace

// Option tables

namespace
{

struct Table {
    void **(*init)();
    void (*unInit)(void **);
    u32 *count;
    u32 expected;
};

const Table kTables[] = {
    {SmclpCdCommandInit, SmclpCdCommandUnInit, &numoptCd, 6},
    {SmclpExitCommandInit, SmclpExitCommandUnInit, &numoptExit, 5},
    {SmclpVersionCommandInit, SmclpVersionCommandUnInit, &numoptVersion, 5},
    {SmclpStartCommandInit, SmclpStartCommandUnInit, &numoptStart, 5},
    {SmclpStopCommandInit, SmclpStopCommandUnInit, &numoptStop, 5},
    {SmclpResetCommandInit, SmclpResetCommandUnInit, &numoptReset, 5},
    {SmclpHelpCommandInit, SmclpHelpCommandUnInit, &numoptHelp, 5},
    {SmclpDeleteCommandInit, SmclpDeleteCommandUnInit, &numoptDelete, 5},
    {SmclpSetPowerStateCommandInit, SmclpSetPowerStateCommandUnInit, &numoptSetPowerState, 5},
};

std::string Describe(const void *entry)
{
    const auto *header = static_cast<const arg_hdr *>(entry);
    const auto text = [](const char *part) { return std::string(part != nullptr ? part : "-"); };
    return text(header->shortopts) + "|" + text(header->longopts) + "|" + text(header->glossary);
}

}  // namespace

TEST(OptionTable, EveryVerbHasTheSameOptionsInTheSameOrder)
{
    for (const Table &table : kTables) {
        *table.count = 0;
        void **entries = table.init();
        ASSERT_NE(entries, nullptr);
        EXPECT_EQ(*table.count, table.expected);
        EXPECT_EQ(arg_nullcheck(entries), 0);
        EXPECT_EQ(Describe(entries[0]), "x|-|examine");
        EXPECT_EQ(Describe(entries[1]), "-|o |format=clpxml|format=clpcsv");
        EXPECT_EQ(Describe(entries[2]), "h|-|help");
        EXPECT_EQ(Describe(entries[3]), "v|-|version");
        if (table.expected == 6) {
            EXPECT_EQ(Describe(entries[4]), "-|default|default");
            EXPECT_EQ(entries[4], default_option);
        }
        EXPECT_EQ(entries[0], examine);
        EXPECT_EQ(entries[1], o);
        EXPECT_EQ(entries[2], help);
        EXPECT_EQ(entries[3], version);
        EXPECT_EQ(entries[table.expected - 1], cmd_end);
        EXPECT_EQ(cmd_end->hdr.maxcount, 20);
        table.unInit(entries);
    }
}

// Lengths

TEST(Parsers, LineOf254CharactersIsParsedAndOf255Refused)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const Parse longest(parser.parse, LineOf(parser.verb, 254));
        EXPECT_EQ(longest.result, IsSet(parser) ? 8u : 0u);
        EXPECT_TRUE(longest.allocated);
        for (const size_t length : {255u, 300u}) {
            const std::string line = LineOf(parser.verb, length);
            const Parse refused(parser.parse, line);
            EXPECT_EQ(refused.result, 2u);
            EXPECT_FALSE(refused.allocated);
            EXPECT_EQ(refused.line, line);
            EXPECT_STREQ(refused.record.line, "");
        }
    }
}

TEST(Parsers, WordsThatDoNotFitTheRoomAreASyntaxError)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        // 192 bytes with the word's NUL.
        EXPECT_EQ(Parse(parser.parse, std::string(191, 'w')).result, IsSet(parser) ? 8u : 0u);
        EXPECT_EQ(Parse(parser.parse, std::string(192, 'w')).result, 4u);
        EXPECT_EQ(Parse(parser.parse, std::string(254, 'w')).result, 4u);
        EXPECT_EQ(Parse(parser.parse, std::string(192, 'w') + " -examine").result, 4u);

        std::string line = std::string(parser.verb) + " -examine";
        for (int i = 0; i < 14; ++i)
            line += " a";
        const Parse sixteen(parser.parse, line);
        EXPECT_EQ(sixteen.result, 0u);
        EXPECT_EQ(sixteen.para, Para(parser, 0, 0, 1, 1001, 0, 0));
        EXPECT_EQ(Parse(parser.parse, line + " a").result, 4u);
    }
}

TEST(Parsers, TargetOf63CharactersIsTakenAndALongerOneRefused)
{
    for (const Parser &parser : kParsers) {
        if (!parser.takesTarget)
            continue;
        SCOPED_TRACE(parser.verb);
        const std::string verb = std::string(parser.verb) + " ";
        const Parse taken(parser.parse, verb + std::string(63, 't'));
        EXPECT_EQ(taken.result, 0u);
        EXPECT_EQ(taken.record.target, std::string(63, 't'));
        for (const size_t length : {64u, 127u, 128u, 180u}) {
            for (const char *option : {"", " -examine"}) {
                const Parse refused(parser.parse, verb + std::string(length, 't') + option);
                EXPECT_EQ(refused.result, 8u) << length << option;
                EXPECT_STREQ(refused.record.target, "");
                EXPECT_TRUE(refused.allocated);
            }
        }
    }
}

// Null arguments

TEST(Parsers, NullLineIsABadParameter)
{
    SmclpCommandLine record = {};
    for (const Parser &parser : kParsers) {
        EXPECT_EQ(parser.parse(nullptr, &record), 2u) << parser.verb;
        EXPECT_EQ(pCmdPara, nullptr);
    }
}

TEST(Parsers, NullRecordIsABadParameterWhereOneIsWritten)
{
    for (const Parser &parser : kParsers) {
        char line[256] = "verb";
        EXPECT_EQ(parser.parse(line, nullptr), parser.takesTarget ? 2u : 0u) << parser.verb;
        free(pCmdPara);
        pCmdPara = nullptr;
    }
}

// Memory

TEST(Parsers, WithoutMemoryForTheParametersOrTheOptionTableNothingIsParsed)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        // The parameters, the table, then each of its entries.
        const u32 last = IsCd(parser) ? 8 : 7;
        for (u32 call = 1; call <= last; ++call) {
            SmclpCommandLine record = {};
            char line[256] = "verb -help";
            u32 result;
            {
                const MemoryFailure failure(Memory::Heap, call);
                result = parser.parse(line, &record);
                EXPECT_TRUE(failure.Struck()) << call;
            }
            EXPECT_EQ(result, call == 1 ? 3u : 2u) << call;
            EXPECT_EQ(pCmdPara == nullptr, call == 1);
            free(pCmdPara);
            pCmdPara = nullptr;
        }
    }
}

// The record

TEST(Parsers, CdAndHelpKeepTheLineBeforeItIsRewritten)
{
    for (const Parser &parser : kParsers) {
        const std::string line = std::string(parser.verb) + " -examine -output format=clptxt";
        const Parse parsed(parser.parse, line);
        EXPECT_EQ(parsed.record.line, parser.keepsLine ? line : "") << parser.verb;
        EXPECT_EQ(parsed.line, std::string(parser.verb) + " -x --o format=clptxt");
    }
}

TEST(Parsers, ExitAndVersionLeaveTheRecordAlone)
{
    for (const auto parse : {SmclpParseCommandLineForExit, SmclpParseCommandLineForVersion}) {
        for (const char *text : {"verb", "verb foo", "verb -help", "verb -examine foo"}) {
            SmclpCommandLine record;
            SmclpCommandLine before;
            memset(&record, 0xa5, sizeof record);
            memset(&before, 0xa5, sizeof before);
            char line[256];
            snprintf(line, sizeof line, "%s", text);
            parse(line, &record);
            EXPECT_EQ(memcmp(&record, &before, sizeof record), 0) << text;
            free(pCmdPara);
            pCmdPara = nullptr;
        }
    }
}

// Parameters, word by word

TEST(Parsers, EachOptionSetsItsWordsAndNoOther)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        const struct {
            const char *options;
            Words words;
        } rows[] = {
            {" -examine", Para(parser, 0, 0, 1, 1000, 0, 0)},
            {" -help", Para(parser, 0, 0, 0, 0, 1, 0)},
            {" -version", Para(parser, 0, 0, 0, 0, 0, 1)},
            {" -output format=clpxml", Para(parser, 1, 1, 0, 0, 0, 0)},
            {" -output format=clptxt", Para(parser, 1, 0, 0, 0, 0, 0)},
            {" -x", Para(parser, 0, 0, 1, 1000, 0, 0)},
            {" -xhv", Para(parser, 0, 0, 1, 1000, 1, 1)},
            {" -o format=clpxml", Para(parser, 1, 1, 0, 0, 0, 0)},
            {" -version -help -examine -output format=clpxml", Para(parser, 1, 1, 1, 1000, 1, 1)},
        };
        for (const auto &row : rows) {
            const Parse parsed(parser.parse, verb + row.options);
            EXPECT_EQ(parsed.result, 0u) << row.options;
            EXPECT_EQ(parsed.para, row.words) << row.options;
            EXPECT_STREQ(parsed.record.target, "");
        }
    }
}

TEST(Parsers, BareVerbIsTakenExceptForSet)
{
    for (const Parser &parser : kParsers) {
        const Parse parsed(parser.parse, parser.verb);
        EXPECT_EQ(parsed.result, IsSet(parser) ? 8u : 0u) << parser.verb;
        EXPECT_EQ(parsed.para, Para(parser, 0, 0, 0, 0, 0, 0));
        EXPECT_STREQ(parsed.record.target, "");
    }
}

TEST(Parsers, SetNeedsItsOperandOnlyWithoutOptions)
{
    const auto parse = SmclpParseCommandLineForSetPowerState;
    EXPECT_EQ(Parse(parse, "set").result, 8u);
    EXPECT_EQ(Parse(parse, "set -examine").result, 0u);
    EXPECT_EQ(Parse(parse, "set -output format=clptxt").result, 0u);
    EXPECT_STREQ(Parse(parse, "set powerstate=2").record.target, "powerstate=2");
}

TEST(Parsers, OneOperandIsTheTargetWhereverItStands)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        for (const char *rest : {" /system1", " /system1 -help", " -help /system1"}) {
            const Parse parsed(parser.parse, verb + rest);
            EXPECT_EQ(parsed.result, parser.takesTarget ? 0u : 4u) << rest;
            EXPECT_STREQ(parsed.record.target, parser.takesTarget ? "/system1" : "");
        }
        const Parse examined(parser.parse, verb + " -examine /system1");
        EXPECT_EQ(examined.result, 0u);
        EXPECT_EQ(examined.para, Para(parser, 0, 0, 1, parser.takesTarget ? 1000 : 1001, 0, 0));
    }
}

TEST(Parsers, TwoOperandsAreASyntaxErrorAndUnderExamineAnAnswer)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        const Parse refused(parser.parse, verb + " a b");
        EXPECT_EQ(refused.result, 4u);
        EXPECT_TRUE(refused.allocated);
        // The other options are not looked at any more.
        const Parse examined(parser.parse, verb + " a b -examine -help -output format=clpxml");
        EXPECT_EQ(examined.result, 0u);
        EXPECT_EQ(examined.para, Para(parser, 0, 0, 1, 1001, 0, 0));
        EXPECT_STREQ(examined.record.target, "");
    }
}

TEST(Parsers, UnknownLongOptionIsTheTarget)
{
    for (const Parser &parser : kParsers) {
        const Parse parsed(parser.parse, std::string(parser.verb) + " --zap");
        EXPECT_EQ(parsed.result, parser.takesTarget ? 0u : 4u) << parser.verb;
        EXPECT_STREQ(parsed.record.target, parser.takesTarget ? "--zap" : "");
    }
}

TEST(Parsers, UnknownShortOptionIsASyntaxError)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        EXPECT_EQ(Parse(parser.parse, verb + " -z").result, 4u);
        EXPECT_EQ(Parse(parser.parse, verb + " -z /system1").result, 4u);
        EXPECT_EQ(Parse(parser.parse, verb + " -" + std::string(60, 'z')).result, 4u);
        const Parse examined(parser.parse, verb + " -z -examine");
        EXPECT_EQ(examined.result, 0u);
        EXPECT_EQ(examined.para, Para(parser, 0, 0, 1, 1001, 0, 0));
    }
}

TEST(Parsers, AnOptionGivenTwiceIsASyntaxError)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        EXPECT_EQ(Parse(parser.parse, verb + " -h -h").result, 4u);
        EXPECT_EQ(Parse(parser.parse, verb + " -x -x").para, Para(parser, 0, 0, 1, 1001, 0, 0));
        // Only the first is rewritten: the second is the letters h, e, l, p.
        EXPECT_EQ(Parse(parser.parse, verb + " -help -help").result, 4u);
    }
}

// -output

TEST(OutputOption, OtherValuesAreBadArguments)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        for (const char *value : {"format=clpcsv", "format=clpxml1", "clpxml", "format=", "format",
                                  "Format=clpxml", "\" format=clpxml\""}) {
            const Parse refused(parser.parse, verb + " -output " + value);
            EXPECT_EQ(refused.result, 9u) << value;
            EXPECT_EQ(refused.para, Para(parser, 0, 0, 0, 0, 0, 0));
            const Parse examined(parser.parse, verb + " -examine -output " + value);
            EXPECT_EQ(examined.result, 0u) << value;
            EXPECT_EQ(examined.para, Para(parser, 0, 0, 1, 1001, 0, 0));
        }
    }
}

TEST(OutputOption, BadValueBesideATargetIsABadArgument)
{
    const Parse parsed = Start("start -output format=clpcsv target");
    EXPECT_EQ(parsed.result, 9u);
    EXPECT_STREQ(parsed.record.target, "target");
    const Parse examined = Start("start -output format=clpcsv target -examine");
    EXPECT_EQ(examined.result, 0u);
    EXPECT_EQ(examined.para, (Words{0, 0, 1, 1001, 0, 0}));
}

TEST(OutputOption, SwallowsAFollowingExamine)
{
    for (const Parser &parser : kParsers) {
        const Parse parsed(parser.parse, std::string(parser.verb) + " -output -examine");
        EXPECT_EQ(parsed.result, 9u) << parser.verb;
    }
}

TEST(OutputOption, WithoutBlankBehindItIsAnUnknownOption)
{
    EXPECT_EQ(Start("start -output").result, 4u);
    EXPECT_EQ(Start("start -output=1").result, 4u);
    // Among its letters is -x, so this is a syntax check that fails.
    const Parse spelt = Start("start -output=format=clpxml");
    EXPECT_EQ(spelt.result, 0u);
    EXPECT_EQ(spelt.para, (Words{0, 0, 1, 1001, 0, 0}));
}

// An empty value is one error more, whose argument is the empty word.
TEST(OutputOption, EmptyValueIsAnErrorOfItsOwn)
{
    for (const Parser &parser : kParsers) {
        SCOPED_TRACE(parser.verb);
        const std::string verb = parser.verb;
        for (const char *rest : {" -output ", " -output \"\""})
            EXPECT_EQ(Parse(parser.parse, verb + rest).result, parser.takesTarget ? 9u : 4u);
        const Parse examined(parser.parse, verb + " -examine -output ");
        EXPECT_EQ(examined.result, 0u);
        EXPECT_EQ(examined.para, Para(parser, 0, 0, 1, 1001, 0, 0));
        EXPECT_EQ(Parse(parser.parse, verb + " target -output ").result, 4u);
    }
}

TEST(OutputOption, LongOptionWithoutValueIsTheTarget)
{
    EXPECT_STREQ(Start("start --o").record.target, "--o");
    EXPECT_EQ(Start("start --o").para, (Words{0, 0, 0, 0, 0, 0}));
}

// The first -output may stand in a target; then the second rewrite turns the option into "-o",
// and "-o " becomes "--o " where it comes first.
TEST(OutputOption, SecondRewriteReachesASecondOccurrence)
{
    const Parse last = Start("start -output format=clpxml /a-output");
    EXPECT_EQ(last.line, "start --o format=clpxml /a-o");
    EXPECT_EQ(last.result, 0u);
    EXPECT_STREQ(last.record.target, "/a-o");
    EXPECT_EQ(last.para, (Words{1, 1, 0, 0, 0, 0}));

    const Parse first = Start("start /a-output -output format=clpxml");
    EXPECT_EQ(first.line, "start /a--o -o format=clpxml");
    EXPECT_EQ(first.result, 4u);

    const Parse twice = Start("start -output format=clpxml -output format=clptxt");
    EXPECT_EQ(twice.line, "start --o format=clpxml -o format=clptxt");
    EXPECT_EQ(twice.result, 4u);
}

TEST(OutputOption, AcceptsTheAbbreviatedLongOption)
{
    for (const Parser &parser : kParsers) {
        const Parse parsed(parser.parse, std::string(parser.verb) + " --o=format=clpxml");
        EXPECT_EQ(parsed.result, 0u) << parser.verb;
        EXPECT_EQ(parsed.para, Para(parser, 1, 1, 0, 0, 0, 0));
    }
    // Followed by a blank it is rewritten once more.
    const Parse rewritten = Start("start --o format=clpxml");
    EXPECT_EQ(rewritten.line, "start ---o format=clpxml");
    EXPECT_EQ(rewritten.result, 4u);
}

// A second value is the one error argument of its line.
TEST(OutputOption, ValueOfASecondOneIsTakenForTheTarget)
{
    const Parse parsed = Start("start -o format=clpxml --o=format=clptxt");
    EXPECT_EQ(parsed.result, 0u);
    EXPECT_STREQ(parsed.record.target, "format=clptxt");
    EXPECT_EQ(parsed.para, (Words{1, 1, 0, 0, 0, 0}));
}

// Rewrites

TEST(Rewrites, DoNotRespectWordBoundaries)
{
    const struct {
        const char *typed;
        const char *target;
    } rows[] = {
        {"start /a-help", "/a-h"},          {"start /a-examine/b", "/a-x/b"},
        {"start /a-version1", "/a-v1"},     {"start /a-output", "/a-o"},
        {"start /-helpful", "/-hful"},      {"start /a-help/b-help", "/a-h/b-help"},
        {"start /a-default", "/a-default"},
    };
    for (const auto &row : rows) {
        const Parse parsed = Start(row.typed);
        EXPECT_EQ(parsed.result, 0u) << row.typed;
        EXPECT_STREQ(parsed.record.target, row.target);
        EXPECT_EQ(parsed.para, (Words{0, 0, 0, 0, 0, 0}));
    }
    EXPECT_STREQ(Cd("cd /a-default").record.target, "/a--default");
    EXPECT_EQ(Start("start /a-o ").line, "start /a--o ");
}

TEST(Rewrites, ReachOnlyTheFirstOccurrence)
{
    const Parse parsed = Start("start /a-help -help");
    EXPECT_EQ(parsed.line, "start /a-h -help");
    EXPECT_EQ(parsed.result, 4u);
}

TEST(Rewrites, HappenInsideLongerOptions)
{
    EXPECT_STREQ(Start("start --help").record.target, "--h");
    EXPECT_STREQ(Start("start --examine").record.target, "--x");
    EXPECT_EQ(Start("start --output format=clpxml").line, "start ---o format=clpxml");
}

TEST(Rewrites, ThatOutgrowTheLineAreASyntaxError)
{
    // Two characters are added: the line comes to 255, then to 256.
    const Parse fits = Cd(LineOf("cd -default -o format=clptxt", 253));
    EXPECT_EQ(fits.result, 0u);
    EXPECT_EQ(fits.para, (Words{1, 0, 0, 0, 0, 0, 0}));
    const Parse tooLong = Cd(LineOf("cd -default -o format=clptxt", 254));
    EXPECT_EQ(tooLong.result, 4u);
}

// Quotes and backslashes

TEST(Quoting, GroupsAndHidesCharactersOfATarget)
{
    EXPECT_STREQ(Start("start \"/a b\"").record.target, "/a b");
    EXPECT_STREQ(Start("start '/a b'").record.target, "/a b");
    EXPECT_STREQ(Start("start /a\\ b").record.target, "/a b");
    EXPECT_STREQ(Start("start '/a'\"b\"").record.target, "/ab");
    EXPECT_STREQ(Start("start \"it's\"").record.target, "it's");
    EXPECT_STREQ(Start("start \"/a b").record.target, "/a b");
    EXPECT_EQ(Start("start \"a b\" c").result, 4u);
}

TEST(Quoting, DoesNotHideAnOption)
{
    EXPECT_EQ(Start("start \"-help\"").para, (Words{0, 0, 0, 0, 1, 0}));
    EXPECT_EQ(Start("start \\-x").para, (Words{0, 0, 1, 1000, 0, 0}));
    // The option is no longer followed by a blank, so it stays a short one.
    EXPECT_EQ(Start("start \"-output\" format=clptxt").result, 4u);
    EXPECT_EQ(Start("start -output \"format=clptxt\"").para, (Words{1, 0, 0, 0, 0, 0}));
}

TEST(Quoting, EmptyWordIsAnOperand)
{
    const Parse parsed = Start("start \"\"");
    EXPECT_EQ(parsed.result, 0u);
    EXPECT_STREQ(parsed.record.target, "");
    EXPECT_EQ(Start("start  a").result, 4u);
    EXPECT_EQ(Start("start a ").result, 4u);
    EXPECT_EQ(Parse(SmclpParseCommandLineForExit, "exit ").result, 4u);
    EXPECT_EQ(Parse(SmclpParseCommandLineForSetPowerState, "set ").result, 0u);
}

TEST(Parsers, TwoHyphensEndTheOptions)
{
    EXPECT_STREQ(Start("start -- -z").record.target, "-z");
    EXPECT_EQ(Start("start --").result, 0u);
}

// cd -default

TEST(CdDefault, NamesTheRoot)
{
    const Parse parsed = Cd("cd -default");
    EXPECT_EQ(parsed.result, 0u);
    EXPECT_STREQ(parsed.record.target, "/");
    EXPECT_EQ(parsed.para, (Words{0, 0, 0, 0, 0, 0, 0}));
}

TEST(CdDefault, DoesNotHonourExamine)
{
    for (const char *line : {"cd -default -examine", "cd -examine -default"}) {
        const Parse parsed = Cd(line);
        EXPECT_EQ(parsed.result, 0u);
        EXPECT_STREQ(parsed.record.target, "/");
        EXPECT_EQ(parsed.para, (Words{0, 0, 0, 0, 0, 0, 0}));
    }
}

TEST(CdDefault, GivesWayToHelpVersionAndOutput)
{
    const struct {
        const char *line;
        u32 result;
        Words words;
    } rows[] = {
        {"cd -default -help", 0, {0, 0, 0, 0, 0, 1, 0}},
        {"cd -default -version", 0, {0, 0, 0, 0, 0, 0, 1}},
        {"cd -version -help -default", 0, {0, 0, 0, 0, 0, 1, 1}},
        {"cd -default -output format=clpxml", 0, {1, 1, 0, 0, 0, 0, 0}},
        {"cd -default -output format=clptxt", 0, {1, 0, 0, 0, 0, 0, 0}},
        {"cd -default -output format=clpcsv", 9, {0, 0, 0, 0, 0, 0, 0}},
        {"cd -default -help -examine", 0, {0, 0, 0, 1, 1000, 1, 0}},
        {"cd -default -version -examine", 0, {0, 0, 0, 1, 1000, 0, 1}},
        {"cd -default -output format=clpxml -examine", 0, {1, 1, 0, 1, 1000, 0, 0}},
        {"cd -default -output format=clpcsv -examine", 0, {0, 0, 0, 1, 1001, 0, 0}},
    };
    for (const auto &row : rows) {
        const Parse parsed = Cd(row.line);
        EXPECT_EQ(parsed.result, row.result) << row.line;
        EXPECT_EQ(parsed.para, row.words) << row.line;
        EXPECT_STREQ(parsed.record.target, "");
    }
}

TEST(CdDefault, WithStrayWordsIsASyntaxError)
{
    for (const char *line : {"cd -default x", "cd x -default", "cd -default x y", "cd -default -z",
                             "cd -default --zap", "cd -default x -help", "cd -default -default",
                             "cd -default x -output format=clpcsv"}) {
        const Parse parsed = Cd(line);
        EXPECT_EQ(parsed.result, 4u) << line;
        EXPECT_STREQ(parsed.record.target, "");
    }
}

// The number goes into the flag, not into the result: deliberate.
TEST(CdDefault, WithStrayWordsAndExamineLeaves1001InTheFlag)
{
    for (const char *line : {"cd -default bad extra -examine", "cd -default bad -examine",
                             "cd -examine -z -default", "cd -default bad -examine -help -version",
                             "cd -default bad -examine -output format=clpxml"}) {
        const Parse parsed = Cd(line);
        EXPECT_EQ(parsed.result, 0u) << line;
        EXPECT_EQ(parsed.para, (Words{0, 0, 0, 1001, 0, 0, 0})) << line;
        EXPECT_STREQ(parsed.record.target, "");
    }
}

TEST(CdDefault, CanBeAbbreviated)
{
    for (const char *line : {"cd --default", "cd --def", "cd --d"}) {
        // A rewritten "--default" is one hyphen too long to be an option.
        const bool isOption = std::string(line) != "cd --default";
        const Parse parsed = Cd(line);
        EXPECT_EQ(parsed.result, 0u) << line;
        EXPECT_STREQ(parsed.record.target, isOption ? "/" : "---default");
    }
    EXPECT_STREQ(Start("start -- -default").record.target, "-default");
    EXPECT_EQ(Start("start -default").result, 4u);
}

// Rules about all verbs, end to end

namespace
{

// A tree on which every verb finds its target: /item1 and /item2 with a method and all verbs.
class VerbTree : public HandTree
{
public:
    VerbTree()
    {
        item = Add(root, "item");
        Count(item, {2});
        Method(item, 0);
        Verbs(item, {1, 2, 3, 5, 8, 10, 11, 12, 13, 14});
        item->instanceNumber = 1;
        session.currentTarget = item;
    }
    // Runs "verb rest" on the current target; delete needs it to be a wildcard.
    u32 RunVerb(const SmclpCommandRow *row, const std::string &rest)
    {
        item->allInstances = row->id == 5;
        return Run(row->verb + rest);
    }
    ManagedElement *item;
};

template <class Body> void ForEveryVerb(Body body)
{
    u32 count = 0;
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != 0; ++row) {
        if (row->parse == nullptr)
            continue;
        SCOPED_TRACE(row->verb);
        body(row);
        ++count;
    }
    EXPECT_GE(count, 10u);
}

}  // namespace

TEST(Verbs, ExamineWithStrayWordsTouchesNothing)
{
    FakeObjMgr om;
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        for (const char *rest : {" -examine a b", " a -examine b", " a b -examine"}) {
            EXPECT_EQ(tree.RunVerb(row, rest), 0u);
            EXPECT_EQ(tree.output, kFailedLine);
            EXPECT_EQ(om.calls, 0u);
            EXPECT_TRUE(tree.methodCalls.empty());
            EXPECT_EQ(tree.session.currentTarget, tree.item);
        }
    });
}

TEST(Verbs, ExamineOfAGoodLineSucceedsWithoutDoingIt)
{
    FakeObjMgr om;
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        EXPECT_EQ(tree.RunVerb(row, " -examine"), 0u);
        EXPECT_EQ(tree.output, kSuccessLine);
        EXPECT_EQ(tree.RunVerb(row, " -version -help -examine"), 0u);
        EXPECT_EQ(tree.output, kSuccessLine);
        EXPECT_EQ(om.calls, 0u);
        EXPECT_TRUE(tree.methodCalls.empty());
    });
}

TEST(Verbs, VersionSaysTheVersionAndBeatsHelp)
{
    FakeObjMgr om;
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        for (const char *rest : {" -version", " -help -version", " -version -help"}) {
            EXPECT_EQ(tree.RunVerb(row, rest), 0u);
            EXPECT_EQ(tree.output, "version 1.0\n");
        }
        EXPECT_EQ(om.calls, 0u);
        EXPECT_TRUE(tree.methodCalls.empty());
    });
}

TEST(Verbs, HelpSaysTheVerbsText)
{
    const std::map<std::string, std::string> texts = {
        {"cd", "The CD command is used to navigate the target address space.\n"},
        {"exit", "The EXIT command terminates the current SM-CLP session.\n"},
        {"version", "The VERSION command is used to display the version of the SM-CLP protocol "
                    "supported.\n"},
        {"start", "The START command starts the target.\n"},
        {"stop", "The STOP command stops the target.\n"},
        {"reset", "The RESET command resets the target.\n"},
        {"help", "The HELP command displays additional details about the usage of a specific "
                 "command or provide more details on a target.\n"},
        {"delete", "The DELETE command is used to remove target(s).\n"},
        {"set", "The RESET command resets the target.\n"},  // reset's text: deliberate
        {"show", "The SHOW command is used to display information about targets.\n"},
    };
    FakeObjMgr om;
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        EXPECT_EQ(tree.RunVerb(row, " -help"), 0u);
        if (texts.contains(row->verb)) {
            EXPECT_EQ(tree.output, texts.at(row->verb));
        }
        EXPECT_TRUE(tree.output.starts_with("The "));
        EXPECT_EQ(om.calls, 0u);
        EXPECT_TRUE(tree.methodCalls.empty());
        EXPECT_EQ(tree.session.currentTarget, tree.item);
    });
}

TEST(Verbs, OutputFormatIsCheckedAndChangesNothing)
{
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        for (const char *format : {"format=clpxml", "format=clptxt"}) {
            EXPECT_EQ(tree.RunVerb(row, std::string(" -help -version -output ") + format), 0u);
            EXPECT_EQ(tree.output, "version 1.0\n");
        }
        EXPECT_EQ(tree.RunVerb(row, " -output format=clpcsv"), 9u);
        EXPECT_EQ(tree.output, "ERROR: Invalid argument specified.\n");
        EXPECT_EQ(tree.RunVerb(row, " -output -examine"), 9u);
        EXPECT_EQ(tree.output, "ERROR: Invalid argument specified.\n");
        EXPECT_EQ(tree.RunVerb(row, " -output format=clpcsv -examine"), 0u);
        EXPECT_EQ(tree.output, kFailedLine);
    });
}

TEST(Verbs, StrayWordsAreASyntaxError)
{
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        EXPECT_EQ(tree.RunVerb(row, " a b"), 4u);
        EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
        EXPECT_EQ(tree.RunVerb(row, " -z"), 4u);
        EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
    });
}

TEST(Verbs, LineOf255CharactersIsASyntaxError)
{
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        std::string line = LineOf(" -version", 254 - strlen(row->verb));
        EXPECT_EQ(tree.RunVerb(row, line), 0u);
        EXPECT_EQ(tree.output, "version 1.0\n");
        line = LineOf(" -version", 255 - strlen(row->verb));
        EXPECT_EQ(tree.RunVerb(row, line), 2u);
        EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
    });
}

TEST(Verbs, UnresolvedTargetIsInvalidOrFailsTheExamination)
{
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        const u32 id = row->id;
        if (id == 12 || id == 13 || id == 14)  // exit, version and set resolve no target
            return;
        const bool returns2 = id == 1 || id == 3 || id == 5;
        EXPECT_EQ(tree.RunVerb(row, " /nowhere1"), returns2 ? 2u : 1u);
        EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
        EXPECT_EQ(tree.RunVerb(row, " /nowhere1 -help -version"), returns2 ? 2u : 1u);
        EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
        EXPECT_EQ(tree.RunVerb(row, " -examine /nowhere1"), 0u);
        EXPECT_EQ(tree.output, kFailedLine);
    });
}

TEST(Verbs, UnknownLongOptionIsAnInvalidTarget)
{
    VerbTree tree;
    EXPECT_EQ(tree.Run("cd --zap"), 2u);
    EXPECT_EQ(tree.output, "ERROR: Invalid target specified.\n");
    EXPECT_EQ(tree.Run("exit --zap"), 4u);
    EXPECT_EQ(tree.output, "ERROR: Invalid syntax specified.\n");
}

// The variable would make the option parser stop at the first operand.
TEST(Verbs, PosixlyCorrectChangesNothing)
{
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        const ScopedEnv posix("POSIXLY_CORRECT", "1");
        const u32 id = row->id;
        const bool noTarget = id == 12 || id == 13;
        EXPECT_EQ(tree.RunVerb(row, id == 5 ? " /item* -examine" : " /item2 -examine"), 0u);
        EXPECT_EQ(tree.output, noTarget ? kFailedLine : kSuccessLine);
    });
}

TEST(Verbs, NoParametersAreRefusedSilently)
{
    VerbTree tree;
    ForEveryVerb([&](const SmclpCommandRow *row) {
        SmclpCommandLine record = {};
        OutputCapture capture;
        const u32 result = row->execute(&tree.session, tree.item, &record, nullptr);
        EXPECT_EQ(capture.Take(), "");
        const u32 id = row->id;
        EXPECT_EQ(result, id == 1 || id == 5 || id == 12 ? 2u : 1u);
    });
    EXPECT_TRUE(tree.methodCalls.empty());
}

TEST(Answers, AreLiteral)
{
    OutputCapture valid;
    AnswerSyntax(true);
    EXPECT_EQ(valid.Take(), "SUCCESS : The command syntax is valid.\n");
    OutputCapture invalid;
    AnswerSyntax(false);  // two blanks after FAILED: deliberate
    EXPECT_EQ(invalid.Take(),
              "FAILED  : Command syntax may be invalid or target may be invalid.\n");
    OutputCapture versioned;
    AnswerVersion();
    EXPECT_EQ(versioned.Take(), "version 1.0\n");
}

TEST(VerbLine, TheTableOfItsOptionsIsFreed)
{
    for (const char *text : {"start", "start -h", "start -zap", "start -output format=none"}) {
        std::string line = text;
        line.resize(200);
        SmclpCommandLine record = {};
        ParseVerbLine({}, BuildTable, FreeTable, line.data(), &record);
        free(pCmdPara);
        pCmdPara = nullptr;
        EXPECT_EQ(sTables, 0) << text;
    }
}
