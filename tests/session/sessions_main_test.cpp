// SPDX-License-Identifier: Apache-2.0
// sessions_main_test.cpp -- the built smclp-sessions, on registries of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "session/registry.h"
#include "session/registry_fixture.h"

class SessionsMain : public RegistryFixture
{
protected:
    void SetUp() override
    {
        RegistryFixture::SetUp();
        setenv("ZORSSNDIR", directory_.c_str(), 1);
        setenv("TZ", "UTC", 1);
        alarm(100);
    }

    // Its exit status; what it printed on both outputs is in out_.
    int Run(const std::string &arguments, const std::string &before = "")
    {
        FILE *pipe = popen((before + SMCLP_SESSIONS " " + arguments + " 2>&1").c_str(), "r");
        out_.clear();
        char block[512];
        size_t got;
        while ((got = fread(block, 1, sizeof(block), pipe)) > 0)
            out_.append(block, got);
        return WEXITSTATUS(pclose(pipe));
    }

    bool OutIs(const std::string &pattern) const
    {
        return std::regex_match(out_, std::regex(pattern));
    }

    std::string UserName() const
    {
        FILE *pipe = popen("id -un", "r");
        char name[64] = "";
        (void)!fgets(name, sizeof(name), pipe);
        pclose(pipe);
        std::string text = name;
        return text.substr(0, text.find('\n'));
    }

    std::string out_;
};

static const std::string kHead =
    "ID          USER          TYPE  ADDRESS          SINCE                IDLE\n";

TEST_F(SessionsMain, ListsTheLiveSessionsOldestFirst)
{
    u32 first = 0;
    u32 second = 0;
    int firstLock = -1;
    int secondLock = -1;
    ASSERT_EQ(Open(&first, &firstLock), 0u);
    record_.type = 1;
    record_.address = 0;
    usleep(1100000);
    ASSERT_EQ(Open(&second, &secondLock), 0u);
    ASSERT_EQ(Run(""), 0);
    const std::string date = "20[0-9]{2}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";
    EXPECT_TRUE(OutIs(kHead + std::to_string(first) + " +" + UserName() +
                      " +3  192[.]0[.]2[.]7        " + date + "  [0-9]+s\n" +
                      std::to_string(second) + " +" + UserName() + " +1  -                " + date +
                      "  [0-9]+s\n"))
        << out_;
    close(firstLock);
    close(secondLock);
    ASSERT_EQ(Run(""), 0);
    EXPECT_EQ(out_, kHead);
    EXPECT_TRUE(Names().empty());  // the dead are swept
}

TEST_F(SessionsMain, JsonHasTheSameAndMore)
{
    MakeDirectory();
    ASSERT_EQ(Run("--json"), 0);
    EXPECT_EQ(out_, "[]\n");
    ASSERT_TRUE(RegistryParseAddress("2001:db8::7", &record_));
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(Run("--json"), 0);
    EXPECT_TRUE(OutIs("\\[\n  [{]\"id\": " + std::to_string(id) + ", \"user\": \"" + UserName() +
                      "\", \"uid\": " + std::to_string(geteuid()) +
                      ", \"type\": 3, \"address\": \"2001:db8::7\", \"since\": "
                      "\"20[0-9-]+T[0-9:]+Z\", \"idle\": [0-9]+, \"limit\": 900[}]\n\\]\n"))
        << out_;
    close(lock);
}

TEST_F(SessionsMain, IdleTimeIsThatOfTheFile)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    timespec now = RegistryNow();
    struct {
        time_t seconds;
        const char *text;
    } rows[] = {{59, "(59s|1m00s)"}, {60, "1m0[0-9]s"}, {3599, "(59m59s|1h00m)"}, {3600, "1h00m"}};
    for (const auto &row : rows) {
        if (now.tv_sec < row.seconds)
            continue;  // the machine is not up for so long
        timespec times[2] = {{0, UTIME_OMIT}, {now.tv_sec - row.seconds, now.tv_nsec}};
        ASSERT_EQ(futimens(lock, times), 0);
        ASSERT_EQ(Run(""), 0);
        EXPECT_TRUE(OutIs("[^]*  " + std::string(row.text) + "\n")) << out_;
    }
    close(lock);
}

TEST_F(SessionsMain, EndsOneByItsIdAndSaysWhatItDidNotFind)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(Run("--end " + std::to_string(id)), 0);
    EXPECT_EQ(out_, "");
    EXPECT_FALSE(RegistryStands(directory_.c_str(), id, lock));
    EXPECT_EQ(Run("--end " + std::to_string(id)), 1);
    EXPECT_EQ(out_, "smclp-sessions: there is no session " + std::to_string(id) + "\n");
    for (const char *bad : {"--end x", "--end ''", "--end 4294967296", "--end -1"}) {
        EXPECT_EQ(Run(bad), 2);
        EXPECT_EQ(out_, "smclp-sessions: --end needs the id of a session\n");
    }
    close(lock);
}

TEST_F(SessionsMain, UserIsTheFilesOwnerAndOthersEndOnlyTheirOwn)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be several users";
    ASSERT_EQ(chmod(top_.c_str(), 0755), 0);
    MakeDirectory();
    ASSERT_EQ(chmod(directory_.c_str(), 01777), 0);
    strcpy(record_.user, "root");
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(chown(Path(std::to_string(id)).c_str(), 61234, 61234), 0);
    ASSERT_EQ(Run(""), 0);
    EXPECT_NE(out_.find("  61234  "), std::string::npos) << out_;
    EXPECT_EQ(out_.find("root"), std::string::npos) << out_;

    if (access(SMCLP_SESSIONS, X_OK) == 0 &&
        system("setpriv --reuid 61235 --clear-groups test -x " SMCLP_SESSIONS) == 0) {
        const std::string as = "setpriv --reuid 61235 --clear-groups ";
        EXPECT_EQ(Run("--end " + std::to_string(id), as), 77);
        EXPECT_EQ(out_, "smclp-sessions: session " + std::to_string(id) +
                            " is another user's; root can end it\n");
    }
    EXPECT_EQ(Run("--end " + std::to_string(id)), 0);
    close(lock);
}

TEST_F(SessionsMain, RegistryThatIsNotThereOrNotToBeTrustedIs69)
{
    EXPECT_EQ(Run(""), 69);
    EXPECT_EQ(out_, "smclp-sessions: the session registry " + directory_ +
                        " (set by ZORSSNDIR): there is none\n");
    MakeDirectory();
    ASSERT_EQ(chmod(directory_.c_str(), 0770), 0);
    EXPECT_EQ(Run(""), 69);
    EXPECT_EQ(out_, "smclp-sessions: the session registry " + directory_ +
                        " (set by ZORSSNDIR): it belongs to another user, or others may write it "
                        "and it is not sticky\n");
}

TEST_F(SessionsMain, PlantedTextsAreNotListed)
{
    MakeDirectory();
    std::string bad = kGoodText;
    bad.replace(bad.find("192.0.2.7"), 9, "\x1b[2J");
    Plant("77", bad);
    int descriptor = open(Path("77").c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(descriptor, F_OFD_SETLK, &lock), 0);
    ASSERT_EQ(Run(""), 0);
    EXPECT_EQ(out_, kHead);
    close(descriptor);
}

TEST_F(SessionsMain, WrongCommandLineIs2)
{
    for (const char *bad : {"--zap", "stray", "--end", "--json --end 7", "-x"}) {
        EXPECT_EQ(Run(bad), 2) << bad;
    }
    EXPECT_EQ(Run("--help"), 0);
    EXPECT_EQ(out_.rfind("usage: smclp-sessions [--json | --end ID]\n", 0), 0u);
    EXPECT_EQ(Run("--version"), 0);
    EXPECT_EQ(out_, "smclp-sessions 1.0.0\n");
}
