// SPDX-License-Identifier: Apache-2.0
// trace_test.cpp -- where a trace goes and what it looks like.
//
// The system log is one of the test's own.
#include "platform/trace.h"

#include "platform/map.h"
#include "support/system_log.h"
#include "support/test_files.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

// Where the process finds its system log: /dev/log is led there.
std::string gLogPath;

}  // namespace

extern "C" int __real_connect(int fd, const sockaddr *address, socklen_t size);
extern "C" int __wrap_connect(int fd, const sockaddr *address, socklen_t size)
{
    const auto *local = reinterpret_cast<const sockaddr_un *>(address);
    if (address->sa_family != AF_UNIX || strcmp(local->sun_path, "/dev/log") != 0)
        return __real_connect(fd, address, size);
    sockaddr_un there = {};
    there.sun_family = AF_UNIX;
    gLogPath.copy(there.sun_path, sizeof there.sun_path - 1);
    return __real_connect(fd, reinterpret_cast<const sockaddr *>(&there), sizeof there);
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
        log_.Start();
        gLogPath = log_.Path();
        TraceClose();
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
    std::string File() const { return ReadFile(path_); }

    SystemLog log_;
    std::string directory_;
    std::string path_;
};

TEST_F(Trace, LineGoesToTheFileThatTheEnvironmentNames)
{
    UseFile();
    TraceLogMessage(8, "ERROR: %s [%d]: ** ASSERT FAILED\n", "main", 61);
    EXPECT_EQ(File(), "ERROR: main [61]: ** ASSERT FAILED\n");
    EXPECT_EQ(log_.Read(), "");
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
    const std::string line = log_.Read();
    EXPECT_EQ(line.substr(0, 4), "<27>");  // facility daemon, priority err
    const std::string end =
        " smclp[" + std::to_string(getpid()) + "]: ERROR: system [5]: Access denied";
    EXPECT_TRUE(line.ends_with(end)) << line;
}

TEST_F(Trace, NameIsThatOfTheProgramWithoutItsDirectory)
{
    for (const char *program : {"/usr/bin/smclp", "smclp", "./smclp"}) {
        std::string word = program;
        char *arguments[] = {word.data(), nullptr};
        ASSERT_EQ(MapInit(1, arguments), 0u);
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
        TraceClose();
        const std::string line = log_.Read();
        EXPECT_NE(line.find(" smclp[" + std::to_string(getpid()) + "]: "), std::string::npos)
            << line;
    }
    TraceOpen(nullptr);
}

TEST_F(Trace, SystemLogGetsPercentSignsAsTheyAre)
{
    TraceLogMessage(8, "ERROR: %s [%d]: %s\n", "system", 5, "100%s %n");
    EXPECT_EQ(log_.ReadText(), "ERROR: system [5]: 100%s %n");
}

TEST_F(Trace, WithoutASystemLogNothingIsWrittenAndTheNextOneIsToldHowMuch)
{
    log_.Stop();
    for (int i = 0; i < 1000; ++i)
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", i);
    log_.Start();
    int lost = 1000;
    std::string line;
    for (int i = 0; i < 300 && line.empty(); ++i, ++lost) {
        TraceLogMessage(8, "ERROR: %s [%d]: two\n", "sel", 2);
        line = log_.ReadText();
        usleep(20'000);
    }
    EXPECT_EQ(line, std::to_string(lost - 1) + " lines lost: the system log did not take them");
    EXPECT_EQ(log_.ReadText(), "ERROR: sel [2]: two");
}

// The log is there and reads nothing, as when its process is stopped.
TEST_F(Trace, SystemLogThatIsStoppedHoldsNobody)
{
    for (int i = 0; i < 5000; ++i)
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
    int read = 0;
    while (log_.ReadText() == "ERROR: sel [1]: one")
        ++read;
    EXPECT_GE(read, 1);
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "sel", 2);
    EXPECT_EQ(log_.ReadText(),
              std::to_string(5000 - read) + " lines lost: the system log did not take them");
    EXPECT_EQ(log_.ReadText(), "ERROR: sel [2]: two");
}

TEST_F(Trace, EmptyNameOfAFileMeansTheSystemLog)
{
    setenv("ZORTRACE", "", 1);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    EXPECT_EQ(log_.ReadText(), "ERROR: system [1]: one");
}

TEST_F(Trace, FileThatCannotBeOpenedGivesWayToTheSystemLog)
{
    setenv("ZORTRACE", (directory_ + "/missing/trace").c_str(), 1);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    EXPECT_EQ(log_.ReadText(), "ERROR: system [1]: one");
}

TEST_F(Trace, PipeThatNobodyHasOpenGivesWayToTheSystemLog)
{
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    UseFile();
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
    EXPECT_EQ(log_.ReadText(), "ERROR: system [1]: one");
}

TEST_F(Trace, PipeThatNobodyReadsHoldsNobody)
{
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    UseFile();
    for (int i = 0; i < 10'000; ++i)
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
    // What fitted is whole lines, and later ones follow as soon as there is room.
    const std::string line = "ERROR: sel [1]: one\n";
    std::string all(1 << 20, '\0');
    const ssize_t size = read(reader, all.data(), all.size());
    ASSERT_GT(size, 0);
    all.resize(static_cast<size_t>(size));
    ASSERT_EQ(all.size() % line.size(), 0u);
    for (size_t at = 0; at < all.size(); at += line.size())
        ASSERT_EQ(all.compare(at, line.size(), line), 0) << at;
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "sel", 2);
    char next[64] = "";
    EXPECT_EQ(read(reader, next, sizeof next), 20);
    EXPECT_STREQ(next, "ERROR: sel [2]: two\n");
    close(reader);
}

// A broken pipe ends a process that does not look out for it.
TEST_F(Trace, PipeWhoseReaderIsGoneEndsNobody)
{
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGPIPE, SIG_DFL);
        const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        UseFile();
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "sel", 1);
        close(reader);
        TraceLogMessage(8, "ERROR: %s [%d]: two\n", "sel", 2);
        // Nothing is left to be delivered later either.
        sigset_t pending;
        sigpending(&pending);
        _exit(sigismember(&pending, SIGPIPE));
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(Trace, NothingIsWrittenToTheTerminal)
{
    fflush(stdout);  // what gtest has said so far is no trace
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
    for (int file = 0; file < 2; ++file) {
        if (file == 1)
            UseFile();
        const int nextBefore = dup(0);
        close(nextBefore);
        TraceLogMessage(8, "ERROR: %s [%d]: one\n", "system", 1);
        EXPECT_NE(fcntl(nextBefore, F_GETFD), -1);
        TraceClose();
        TraceClose();
        EXPECT_EQ(fcntl(nextBefore, F_GETFD), -1);
    }
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
