// SPDX-License-Identifier: Apache-2.0
// line_editor_test.cpp -- keys in, line and echo out; the history.
#include "smclp/line_editor.h"

#include "support/child_process.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>
#include <vector>

namespace
{

constexpr char kUp[] = "\x1b[A";
constexpr char kErase[] = "\b \b";

std::string Times(int count, const std::string &text)
{
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

// A line of its own, on an empty history.
class Editor : public testing::Test
{
protected:
    Editor() { ForgetHistory(); }
    ~Editor() override { ForgetHistory(); }

    static void ForgetHistory()
    {
        memset(histBuff, 0, sizeof histBuff);
        histCount = 1;
        histFull = 0;
    }
    void StartLine(bool mask = false)
    {
        memset(buffer_, 0, sizeof buffer_);
        line_ = {buffer_, 0, -1, 0, mask};
    }
    // Types keys; returns the echo. None of them may end the line.
    std::string Type(const std::string &keys)
    {
        OutputCapture capture;
        for (char c : keys)
            EXPECT_FALSE(ShellTakeKey(&line_, static_cast<unsigned char>(c)));
        EXPECT_EQ(line_.length, strlen(buffer_));
        return capture.Take();
    }
    // Reads one line through the whole reader; returns echo, then the line.
    static std::string Read(const std::string &keys, u32 mask = 0)
    {
        char buffer[256];
        memset(buffer, '#', sizeof buffer);
        InputText input(keys);
        OutputCapture capture;
        const u32 length = ShellGetCommandLine(buffer, 255, mask);
        EXPECT_EQ(length, strlen(buffer));
        return capture.Take() + "|" + buffer;
    }
    void PushLines(int count)
    {
        for (int i = 1; i <= count; ++i)
            histCount = SmclpHistBuffPush(("line" + std::to_string(i)).c_str(), histCount);
    }
    // What each of `count` up arrows at an empty line recalls, joined by blanks.
    std::string Recalled(int count)
    {
        StartLine();
        std::string lines;
        for (int i = 0; i < count; ++i) {
            Type(kUp);
            lines += (i > 0 ? " " : "") + std::string(buffer_);
        }
        return lines;
    }
    static std::string Slot(int number) { return histBuff + number * 256; }

    char buffer_[256];
    ShellLine line_ = {};
};

TEST(KeyTests, UpArrow)
{
    EXPECT_EQ(ShellIsUpArrow(91, 65), 1u);
    EXPECT_EQ(ShellIsUpArrow(224, 72), 1u);
    EXPECT_EQ(ShellIsUpArrow(91, 72), 0u);
    EXPECT_EQ(ShellIsUpArrow(224, 65), 0u);
    EXPECT_EQ(ShellIsUpArrow(-1, 65), 0u);
    EXPECT_EQ(ShellIsUpArrow(27, 65), 0u);
    EXPECT_EQ(ShellIsUpArrow(91, 66), 0u);
}

TEST(KeyTests, DownArrow)
{
    EXPECT_EQ(ShellIsDownArrow(91, 66), 1u);
    EXPECT_EQ(ShellIsDownArrow(224, 80), 1u);
    EXPECT_EQ(ShellIsDownArrow(91, 80), 0u);
    EXPECT_EQ(ShellIsDownArrow(224, 66), 0u);
    EXPECT_EQ(ShellIsDownArrow(91, 65), 0u);
}

TEST(KeyTests, LeftArrow)
{
    EXPECT_EQ(ShellIsLeftArrow(91, 68), 1u);
    EXPECT_EQ(ShellIsLeftArrow(224, 75), 1u);
    EXPECT_EQ(ShellIsLeftArrow(91, 75), 0u);
    EXPECT_EQ(ShellIsLeftArrow(224, 68), 0u);
    EXPECT_EQ(ShellIsLeftArrow(91, 67), 0u);
}

TEST(KeyTests, RightArrow)
{
    EXPECT_EQ(ShellIsRightArrow(91, 67), 1u);
    EXPECT_EQ(ShellIsRightArrow(224, 77), 1u);
    EXPECT_EQ(ShellIsRightArrow(91, 77), 0u);
    EXPECT_EQ(ShellIsRightArrow(224, 67), 0u);
    EXPECT_EQ(ShellIsRightArrow(91, 68), 0u);
}

TEST(KeyTests, BackspaceAndCarriageReturn)
{
    for (i32 key = -1; key < 256; ++key) {
        EXPECT_EQ(ShellIsBackspace(key), key == 127 || key == 8 ? 1u : 0u) << key;
        EXPECT_EQ(ShellIsCarriageReturn(key), key == 13 || key == 10 ? 1u : 0u) << key;
    }
}

TEST(KeyTests, ValidCharactersEndAtSmallZ)
{
    for (i32 key : {8, 13, 32, 33, 65, 90, 97, 121, 122})
        EXPECT_EQ(ShellValidCharacter(key), 1u) << key;
    for (i32 key : {-1, 0, 1, 7, 9, 10, 12, 14, 27, 31, 123, 124, 125, 126, 127, 128, 224, 255})
        EXPECT_EQ(ShellValidCharacter(key), 0u) << key;
}

TEST_F(Editor, CharactersAreStoredAndEchoed)
{
    StartLine();
    EXPECT_EQ(Type("Show /system1"), "Show /system1");
    EXPECT_STREQ(buffer_, "Show /system1");
}

TEST_F(Editor, CharactersThatAreNotValidAreNeitherStoredNorEchoed)
{
    StartLine();
    EXPECT_EQ(Type("a{|}~b\x01\x09\x1f\x80\xff"
                   "c"),
              "abc");
    EXPECT_STREQ(buffer_, "abc");
}

TEST_F(Editor, BothCodesOfBackspaceRemoveTheLastCharacter)
{
    StartLine();
    Type("abc");
    EXPECT_EQ(Type("\x7f"), "\b \b");
    EXPECT_STREQ(buffer_, "ab");
    EXPECT_EQ(Type("\b"), "\b \b");
    EXPECT_STREQ(buffer_, "a");
    EXPECT_EQ(Type("x"), "x");
    EXPECT_STREQ(buffer_, "ax");
}

TEST_F(Editor, BackspaceAtAnEmptyLineDoesNothing)
{
    StartLine();
    EXPECT_EQ(Type("\x7f\b"), "");
    Type("a");
    Type("\x7f");
    EXPECT_EQ(Type("\x7f"), "");
    EXPECT_STREQ(buffer_, "");
}

TEST_F(Editor, LineHolds255Characters)
{
    StartLine();
    const std::string text = Times(255, "x");
    EXPECT_EQ(Type(Times(254, "x")), Times(254, "x"));
    EXPECT_EQ(Type("x"), "x");
    EXPECT_EQ(Type("y"), "");
    EXPECT_EQ(Type("zz"), "");
    EXPECT_EQ(std::string(buffer_), text);
    EXPECT_EQ(Type("\b"), kErase);
    EXPECT_EQ(Type("y"), "y");
    EXPECT_EQ(std::string(buffer_), Times(254, "x") + "y");
}

TEST_F(Editor, MaskEchoesStars)
{
    StartLine(true);
    EXPECT_EQ(Type("ab|c"), "***");
    EXPECT_STREQ(buffer_, "abc");
    EXPECT_EQ(Type("\b"), kErase);
    EXPECT_STREQ(buffer_, "ab");
}

TEST_F(Editor, CarriageReturnAndLineFeedEndTheLine)
{
    for (i32 key : {13, 10}) {
        StartLine();
        Type("ab");
        OutputCapture capture;
        EXPECT_TRUE(ShellTakeKey(&line_, key));
        EXPECT_EQ(capture.Take(), "");
        EXPECT_STREQ(buffer_, "ab");
    }
}

TEST_F(Editor, KeyZeroEndsTheLine)
{
    StartLine();
    Type("ab");
    EXPECT_TRUE(ShellTakeKey(&line_, 0));
    EXPECT_STREQ(buffer_, "ab");
}

TEST_F(Editor, KeyZeroAfterEscapeOrScanCodeIsPartOfTheSequence)
{
    for (i32 first : {27, 224}) {
        StartLine();
        EXPECT_FALSE(ShellTakeKey(&line_, first));
        EXPECT_FALSE(ShellTakeKey(&line_, 0)) << first;
        EXPECT_TRUE(ShellTakeKey(&line_, 0)) << first;
    }
}

TEST_F(Editor, KeyAfterEscapeIsNotStored)
{
    StartLine();
    EXPECT_EQ(Type("\x1bxy"), "y");
    EXPECT_STREQ(buffer_, "y");
    StartLine();
    EXPECT_EQ(Type("\xe0xy"), "y");
    EXPECT_STREQ(buffer_, "y");
}

TEST_F(Editor, EndKeysWorkAfterEscape)
{
    for (i32 first : {27, 224}) {
        StartLine();
        Type("ab");
        EXPECT_FALSE(ShellTakeKey(&line_, first));
        EXPECT_EQ(Type("\b"), kErase);
        EXPECT_FALSE(ShellTakeKey(&line_, first));
        EXPECT_TRUE(ShellTakeKey(&line_, 13));
        EXPECT_STREQ(buffer_, "a");
    }
}

TEST_F(Editor, DownLeftAndRightDoNothing)
{
    PushLines(3);
    StartLine();
    Type("ab");
    for (const char *keys : {"\x1b[B", "\x1b[C", "\x1b[D", "\xe0P", "\xe0M", "\xe0K"}) {
        EXPECT_EQ(Type(keys), "") << keys;
        EXPECT_STREQ(buffer_, "ab");
    }
    EXPECT_EQ(Type("c"), "c");
    EXPECT_STREQ(buffer_, "abc");
}

// After one of them the previous key is forgotten.
TEST_F(Editor, KeyAfterAnIgnoredArrowBeginsAnew)
{
    StartLine();
    Type("\x1b[D");
    EXPECT_EQ(line_.previousKey, -1);
    EXPECT_EQ(Type("[x"), "[x");
    EXPECT_STREQ(buffer_, "[x");
}

TEST_F(Editor, DeleteKeyIsNotUsedByTheReader)
{
    StartLine();
    Type("ab");
    EXPECT_EQ(Type("\x1b[3~"), "3");
    EXPECT_STREQ(buffer_, "ab3");
    EXPECT_EQ(Type("\xe0S"), "");
    EXPECT_STREQ(buffer_, "ab3");
}

TEST_F(Editor, UpArrowWithAnEmptyHistoryDoesNothing)
{
    StartLine();
    EXPECT_EQ(Type("ab"), "ab");
    EXPECT_EQ(Type(kUp), "");
    EXPECT_EQ(Type("\xe0H"), "");
    EXPECT_STREQ(buffer_, "ab");
    EXPECT_EQ(Type("c"), "c");
    EXPECT_STREQ(buffer_, "abc");
}

TEST_F(Editor, UpArrowReplacesTheLine)
{
    PushLines(1);
    StartLine();
    Type("ab");
    EXPECT_EQ(Type(kUp), "\b \b\b \bline1");
    EXPECT_STREQ(buffer_, "line1");
    EXPECT_EQ(Type("\xe0H"), Times(5, kErase) + "line1");
    EXPECT_STREQ(buffer_, "line1");
}

TEST_F(Editor, BothFormsOfTheUpArrowStepBackTogether)
{
    PushLines(3);
    StartLine();
    Type("\xe0H");
    EXPECT_STREQ(buffer_, "line3");
    Type(kUp);
    EXPECT_STREQ(buffer_, "line2");
    Type("\xe0H");
    EXPECT_STREQ(buffer_, "line1");
}

// The bracket alone is a character like any other; with "A" behind it, it is the arrow.
TEST_F(Editor, BracketAndCapitalATypedByHandAreTheUpArrow)
{
    PushLines(1);
    StartLine();
    EXPECT_EQ(Type("x["), "x[");
    EXPECT_EQ(Type("A"), "\b \b\b \bline1");
    EXPECT_STREQ(buffer_, "line1");
}

TEST_F(Editor, BracketAndCapitalATypedByHandWithAnEmptyHistory)
{
    StartLine();
    EXPECT_EQ(Type("x[A"), "x[");
    EXPECT_STREQ(buffer_, "x[");
}

TEST_F(Editor, OtherArrowsTypedByHandSwallowTheirLetter)
{
    StartLine();
    EXPECT_EQ(Type("[B[C[Dx"), "[[[x");
    EXPECT_STREQ(buffer_, "[[[x");
}

TEST_F(Editor, RecallsFromTheNewestToTheOldestAndAgain)
{
    for (const char *text : {"a", "b", "c"})
        histCount = SmclpHistBuffPush(text, histCount);
    EXPECT_EQ(Recalled(4), "c b a c");
    EXPECT_EQ(Recalled(7), "c b a c b a c");
}

TEST_F(Editor, EveryLineBeginsAtTheNewest)
{
    PushLines(2);
    EXPECT_EQ(Recalled(1), "line2");
    EXPECT_EQ(Recalled(1), "line2");
}

TEST_F(Editor, OneToEightLinesAreRecalledInTurn)
{
    PushLines(1);
    EXPECT_EQ(Recalled(3), "line1 line1 line1");
    ForgetHistory();
    PushLines(2);
    EXPECT_EQ(Recalled(5), "line2 line1 line2 line1 line2");
    ForgetHistory();
    PushLines(4);
    EXPECT_EQ(Recalled(5), "line4 line3 line2 line1 line4");
    ForgetHistory();
    PushLines(8);
    EXPECT_EQ(Recalled(9), "line8 line7 line6 line5 line4 line3 line2 line1 line8");
}

// Deliberate: the count is 10 then, and slot 0 still empty.
TEST_F(Editor, WithExactlyNineLinesTheFirstUpArrowRecallsAnEmptyLine)
{
    PushLines(9);
    EXPECT_EQ(Recalled(11), " line9 line8 line7 line6 line5 line4 line3 line2 line1 ");
    StartLine();
    Type("ab");
    EXPECT_EQ(Type(kUp), "\b \b\b \b");
    EXPECT_STREQ(buffer_, "");
    EXPECT_EQ(Type(kUp), "line9");
}

TEST_F(Editor, TenLinesAreRecalledInTurn)
{
    PushLines(10);
    EXPECT_EQ(Recalled(11), "line10 line9 line8 line7 line6 line5 line4 line3 line2 line1 line10");
}

TEST_F(Editor, EleventhLineDropsTheOldest)
{
    PushLines(11);
    EXPECT_EQ(Recalled(11), "line11 line10 line9 line8 line7 line6 line5 line4 line3 line2 line11");
    ForgetHistory();
    PushLines(12);
    EXPECT_EQ(Recalled(11),
              "line12 line11 line10 line9 line8 line7 line6 line5 line4 line3 line12");
}

TEST_F(Editor, RecalledLineCanBeEdited)
{
    PushLines(2);
    StartLine();
    Type(kUp);
    EXPECT_EQ(Type("\b\bxy"), "\b \b\b \bxy");
    EXPECT_STREQ(buffer_, "linxy");
    EXPECT_EQ(Slot(8), "line2");
    EXPECT_EQ(Type(kUp), Times(5, kErase) + "line1");
}

TEST_F(Editor, LongestLineComesBackWholeAndStaysFull)
{
    const std::string longest = Times(255, "x");
    histCount = SmclpHistBuffPush(longest.c_str(), histCount);
    StartLine();
    EXPECT_EQ(Type(kUp), longest);
    EXPECT_EQ(line_.length, 255u);
    EXPECT_EQ(Type("y"), "");
}

// Deliberate: the mask covers typed characters only.
TEST_F(Editor, RecalledLineIsPrintedAsItIsAlsoWithAMask)
{
    PushLines(1);
    StartLine(true);
    EXPECT_EQ(Type(kUp), "line1");
}

TEST_F(Editor, PushFillsSlotsFromNineDownToOneThenZero)
{
    PushLines(1);
    EXPECT_EQ(histCount, 2);
    EXPECT_EQ(Slot(9), "line1");
    PushLines(0);
    histCount = SmclpHistBuffPush("two", histCount);
    EXPECT_EQ(histCount, 3);
    EXPECT_EQ(Slot(8), "two");

    ForgetHistory();
    PushLines(9);
    EXPECT_EQ(histCount, 10);
    EXPECT_EQ(histFull, 0u);
    EXPECT_EQ(Slot(1), "line9");
    EXPECT_EQ(Slot(0), "");

    histCount = SmclpHistBuffPush("line10", histCount);
    EXPECT_EQ(histCount, 10);
    EXPECT_EQ(histFull, 1u);
    EXPECT_EQ(Slot(0), "line10");
    EXPECT_EQ(Slot(1), "line9");
    EXPECT_EQ(Slot(9), "line1");
}

TEST_F(Editor, EleventhPushMovesTheOthersDown)
{
    PushLines(11);
    EXPECT_EQ(histCount, 10);
    for (int slot = 0; slot < 10; ++slot)
        EXPECT_EQ(Slot(slot), "line" + std::to_string(11 - slot)) << slot;
}

TEST_F(Editor, PushAboveTenStoresNothing)
{
    PushLines(10);
    const std::string before(histBuff, sizeof histBuff);
    EXPECT_EQ(SmclpHistBuffPush("x", 11), 11);
    EXPECT_EQ(SmclpHistBuffPush("x", 1000), 1000);
    EXPECT_EQ(std::string(histBuff, sizeof histBuff), before);
}

TEST_F(Editor, PushBelowOneOrOfNullStoresNothing)
{
    const std::string before(histBuff, sizeof histBuff);
    EXPECT_EQ(SmclpHistBuffPush("x", 0), 0);
    EXPECT_EQ(SmclpHistBuffPush("x", -5), -5);
    EXPECT_EQ(SmclpHistBuffPush(nullptr, 3), 3);
    EXPECT_EQ(std::string(histBuff, sizeof histBuff), before);
}

TEST_F(Editor, PushStores255CharactersAndCutsMore)
{
    const std::string longest = Times(255, "x");
    SmclpHistBuffPush(longest.c_str(), 1);
    EXPECT_EQ(Slot(9), longest);
    SmclpHistBuffPush((longest + "y").c_str(), 2);
    EXPECT_EQ(Slot(8), longest);
    EXPECT_EQ(Slot(9), longest);
}

TEST_F(Editor, ShorterLineReplacesALongerOneInItsSlot)
{
    SmclpHistBuffPush("a long line", 1);
    SmclpHistBuffPush("b", 1);
    EXPECT_EQ(Slot(9), "b");
}

TEST_F(Editor, PopIsThePositionBefore)
{
    EXPECT_EQ(SmclpHistBuffPop(10), 9);
    EXPECT_EQ(SmclpHistBuffPop(1), 0);
    EXPECT_EQ(SmclpHistBuffPop(0), -1);
}

TEST_F(Editor, HistoryStartsEmpty)
{
    EXPECT_EQ(sizeof histBuff, 2560u);
    EXPECT_EQ(RunInChild("", [] { return histCount == 1 && histFull == 0 ? 0 : 1; }).exitStatus, 0);
}

TEST_F(Editor, ReaderEchoesTheLineAndANewLine)
{
    EXPECT_EQ(Read("show\r"), "show\n|show");
    EXPECT_EQ(Read("show\nrest"), "show\n|show");
    EXPECT_EQ(Read(std::string("show\0rest", 9)), "show\n|show");
}

TEST_F(Editor, EmptyLineEchoesNothingAndIsNotKept)
{
    EXPECT_EQ(Read("\r"), "|");
    EXPECT_EQ(Read("a\b\r"), "a\b \b|");
    EXPECT_EQ(histCount, 1);
}

TEST_F(Editor, LinesAreKeptAsTyped)
{
    EXPECT_EQ(Read("  Show  \r"), "  Show  \n|  Show  ");
    EXPECT_EQ(Read("   \r"), "   \n|   ");
    EXPECT_EQ(Slot(9), "  Show  ");
    EXPECT_EQ(Slot(8), "   ");
    EXPECT_EQ(histCount, 3);
}

TEST_F(Editor, ReaderRecallsWhatItReadBefore)
{
    Read("a\r");
    Read("b\r");
    Read("c\r");
    EXPECT_EQ(Read("\x1b[A\x1b[A\x1b[A\r"), "c\b \bb\b \ba\n|a");
    EXPECT_EQ(Read("\x1b[A\x1b[A\r"), "a\b \bc\n|c");
}

TEST_F(Editor, ReaderMasks)
{
    EXPECT_EQ(Read("se{cret\b\r", 1), "******\b \b\n|secre");
    EXPECT_EQ(Read("ab\r", 77), "**\n|ab");
}

TEST_F(Editor, ReaderStores255CharactersWhateverTheSize)
{
    const std::string longest = Times(255, "x");
    EXPECT_EQ(Read(longest + "y\r"), longest + "\n|" + longest);
    EXPECT_EQ(Slot(9), longest);

    char buffer[256];
    InputText input("abcdefgh\r");
    OutputCapture capture;
    EXPECT_EQ(ShellGetCommandLine(buffer, 4, 0), 8u);
    EXPECT_STREQ(buffer, "abcdefgh");
}

TEST_F(Editor, ReaderClearsTheBufferFirst)
{
    for (u32 size : {0u, 1u, 4u, 255u, 256u, 300u}) {
        char buffer[320];
        memset(buffer, '#', sizeof buffer);
        InputText input("\r");
        OutputCapture capture;
        EXPECT_EQ(ShellGetCommandLine(buffer, size, 0), 0u);
        EXPECT_EQ(buffer[0], '\0') << size;
        for (u32 i = 1; i < sizeof buffer; ++i)
            ASSERT_EQ(buffer[i], i < size ? '\0' : '#') << size << " " << i;
    }
}

TEST_F(Editor, LineWithoutItsEndIsDroppedWhenTheInputIsGone)
{
    const ChildResult result = RunInChild("show", [] {
        char buffer[256];
        const u32 length = ShellGetCommandLine(buffer, 255, 0);
        return length == 0 && buffer[0] == '\0' && histCount == 1 ? 0 : 1;
    });
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "show");
}

TEST_F(Editor, EndOfInputIsAKeyThatNoStepAccepts)
{
    StartLine();
    Type("ab");
    OutputCapture capture;
    EXPECT_FALSE(ShellTakeKey(&line_, -1));
    EXPECT_EQ(capture.Take(), "");
    EXPECT_STREQ(buffer_, "ab");
    EXPECT_EQ(Type("c"), "c");
}

}  // namespace
