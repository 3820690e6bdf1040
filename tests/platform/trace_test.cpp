// SPDX-License-Identifier: Apache-2.0
// trace_test.cpp -- where a trace goes and what it looks like.
//
// The C library's system log is replaced by one that keeps what it is given.
#include "platform/trace.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

namespace
{

struct SystemLog {
    std::vector<std::string> opened;  // name, options, facility
    std::vector<std::string> lines;   // priority, text
    int closed = 0;
    bool there = true;  // whether its socket exists
    int looks = 0;      // how often that was asked
};
SystemLog gSystemLog;

__attribute__((format(printf, 2, 0))) void KeepLine(int priority, const char *format,
                                                    va_list arguments)
{
    char text[1024];
    vsnprintf(text, sizeof text, format, arguments);
    gSystemLog.lines.push_back(std::to_string(priority) + " " + text);
}

}  // namespace

extern "C" int access(const char *path, int mode)
{
    if (strcmp(path, "/dev/log") != 0)
        return faccessat(AT_FDCWD, path, mode, 0);
    ++gSystemLog.looks;
    return gSystemLog.there ? 0 : -1;
}

extern "C" void openlog(const char *name, int options, int facility)
{
    gSystemLog.opened.push_back(std::string(name != nullptr ? name : "(null)") +
                                (options == LOG_PID ? " pid" : " other") +
                                (facility == LOG_DAEMON ? " daemon" : " other"));
}

extern "C" void closelog()
{
    ++gSystemLog.closed;
}

extern "C" void syslog(int priority, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    KeepLine(priority, format, arguments);
    va_end(arguments);
}

// What syslog becomes in code that is compiled with the library's own checks.
extern "C" __attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int,
                                                                   const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    KeepLine(priority, format, arguments);
    va_end(arguments);
}

namespace
{

class Trace : public testing::Test
{
protected:
    Trace()
    {
        char directory[] = "/tmp/trace-test-XXXXXX";
        directory_ = mkdtemp(directory);
        path_ = directory_ + "/trace";
        gSystemLog = {};
        TraceClose();
        gSystemLog.closed = 0;
        TraceOpen(nullptr);
    }
    ~Trace() override
    {
        TraceClose();
        unsetenv("ZORTRACE");
        unlink(path_.c_str());
        rmdir(directory_.c_str());
    }

    void UseFile() const { setenv("ZORTRACE", path_.c_str(), 1); }
    std::string File() const
    {
        std::ifstream file(path_);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::string directory_;
    std::string path_;
};

TEST_F(Trace, LineGoesToTheFileThatTheEnvironmentNames)
{
    UseFile();
    TraceLogMessage(8, "ERROR: %s [%d]: ** ASSERT FAILED\n", "main", 61);
    EXPECT_EQ(File(), "ERROR: main [61]: ** ASSERT FAILED\n");
    EXPECT_TRUE(gSystemLog.lines.empty());
}

TEST_F(Trace, LinesAreAppendedInOrder)
{
    std::ofstream(path_) << "earlier\n";
    UseFile();
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
    TraceLogMessage(8, "ERROR: %s [%d]: CIM_STATUS = %d\n", "sel", 2, 7);
    EXPECT_EQ(File(), "earlier\nERROR: sel [1]: one\nERROR: sel [2]: CIM_STATUS = 7\n");
}

TEST_F(Trace, FileIsWrittenAtOnce)
{
    UseFile();
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
    EXPECT_EQ(File(), "ERROR: sel [1]: one\n");
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "sel", 2);
    EXPECT_EQ(File(), "ERROR: sel [1]: one\nERROR: sel [2]: two\n");
}

TEST_F(Trace, NewFileIsTheOwnersOnly)
{
    UseFile();
    const mode_t mask = umask(0);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
    umask(mask);
    struct stat status = {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Trace, EveryLevelIsWritten)
{
    UseFile();
    TraceLogMessage(0, "ERROR: %s [%d]: one\n", "sel", 1);
    TraceLogMessage(9, "ERROR: %s [%d]: two\n", "sel", 2);
    EXPECT_EQ(File(), "ERROR: sel [1]: one\nERROR: sel [2]: two\n");
}

// 511 characters fit with their new line; one more is cut.
TEST_F(Trace, LongLineIsCutAndStillEndsWithANewLine)
{
    UseFile();
    const std::string head = "ERROR: sel [1]: ";
    const std::string fits(511 - head.size() - 1, 'x');
    TraceLogMessage(8, "ERROR: %s [%d]: %s\n", "sel", 1, fits.c_str());
    EXPECT_EQ(File(), head + fits + "\n");

    const std::string tooLong = fits + "y";
    TraceLogMessage(8, "ERROR: %s [%d]: %s\n", "sel", 1, tooLong.c_str());
    EXPECT_EQ(File(), head + fits + "\n" + head + fits + "\n");

    const std::string muchTooLong(5000, 'x');
    TraceLogMessage(8, "ERROR: %s [%d]: %s\n", "sel", 1, muchTooLong.c_str());
    EXPECT_EQ(File(), head + fits + "\n" + head + fits + "\n" + head + fits + "\n");
}

TEST_F(Trace, SystemLogIsTheDefault)
{
    TraceOpen("smclp");
    TraceLogMessage(8, "ERROR: %s [%d]: Access denied\n", "system", 5);
    ASSERT_EQ(gSystemLog.opened, std::vector<std::string>({"smclp pid daemon"}));
    ASSERT_EQ(gSystemLog.lines.size(), 1u);
    EXPECT_EQ(gSystemLog.lines[0], "3 ERROR: system [5]: Access denied\n");
    EXPECT_EQ(LOG_ERR, 3);
}

TEST_F(Trace, SystemLogGetsPercentSignsAsTheyAre)
{
    TraceLogMessage(8, "ERROR: %s [%d]: %s\n", "system", 5, "100%s %n");
    ASSERT_EQ(gSystemLog.lines.size(), 1u);
    EXPECT_EQ(gSystemLog.lines[0], "3 ERROR: system [5]: 100%s %n\n");
}

TEST_F(Trace, SystemLogIsOpenedOnceForManyLines)
{
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "system", 2);
    EXPECT_EQ(gSystemLog.opened.size(), 1u);
    EXPECT_EQ(gSystemLog.lines.size(), 2u);
}

TEST_F(Trace, WithoutASystemLogNothingIsWrittenAndItIsLookedForAtMostOnceASecond)
{
    gSystemLog.there = false;
    timespec before;
    timespec after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    for (int i = 0; i < 1000; ++i)
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", i);
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_TRUE(gSystemLog.lines.empty());
    EXPECT_GE(gSystemLog.looks, 1);
    EXPECT_LE(gSystemLog.looks, after.tv_sec - before.tv_sec + 1);
}

TEST_F(Trace, SystemLogThatComesLaterIsFound)
{
    gSystemLog.there = false;
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
    gSystemLog.there = true;
    for (int i = 0; i < 100 && gSystemLog.lines.empty(); ++i) {
        TraceLogMessage(8, "ERROR: %s [%d]: two\n", "sel", 2);
        usleep(20'000);
    }
    ASSERT_FALSE(gSystemLog.lines.empty());
    EXPECT_EQ(gSystemLog.lines[0], "3 ERROR: sel [2]: two\n");
}

TEST_F(Trace, EmptyNameOfAFileMeansTheSystemLog)
{
    setenv("ZORTRACE", "", 1);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    EXPECT_EQ(gSystemLog.lines.size(), 1u);
}

TEST_F(Trace, FileThatCannotBeOpenedGivesWayToTheSystemLog)
{
    setenv("ZORTRACE", (directory_ + "/missing/trace").c_str(), 1);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    ASSERT_EQ(gSystemLog.lines.size(), 1u);
    EXPECT_EQ(gSystemLog.lines[0], "3 ERROR: system [1]: one\n");
}

TEST_F(Trace, NothingIsWrittenToTheTerminal)
{
    const int saved[] = {dup(1), dup(2)};
    char path[] = "/tmp/trace-out-XXXXXX";
    const int file = mkstemp(path);
    dup2(file, 1);
    dup2(file, 2);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    TraceClose();
    UseFile();
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "system", 2);
    fflush(stdout);
    dup2(saved[0], 1);
    dup2(saved[1], 2);
    struct stat status = {};
    fstat(file, &status);
    EXPECT_EQ(status.st_size, 0);
    close(file);
    close(saved[0]);
    close(saved[1]);
    unlink(path);
}

TEST_F(Trace, CloseClosesWhatWasOpened)
{
    TraceClose();
    EXPECT_EQ(gSystemLog.closed, 0);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    TraceClose();
    EXPECT_EQ(gSystemLog.closed, 1);
    TraceClose();
    EXPECT_EQ(gSystemLog.closed, 1);

    UseFile();
    const int nextBefore = dup(0);
    close(nextBefore);
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "system", 2);
    TraceClose();
    EXPECT_EQ(gSystemLog.closed, 1);
    const int nextAfter = dup(0);
    close(nextAfter);
    EXPECT_EQ(nextAfter, nextBefore);
}

TEST_F(Trace, FileIsNotHandedToOtherPrograms)
{
    UseFile();
    const int file = dup(0);
    close(file);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    EXPECT_EQ(fcntl(file, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

// Also a reader of the same file sees whole lines when several shells trace at once.
TEST_F(Trace, LinesOfSeveralProcessesDoNotMix)
{
    UseFile();
    constexpr int kProcesses = 4;
    constexpr int kLines = 50;
    for (int p = 0; p < kProcesses; ++p) {
        if (fork() != 0)
            continue;
        for (int i = 0; i < kLines; ++i)
            TraceLogMessage(8, "ERROR: %s [%d]: 0123456789\n", "system", 7);
        _exit(0);
    }
    for (int p = 0; p < kProcesses; ++p)
        wait(nullptr);
    std::ifstream file(path_);
    int count = 0;
    for (std::string line; std::getline(file, line); ++count)
        EXPECT_EQ(line, "ERROR: system [7]: 0123456789");
    EXPECT_EQ(count, kProcesses * kLines);
}

TEST_F(Trace, IdiomsHaveTheirTexts)
{
    UseFile();
    TRACE_ASSERT_FAILED_AT("main", 131);
    EXPECT_EQ(File(), "ERROR: main [131]: ** ASSERT FAILED\n");
}

TEST_F(Trace, IdiomsCarryTheLineThatTheyStandOn)
{
    UseFile();
    std::string expected;
    const auto at = [&expected](int line, const char *text) {
        expected += "ERROR: u [" + std::to_string(line) + "]: " + text + "\n";
    };
    // clang-format off
    TRACE_ASSERT_FAILED("u"); at(__LINE__, "** ASSERT FAILED");
    TRACE_INVALID_PARAMETER("u"); at(__LINE__, "Invalid parameter");
    TRACE_ACCESS_DENIED("u"); at(__LINE__, "Access denied");
    TRACE_CIM_STATUS("u", 42u); at(__LINE__, "CIM_STATUS = 42");
    // clang-format on
    EXPECT_EQ(File(), expected);
}

}  // namespace
