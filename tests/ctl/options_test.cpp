// SPDX-License-Identifier: Apache-2.0
#include "ctl/options.h"

#include <gtest/gtest.h>

namespace
{

constexpr i64 kNow = 1709189892;  // 2024-02-29T06:58:12Z

std::string Parse(const std::vector<std::string> &words, Options *options)
{
    std::vector<std::string> copy = words;
    std::string program = "smclpctl";
    std::vector<char *> argv = {program.data()};
    for (std::string &word : copy)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    *options = {};
    return OptionsParse(static_cast<int>(argv.size()) - 1, argv.data(), kNow, options);
}

std::string Wrong(const std::vector<std::string> &words)
{
    Options options;
    return Parse(words, &options);
}

Options Right(const std::vector<std::string> &words)
{
    Options options;
    EXPECT_EQ(Parse(words, &options), "");
    return options;
}

std::string Time(std::string_view text)
{
    const auto time = OptionsTime(text, kNow);
    return time ? TimeValue(*time).text : "none";
}

}  // namespace

TEST(Options, CommandsAndWords)
{
    EXPECT_EQ(Right({"sensors"}).command, CommandId::Sensors);
    EXPECT_EQ(Right({"system"}).command, CommandId::System);
    EXPECT_EQ(Right({"power"}).action, PowerAction::None);
    EXPECT_EQ(Right({"power", "on"}).action, PowerAction::On);
    EXPECT_EQ(Right({"power", "off"}).action, PowerAction::Off);
    EXPECT_EQ(Right({"power", "reset"}).action, PowerAction::Reset);
    EXPECT_EQ(Right({"power", "cycle"}).action, PowerAction::Cycle);
    EXPECT_FALSE(Right({"log"}).clear);
    EXPECT_TRUE(Right({"log", "clear"}).clear);
    EXPECT_EQ(Wrong({}), "a command is missing");
    EXPECT_EQ(Wrong({"sensor"}), "no command: sensor");
    EXPECT_EQ(Wrong({"sensors", "fans"}), "one word too many: fans");
    EXPECT_EQ(Wrong({"power", "ON"}), "one word too many: ON");
    EXPECT_EQ(Wrong({"power", "on", "off"}), "one word too many: off");
    EXPECT_EQ(Wrong({"log", "empty"}), "one word too many: empty");
}

TEST(Options, OptionsStandAnywhere)
{
    EXPECT_EQ(Right({"--format", "json", "sensors"}).format, OutputFormat::Json);
    EXPECT_EQ(Right({"sensors", "-f", "csv"}).format, OutputFormat::Csv);
    EXPECT_EQ(Right({"-fjsonl", "sensors"}).format, OutputFormat::JsonLines);
    EXPECT_EQ(Right({"sensors", "--dir", "/run/x"}).directory, "/run/x");
    EXPECT_EQ(Right({"power", "--wait", "60", "cycle"}).waitSeconds, 60u);
    EXPECT_TRUE(Right({"--help"}).help);
    EXPECT_TRUE(Right({"-V"}).version);
}

TEST(Options, WhatIsNoOption)
{
    EXPECT_EQ(Wrong({"sensors", "--color"}), "no option: --color");
    EXPECT_EQ(Wrong({"-z", "sensors"}), "no option: -z");
    // Among letters that stand in one word: the word.
    EXPECT_EQ(Wrong({"-zV"}), "no option: -zV");
    EXPECT_EQ(Wrong({"-Vz", "sensors"}), "no option: -Vz");
    EXPECT_EQ(Wrong({"sensors", "-V", "-Vz", "log"}), "no option: -Vz");
    EXPECT_EQ(Wrong({"sensors", "--format"}), "--format needs a value");
    EXPECT_EQ(Wrong({"sensors", "-f"}), "-f needs a value");
    EXPECT_EQ(Wrong({"sensors", "--format", "xml"}),
              "no format: xml (there are table, json, jsonl, csv)");
    EXPECT_EQ(Wrong({"sensors", "--follow"}), "--follow is no option of sensors");
    EXPECT_EQ(Wrong({"--type", "fan", "log"}), "--type is no option of log");
    EXPECT_EQ(Wrong({"power", "--wait", "1"}), "--wait needs on, off, reset or cycle");
    EXPECT_EQ(Wrong({"log", "clear", "--follow"}), "clear takes no options");
    EXPECT_EQ(Wrong({"log", "--follow", "-f", "json"}),
              "this has no end, and JSON needs one: take --format jsonl");
}

// As of a script whose variable is not set: the default is not what was meant.
TEST(Options, AnEmptyValueIsNone)
{
    for (const auto &[command, option] :
         {std::pair("system", "--dir"), std::pair("system", "-w"), std::pair("system", "--run-dir"),
          std::pair("system", "--format"), std::pair("sensors", "--type"),
          std::pair("log", "--all"), std::pair("log", "--since"), std::pair("audit", "--file"),
          std::pair("export", "--output"), std::pair("export", "--listen"),
          std::pair("power", "--wait"), std::pair("power", "--every"),
          std::pair("watch", "--count")})
        EXPECT_EQ(Wrong({command, option, ""}), std::string(option) + " needs a value");
    EXPECT_EQ(Wrong({"system", "--dir="}), "--dir needs a value");
}

TEST(Options, TheFormatIsKnownWhateverIsWrong)
{
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"system", "--bogus", "-f", "json"},
          {"-f", "json", "--dir", "", "system"},
          {"systems", "--format=json"},
          {"--wait", "x", "-fjson", "power", "on"},
          {"-fjson"}}) {
        Options options;
        EXPECT_NE(Parse(words, &options), "");
        EXPECT_EQ(options.format, OutputFormat::Json) << words[0];
    }
    Options options;
    EXPECT_EQ(Parse({"--first", "--second", "-f", "xml"}, &options), "no option: --first");
}

TEST(Options, Sensors)
{
    EXPECT_EQ(Right({"sensors", "--type", "fan,current"}).types,
              (std::vector<std::string>{"fan", "current"}));
    EXPECT_EQ(Right({"sensors", "--target", "/system1/fans1/"}).target, "/system1/fans1");
    EXPECT_EQ(Right({"sensors", "--target", "/"}).target, "/");
    EXPECT_EQ(Right({"sensors", "--target", "//"}).target, "/");
    EXPECT_EQ(Wrong({"sensors", "--target", "fans1"}), "no target, as in /system1/fans1: fans1");
    // As of a script whose variable is empty.
    EXPECT_EQ(Wrong({"sensors", "--target", ""}), "--target needs a value");
    EXPECT_EQ(Wrong({"sensors", "--type", "fan,"}),
              "no type of sensors:  (there are temperature, voltage, power, fan, fan_redundancy, "
              "intrusion, power_supply, power_redundancy, battery, performance, current)");
}

TEST(Options, LimitsFromBothSides)
{
    EXPECT_EQ(Right({"power", "on", "--wait", "0"}).waitSeconds, 0u);
    EXPECT_EQ(Right({"power", "on", "--wait", "86400"}).waitSeconds, 86400u);
    EXPECT_EQ(Wrong({"power", "on", "--wait", "86401"}), "no number of seconds up to 86400: 86401");
    EXPECT_EQ(Wrong({"power", "on", "--wait", "-1"}), "no number of seconds up to 86400: -1");
    EXPECT_EQ(Right({"log", "--since", "65535"}).sinceRecord, 65535u);
    EXPECT_EQ(Wrong({"log", "--since", "65536"}), "neither a time nor a record's number: 65536");
}

TEST(Options, Since)
{
    EXPECT_EQ(Right({"log", "--since", "7"}).sinceRecord, 7u);
    EXPECT_EQ(Right({"log", "--since", "now"}).sinceTime, kNow);
    EXPECT_EQ(Right({"log", "--since", "-2h"}).sinceTime, kNow - 7200);
    EXPECT_EQ(Wrong({"log", "--since", "soon"}), "neither a time nor a record's number: soon");
}

TEST(Options, All)
{
    EXPECT_EQ(Right({"log", "--all", "/var/x", "--since", "now"}).archive, "/var/x");
    EXPECT_EQ(Wrong({"log", "--all", "/x", "--since", "7"}),
              "--all takes neither --follow nor a record's number");
    EXPECT_EQ(Wrong({"log", "--all", "/x", "--follow"}),
              "--all takes neither --follow nor a record's number");
    EXPECT_EQ(Wrong({"log", "clear", "--all", "/x"}), "clear takes no options");
}

TEST(Options, Times)
{
    EXPECT_EQ(Time("today"), "2024-02-29T00:00:00Z");
    EXPECT_EQ(Time("yesterday"), "2024-02-28T00:00:00Z");
    EXPECT_EQ(Time("-90s"), "2024-02-29T06:56:42Z");
    EXPECT_EQ(Time("-7d"), "2024-02-22T06:58:12Z");
    EXPECT_EQ(Time("-30m"), "2024-02-29T06:28:12Z");
    EXPECT_EQ(Time("2023-12-31"), "2023-12-31T00:00:00Z");
    EXPECT_EQ(Time("2023-12-31 23:59"), "2023-12-31T23:59:00Z");
    EXPECT_EQ(Time("2023-12-31 23:59:58"), "2023-12-31T23:59:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58Z"), "2023-12-31T23:59:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58.5Z"), "2023-12-31T23:59:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58+01:30"), "2023-12-31T22:29:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58-00:02"), "2024-01-01T00:01:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58z"), "2023-12-31T23:59:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58.5"), "2023-12-31T23:59:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58.25-00:02"), "2024-01-01T00:01:58Z");
    EXPECT_EQ(Time("2023-12-31T23:59:58+23:59"), "2023-12-31T00:00:58Z");
    EXPECT_EQ(Time("-1s"), "2024-02-29T06:58:11Z");
    EXPECT_EQ(Time("-1000000s"), "2024-02-17T17:11:32Z");
    for (const char *text :
         {"2023-12-31T23:59:58+24:00", "2023-12-31T23:59:58*01:30", "2023-12-31T23:59:58+01-30",
          "2023-12-31T23:59:58+01:300", "2023-12-31T23:59:58+a1:30", "2023-12-31T23:59:58+01:a0",
          "2023-12-31T23:59:58.", "2023-12-31T23:59:58,5", "2023-12-31T23:59:58.5x",
          "2023-12-31 23:59Z", "2023-12-31 23:59.5", "2023-12-31 23:59+01:30", "-s", "-1000001s",
          "-1h0"})
        EXPECT_EQ(Time(text), "none") << text;
    for (const char *text :
         {"", "2023", "2023-12", "2023-13-01", "2023-02-29", "2023-12-31T", "2023-12-31 23",
          "2023-12-31 23:59:5", "2023-12-31T24:00:00Z", "2023-12-31T23:59:58+1:30",
          "2023-12-31T23:59:58+01:60", "2023-12-31T23:59:58.Z", "2023-12-31Z", "-h", "-1y", "2h",
          "-", "--1h"})
        EXPECT_EQ(Time(text), "none") << text;
}

TEST(Options, SeveralServers)
{
    const Options options = Right({"-w", "n[1-3]", "--run-dir", "/tmp/x", "system"});
    EXPECT_TRUE(options.several);
    EXPECT_EQ(options.servers, (std::vector<std::string>{"n1", "n2", "n3"}));
    EXPECT_EQ(options.runDirectory, "/tmp/x");
    EXPECT_EQ(Right({"system"}).runDirectory, "/run/zor");
    EXPECT_FALSE(Right({"system"}).several);
    EXPECT_EQ(Wrong({"-w", "n[3-1]", "system"}), "a range ends before it begins: [3-1]");
    EXPECT_EQ(Wrong({"-w", "n1", "-d", "/x", "system"}), "-w and --dir exclude each other");
    EXPECT_EQ(Wrong({"-w", "n1", "health", "--check"}), "--check asks one server");
}

TEST(Options, Every)
{
    const Options options = Right({"-w", "n1", "power", "off", "--every", "10/5s", "--yes"});
    EXPECT_EQ(options.everyServers, 10u);
    EXPECT_EQ(options.everySeconds, 5u);
    EXPECT_TRUE(options.yes);
    EXPECT_EQ(Right({"-w", "n1", "log", "clear", "--every", "1/0"}).everySeconds, 0u);
    for (const char *every : {"10", "0/5", "10/", "/5", "10/5m", "10/-5", "x/5"}) {
        EXPECT_EQ(Wrong({"-w", "n1", "power", "--every", every}),
                  std::string("no number of servers and seconds, as in 10/5s: ") + every);
    }
    EXPECT_EQ(Wrong({"power", "off", "--every", "1/1"}), "--every needs -w");
}

TEST(Options, Watch)
{
    EXPECT_EQ(Right({"watch"}).intervalMs, 2000u);
    EXPECT_EQ(Right({"watch", "0.5", "--count", "3"}).intervalMs, 500u);
    EXPECT_EQ(Right({"watch", "0.1"}).intervalMs, 100u);
    EXPECT_EQ(Right({"watch", "86400"}).intervalMs, 86400000u);
    EXPECT_EQ(Right({"watch", "--count", "3", "-f", "json"}).count, 3u);
    for (const char *interval : {"0", "0.09", "86400.1", "x"})
        EXPECT_EQ(Wrong({"watch", interval}),
                  std::string("no number of seconds from 0.1 to 86400: ") + interval);
    EXPECT_EQ(Wrong({"watch", "1", "2"}), "one word too many: 2");
    EXPECT_EQ(Wrong({"watch", "--count", "0"}), "no number of looks: 0");
    EXPECT_EQ(Wrong({"watch", "-f", "json"}),
              "this has no end, and JSON needs one: take --format jsonl");
}

TEST(Options, HealthAndExport)
{
    EXPECT_TRUE(Right({"health", "--check"}).check);
    EXPECT_EQ(Right({"export", "--prometheus", "--output", "/tmp/x"}).output, "/tmp/x");
    EXPECT_EQ(Wrong({"sensors", "--check"}), "--check is no option of sensors");
}
