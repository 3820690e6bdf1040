// SPDX-License-Identifier: Apache-2.0
// registry_test.cpp -- session files: found and read, and what is planted in their place.
#include "session/registry.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "session/registry_fixture.h"

class Registry : public RegistryFixture
{
};

TEST_F(Registry, DirectoryIsTheDefaultUnlessZorssndirNamesOne)
{
    unsetenv("ZORSSNDIR");
    EXPECT_STREQ(RegistryDirectory(), "/run/zor/sessions");
    setenv("ZORSSNDIR", "", 1);
    EXPECT_STREQ(RegistryDirectory(), "/run/zor/sessions");
    setenv("ZORSSNDIR", "/elsewhere", 1);
    EXPECT_STREQ(RegistryDirectory(), "/elsewhere");
}

TEST_F(Registry, FoundSessionIsLiveAndHoldsWhatItWasOpenedWith)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_TRUE(entry_.live);
    EXPECT_STREQ(entry_.record.user, "admin");
    EXPECT_EQ(entry_.record.type, 3);
    EXPECT_EQ(entry_.record.address, 3221225991u);
    EXPECT_EQ(entry_.record.privilege, 255u);
    EXPECT_EQ(entry_.record.idleSeconds, 900u);
    EXPECT_EQ(entry_.owner, geteuid());
    EXPECT_EQ(entry_.descriptor, -1);  // released
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, IdZeroAndAnIdWithoutAFileAreUnknown)
{
    EXPECT_EQ(Find(1), 5u);  // no directory
    MakeDirectory();
    Plant("0", kGoodText);
    EXPECT_EQ(Find(0), 5u);
    EXPECT_EQ(Find(1), 5u);
}

TEST_F(Registry, PlantedLinkIsNotFollowed)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(symlink(std::to_string(id).c_str(), Path("77").c_str()), 0);
    EXPECT_EQ(Find(77), 4u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, PlantedFifoDirectoryAndSocketAreNoSessionsAndNobodyWaits)
{
    MakeDirectory();
    ASSERT_EQ(mkfifo(Path("77").c_str(), 0600), 0);
    ASSERT_EQ(mkdir(Path("78").c_str(), 0700), 0);
    EXPECT_EQ(Find(77), 4u);
    EXPECT_EQ(Find(78), 4u);

    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    ASSERT_LT(Path("79").size(), sizeof(name.sun_path));
    memcpy(name.sun_path, Path("79").c_str(), Path("79").size() + 1);
    int socketEnd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(socketEnd, reinterpret_cast<sockaddr *>(&name), sizeof(name)), 0);
    EXPECT_EQ(Find(79), 4u);
    close(socketEnd);

    u32 removed = 9;
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 0u);
    EXPECT_EQ(Names(), (std::vector<std::string>{"77", "78", "79"}));
}

TEST_F(Registry, FileOf512BytesIsReadAndOneOf513IsNot)
{
    MakeDirectory();
    std::string filler = "filler=";
    std::string text = kGoodText;
    filler.append(512 - text.size() - filler.size() - 1, 'x');
    EXPECT_EQ(FindText(text + filler + "\n"), 0u);
    EXPECT_EQ(FindText(text + filler + "x\n"), 4u);
    EXPECT_EQ(FindText(text + filler + "\n\n"), 4u);
}

TEST_F(Registry, HugeFileIsMalformed)
{
    MakeDirectory();
    Plant("77", kGoodText);
    ASSERT_EQ(truncate(Path("77").c_str(), off_t{1} << 32), 0);
    EXPECT_EQ(Find(77), 4u);
}

TEST_F(Registry, LinesStandInAnyOrderAndOtherKeysArePassedOver)
{
    MakeDirectory();
    ASSERT_EQ(FindText("idle=0\ncolour=blue=green\nprivilege=0\naddress=0.0.0.0\nsince=0\nid=77\n"
                       "type=0\nuser=a b\n"),
              0u);
    EXPECT_STREQ(entry_.record.user, "a b");
    EXPECT_EQ(entry_.record.address, 0u);
    EXPECT_FALSE(entry_.live);
}

// Replaces the line that begins with `key` by `line`.
static std::string With(const std::string &key, const std::string &line)
{
    std::string text = kGoodText;
    size_t at = text.find(key);
    return text.replace(at, text.find('\n', at) + 1 - at, line);
}

TEST_F(Registry, EveryKeyIsNeededOnce)
{
    MakeDirectory();
    ASSERT_EQ(FindText(kGoodText), 0u);
    const char *lines[] = {"user=admin\n", "type=3\n", "address=192.0.2.7\n", "privilege=ff\n",
                           "idle=900\n",   "id=77\n",  "since=5000\n"};
    for (const std::string line : lines) {
        EXPECT_EQ(FindText(With(line, "")), 4u) << "without " << line;
        EXPECT_EQ(FindText(kGoodText + line), 4u) << "twice " << line;
    }
}

TEST_F(Registry, MalformedTextsAreRefused)
{
    MakeDirectory();
    EXPECT_EQ(FindText(""), 4u);
    EXPECT_EQ(FindText("\n"), 4u);
    std::string text = kGoodText;
    EXPECT_EQ(FindText(text.substr(0, text.size() - 1)), 4u);
    EXPECT_EQ(FindText(text + "word\n"), 4u);
    EXPECT_EQ(FindText(text + std::string("\0", 1)), 4u);
    EXPECT_EQ(FindText(With("type", std::string("type=3\0\n", 8))), 4u);
}

TEST_F(Registry, ValuesOutsideTheirLimitsAreRefused)
{
    MakeDirectory();
    struct {
        const char *key;
        std::string good;
        std::string bad;
    } rows[] = {
        {"type", "type=255\n", "type=256\n"},
        {"type", "type=0\n", "type=\n"},
        {"type", "type=3\n", "type=-3\n"},
        {"privilege", "privilege=FFffFFff\n", "privilege=123456789\n"},
        {"privilege", "privilege=a\n", "privilege=g\n"},
        {"privilege", "privilege=0\n", "privilege=0x1\n"},
        {"idle", "idle=4294967295\n", "idle=4294967296\n"},
        {"address", "address=255.255.255.255\n", "address=255.255.255.256\n"},
        {"address", "address=1.2.3.4\n", "address=1.2.3\n"},
        {"address", "address=2001:db8::1\n", "address=2001:db8::1::\n"},
        {"address", "address=fe80::1%eth0.5\n", "address=fe80::1%\n"},
        {"address", "address=fe80::1%abcdefghijklmno\n", "address=fe80::1%abcdefghijklmnop\n"},
        {"address", "address=::\n", "address=fe80::1%e h\n"},
        {"id", "id=77\n", "id=78\n"},
        {"since", "since=9223372036854775807\n", "since=9223372036854775808\n"},
        {"user", "user=u\n", "user=\n"},
        {"user", "user=u u\n", "user=u\tu\n"},
        {"user", "user=" + std::string(63, 'u') + "\n", "user=" + std::string(64, 'u') + "\n"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(FindText(With(row.key, row.good)), 0u) << row.good;
        EXPECT_EQ(FindText(With(row.key, row.bad)), 4u) << row.bad;
    }
}

TEST_F(Registry, MarkingUsedSetsTheModificationTimeToNowOnTheClockThatNobodySets)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    timespec longAgo[2] = {{0, 0}, {0, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, Path(std::to_string(id)).c_str(), longAgo, 0), 0);
    RegistryEntry entry;
    ASSERT_EQ(RegistryFind(directory_.c_str(), id, RegistryWhose::Own, &entry), 0u);
    EXPECT_EQ(entry.lastUse.tv_sec, 0);
    timespec before = {};
    clock_gettime(CLOCK_BOOTTIME, &before);
    EXPECT_EQ(RegistryMarkUsed(&entry), 0u);
    RegistryRelease(&entry);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_GE(entry_.lastUse.tv_sec, before.tv_sec);
    EXPECT_LE(entry_.lastUse.tv_sec, before.tv_sec + 60);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, OpenedSessionWasUsedAndBeganJustNow)
{
    timespec before = {};
    clock_gettime(CLOCK_BOOTTIME, &before);
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_GE(entry_.lastUse.tv_sec, before.tv_sec);
    EXPECT_LE(entry_.lastUse.tv_sec, before.tv_sec + 60);
    EXPECT_GE(entry_.since / 1000000000, static_cast<u64>(before.tv_sec));
    EXPECT_LE(entry_.since / 1000000000, static_cast<u64>(before.tv_sec) + 60);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, AddressIsReadAsANumberAndAsText)
{
    struct {
        const char *text;
        bool good;
        u32 address;
        const char *kept;
    } rows[] = {
        {"192.0.2.7", true, 3221225991u, "192.0.2.7"},
        {"0.0.0.0", true, 0, ""},
        {"2001:db8::1", true, 0, "2001:db8::1"},
        {"fe80::1%eth0", true, 0, "fe80::1%eth0"},
        {"ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255%abcdefghijklmno", true, 0,
         "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255%abcdefghijklmno"},
        {"", false, 0, ""},
        {"1.2.3.4%eth0", false, 0, ""},
        {"2001:db8::1%", false, 0, ""},
        {"2001:db8::1%a\x1b", false, 0, ""},
        {"2001:db8::1 ", false, 0, ""},
        {"UNKNOWN", false, 0, ""},
    };
    for (const auto &row : rows) {
        RegistryRecord record = {};
        EXPECT_EQ(RegistryParseAddress(row.text, &record), row.good) << row.text;
        EXPECT_EQ(record.address, row.address) << row.text;
        EXPECT_STREQ(record.addressText, row.kept) << row.text;
    }
}

static bool Expired(u32 idle, time_t last, long lastNano, time_t now, long nowNano)
{
    timespec lastUse = {last, lastNano};
    timespec at = {now, nowNano};
    return RegistryExpired(idle, &lastUse, &at);
}

TEST_F(Registry, SessionExpiresWhenTheIdleLimitIsReachedToTheNanosecond)
{
    EXPECT_FALSE(Expired(60, 1000, 500, 1060, 499));
    EXPECT_TRUE(Expired(60, 1000, 500, 1060, 500));
    EXPECT_FALSE(Expired(1, 1000, 0, 1000, 999999999));
    EXPECT_TRUE(Expired(1, 1000, 0, 1001, 0));
    EXPECT_FALSE(Expired(4294967295u, 0, 0, 4294967294, 0));
    EXPECT_TRUE(Expired(4294967295u, 0, 0, 4294967295, 0));
}

TEST_F(Registry, NoIdleLimitNeverExpires)
{
    EXPECT_FALSE(Expired(0, 0, 0, 4000000000, 0));
}

TEST_F(Registry, LastUseInTheFutureCountsAsJustUsed)
{
    EXPECT_FALSE(Expired(1, 1001, 0, 1000, 0));
    EXPECT_FALSE(Expired(1, 1000, 2, 1000, 1));
    EXPECT_FALSE(Expired(1, INT64_MAX, 0, 1000, 0));
}

TEST_F(Registry, LastUseAsFarBackAsATimeCanBeHasExpired)
{
    EXPECT_TRUE(Expired(4294967295u, INT64_MIN, 999999999, 1000, 0));
}

TEST_F(Registry, NumbersAreDigitsOnlyWithinTheirLimits)
{
    struct {
        const char *text;
        u32 base;
        u32 maxDigits;
        u32 max;
        bool good;
        u32 value;
    } rows[] = {
        {"0", 10, 3, 255, true, 0},
        {"255", 10, 3, 255, true, 255},
        {"256", 10, 3, 255, false, 0},
        {"007", 10, 3, 255, true, 7},
        {"0007", 10, 3, 255, false, 0},
        {"4294967295", 10, 10, 4294967295u, true, 4294967295u},
        {"4294967296", 10, 10, 4294967295u, false, 0},
        {"ffffffff", 16, 8, 4294967295u, true, 4294967295u},
        {"ABCDEF09", 16, 8, 4294967295u, true, 2882400009u},
        {"000000001", 16, 8, 4294967295u, false, 0},
        {"g", 16, 8, 4294967295u, false, 0},
        {"a", 10, 3, 255, false, 0},
        {"", 10, 3, 255, false, 0},
        {"-1", 10, 3, 255, false, 0},
        {"+1", 10, 3, 255, false, 0},
        {" 1", 10, 3, 255, false, 0},
        {"1 ", 10, 3, 255, false, 0},
        {"\xff", 16, 8, 4294967295u, false, 0},
    };
    for (const auto &row : rows) {
        u32 value = 12345;
        EXPECT_EQ(RegistryParseNumber(row.text, row.base, row.maxDigits, row.max, &value), row.good)
            << row.text;
        EXPECT_EQ(value, row.good ? row.value : 12345u) << row.text;
    }
}
