// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/notify.h"

#include "support/listening_init.h"
#include "support/objmgr_process.h"

namespace
{

class Init : public testing::Test
{
protected:
    void Listen(const std::string &name) { init_.Listen(name); }
    std::string Heard() const { return init_.Heard(); }

    TestDirectory directory_;
    ListeningInit init_;
    Notify notify_;
};

TEST_F(Init, HearsThatTheServiceIsReadyAndThatItStops)
{
    Listen(directory_.Path() + "/notify");
    notify_.Open();
    EXPECT_EQ(Heard(), "");
    notify_.Ready();
    EXPECT_EQ(Heard(), "READY=1");
    notify_.Status("serving\nREADY=1");
    EXPECT_EQ(Heard(), "STATUS=serving");
    notify_.Stopping();
    EXPECT_EQ(Heard(), "STOPPING=1");
}

TEST_F(Init, MayListenAtAnAbstractName)
{
    Listen("@zor-notify-" + std::to_string(getpid()));
    notify_.Open();
    notify_.Ready();
    EXPECT_EQ(Heard(), "READY=1");
}

TEST_F(Init, HearsTheWatchdogTwiceAsOftenAsItHasTo)
{
    Listen(directory_.Path() + "/notify");
    setenv("WATCHDOG_USEC", "2000000", 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    notify_.Open();
    EXPECT_EQ(notify_.WatchdogMs(), 2000u);
    notify_.Watchdog(5000);
    EXPECT_EQ(Heard(), "WATCHDOG=1");
    notify_.Watchdog(5999);
    EXPECT_EQ(Heard(), "");
    notify_.Watchdog(6000);
    EXPECT_EQ(Heard(), "WATCHDOG=1");
}

TEST_F(Init, HearsOnceThereIsRoomWhatItHadNoRoomFor)
{
    Listen(directory_.Path() + "/notify");
    setenv("WATCHDOG_USEC", "2000000", 1);
    notify_.Open();
    for (int i = 0; i < 100000; ++i)
        notify_.Status("busy");
    notify_.Ready();
    notify_.Watchdog(5000);
    for (std::string heard = "?"; !heard.empty();) {
        heard = Heard();
        EXPECT_TRUE(heard.empty() || heard == "STATUS=busy") << heard;
    }
    notify_.Watchdog(5400);
    EXPECT_EQ(Heard(), "READY=1");
    EXPECT_EQ(Heard(), "STATUS=busy");
    EXPECT_EQ(Heard(), "WATCHDOG=1");
    notify_.Watchdog(6399);
    EXPECT_EQ(Heard(), "");
    notify_.Watchdog(6400);
    EXPECT_EQ(Heard(), "WATCHDOG=1");
    EXPECT_EQ(Heard(), "");
}

TEST_F(Init, WatchesAnotherProcess)
{
    Listen(directory_.Path() + "/notify");
    setenv("WATCHDOG_USEC", "2000000", 1);
    setenv("WATCHDOG_PID", "1", 1);
    notify_.Open();
    EXPECT_EQ(notify_.WatchdogMs(), 0u);
    notify_.Watchdog(5000);
    EXPECT_EQ(Heard(), "");
}

TEST_F(Init, NeedNotSayWhoseWatchdogItIs)
{
    Listen(directory_.Path() + "/notify");
    setenv("WATCHDOG_USEC", "2000000", 1);
    notify_.Open();
    EXPECT_EQ(notify_.WatchdogMs(), 2000u);
}

TEST_F(Init, WhatIsNoNumberIsNoWatchdog)
{
    Listen(directory_.Path() + "/notify");
    setenv("WATCHDOG_USEC", "20s", 1);
    notify_.Open();
    EXPECT_EQ(notify_.WatchdogMs(), 0u);
}

TEST_F(Init, IsNotHandedToChildren)
{
    Listen(directory_.Path() + "/notify");
    setenv("WATCHDOG_USEC", "2000000", 1);
    setenv("WATCHDOG_PID", "1", 1);
    notify_.Open();
    EXPECT_EQ(getenv("NOTIFY_SOCKET"), nullptr);
    EXPECT_EQ(getenv("WATCHDOG_USEC"), nullptr);
    EXPECT_EQ(getenv("WATCHDOG_PID"), nullptr);
}

TEST_F(Init, ThatDoesNotListenHoldsNobody)
{
    Listen(directory_.Path() + "/notify");
    notify_.Open();
    for (int i = 0; i < 100000; ++i)
        notify_.Ready();
    EXPECT_EQ(Heard(), "READY=1");
}

TEST(Notify, WithoutASocketNothingIsSaid)
{
    for (const char *name : {"", "x", "/", "/nowhere/notify", "relative/notify"}) {
        setenv("NOTIFY_SOCKET", name, 1);
        setenv("WATCHDOG_USEC", "2000000", 1);
        Notify notify;
        notify.Open();
        notify.Ready();
        notify.Watchdog(1);
        EXPECT_EQ(notify.WatchdogMs(), 0u) << name;
    }
    const std::string tooLong = "/" + std::string(107, 'x');
    setenv("NOTIFY_SOCKET", tooLong.c_str(), 1);
    Notify notify;
    notify.Open();
    notify.Ready();
    EXPECT_EQ(getenv("NOTIFY_SOCKET"), nullptr);
}

}  // namespace
