// SPDX-License-Identifier: Apache-2.0
// service_question_test.cpp -- what a program learns from the service before it starts a shell.
#include "objmgr/service_question.h"

#include "support/served_process.h"

#include <grp.h>
#include <sys/stat.h>

namespace
{

class SourceProvider : public Provider
{
public:
    explicit SourceProvider(bool answers) : answers_(answers) {}
    const char *Name() const override { return "test"; }
    int Load(ImageWriter *) override { return 0; }
    bool Has(const std::string &) const override { return false; }
    ProviderReply Invoke(const MethodCall &, ImageWriter *) override { return {}; }
    std::vector<SourceState> Sources() const override
    {
        return {{"BMC 192.0.2.10", answers_}, {std::string(100, 's'), true}};
    }

private:
    bool answers_;
};

Provider *MakeProvider()
{
    return new SourceProvider(true);
}

Provider *MakeSilent()
{
    return new SourceProvider(false);
}

// Listens in the directory and answers each packet with this one; nothing: never.
class FakeService
{
public:
    FakeService(const std::string &directory, const std::string &answer, uid_t uid = getuid())
        : child_([=] {
              if (uid == getuid() || setresuid(uid, uid, uid) == 0)
                  Serve(directory, answer);
          })
    {
        while (access((directory + "/ready").c_str(), F_OK) != 0)
            usleep(1000);
    }

private:
    static void Serve(const std::string &directory, const std::string &answer)
    {
        const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        (directory + "/socket").copy(address.sun_path, sizeof address.sun_path - 1);
        if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
            listen(listener, 5) != 0)
            return;
        close(open((directory + "/ready").c_str(), O_CREAT | O_WRONLY, 0600));
        for (;;) {
            const int fd = accept(listener, nullptr, nullptr);
            u8 packet[kMethodPacketMax];
            if (recv(fd, packet, sizeof packet, 0) <= 0 || answer.empty())
                continue;
            (void)!send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
            close(fd);
        }
    }

    ChildProcess child_;
};

class ServiceQuestion : public testing::Test
{
protected:
    ServiceAnswer Ask(u32 timeoutMs = 10000)
    {
        return ServiceAsk(directory_.Path().c_str(), timeoutMs, &facts_);
    }

    TestDirectory directory_;
    ServerOptions options_ = {.directory = directory_.Path()};
    ServiceFacts facts_;
};

}  // namespace

TEST_F(ServiceQuestion, AServiceSaysWhoItIsAndWhatTheCallerMay)
{
    ServedProcess served(options_, MakeProvider);
    ASSERT_EQ(Ask(), ServiceAnswer::Serving);
    EXPECT_STREQ(facts_.name, "objmgrd-test");
    EXPECT_EQ(facts_.version, kMethodVersion);
    EXPECT_EQ(facts_.rights, 0x7u);
    EXPECT_EQ(facts_.methodTimeoutMs, 5000u);
    ASSERT_EQ(facts_.sources, 2u);
    EXPECT_STREQ(facts_.source[0].name, "BMC 192.0.2.10");
    EXPECT_TRUE(facts_.source[0].answers);
    EXPECT_EQ(facts_.source[1].name, std::string(63, 's'));
}

TEST_F(ServiceQuestion, ASilentSourceIsSaidToBeSo)
{
    ServedProcess served(options_, MakeSilent);
    ASSERT_EQ(Ask(), ServiceAnswer::Serving);
    EXPECT_FALSE(facts_.source[0].answers);
    EXPECT_TRUE(facts_.source[1].answers);
}

TEST_F(ServiceQuestion, WithoutAServiceItIsAbsent)
{
    EXPECT_EQ(Ask(), ServiceAnswer::Absent);
    EXPECT_EQ(ServiceAsk("/nowhere", 1000, &facts_), ServiceAnswer::Absent);
    {
        ServedProcess served(options_, MakeProvider);
        EXPECT_EQ(Ask(), ServiceAnswer::Serving);
    }
    // Killed: its socket is there, and nobody listens.
    EXPECT_EQ(access((directory_.Path() + "/socket").c_str(), F_OK), 0);
    EXPECT_EQ(Ask(), ServiceAnswer::Absent);
    EXPECT_STREQ(facts_.name, "");
}

TEST_F(ServiceQuestion, AStoppedServiceIsHung)
{
    ServedProcess served(options_, MakeProvider);
    served.Child().Stop();
    EXPECT_EQ(Ask(200), ServiceAnswer::Hung);
    served.Child().Continue();
    EXPECT_EQ(Ask(), ServiceAnswer::Serving);
}

TEST_F(ServiceQuestion, AServiceWithAFullQueueIsHung)
{
    ServedProcess served(options_, MakeProvider);
    served.Child().Stop();
    std::vector<int> waiting;
    // Beyond the backlog a connection waits.
    for (int i = 0; i < 100; ++i) {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        (directory_.Path() + "/socket").copy(address.sun_path, sizeof address.sun_path - 1);
        (void)!connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
        waiting.push_back(fd);
    }
    EXPECT_EQ(Ask(200), ServiceAnswer::Hung);
    for (int fd : waiting)
        close(fd);
}

TEST_F(ServiceQuestion, AServiceOfAnotherVersionIsToldByItsAnswer)
{
    ServiceFacts newer = {};
    newer.version = kMethodVersion + 1;
    u8 packet[kMethodPacketMax];
    const u32 size = ServicePackFacts(&newer, packet);
    const FakeService service(directory_.Path(),
                              std::string(reinterpret_cast<const char *>(packet), size));
    EXPECT_EQ(Ask(), ServiceAnswer::OtherVersion);
    EXPECT_EQ(facts_.version, kMethodVersion + 1);
}

TEST_F(ServiceQuestion, AServiceThatDoesNotKnowTheQuestionIsOfAnotherVersion)
{
    const MethodReply reply = {kCimInvalidParameter, 0};
    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackReply(&reply, packet);
    const FakeService service(directory_.Path(),
                              std::string(reinterpret_cast<const char *>(packet), size));
    EXPECT_EQ(Ask(), ServiceAnswer::OtherVersion);
    EXPECT_EQ(facts_.version, 0u);
}

TEST_F(ServiceQuestion, AServiceThatGivesNoAnswerIsHung)
{
    const FakeService service(directory_.Path(), "");
    EXPECT_EQ(Ask(200), ServiceAnswer::Hung);
}

// A service of ours would end as soon as it sees that others may write there.
TEST_F(ServiceQuestion, ADirectoryThatOthersMayWriteIsNotTrusted)
{
    ServiceFacts facts = {};
    facts.version = kMethodVersion;
    facts.rights = kPrivilegeLogin;
    u8 packet[kMethodPacketMax];
    const u32 size = ServicePackFacts(&facts, packet);
    const FakeService service(directory_.Path(),
                              std::string(reinterpret_cast<const char *>(packet), size));
    for (const mode_t mode : {0770u, 0702u}) {
        chmod(directory_.Path().c_str(), mode);
        EXPECT_EQ(Ask(), ServiceAnswer::NotTrusted) << mode;
    }
    chmod(directory_.Path().c_str(), 0750);
    EXPECT_EQ(Ask(), ServiceAnswer::Serving);
}

// As another user: in a process of its own that gives its rights away.
template <typename Body> static void AsUser(uid_t uid, gid_t gid, const Body &body)
{
    InFreshProcess([&] {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(gid, gid, gid), 0);
        ASSERT_EQ(setresuid(uid, uid, uid), 0);
        body();
    });
}

TEST_F(ServiceQuestion, AListenerThatIsNeitherTheOwnersNorRootsIsNotTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to become another user";
    chmod(directory_.Path().c_str(), 0755);
    const std::string theirs = directory_.Path() + "/theirs";
    ASSERT_EQ(mkdir(theirs.c_str(), 0755), 0);
    ASSERT_EQ(chown(theirs.c_str(), 12345, 12345), 0);
    const FakeService service(theirs, "x", 12345);
    EXPECT_EQ(ServiceAsk(theirs.c_str(), 10000, &facts_), ServiceAnswer::OtherVersion);
    ASSERT_EQ(chown(theirs.c_str(), 12346, 12346), 0);
    EXPECT_EQ(ServiceAsk(theirs.c_str(), 10000, &facts_), ServiceAnswer::NotTrusted);
}

TEST_F(ServiceQuestion, AListenerOfRootIsTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    const FakeService service(directory_.Path(), "x");
    ASSERT_EQ(chown(directory_.Path().c_str(), 12345, 12345), 0);
    EXPECT_EQ(Ask(), ServiceAnswer::OtherVersion);
}

TEST_F(ServiceQuestion, WhoMayNotEnterIsForbidden)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to become another user";
    ServedProcess served(options_, MakeProvider);
    AsUser(12345, 12345, [&] { EXPECT_EQ(Ask(), ServiceAnswer::Forbidden); });
    chmod(directory_.Path().c_str(), 0755);
    AsUser(12345, 12345, [&] { EXPECT_EQ(Ask(), ServiceAnswer::Forbidden); });
    chmod((directory_.Path() + "/socket").c_str(), 0666);
    AsUser(12345, 12345, [&] {
        EXPECT_EQ(Ask(), ServiceAnswer::Serving);
        EXPECT_EQ(facts_.rights, 0x1u);
    });
}

TEST_F(ServiceQuestion, WhoMayNotLogInIsTold)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to become another user";
    std::vector<FileNote> notes;
    ASSERT_TRUE(RightsParse("[users]\n12346 = ['login', 'power']\n12347 = 'power'\n",
                            &options_.rights, &notes));
    ServedProcess served(options_, MakeProvider);
    chmod(directory_.Path().c_str(), 0755);
    chmod((directory_.Path() + "/socket").c_str(), 0666);
    AsUser(12345, 12345, [&] {
        EXPECT_EQ(Ask(), ServiceAnswer::NoRight);
        EXPECT_EQ(facts_.rights, 0u);
        EXPECT_STREQ(facts_.name, "objmgrd-test");
    });
    AsUser(12346, 12346, [&] {
        EXPECT_EQ(Ask(), ServiceAnswer::Serving);
        EXPECT_EQ(facts_.rights, 0x3u);
    });
    AsUser(12347, 12347, [&] { EXPECT_EQ(Ask(), ServiceAnswer::NoRight); });
}

TEST_F(ServiceQuestion, ALoginIsTold)
{
    LoginNotice notice = {LoginEvent::Login, 7, 0, "192.0.2.7", ""};
    EXPECT_EQ(ServiceTell(directory_.Path().c_str(), 1000, &notice), ServiceAnswer::Absent);
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(ServiceTell(directory_.Path().c_str(), 10000, &notice), ServiceAnswer::Serving);
}

TEST_F(ServiceQuestion, AServiceThatDoesNotKnowTheNoticeIsOfAnotherVersion)
{
    const MethodReply reply = {kCimInvalidParameter, 0};
    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackReply(&reply, packet);
    const FakeService service(directory_.Path(),
                              std::string(reinterpret_cast<const char *>(packet), size));
    LoginNotice notice = {LoginEvent::Login, 7, 0, "", ""};
    EXPECT_EQ(ServiceTell(directory_.Path().c_str(), 10000, &notice), ServiceAnswer::OtherVersion);
}

TEST(ServiceDirectory, IsTakenFromTheEnvironment)
{
    setenv("ZOROBJMGR", "/some/where", 1);
    EXPECT_STREQ(ServiceDirectory(), "/some/where");
    setenv("ZOROBJMGR", "", 1);
    EXPECT_STREQ(ServiceDirectory(), "/run/zor/objmgr");
    unsetenv("ZOROBJMGR");
    EXPECT_STREQ(ServiceDirectory(), "/run/zor/objmgr");
}
