// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/logs.h"
#include "support/kind_checks.h"

#include <algorithm>

namespace
{

struct RecordTest : KindTest {
    RecordTest() : KindTest(MeRecord)
    {
        om.AddRecord("System Boot", "System Boot", "Log cleared");
        om.AddRecord("Mon Mar 04 2024 11:12:13", "20240304111213", "Fan 2 failed");
        om.ClearLog();
    }
};

constexpr char kRecord2[] = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=2";
constexpr char kSelPath[] = "OEM_QARN_MessageLog.Name=SEL";

}  // namespace

TEST(Record, Kind)
{
    ExpectKind(MeRecord,
               {"record", "Contains all the records currently in SEL", 29, 25, "1 12 3 2 13 5",
                "RecordID CreationClassName LogCreationClassName LogName ElementName Caption "
                "RecordData RecordFormat MessageTimeStamp Description"});
}

TEST(Record, TwoWordsThatNothingReads)
{
    ManagedElement element = {};
    MeRecord(&element);
    EXPECT_EQ(element.word11, 60u);
    EXPECT_EQ(element.word15, 1u);
    EXPECT_EQ(SlotsOf(&element), "IVPR-");
}

TEST(Record, Values)
{
    RecordTest record;
    record.ExpectValues({{"RecordID", "2"},
                         {"CreationClassName", "CIM_LogRecord"},
                         {"LogCreationClassName", "CIM_RecordLog"},
                         {"LogName", "IPMI SEL"},
                         {"ElementName", "IPMI SEL Record"},
                         {"Caption", ""},
                         {"RecordData", ""},
                         {"RecordFormat", ""},
                         {"MessageTimeStamp", "20240304111213-000"},
                         {"Description", "Fan 2 failed"}},
                        2);
    EXPECT_EQ(record.traces.Lines(), Lines{});
}

TEST(Record, EachValueIsAFetchOfItsOwn)
{
    RecordTest record;
    record.Get("RecordID", 2);
    EXPECT_EQ(record.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 512",
                                    "GetInstance OEM_QARN_LogRecord.LogName=SEL,RecordNum=2",
                                    "GetInstanceValue RecordNum", "Close"}));
    record.om.ClearLog();
    record.Get("Description", 2);
    EXPECT_EQ(record.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 512",
                                    "GetInstance OEM_QARN_LogRecord.LogName=SEL,RecordNum=2",
                                    "GetInstanceValue Description", "Close"}));
    record.om.ClearLog();
    record.Get("MessageTimeStamp", 2);
    EXPECT_EQ(record.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 512",
                                    "GetInstance OEM_QARN_LogRecord.LogName=SEL,RecordNum=2,"
                                    "TimestampFormat=YYYYMMDDHHMMSS",
                                    "GetInstanceValue Timestamp", "Close"}));
}

TEST(Record, ConstantsAskNoOne)
{
    RecordTest record;
    for (const char *name : {"CreationClassName", "LogName", "Caption", "RecordData", "NoSuch"})
        record.Get(name, 2);
    EXPECT_EQ(record.om.log, Lines{});
}

TEST(Record, SystemBootAnywhereInTheTimeHasNoSuffix)
{
    RecordTest record;
    EXPECT_EQ(record.Get("MessageTimeStamp", 1), (Refreshed{0, "System Boot"}));
    record.om.Set(kRecord2, "Timestamp;YYYYMMDDHHMMSS", "after System Boot, 3 s");
    EXPECT_EQ(record.Get("MessageTimeStamp", 2), (Refreshed{0, "after System Boot, 3 s"}));
}

TEST(Record, AnyOtherTimeHasTheSuffixEvenAnEmptyOne)
{
    RecordTest record;
    for (const char *time : {"", "system boot", "System  Boot", "%d"}) {
        record.om.Set(kRecord2, "Timestamp;YYYYMMDDHHMMSS", time);
        EXPECT_EQ(record.Get("MessageTimeStamp", 2), (Refreshed{0, std::string(time) + "-000"}));
    }
}

TEST(Record, SuffixIsAddedOnlyWhereItFitsWhole)
{
    RecordTest record;
    for (const size_t length : {251u, 252u, 255u, 256u, 2000u}) {
        record.om.Set(kRecord2, "Timestamp;YYYYMMDDHHMMSS", std::string(length, '1'));
        const std::string expected = length == 251
                                         ? std::string(251, '1') + "-000"
                                         : std::string(std::min<size_t>(length, 255), '1');
        EXPECT_EQ(record.Get("MessageTimeStamp", 2), (Refreshed{0, expected})) << length;
    }
    record.om.Set(kRecord2, "Timestamp;YYYYMMDDHHMMSS", std::string(60, '1'));
    EXPECT_EQ(record.Get("MessageTimeStamp", 2, 65), (Refreshed{0, std::string(60, '1') + "-000"}));
    record.om.Set(kRecord2, "Timestamp;YYYYMMDDHHMMSS", std::string(61, '1'));
    EXPECT_EQ(record.Get("MessageTimeStamp", 2, 65), (Refreshed{0, std::string(61, '1')}));
}

TEST(Record, ValuesOf255CharactersAreWhole256AreCut)
{
    RecordTest record;
    record.om.Set(kRecord2, "Description", std::string(255, 'd'));
    EXPECT_EQ(record.Get("Description", 2), (Refreshed{0, std::string(255, 'd')}));
    record.om.Set(kRecord2, "Description", std::string(256, 'd'));
    EXPECT_EQ(record.Get("Description", 2), (Refreshed{0, std::string(255, 'd')}));
    record.om.Set(kRecord2, "Description", "100% of %s and %n");
    EXPECT_EQ(record.Get("Description", 2), (Refreshed{0, "100% of %s and %n"}));
}

TEST(Record, NumberIsPassedWhole)
{
    RecordTest record;
    record.Get("RecordID", 65535);
    EXPECT_EQ(record.om.Logged("GetInstance "),
              Lines{"GetInstance OEM_QARN_LogRecord.LogName=SEL,RecordNum=65535"});
}

TEST(Record, FailuresOfAFetch)
{
    for (const char *name : {"RecordID", "Description", "MessageTimeStamp"}) {
        const Lines assertion = {"ERROR: record [#]: ** ASSERT FAILED"};
        {
            RecordTest record;
            record.om.interfaceMissing = true;
            EXPECT_EQ(record.Get(name, 2), (Refreshed{1, ""})) << name;
            EXPECT_EQ(record.traces.Lines(), assertion);
        }
        {
            RecordTest record;
            record.om.openFails = true;
            EXPECT_EQ(record.Get(name, 2), (Refreshed{1, ""})) << name;
            EXPECT_EQ(record.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
            EXPECT_EQ(record.traces.Lines(), Lines{});
        }
        {
            RecordTest record;
            record.om.initInstanceFails = true;
            EXPECT_EQ(record.Get(name, 2), (Refreshed{1, ""})) << name;
            EXPECT_EQ(record.traces.Lines(), assertion);
        }
        for (const CimStatus status : {kCimAccessDenied, kCimNotFound, kCimFailed}) {
            RecordTest record;
            record.om.SetInstanceStatus(kRecord2, status);
            EXPECT_EQ(record.Get(name, 2), (Refreshed{1, ""})) << name;
            EXPECT_EQ(record.traces.Lines(), assertion);
        }
    }
}

TEST(Record, PropertyThatTheInstanceLacksIsAnUntracedFailureWithoutSuffix)
{
    RecordTest record;
    record.om.RemoveProperty(kRecord2, "Timestamp");
    record.om.RemoveProperty(kRecord2, "Timestamp;YYYYMMDDHHMMSS");
    record.om.SetStatus(kRecord2, "Description", kCimFailed);
    EXPECT_EQ(record.Get("MessageTimeStamp", 2), (Refreshed{1, ""}));
    EXPECT_EQ(record.Get("Description", 2), (Refreshed{1, ""}));
    EXPECT_EQ(record.traces.Lines(), Lines{});
}

TEST(RecordInstanceTag, IsTheNumberOfRecords)
{
    RecordTest record;
    EXPECT_EQ(MeRecordInstanceTag(), 2u);
    EXPECT_EQ(record.om.log,
              (Lines{"ObjMgrGetInterface", "Open",
                     "GetPropertyValue OEM_QARN_MessageLog.Name=SEL NumRecords 256", "Close"}));
}

TEST(RecordInstanceTag, FollowsTheTextAsA16BitNumber)
{
    RecordTest record;
    const std::pair<const char *, u32> counts[] = {{"0", 0},     {"512", 512}, {"65535", 65535},
                                                   {"65536", 0}, {"", 0},      {"many", 0},
                                                   {"12x", 12},  {" 7", 7}};
    for (const auto &[text, count] : counts) {
        record.om.Set(kSelPath, "NumRecords", text);
        EXPECT_EQ(MeRecordInstanceTag(), count) << text;
    }
    EXPECT_EQ(record.traces.Lines(), Lines{});
}

TEST(RecordInstanceTag, DoesNotFollowTheHostsPower)
{
    RecordTest record;
    record.om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeRecordInstanceTag(), 2u);
}

TEST(RecordInstanceTag, FailuresAre0)
{
    RecordTest record;
    record.om.SetStatus(kSelPath, "NumRecords", kCimAccessDenied);
    EXPECT_EQ(MeRecordInstanceTag(), 0u);
    EXPECT_EQ(record.traces.Lines(), Lines{"ERROR: record [#]: Access denied"});
    record.traces.Clear();
    record.om.SetStatus(kSelPath, "NumRecords", 11);
    EXPECT_EQ(MeRecordInstanceTag(), 0u);
    EXPECT_EQ(record.traces.Lines(), Lines{"ERROR: record [#]: CIM_STATUS = 11"});
    record.traces.Clear();
    record.om.openFails = true;
    record.om.ClearLog();
    EXPECT_EQ(MeRecordInstanceTag(), 0u);
    EXPECT_EQ(record.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    EXPECT_EQ(record.traces.Lines(), Lines{});
    record.om.interfaceMissing = true;
    EXPECT_EQ(MeRecordInstanceTag(), 0u);
    EXPECT_EQ(record.traces.Lines(), Lines{"ERROR: record [#]: ** ASSERT FAILED"});
}

TEST(RecordInstanceTag, UnreadableCountMeansThatNoRecordCanBeAddressed)
{
    RecordTest record;
    EXPECT_NE(record.shell.At("/system1/logs1/log1/record2"), nullptr);
    record.om.SetStatus(kSelPath, "NumRecords", kCimFailed);
    EXPECT_EQ(record.shell.At("/system1/logs1/log1/record1"), nullptr);
}
