// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/sim/host_file.
#include "objmgrd/sim/host_file.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace
{

// What reading a text gives: the notes as lines of the file "h", and the host.
struct Read {
    explicit Read(const std::string &text)
    {
        std::vector<FileNote> list;
        right = HostFileParse(text, &host, &list);
        for (const FileNote &note : list)
            notes += FileNoteLine("h", note) + "\n";
    }

    std::string Keys() const
    {
        std::string keys;
        for (const HostInstance &instance : host.instances)
            keys += instance.key + "\n";
        return keys;
    }

    // "TEXT", "status N", or "none" when there is no such instance or property.
    std::string Value(const std::string &key, const std::string &property) const
    {
        for (const HostInstance &instance : host.instances) {
            for (const PropertyValue &value : instance.instance.properties) {
                if (instance.key == key && value.name == property)
                    return value.status != 0 ? "status " + std::to_string(value.status)
                                             : value.text;
            }
        }
        return "none";
    }

    CimStatus StatusOf(const std::string &key) const
    {
        for (const HostInstance &instance : host.instances) {
            if (instance.key == key)
                return instance.instance.status;
        }
        return 6;
    }

    // The plan of faults, a line for each row.
    std::string Plan() const
    {
        std::string plan;
        for (const PropertyValue &row : host.faults.properties)
            plan += row.name + ": " + row.text + "\n";
        return plan;
    }

    bool right;
    std::string notes;
    Host host;
};

constexpr char kSystem[] = "OEM_QARN_System";
constexpr char kLog[] = "OEM_QARN_MessageLog.Name=SEL";
constexpr char kRecord1[] = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1";
constexpr char kDigits[] = "Timestamp;YYYYMMDDHHMMSS";

std::string Timestamp(const std::string &value)
{
    return "[[OEM_QARN_LogRecord]]\nTimestamp = " + value + "\n";
}

std::string Repeat(const std::string &text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

}  // namespace

TEST(HostFile, AnEmptyFileHasAnEmptyLogOnly)
{
    const Read read("");
    EXPECT_TRUE(read.right);
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Keys(), "OEM_QARN_MessageLog.Name=SEL\n");
    EXPECT_EQ(read.Value(kLog, "Name"), "SEL");
    EXPECT_EQ(read.Value(kLog, "NumRecords"), "0");
    EXPECT_TRUE(read.host.faults.properties.empty());
    EXPECT_TRUE(read.host.methods.empty());
}

TEST(HostFile, KeysAreThoseOfTheStore)
{
    const Read read("[OEM_QARN_System]\n"
                    "[OEM_QARN_MessageLog]\n"
                    "[[OEM_QARN_LogRecord]]\nRecordNum = 7\n"
                    "[[OEM_QARN_Sensor]]\nIndex = 3\n"
                    "[[OEM_QARN_PowerSupply]]\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Keys(), "OEM_QARN_System\n"
                           "OEM_QARN_MessageLog.Name=SEL\n"
                           "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7\n"
                           "OEM_QARN_Sensor.Index=3\n"
                           "OEM_QARN_PowerSupply.PowerSupplyIndex=1\n");
    EXPECT_EQ(read.Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=7", "RecordNum"), "7");
    EXPECT_EQ(read.Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=7", "LogName"), "SEL");
    EXPECT_EQ(read.Value("OEM_QARN_Sensor.Index=3", "Index"), "3");
    EXPECT_EQ(read.Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyIndex"), "1");
}

TEST(HostFile, TextsAndIntegersAreText)
{
    const Read read("[OEM_QARN_System]\nPowerStatus = \"ON\"\nServiceTag = 42\nOem = -7\n"
                    "HostName = \"\"\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Value(kSystem, "PowerStatus"), "ON");
    EXPECT_EQ(read.Value(kSystem, "ServiceTag"), "42");
    EXPECT_EQ(read.Value(kSystem, "Oem"), "-7");
    EXPECT_EQ(read.Value(kSystem, "HostName"), "");
    EXPECT_EQ(read.Value(kSystem, "Description"), "none");
}

TEST(HostFile, OtherValuesAreFaultsOfTheirPlace)
{
    const Read read("[OEM_QARN_System]\n"
                    "PowerStatus = true\n"
                    "ServiceTag = 1.5\n"
                    "Description = [\"a\"]\n"
                    "HostName = { name = \"a\" }\n"
                    "  Oem = 2024-01-01\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes, "h:2:15: a value is text: write it in quotes\n"
                          "h:3:14: a value is text: write it in quotes\n"
                          "h:4:15: a value is text: write it in quotes\n"
                          "h:5:12: a value is text: write it in quotes\n"
                          "h:6:9: a value is text: write it in quotes\n");
    EXPECT_TRUE(read.host.instances.empty());
}

// All of them stand in ranges where the library looks for blanks and finds none.
TEST(HostFile, CharactersBeyondAsciiOutsideQuotesAreFaults)
{
    for (const char *character : {"\xc2\xb2", "\xc3\xa4", "\xe2\x81\x80", "\xe1\x9b\x80"}) {
        EXPECT_FALSE(Read("[OEM" + std::string(character) + "System]\n").right) << character;
        EXPECT_FALSE(Read("[OEM_QARN_System]\nN" + std::string(character) + " = \"a\"\n").right)
            << character;
        EXPECT_FALSE(Read("[OEM_QARN_System]\nOem = 1" + std::string(character) + "\n").right)
            << character;
    }
}

TEST(HostFile, ATimeIsNoValueOutsideATimestamp)
{
    const Read read("[OEM_QARN_System]\nHostName = 2024-01-01T10:00:00\n");
    EXPECT_EQ(read.notes, "h:2:12: a value is text: write it in quotes\n");
}

TEST(HostFile, AFaultOfSyntaxHasItsPlace)
{
    const Read read("[OEM_QARN_System]\nPowerStatus = ON\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes, "h:2:15: Error while parsing value: could not determine value type\n");
}

TEST(HostFile, WhatIsNoUtf8IsAFaultOfSyntax)
{
    const Read read("a = \"\xff\"\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes, "h:1:5: Encountered invalid utf-8 sequence\n");
}

TEST(HostFile, AnUnknownPropertyIsServedWithAWarning)
{
    const Read read("[OEM_QARN_System]\nHostNam = \"a\"\n");
    EXPECT_TRUE(read.right);
    EXPECT_EQ(read.notes, "h:2:1: warning: unknown property \"HostNam\" (known: PowerStatus, "
                          "ServiceTag, Description, HostName, Oem)\n");
    EXPECT_EQ(read.Value(kSystem, "HostNam"), "a");
}

TEST(HostFile, APropertyNameHasUpTo63PlainCharacters)
{
    const std::string longest(63, 'a');
    EXPECT_TRUE(Read("[OEM_QARN_System]\n" + longest + " = \"\"\n").right);
    const Read tooLong("[OEM_QARN_System]\na" + longest + " = \"\"\n");
    EXPECT_EQ(tooLong.notes,
              "h:2:1: a property's name is 1 to 63 letters, digits, \"_\" and \"-\"\n");
    const Read blank("[OEM_QARN_System]\n\"a b\" = \"\"\n");
    EXPECT_EQ(blank.notes,
              "h:2:1: a property's name is 1 to 63 letters, digits, \"_\" and \"-\"\n");
    EXPECT_FALSE(Read("[OEM_QARN_System]\n\"\" = \"\"\n").right);
}

TEST(HostFile, ATextOfMoreThan1023BytesIsAWarning)
{
    const std::string longest(1023, 'x');
    EXPECT_EQ(Read("[OEM_QARN_System]\nOem = \"" + longest + "\"\n").notes, "");
    const Read read("[OEM_QARN_System]\nOem = \"" + longest + "x\"\n");
    EXPECT_TRUE(read.right);
    EXPECT_EQ(read.notes, "h:2:7: warning: the text is longer than 1023 bytes and will be cut\n");
}

TEST(HostFile, AllFaultsAreFoundInTheOrderOfTheFile)
{
    const Read read("[faults]\nopne = {}\n"
                    "[[OEM_QARN_Sensor]]\nType = 1.0\n"
                    "[OEM_QARN_System]\nHostNam = \"a\"\nOem = false\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes,
              "h:2:1: unknown fault \"opne\" (known: interface, open, init_instance, methods)\n"
              "h:4:8: a value is text: write it in quotes\n"
              "h:6:1: warning: unknown property \"HostNam\" (known: PowerStatus, ServiceTag, "
              "Description, HostName, Oem)\n"
              "h:7:7: a value is text: write it in quotes\n");
}

TEST(HostFile, UnknownTablesAreFaults)
{
    const Read read("x = 1\n[OEM_QARN_Sytem]\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes,
              "h:1:1: unknown table \"x\" (known: OEM_QARN_System, OEM_QARN_MessageLog, "
              "OEM_QARN_LogRecord, OEM_QARN_Sensor, OEM_QARN_PowerSupply, faults)\n"
              "h:2:2: unknown table \"OEM_QARN_Sytem\" (known: OEM_QARN_System, "
              "OEM_QARN_MessageLog, OEM_QARN_LogRecord, OEM_QARN_Sensor, OEM_QARN_PowerSupply, "
              "faults)\n");
}

TEST(HostFile, TablesHaveTheirShape)
{
    EXPECT_EQ(Read("[[OEM_QARN_System]]\n").notes,
              "h:1:1: there is one OEM_QARN_System: write [OEM_QARN_System]\n");
    EXPECT_EQ(Read("OEM_QARN_MessageLog = 1\n").notes,
              "h:1:23: there is one OEM_QARN_MessageLog: write [OEM_QARN_MessageLog]\n");
    EXPECT_EQ(Read("[OEM_QARN_Sensor]\n").notes,
              "h:1:1: there can be many: write [[OEM_QARN_Sensor]]\n");
    EXPECT_EQ(Read("OEM_QARN_Sensor = [1]\n").notes,
              "h:1:20: a row is a table: write [[OEM_QARN_Sensor]]\n");
    EXPECT_TRUE(Read("OEM_QARN_Sensor = []\n").right);
}

TEST(HostFile, NumbersCountUpFromTheRowBefore)
{
    const Read read("[[OEM_QARN_Sensor]]\n"
                    "[[OEM_QARN_Sensor]]\n"
                    "[[OEM_QARN_Sensor]]\nIndex = \"7\"\n"
                    "[[OEM_QARN_Sensor]]\n"
                    "[[OEM_QARN_Sensor]]\nIndex = 4\n"
                    "[[OEM_QARN_Sensor]]\n"
                    "[[OEM_QARN_PowerSupply]]\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Keys(), "OEM_QARN_Sensor.Index=1\n"
                           "OEM_QARN_Sensor.Index=2\n"
                           "OEM_QARN_Sensor.Index=7\n"
                           "OEM_QARN_Sensor.Index=8\n"
                           "OEM_QARN_Sensor.Index=4\n"
                           "OEM_QARN_Sensor.Index=5\n"
                           "OEM_QARN_PowerSupply.PowerSupplyIndex=1\n"
                           "OEM_QARN_MessageLog.Name=SEL\n");
}

TEST(HostFile, NumbersAreFrom1To65535)
{
    EXPECT_TRUE(Read("[[OEM_QARN_Sensor]]\nIndex = 1\n").right);
    EXPECT_TRUE(Read("[[OEM_QARN_Sensor]]\nIndex = 65535\n").right);
    EXPECT_TRUE(Read("[[OEM_QARN_Sensor]]\nIndex = \"65535\"\n").right);
    for (const char *bad :
         {"0", "65536", "-1", "\"\"", "\"0\"", "\"03\"", "\"65536\"", "\"x\"", "\"4294967297\""}) {
        const Read read(std::string("[[OEM_QARN_Sensor]]\nIndex = ") + bad + "\n");
        EXPECT_FALSE(read.right) << bad;
        EXPECT_EQ(read.notes, "h:2:9: Index is a number from 1 to 65535\n") << bad;
    }
}

TEST(HostFile, CountingUpEndsAt65535)
{
    const Read read("[[OEM_QARN_LogRecord]]\nRecordNum = 65535\n[[OEM_QARN_LogRecord]]\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes, "h:3:1: RecordNum is a number from 1 to 65535\n");
}

TEST(HostFile, NoTwoRowsHaveTheSameNumber)
{
    const Read read("[[OEM_QARN_Sensor]]\nIndex = 2\n"
                    "[[OEM_QARN_Sensor]]\nIndex = 1\n"
                    "[[OEM_QARN_Sensor]]\n"
                    "[[OEM_QARN_Sensor]]\nIndex = \"1\"\n");
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes, "h:5:1: Index 2 is there already\n"
                          "h:7:9: Index 1 is there already\n");
}

TEST(HostFile, ANumberThatCannotBeReadIsCounted)
{
    const Read read("[[OEM_QARN_Sensor]]\n[[OEM_QARN_Sensor]]\nIndex = { status = 2 }\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Value("OEM_QARN_Sensor.Index=2", "Index"), "status 2");
}

TEST(HostFile, TheLogIsAlwaysSel)
{
    EXPECT_TRUE(Read("[OEM_QARN_MessageLog]\nName = \"SEL\"\n").right);
    EXPECT_EQ(Read("[OEM_QARN_MessageLog]\nName = \"sel\"\n").notes,
              "h:2:8: Name is always \"SEL\"\n");
    EXPECT_EQ(Read("[[OEM_QARN_LogRecord]]\nLogName = \"X\"\n").notes,
              "h:2:11: LogName is always \"SEL\"\n");
    EXPECT_EQ(Read("[[OEM_QARN_LogRecord]]\nLogName = { status = 2 }\n").Value(kRecord1, "LogName"),
              "status 2");
}

TEST(HostFile, NumRecordsCountsUnlessGiven)
{
    const std::string records = Repeat("[[OEM_QARN_LogRecord]]\n", 3);
    EXPECT_EQ(Read(records).Value(kLog, "NumRecords"), "3");
    EXPECT_EQ(Read("[OEM_QARN_MessageLog]\n" + records).Value(kLog, "NumRecords"), "3");
    EXPECT_EQ(Read("[OEM_QARN_MessageLog]\nNumRecords = 12\n" + records).Value(kLog, "NumRecords"),
              "12");
    EXPECT_EQ(Read("[OEM_QARN_MessageLog]\nNumRecords = { status = 2 }\n" + records)
                  .Value(kLog, "NumRecords"),
              "status 2");
}

TEST(HostFile, ATimestampHasTwoForms)
{
    for (const char *time : {"2024-02-29T23:59:58", "2024-02-29 23:59:58", "2024-02-29T23:59:58.75",
                             "2024-02-29T23:59:58Z", "2024-02-29T23:59:58+02:00",
                             "\"2024-02-29 23:59:58\"", "\"2024-02-29T23:59:58\""}) {
        const Read read(Timestamp(time));
        EXPECT_EQ(read.notes, "") << time;
        EXPECT_EQ(read.Value(kRecord1, "Timestamp"), "2024-02-29 23:59:58") << time;
        EXPECT_EQ(read.Value(kRecord1, kDigits), "20240229235958") << time;
    }
}

TEST(HostFile, EveryMonthHasItsDays)
{
    static constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};  // of 2024
    for (int month = 1; month <= 12; ++month) {
        for (int day : {1, kDays[month - 1]}) {
            char time[32];
            snprintf(time, sizeof time, "2024-%02d-%02d 00:00:00", month, day);
            const Read read(Timestamp("\"" + std::string(time) + "\""));
            EXPECT_TRUE(read.right) << time;
            EXPECT_EQ(read.Value(kRecord1, "Timestamp"), time);
        }
        char late[32];
        snprintf(late, sizeof late, "\"2024-%02d-%02d 00:00:00\"", month, kDays[month - 1] + 1);
        EXPECT_FALSE(Read(Timestamp(late)).right) << late;
    }
    for (const char *year : {"2000", "2024"})
        EXPECT_TRUE(Read(Timestamp("\"" + std::string(year) + "-02-29 00:00:00\"")).right) << year;
    for (const char *year : {"1900", "2023", "2100"})
        EXPECT_FALSE(Read(Timestamp("\"" + std::string(year) + "-02-29 00:00:00\"")).right) << year;
}

TEST(HostFile, AnyOtherTimestampStandsAsItIs)
{
    for (const char *text : {"System Boot", "", "20240229235958", "2024-02-29", "2024-02-29 23:59",
                             "2024-2-29 1:2:3", "2024-13-29_23:59:58", "2024-02-29 23:59:58 "}) {
        const Read read(Timestamp("\"" + std::string(text) + "\""));
        EXPECT_EQ(read.notes, "") << text;
        EXPECT_EQ(read.Value(kRecord1, "Timestamp"), text);
        EXPECT_EQ(read.Value(kRecord1, kDigits), text);
    }
    EXPECT_EQ(Read(Timestamp("20240229")).Value(kRecord1, kDigits), "20240229");
    EXPECT_EQ(Read("[[OEM_QARN_LogRecord]]\n").Value(kRecord1, kDigits), "none");
}

TEST(HostFile, ATimestampWithAStatusHasItInBothForms)
{
    const Read read(Timestamp("{ status = 2 }"));
    EXPECT_EQ(read.Value(kRecord1, "Timestamp"), "status 2");
    EXPECT_EQ(read.Value(kRecord1, kDigits), "status 2");
}

TEST(HostFile, AnImpossibleTimeIsAFault)
{
    for (const char *time : {"2024-13-01 00:00:00", "2024-00-01 00:00:00", "2024-02-30 00:00:00",
                             "2023-02-29 00:00:00", "1900-02-29 00:00:00", "2024-04-31T00:00:00",
                             "2024-01-00 00:00:00", "2024-01-32 00:00:00", "2024-01-01 24:00:00",
                             "2024-01-01 00:60:00", "2024-01-01 00:00:60"}) {
        const Read read(Timestamp("\"" + std::string(time) + "\""));
        EXPECT_FALSE(read.right) << time;
        EXPECT_EQ(read.notes,
                  "h:2:13: there is no such date and time as \"" + std::string(time) + "\"\n");
    }
    for (const char *time : {"2000-02-29 00:00:00", "2024-12-31 23:59:59", "0000-01-01 00:00:00"})
        EXPECT_TRUE(Read(Timestamp("\"" + std::string(time) + "\"")).right) << time;
    EXPECT_EQ(Read(Timestamp("2023-02-29T10:00:00")).notes,
              "h:2:23: Error while parsing date: expected day between 1 and 28 (inclusive), "
              "saw 29\n");
    EXPECT_EQ(Read(Timestamp("2023-02-28")).notes, "h:2:13: a value is text: write it in quotes\n");
    EXPECT_EQ(Read(Timestamp("10:00:00")).notes, "h:2:13: a value is text: write it in quotes\n");
}

TEST(HostFile, OnlyARecordsTimestampIsATime)
{
    const Read read("[OEM_QARN_System]\nHostName = \"2024-13-01T00:00:00\"\n"
                    "[[OEM_QARN_LogRecord]]\nDescription = \"2024-01-01T00:00:00\"\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Value(kSystem, "HostName"), "2024-13-01T00:00:00");
    EXPECT_EQ(read.Value(kRecord1, "Description"), "2024-01-01T00:00:00");
}

TEST(HostFile, APropertyCanHaveAStatus)
{
    const Read read("[OEM_QARN_System]\nHostName = { status = 1 }\nOem = { status = 65535 }\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Value(kSystem, "HostName"), "status 1");
    EXPECT_EQ(read.Value(kSystem, "Oem"), "status 65535");
    EXPECT_EQ(read.Plan(), "");
}

TEST(HostFile, AStatusIsFrom1To65535)
{
    for (const char *bad : {"0", "65536", "-1", "\"2\"", "2.0"}) {
        EXPECT_EQ(Read(std::string("[OEM_QARN_System]\nOem = { status = ") + bad + " }\n").notes,
                  "h:2:18: status is a number from 1 to 65535\n");
        EXPECT_EQ(Read(std::string("[OEM_QARN_System]\nstatus = ") + bad + "\n").notes,
                  "h:2:10: status is a number from 1 to 65535\n");
    }
}

TEST(HostFile, AnInstanceCanHaveAStatus)
{
    const Read read("[OEM_QARN_System]\nstatus = 1\n[OEM_QARN_MessageLog]\nstatus = 65535\n"
                    "[[OEM_QARN_LogRecord]]\nstatus = 2\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.StatusOf(kSystem), 1u);
    EXPECT_EQ(read.StatusOf(kLog), 65535u);
    EXPECT_EQ(read.StatusOf(kRecord1), 2u);
    EXPECT_EQ(read.Value(kSystem, "status"), "none");
}

TEST(HostFile, AStatusForSomeCallsIsARowOfThePlan)
{
    const Read read("[OEM_QARN_System]\n"
                    "PowerStatus = { text = \"ON\", status = 2, from = 2 }\n"
                    "[[OEM_QARN_LogRecord]]\n"
                    "Timestamp = { text = \"2024-01-02T03:04:05\", status = 9, from = 2, to = 4 }\n"
                    "[[OEM_QARN_LogRecord]]\nstatus = 5\nstatus_from = 3\nstatus_to = 4\n"
                    "[[OEM_QARN_PowerSupply]]\n"
                    "PowerSupplyWattage = { text = 750, status = 1, to = 4294967295 }\n"
                    "[[OEM_QARN_PowerSupply]]\nPowerSupplyWattage = { text = \"\", status = 7 }\n"
                    "[[OEM_QARN_PowerSupply]]\nstatus = 6\nstatus_to = 2\n");
    EXPECT_TRUE(read.right);
    EXPECT_EQ(read.Plan(),
              "read 1: 2-4294967295 2 OEM_QARN_System PowerStatus\n"
              "read 2: 2-4 9 OEM_QARN_LogRecord.LogName=SEL,RecordNum=1 Timestamp\n"
              "read 3: 3-4 5 OEM_QARN_LogRecord.LogName=SEL,RecordNum=2\n"
              "read 4: 1-4294967295 1 OEM_QARN_PowerSupply.PowerSupplyIndex=1 PowerSupplyWattage\n"
              "read 5: 1-4294967295 7 OEM_QARN_PowerSupply.PowerSupplyIndex=2 PowerSupplyWattage\n"
              "read 6: 1-2 6 OEM_QARN_PowerSupply.PowerSupplyIndex=3\n");
    EXPECT_EQ(read.Value(kSystem, "PowerStatus"), "ON");
    EXPECT_EQ(read.Value(kRecord1, "Timestamp"), "2024-01-02 03:04:05");
    EXPECT_EQ(read.Value(kRecord1, kDigits), "20240102030405");
    EXPECT_EQ(read.Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "750");
    EXPECT_EQ(read.StatusOf("OEM_QARN_LogRecord.LogName=SEL,RecordNum=2"), 0u);
}

TEST(HostFile, AStatusForCallsThatTheShellNeverMakesIsWorthAWarning)
{
    static constexpr char kByValue[] =
        " value by value and never sees this: give the status to a property\n";
    for (const std::string name : {"OEM_QARN_System", "OEM_QARN_MessageLog"}) {
        const Read read("[" + name + "]\nstatus = 1\nstatus_from = 2\n");
        EXPECT_TRUE(read.right) << name;
        EXPECT_EQ(read.notes, "h:2:10: warning: the shell reads " + name + kByValue);
        EXPECT_EQ(Read("[" + name + "]\nstatus = 1\n").notes, "") << name;
        EXPECT_EQ(Read("[" + name + "]\nName = { text = \"SEL\", status = 1 }\n")
                      .notes.find("never sees this"),
                  std::string::npos)
            << name;
    }
    static constexpr char kAtOnce[] =
        " at once and never sees this: give the row status_from or status_to\n";
    for (const auto &[name, property] :
         {std::pair<std::string, std::string>{"LogRecord", "Description"},
          {"Sensor", "Reading"},
          {"PowerSupply", "PowerSupplyWattage"}}) {
        const std::string row = "[[OEM_QARN_" + name + "]]\n";
        const Read read(row + property + " = { text = \"a\", status = 1, to = 2 }\n");
        EXPECT_TRUE(read.right) << name;
        EXPECT_EQ(read.notes, "h:2:" + std::to_string(property.size() + 4) +
                                  ": warning: the shell reads a whole OEM_QARN_" + name + kAtOnce);
        EXPECT_EQ(Read(row + property + " = { status = 1 }\n").notes, "") << name;
        EXPECT_EQ(Read(row + "status = 1\nstatus_to = 2\n").notes, "") << name;
    }
}

TEST(HostFile, AStatusForSomeCallsMustBeWhole)
{
    const auto notes = [](const std::string &value) {
        return Read("[OEM_QARN_System]\nOem = " + value + "\n").notes;
    };
    EXPECT_EQ(notes("{ text = \"a\" }"), "h:2:7: the value has no status\n");
    EXPECT_EQ(notes("{ from = 1, status = 1 }"),
              "h:2:7: a status for some calls needs a text for the others\n");
    EXPECT_EQ(notes("{ text = \"a\", status = 1, from = 3, to = 2 }"),
              "h:2:7: the range of calls ends before it begins\n");
    EXPECT_EQ(notes("{ text = \"a\", status = 1, from = 0 }"),
              "h:2:40: from is a number from 1 to 4294967295\n");
    EXPECT_EQ(notes("{ text = \"a\", status = 1, to = 4294967296 }"),
              "h:2:38: to is a number from 1 to 4294967295\n");
    EXPECT_EQ(notes("{ text = true, status = 1 }"),
              "h:2:16: a value is text: write it in quotes\n");
    EXPECT_EQ(notes("{ text = \"a\", staus = 1 }"),
              "h:2:7: the value has no status\n"
              "h:2:21: unknown key \"staus\" (known: text, status, from, to)\n");
    EXPECT_EQ(Read("[OEM_QARN_System]\nstatus_from = 1\n").notes,
              "h:1:1: status_from and status_to need a status\n");
    EXPECT_EQ(Read("[[OEM_QARN_Sensor]]\nstatus = 1\nstatus_from = 2\nstatus_to = 1\n").notes,
              "h:2:10: the range of calls ends before it begins\n");
    EXPECT_EQ(Read("[[OEM_QARN_Sensor]]\nstatus = 1\nstatus_from = 0\n").notes,
              "h:3:15: status_from is a number from 1 to 4294967295\n");
}

TEST(HostFile, ThereCanBe16StatusesForSomeCalls)
{
    const std::string row = "[[OEM_QARN_Sensor]]\nstatus = 1\nstatus_from = 2\n";
    EXPECT_TRUE(Read(Repeat(row, 16)).right);
    const Read read(Repeat(row, 17));
    EXPECT_FALSE(read.right);
    EXPECT_EQ(read.notes,
              "h:50:10: there can be 16 statuses for counted calls (a text with a status, "
              "status_from, status_to), not more\n");
}

TEST(HostFile, FaultsOfTheClientBecomeThePlan)
{
    const Read read("[faults]\ninterface = { from = 1 }\nopen = { from = 3, to = 4 }\n"
                    "init_instance = {}\n");
    EXPECT_EQ(read.notes, "");
    EXPECT_EQ(read.Plan(), "init_instance: 1-4294967295\ninterface: 1-4294967295\nopen: 3-4\n");
}

TEST(HostFile, FaultsOfTheClientAreRanges)
{
    EXPECT_EQ(Read("[faults]\nopen = 3\n").notes,
              "h:2:8: write the calls that fail as a table: { from = 1, to = 2 }\n");
    EXPECT_EQ(Read("[faults]\nopen = { form = 3 }\n").notes,
              "h:2:10: unknown key \"form\" (known: from, to)\n");
    EXPECT_EQ(Read("[faults]\nopen = { from = 3, to = 2 }\n").notes,
              "h:2:8: the range of calls ends before it begins\n");
    EXPECT_EQ(Read("[faults]\nopen = { from = true }\n").notes,
              "h:2:17: from is a number from 1 to 4294967295\n");
    EXPECT_EQ(Read("faults = 1\n").notes, "h:1:10: faults is a table: write [faults]\n");
}

TEST(HostFile, FaultsOfMethods)
{
    const Read read("[faults.methods.Start]\nstatus = 65535\ndelay_ms = 600000\n"
                    "[faults.methods.Clear]\nreturn = 4294967295\nreply = false\n"
                    "[faults.methods.Stop]\nreturn = 0\nreply = true\n"
                    "[faults.methods.Reset]\n");
    EXPECT_EQ(read.notes, "");
    ASSERT_EQ(read.host.methods.size(), 4u);
    const HostMethodFault &clear = read.host.methods[0];
    EXPECT_EQ(clear.method, "Clear");
    EXPECT_EQ(clear.status, 0u);
    EXPECT_TRUE(clear.hasReturn);
    EXPECT_EQ(clear.returnWord, 4294967295u);
    EXPECT_FALSE(clear.reply);
    const HostMethodFault &reset = read.host.methods[1];
    EXPECT_EQ(reset.method, "Reset");
    EXPECT_FALSE(reset.hasReturn);
    EXPECT_TRUE(reset.reply);
    EXPECT_EQ(reset.delayMs, 0u);
    const HostMethodFault &start = read.host.methods[2];
    EXPECT_EQ(start.method, "Start");
    EXPECT_EQ(start.status, 65535u);
    EXPECT_EQ(start.delayMs, 600000u);
    EXPECT_FALSE(start.hasReturn);
    EXPECT_TRUE(read.host.methods[3].hasReturn);
    EXPECT_EQ(read.host.methods[3].returnWord, 0u);
}

TEST(HostFile, FaultsOfMethodsHaveLimits)
{
    const auto notes = [](const std::string &line) {
        return Read("[faults.methods.Start]\n" + line + "\n").notes;
    };
    EXPECT_EQ(notes("status = 0"), "h:2:10: status is a number from 1 to 65535\n");
    EXPECT_EQ(notes("status = 65536"), "h:2:10: status is a number from 1 to 65535\n");
    EXPECT_EQ(notes("return = -1"), "h:2:10: return is a number from 0 to 4294967295\n");
    EXPECT_EQ(notes("return = 4294967296"), "h:2:10: return is a number from 0 to 4294967295\n");
    EXPECT_EQ(notes("delay_ms = 600001"), "h:2:12: delay_ms is a number from 0 to 600000\n");
    EXPECT_EQ(notes("delay_ms = -1"), "h:2:12: delay_ms is a number from 0 to 600000\n");
    EXPECT_EQ(notes("reply = 0"), "h:2:9: reply is true or false\n");
    EXPECT_EQ(notes("delay = 1"),
              "h:2:1: unknown key \"delay\" (known: status, return, delay_ms, reply)\n");
    EXPECT_EQ(notes("return = 1\nstatus = 2"),
              "h:2:10: a method answers a status or a return word\n");
    EXPECT_EQ(Read("[faults.methods.start]\n").notes,
              "h:1:17: unknown method \"start\" (known: Start, Stop, Reset, Clear)\n");
    EXPECT_EQ(Read("[faults.methods]\nStart = 1\n").notes,
              "h:2:9: write a table: [faults.methods.Start]\n");
    EXPECT_EQ(Read("[faults]\nmethods = 1\n").notes,
              "h:2:11: methods is a table: write [faults.methods.Start]\n");
}

TEST(HostFile, NamesFromTheFileAreMadeSafeInNotes)
{
    EXPECT_EQ(Read("[faults]\n\"\\u001b[2J\" = 1\n").notes,
              "h:2:1: unknown fault \"?[2J\" (known: interface, open, init_instance, methods)\n");
}

TEST(HostFile, AFileThatCannotBeReadIsAFault)
{
    Host host;
    std::vector<FileNote> notes;
    EXPECT_FALSE(HostFileRead("/nonexistent/host.toml", &host, &notes));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(FileNoteLine("f", notes[0]), "f: No such file or directory");
    notes.clear();
    EXPECT_FALSE(HostFileRead("/", &host, &notes));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(FileNoteLine("f", notes[0]), "f: Is a directory");
}

TEST(HostFile, AFileOfMoreThan4MiBIsAFault)
{
    std::string path = testing::TempDir() + "host_file_test.XXXXXX";
    const int fd = mkstemp(path.data());
    ASSERT_GE(fd, 0);
    const std::string comment(size_t{4} * 1024 * 1024, '#');
    ASSERT_EQ(write(fd, comment.data(), comment.size()), ssize_t{4194304});
    Host host;
    std::vector<FileNote> notes;
    EXPECT_TRUE(HostFileRead(path, &host, &notes));
    ASSERT_EQ(write(fd, "#", 1), 1);
    EXPECT_FALSE(HostFileRead(path, &host, &notes));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(FileNoteLine("f", notes[0]), "f: larger than 4 MiB");
    close(fd);
    unlink(path.c_str());
}

TEST(HostFile, Archive)
{
    const Read right("archive = '/var/lib/zor'\narchive_mb = 1\n");
    EXPECT_TRUE(right.right);
    EXPECT_EQ(right.host.archive.directory, "/var/lib/zor");
    EXPECT_EQ(right.host.archive.megabytes, 1u);
    EXPECT_EQ(Read("archive = ''\n").notes, "");
    for (const char *wrong : {"archive = 'here'\n", "archive = 7\n"})
        EXPECT_EQ(Read(wrong).notes, "h:1:11: archive is an absolute directory\n") << wrong;
    for (const char *wrong : {"archive_mb = 0\n", "archive_mb = 10001\n", "archive_mb = '1'\n"})
        EXPECT_EQ(Read(wrong).notes, "h:1:14: archive_mb is a number from 1 to 10000\n") << wrong;
}
