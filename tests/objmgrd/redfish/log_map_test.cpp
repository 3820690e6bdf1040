// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/log_map.
#include "objmgrd/redfish/log_map.h"

#include "documents.h"

namespace
{

class LogMap : public testing::Test
{
protected:
    // The address of the log that is read; each is "OWNER {DOCUMENT}", at /0, /1...
    std::string Chosen(std::initializer_list<const char *> logs, const char *before = "")
    {
        std::vector<LogService> services;
        for (const char *log : logs) {
            const LogOwner owner = *log == 'S'   ? LogOwner::System
                                   : *log == 'M' ? LogOwner::Manager
                                                 : LogOwner::Chassis;
            services.push_back({owner, "/" + std::to_string(services.size()), read(log + 2)});
        }
        const int chosen = ChooseLog(services, before);
        return chosen < 0 ? "(none)" : services[static_cast<size_t>(chosen)].link;
    }
    LogEntry Entry(const char *document) { return LogEntryOf(read(document)); }
    std::string Sorted(std::initializer_list<const char *> documents)
    {
        std::vector<LogEntry> entries;
        for (const char *document : documents)
            entries.push_back(Entry(document));
        SortLog(&entries);
        std::string ids;
        for (const LogEntry &entry : entries)
            ids += (ids.empty() ? "" : " ") + entry.id;
        return ids;
    }
    Documents read;
};

}  // namespace

TEST_F(LogMap, TheHardwaresLogIsChosen)
{
    EXPECT_EQ(Chosen({"S {'Id': 'Event', 'LogEntryType': 'SEL'}",
                      "M {'Id': 'Sel', 'LogEntryType': 'SEL'}",
                      "M {'Id': 'Lclog', 'LogEntryType': 'SEL'}"}),
              "/1");
    EXPECT_EQ(Chosen({"M {'Id': '1', 'Name': 'System Event Log'}", "S {'Id': 'SEL'}"}), "/1");
    EXPECT_EQ(Chosen({"C {'Id': 'Log1', 'LogEntryType': 'SEL'}", "S {'Id': 'Log2'}"}), "/0");
    EXPECT_EQ(Chosen({"C {'Id': 'Log1'}", "M {'Id': 'Log2'}", "S {'Id': 'Log3'}"}), "/2");
    EXPECT_EQ(Chosen({"S {'Id': 'A'}", "S {'Id': 'B'}"}), "/0");
    EXPECT_EQ(Chosen({}), "(none)");
    // The one of before, whatever the order; but none that is worse.
    EXPECT_EQ(Chosen({"S {'Id': 'A'}", "S {'Id': 'B'}"}, "/1"), "/1");
    EXPECT_EQ(Chosen({"S {'Id': 'A'}", "M {'Id': 'B'}"}, "/1/"), "/0");
    EXPECT_EQ(Chosen({"S {'Id': 'AuditLog'}", "S {'Id': 'B'}"}, "/0"), "/1");
}

TEST_F(LogMap, OtherLogsAreNot)
{
    for (const char *log :
         {"M {'Id': 'AuditLog'}", "M {'Id': '1', 'Name': 'Security Log'}", "M {'Id': 'Journal'}",
          "S {'Id': 'HostConsole'}", "S {'Id': 'Dump', 'LogEntryType': 'SEL'}",
          "S {'Id': 'DebugLog'}", "S {'Id': 'Crashdump'}", "S {'Id': 'PostCodes'}",
          "S {'Id': 'x', 'Name': 'POST Code Log Service'}"})
        EXPECT_EQ(Chosen({log}), "(none)") << log;
    EXPECT_EQ(Chosen({"S {'Id': 'SelfTest'}", "M {'Id': 'SelLog'}"}), "/1");
    EXPECT_EQ(Chosen({"S {'Id': 'diesel'}", "M {'Id': 'bmc-sel'}"}), "/1");
    EXPECT_EQ(Chosen({"S {'Id': 'SELECT'}", "M {'Id': 'BmcSEL'}"}), "/1");
}

TEST_F(LogMap, EveryDigitOfATimeIsOne)
{
    const std::string time = "2026-03-14T09:26:53+01:00";
    ASSERT_TRUE(RedfishTime(time).has_value());
    for (size_t at = 0; at < time.size(); ++at) {
        for (const char other : {'/', ':'}) {
            std::string bad = time;
            bad[at] = other;
            EXPECT_EQ(RedfishTime(bad).has_value(), bad == time) << bad;
        }
    }
    for (size_t size = 0; size < 19; ++size)
        EXPECT_FALSE(RedfishTime(time.substr(0, size)).has_value()) << size;
}

TEST_F(LogMap, NumbersOfSensorsFromBothSides)
{
    for (const auto &[number, text] : {std::pair("0", "Fan 0"),
                                       {"1.9", "Fan 1"},
                                       {"1e9", "Fan 1000000000"},
                                       {"-1", "Fan"},
                                       {"1000000001", "Fan"},
                                       {"'7'", "Fan"},
                                       {"null", "Fan"}})
        EXPECT_EQ(
            Entry(("{'SensorType': 'Fan', 'SensorNumber': " + std::string(number) + "}").c_str())
                .description,
            text);
}

TEST_F(LogMap, TimesAreUtc)
{
    EXPECT_EQ(RedfishTime("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(RedfishTime("2026-03-14T09:26:53Z"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-14T09:26:53"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-14T10:26:53+01:00"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-14T03:56:53.123456-05:30"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-14T10:26:53+0100"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-14T10:26:53+01"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-15T09:25:53+23:59"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-13T09:27:53-23:59"), 1773480413);
    EXPECT_EQ(RedfishTime("2026-03-14T09:26:53+00:60"), std::nullopt);
    EXPECT_EQ(RedfishTime("2000-02-29T00:00:00Z"), 951782400);
    EXPECT_EQ(RedfishTime("2024-12-31T23:59:60Z"), 1735689600);
    EXPECT_EQ(RedfishTime("1969-12-31T23:59:59Z"), -1);
    for (const char *text :
         {"", "now", "2026-03-14", "2026-13-14T09:26:53Z", "2026-00-14T09:26:53Z",
          "2026-02-29T00:00:00Z", "2100-02-29T00:00:00Z", "2026-04-31T00:00:00Z",
          "2026-04-00T00:00:00Z", "2026-03-14T24:00:00Z", "2026-03-14T09:60:00Z",
          "2026-03-14T09:26:61Z", "2026-03-14T09:26:53.Z", "2026-03-14T09:26:53+24:00",
          "2026-03-14T09:26:53+1:00", "2026-03-14T09:26:53ZZ", "2026-03-14T09:26:5xZ"})
        EXPECT_EQ(RedfishTime(text), std::nullopt) << text;
}

TEST_F(LogMap, EveryMonthHasItsDays)
{
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};  // of 2026
    i64 day = 20454;  // from 1970-01-01 to 2026-01-01
    for (int month = 1; month <= 12; ++month) {
        const int last = kDays[month - 1];
        for (int i = 1; i <= last + 1; ++i) {
            char text[32];
            snprintf(text, sizeof text, "2026-%02d-%02dT00:00:00Z", month, i);
            EXPECT_EQ(RedfishTime(text), i <= last ? std::optional(day * 86400) : std::nullopt)
                << text;
            day += i <= last ? 1 : 0;
        }
    }
}

TEST_F(LogMap, TimestampIsWhenTheEventWas)
{
    EXPECT_EQ(Entry("{'EventTimestamp': '2026-03-14T09:26:53Z', 'Created': '2027-01-01T00:00:00Z'}")
                  .times,
              (LogTimes{"2026-03-14 09:26:53", "20260314092653"}));
    EXPECT_EQ(Entry("{'EventTimestamp': null, 'Created': '2026-03-14T11:26:53+02:00'}").times,
              (LogTimes{"2026-03-14 09:26:53", "20260314092653"}));
    EXPECT_EQ(Entry("{'Created': '1999-12-31T23:59:59Z'}").times, LogTimesOfStart());
    EXPECT_EQ(Entry("{'Created': '2000-01-01T00:00:00Z'}").times.digits, "20000101000000");
    EXPECT_EQ(Entry("{'Created': '1970-01-01T00:01:12+00:00'}").times, LogTimesOfStart());
    EXPECT_EQ(Entry("{'Created': '0000-00-00T00:00:00Z'}").times, LogTimesNone());
    EXPECT_EQ(Entry("{'Created': 5}").times, LogTimesNone());
    EXPECT_EQ(Entry("{}").times, LogTimesNone());
}

TEST_F(LogMap, DescriptionIsTheMessage)
{
    EXPECT_EQ(Entry("{'Message': 'Fan 1\\nfailed. '}").description, "Fan 1 failed.");
    EXPECT_EQ(Entry("{'Message': 'Fan 1 failed', 'Severity': 'OK'}").description, "Fan 1 failed");
    EXPECT_EQ(Entry("{'Message': 'Fan 1 failed', 'Severity': 'Critical'}").description,
              "Critical: Fan 1 failed");
    EXPECT_EQ(Entry("{'Message': 'Hot', 'MessageSeverity': 'Warning'}").description,
              "Warning: Hot");
    EXPECT_EQ(Entry("{'Message': '', 'SensorType': 'Temperature', 'SensorNumber': 34,"
                    " 'EntryCode': 'Assert'}")
                  .description,
              "Temperature 34: Assert");
    EXPECT_EQ(Entry("{'Message': '0x04a1', 'SensorType': 'Fan', 'SensorNumber': 7,"
                    " 'EntryCode': 'Deassert', 'Severity': 'Warning'}")
                  .description,
              "Warning: Fan 7: Deassert: 0x04a1");
    EXPECT_EQ(Entry("{'Message': '0201ff', 'SensorType': 'Fan'}").description, "Fan: 0201ff");
    EXPECT_EQ(Entry("{'Message': 'Added'}").description, "Added");
    EXPECT_EQ(Entry("{}").description, "");
}

TEST_F(LogMap, DescriptionIsCutWithItsSeverity)
{
    const std::string text(255, 'x');
    EXPECT_EQ(LogEntryOf(read("{'Message': '" + text + "', 'Severity': 'Warning'}")).description,
              "Warning: " + text.substr(9));
}

TEST_F(LogMap, OldestFirstByNumber)
{
    EXPECT_EQ(Sorted({"{'Id': '10'}", "{'Id': '9'}", "{'Id': '1'}"}), "1 9 10");
    EXPECT_EQ(Sorted({"{'Id': 'SEL-2'}", "{'@odata.id': '/e/SEL-1/'}", "{'Id': 'SEL-11'}"}),
              "SEL-1 SEL-2 SEL-11");
    EXPECT_EQ(Sorted({"{'Id': 'b', 'Created': '2026-01-02T00:00:00Z'}",
                      "{'Id': '1', 'Created': '2026-01-03T00:00:00Z'}",
                      "{'Id': 'c', 'Created': '2026-01-01T00:00:00Z'}", "{'Id': 'd'}"}),
              "d c b 1");
    EXPECT_EQ(Sorted({"{'Id': '1700000100_10'}", "{'Id': '1700000100_9'}", "{'Id': '1700000100'}"}),
              "1700000100 1700000100_9 1700000100_10");
    // These have digits, but no numbers.
    EXPECT_EQ(Sorted({"{'Id': '3f2c-01', 'Created': '2026-01-02T00:00:00Z'}",
                      "{'Id': '9a2c-01', 'Created': '2026-01-01T00:00:00Z'}"}),
              "9a2c-01 3f2c-01");
    EXPECT_EQ(Sorted({"{'Id': 'B1', 'Created': '2026-01-01T00:00:00Z'}",
                      "{'Id': 'A2', 'Created': '2026-01-02T00:00:00Z'}"}),
              "B1 A2");
    EXPECT_EQ(Sorted({"{'Id': '1_', 'Created': '2026-01-02T00:00:00Z'}",
                      "{'Id': '2_', 'Created': '2026-01-01T00:00:00Z'}"}),
              "2_ 1_");
}

TEST_F(LogMap, TheNewestOfALongLogStay)
{
    std::vector<LogEntry> entries(10001);
    for (size_t i = 0; i < entries.size(); ++i)
        entries[i].id = std::to_string(i + 1);
    SortLog(&entries);
    ASSERT_EQ(entries.size(), 10000u);
    EXPECT_EQ(entries.front().id, "2");
    EXPECT_EQ(entries.back().id, "10001");
}
