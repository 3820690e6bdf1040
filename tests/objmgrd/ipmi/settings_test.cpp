// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/settings.
#include "objmgrd/ipmi/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace
{

constexpr char kLan[] = "[bmc]\ndriver = \"lan\"\nhost = \"h\"\n";

// "right", or the notes, one on each line.
std::string Read(const std::string &text, IpmiSettings *settings)
{
    std::vector<FileNote> notes;
    const bool right = IpmiSettingsParse(text, settings, &notes);
    std::string all;
    for (const FileNote &note : notes)
        all += (all.empty() ? "" : "\n") + FileNoteLine("f", note);
    EXPECT_EQ(right, notes.empty());
    return right ? "right" : all;
}

std::string Read(const std::string &text)
{
    IpmiSettings settings;
    return Read(text, &settings);
}

}  // namespace

TEST(IpmiSettings, EveryWorkaroundHasItsBit)
{
    static constexpr const char *kNames[] = {"authentication_capabilities",
                                             "intel_session",
                                             "supermicro_session",
                                             "sun_session",
                                             "open_session_privilege",
                                             "non_empty_integrity_check_value",
                                             "no_checksum_check"};
    static constexpr u32 kBits[] = {kIpmiAuthenticationCapabilities,
                                    kIpmiIntelSession,
                                    kIpmiSupermicroSession,
                                    kIpmiSunSession,
                                    kIpmiOpenSessionPrivilege,
                                    kIpmiNonEmptyIntegrityCheckValue,
                                    kIpmiNoChecksumCheck};
    for (size_t i = 0; i < std::size(kNames); ++i) {
        IpmiSettings s;
        EXPECT_EQ(Read(std::string(kLan) + "workarounds = [\"" + kNames[i] + "\"]\n", &s), "right");
        EXPECT_EQ(s.workarounds, kBits[i]) << kNames[i];
    }
}

TEST(IpmiSettings, EveryPrivilegeHasItsNumber)
{
    const std::pair<const char *, int> rows[] = {
        {"user", 2}, {"operator", 3}, {"administrator", 4}};
    for (const auto &[name, number] : rows) {
        IpmiSettings s;
        EXPECT_EQ(Read(std::string(kLan) + "privilege = \"" + name + "\"\n", &s), "right");
        EXPECT_EQ(s.privilege, number) << name;
    }
}

TEST(IpmiSettings, TheLongestTextsAreTaken)
{
    const std::pair<const char *, size_t> rows[] = {
        {"user", 16}, {"host", 255}, {"password_file", 4095}, {"cache_directory", 3800}};
    for (const auto &[key, most] : rows) {
        const std::string head = std::string(kLan).substr(0, 21) +
                                 (std::string(key) == "host" ? "" : "host = \"h\"\n") + key +
                                 " = \"";
        EXPECT_EQ(Read(head + std::string(most, 'x') + "\"\n"), "right") << key;
        EXPECT_NE(Read(head + std::string(most + 1, 'x') + "\"\n").find("at most"),
                  std::string::npos)
            << key;
    }
}

TEST(IpmiSettings, EveryKey)
{
    IpmiSettings s;
    EXPECT_EQ(Read("[bmc]\ndriver = \"lan\"\nhost = \"192.0.2.10\"\nport = 1623\nuser = \"u\"\n"
                   "password_file = \"/p\"\nprivilege = \"administrator\"\ncipher_suite = 17\n"
                   "workarounds = [\"open_session_privilege\", \"no_checksum_check\"]\n"
                   "[poll]\nsensors_ms = 2000\npower_ms = 700\nlog_ms = 3000\nsdr_ms = 4000\n"
                   "[timeouts]\nanswer_ms = 300\nsession_ms = 900\nmethod_ms = 4000\n",
                   &s),
              "right");
    EXPECT_EQ(s.driver, IpmiDriver::Lan);
    EXPECT_EQ(s.host, "192.0.2.10");
    EXPECT_EQ(s.port, 1623u);
    EXPECT_EQ(s.user, "u");
    EXPECT_EQ(s.passwordFile, "/p");
    EXPECT_EQ(s.privilege, 4);
    EXPECT_EQ(s.cipherSuite, 17);
    EXPECT_EQ(s.workarounds, 0x50u);
    EXPECT_EQ(s.sensorsMs, 2000u);
    EXPECT_EQ(s.powerMs, 700u);
    EXPECT_EQ(s.logMs, 3000u);
    EXPECT_EQ(s.sdrMs, 4000u);
    EXPECT_EQ(s.answerMs, 300u);
    EXPECT_EQ(s.sessionMs, 900u);
    EXPECT_EQ(s.methodMs, 4000u);
    EXPECT_EQ(IpmiBmcName(s), "192.0.2.10");
}

TEST(IpmiSettings, WhatIsLeftOutHasItsDefault)
{
    IpmiSettings s;
    EXPECT_EQ(Read("[bmc]\ndriver = \"local\"\n", &s), "right");
    EXPECT_EQ(IpmiBmcName(s), "/dev/ipmi0");
    for (u32 ms : {s.sensorsMs, s.temperaturesMs, s.voltagesMs, s.currentsMs, s.fansMs})
        EXPECT_EQ(ms, 1900u);
    EXPECT_EQ(s.statesMs, 10000u);
    EXPECT_EQ(s.thresholdsMs, 60000u);
    EXPECT_EQ(s.powerMs, 500u);
    EXPECT_EQ(s.logMs, 2000u);
    EXPECT_EQ(s.sdrMs, 30000u);
    EXPECT_EQ(s.answerMs, 1000u);
    EXPECT_EQ(s.sessionMs, 2500u);
    EXPECT_EQ(s.methodMs, 4500u);
    EXPECT_EQ(Read(kLan, &s), "right");
    EXPECT_EQ(s.port, 623u);
    EXPECT_EQ(s.privilege, 3);
    EXPECT_EQ(s.cipherSuite, 3);
    EXPECT_EQ(s.workarounds, 0u);
}

TEST(IpmiSettings, KindsFollowSensorsUnlessTheyAreNamed)
{
    IpmiSettings s;
    EXPECT_EQ(Read(std::string(kLan) + "[poll]\nsensors_ms = 3000\nfans_ms = 400\n", &s), "right");
    EXPECT_EQ(s.temperaturesMs, 3000u);
    EXPECT_EQ(s.voltagesMs, 3000u);
    EXPECT_EQ(s.currentsMs, 3000u);
    EXPECT_EQ(s.fansMs, 400u);
    EXPECT_EQ(s.statesMs, 10000u);
    EXPECT_EQ(Read(std::string(kLan) + "[poll]\ntemperatures_ms = 101\nvoltages_ms = 102\n"
                                       "currents_ms = 103\nstates_ms = 104\n",
                   &s),
              "right");
    EXPECT_EQ(s.sensorsMs, 1900u);
    EXPECT_EQ(s.temperaturesMs, 101u);
    EXPECT_EQ(s.voltagesMs, 102u);
    EXPECT_EQ(s.currentsMs, 103u);
    EXPECT_EQ(s.fansMs, 1900u);
    EXPECT_EQ(s.statesMs, 104u);
}

// Never less than a request and the pause before it may take.
TEST(IpmiSettings, WhatCountsAsLostFollowsFromTheSettings)
{
    IpmiSettings s;
    EXPECT_EQ(IpmiLostMs(s), 2700u);
    s.sessionMs = 200;
    EXPECT_EQ(IpmiLostMs(s), 2700u);
    s.sessionMs = 2501;
    EXPECT_EQ(IpmiLostMs(s), 3501u);
    s.sessionMs = 10000;
    s.powerMs = 2000;
    EXPECT_EQ(IpmiLostMs(s), 12500u);
}

TEST(IpmiSettings, BothSidesOfEachLimit)
{
    struct Row {
        const char *table;
        const char *key;
        i64 least;
        i64 most;
        const char *fault;
    };
    const Row rows[] = {
        {"", "port", 1, 65535, "port is a number from 1 to 65535"},
        {"[poll]\n", "sensors_ms", 100, 60000, "sensors_ms is a number from 100 to 60000"},
        {"[poll]\n", "temperatures_ms", 100, 60000,
         "temperatures_ms is a number from 100 to 60000"},
        {"[poll]\n", "voltages_ms", 100, 60000, "voltages_ms is a number from 100 to 60000"},
        {"[poll]\n", "currents_ms", 100, 60000, "currents_ms is a number from 100 to 60000"},
        {"[poll]\n", "fans_ms", 100, 60000, "fans_ms is a number from 100 to 60000"},
        {"[poll]\n", "states_ms", 100, 60000, "states_ms is a number from 100 to 60000"},
        {"[poll]\n", "thresholds_ms", 1000, 3600000,
         "thresholds_ms is a number from 1000 to 3600000"},
        {"[poll]\n", "power_ms", 100, 2000, "power_ms is a number from 100 to 2000"},
        {"[poll]\n", "log_ms", 100, 60000, "log_ms is a number from 100 to 60000"},
        {"[poll]\n", "sdr_ms", 1000, 3600000, "sdr_ms is a number from 1000 to 3600000"},
        {"[timeouts]\nsession_ms = 10000\n", "answer_ms", 100, 5000,
         "answer_ms is a number from 100 to 5000"},
        {"[timeouts]\nanswer_ms = 100\n", "session_ms", 200, 10000,
         "session_ms is a number from 200 to 10000"},
        {"[timeouts]\n", "method_ms", 1000, 60000, "method_ms is a number from 1000 to 60000"},
    };
    for (const Row &row : rows) {
        const std::string head = std::string(kLan) + row.table + row.key + " = ";
        EXPECT_EQ(Read(head + std::to_string(row.least)), "right") << row.key;
        EXPECT_EQ(Read(head + std::to_string(row.most)), "right") << row.key;
        for (const std::string &wrong :
             {std::to_string(row.least - 1), std::to_string(row.most + 1), std::string("\"5\""),
              std::string("1.5"), std::string("true"), std::string("-9223372036854775808")})
            EXPECT_NE(Read(head + wrong).find(row.fault), std::string::npos) << row.key << wrong;
    }
}

TEST(IpmiSettings, NothingIsGuessed)
{
    EXPECT_EQ(Read(""), "f:1:1: [bmc] is missing");
    EXPECT_EQ(Read("[bmc]\n"), "f:1:1: [bmc] has no driver: \"lan\", \"local\"");
    EXPECT_EQ(Read("[bmc]\ndriver = \"LAN\"\n"), "f:2:10: driver is one of \"lan\", \"local\"");
    EXPECT_EQ(Read("[bmc]\ndriver = \"lan\"\n"), "f:1:1: [bmc] has no host");
    EXPECT_EQ(Read(std::string(kLan) + "hots = \"x\"\n"), "f:4:1: unknown key \"hots\" in [bmc]");
    EXPECT_EQ(Read(std::string(kLan) + "sensors_ms = 500\n"),
              "f:4:1: unknown key \"sensors_ms\" in [bmc]");
    EXPECT_EQ(Read(std::string(kLan) + "[pol]\n"),
              "f:4:2: unknown table \"pol\" (known: bmc, poll, timeouts)");
    EXPECT_EQ(Read("bmc = 5\n"), "f:1:7: bmc is a table: write [bmc]");
    EXPECT_EQ(Read(std::string(kLan) + "privilege = \"root\"\n"),
              "f:4:13: privilege is one of \"user\", \"operator\", \"administrator\"");
    EXPECT_EQ(Read(std::string(kLan) + "cipher_suite = 4\n"),
              "f:4:16: cipher_suite is one of 0, 1, 2, 3, 6, 7, 8, 11, 12, 15, 16, 17");
    EXPECT_EQ(Read(std::string(kLan) + "user = \"12345678901234567\"\n"),
              "f:4:8: user is a text of at most 16 bytes in quotes, without control characters");
    EXPECT_EQ(Read(std::string(kLan) + "user = \"a\\u0007\"\n"),
              "f:4:8: user is a text of at most 16 bytes in quotes, without control characters");
    EXPECT_EQ(Read(std::string(kLan) + "[timeouts]\nanswer_ms = 2500\n"),
              "f:4:1: answer_ms is less than session_ms");
    EXPECT_NE(Read(std::string(kLan) + "workarounds = [\"x\"]\n").find("f:4:16: a workaround is"),
              std::string::npos);
    EXPECT_NE(Read(std::string(kLan) + "workarounds = \"x\"\n").find("f:4:15: workarounds is a l"),
              std::string::npos);
    EXPECT_EQ(Read("[bmc\n").substr(0, 4), "f:1:");
}

TEST(IpmiSettings, AKeyOfTheOtherDriverIsAFault)
{
    EXPECT_EQ(Read("[bmc]\ndriver = \"local\"\nhost = \"h\"\nuser = \"u\"\n"),
              "f:3:1: host goes with driver \"lan\" only\n"
              "f:4:1: user goes with driver \"lan\" only");
    EXPECT_EQ(Read("[bmc]\ndriver = \"local\"\n[timeouts]\nanswer_ms = 500\n"),
              "f:4:1: answer_ms goes with driver \"lan\" only");
    EXPECT_EQ(Read(std::string(kLan) + "device = \"/dev/ipmi1\"\n"),
              "f:4:1: device goes with driver \"local\" only");
}

TEST(IpmiSettings, ADeviceThatIsNoneIsRefused)
{
    for (const char *device : {"/dev/null", "/dev/tty", "/etc/passwd", "/tmp"})
        EXPECT_EQ(Read(std::string("[bmc]\ndriver = \"local\"\ndevice = \"") + device + "\"\n"),
                  std::string("f:1:1: \"") + device + "\" is no IPMI device");
    // It may come with its kernel module.
    EXPECT_EQ(Read("[bmc]\ndriver = \"local\"\ndevice = \"/dev/ipmi17\"\n"), "right");
    // Neither is one whose driver the kernel does not name refused.
    const std::string unknown = testing::TempDir() + "device" + std::to_string(getpid());
    if (mknod(unknown.c_str(), S_IFCHR | 0600, makedev(4000, 0)) == 0) {
        EXPECT_EQ(Read("[bmc]\ndriver = \"local\"\ndevice = \"" + unknown + "\"\n"), "right");
        unlink(unknown.c_str());
    }
}

TEST(IpmiSettings, EveryFaultIsTold)
{
    EXPECT_EQ(Read("[bmc]\ndriver = \"lan\"\nport = 0\nx = 1\n[poll]\npower_ms = 1\n"),
              "f:3:8: port is a number from 1 to 65535\n"
              "f:4:1: unknown key \"x\" in [bmc]\n"
              "f:6:12: power_ms is a number from 100 to 2000");
}

TEST(IpmiSettings, AFileThatCannotBeReadIsAFault)
{
    IpmiSettings settings;
    std::vector<FileNote> notes;
    EXPECT_FALSE(IpmiSettingsRead("/nonexistent/x", &settings, &notes));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].text, "No such file or directory");
    notes.clear();
    EXPECT_FALSE(IpmiSettingsRead("/dev/zero", &settings, &notes));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].text, "larger than 64 KiB");
}

TEST(IpmiSettings, Archive)
{
    IpmiSettings s;
    EXPECT_EQ(Read(std::string("archive = \"/var/lib/zor\"\narchive_mb = 10000\n") + kLan, &s),
              "right");
    EXPECT_EQ(s.archive.directory, "/var/lib/zor");
    EXPECT_EQ(s.archive.megabytes, 10000u);
    EXPECT_EQ(Read(kLan, &s), "right");
    EXPECT_EQ(s.archive.directory, "");
    EXPECT_EQ(s.archive.megabytes, 16u);
    EXPECT_EQ(Read(std::string("archive = \"here\"\n") + kLan),
              "f:1:11: archive is an absolute directory");
}
