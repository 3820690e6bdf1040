// SPDX-License-Identifier: Apache-2.0
// login_service_test.cpp -- the service's answers, in words and exit statuses.
#include "session/login_service.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "session/fake_service.h"

class LoginService : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string name = testing::TempDir() + "login_service_test.XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        directory_ = name + "/objmgr";
        alarm(60);
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(directory_.substr(0, directory_.rfind('/')), ignored);
    }

    void Expect(int status, const std::string &line, u32 timeoutMs = 20000)
    {
        LoginVerdict verdict = LoginAskService(directory_.c_str(), timeoutMs);
        EXPECT_EQ(verdict.status, status);
        EXPECT_EQ(verdict.line, line);
    }

    std::string directory_;
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

TEST_F(LoginService, IsToldWhatHappened)
{
    LoginTellService(directory_.c_str(), LoginEvent::Login, 7, 0, nullptr,
                     nullptr);  // nobody there
    FakeService service(directory_, FakeService::Facts());
    LoginTellService(directory_.c_str(), LoginEvent::Login, 7, 0, "192.0.2.7", nullptr);
    LoginTellService(directory_.c_str(), LoginEvent::Refusal, 0, 0, nullptr, "no room");
    LoginTellService(directory_.c_str(), LoginEvent::Logout, 7, 12, "2001:db8::7", "idle");
    EXPECT_EQ(service.Told(),
              "login id 192.0.2.7\nrefusal - - no room\nlogout id 2001:db8::7 idle\n");
}
