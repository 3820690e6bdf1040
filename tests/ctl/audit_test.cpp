// SPDX-License-Identifier: Apache-2.0
#include "ctl/audit.h"
#include "ctl/output.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace
{

constexpr i64 kNow = 1795291200;  // 2026-11-21T20:00:00Z
constexpr char kCall[] = "event=call user=alice uid=1001 pid=4713 session=7 "
                         "claimed_address=192.0.2.7 command=Reset argument=Mode=PowerCycle "
                         "target=OEM_QARN_System result=done value=0";

std::string Json(const std::string &line)
{
    AuditEvent event;
    if (!AuditParseLine(line, {1000}, kNow, &event))
        return "none";
    return JsonRow(kAuditForm, AuditRow(event), false);
}

std::string Time(const std::string &line)
{
    AuditEvent event;
    if (!AuditParseLine(line, {}, kNow, &event))
        return "none";
    return event.time ? TimeValue(*event.time).text : "no time";
}

std::string Journal(const std::string &uid, const std::string &message,
                    const std::string &program = "\"_COMM\":\"objmgrd-sim\"")
{
    return "{\"__REALTIME_TIMESTAMP\":\"1795291199123456\",\"_UID\":\"" + uid + "\"," + program +
           ",\"MESSAGE\":" + JsonText(message) + "}";
}

}  // namespace

TEST(Audit, ACallInTheJournal)
{
    EXPECT_EQ(Json(Journal("0", kCall)),
              "{\"server\":null,\"time\":\"2026-11-21T19:59:59Z\",\"event\":\"call\","
              "\"user\":\"alice\",\"uid\":1001,\"pid\":4713,\"session\":7,"
              "\"address\":\"192.0.2.7\",\"command\":\"Reset\",\"argument\":\"Mode=PowerCycle\","
              "\"target\":\"OEM_QARN_System\",\"result\":\"done\",\"reason\":null,"
              "\"seconds\":null}");
}

TEST(Audit, OnlyRootAndTheOwnerAreTrusted)
{
    EXPECT_NE(Json(Journal("0", kCall)), "none");
    EXPECT_NE(Json(Journal("1000", kCall)), "none");
    EXPECT_EQ(Json(Journal("1001", kCall)), "none");
    EXPECT_EQ(Json("{\"MESSAGE\":\"event=call\"}"), "none");
    AuditEvent event;
    EXPECT_FALSE(AuditParseLine(Journal("1000", kCall), {}, kNow, &event));
}

TEST(Audit, OnlyServicesAreTrusted)
{
    for (const char *program :
         {"\"_COMM\":\"objmgrd-redfish\"",
          "\"_COMM\":\"objmgrd-ipmi\",\"_EXE\":\"/usr/sbin/objmgrd-ipmi\"",
          "\"_COMM\":\"objmgrd-sim\",\"_EXE\":\"/opt/objmgrd-sim (deleted)\""})
        EXPECT_NE(Json(Journal("0", kCall, program)), "none") << program;
    for (const char *program :
         {"\"_COMM\":\"logger\"", "\"SYSLOG_IDENTIFIER\":\"objmgrd-sim\"",
          "\"_COMM\":\"objmgrd-sim\",\"_EXE\":\"/usr/bin/python3\"",
          "\"_COMM\":\"objmgrd-sim\",\"_EXE\":\"/objmgrd-sim/x\"",
          "\"_COMM\":\"objmgrd-sim\",\"_EXE\":\"objmgrd-sim (deleted) \"",
          "\"_COMM\":[\"objmgrd-sim\"]", "\"_COMM\":\"objmgrd\",\"_EXE\":\"/objmgrd\""})
        EXPECT_EQ(Json(Journal("0", kCall, program)), "none") << program;
}

TEST(Audit, LinesOfALogFile)
{
    EXPECT_EQ(Json("2026-11-21T19:00:00.5+01:00 host objmgrd-sim[7]: event=refusal user=bob "
                   "uid=1002 pid=4712 session=- claimed_address=- reason=\"no right\"\n"),
              "{\"server\":null,\"time\":\"2026-11-21T18:00:00Z\",\"event\":\"refusal\","
              "\"user\":\"bob\",\"uid\":1002,\"pid\":4712,\"session\":null,\"address\":null,"
              "\"command\":null,\"argument\":null,\"target\":null,\"result\":null,"
              "\"reason\":\"no right\",\"seconds\":null}");
    // A message cannot pretend to be another program's.
    EXPECT_EQ(Json("2026-11-21T19:00:00+01:00 host sshd[7]: x: event=login user=root"), "none");
}

TEST(Audit, TimesWithoutAYear)
{
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(Time("Nov 21 19:00:00 host objmgrd-sim[7]: event=logout"), "2026-11-21T19:00:00Z");
    EXPECT_EQ(Time("Dec  1 19:00:00 host objmgrd-sim[7]: event=logout"), "2025-12-01T19:00:00Z");
    EXPECT_EQ(Time("yesterdayish objmgrd-sim[7]: event=logout"), "no time");
    unsetenv("TZ");
    tzset();
}

TEST(Audit, WhatIsNoEvent)
{
    for (const char *line : {"", "{", "Nov 21 19:00:00 host objmgrd-sim[7]: serving",
                             "Nov 21 19:00:00 host objmgrd-sim[7]: event=call reason=\"open",
                             "Nov 21 19:00:00 host objmgrd-sim[7]: event=call broken",
                             "Nov 21 19:00:00 host objmgrd-sim[7]: event=call a=\"b\"c"})
        EXPECT_EQ(Json(line), "none") << line;
}
