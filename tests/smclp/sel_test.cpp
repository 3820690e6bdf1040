// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/logs.h"
#include "support/kind_checks.h"

TEST(Sel, Kind)
{
    ExpectKind(MeSel, {"log", "System Event Log (SEL)", 25, 30, "1 12 3 2 13",
                       "InstanceID Name MaxNumberOfRecords EnabledState OperationalStatus "
                       "HealthState ElementName Caption Description CurrentNumberOfRecords"});
}

TEST(Sel, TwoWordsThatNothingReads)
{
    ManagedElement element = {};
    MeSel(&element);
    EXPECT_EQ(element.word11, 60u);
    EXPECT_EQ(element.word15, 1u);
    EXPECT_EQ(SlotsOf(&element), "IVPR-");
}

TEST(Sel, OneInstance)
{
    FakeObjMgr om;
    EXPECT_EQ(MeSelInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}

TEST(Sel, Values)
{
    KindTest log(MeSel);
    log.om.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "37");
    log.ExpectValues({{"InstanceID", "IPMI:BMC1 SEL Log"},
                      {"Name", "IPMI SEL"},
                      {"MaxNumberOfRecords", "512"},
                      {"EnabledState", "2"},
                      {"OperationalStatus", "2"},
                      {"HealthState", "2"},
                      {"ElementName", "IPMI SEL"},
                      {"Caption", "IPMI SEL"},
                      {"Description", "IPMI SEL"},
                      {"CurrentNumberOfRecords", "37"}},
                     1);
    EXPECT_EQ(log.om.log,
              (Lines{"ObjMgrGetInterface", "Open",
                     "GetPropertyValue OEM_QARN_MessageLog.Name=SEL NumRecords 256", "Close"}));
    EXPECT_EQ(log.traces.Lines(), Lines{});
}

TEST(Sel, CountIsReadWithTheCallersLength)
{
    KindTest log(MeSel);
    log.om.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", std::string(300, '9'));
    EXPECT_EQ(log.Get("CurrentNumberOfRecords", 1, 65), (Refreshed{0, std::string(64, '9')}));
    EXPECT_EQ(log.om.Logged("GetPropertyValue").back(),
              "GetPropertyValue OEM_QARN_MessageLog.Name=SEL NumRecords 65");
    EXPECT_EQ(log.Get("CurrentNumberOfRecords"), (Refreshed{0, std::string(255, '9')}));
}

TEST(Sel, MissingInterfaceAndFailedOpenOfTheCountAreBothTraced)
{
    KindTest log(MeSel);
    log.om.openFails = true;
    EXPECT_EQ(log.Get("CurrentNumberOfRecords"), (Refreshed{1, ""}));
    EXPECT_EQ(log.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    EXPECT_EQ(log.traces.Lines(), Lines{"ERROR: sel [#]: ** ASSERT FAILED"});
    log.traces.Clear();
    log.om.interfaceMissing = true;
    EXPECT_EQ(log.Get("CurrentNumberOfRecords"), (Refreshed{1, ""}));
    EXPECT_EQ(log.traces.Lines(), Lines{"ERROR: sel [#]: ** ASSERT FAILED"});
}

TEST(Sel, StatusOfTheCountIsNotTraced)
{
    for (const CimStatus status : {kCimAccessDenied, kCimNotFound, kCimFailed}) {
        KindTest log(MeSel);
        log.om.SetStatus("OEM_QARN_MessageLog.Name=SEL", "NumRecords", status);
        EXPECT_EQ(log.Get("CurrentNumberOfRecords"), (Refreshed{1, ""}));
        EXPECT_EQ(log.traces.Lines(), Lines{});
    }
}

TEST(Sel, UnknownNameIsSuccessAndEmpty)
{
    KindTest log(MeSel);
    EXPECT_EQ(log.Get("NoSuch"), (Refreshed{0, ""}));
    EXPECT_EQ(log.Get("name"), (Refreshed{0, ""}));
    EXPECT_EQ(log.om.log, Lines{});
}

TEST(Sel, NullArgumentsAreHarmlessAndNotTraced)
{
    KindTest log(MeSel);
    char value[256] = "x";
    EXPECT_EQ(MeSelRefreshProperties(log.element, "Name", nullptr, 256), 1u);
    EXPECT_EQ(MeSelRefreshProperties(log.element, nullptr, value, 256), 0u);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(MeSelRefreshProperties(nullptr, "Name", value, 256), 0u);
    EXPECT_STREQ(value, "IPMI SEL");
    EXPECT_EQ(log.traces.Lines(), Lines{});
}
