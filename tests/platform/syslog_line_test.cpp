// SPDX-License-Identifier: Apache-2.0
#include "platform/syslog_line.h"

#include "platform/said_clock.h"
#include "support/system_log.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

// What the next send() fails with (linked with --wrap); 0: it does not.
static int sSendError;

extern "C" ssize_t __real_send(int fd, const void *data, size_t size, int flags);
extern "C" ssize_t __wrap_send(int fd, const void *data, size_t size, int flags)
{
    if (sSendError == 0)
        return __real_send(fd, data, size, flags);
    errno = sSendError;
    sSendError = 0;
    return -1;
}

namespace
{

class SyslogLineTest : public testing::Test
{
protected:
    SyslogLineTest()
    {
        log_.Start();
        out_.path = log_.Path();
    }
    ~SyslogLineTest() override
    {
        gSaidClock = {};
        SyslogClose(&out_);
    }

    // A new connection is looked for once a second.
    void WriteUntilTaken(const char *line)
    {
        for (int i = 0; i < 300 && out_.fd == -1; ++i) {
            SyslogWrite(&out_, LOG_ERR, line);
            usleep(10'000);
        }
    }

    SystemLog log_;
    SyslogLine out_ = SyslogTo("smclp", LOG_DAEMON);
};

TEST_F(SyslogLineTest, ALineHasPriorityTimeNameAndPid)
{
    const time_t before = time(nullptr);
    SyslogWrite(&out_, LOG_ERR, "ERROR: system [5]: Access denied");
    const time_t after = time(nullptr);
    const std::string line = log_.Read();
    const auto expected = [](time_t when) {
        char text[64];
        tm local;
        strftime(text, sizeof text, "<27>%b %e %T ", localtime_r(&when, &local));
        return text + ("smclp[" + std::to_string(getpid())) + "]: ERROR: system [5]: Access denied";
    };
    EXPECT_TRUE(line == expected(before) || line == expected(after)) << line;
}

TEST_F(SyslogLineTest, EveryMonthHasItsName)
{
    const char *const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (time_t month = 0; month < 12; ++month) {
        gSaidClock.now = {1768478400 + month * 30 * 86400, 0};  // 2026-01-15 12:00:00 UTC, and on
        gSaidClock.set = true;
        SyslogWrite(&out_, LOG_ERR, "one");
        EXPECT_EQ(log_.Read().substr(4, 3), names[month]);
    }
}

TEST_F(SyslogLineTest, ALineMayHaveAFacilityOfItsOwn)
{
    SyslogWrite(&out_, LOG_AUTHPRIV | LOG_INFO, "one");
    EXPECT_EQ(log_.Read().substr(0, 4), "<86>");
    SyslogWrite(&out_, LOG_INFO, "two");
    EXPECT_EQ(log_.Read().substr(0, 4), "<30>");
}

TEST_F(SyslogLineTest, ALineStaysOneLine)
{
    SyslogWrite(&out_, LOG_ERR, "one\n");
    EXPECT_EQ(log_.ReadText(), "one");
    SyslogWrite(&out_, LOG_ERR, "one\ntwo\x1b[31m\x7f gr\xc3\xbc\xc3\x9f \t100% %s\n\n");
    EXPECT_EQ(log_.ReadText(), "one?two?[31m? gr\xc3\xbc\xc3\x9f ?100% %s?");
    SyslogWrite(&out_, LOG_ERR, "");
    EXPECT_EQ(log_.ReadText(), "");
}

TEST_F(SyslogLineTest, ALongLineIsCut)
{
    SyslogWrite(&out_, LOG_ERR, std::string(5000, 'x').c_str());
    const std::string line = log_.Read();
    EXPECT_EQ(line.size(), 2048u);
    EXPECT_EQ(line.back(), 'x');
}

TEST_F(SyslogLineTest, ALogThatDoesNotReadHoldsNobodyAndIsToldHowMuchItMissed)
{
    u32 written = 0;
    while (out_.lost == 0 && written < 100000) {
        SyslogWrite(&out_, LOG_ERR, ("line " + std::to_string(written)).c_str());
        ++written;
    }
    ASSERT_EQ(out_.lost, 1u);
    for (int i = 0; i < 1000; ++i)
        SyslogWrite(&out_, LOG_ERR, "lost");
    EXPECT_EQ(out_.lost, 1001u);

    for (u32 i = 0; i + 1 < written; ++i)
        ASSERT_EQ(log_.ReadText(), "line " + std::to_string(i));
    EXPECT_EQ(log_.Read(), "");
    SyslogWrite(&out_, LOG_ERR, "again");
    const std::string told = log_.Read();
    EXPECT_EQ(told.substr(0, 4), "<28>") << told;
    EXPECT_NE(told.find("]: 1001 lines lost: the system log did not take them"), std::string::npos)
        << told;
    EXPECT_EQ(log_.ReadText(), "again");
    EXPECT_EQ(out_.lost, 0u);
}

// Only a log that is gone is looked for anew; one that has no room keeps its connection.
TEST_F(SyslogLineTest, ALogWithoutRoomLosesALineAndOneThatIsGoneIsFoundAgain)
{
    for (const int error : {EAGAIN, ENOBUFS, ENOMEM}) {
        sSendError = error;
        SyslogWrite(&out_, LOG_ERR, "lost");
        EXPECT_EQ(out_.lost, 1u) << error;
        EXPECT_EQ(log_.Read(), "") << error;
        SyslogWrite(&out_, LOG_ERR, "next");
        EXPECT_EQ(log_.ReadText(), "1 lines lost: the system log did not take them") << error;
        EXPECT_EQ(log_.ReadText(), "next") << error;
    }
    const int before = out_.fd;
    EXPECT_NE(before, -1);
    sSendError = ECONNREFUSED;
    SyslogWrite(&out_, LOG_ERR, "lost");
    EXPECT_EQ(out_.fd, -1);
    WriteUntilTaken("another connection");
    EXPECT_EQ(log_.ReadText().find("lines lost: the system log did not take them") !=
                  std::string::npos,
              true);
    EXPECT_EQ(log_.ReadText(), "another connection");
}

TEST_F(SyslogLineTest, WhatWasLostIsToldAlsoByAProgramWithNothingToWrite)
{
    out_.lost = 3;
    SyslogTellLost(&out_);
    EXPECT_EQ(log_.ReadText(), "3 lines lost: the system log did not take them");
    SyslogTellLost(&out_);
    EXPECT_EQ(log_.Read(), "");
    out_.lost = 2;
    SyslogClose(&out_);
    EXPECT_EQ(log_.ReadText(), "2 lines lost: the system log did not take them");
}

TEST_F(SyslogLineTest, WithoutALogEveryLineIsCounted)
{
    log_.Stop();
    for (int i = 0; i < 5; ++i)
        SyslogWrite(&out_, LOG_ERR, "one");
    EXPECT_EQ(out_.lost, 5u);
    EXPECT_EQ(out_.fd, -1);
}

TEST_F(SyslogLineTest, ALogThatComesLaterOrAgainIsFound)
{
    log_.Stop();
    SyslogWrite(&out_, LOG_ERR, "one");
    log_.Start();
    WriteUntilTaken("two");
    EXPECT_NE(log_.ReadText().find(" lines lost: "), std::string::npos);
    EXPECT_EQ(log_.ReadText(), "two");

    log_.Stop();
    log_.Start();
    SyslogWrite(&out_, LOG_ERR, "three");
    WriteUntilTaken("four");
    std::string last;
    for (std::string line = log_.ReadText(); !line.empty(); line = log_.ReadText())
        last = line;
    EXPECT_TRUE(last == "three" || last == "four") << last;
}

TEST_F(SyslogLineTest, TheConnectionIsNotHandedToOtherPrograms)
{
    SyslogWrite(&out_, LOG_ERR, "one");
    EXPECT_EQ(fcntl(out_.fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(SyslogLineTest, APathThatIsTooLongIsNoLog)
{
    const std::string path(108, 'x');
    out_.path = path.c_str();
    SyslogWrite(&out_, LOG_ERR, "one");
    EXPECT_EQ(out_.lost, 1u);
}

TEST(SyslogTo, NamesTheSystemsLog)
{
    const SyslogLine log = SyslogTo(nullptr, LOG_DAEMON);
    EXPECT_STREQ(log.path, "/dev/log");
    EXPECT_EQ(log.fd, -1);
}

}  // namespace
