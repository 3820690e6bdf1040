// SPDX-License-Identifier: Apache-2.0
// tokenise_test.cpp -- normalising a line, splitting it, joining the arguments.
#include "smclp/tokenise.h"

#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>
#include <vector>

namespace
{

// A line taken apart. The line's buffer is exactly as large as the text, so that a write behind
// it is a fault.
struct Parsed {
    explicit Parsed(const std::string &text) : line(text)
    {
        memset(&record, '#', sizeof record);
        result = SmclpParseCommandLine(line.data(), &record);
        line.resize(strlen(line.c_str()));
    }
    std::string line;
    SmclpCommandLine record;
    i32 result;
};

using Texts = std::vector<std::string>;

TEST(ParseCommandLine, TakesTheVerbAndKeepsTheLineAsTyped)
{
    const Parsed parsed("Show -Display  Targets /System1");
    EXPECT_EQ(parsed.result, 0);
    EXPECT_STREQ(parsed.record.verb, "show");
    EXPECT_STREQ(parsed.record.line, "Show -Display  Targets /System1");
    EXPECT_EQ(parsed.line, "show -display targets /system1");
}

TEST(ParseCommandLine, ClearsTheWholeRecord)
{
    const Parsed parsed("cd");
    EXPECT_EQ(std::string(parsed.record.reserved, 48), std::string(48, '\0'));
    EXPECT_EQ(std::string(parsed.record.target, 64), std::string(64, '\0'));
    EXPECT_EQ(std::string(parsed.record.line + 2, 510), std::string(510, '\0'));
    EXPECT_EQ(std::string(parsed.record.verb + 2, 14), std::string(14, '\0'));
}

TEST(ParseCommandLine, RecordIs640BytesWithTheTargetLast)
{
    EXPECT_EQ(sizeof(SmclpCommandLine), 640u);
    EXPECT_EQ(offsetof(SmclpCommandLine, verb), 512u);
    EXPECT_EQ(offsetof(SmclpCommandLine, reserved), 528u);
    EXPECT_EQ(offsetof(SmclpCommandLine, target), 576u);
}

TEST(ParseCommandLine, NullOrEmptyIsABadParameter)
{
    TraceCapture traces;
    SmclpCommandLine record;
    memset(&record, '#', sizeof record);
    char empty[] = "";
    char line[] = "CD  x";
    EXPECT_EQ(SmclpParseCommandLine(nullptr, &record), 2);
    EXPECT_EQ(SmclpParseCommandLine(empty, &record), 2);
    EXPECT_EQ(SmclpParseCommandLine(line, nullptr), 2);
    EXPECT_EQ(traces.Lines(),
              (Texts{"ERROR: smclp [#]: Invalid parameter", "ERROR: smclp [#]: Invalid parameter",
                     "ERROR: smclp [#]: Invalid parameter"}));
    EXPECT_EQ(record.verb[0], '#');
    EXPECT_STREQ(line, "CD  x");
}

TEST(ParseCommandLine, LineOf511CharactersIsTheLongest)
{
    TraceCapture traces;
    const std::string longest = "cd " + std::string(508, 'X');
    const Parsed parsed(longest);
    EXPECT_EQ(parsed.result, 0);
    EXPECT_STREQ(parsed.record.verb, "cd");
    EXPECT_EQ(std::string(parsed.record.line), longest);
    EXPECT_EQ(traces.Lines(), Texts{});

    const Parsed refused(longest + "X");
    EXPECT_EQ(refused.result, 2);
    EXPECT_EQ(traces.Lines(), Texts{"ERROR: smclp [#]: Command line input too long"});
    EXPECT_EQ(refused.record.verb[0], '#');
    EXPECT_EQ(refused.line, longest + "X");
}

TEST(ParseCommandLine, RunsOfBlanksShrinkToOne)
{
    EXPECT_EQ(Parsed("cd    /system1").line, "cd /system1");
    EXPECT_EQ(Parsed("cd  a   b    c").line, "cd a b c");
    EXPECT_EQ(Parsed("cd  ").line, "cd ");
    EXPECT_EQ(Parsed("cd a").line, "cd a");
    EXPECT_STREQ(Parsed("cd    /system1").record.line, "cd    /system1");
}

TEST(ParseCommandLine, BlanksInQuotesShrinkToo)
{
    EXPECT_EQ(Parsed("cd \"a  b\"").line, "cd \"a b\"");
}

TEST(ParseCommandLine, TabsStay)
{
    EXPECT_EQ(Parsed("cd\t\tx").line, "cd\t\tx");
    EXPECT_EQ(Parsed("cd \t  \tx").line, "cd \t \tx");
}

TEST(ParseCommandLine, OnlyLettersOfAsciiAreLowered)
{
    EXPECT_EQ(Parsed("CD AZ@[`{09\xC4\xE4").line, "cd az@[`{09\xC4\xE4");
}

TEST(ParseCommandLine, LineOf255CharactersIsCollapsedAndOneOf256IsNot)
{
    TraceCapture traces;
    const std::string rest(251, 'x');
    const Parsed collapsed("cd  " + rest);
    EXPECT_EQ(collapsed.result, 0);
    EXPECT_EQ(collapsed.line, "cd " + rest);
    EXPECT_EQ(traces.Lines(), Texts{});

    const Parsed kept("CD  " + rest + "y");
    EXPECT_EQ(kept.result, 0);
    EXPECT_EQ(kept.line, "cd  " + rest + "y");
    EXPECT_STREQ(kept.record.verb, "cd");
    EXPECT_EQ(traces.Lines(), Texts{"ERROR: smclp [#]: Command line input too long"});
}

TEST(ParseCommandLine, LongLineWithoutRunsOfBlanksIsNotTraced)
{
    TraceCapture traces;
    EXPECT_EQ(Parsed("cd " + std::string(400, 'x')).result, 0);
    EXPECT_EQ(traces.Lines(), Texts{});
}

TEST(ParseCommandLine, VerbOf15LettersIsTheLongest)
{
    const Parsed longest("abcdefghijklmno x");
    EXPECT_EQ(longest.result, 0);
    EXPECT_STREQ(longest.record.verb, "abcdefghijklmno");

    const Parsed refused("abcdefghijklmnop x");
    EXPECT_EQ(refused.result, 8);
    EXPECT_STREQ(refused.record.verb, "");
    EXPECT_STREQ(refused.record.line, "abcdefghijklmnop x");
}

TEST(ParseCommandLine, VerbEndsAtTheFirstBlankOrTheEnd)
{
    EXPECT_STREQ(Parsed("cd").record.verb, "cd");
    EXPECT_STREQ(Parsed("cd x y").record.verb, "cd");
    EXPECT_STREQ(Parsed("cd\tx").record.verb, "cd\tx");
}

TEST(ParseCommandLine, LeadingBlankYieldsAnEmptyVerb)
{
    for (const char *text : {" cd", "   cd", " "}) {
        const Parsed parsed(text);
        EXPECT_EQ(parsed.result, 0) << text;
        EXPECT_STREQ(parsed.record.verb, "") << text;
    }
}

TEST(ParseCommandLine, CommaOrHyphenMakesABadVerb)
{
    for (const char *text : {"set-x", "a,b", "-x", ",", "-", "cd- x", "cd,"}) {
        const Parsed parsed(text);
        EXPECT_EQ(parsed.result, 8) << text;
        EXPECT_STREQ(parsed.record.verb, "") << text;
    }
    EXPECT_EQ(Parsed("cd a,b-c").result, 0);
}

TEST(ParseCommandLine, EqualsSignIsBadAtTheStartOnly)
{
    const Parsed first("=x");
    EXPECT_EQ(first.result, 8);
    EXPECT_STREQ(first.record.verb, "");

    const Parsed inside("x=y");
    EXPECT_EQ(inside.result, 0);
    EXPECT_STREQ(inside.record.verb, "x=y");
}

TEST(ParseCommandLine, QuotesKeepEverythingAndStayInTheVerb)
{
    EXPECT_STREQ(Parsed("\"a b,-=\" c").record.verb, "\"a b,-=\"");
    EXPECT_STREQ(Parsed("'a b' c").record.verb, "'a b'");
    EXPECT_STREQ(Parsed("x\"a b\"y c").record.verb, "x\"a b\"y");
}

TEST(ParseCommandLine, EitherQuoteClosesEither)
{
    EXPECT_STREQ(Parsed("\"a b' c").record.verb, "\"a b'");
    EXPECT_STREQ(Parsed("'a b\" c").record.verb, "'a b\"");
}

TEST(ParseCommandLine, OpenQuoteRunsToTheEnd)
{
    EXPECT_STREQ(Parsed("\"a b c").record.verb, "\"a b c");
    EXPECT_EQ(Parsed("\"a b c d e f g h i").result, 8);
}

// The words that BuildArgv makes of a line, in a buffer with guards around it.
struct Split {
    explicit Split(const std::string &text, u32 size = kBuildArgvSize)
    {
        memset(area, '#', sizeof area);
        count = BuildArgv(text.c_str(), area + kGuard, size);
        for (u32 i = 0; i < sizeof area; ++i) {
            const bool inside = i >= kGuard && i < kGuard + size;
            if (!inside && area[i] != '#')
                ADD_FAILURE() << "written outside the buffer, at " << i - kGuard;
            allZero = allZero && (!inside || area[i] == '\0');
        }
        for (u32 i = 0; i < count; ++i)
            words.push_back(Word(i));
    }
    const char *Word(u32 number) const
    {
        const char *word;
        memcpy(&word, area + kGuard + number * sizeof word, sizeof word);
        return word;
    }
    static constexpr u32 kGuard = 64;
    alignas(char *) char area[kGuard + 512 + kGuard];
    u32 count = 0;
    bool allZero = true;
    Texts words;
};

TEST(BuildArgv, SplitsAtBlanksAndTabs)
{
    EXPECT_EQ(Split("show -x /system1").words, (Texts{"show", "-x", "/system1"}));
    EXPECT_EQ(Split("a\tb").words, (Texts{"a", "b"}));
}

TEST(BuildArgv, EmptyLineIsOneEmptyWord)
{
    EXPECT_EQ(Split("").words, Texts{""});
    EXPECT_EQ(Split("\n").words, Texts{""});
}

TEST(BuildArgv, BlanksInARowYieldEmptyWords)
{
    EXPECT_EQ(Split("a  b").words, (Texts{"a", "", "b"}));
    EXPECT_EQ(Split("a \t b").words, (Texts{"a", "", "", "b"}));
    EXPECT_EQ(Split(" a").words, (Texts{"", "a"}));
    EXPECT_EQ(Split("a ").words, (Texts{"a", ""}));
}

TEST(BuildArgv, LineFeedEndsTheLine)
{
    EXPECT_EQ(Split("a b\nc d").words, (Texts{"a", "b"}));
    EXPECT_EQ(Split("\"a\nb\"").words, Texts{"a"});
    EXPECT_EQ(Split("a\\\nb").words, Texts{"a"});
}

TEST(BuildArgv, QuotesGroupAndAreNotStored)
{
    EXPECT_EQ(Split("\"a b\" c").words, (Texts{"a b", "c"}));
    EXPECT_EQ(Split("'a b' c").words, (Texts{"a b", "c"}));
    EXPECT_EQ(Split("x\"a\tb\"y").words, Texts{"xa\tby"});
    EXPECT_EQ(Split("\"\" ''").words, (Texts{"", ""}));
    EXPECT_EQ(Split("\"a\"'b'\"c\"").words, Texts{"abc"});
}

TEST(BuildArgv, QuoteOfTheOtherKindIsAnOrdinaryCharacterInside)
{
    EXPECT_EQ(Split("'e\"f'").words, Texts{"e\"f"});
    EXPECT_EQ(Split("\"e'f\"").words, Texts{"e'f"});
}

TEST(BuildArgv, OpenQuoteRunsToTheEnd)
{
    EXPECT_EQ(Split("a \"b c").words, (Texts{"a", "b c"}));
    EXPECT_EQ(Split("a 'b c").words, (Texts{"a", "b c"}));
    EXPECT_EQ(Split("a 'b\" c").words, (Texts{"a", "b\" c"}));
}

TEST(BuildArgv, BackslashTakesTheNextCharacterAsItIs)
{
    EXPECT_EQ(Split("a\\ b").words, Texts{"a b"});
    EXPECT_EQ(Split("a\\\tb").words, Texts{"a\tb"});
    EXPECT_EQ(Split("a\\b").words, Texts{"ab"});
    EXPECT_EQ(Split("\\\"a b\\\"").words, (Texts{"\"a", "b\""}));
    EXPECT_EQ(Split("\\'a b").words, (Texts{"'a", "b"}));
    EXPECT_EQ(Split("a\\\\ b").words, (Texts{"a\\", "b"}));
}

TEST(BuildArgv, BackslashWorksInQuotesOfBothKinds)
{
    EXPECT_EQ(Split("\"a\\\"b c\"").words, Texts{"a\"b c"});
    EXPECT_EQ(Split("'a\\'b c'").words, Texts{"a'b c"});
    EXPECT_EQ(Split("\"a\\ b\"").words, Texts{"a b"});
    EXPECT_EQ(Split("'a\\\\b'").words, Texts{"a\\b"});
}

TEST(BuildArgv, BackslashAtTheEndIsDropped)
{
    EXPECT_EQ(Split("a b\\").words, (Texts{"a", "b"}));
    EXPECT_EQ(Split("\\").words, Texts{""});
}

TEST(BuildArgv, BackslashesAndQuotesTogether)
{
    EXPECT_EQ(Split("a\\ b \"c d\" 'e\"f'").words, (Texts{"a b", "c d", "e\"f"}));
}

TEST(BuildArgv, WordsStandOneAfterAnotherBehindThePointers)
{
    const Split split("ab c def");
    const char *text = split.area + Split::kGuard + 16 * sizeof(char *);
    EXPECT_EQ(split.Word(0), text);
    EXPECT_EQ(split.Word(1), text + 3);
    EXPECT_EQ(split.Word(2), text + 5);
    EXPECT_EQ(split.Word(3), nullptr);
    EXPECT_EQ(std::string(text, 9), std::string("ab\0c\0def\0", 9));
}

TEST(BuildArgv, RoomIsThatOfTheControllerOnEveryMachine)
{
    EXPECT_EQ(kBuildArgvSize, 16 * sizeof(char *) + 192);
    EXPECT_EQ(kBuildArgvTextSize, 192u);
    EXPECT_EQ(kBuildArgvWords, 16u);
}

TEST(BuildArgv, SixteenWordsFitAndSeventeenDoNot)
{
    const Split sixteen("a b c d e f g h i j k l m n o p");
    EXPECT_EQ(sixteen.words, (Texts{"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m",
                                    "n", "o", "p"}));

    const Split seventeen("a b c d e f g h i j k l m n o p q");
    EXPECT_EQ(seventeen.count, 0u);
    EXPECT_TRUE(seventeen.allZero);

    const Split emptyOne("a b c d e f g h i j k l m n o p ");
    EXPECT_EQ(emptyOne.count, 0u);
    EXPECT_TRUE(emptyOne.allZero);
}

// 192 bytes: 191 characters and their NUL.
TEST(BuildArgv, WordOf191CharactersFitsAndOneOf192DoesNot)
{
    const std::string longest(191, 'x');
    EXPECT_EQ(Split(longest).words, Texts{longest});

    const Split tooLong(longest + "x");
    EXPECT_EQ(tooLong.count, 0u);
    EXPECT_TRUE(tooLong.allZero);

    const Split muchTooLong(std::string(5000, 'x'));
    EXPECT_EQ(muchTooLong.count, 0u);
    EXPECT_TRUE(muchTooLong.allZero);
}

TEST(BuildArgv, EveryWordTakesItsNul)
{
    const std::string first(95, 'a');
    const std::string second(95, 'b');
    EXPECT_EQ(Split(first + " " + second).words, (Texts{first, second}));
    EXPECT_EQ(Split(first + " " + second + "b").count, 0u);
    EXPECT_EQ(Split(first + " " + second + " ").count, 0u);
}

TEST(BuildArgv, QuotesAndBackslashesTakeNoRoom)
{
    const std::string longest(191, 'x');
    EXPECT_EQ(Split("\"" + longest.substr(0, 100) + "\"" + longest.substr(100)).words,
              Texts{longest});
    EXPECT_EQ(Split("\\" + longest).words, Texts{longest});
}

// The check stands before each character: also one that would not be stored finds no room.
TEST(BuildArgv, QuoteBehindAFullBufferDoesNotFit)
{
    EXPECT_EQ(Split("\"" + std::string(191, 'x') + "\"").words, Texts{std::string(191, 'x')});
    const Split full("\"" + std::string(192, 'x') + "\"");
    EXPECT_EQ(full.count, 0u);
    EXPECT_TRUE(full.allZero);
}

TEST(BuildArgv, SmallerBuffersHoldLess)
{
    constexpr u32 kPointers = 16 * sizeof(char *);
    EXPECT_EQ(Split("abc", kPointers + 4).words, Texts{"abc"});
    EXPECT_EQ(Split("abcd", kPointers + 4).count, 0u);
    EXPECT_EQ(Split("", kPointers + 1).words, Texts{""});
    EXPECT_EQ(Split("a", kPointers + 1).count, 0u);
}

TEST(BuildArgv, BufferWithoutRoomBehindThePointersHoldsNothing)
{
    constexpr u32 kPointers = 16 * sizeof(char *);
    for (u32 size : {0u, 1u, 7u, 8u, kPointers - 1, kPointers}) {
        for (const char *text : {"", "a", "a b c"}) {
            const Split split(text, size);
            EXPECT_EQ(split.count, 0u) << size;
            EXPECT_TRUE(split.allZero) << size;
        }
    }
}

TEST(BuildArgv, NullLineYieldsNoWordsAndAClearedBuffer)
{
    alignas(char *) char buffer[kBuildArgvSize];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(BuildArgv(nullptr, buffer, sizeof buffer), 0u);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(sizeof buffer, '\0'));
    EXPECT_EQ(BuildArgv("a", nullptr, kBuildArgvSize), 0u);
}

TEST(BuildArgv, LineItselfIsNotChanged)
{
    const std::string text = "a\\ b \"c d\"";
    std::string line = text;
    Split split(line);
    EXPECT_EQ(line, text);
}

// What SmclpBuildCommandLine leaves in an area of `size` bytes, cut at the first NUL, with guards
// around the area.
std::string Joined(const std::vector<const char *> &words, u32 size)
{
    constexpr u32 kGuard = 32;
    std::vector<char> area(kGuard + size + kGuard, '#');
    EXPECT_EQ(SmclpBuildCommandLine(static_cast<u32>(words.size()), words.data(),
                                    area.data() + kGuard, size),
              0u);
    for (u32 i = 0; i < kGuard; ++i) {
        EXPECT_EQ(area[i], '#') << "before the area";
        EXPECT_EQ(area[kGuard + size + i], '#') << "behind the area";
    }
    const char *text = area.data() + kGuard;
    return std::string(text, strnlen(text, size));
}

TEST(BuildCommandLine, NoWordsYieldAClearedArea)
{
    char out[16];
    memset(out, '#', sizeof out);
    EXPECT_EQ(SmclpBuildCommandLine(0, nullptr, out, 8), 0u);
    EXPECT_EQ(std::string(out, 16), std::string(8, '\0') + "########");
}

TEST(BuildCommandLine, WithoutAnAreaNothingHappens)
{
    const char *const words[] = {"show"};
    EXPECT_EQ(SmclpBuildCommandLine(1, words, nullptr, 255), 0u);
}

TEST(BuildCommandLine, OneOrTwoWordsComeThroughWhole)
{
    EXPECT_EQ(Joined({"show"}, 255), "show");
    EXPECT_EQ(Joined({"show", "/system1"}, 255), "show /system1");
    EXPECT_EQ(Joined({"show -d targets /system1"}, 255), "show -d targets /system1");
}

// Deliberate: from the third on, words land behind the end of the text.
TEST(BuildCommandLine, ThirdAndLaterWordsAreLost)
{
    EXPECT_EQ(Joined({"show", "-d", "targets"}, 255), "show -d ");
    EXPECT_EQ(Joined({"show", "-d", "targets", "/system1"}, 255), "show -d  ");
    EXPECT_EQ(Joined({"show", "-d", "targets", "/system1", "e"}, 255), "show -d   ");
    EXPECT_EQ(Joined({"show", "-d", "targets", "/system1", "e", "f"}, 255), "show -d    ");
}

TEST(BuildCommandLine, ThirdWordStandsBehindTheEndOfTheText)
{
    char out[255];
    const char *const words[] = {"show", "-d", "targets"};
    EXPECT_EQ(SmclpBuildCommandLine(3, words, out, sizeof out), 0u);
    EXPECT_EQ(std::string(out, 21), std::string("show -d \0\0\0\0\0targets\0", 21));
}

TEST(BuildCommandLine, EmptyWordsAreJoinedLikeOthers)
{
    EXPECT_EQ(Joined({""}, 255), "");
    EXPECT_EQ(Joined({"", "show"}, 255), " show");
    EXPECT_EQ(Joined({"show", ""}, 255), "show ");
    EXPECT_EQ(Joined({"", "", "x"}, 255), "  ");
}

TEST(BuildCommandLine, WordThatFillsTheAreaExactlyIsTaken)
{
    EXPECT_EQ(Joined({"12345678"}, 8), "12345678");
    EXPECT_EQ(Joined({"1234567"}, 8), "1234567");
    EXPECT_EQ(Joined({"ab", "34567"}, 8), "ab 34567");
    EXPECT_EQ(Joined({"ab", "3456"}, 8), "ab 3456");
}

TEST(BuildCommandLine, WordWhoseLastCharacterLiesBeyondTheAreaIsDropped)
{
    EXPECT_EQ(Joined({"123456789"}, 8), "");
    EXPECT_EQ(Joined({"ab", "345678"}, 8), "ab ");
    EXPECT_EQ(Joined({"ab", "345678", "x"}, 8), "ab ");
    EXPECT_EQ(Joined({std::string(5000, 'x').c_str(), "a"}, 255), "");
}

TEST(BuildCommandLine, BlankThatFillsTheAreaAndOneThatDoesNotFit)
{
    EXPECT_EQ(Joined({"1234567", "x"}, 8), "1234567 ");
    EXPECT_EQ(Joined({"12345678", "x"}, 8), "12345678");
    EXPECT_EQ(Joined({"12345678", "", ""}, 8), "12345678");
}

TEST(BuildCommandLine, ShellsAreaOf255Bytes)
{
    const std::string word254(254, 'x');
    const std::string word255(255, 'x');
    const std::string word256(256, 'x');
    EXPECT_EQ(Joined({word254.c_str()}, 255), word254);
    EXPECT_EQ(Joined({word255.c_str()}, 255), word255);
    EXPECT_EQ(Joined({word256.c_str()}, 255), "");
    EXPECT_EQ(Joined({"cd", word255.c_str() + 3}, 255), "cd " + word255.substr(3));
    EXPECT_EQ(Joined({"cd", word255.c_str() + 2}, 255), "cd ");
}

TEST(BuildCommandLine, ManyWordsStayInsideTheArea)
{
    const std::vector<const char *> words(300, "word");
    // The seventeenth word would begin at 260.
    EXPECT_EQ(Joined(words, 255), "word word " + std::string(14, ' '));
    EXPECT_EQ(Joined(words, 1), "");
    EXPECT_EQ(Joined(words, 4), "word");
    EXPECT_EQ(Joined(words, 5), "word ");
}

TEST(BuildCommandLine, AreaOfNoBytesStaysUntouched)
{
    EXPECT_EQ(Joined({"show", "x", ""}, 0), "");
    EXPECT_EQ(Joined({""}, 0), "");
}

}  // namespace
