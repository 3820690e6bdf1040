// SPDX-License-Identifier: Apache-2.0
// login_watch_test.cpp -- sessions that end, with children that do not want to.
#include "session/login_watch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "platform/clock.h"
#include "session/registry.h"
#include "support/test_files.h"

// A watch blocks signals and reads descriptors 0 and 1 of its process: it runs in one of its own.
class LoginWatching : public testing::Test
{
protected:
    struct Outcome {
        LoginEnd why;
        int status;
        double seconds;
    };

    void SetUp() override { alarm(100); }

    // Opens a session, runs the shell's text in it, and `during` in the watching process just
    // before it watches (with the child's process id and the session's file).
    Outcome Watch(const char *text, u32 idleSeconds,
                  const std::function<void(pid_t, const std::string &)> &during)
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        pid_t watcher = fork();
        if (watcher == 0) {
            // Whoever starts the tests may ignore some.
            for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
                signal(number, SIG_DFL);
            Outcome outcome = WatchHere(text, idleSeconds, during);
            _exit(write(ends[1], &outcome, sizeof(outcome)) == sizeof(outcome) ? 0 : 1);
        }
        close(ends[1]);
        Outcome outcome = {LoginEnd::Lost, -1, -1};
        EXPECT_EQ(read(ends[0], &outcome, sizeof(outcome)), static_cast<ssize_t>(sizeof(outcome)));
        close(ends[0]);
        waitpid(watcher, nullptr, 0);
        return outcome;
    }

    Outcome WatchHere(const char *text, u32 idleSeconds,
                      const std::function<void(pid_t, const std::string &)> &during) const
    {
        RegistryRecord record = {};
        record.user[0] = 'u';
        LoginSession session = {};
        session.directory = directory_.Path().c_str();
        session.idleSeconds = idleSeconds;
        sigset_t before;
        LoginBlockSignals(&before);
        if (RegistryOpenSession(session.directory, &record, nullptr, &session.id, &session.lock))
            _exit(3);
        dup2(open("/dev/null", O_RDWR | O_CLOEXEC), 0);
        dup2(0, 1);
        int ready[2];
        if (pipe(ready) != 0)
            _exit(4);
        pid_t self = getpid();
        session.child = fork();
        if (session.child == 0) {
            LoginDieWith(self);
            sigprocmask(SIG_SETMASK, &before, nullptr);
            close(ready[0]);
            dup2(ready[1], 9);
            if (ready[1] != 9)
                close(ready[1]);
            execl("/bin/sh", "sh", "-c", text, nullptr);
            _exit(127);
        }
        close(ready[1]);
        char c;
        if (read(ready[0], &c, 1) < 0)  // until the child writes to 9 or closes it
            _exit(5);
        const u64 startUs = ClockUs();
        during(session.child, directory_.Path() + "/" + std::to_string(session.id));
        LoginEnding ending = LoginWatch(&session);
        const double seconds = static_cast<double>(ClockUs() - startUs) / 1e6;
        return {ending.why, ending.status, seconds};
    }

    static void Nothing(pid_t, const std::string &) {}

    TestDirectory directory_;
};

static constexpr char kDeaf[] = "trap '' HUP TERM; echo >&9; exec 9>&-; exec sleep 60";

TEST_F(LoginWatching, ChildThatEndsByItselfIsSeenAtOnce)
{
    Outcome end = Watch("exit 7", 0, Nothing);
    EXPECT_EQ(end.why, LoginEnd::Exit);
    EXPECT_TRUE(WIFEXITED(end.status));
    EXPECT_EQ(WEXITSTATUS(end.status), 7);
}

TEST_F(LoginWatching, RemovedFileHangsUpAndAChildThatWillNotHearIsKilled)
{
    auto remove = [](pid_t, const std::string &file) { unlink(file.c_str()); };
    Outcome end = Watch("echo >&9; exec sleep 60", 0, remove);
    EXPECT_EQ(end.why, LoginEnd::Removed);
    EXPECT_EQ(WTERMSIG(end.status), SIGHUP);
    end = Watch(kDeaf, 0, remove);
    EXPECT_EQ(end.why, LoginEnd::Removed);
    EXPECT_EQ(WTERMSIG(end.status), SIGKILL);
}

TEST_F(LoginWatching, AnotherFileInThePlaceOfTheSessionsIsNotTheSessions)
{
    Outcome end = Watch("echo >&9; exec sleep 60", 0, [](pid_t, const std::string &file) {
        unlink(file.c_str());
        close(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    });
    EXPECT_EQ(end.why, LoginEnd::Removed);
}

TEST_F(LoginWatching, SessionUnusedForItsLimitEndsAndAUsedOneDoesNot)
{
    Outcome end = Watch("echo >&9; exec sleep 60", 1, Nothing);
    EXPECT_EQ(end.why, LoginEnd::Idle);
    // Used as the shell marks it, though on the date nothing changes.
    end = Watch("echo >&9; sleep 2; exit 5", 3600, Nothing);
    EXPECT_EQ(end.why, LoginEnd::Exit);
    EXPECT_EQ(WEXITSTATUS(end.status), 5);
}

TEST_F(LoginWatching, TimeOfTheDateInTheFileIsNoIdleTime)
{
    // A last use beyond now, as touch would set it, counts as just now.
    Outcome end = Watch("echo >&9; sleep 2; exit 5", 1, [](pid_t, const std::string &file) {
        timespec times[2] = {{0, UTIME_OMIT}, {time(nullptr), 0}};
        utimensat(AT_FDCWD, file.c_str(), times, 0);
    });
    EXPECT_EQ(end.why, LoginEnd::Exit);
}

TEST_F(LoginWatching, HangUpAndTerminationEndAlsoAStoppedAndADeafChild)
{
    for (int number : {SIGHUP, SIGTERM}) {
        Outcome end =
            Watch(kDeaf, 0, [number](pid_t, const std::string &) { kill(getpid(), number); });
        EXPECT_EQ(end.why, LoginEnd::Signal);
        EXPECT_EQ(WTERMSIG(end.status), SIGKILL);
        end = Watch("echo >&9; exec sleep 60", 0, [number](pid_t child, const std::string &) {
            kill(child, SIGSTOP);
            kill(getpid(), number);
        });
        EXPECT_EQ(end.why, LoginEnd::Signal);
        EXPECT_EQ(WTERMSIG(end.status), number);
    }
}

TEST_F(LoginWatching, AChildThatSomebodyElseTookIsLost)
{
    const Outcome end = Watch("echo >&9; exit 3", 0,
                              [](pid_t child, const std::string &) { waitpid(child, nullptr, 0); });
    EXPECT_EQ(end.why, LoginEnd::Lost);
    EXPECT_GE(end.seconds, 0);
}

TEST_F(LoginWatching, OtherSignalsArePassedOnAndEndNothing)
{
    Outcome end = Watch("trap 'exit 9' INT; echo >&9; while :; do sleep 0.1; done", 0,
                        [](pid_t, const std::string &) { kill(getpid(), SIGINT); });
    EXPECT_EQ(end.why, LoginEnd::Exit);
    EXPECT_EQ(WEXITSTATUS(end.status), 9);
}

TEST_F(LoginWatching, OutputWithoutAReaderEndsTheSession)
{
    Outcome end = Watch("echo >&9; exec sleep 60", 0, [](pid_t, const std::string &) {
        int ends[2];
        if (pipe(ends) != 0)
            _exit(6);
        close(ends[0]);
        dup2(ends[1], 1);
    });
    EXPECT_EQ(end.why, LoginEnd::HangUp);
}

TEST_F(LoginWatching, InputThatHasEndedEndsNothing)
{
    Outcome end = Watch("echo >&9; sleep 2; exit 5", 0, [](pid_t, const std::string &) {
        int ends[2];
        if (pipe(ends) != 0)
            _exit(6);
        close(ends[1]);
        dup2(ends[0], 0);
    });
    EXPECT_EQ(end.why, LoginEnd::Exit);
    EXPECT_EQ(WEXITSTATUS(end.status), 5);
}

TEST_F(LoginWatching, TerminalWithoutItsOtherSideEndsTheSession)
{
    Outcome end = Watch("echo >&9; exec sleep 60", 0, [](pid_t, const std::string &) {
        int master = posix_openpt(O_RDWR | O_NOCTTY);
        grantpt(master);
        unlockpt(master);
        dup2(open(ptsname(master), O_RDWR | O_NOCTTY), 0);
        close(master);
    });
    EXPECT_EQ(end.why, LoginEnd::HangUp);
}

TEST_F(LoginWatching, ChildOfAParentThatEndedBeforeItCouldSaySoEndsToo)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        LoginDieWith(getpid());  // nobody's parent
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 137);
}
