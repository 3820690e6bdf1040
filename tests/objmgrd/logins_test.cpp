// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/logins: connections of logins, and what is written when they end.
#include "objmgrd/logins.h"

#include <gtest/gtest.h>

#include "objmgrd/record_lines.h"
#include "support/objmgr_process.h"

#include <fcntl.h>
#include <sys/socket.h>

namespace
{

bool NoUser(u32, std::string *)
{
    return false;
}

// Session 7 is that of uid 1001, as long as it lives.
bool sessionLives = true;
bool Session(void *, u32 id, u32 uid, std::string *)
{
    return sessionLives && id == 7 && uid == 1001;
}

class LoginsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        sessionLives = true;
        directoryFd_ = open(directory_.Path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        ASSERT_EQ(listener_.Open(directoryFd_, {}), 0);
        ASSERT_EQ(record_.Start({.write = RecordLines::Write,
                                 .context = &lines_,
                                 .session = Session,
                                 .user = NoUser}),
                  0);
        logins_.Start(&listener_, &record_, kLoginsMost);
    }
    void TearDown() override
    {
        logins_.Clear();
        listener_.Close();
        close(directoryFd_);
    }

    static LoginNotice Notice(LoginEvent event, u32 session, u32 seconds = 0,
                              const char *reason = "")
    {
        LoginNotice notice = {event, session, seconds, "192.0.2.7", ""};
        snprintf(notice.reason, sizeof notice.reason, "%s", reason);
        return notice;
    }
    static Peer Of(u32 uid) { return {.uid = uid, .gid = 1, .pid = 42, .groups = {}}; }

    // Remembers a login and returns the other end of its connection.
    int Add(u32 uid, const LoginNotice &notice, u64 nowMs = 0)
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        const Peer peer = Of(uid);
        logins_.Add(ends[0], peer, notice, record_.Login(peer, notice), nowMs);
        return ends[1];
    }
    static void Tell(int fd, const LoginNotice &notice)
    {
        u8 packet[kMethodPacketMax];
        const u32 size = LoginPackNotice(&notice, packet);
        EXPECT_EQ(send(fd, packet, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    }
    // How many connections there are after a round.
    size_t Round(u64 nowMs = 0)
    {
        std::vector<pollfd> polled;
        logins_.AddPolled(&polled);
        poll(polled.data(), polled.size(), 0);
        logins_.Serve(polled.data(), nowMs);
        polled.clear();
        logins_.AddPolled(&polled);
        return polled.size();
    }
    std::vector<std::string> Written()
    {
        record_.Stop();
        return lines_.All();
    }

    TestDirectory directory_;
    int directoryFd_ = -1;
    Listener listener_;
    RecordLines lines_;
    Record record_;
    Logins logins_;
};

constexpr char kWho[] = " user=- uid=1001 pid=42 session=7 claimed_address=192.0.2.7";

TEST_F(LoginsTest, AConnectionThatEndsIsALoginThatWasKilled)
{
    const int fd = Add(1001, Notice(LoginEvent::Login, 7), 5'000);
    EXPECT_EQ(Round(), 1u);
    for (int i = 0; i < 500 && lines_.All().empty(); ++i)
        usleep(10'000);
    sessionLives = false;  // its file may be gone by then
    close(fd);
    EXPECT_EQ(Round(66'999), 0u);
    EXPECT_EQ(Round(), 0u);
    const auto written = Written();
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[0], std::string("event=login") + kWho);
    EXPECT_EQ(written[1], std::string("event=logout") + kWho + " reason=killed seconds=61");
}

TEST_F(LoginsTest, ALogoutThatIsToldIsTheOnlyOne)
{
    const int fd = Add(1001, Notice(LoginEvent::Login, 7));
    Tell(fd, Notice(LoginEvent::Logout, 7, 12, "idle"));
    close(fd);
    EXPECT_EQ(Round(), 0u);
    const auto written = Written();
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[1], std::string("event=logout") + kWho + " reason=idle seconds=12");
}

TEST_F(LoginsTest, ALogoutIsAnswered)
{
    const int fd = Add(1001, Notice(LoginEvent::Login, 7));
    Tell(fd, Notice(LoginEvent::Logout, 7, 12, "idle"));
    EXPECT_EQ(Round(), 0u);
    u8 packet[kMethodPacketMax];
    MethodReply reply = {kCimFailed, 9};
    const ssize_t size = recv(fd, packet, sizeof packet, MSG_DONTWAIT);
    EXPECT_TRUE(MethodParseReply(packet, static_cast<size_t>(size), &reply));
    EXPECT_EQ(reply.status, kCimOk);
    EXPECT_EQ(recv(fd, packet, sizeof packet, MSG_DONTWAIT), 0);
    close(fd);
}

TEST_F(LoginsTest, WhateverElseIsSaidEndsTheLogin)
{
    const LoginNotice others[] = {Notice(LoginEvent::Logout, 8, 5, "another's"),
                                  Notice(LoginEvent::Login, 7), Notice(LoginEvent::Lasting, 7)};
    for (const LoginNotice &other : others) {
        const int fd = Add(1001, Notice(LoginEvent::Login, 7));
        Tell(fd, other);
        EXPECT_EQ(Round(), 0u);
        close(fd);
    }
    const int fd = Add(1001, Notice(LoginEvent::Login, 7));
    EXPECT_EQ(send(fd, "x", 1, 0), 1);
    EXPECT_EQ(Round(), 0u);
    close(fd);
    const auto written = Written();
    ASSERT_EQ(written.size(), 8u);
    for (size_t i = 1; i < written.size(); i += 2)
        EXPECT_NE(written[i].find(" reason=killed seconds=0"), std::string::npos) << written[i];
}

TEST_F(LoginsTest, OneThatLastsIsNotWrittenDownAgainAndItsTimeGoesOn)
{
    const int fd = Add(1001, Notice(LoginEvent::Lasting, 7, 100), 5'000);
    close(fd);
    EXPECT_EQ(Round(7'000), 0u);
    const auto written = Written();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0], std::string("event=logout") + kWho + " reason=killed seconds=102");
}

TEST_F(LoginsTest, ASessionOfAnotherIsNotNamed)
{
    close(Add(1002, Notice(LoginEvent::Login, 7)));
    EXPECT_EQ(Round(), 0u);
    const auto written = Written();
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[1], "event=logout user=- uid=1002 pid=42 session=- "
                          "claimed_address=192.0.2.7 reason=killed seconds=0");
}

TEST_F(LoginsTest, OneThatComesDuringARoundWaitsForTheNext)
{
    std::vector<pollfd> polled;
    logins_.AddPolled(&polled);
    close(Add(1001, Notice(LoginEvent::Login, 7)));
    logins_.Serve(polled.data(), 0);
    EXPECT_EQ(Round(), 0u);
    EXPECT_EQ(Written().size(), 2u);
}

TEST_F(LoginsTest, EndedOnesLeaveTheOthersInPlace)
{
    std::vector<int> ends;
    for (u32 i = 0; i < 6; ++i)
        ends.push_back(Add(2000 + i, Notice(LoginEvent::Login, 7)));
    for (const size_t gone : {0u, 3u, 4u})
        close(ends[gone]);
    EXPECT_EQ(Round(), 3u);
    for (const size_t gone : {1u, 2u, 5u})
        close(ends[gone]);
    EXPECT_EQ(Round(), 0u);
    std::string order;
    for (const std::string &line : Written())
        if (line.find("event=logout") == 0)
            order += line.substr(line.find("uid=") + 4, 4) + " ";
    EXPECT_EQ(order, "2000 2003 2004 2001 2002 2005 ");
}

TEST_F(LoginsTest, OneUserFillsHisOwnPlacesAlone)
{
    std::vector<int> ends;
    for (u32 i = 0; i < kLoginsUidMost; ++i) {
        EXPECT_TRUE(logins_.HasRoom(1001)) << i;
        ends.push_back(Add(1001, Notice(LoginEvent::Login, 0)));
    }
    EXPECT_FALSE(logins_.HasRoom(1001));
    EXPECT_TRUE(logins_.HasRoom(1002));
    close(ends.back());
    ends.pop_back();
    Round();
    EXPECT_TRUE(logins_.HasRoom(1001));
    for (const int fd : ends)
        close(fd);
}

TEST_F(LoginsTest, AllTogetherHaveNoMoreThanTheProcessCanHold)
{
    logins_.Start(&listener_, &record_, 2);
    const int first = Add(1001, Notice(LoginEvent::Login, 0));
    EXPECT_TRUE(logins_.HasRoom(1002));
    const int second = Add(1002, Notice(LoginEvent::Login, 0));
    EXPECT_FALSE(logins_.HasRoom(1003));
    close(first);
    close(second);
}

TEST_F(LoginsTest, AtTheEndOfTheServiceNothingIsWrittenDown)
{
    const int fd = Add(1001, Notice(LoginEvent::Login, 7));
    logins_.Clear();
    EXPECT_EQ(Round(), 0u);
    EXPECT_EQ(Written().size(), 1u);
    close(fd);
}

}  // namespace
