// SPDX-License-Identifier: Apache-2.0
// host_power_test.cpp -- the power of the host over one connection.
#include "smclp/me/host_power.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

constexpr int kLine = 149;  // the caller's, passed through

class HostPower : public testing::Test
{
protected:
    FakeObjMgr om_;
    TraceCapture traces_;

    u32 Read(char *powerStatus)
    {
        ObjMgrConnection connection;
        EXPECT_TRUE(connection.Open());
        return HostPowerRead(connection, "cmd_delete", kLine, powerStatus);
    }
    u32 Request(PowerOperation operation, const char *powerStatus)
    {
        ObjMgrConnection connection;
        EXPECT_TRUE(connection.Open());
        return HostPowerRequest(connection, "cmd_delete", kLine, operation, powerStatus);
    }
};

TEST_F(HostPower, ReadClearsTheBufferAndTakesTheText)
{
    char status[kPowerStatusSize];
    memset(status, 'x', sizeof status);
    EXPECT_EQ(Read(status), 0u);
    EXPECT_STREQ(status, "ON");
    EXPECT_EQ(status[kPowerStatusSize - 1], '\0');
    EXPECT_EQ(om_.Logged("GetPropertyValue"),
              std::vector<std::string>{"GetPropertyValue OEM_QARN_System PowerStatus 32"});
}

TEST_F(HostPower, ReadTracesItsFailureAtTheCallersLine)
{
    char status[kPowerStatusSize];
    om_.SetStatus("OEM_QARN_System", "PowerStatus", 2);
    EXPECT_EQ(Read(status), 16u);
    om_.SetStatus("OEM_QARN_System", "PowerStatus", 7);
    EXPECT_EQ(Read(status), 1u);
    EXPECT_EQ(traces_.Lines(),
              (std::vector<std::string>{"ERROR: cmd_delete [149]: Access denied",
                                        "ERROR: cmd_delete [149]: CIM_STATUS = 7"}));
}

TEST_F(HostPower, EveryOperationInEveryState)
{
    struct {
        PowerOperation operation;
        const char *status;
        u32 result;
        const char *invoked;  // null: nothing
    } const kRows[] = {
        {kPowerStart, "ON", 18, nullptr},
        {kPowerStop, "ON", 0, "InvokeMethod OEM_QARN_System Stop"},
        {kPowerReset, "ON", 0, "InvokeMethod OEM_QARN_System Reset"},
        {kPowerCycle, "ON", 0, "InvokeMethod OEM_QARN_System Reset Mode=PowerCycle"},
        {kPowerStart, "OFF", 0, "InvokeMethod OEM_QARN_System Start"},
        {kPowerStop, "OFF", 17, nullptr},
        {kPowerReset, "on", 17, nullptr},
        {kPowerCycle, "ON ", 17, nullptr},
        {kPowerStart, "", 0, "InvokeMethod OEM_QARN_System Start"},
    };
    for (const auto &row : kRows) {
        om_.ClearLog();
        EXPECT_EQ(Request(row.operation, row.status), row.result) << row.status;
        const std::vector<std::string> expected = row.invoked != nullptr
                                                      ? std::vector<std::string>{row.invoked}
                                                      : std::vector<std::string>{};
        EXPECT_EQ(om_.Logged("InvokeMethod"), expected) << row.status;
    }
    EXPECT_TRUE(traces_.Lines().empty());
}

TEST_F(HostPower, RefusedIsNotTracedAndFailedIs)
{
    om_.methodStatus = 2;
    EXPECT_EQ(Request(kPowerStop, "ON"), 16u);
    EXPECT_TRUE(traces_.Lines().empty());
    om_.methodStatus = 17;
    EXPECT_EQ(Request(kPowerStop, "ON"), 1u);
    EXPECT_EQ(traces_.Lines(),
              std::vector<std::string>{"ERROR: cmd_delete [149]: CIM_STATUS = 17"});
}

TEST_F(HostPower, TheMethodsOwnResultDoesNotCount)
{
    om_.methodResult = 5;
    EXPECT_EQ(Request(kPowerStop, "ON"), 0u);
}

}  // namespace
