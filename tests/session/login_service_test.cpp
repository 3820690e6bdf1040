// SPDX-License-Identifier: Apache-2.0
// login_service_test.cpp -- the service's answers, in words and exit statuses.
#include "session/login_service.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "session/fake_service.h"
#include "support/test_files.h"

class LoginService : public testing::Test
{
protected:
    void SetUp() override { alarm(60); }

    void Expect(int status, const std::string &line, u32 timeoutMs = 20000)
    {
        LoginVerdict verdict = LoginAskService(directory_.c_str(), timeoutMs);
        EXPECT_EQ(verdict.status, status);
        EXPECT_EQ(verdict.line, line);
    }

    const TestDirectory made_;
    const std::string directory_ = made_.Path() + "/objmgr";
};

TEST_F(LoginService, ThatServesLetsTheShellStart)
{
    FakeService service(directory_, FakeService::Facts(1));
    Expect(0, "");
}

TEST_F(LoginService, SourceThatDoesNotAnswerIsANote)
{
    ServiceFacts facts = FakeService::Facts();
    facts.sources = 2;
    strcpy(facts.source[0].name, "bmc1");
    facts.source[0].answers = true;
    strcpy(facts.source[1].name, "bmc2");
    FakeService service(directory_, facts);
    Expect(0, "note: bmc2 does not answer objmgrd-test");
}

TEST_F(LoginService, UserWithoutTheRightToLogInIs77)
{
    FakeService service(directory_, FakeService::Facts(6));
    Expect(77, "you have not the right to log in (objmgrd-test grants it)");
}

TEST_F(LoginService, NobodyThereIs69)
{
    Expect(69, "the service is not running in " + directory_);
    FakeService service(directory_, FakeService::Facts());
    service.Kill();
    Expect(69, "the service is not running in " + directory_);
}

TEST_F(LoginService, DirectoryThatOthersMayWriteIs69)
{
    FakeService service(directory_, FakeService::Facts());
    ASSERT_EQ(chmod(directory_.c_str(), 0770), 0);
    Expect(69, "the service in " + directory_ +
                   " is not to be trusted: others may write the directory, or who serves there is "
                   "not its owner");
}

TEST_F(LoginService, OtherVersionIs70AndSilenceIs75)
{
    {
        FakeService service(directory_, FakeService::Facts(), FakeService::Way::Nonsense);
        Expect(70, "the service in " + directory_ + " is of another version (0, not 1)");
    }
    std::filesystem::remove_all(directory_);
    FakeService service(directory_, FakeService::Facts(), FakeService::Way::Nothing);
    Expect(75, "the service in " + directory_ + " does not answer", 200);
}

TEST_F(LoginService, DirectoryThatTheUserMayNotEnterIs77)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    FakeService service(directory_, FakeService::Facts());
    ASSERT_EQ(chmod(directory_.c_str(), 0700), 0);
    ASSERT_EQ(seteuid(60001), 0);
    std::string inner = directory_;
    LoginVerdict verdict = LoginAskService(inner.c_str(), 20000);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(verdict.status, 77);
    EXPECT_EQ(verdict.line, "you may not use the service in " + directory_);
}

TEST_F(LoginService, IsToldOfARefusal)
{
    LoginTellRefusal(directory_.c_str(), nullptr, "nobody there");
    FakeService service(directory_, FakeService::Facts());
    LoginTellRefusal(directory_.c_str(), nullptr, "no room");
    LoginTellRefusal(directory_.c_str(), "192.0.2.7", "no room");
    EXPECT_EQ(service.Told(), "refusal - - no room\nrefusal - 192.0.2.7 no room\n");
}

// --- The link --------------------------------------------------------------------------------

// Waits for a line, since a service that was not waited for writes when it comes to it.
static std::string AwaitTold(const FakeService &service, const std::string &lines)
{
    for (int i = 0; i < 1000 && service.Told() != lines; ++i)
        usleep(10'000);
    return service.Told();
}

TEST_F(LoginService, LinkTellsOfLoginAndLogoutOverOneConnection)
{
    FakeService service(directory_, FakeService::Facts());
    LoginLink link;
    LoginLinkOpen(&link, directory_.c_str(), 7, "192.0.2.7");
    EXPECT_GE(link.connection, 0);
    EXPECT_EQ(service.Told(), "login id 192.0.2.7\n");
    LoginLinkLook(&link);
    LoginLinkClose(&link, "idle");
    EXPECT_EQ(link.connection, -1);
    EXPECT_EQ(service.Told(), "login id 192.0.2.7\nlogout id 192.0.2.7 idle\n");
}

TEST_F(LoginService, LinkEndsWithItsProcess)
{
    FakeService service(directory_, FakeService::Facts());
    pid_t pid = fork();
    if (pid == 0) {
        LoginLink link;
        LoginLinkOpen(&link, directory_.c_str(), 7, nullptr);
        kill(getpid(), SIGKILL);
    }
    waitpid(pid, nullptr, 0);
    EXPECT_EQ(AwaitTold(service, "login id -\nend\n"), "login id -\nend\n");
}

TEST_F(LoginService, LinkTellsAServiceThatCameAnewThatTheLoginLasts)
{
    LoginLink link;
    {
        FakeService first(directory_, FakeService::Facts());
        LoginLinkOpen(&link, directory_.c_str(), 7, "192.0.2.7");
        EXPECT_EQ(first.Told(), "login id 192.0.2.7\n");
    }
    std::filesystem::remove_all(directory_);
    LoginLinkLook(&link);  // nobody there
    EXPECT_EQ(link.connection, -1);
    FakeService second(directory_, FakeService::Facts());
    LoginLinkLook(&link);
    EXPECT_EQ(AwaitTold(second, "lasting id 192.0.2.7\n"), "lasting id 192.0.2.7\n");
    LoginLinkClose(&link, "exit 0");
    EXPECT_EQ(second.Told(), "lasting id 192.0.2.7\nlogout id 192.0.2.7 exit 0\n");
}

TEST_F(LoginService, LinkTellsOfTheLoginItselfWhereNobodyServedThen)
{
    LoginLink link;
    LoginLinkOpen(&link, directory_.c_str(), 7, nullptr);
    EXPECT_EQ(link.connection, -1);
    FakeService service(directory_, FakeService::Facts());
    LoginLinkLook(&link);
    EXPECT_EQ(AwaitTold(service, "login id -\n"), "login id -\n");
    LoginLinkClose(&link, "exit 0");
}

TEST_F(LoginService, LinkTriesLessAndLessOften)
{
    LoginLink link;
    LoginLinkOpen(&link, directory_.c_str(), 7, nullptr);
    std::string tries;
    for (int second = 0; second < 100; ++second) {
        const u32 before = link.wait;
        LoginLinkLook(&link);
        if (before == 0)
            tries += std::to_string(second) + " ";
    }
    EXPECT_EQ(tries, "0 1 3 7 15 31 63 95 ");
    LoginLinkClose(&link, "exit 0");
}

TEST_F(LoginService, LinkThatIsDeclinedIsNotTriedAgainButTheLogoutIsTold)
{
    FakeService service(directory_, FakeService::Facts(), FakeService::Way::Declining);
    LoginLink link;
    LoginLinkOpen(&link, directory_.c_str(), 7, nullptr);
    for (int i = 0; i < 3; ++i)
        LoginLinkLook(&link);
    EXPECT_EQ(service.Told(), "login id -\n");
    LoginLinkClose(&link, "idle");
    EXPECT_EQ(service.Told(), "login id -\nlogout id - idle\n");
}

// A service that hangs takes the login's connection up when it goes on: it is not told twice.
TEST_F(LoginService, LinkWaitsForAServiceThatHangsASecondAtMost)
{
    FakeService service(directory_, FakeService::Facts());
    kill(service.Pid(), SIGSTOP);
    LoginLink link;
    LoginLinkOpen(&link, directory_.c_str(), 7, nullptr);
    EXPECT_GE(link.connection, 0);
    for (int i = 0; i < 3; ++i)
        LoginLinkLook(&link);
    kill(service.Pid(), SIGCONT);
    EXPECT_EQ(AwaitTold(service, "login id -\n"), "login id -\n");
    LoginLinkClose(&link, "exit 0");
    EXPECT_EQ(AwaitTold(service, "login id -\nlogout id - exit 0\n"),
              "login id -\nlogout id - exit 0\n");
}
