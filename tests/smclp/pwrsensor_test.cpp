// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(PwrSupSensor, Kind)
{
    ExpectKind(MePwrSupSensor,
               {"pwrsupply", "Manage power supply sensors", 50, 39, "1 12 3 2 13",
                "SystemCreationClassName SystemName CreationClassName DeviceID TotalOutputPower "
                "OperationalStatus HealthState EnabledState ElementName"});
}

TEST(PwrSupSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MePwrSupSensor);
    kind.om.AddSensor("8", "2", {"Name", "first"});
    kind.om.AddSensor("8", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("8", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.om.Set("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage", "495");
    kind.om.Set("OEM_QARN_PowerSupply.PowerSupplyIndex=2", "PowerSupplyWattage", "750");
    kind.ExpectValues({{"SystemCreationClassName", "CIM_ComputerSystem"},
                       {"SystemName", "TAG1234"},
                       {"CreationClassName", "CIM_PowerSupply"},
                       {"DeviceID", "Power Supply 2"},
                       {"TotalOutputPower", "750"},
                       {"OperationalStatus", "state text"},
                       {"HealthState", "status text"},
                       {"EnabledState", "1"},
                       {"ElementName", "name text"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(PwrSupSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MePwrSupSensor);
    kind.om.AddSensor("8", "2", {"Name", "first"});
    kind.om.AddSensor("8", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("8", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MePwrSupSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MePwrSupSensorInstanceTag(), 0u);
}

TEST(PwrSupSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MePwrSupSensor);
    kind.om.AddSensor("8", "2", {"Name", "first"});
    kind.om.AddSensor("8", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("8", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_pwrsupdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_pwrsupdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_pwrsupdata(3, out, "Name"), 1u);
}

TEST(PwrSupSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MePwrSupSensor);
    char value[256] = "x";
    EXPECT_EQ(MePwrSupSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MePwrSupSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MePwrSupSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: pwrsensor [#]: ** ASSERT FAILED"));
}

TEST(PwrSupSensor, MissingPowerSupplyLeavesOnlyTheOutputPowerEmpty)
{
    KindTest kind(MePwrSupSensor);
    kind.om.AddSensor("8", "2", {"Name", "PSU 1", "State", "ok", "StatusText", "good"});
    EXPECT_EQ(kind.Get("TotalOutputPower"), (Refreshed{1, ""}));
    EXPECT_EQ(kind.traces.Lines(), Lines{});
    EXPECT_EQ(kind.Get("OperationalStatus"), (Refreshed{0, "ok"}));
    EXPECT_EQ(kind.Get("HealthState"), (Refreshed{0, "good"}));
    EXPECT_EQ(kind.Get("ElementName"), (Refreshed{0, "PSU 1"}));
}

TEST(PwrSupSensor, OutputPowerIsCutLikeEveryValue)
{
    KindTest kind(MePwrSupSensor);
    for (const size_t length : {size_t{255}, size_t{256}, size_t{3000}}) {
        kind.om.Set("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage",
                    std::string(length, 'w'));
        EXPECT_EQ(kind.Get("TotalOutputPower"), (Refreshed{0, std::string(255, 'w')}));
    }
}

TEST(GetPsinfo, ReadsOneInstanceOfTheSecondClass)
{
    KindTest kind(MePwrSupSensor);
    kind.om.Set("OEM_QARN_PowerSupply.PowerSupplyIndex=3", "PowerSupplyWattage", "1100");
    char out[kSensorTextSize] = "";
    EXPECT_EQ(get_psinfo(3, out, "PowerSupplyWattage"), 0u);
    EXPECT_STREQ(out, "1100");
    EXPECT_EQ(kind.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 1024",
                                  "GetInstance OEM_QARN_PowerSupply.PowerSupplyIndex=3",
                                  "GetInstanceValue PowerSupplyWattage", "Close"}));
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(GetPsinfo, IndexHas8Bits)
{
    KindTest kind(MePwrSupSensor);
    kind.om.Set("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage", "750");
    EXPECT_EQ(kind.Get("TotalOutputPower", 257), (Refreshed{0, "750"}));
    EXPECT_EQ(kind.Get("TotalOutputPower", 255), (Refreshed{1, ""}));
    EXPECT_EQ(kind.om.Logged("GetInstance "),
              (Lines{"GetInstance OEM_QARN_PowerSupply.PowerSupplyIndex=1",
                     "GetInstance OEM_QARN_PowerSupply.PowerSupplyIndex=255"}));
    char out[kSensorTextSize] = "";
    EXPECT_EQ(get_psinfo(0x10001, out, "PowerSupplyWattage"), 0u);
}

TEST(GetPsinfo, FailuresKeepTheBuffer)
{
    const Lines assertion = {"ERROR: pwrsensor [#]: ** ASSERT FAILED"};
    constexpr char kSupply[] = "OEM_QARN_PowerSupply.PowerSupplyIndex=1";
    KindTest kind(MePwrSupSensor);
    char out[kSensorTextSize] = "before";
    const auto fails = [&](const Lines &traces) {
        kind.traces.Clear();
        EXPECT_EQ(get_psinfo(1, out, "PowerSupplyWattage"), 1u);
        EXPECT_STREQ(out, "before");
        EXPECT_EQ(kind.traces.Lines(), traces);
        EXPECT_EQ(kind.om.openConnections, 0);
    };
    fails({});  // no such power supply
    kind.om.Set(kSupply, "PowerSupplyIndex", "1");
    fails(assertion);  // no such property
    kind.om.Set(kSupply, "PowerSupplyWattage", "");
    fails(assertion);
    for (const CimStatus status : {kCimAccessDenied, kCimFailed}) {
        kind.om.SetInstanceStatus(kSupply, status);
        fails({});
    }
    kind.om.initInstanceFails = true;
    fails(assertion);
    kind.om.openFails = true;
    kind.om.ClearLog();
    fails({});
    EXPECT_EQ(kind.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    kind.om.interfaceMissing = true;
    fails(assertion);
}
