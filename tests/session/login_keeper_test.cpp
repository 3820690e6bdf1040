// SPDX-License-Identifier: Apache-2.0
// login_keeper_test.cpp -- the keeper of a process that is killed, and of one that is not.
#include "session/login_keeper.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "session/registry.h"
#include "support/test_files.h"

#ifdef ZOR_EMULATED
static constexpr int kEndedInOrder = -1;
#else
static constexpr int kEndedInOrder = 0;
#endif

// A process with a session, a keeper, and a pipe as every one of its standard descriptors.
class LoginKeeping : public testing::Test
{
protected:
    struct Kept {
        u32 id;
        pid_t keeper;
    };

    void SetUp() override
    {
        prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);  // orphaned keepers are waited for here
        alarm(100);
    }
    void TearDown() override { close(output_); }

    // Starts the process; it pauses, or ends its keeper and itself where that is wanted.
    void Start(bool endInOrder = false)
    {
        int told[2];
        int output[2];
        ASSERT_EQ(pipe2(told, O_CLOEXEC), 0);
        ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
        login_ = fork();
        if (login_ == 0) {
            close(output[0]);
            for (int descriptor : {0, 1, 2})
                dup2(output[1], descriptor);
            RegistryRecord record = {};
            record.user[0] = 'u';
            Kept kept = {};
            int lock = -1;
            LoginKeeper keeper = {};
            if (RegistryOpenSession(directory_.Path().c_str(), &record, nullptr, &kept.id, &lock) !=
                    0 ||
                !LoginKeeperStart(directory_.Path().c_str(), kept.id, lock, &keeper))
                _exit(3);
            kept.keeper = keeper.pid;
            if (endInOrder)
                LoginKeeperEnd(&keeper);
            if (write(told[1], &kept, sizeof(kept)) != sizeof(kept))
                _exit(4);
            if (!endInOrder)
                pause();
            _exit(0);
        }
        close(told[1]);
        close(output[1]);
        output_ = output[0];
        ASSERT_EQ(read(told[0], &kept_, sizeof(kept_)), static_cast<ssize_t>(sizeof(kept_)));
        close(told[0]);
    }

    void KillLogin() const
    {
        kill(login_, SIGKILL);
        waitpid(login_, nullptr, 0);
    }
    std::string File() const { return directory_.Path() + "/" + std::to_string(kept_.id); }
    bool FileIsThere() const { return access(File().c_str(), F_OK) == 0; }
    bool IsLive() const
    {
        RegistryEntry entry;
        if (RegistryFind(directory_.Path().c_str(), kept_.id, RegistryWhose::Own, &entry) != 0)
            return false;
        RegistryRelease(&entry);
        return entry.live;
    }
    // Waits until the keeper has its own name, and so its own descriptors a moment later.
    void AwaitKeeper() const
    {
        const std::string path = "/proc/" + std::to_string(kept_.keeper);
        std::string name;
        std::error_code error;
        while (name != "smclp-keeper" || std::filesystem::exists(path + "/fd/5", error)) {
            std::ifstream(path + "/comm") >> name;
            usleep(1000);
        }
    }
    // Waits until the keeper has ended; how, or -1 where an emulator does not give it to this
    // process.
    int AwaitItsEnd() const
    {
        int status = -1;
        while (waitpid(kept_.keeper, &status, WNOHANG) != kept_.keeper &&
               kill(kept_.keeper, 0) == 0)
            usleep(1000);
        return status;
    }
    // Whether nobody holds the process's output any more.
    bool OutputHasEnded() const
    {
        pollfd output = {output_, 0, 0};
        return poll(&output, 1, 0) == 1 && (output.revents & POLLHUP) != 0;
    }

    TestDirectory directory_;
    pid_t login_ = -1;
    int output_ = -1;
    Kept kept_ = {};
};

TEST_F(LoginKeeping, RemovesTheFileOfAKilledLoginAndEnds)
{
    Start();
    EXPECT_TRUE(IsLive());
    KillLogin();
    EXPECT_EQ(AwaitItsEnd(), kEndedInOrder);
    EXPECT_FALSE(FileIsThere());
}

TEST_F(LoginKeeping, RemovesNothingWhenItIsEndedInOrder)
{
    Start(true);
    waitpid(login_, nullptr, 0);
    EXPECT_EQ(kill(kept_.keeper, 0), -1);
    EXPECT_TRUE(FileIsThere());
    EXPECT_FALSE(IsLive());
}

TEST_F(LoginKeeping, HoldsNeitherTheSessionNorTheOutput)
{
    Start();
    AwaitKeeper();
    kill(kept_.keeper, SIGSTOP);
    KillLogin();
    EXPECT_FALSE(IsLive());
    EXPECT_TRUE(FileIsThere());
    EXPECT_TRUE(OutputHasEnded());
    kill(kept_.keeper, SIGCONT);
    AwaitItsEnd();
    EXPECT_FALSE(FileIsThere());
}

TEST_F(LoginKeeping, FileOfAnotherOfThatNameStays)
{
    Start();
    AwaitKeeper();
    ASSERT_EQ(unlink(File().c_str()), 0);
    std::ofstream(File()) << "another\n";
    KillLogin();
    AwaitItsEnd();
    EXPECT_TRUE(FileIsThere());
}

TEST_F(LoginKeeping, SignalsOfATerminalOrToTheGroupDoNotReachIt)
{
    Start();
    AwaitKeeper();
    EXPECT_EQ(getsid(kept_.keeper), kept_.keeper);
    for (int number : {SIGHUP, SIGINT, SIGTERM, SIGQUIT, SIGTSTP, SIGUSR1})
        kill(kept_.keeper, number);
    usleep(50'000);
    EXPECT_EQ(waitpid(kept_.keeper, nullptr, WNOHANG), -1);  // the login's child still
    EXPECT_TRUE(FileIsThere());
    KillLogin();
    EXPECT_EQ(AwaitItsEnd(), kEndedInOrder);
    EXPECT_FALSE(FileIsThere());
}
