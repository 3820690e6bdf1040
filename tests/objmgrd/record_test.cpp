// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/record.h"

#include "objmgrd/record_lines.h"
#include "platform/clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace
{

// Session 7 is that of uid 1001, as long as it lasts.
bool lasts = true;

bool SessionWithAddress(void *, u32 id, u32 uid, std::string *address)
{
    *address = "192.0.2.7";
    if (lasts && id == 7 && uid == 1001)
        return true;
    address->clear();
    return false;
}

bool User(u32 uid, std::string *name)
{
    if (uid == 1001)
        *name = "alice";
    else if (uid == 1002)
        *name = "bob\nevent=login";
    else
        return false;
    return true;
}

constexpr char kCall[] = " command=Stop argument=- target=OEM_QARN_System result=";

class RecordTest : public testing::Test
{
protected:
    void Start(u32 windowMs = kRecordWindowMs)
    {
        ASSERT_EQ(record_.Start({.write = RecordLines::Write,
                                 .context = &lines_,
                                 .session = SessionWithAddress,
                                 .user = User,
                                 .windowMs = windowMs}),
                  0);
    }
    std::vector<std::string> End()
    {
        record_.Stop();
        return lines_.Take();
    }
    static Peer Of(u32 uid) { return {.uid = uid, .gid = 1, .pid = 42, .groups = {}}; }
    static RecordCall Stop(u32 session, RecordResult result, u32 number)
    {
        return {.session = session,
                .command = "Stop",
                .argument = "",
                .target = "OEM_QARN_System",
                .result = result,
                .number = number};
    }

    RecordLines lines_;
    Record record_;
};

using Texts = std::vector<std::string>;

TEST_F(RecordTest, WhatTheLogDidNotTakeIsToldUntilItTakesThat)
{
    static std::atomic<int> calls;
    calls = 0;
    ASSERT_EQ(record_.Start({.write = RecordLines::Write,
                             .context = &lines_,
                             .user = User,
                             .tellLost = [](void *) { return ++calls >= 4; },
                             .tellMs = 10}),
              0);
    for (int i = 0; i < 1000 && calls < 4; ++i)
        usleep(10'000);
    EXPECT_EQ(calls, 4);  // without any other line
    usleep(100'000);
    EXPECT_EQ(calls, 4);
    record_.Stop();
    EXPECT_EQ(calls, 5);
}

TEST_F(RecordTest, ACallIsOneLine)
{
    Start();
    record_.Call(Of(1001), Stop(7, RecordResult::Done, 1));
    record_.Call(Of(1001), Stop(7, RecordResult::Refused, 0));
    record_.Call(Of(1001), Stop(7, RecordResult::Failed, 17));
    record_.Call(Of(1001), Stop(7, RecordResult::Gone, 0));
    record_.Call(Of(1001), Stop(7, RecordResult::Unanswered, 0));
    record_.Call(Of(1001),
                 {7, "Reset", "Mode=PowerCycle", "OEM_QARN_System", RecordResult::Done, 0});
    const std::string who =
        "event=call user=alice uid=1001 pid=42 session=7 claimed_address=192.0.2.7";
    EXPECT_EQ(End(), (Texts{who + kCall + "done value=1", who + kCall + "refused",
                            who + kCall + "failed status=17", who + kCall + "gone",
                            who + kCall + "unanswered",
                            who + " command=Reset argument=Mode=PowerCycle target=OEM_QARN_System "
                                  "result=done value=0"}));
}

TEST_F(RecordTest, ASessionOfSomebodyElseIsNotNamed)
{
    Start();
    record_.Call(Of(1003), Stop(7, RecordResult::Done, 0));
    record_.Call(Of(1001), Stop(8, RecordResult::Done, 0));
    record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    const std::string rest =
        std::string(" pid=42 session=- claimed_address=-") + kCall + "done value=0";
    EXPECT_EQ(End(),
              (Texts{"event=call user=- uid=1003" + rest, "event=call user=alice uid=1001" + rest,
                     "event=call user=alice uid=1001" + rest}));
}

TEST_F(RecordTest, ASessionThatEndsBeforeTheLineIsWrittenIsNamed)
{
    lines_.slow = true;
    Start();
    record_.Call(Of(1002), Stop(0, RecordResult::Done, 0));
    record_.Call(Of(1001), Stop(7, RecordResult::Done, 0));
    lasts = false;
    const Texts written = End();
    lasts = true;
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[1], std::string("event=call user=alice uid=1001 pid=42 session=7 "
                                      "claimed_address=192.0.2.7") +
                              kCall + "done value=0");
}

TEST_F(RecordTest, LoginRefusalAndLogoutAreLines)
{
    Start();
    LoginNotice notice = {LoginEvent::Login, 7, 0, "2001:db8::7%eth0", "ignored"};
    record_.Login(Of(1001), notice);
    notice = {LoginEvent::Refusal, 0, 0, "", "no right"};
    record_.Login(Of(1001), notice);
    notice = {LoginEvent::Logout, 7, 61, "192.0.2.8", "idle"};
    record_.Login(Of(1001), notice);
    const std::string who = " user=alice uid=1001 pid=42 session=";
    EXPECT_EQ(End(), (Texts{"event=login" + who + "7 claimed_address=2001:db8::7%eth0",
                            "event=refusal" + who + "- claimed_address=- reason=\"no right\"",
                            "event=logout" + who +
                                "7 claimed_address=192.0.2.8 reason=idle "
                                "seconds=61"}));
}

TEST_F(RecordTest, NoCallerCanBreakALine)
{
    Start();
    record_.Call(Of(1002), {0, "Stop\nevent=login uid=0", "\"\\", "a b\x1b[31m\xc3\xbc",
                            RecordResult::Done, 0});
    EXPECT_EQ(End(), (Texts{"event=call user=\"bob?event=login\" uid=1002 pid=42 session=- "
                            "claimed_address=- command=\"Stop?event=login uid=0\" argument=\"??\" "
                            "target=\"a b?[31m??\" result=done value=0"}));
}

TEST(RecordValue, PlainTextStandsAsItIs)
{
    EXPECT_EQ(RecordValue("alice-1.b_c:/=,@%+Z9"), "alice-1.b_c:/=,@%+Z9");
    EXPECT_EQ(RecordValue(""), "-");
    EXPECT_EQ(RecordValue("-"), "\"-\"");
    EXPECT_EQ(RecordValue("a;b"), "\"a;b\"");
}

TEST_F(RecordTest, TwentyLinesInTenSecondsAndThenACount)
{
    Start();
    for (int i = 0; i < 57; ++i)
        record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    record_.Call(Of(1003), Stop(0, RecordResult::Done, 0));
    const Texts written = End();
    ASSERT_EQ(written.size(), 22u);
    EXPECT_EQ(written[19].find("event=call user=alice"), 0u);
    EXPECT_EQ(written[20].find("event=call user=- uid=1003"), 0u);
    EXPECT_EQ(written[21].find("event=dropped user=alice uid=1001 lines=37 seconds="), 0u)
        << written[21];
}

TEST_F(RecordTest, NobodyBuriesWhatHeDidUnderWhatHeWasRefused)
{
    Start();
    const LoginNotice login = {LoginEvent::Login, 7, 0, "", ""};
    const LoginNotice refusal = {LoginEvent::Refusal, 0, 0, "", "no right"};
    for (int i = 0; i < 30; ++i) {
        record_.Call(Of(1001), Stop(0, RecordResult::Refused, 0));
        record_.Call(Of(1001), Stop(0, RecordResult::Done, 1));  // nothing to do
        record_.Login(Of(1001), refusal);
    }
    record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    record_.Call(Of(1001), Stop(0, RecordResult::Unanswered, 0));
    record_.Login(Of(1001), login);
    const Texts written = End();
    ASSERT_EQ(written.size(), 24u);
    EXPECT_NE(written[20].find("result=done value=0"), std::string::npos) << written[20];
    EXPECT_NE(written[21].find("result=unanswered"), std::string::npos) << written[21];
    EXPECT_EQ(written[22].find("event=login "), 0u) << written[22];
    EXPECT_EQ(written[23].find("event=dropped user=alice uid=1001 lines=70 seconds="), 0u)
        << written[23];
}

TEST_F(RecordTest, WhatTookEffectIsBoundedToo)
{
    Start();
    const LoginNotice login = {LoginEvent::Login, 7, 0, "", ""};
    for (int i = 0; i < 21; ++i) {
        record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
        record_.Login(Of(1001), login);
    }
    const Texts written = End();
    ASSERT_EQ(written.size(), 42u);
    EXPECT_EQ(written[40].find("event=dropped user=alice uid=1001 lines=1 "), 0u) << written[40];
    EXPECT_EQ(written[41].find("event=dropped user=alice uid=1001 lines=1 "), 0u) << written[41];
}

TEST_F(RecordTest, ALogoutNamesTheSessionThatWasTheUsers)
{
    Start();
    const LoginNotice login = {LoginEvent::Login, 7, 0, "", ""};
    const LoginNotice logout = {LoginEvent::Logout, 9, 1, "", "killed"};  // looked for in vain
    record_.Logout(Of(1001), logout, record_.Login(Of(1001), login));
    record_.Logout(Of(1003), logout, record_.Login(Of(1003), login));
    const Texts written = End();
    ASSERT_EQ(written.size(), 4u);
    EXPECT_NE(written[1].find(" session=9 "), std::string::npos) << written[1];
    EXPECT_NE(written[3].find(" session=- "), std::string::npos) << written[3];
}

TEST_F(RecordTest, TheCountIsToldAtTheEndOfTheTimeThoughNothingFollows)
{
    Start(200);
    for (int i = 0; i < 21; ++i)
        record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    Texts written;
    for (int i = 0; i < 500 && written.size() < 21; ++i) {
        usleep(10'000);
        for (std::string &line : lines_.Take())
            written.push_back(std::move(line));
    }
    ASSERT_EQ(written.size(), 21u);
    EXPECT_EQ(written[20].find("event=dropped user=alice uid=1001 lines=1 seconds="), 0u);
    // From then on it counts anew.
    record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    EXPECT_EQ(End().size(), 1u);
}

// Until then its thread sleeps.
TEST_F(RecordTest, TheTimeIsInSecondsAndCostsNothing)
{
    const auto used = [] {
        timespec time = {};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    Start(1100);
    for (int i = 0; i < 21; ++i)
        record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    usleep(100'000);
    EXPECT_EQ(lines_.Take().size(), 20u);
    const double before = used();
    usleep(700'000);
    EXPECT_LT(used() - before, 0.2);
    Texts written;
    for (int i = 0; i < 1000 && written.empty(); ++i) {
        usleep(10'000);
        written = lines_.Take();
    }
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0].substr(0, written[0].find('.')),
              "event=dropped user=alice uid=1001 lines=1 seconds=1");
}

// Only a log that takes no lines is waited for.
TEST_F(RecordTest, EndsAtOnce)
{
    u64 least = ~u64{0};
    for (int i = 0; i < 5; ++i) {
        Start();
        record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
        const u64 before = ClockMs();
        EXPECT_EQ(End().size(), 1u);
        least = std::min(least, ClockMs() - before);
    }
    EXPECT_LT(least, 900u);
}

TEST_F(RecordTest, ManyUidsShareOneCountInTheEnd)
{
    Start();
    lines_.slow = false;
    for (u32 uid = 0; uid < 256; ++uid)
        record_.Call(Of(5000 + uid), Stop(0, RecordResult::Done, 0));
    for (u32 uid = 0; uid < 100; ++uid)
        record_.Call(Of(9000 + uid), Stop(0, RecordResult::Done, 0));
    const Texts written = End();
    ASSERT_EQ(written.size(), 256u + 20 + 1);
    EXPECT_EQ(written.back().find("event=dropped user=- uid=- lines=80 seconds="), 0u)
        << written.back();
}

TEST_F(RecordTest, ALogThatIsSlowHoldsNobody)
{
    lines_.slow = true;
    Start();
    for (u32 uid = 0; uid < 10; ++uid)
        record_.Call(Of(5000 + uid), Stop(0, RecordResult::Done, 0));
    // Here, and not half a second later.
    EXPECT_LT(lines_.Take().size(), 10u);
    EXPECT_EQ(End().size(), 10u);
}

TEST_F(RecordTest, BeforeAndAfterNothingIsRecorded)
{
    record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    Start();
    EXPECT_TRUE(End().empty());
    record_.Call(Of(1001), Stop(0, RecordResult::Done, 0));
    EXPECT_TRUE(End().empty());
}

}  // namespace
