// SPDX-License-Identifier: Apache-2.0
#include "ctl/method_batch.h"

#include "support/clock.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

// What the processes of the calls share.
struct Shared {
    std::atomic<u32> begun;
    std::atomic<u32> running;
    std::atomic<u32> most;
    std::atomic<i64> beganMs[128];
};

class MethodBatchOf : public testing::Test
{
protected:
    MethodBatchOf()
        : shared(static_cast<Shared *>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~MethodBatchOf() override { munmap(shared, sizeof(Shared)); }

    // "status applied message" of each, in order; "-" for one that was never told.
    std::vector<std::string> Run(size_t count, const MethodPace &pace,
                                 const std::function<MethodAnswer(size_t)> &call)
    {
        std::vector<std::string> answers(count, "-");
        MethodBatch(count, pace, call, [&](size_t number, const MethodAnswer &answer) {
            EXPECT_EQ(answers[number], "-");
            answers[number] = std::to_string(answer.status) + (answer.applied ? " yes " : " no ") +
                              answer.message;
        });
        return answers;
    }
    // Waits, in a call, until so many have begun.
    void WaitForBegun(u32 number) const
    {
        WaitUntil([&] { return shared->begun >= number; });
    }
    void Began(size_t number) const
    {
        shared->beganMs[number] = NowMs();
        ++shared->begun;
    }

    Shared *shared;
};

}  // namespace

TEST_F(MethodBatchOf, EachHasItsAnswer)
{
    const std::string longest(kMethodMessageMost, 'x');
    EXPECT_EQ(Run(4, {},
                  [&](size_t number) -> MethodAnswer {
                      if (number == 1)
                          raise(SIGKILL);
                      if (number == 2)
                          return {kExitNoRight, false, longest + "y"};
                      return {kExitDone, number == 3, ""};
                  }),
              (std::vector<std::string>{"0 no ", "1 no the process that called was ended",
                                        "77 no " + longest, "0 yes "}));
    EXPECT_EQ(Run(0, {}, [](size_t) { return MethodAnswer(); }), std::vector<std::string>());
}

TEST_F(MethodBatchOf, OneCallIsMadeHere)
{
    const pid_t self = getpid();
    EXPECT_EQ(Run(1, {1, 60000},
                  [&](size_t) -> MethodAnswer {
                      return {kExitDone, getpid() == self, ""};
                  }),
              std::vector<std::string>{"0 yes "});
}

TEST_F(MethodBatchOf, SoManyAtOnceAndNoMore)
{
    const std::vector<std::string> answers = Run(70, {}, [&](size_t number) -> MethodAnswer {
        const u32 now = ++shared->running;
        for (u32 most = shared->most; now > most;)
            shared->most.compare_exchange_weak(most, now);
        Began(number);
        WaitForBegun(64);
        --shared->running;
        return {};
    });
    EXPECT_EQ(answers, std::vector<std::string>(70, "0 no "));
    EXPECT_EQ(shared->most, 64u);
}

// The first ones are still without an answer when the last ones begin.
TEST_F(MethodBatchOf, PausesGoByWhenCallsBegin)
{
    const i64 start = NowMs();
    const std::vector<std::string> answers = Run(6, {2, 100}, [&](size_t number) -> MethodAnswer {
        Began(number);
        WaitForBegun(6);
        return {shared->begun == 6 ? kExitDone : kExitFailed, false, ""};
    });
    EXPECT_EQ(answers, std::vector<std::string>(6, "0 no "));
    for (const i64 number : {2, 3, 4, 5})
        EXPECT_GE(shared->beganMs[number] - start, number / 2 * 100) << number;
}

TEST_F(MethodBatchOf, WhereTheSystemHasNoRoomItGoesSlower)
{
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(lowest);
    rlimit few = before;
    few.rlim_cur = static_cast<rlim_t>(lowest) + 5;
    setrlimit(RLIMIT_NOFILE, &few);
    const auto slower = Run(12, {}, [](size_t) { return MethodAnswer(); });
    few.rlim_cur = static_cast<rlim_t>(lowest);
    setrlimit(RLIMIT_NOFILE, &few);
    const auto none = Run(2, {}, [](size_t) { return MethodAnswer(); });
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(slower, std::vector<std::string>(12, "0 no "));
    EXPECT_EQ(none, std::vector<std::string>(2, "1 no no process for it: Too many open files"));
}
