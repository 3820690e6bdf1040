// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/pwrmgmt.h"

#include "support/kind_checks.h"

#include <stdlib.h>

namespace
{

struct PowerTest : KindTest {
    PowerTest() : KindTest(MePwrMgtSvc) { setenv("ZORPRIV", "1ff", 1); }
    ~PowerTest() { unsetenv("ZORPRIV"); }
    void Off() { om.Set("OEM_QARN_System", "PowerStatus", "OFF"); }
    u32 Set(const char *text)
    {
        char copy[128];
        snprintf(copy, sizeof copy, "%s", text);
        const u32 result = element->method(element, copy, 0, 0);
        EXPECT_EQ(om.openConnections, 0) << text;
        return result;
    }
};

}  // namespace

TEST(PwrMgmt, Kind)
{
    ExpectKind(MePwrMgtSvc, {"pwrmgtsvc", "Power Management Service", 31, 5, "1 12 3 2 13 14",
                             "CreationClassName Name ElementName powerstate"});
    ManagedElement element = {};
    MePwrMgtSvc(&element);
    EXPECT_EQ(SlotsOf(&element), "IVPRM");
    EXPECT_EQ(MePwrMgtSvcInstanceTag(), 1u);
}

TEST(PwrMgmt, PowerStateTableRows)
{
    ASSERT_EQ(sizeof PowerStateTable / sizeof PowerStateTable[0], 4u);
    const std::pair<const char *, int> rows[] = {{"2", 0}, {"6", 1}, {"5", 2}, {"9", 3}};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_STREQ(PowerStateTable[i].text, rows[i].first);
        EXPECT_EQ(PowerStateTable[i].operation, rows[i].second);
    }
    EXPECT_EQ(sizeof PowerStateTable[0].text, 16u);
    EXPECT_EQ(sizeof PowerStateTable[0].operation, 1u);
}

TEST(PwrMgmt, ValuesWhileTheHostIsOn)
{
    PowerTest power;
    power.ExpectValues({{"CreationClassName", "CIM_PowerManagementService"},
                        {"Name", "IPMI Power Service"},
                        {"ElementName", "Qarn Server Power Mangement Service"},
                        {"powerstate", "2"}},
                       1);
    EXPECT_EQ(power.om.log, (Lines{"ObjMgrGetInterface", "Open", "SetPrivilege 1ff",
                                   "GetPropertyValue OEM_QARN_System PowerStatus 32", "Close"}));
}

TEST(PwrMgmt, AnyPowerStatusButOnIsOff)
{
    PowerTest power;
    for (const char *status : {"OFF", "", "on", "ON ", "0", "POWERED ON"}) {
        power.om.Set("OEM_QARN_System", "PowerStatus", status);
        EXPECT_EQ(power.Get("powerstate"), (Refreshed{0, "6"})) << status;
    }
}

TEST(PwrMgmt, UnusablePrivilegeHidesThePowerStateAlone)
{
    PowerTest power;
    for (const char *privilege : {static_cast<const char *>(nullptr), "", "xyz", "1g", "0x"}) {
        if (privilege == nullptr)
            unsetenv("ZORPRIV");
        else
            setenv("ZORPRIV", privilege, 1);
        power.om.ClearLog();
        EXPECT_EQ(power.Get("powerstate"), (Refreshed{16, ""}));
        EXPECT_EQ(power.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close"}));
        EXPECT_EQ(power.Get("CreationClassName"), (Refreshed{0, "CIM_PowerManagementService"}));
        EXPECT_EQ(power.Get("Name"), (Refreshed{0, "IPMI Power Service"}));
        EXPECT_EQ(power.Get("ElementName"), (Refreshed{0, "Qarn Server Power Mangement Service"}));
    }
    EXPECT_EQ(power.traces.Lines(), Lines{});
}

TEST(PwrMgmt, UnreadablePowerStatus)
{
    PowerTest power;
    power.om.SetStatus("OEM_QARN_System", "PowerStatus", kCimAccessDenied);
    EXPECT_EQ(power.Get("powerstate"), (Refreshed{16, ""}));
    EXPECT_EQ(power.traces.Lines(), Lines{"ERROR: pwrmgmt [#]: Access denied"});
    power.traces.Clear();
    power.om.SetStatus("OEM_QARN_System", "PowerStatus", 6);
    EXPECT_EQ(power.Get("powerstate"), (Refreshed{1, ""}));
    EXPECT_EQ(power.traces.Lines(), Lines{"ERROR: pwrmgmt [#]: CIM_STATUS = 6"});
    power.traces.Clear();
    power.om.openFails = true;
    power.om.ClearLog();
    EXPECT_EQ(power.Get("powerstate"), (Refreshed{1, ""}));
    EXPECT_EQ(power.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    EXPECT_EQ(power.traces.Lines(), Lines{});
    power.om.interfaceMissing = true;
    EXPECT_EQ(power.Get("powerstate"), (Refreshed{1, ""}));
    EXPECT_EQ(power.traces.Lines(), Lines{"ERROR: pwrmgmt [#]: ** ASSERT FAILED"});
}

TEST(PwrMgmt, NullArgumentsAreTraced)
{
    PowerTest power;
    char value[256] = "x";
    EXPECT_EQ(MePwrMgtSvcRefreshProperties(nullptr, "Name", value, 256), 1u);
    EXPECT_EQ(MePwrMgtSvcRefreshProperties(power.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MePwrMgtSvcRefreshProperties(power.element, "Name", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(power.traces.Lines(), Lines(3, "ERROR: pwrmgmt [#]: ** ASSERT FAILED"));
}

TEST(PwrMgmtGetPowerStatus, CopiesTheTextAndKeepsTheBufferOnFailure)
{
    PowerTest power;
    char status[32] = "before";
    EXPECT_EQ(MePwrMgtGetPowerStatus(status), 0u);
    EXPECT_STREQ(status, "ON");
    power.om.Set("OEM_QARN_System", "PowerStatus", std::string(40, 'p'));
    EXPECT_EQ(MePwrMgtGetPowerStatus(status), 0u);
    EXPECT_EQ(status, std::string(31, 'p'));
    power.om.SetStatus("OEM_QARN_System", "PowerStatus", kCimFailed);
    EXPECT_EQ(MePwrMgtGetPowerStatus(status), 1u);
    EXPECT_EQ(status, std::string(31, 'p'));
}

TEST(PwrMgmtRequest, CallsInOrder)
{
    PowerTest power;
    EXPECT_EQ(power.Set("powerstate=9"), 0u);
    EXPECT_EQ(power.om.log,
              (Lines{"ObjMgrGetInterface", "Open", "SetPrivilege 1ff", "ObjMgrGetInterface", "Open",
                     "SetPrivilege 1ff", "GetPropertyValue OEM_QARN_System PowerStatus 32", "Close",
                     "InvokeMethod OEM_QARN_System Reset Mode=PowerCycle", "Close"}));
    EXPECT_EQ(power.traces.Lines(), Lines{});
}

TEST(PwrMgmtRequest, WhatEachStateDoesToARunningHost)
{
    const struct {
        const char *text;
        u32 result;
        Lines invoked;
    } cases[] = {
        {"powerstate=2", 18, {}},
        {"powerstate=6", 0, {"InvokeMethod OEM_QARN_System Stop"}},
        {"powerstate=5", 0, {"InvokeMethod OEM_QARN_System Reset"}},
        {"powerstate=9", 0, {"InvokeMethod OEM_QARN_System Reset Mode=PowerCycle"}},
    };
    for (const auto &c : cases) {
        PowerTest power;
        EXPECT_EQ(power.Set(c.text), c.result) << c.text;
        EXPECT_EQ(power.om.Logged("InvokeMethod"), c.invoked) << c.text;
    }
}

TEST(PwrMgmtRequest, WhatEachStateDoesToAHostThatIsOff)
{
    const struct {
        const char *text;
        u32 result;
        Lines invoked;
    } cases[] = {
        {"powerstate=2", 0, {"InvokeMethod OEM_QARN_System Start"}},
        {"powerstate=6", 17, {}},
        {"powerstate=5", 17, {}},
        {"powerstate=9", 17, {}},
    };
    for (const auto &c : cases) {
        PowerTest power;
        power.Off();
        EXPECT_EQ(power.Set(c.text), c.result) << c.text;
        EXPECT_EQ(power.om.Logged("InvokeMethod"), c.invoked) << c.text;
    }
}

TEST(PwrMgmtRequest, OnlyTheExactTextOnIsOn)
{
    for (const char *status : {"on", "ON ", "ONE"}) {
        PowerTest power;
        power.om.Set("OEM_QARN_System", "PowerStatus", status);
        EXPECT_EQ(MePwrMgtRequestPowerState(1), 17u) << status;
    }
}

TEST(PwrMgmtRequest, OperationHas8BitsAndAnyOtherIsAFailure)
{
    PowerTest power;
    EXPECT_EQ(MePwrMgtRequestPowerState(4), 1u);
    EXPECT_EQ(MePwrMgtRequestPowerState(0x80), 1u);
    EXPECT_EQ(MePwrMgtRequestPowerState(255), 1u);
    EXPECT_EQ(power.om.Logged("InvokeMethod"), Lines{});
    EXPECT_EQ(MePwrMgtRequestPowerState(0x100), 18u);
    EXPECT_EQ(MePwrMgtRequestPowerState(0x101), 0u);
    EXPECT_EQ(power.om.Logged("InvokeMethod"), Lines{"InvokeMethod OEM_QARN_System Stop"});
    EXPECT_EQ(power.traces.Lines(), Lines{});
}

TEST(PwrMgmtRequest, UnusablePrivilegeIs16BeforeAnyRead)
{
    PowerTest power;
    unsetenv("ZORPRIV");
    EXPECT_EQ(power.Set("powerstate=6"), 16u);
    setenv("ZORPRIV", "hello", 1);
    EXPECT_EQ(power.Set("powerstate=6"), 16u);
    EXPECT_EQ(power.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close", "ObjMgrGetInterface",
                                   "Open", "Close"}));
}

TEST(PwrMgmtRequest, PrivilegeIsReadAsHexadecimal)
{
    PowerTest power;
    setenv("ZORPRIV", "0xFFFFFFFF", 1);
    EXPECT_EQ(power.Set("powerstate=6"), 0u);
    EXPECT_EQ(power.om.Logged("SetPrivilege"), Lines(2, "SetPrivilege ffffffff"));
}

TEST(PwrMgmtRequest, PowerStatusThatCannotBeReadInvokesNothing)
{
    PowerTest power;
    power.om.SetStatus("OEM_QARN_System", "PowerStatus", kCimAccessDenied);
    EXPECT_EQ(power.Set("powerstate=6"), 16u);
    power.om.SetStatus("OEM_QARN_System", "PowerStatus", 9);
    EXPECT_EQ(power.Set("powerstate=6"), 1u);
    EXPECT_EQ(power.om.Logged("InvokeMethod"), Lines{});
    EXPECT_EQ(power.traces.Lines(),
              (Lines{"ERROR: pwrmgmt [#]: Access denied", "ERROR: pwrmgmt [#]: CIM_STATUS = 9"}));
}

TEST(PwrMgmtRequest, StatusOfTheMethod)
{
    PowerTest power;
    power.om.methodStatus = kCimAccessDenied;
    EXPECT_EQ(power.Set("powerstate=6"), 16u);
    EXPECT_EQ(power.traces.Lines(), Lines{});
    power.om.methodStatus = 1;
    EXPECT_EQ(power.Set("powerstate=6"), 1u);
    EXPECT_EQ(power.traces.Lines(), Lines{"ERROR: pwrmgmt [#]: CIM_STATUS = 1"});
}

TEST(PwrMgmtRequest, MethodsOwnResultIsNotLookedAt)
{
    PowerTest power;
    power.om.methodResult = 5;
    EXPECT_EQ(power.Set("powerstate=6"), 0u);
}

TEST(PwrMgmtRequest, NoInterfaceOrConnection)
{
    PowerTest power;
    power.om.openFails = true;
    EXPECT_EQ(power.Set("powerstate=6"), 1u);
    EXPECT_EQ(power.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    EXPECT_EQ(power.traces.Lines(), Lines{});
    power.om.interfaceMissing = true;
    EXPECT_EQ(power.Set("powerstate=6"), 1u);
    EXPECT_EQ(power.traces.Lines(), Lines{"ERROR: pwrmgmt [#]: ** ASSERT FAILED"});
}

TEST(PwrMgmtRequest, EveryFailingCallLeavesNothingOpenAndNothingInvokedBeforeTheLast)
{
    for (u32 n = 1;; ++n) {
        PowerTest power;
        power.om.failCall = n;
        const u32 result = power.Set("powerstate=6");
        if (power.om.calls < n) {
            EXPECT_EQ(result, 0u);
            EXPECT_EQ(n, 7u);  // two interfaces, two connections, a read and a method came before
            break;
        }
        EXPECT_EQ(result, 1u) << n;
        EXPECT_EQ(power.om.Logged("InvokeMethod").size(), n == 6 ? 1u : 0u) << n;
    }
}

TEST(PwrMgmtMethod, RefusesAnyOtherText)
{
    PowerTest power;
    EXPECT_EQ(power.element->method(power.element, nullptr, 0, 0), 2u);
    for (const char *text :
         {"powerstate=3", "PowerState=2", "powerstate=", "powerstate", "", "=", "==", "=2",
          "powerstate=06", "powerstate= 6", "powerstate =6", "power=6", "powerstate=66", "6"})
        EXPECT_EQ(power.Set(text), 2u) << text;
    EXPECT_EQ(power.om.log, Lines{});
}

TEST(PwrMgmtMethod, SeparatorsMayBeRepeatedAndARestIsIgnored)
{
    for (const char *text : {"powerstate==6", "=powerstate=6", "powerstate=6=9", "powerstate=6="}) {
        PowerTest power;
        EXPECT_EQ(power.Set(text), 0u) << text;
        EXPECT_EQ(power.om.Logged("InvokeMethod"), Lines{"InvokeMethod OEM_QARN_System Stop"});
    }
}
