// SPDX-License-Identifier: Apache-2.0
// terminal_test.cpp -- keys from pipes and from a pseudo-terminal, and what the terminal is like
// while a key is awaited and afterwards.
#include "smclp/terminal.h"

#include "smclp/line_editor.h"
#include "smclp/shell.h"
#include "support/child_process.h"
#include "support/clock.h"
#include "support/emulation.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>
#include <vector>

namespace
{

// Runs the interactive shell on whatever standard input is.
int InteractiveShell()
{
    FakeObjMgr objMgr;
    setenv("ZORSID", "1", 1);
    setenv("ZORSSNTYPE", "1", 1);
    setenv("ZORIP", "0", 1);
    char name[] = "smclp";
    char *argv[] = {name, nullptr};
    if (SmclpInit() != 0)
        return 99;
    return static_cast<int>(SmclpShell(1, argv));
}

// A pseudo-terminal and a child that has it as its controlling terminal.
class Pty
{
public:
    Pty()
    {
        EXPECT_EQ(openpty(&master_, &slave_, nullptr, nullptr, nullptr), 0);
        fcntl(master_, F_SETFD, FD_CLOEXEC);
    }
    ~Pty()
    {
        HangUp();
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
    }
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    void Start(const std::function<int()> &body)
    {
        fflush(stdout);
        child_ = fork();
        if (child_ != 0)
            return;
        close(master_);
        if (login_tty(slave_) != 0)
            _exit(98);
        // Whoever runs the tests may ignore some (nohup, a script's "&").
        for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGTSTP})
            signal(number, SIG_DFL);
        const int status = body();
        fflush(stdout);
        _exit(status);
    }
    // Closes this side: the terminal is gone for the child.
    void HangUp()
    {
        for (int *end : {&master_, &slave_}) {
            if (*end != -1)
                close(*end);
            *end = -1;
        }
    }
    void Type(const std::string &keys) const
    {
        EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    // Reads until the text has arrived; everything so far.
    std::string ReadUntil(const std::string &text)
    {
        for (int waited = 0; seen_.find(text) == std::string::npos; waited += 100) {
            pollfd input = {master_, POLLIN, 0};
            if (waited >= kPatienceMs) {
                ADD_FAILURE() << "no \"" << text << "\" in \"" << seen_ << "\"";
                break;
            }
            if (poll(&input, 1, 100) <= 0)
                continue;
            char part[256];
            const ssize_t count = read(master_, part, sizeof part);
            if (count > 0)
                seen_.append(part, static_cast<size_t>(count));
        }
        return seen_;
    }
    // The next ReadUntil begins with what arrives from now on.
    void Forget() { seen_.clear(); }
    bool IsRaw() const
    {
        termios attributes = {};
        EXPECT_EQ(tcgetattr(slave_, &attributes), 0);
        const bool canonical = (attributes.c_lflag & ICANON) != 0;
        const bool echo = (attributes.c_lflag & ECHO) != 0;
        return !canonical && !echo;
    }
    bool IsAsBefore() const
    {
        termios attributes = {};
        EXPECT_EQ(tcgetattr(slave_, &attributes), 0);
        return (attributes.c_lflag & ICANON) != 0 && (attributes.c_lflag & ECHO) != 0;
    }
    bool BecomesRaw() const
    {
        for (int waited = 0; !IsRaw(); waited += 2) {
            if (waited >= kPatienceMs)
                return false;
            SleepMs(2);
        }
        return true;
    }
    int Wait()
    {
        const int status = WaitForChild(child_);
        child_ = -1;
        return status;
    }
    pid_t Child() const { return child_; }
    int Slave() const { return slave_; }

private:
    int master_ = -1;
    int slave_ = -1;
    pid_t child_ = -1;
    std::string seen_;
};

bool ExitedWith(int status, int exitStatus)
{
    return WIFEXITED(status) && WEXITSTATUS(status) == exitStatus;
}

bool EndedBy(int status, int signal)
{
    return WIFSIGNALED(status) && WTERMSIG(status) == signal;
}

TEST(Terminal, KeysOfAFileAreItsBytes)
{
    const std::string bytes("a\0\xff\x1b\n\x80", 6);
    EXPECT_EQ(RunInChild(bytes,
                         [&] {
                             for (char c : bytes) {
                                 if (TerminalReadKey() != static_cast<unsigned char>(c))
                                     return 1;
                                 if (TerminalInputGone())
                                     return 2;
                             }
                             if (TerminalReadKey() != kTerminalEndOfInput)
                                 return 3;
                             return TerminalInputGone() ? 0 : 4;
                         })
                  .exitStatus,
              0);
}

TEST(Terminal, EndOfInputIsNoKey)
{
    EXPECT_LT(kTerminalEndOfInput, 0);
}

TEST(Terminal, InputIsGoneAtTheEndOfAPipe)
{
    EXPECT_EQ(RunInChild("",
                         [] {
                             int ends[2];
                             if (pipe(ends) != 0)
                                 return 1;
                             dup2(ends[0], 0);
                             if (write(ends[1], "k", 1) != 1)
                                 return 2;
                             close(ends[1]);
                             if (TerminalReadKey() != 'k' || TerminalInputGone())
                                 return 3;
                             if (TerminalReadKey() != kTerminalEndOfInput)
                                 return 4;
                             return TerminalInputGone() ? 0 : 5;
                         })
                  .exitStatus,
              0);
}

TEST(Terminal, InputIsGoneWhenItIsClosed)
{
    EXPECT_EQ(RunInChild("",
                         [] {
                             close(0);
                             if (TerminalReadKey() != kTerminalEndOfInput)
                                 return 1;
                             return TerminalInputGone() ? 0 : 2;
                         })
                  .exitStatus,
              0);
}

TEST(Terminal, InputIsGoneWhenItIsADirectory)
{
    EXPECT_EQ(RunInChild("",
                         [] {
                             const int directory = open("/", O_RDONLY);
                             dup2(directory, 0);
                             if (TerminalReadKey() != kTerminalEndOfInput)
                                 return 1;
                             return TerminalInputGone() ? 0 : 2;
                         })
                  .exitStatus,
              0);
}

TEST(Terminal, NonBlockingInputIsWaitedFor)
{
    EXPECT_EQ(RunInChild("",
                         [] {
                             int ends[2];
                             if (pipe2(ends, O_NONBLOCK) != 0)
                                 return 1;
                             dup2(ends[0], 0);
                             const pid_t writer = fork();
                             if (writer == 0) {
                                 SleepMs(50);
                                 _exit(write(ends[1], "k", 1) == 1 ? 0 : 1);
                             }
                             if (TerminalReadKey() != 'k' || TerminalInputGone())
                                 return 2;
                             waitpid(writer, nullptr, 0);
                             close(ends[1]);
                             if (TerminalReadKey() != kTerminalEndOfInput)
                                 return 3;
                             return TerminalInputGone() ? 0 : 4;
                         })
                  .exitStatus,
              0);
}

TEST(Terminal, SignalThatTheProcessHandlesDoesNotEndTheWait)
{
    EXPECT_EQ(RunInChild("",
                         [] {
                             struct sigaction action = {};
                             action.sa_handler = [](int) {};
                             sigaction(SIGUSR1, &action, nullptr);
                             int ends[2];
                             if (pipe(ends) != 0)
                                 return 1;
                             dup2(ends[0], 0);
                             const pid_t reader = getpid();
                             const pid_t writer = fork();
                             if (writer == 0) {
                                 SleepMs(50);
                                 kill(reader, SIGUSR1);
                                 SleepMs(50);
                                 _exit(write(ends[1], "k", 1) == 1 ? 0 : 1);
                             }
                             const i32 key = TerminalReadKey();
                             waitpid(writer, nullptr, 0);
                             return key == 'k' && !TerminalInputGone() ? 0 : 2;
                         })
                  .exitStatus,
              0);
}

TEST(Terminal, IsRawFromTheFirstKeyOfALineToItsEnd)
{
    int wake[2];
    ASSERT_EQ(pipe(wake), 0);
    Pty pty;
    EXPECT_TRUE(pty.IsAsBefore());
    pty.Start([&] {
        char byte;
        for (int line = 1; line <= 2; ++line) {
            for (i32 key; (key = TerminalReadKey()) != '\n';)
                printf("%d %d\n", line, key);
            TerminalRestore();
            printf("end of %d\n", line);
            fflush(stdout);
            if (read(wake[0], &byte, 1) != 1)  // the command is being run
                return 1;
        }
        return 0;
    });
    for (const char *end : {"end of 1", "end of 2"}) {
        ASSERT_TRUE(pty.BecomesRaw());
        pty.Type("k");
        SleepMs(20);
        EXPECT_TRUE(pty.IsRaw());
        pty.Type("\n");
        pty.ReadUntil(end);
        EXPECT_TRUE(pty.IsAsBefore());
        EXPECT_EQ(write(wake[1], "x", 1), 1);
    }
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
    EXPECT_TRUE(pty.IsAsBefore());
    close(wake[0]);
    close(wake[1]);
}

TEST(Terminal, AwaitingKeysMakesItRawAtOnceAndRestoreIsRepeatable)
{
    Pty pty;
    pty.Start([] {
        TerminalRestore();  // not raw: nothing happens
        for (int round = 0; round < 2; ++round) {
            TerminalAwaitKeys();
            TerminalAwaitKeys();
            termios attributes = {};
            if (tcgetattr(0, &attributes) != 0 || (attributes.c_lflag & (ICANON | ECHO)) != 0)
                return 1;
            TerminalRestore();
            TerminalRestore();
            if (tcgetattr(0, &attributes) != 0 || (attributes.c_lflag & ICANON) == 0 ||
                (attributes.c_lflag & ECHO) == 0)
                return 2;
        }
        return 0;
    });
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

// Each round saves what it finds: a change made between two lines is kept.
TEST(Terminal, AttributesChangedBetweenTwoLinesStay)
{
    Pty pty;
    pty.Start([] {
        TerminalAwaitKeys();
        TerminalRestore();
        termios attributes = {};
        tcgetattr(0, &attributes);
        attributes.c_cc[VERASE] = 'e';
        tcsetattr(0, TCSANOW, &attributes);
        TerminalAwaitKeys();
        TerminalRestore();
        tcgetattr(0, &attributes);
        return attributes.c_cc[VERASE] == 'e' ? 0 : 1;
    });
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

TEST(Terminal, WithoutATerminalAwaitAndRestoreDoNothing)
{
    EXPECT_EQ(RunInChild("k",
                         [] {
                             TerminalAwaitKeys();
                             const i32 key = TerminalReadKey();
                             TerminalRestore();
                             return key == 'k' ? 0 : 1;
                         })
                  .exitStatus,
              0);
}

// While a command runs the terminal is the user's own; at the prompt and in the line it is raw.
TEST(Terminal, ReaderRestoresItAtTheEndOfEveryLine)
{
    int wake[2];
    ASSERT_EQ(pipe(wake), 0);
    Pty pty;
    pty.Start([&] {
        char line[256];
        char byte;
        for (int i = 1; i <= 2; ++i) {
            ShellGetCommandLine(line, 255, 0);
            printf("line %s\n", line);
            fflush(stdout);
            if (read(wake[0], &byte, 1) != 1)
                return 1;
        }
        return 0;
    });
    for (const char *text : {"one", "two"}) {
        ASSERT_TRUE(pty.BecomesRaw());
        pty.Type(std::string(text) + "\r");
        pty.ReadUntil(std::string("line ") + text);
        EXPECT_TRUE(pty.IsAsBefore());
        EXPECT_EQ(write(wake[1], "x", 1), 1);
    }
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
    close(wake[0]);
    close(wake[1]);
}

TEST(Terminal, AllOtherAttributesStayAsTheyWere)
{
    Pty pty;
    termios before = {};
    ASSERT_EQ(tcgetattr(pty.Slave(), &before), 0);
    before.c_cc[VMIN] = 0;  // would make an empty read of every read
    before.c_cc[VTIME] = 3;
    before.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
    ASSERT_EQ(tcsetattr(pty.Slave(), TCSANOW, &before), 0);
    pty.Start([] {
        const i32 key = TerminalReadKey();
        TerminalRestore();
        return key;
    });
    ASSERT_TRUE(pty.BecomesRaw());
    SleepMs(400);
    pty.Type("\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 13));
    termios after = {};
    ASSERT_EQ(tcgetattr(pty.Slave(), &after), 0);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_cc[VMIN], before.c_cc[VMIN]);
    EXPECT_EQ(after.c_cc[VTIME], before.c_cc[VTIME]);
}

// Without canonical mode the end-of-file key is a key like any other: the line editor drops it.
TEST(Terminal, ControlDIsAKey)
{
    Pty pty;
    pty.Start([] { return TerminalReadKey(); });
    ASSERT_TRUE(pty.BecomesRaw());
    pty.Type("\x04");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 4));
}

// What is echoed is seen at once, not with the next key.
TEST(Terminal, EveryKeyIsAnsweredBeforeTheNext)
{
    Pty pty;
    pty.Start(InteractiveShell);
    pty.ReadUntil("\n->");
    pty.Type("x");
    pty.ReadUntil("->x");
    pty.Forget();
    pty.Type("\x7f");
    EXPECT_EQ(pty.ReadUntil("\b \b"), "\b \b");
    pty.Type("version\r");
    pty.ReadUntil("version 1.0\r\n\r\n->");
    pty.Forget();
    pty.Type("\x1b[A");
    EXPECT_EQ(pty.ReadUntil("version"), "version");
    pty.Forget();
    pty.Type("\x1b[A");
    EXPECT_EQ(pty.ReadUntil("version"), "\b \b\b \b\b \b\b \b\b \b\b \b\b \bversion");
    pty.Type("\r");
    pty.ReadUntil("\r\n\r\n->");
    pty.Type("exit\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

// The least number of characters that a read of standard input, a terminal, waits for.
void WaitFor(u8 characters)
{
    termios attributes = {};
    tcgetattr(0, &attributes);
    attributes.c_cc[VMIN] = characters;
    tcsetattr(0, TCSANOW, &attributes);
}

// As a terminal does whose reads somebody else has made to return at once. A key in between begins
// the count anew.
TEST(Terminal, FiveEmptyReadsInARowAreTheEndOfInput)
{
    Pty pty;
    pty.Start([] {
        TerminalAwaitKeys();
        WaitFor(0);
        const i64 begun = NowMs();
        for (int i = 0; i < 4; ++i) {
            if (TerminalReadKey() != kTerminalEndOfInput || TerminalInputGone())
                return 1;
        }
        if (NowMs() - begun < 400)
            return 5;  // a pause after each: nothing goes round and round
        WaitFor(1);
        printf("four\n");
        fflush(stdout);
        if (TerminalReadKey() != 'k')
            return 2;
        WaitFor(0);
        int empty = 0;
        for (; !TerminalInputGone(); ++empty) {
            if (TerminalReadKey() != kTerminalEndOfInput)
                return 3;
        }
        return empty == 5 ? 0 : 4;
    });
    pty.ReadUntil("four");
    pty.Type("k");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

TEST(Terminal, SequenceThatArrivesInPiecesIsOneArrow)
{
    Pty pty;
    pty.Start(InteractiveShell);
    pty.ReadUntil("\n->");
    pty.Type("version\r");
    pty.ReadUntil("version 1.0\r\n\r\n->");
    for (const char *piece : {"\x1b", "[", "A"}) {
        pty.Type(piece);
        SleepMs(30);
    }
    pty.ReadUntil("version 1.0\r\n\r\n->version");
    pty.Type("\r");
    pty.ReadUntil("version 1.0\r\n\r\n->version\r\nversion 1.0\r\n");
    pty.Type("exit\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

TEST(Terminal, WholeSessionOnATerminal)
{
    Pty pty;
    pty.Start(InteractiveShell);
    pty.ReadUntil("\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    pty.Type("cd sx\x7fystem1\r");
    pty.ReadUntil("/system1\r\n\r\n->");
    pty.Type("nonsense\r");
    const std::string seen = pty.ReadUntil("recognized.\r\n\r\n->");
    pty.Type("exit\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 4));
    EXPECT_TRUE(pty.IsAsBefore());
    // Keys are echoed by the shell alone, and once.
    EXPECT_TRUE(seen.ends_with("\r\n\r\n->cd sx\b \bystem1\r\n/system1\r\n"
                               "\r\n->nonsense\r\nERROR: Command not recognized.\r\n\r\n->"))
        << seen;
}

class EndingSignal : public testing::TestWithParam<int>
{
};

TEST_P(EndingSignal, RestoresTheTerminalAndEndsTheProcess)
{
    Pty pty;
    pty.Start(InteractiveShell);
    pty.ReadUntil("\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    ASSERT_EQ(kill(pty.Child(), GetParam()), 0);
    EXPECT_TRUE(EndedBy(pty.Wait(), GetParam()));
    EXPECT_TRUE(pty.IsAsBefore());
}

#ifndef __has_feature
#define __has_feature(feature) 0  // GCC
#endif
#if __has_feature(address_sanitizer) || defined(__SANITIZE_ADDRESS__)
constexpr bool kFaultsAreTheSanitizers = true;
#else
constexpr bool kFaultsAreTheSanitizers = false;
#endif

// Those that the C library keeps for itself (32 and 33) excepted. KILL cannot be caught.
std::vector<int> EndingSignals()
{
    std::vector<int> all = {SIGHUP,  SIGINT,  SIGQUIT,   SIGTRAP, SIGABRT, SIGUSR1, SIGUSR2,
                            SIGPIPE, SIGALRM, SIGTERM,   SIGXCPU, SIGXFSZ, SIGPROF, SIGVTALRM,
                            SIGIO,   SIGPWR,  SIGSTKFLT, SIGSYS,  SIGRTMIN};
    if (!kFaultsAreTheSanitizers)
        all.insert(all.end(), {SIGILL, SIGBUS, SIGFPE, SIGSEGV});
    if (!kEmulated)  // it has fewer of them
        all.push_back(SIGRTMAX);
    return all;
}

INSTANTIATE_TEST_SUITE_P(Terminal, EndingSignal, testing::ValuesIn(EndingSignals()),
                         [](const auto &test) { return "Signal" + std::to_string(test.param); });

[[gnu::noinline]] size_t UseUpTheStack(size_t depth)
{
    volatile char frame[4096] = {};
    frame[depth % sizeof frame] = 1;
    return depth > 1'000'000 ? 0 : UseUpTheStack(depth + 1) + static_cast<size_t>(frame[0]);
}

TEST(Terminal, FaultOfTheStackRestoresTheTerminal)
{
    if (kFaultsAreTheSanitizers)
        GTEST_SKIP() << "the sanitizer has handlers of its own";
    Pty pty;
    pty.Start([] {
        TerminalCatchSignals();
        TerminalAwaitKeys();
        return static_cast<int>(UseUpTheStack(1));
    });
    EXPECT_TRUE(EndedBy(pty.Wait(), SIGSEGV));
    EXPECT_TRUE(pty.IsAsBefore());
}

TEST(Terminal, InterruptAndQuitKeysEndTheProcess)
{
    for (const char *key : {"\x03", "\x1c"}) {
        Pty pty;
        pty.Start(InteractiveShell);
        pty.ReadUntil("\n->");
        ASSERT_TRUE(pty.BecomesRaw());
        pty.Type(key);
        EXPECT_TRUE(EndedBy(pty.Wait(), key[0] == '\x03' ? SIGINT : SIGQUIT));
        EXPECT_TRUE(pty.IsAsBefore());
    }
}

TEST(Terminal, SignalsIgnoredAtTheStartStayIgnored)
{
    Pty pty;
    pty.Start([] {
        for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
            signal(number, SIG_IGN);
        return InteractiveShell();
    });
    pty.ReadUntil("\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
        kill(pty.Child(), number);
    pty.Type("exit\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

TEST(Terminal, HangUpEndsTheShell)
{
    Pty pty;
    pty.Start(InteractiveShell);
    pty.ReadUntil("\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    pty.HangUp();
    EXPECT_TRUE(EndedBy(pty.Wait(), SIGHUP));
}

TEST(Terminal, HangUpEndsTheShellAlsoWhenTheSignalIsIgnored)
{
    Pty pty;
    pty.Start([] {
        signal(SIGHUP, SIG_IGN);
        return InteractiveShell();
    });
    pty.ReadUntil("\n->");
    pty.Type("nonsense\r");
    pty.ReadUntil("recognized.\r\n\r\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    pty.HangUp();
    EXPECT_TRUE(ExitedWith(pty.Wait(), 4));
}

// The shell as a job of a job-control shell: stopping needs a parent in the same session.
int AsJob()
{
    signal(SIGTTOU, SIG_IGN);
    const pid_t job = fork();
    if (job == 0) {
        setpgid(0, 0);
        tcsetpgrp(0, getpid());
        signal(SIGTTOU, SIG_DFL);
        _exit(InteractiveShell());
    }
    setpgid(job, job);
    for (;;) {
        int status = 0;
        if (waitpid(job, &status, WUNTRACED) != job)
            return 97;
        if (!WIFSTOPPED(status))
            return WIFEXITED(status) ? WEXITSTATUS(status) : 96;
        // Outside raw mode: the terminal must be as it was.
        termios attributes = {};
        tcgetattr(0, &attributes);
        const bool asBefore =
            (attributes.c_lflag & ICANON) != 0 && (attributes.c_lflag & ECHO) != 0;
        printf("stopped %s by %d\n", asBefore ? "restored" : "raw", WSTOPSIG(status));
        fflush(stdout);
        SleepMs(20);
        kill(-job, SIGCONT);
    }
}

TEST(Terminal, StopRestoresTheTerminalAndContinueSetsItAgain)
{
    Pty pty;
    pty.Start(AsJob);
    pty.ReadUntil("\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    for (int round = 1; round <= 2; ++round) {
        SCOPED_TRACE(round);
        SleepMs(20);
        pty.Type("\x1a");  // the stop key
        pty.Forget();
        pty.ReadUntil("stopped restored by " + std::to_string(kStopSignal));
        ASSERT_TRUE(pty.BecomesRaw());
        pty.Type("nonsense\r");
        pty.ReadUntil("recognized.\r\n\r\n->");
        ASSERT_TRUE(pty.BecomesRaw());
    }
    pty.Type("exit\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 4));
    EXPECT_TRUE(pty.IsAsBefore());
}

TEST(Terminal, StopKeepsTheLineTypedSoFar)
{
    Pty pty;
    pty.Start(AsJob);
    pty.ReadUntil("\n->");
    ASSERT_TRUE(pty.BecomesRaw());
    pty.Type("ver");
    pty.ReadUntil("->ver");
    ASSERT_TRUE(pty.BecomesRaw());
    SleepMs(20);
    pty.Type("\x1a");
    pty.ReadUntil("stopped restored");
    ASSERT_TRUE(pty.BecomesRaw());
    pty.Type("sion\r");
    pty.ReadUntil("version 1.0");
    pty.Type("exit\r");
    EXPECT_TRUE(ExitedWith(pty.Wait(), 0));
}

}  // namespace
