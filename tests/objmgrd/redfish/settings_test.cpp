// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/settings.
#include "objmgrd/redfish/settings.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace
{

constexpr char kLeast[] = "[redfish]\nurl = 'https://a'\nuser = 'u'\n";

// Every fault as "LINE:COLUMN TEXT", or "right".
std::string Faults(const std::string &text, RedfishSettings *settings = nullptr)
{
    RedfishSettings mine;
    std::vector<FileNote> notes;
    const bool right = RedfishSettingsParse(text, settings != nullptr ? settings : &mine, &notes);
    std::string faults;
    for (const FileNote &note : notes)
        faults += (faults.empty() ? "" : "\n") + std::to_string(note.line) + ":" +
                  std::to_string(note.column) + " " + note.text;
    EXPECT_EQ(right, notes.empty());
    return right ? "right" : faults;
}

std::string With(const std::string &line)
{
    return Faults(kLeast + line);
}

}  // namespace

TEST(RedfishSettings, Defaults)
{
    RedfishSettings settings;
    EXPECT_EQ(Faults(kLeast, &settings), "right");
    EXPECT_EQ(settings.origin.Url(), "https://a");
    EXPECT_EQ(settings.user, "u");
    EXPECT_EQ(settings.powerMs, 1000u);
    EXPECT_EQ(settings.sensorsMs, 5000u);
    EXPECT_EQ(settings.logMs, 10000u);
    EXPECT_EQ(settings.discoveryMs, 300000u);
    EXPECT_EQ(settings.answerMs, 10000u);
    EXPECT_EQ(settings.lostMs, 15000u);
    EXPECT_EQ(settings.methodMs, 30000u);
    EXPECT_FALSE(settings.skuIsTag);
    EXPECT_FALSE(settings.refuseCycle);
}

TEST(RedfishSettings, Everything)
{
    RedfishSettings settings;
    EXPECT_EQ(
        Faults("[redfish]\nurl = 'https://192.0.2.1:8443'\nuser = 'u'\npassword_file = '/p'\n"
               "ca_file = '/c'\npin = 'sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA='\n"
               "tls_name = 'BMC.example'\nsystem = '1'\nlog = '/redfish/v1/l'\ntag = 'sku'\n"
               "cycle = 'refuse'\nsession_file = '/s'\n[poll]\npower_ms = 500\n"
               "sensors_ms = 60000\nlog_ms = 1000\ndiscovery_ms = 30000\n[timeouts]\n"
               "answer_ms = 1000\nlost_ms = 60000\nmethod_ms = 119000\n",
               &settings),
        "right");
    EXPECT_EQ(settings.origin.port, 8443u);
    EXPECT_EQ(settings.origin.name, "bmc.example");
    EXPECT_EQ(settings.passwordFile, "/p");
    EXPECT_EQ(settings.caFile, "/c");
    EXPECT_EQ(settings.system, "1");
    EXPECT_EQ(settings.log, "/redfish/v1/l");
    EXPECT_TRUE(settings.skuIsTag);
    EXPECT_TRUE(settings.refuseCycle);
    EXPECT_EQ(RedfishSessionFile(settings), "/s");
    EXPECT_EQ(settings.methodMs, 119000u);
}

TEST(RedfishSettings, LimitsOfNumbers)
{
    EXPECT_EQ(With("[poll]\npower_ms = 499\n"), "5:12 power_ms is a number from 500 to 10000");
    EXPECT_EQ(With("[poll]\npower_ms = 10000\n"), "right");
    EXPECT_EQ(With("[poll]\nsensors_ms = 999\n"), "5:14 sensors_ms is a number from 1000 to 60000");
    EXPECT_EQ(With("[poll]\nlog_ms = 300001\n"), "5:10 log_ms is a number from 1000 to 300000");
    EXPECT_EQ(With("[poll]\ndiscovery_ms = 29999\n"),
              "5:16 discovery_ms is a number from 30000 to 3600000");
    EXPECT_EQ(With("[timeouts]\nanswer_ms = '1'\n"),
              "5:13 answer_ms is a number from 1000 to 30000");
    EXPECT_EQ(With("[timeouts]\nlost_ms = 1999\n"), "5:11 lost_ms is a number from 2000 to 60000");
    EXPECT_EQ(With("[timeouts]\nmethod_ms = 119001\n"),
              "5:13 method_ms is a number from 1000 to 119000");
}

TEST(RedfishSettings, KindsThatAreNotNamedFollowTheSensors)
{
    RedfishSettings settings;
    EXPECT_EQ(Faults(std::string(kLeast) + "[poll]\nsensors_ms = 3000\nfans_ms = 1000\n"
                                           "states_ms = 60000\n",
                     &settings),
              "right");
    EXPECT_EQ(settings.temperaturesMs, 3000u);
    EXPECT_EQ(settings.voltagesMs, 3000u);
    EXPECT_EQ(settings.currentsMs, 3000u);
    EXPECT_EQ(settings.fansMs, 1000u);
    EXPECT_EQ(settings.statesMs, 60000u);
    EXPECT_EQ(Faults(kLeast, &settings), "right");
    EXPECT_EQ(settings.statesMs, 5000u);
    for (const char *key :
         {"temperatures_ms", "voltages_ms", "currents_ms", "fans_ms", "states_ms"}) {
        const std::string line = std::string("[poll]\n") + key + " = ";
        const std::string fault = "5:" + std::to_string(std::string(key).size() + 4) + " " + key +
                                  " is a number from 1000 to 60000";
        EXPECT_EQ(With(line + "999\n"), fault);
        EXPECT_EQ(With(line + "60001\n"), fault);
        EXPECT_EQ(With(line + "1000\n"), "right");
    }
}

TEST(RedfishSettings, Faults)
{
    EXPECT_EQ(Faults(""), "1:1 [redfish] is missing");
    EXPECT_EQ(Faults("[redfish]\n"), "1:1 [redfish] has no url\n1:1 [redfish] has no user");
    EXPECT_EQ(With("insecure = true\n"), "4:1 unknown key \"insecure\" in [redfish]");
    EXPECT_EQ(With("[other]\n"), "4:2 unknown table \"other\" (known: redfish, poll, timeouts)");
    EXPECT_EQ(With("poll = 3\n").substr(0, 4), "4:1 ");
    EXPECT_EQ(With("tag = 'uuid'\n"), "4:7 tag is one of \"serial\", \"sku\"");
    EXPECT_EQ(With("cycle = 1\n"), "4:9 cycle is one of \"auto\", \"refuse\"");
    EXPECT_EQ(With("pin = 'sha256//abc'\n"),
              "4:7 pin is \"sha256//\" and the key's hash in base 64, 44 characters");
    EXPECT_EQ(With("tls_name = 'a/b'\n"), "4:12 tls_name is a name");
    EXPECT_EQ(With("log = 'https://evil/l'\n"),
              "4:7 log is the path of a LogService: \"/redfish/v1/...\"");
    EXPECT_EQ(With("system = \"a\\u0007\"\n"), "4:10 system is a text of at most 255 bytes in "
                                               "quotes, without control characters");
    EXPECT_EQ(Faults("[redfish]\nurl = 'https://a'\nuser = 'a:b'\n"),
              "3:8 user has no colon in it");
    EXPECT_EQ(Faults("[redfish]\nurl = 'https://a/redfish'\nuser = 'u'\n"),
              "2:7 url is \"https://HOST\" or \"https://HOST:PORT\"");
    EXPECT_EQ(Faults("[redfish\n").substr(0, 2), "1:");
}

TEST(RedfishSettings, PlainHttpIsForThisMachineOnly)
{
    const auto url = [](const char *text, const char *more = "") {
        return Faults(std::string("[redfish]\nurl = '") + text + "'\nuser = 'u'\n" + more);
    };
    EXPECT_EQ(url("http://127.0.0.1:8000"), "right");
    EXPECT_EQ(url("http://[::1]"), "right");
    EXPECT_EQ(url("http://192.0.2.1"),
              "2:7 url is https: without it the password could be read on the way");
    EXPECT_EQ(url("http://localhost", "ca_file = '/c'\n"),
              "2:7 ca_file, pin and tls_name go with https only");
}

TEST(RedfishSettings, TheSessionFileIsTheServicesOwn)
{
    RedfishSettings one;
    RedfishSettings other;
    unsetenv("RUNTIME_DIRECTORY");
    EXPECT_EQ(Faults(kLeast, &one), "right");
    EXPECT_EQ(Faults("[redfish]\nurl = 'https://b'\nuser = 'u'\n", &other), "right");
    EXPECT_EQ(RedfishSessionFile(one).substr(0, 25), "/run/zor/redfish-session-");
    EXPECT_NE(RedfishSessionFile(one), RedfishSessionFile(other));
    setenv("RUNTIME_DIRECTORY", "/run/x", 1);
    EXPECT_EQ(RedfishSessionFile(one).substr(0, 23), "/run/x/redfish-session-");
}

TEST(RedfishSettings, TheExamplesAreRight)
{
    for (const char *name : {"/controller.toml", "/pinned.toml"}) {
        RedfishSettings settings;
        std::vector<FileNote> notes;
        EXPECT_TRUE(RedfishSettingsRead(std::string(EXAMPLE_REDFISH) + name, &settings, &notes))
            << (notes.empty() ? "" : notes[0].text);
        EXPECT_EQ(settings.user, "operator");
    }
    RedfishSettings settings;
    std::vector<FileNote> notes;
    EXPECT_FALSE(RedfishSettingsRead("/nowhere", &settings, &notes));
    EXPECT_EQ(notes[0].text, "No such file or directory");
}

TEST(RedfishSettings, Archive)
{
    RedfishSettings settings;
    EXPECT_EQ(Faults(std::string("archive = '/var/lib/zor'\narchive_mb = 1\n") + kLeast, &settings),
              "right");
    EXPECT_EQ(settings.archive.directory, "/var/lib/zor");
    EXPECT_EQ(settings.archive.megabytes, 1u);
    EXPECT_EQ(Faults(std::string("archive_mb = 10001\n") + kLeast),
              "1:14 archive_mb is a number from 1 to 10000");
}
