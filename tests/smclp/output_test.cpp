// SPDX-License-Identifier: Apache-2.0
// output_test.cpp -- output calls and the table of error lines.
#include "smclp/output.h"

#include "support/child_process.h"
#include "support/failing_memory.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{

// What the second round of formatting makes of a value.
std::string SecondRound(const char *value)
{
    OutputCapture capture;
    SmclpOutputNoNewline("%s", value);
    return capture.Take();
}

std::string ErrorLine(u32 code)
{
    OutputCapture capture;
    SmclpErrorOutput(code);
    return capture.Take();
}

TEST(Output, FormatsAndAddsANewLine)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpOutput("%s has %d fans", "system1", 4), 1u);
    EXPECT_EQ(capture.Take(), "system1 has 4 fans\n");
}

TEST(Output, NoNewlineAddsNone)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpOutputNoNewline("  %s", "cd"), 1u);
    EXPECT_EQ(capture.Take(), "  cd");
}

TEST(Output, EmptyTextIsANewLineOrNothing)
{
    OutputCapture capture;
    EXPECT_EQ(SmclpOutput("%s", ""), 1u);
    EXPECT_EQ(SmclpOutputNoNewline("%s", ""), 1u);
    EXPECT_EQ(capture.Take(), "\n");
}

TEST(Output, DoubledPercentSignInAValueBecomesOne)
{
    EXPECT_EQ(SecondRound("50%% full"), "50% full");
    EXPECT_EQ(SecondRound("%%"), "%");
    EXPECT_EQ(SecondRound("%%%%"), "%%");
    EXPECT_EQ(SecondRound("%%s"), "%s");
}

TEST(Output, PairsOfPercentSignsAreTakenFromTheLeft)
{
    EXPECT_EQ(SecondRound("%%%"), "%%");
    EXPECT_EQ(SecondRound("%%%s"), "%%s");
    EXPECT_EQ(SecondRound("%s%%"), "%s%");
}

TEST(Output, EveryOtherPercentSignStays)
{
    EXPECT_EQ(SecondRound("100%"), "100%");
    EXPECT_EQ(SecondRound("%"), "%");
    EXPECT_EQ(SecondRound("% %"), "% %");
    EXPECT_EQ(SecondRound("%s%d%n%c%5.3f%*d%$"), "%s%d%n%c%5.3f%*d%$");
}

TEST(Output, FormatItselfAlsoPassesTwice)
{
    OutputCapture capture;
    SmclpOutput("%d%%", 50);
    SmclpOutput("%d%%%%", 50);
    EXPECT_EQ(capture.Take(), "50%\n50%\n");
}

TEST(Output, LongestTextComesThroughAndALongerOneIsCut)
{
    const std::string longest(65535, 'x');
    EXPECT_EQ(SecondRound(longest.c_str()), longest);
    EXPECT_EQ(SecondRound((longest + "y").c_str()), longest);
    EXPECT_EQ(SecondRound(std::string(200'000, 'x').c_str()), longest);
}

TEST(Output, WithoutMemoryNothingIsWritten)
{
    OutputCapture capture;
    {
        MemoryFailure failure(Memory::Heap, 1);
        EXPECT_EQ(SmclpOutput("%s", "lost"), 1u);
        EXPECT_TRUE(failure.Struck());
    }
    {
        MemoryFailure failure(Memory::Heap, 1);
        EXPECT_EQ(SmclpOutputNoNewline("%s", "lost"), 1u);
        EXPECT_TRUE(failure.Struck());
    }
    SmclpOutput("%s", "kept");
    EXPECT_EQ(capture.Take(), "kept\n");
}

// The texts that arrive at the other end of standard output, write by write.
std::vector<std::string> WritesOf(void (*body)())
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    RunInChild("", [&] {
        dup2(ends[1], STDOUT_FILENO);
        SmclpOutputSetUp();
        body();
        return 0;
    });
    std::vector<std::string> writes;
    std::string part(100'000, '\0');
    ssize_t count;
    while ((count = recv(ends[0], part.data(), part.size(), MSG_DONTWAIT)) > 0)
        writes.push_back(part.substr(0, static_cast<size_t>(count)));
    close(ends[0]);
    close(ends[1]);
    return writes;
}

TEST(Output, EveryCallIsOneWriteAndIsWrittenAtOnce)
{
    EXPECT_EQ(WritesOf([] {
                  SmclpOutput("one\ntwo\n%s", "three");
                  SmclpOutputNoNewline("%s", "four");
                  SmclpErrorOutput(2);
                  // Not flushed: a call that had only been buffered would be lost with it.
                  _exit(0);
              }),
              (std::vector<std::string>{"one\ntwo\nthree\n", "four",
                                        "ERROR: Command not recognized.\n"}));
}

TEST(Output, LongestCallIsStillOneWrite)
{
    const auto writes = WritesOf([] { SmclpOutput("%s", std::string(65535, 'x').c_str()); });
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0], std::string(65535, 'x') + "\n");
}

TEST(ErrorOutput, EveryCodeHasItsLine)
{
    EXPECT_EQ(ErrorLine(0), "ERROR: Invalid syntax specified.\n");
    EXPECT_EQ(ErrorLine(1), "ERROR: Command not supported.\n");
    EXPECT_EQ(ErrorLine(2), "ERROR: Command not recognized.\n");
    EXPECT_EQ(ErrorLine(3), "ERROR: Invalid option specified.\n");
    EXPECT_EQ(ErrorLine(4), "ERROR: Invalid argument specified.\n");
    EXPECT_EQ(ErrorLine(5), "ERROR: Output format not supported.\n");
    EXPECT_EQ(ErrorLine(6), "ERROR: Required argument is missing.\n");
    EXPECT_EQ(ErrorLine(7), "ERROR: Invalid option specified.\n");
    EXPECT_EQ(ErrorLine(8), "ERROR: Invalid target specified.\n");
    EXPECT_EQ(ErrorLine(9), "ERROR: Required option is missing.\n");
    EXPECT_EQ(ErrorLine(10), "ERROR: Queue full.\n");
    EXPECT_EQ(ErrorLine(11), "ERROR: Command execution failed.\n");
}

TEST(ErrorOutput, CodesThreeAndSevenSayTheSame)
{
    EXPECT_EQ(ErrorLine(3), ErrorLine(7));
    EXPECT_EQ(SmclpErrorOutputTable[3].code, 3u);
    EXPECT_EQ(SmclpErrorOutputTable[7].code, 7u);
}

TEST(ErrorOutput, CodeThatIsNoRowWritesNothing)
{
    EXPECT_EQ(ErrorLine(12), "");
    EXPECT_EQ(ErrorLine(1000), "");
    EXPECT_EQ(ErrorLine(UINT32_MAX), "");
}

TEST(ErrorOutput, RowsHoldTheirCodeAndATextOf128Bytes)
{
    EXPECT_EQ(kSmclpErrorCount, 12u);
    for (u32 i = 0; i < kSmclpErrorCount; ++i) {
        EXPECT_EQ(SmclpErrorOutputTable[i].code, i);
        EXPECT_LE(std::string(SmclpErrorOutputTable[i].message).size(), 127u);
    }
    EXPECT_EQ(sizeof(SmclpErrorOutputRow), 4u + 128u);
}

TEST(ErrorOutput, NeedsNoMemory)
{
    OutputCapture capture;
    MemoryFailure failure(Memory::Heap, 1, true);
    SmclpErrorOutput(8);
    EXPECT_EQ(capture.Take(), "ERROR: Invalid target specified.\n");
}

}  // namespace
