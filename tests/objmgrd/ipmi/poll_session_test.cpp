// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/poll_session: a BMC that is busy, silence, and the pauses before a session
// is opened again.
#include "objmgrd/ipmi/poll_session.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

class PollSessionTest : public testing::Test
{
protected:
    PollSessionTest()
    {
        fakeNowMs = 1000000;
        session_.Open(&why_);
    }
    // The BMC is busy for so many requests.
    void BusyFor(u32 requests)
    {
        machine_.requests.clear();
        machine_.hook = [this, requests](const BmcRequest &, BmcAnswer *answer) {
            *answer = FakeBmc::Code(kBmcNodeBusy);
            return machine_.requests.size() <= requests;
        };
    }
    BmcAnswer AskPower() { return session_.Ask({kNetFnChassis, kGetChassisStatus, 0, {}}); }
    // How long after a failed opening the next one is due.
    u64 PauseAfterOpening()
    {
        EXPECT_NE(session_.Open(&why_), BmcOpening::Open);
        return session_.NextOpenMs() - fakeNowMs;
    }

    std::string why_;
    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    Mailbox box_;
    PollSession session_{&bmc_, &box_, FakeClock};
};

}  // namespace

TEST_F(PollSessionTest, ABusyBmcIsAskedSixTimes)
{
    BusyFor(5);
    EXPECT_TRUE(AskPower().Done(1));
    EXPECT_EQ(machine_.requests.size(), 6u);
    EXPECT_EQ(box_.heardMs, fakeNowMs);
    box_.heardMs = 0;
    BusyFor(6);
    EXPECT_EQ(AskPower().code, kBmcNodeBusy);
    EXPECT_EQ(machine_.requests.size(), 6u);
    EXPECT_EQ(box_.heardMs, 0u);
}

TEST_F(PollSessionTest, OtherFailuresAreNotAskedAgain)
{
    for (u8 code : std::initializer_list<u8>{kBmcTimeout, kBmcStarting, kBmcDenied, 0xFF}) {
        machine_.everything = code;
        machine_.requests.clear();
        EXPECT_EQ(AskPower().code, code);
        EXPECT_EQ(machine_.requests.size(), 1u);
    }
    EXPECT_FALSE(session_.TakeSilence());
}

// An order is carried out between two requests: nobody waits for a BMC that is busy.
TEST_F(PollSessionTest, AnOrderThatWaitsEndsTheRepetition)
{
    ASSERT_TRUE(box_.Give({1, OrderKind::Stop, fakeNowMs + 1000}));
    BusyFor(100);
    EXPECT_EQ(AskPower().code, kBmcNodeBusy);
    EXPECT_EQ(machine_.requests.size(), 1u);
}

TEST_F(PollSessionTest, AnOrderThatComesInTheMiddleEndsTheRepetition)
{
    BusyFor(100);
    const auto busy = machine_.hook;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        if (machine_.requests.size() == 3) {
            EXPECT_TRUE(box_.Give({1, OrderKind::Stop, fakeNowMs + 1000}));
        }
        return busy(request, answer);
    };
    EXPECT_EQ(AskPower().code, kBmcNodeBusy);
    EXPECT_EQ(machine_.requests.size(), 3u);
}

TEST_F(PollSessionTest, SilenceIsRememberedUntilItIsTaken)
{
    machine_.silent = true;
    EXPECT_FALSE(AskPower().came);
    EXPECT_EQ(machine_.requests.size(), 1u);
    machine_.silent = false;
    EXPECT_TRUE(AskPower().came);
    EXPECT_TRUE(session_.TakeSilence());
    EXPECT_FALSE(session_.TakeSilence());
}

TEST_F(PollSessionTest, PausesDoubleUpToTheirLimitUntilTheBmcWorks)
{
    session_.Close();
    EXPECT_FALSE(session_.IsOpen());
    machine_.silent = true;
    for (u64 pause : {500u, 1000u, 2000u, 4000u, 8000u, 8000u})
        EXPECT_EQ(PauseAfterOpening(), pause);
    session_.Works();
    EXPECT_EQ(PauseAfterOpening(), 500u);
    session_.Works();
    machine_.silent = false;
    machine_.opening = BmcOpening::Refused;
    for (u64 pause : {2000u, 4000u, 8000u, 16000u, 30000u, 30000u})
        EXPECT_EQ(PauseAfterOpening(), pause);
}

// A damaged answer may look like a refusal, however long the BMC has not been in order.
TEST_F(PollSessionTest, OneRefusalAmongOtherFailuresCostsTwoSeconds)
{
    machine_.silent = true;
    for (int i = 0; i < 6; ++i)
        PauseAfterOpening();
    for (int i = 0; i < 2; ++i) {
        machine_.silent = false;
        machine_.opening = BmcOpening::Refused;
        EXPECT_EQ(PauseAfterOpening(), 2000u);
        machine_.silent = true;
        EXPECT_EQ(PauseAfterOpening(), 8000u);
    }
}

TEST_F(PollSessionTest, AfterALossItIsOpenedAtOnceAndThenEverMoreSlowly)
{
    for (u64 pause : {0u, 500u, 1000u, 2000u, 4000u, 8000u, 8000u}) {
        EXPECT_EQ(session_.Open(&why_), BmcOpening::Open);
        EXPECT_TRUE(session_.IsOpen());
        session_.Lose();
        EXPECT_FALSE(session_.IsOpen());
        EXPECT_EQ(machine_.openSessions, 0u);
        EXPECT_EQ(session_.NextOpenMs() - fakeNowMs, pause);
    }
}

// What becomes quicker is followed at once, what becomes slower by a sixteenth.
TEST_F(PollSessionTest, TheQuickestAnswerOfLateIsKnown)
{
    EXPECT_EQ(session_.AnswerMs(), 0u);
    machine_.latencyMs = 320;
    AskPower();
    EXPECT_EQ(session_.AnswerMs(), 320u);
    machine_.latencyMs = 16;
    AskPower();
    EXPECT_EQ(session_.AnswerMs(), 16u);
    machine_.latencyMs = 48;
    AskPower();
    EXPECT_EQ(session_.AnswerMs(), 18u);
    machine_.latencyMs = 0;
    AskPower();
    EXPECT_EQ(session_.AnswerMs(), 1u);
    machine_.silent = true;
    AskPower();
    EXPECT_EQ(session_.AnswerMs(), 1u);
}

TEST_F(PollSessionTest, TheQuickestOpeningOfLateIsKnown)
{
    EXPECT_EQ(session_.OpeningMs(), 1u);
    session_.Opened(33);
    EXPECT_EQ(session_.OpeningMs(), 3u);
    machine_.openingMs = 19;
    session_.Open(&why_);
    EXPECT_EQ(session_.OpeningMs(), 4u);
}
