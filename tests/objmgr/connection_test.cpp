// SPDX-License-Identifier: Apache-2.0
#include "objmgr/connection.h"

#include "objmgr/schema.h"
#include "support/fake_objmgr.h"

#include <gtest/gtest.h>

using Log = std::vector<std::string>;

TEST(ObjMgrConnection, ClosesAtTheEndOfTheScope)
{
    FakeObjMgr om;
    {
        ObjMgrConnection connection;
        EXPECT_TRUE(connection.HasInterface());
        EXPECT_FALSE(connection.IsOpen());
        EXPECT_TRUE(connection.Open());
        EXPECT_TRUE(connection.IsOpen());
        EXPECT_EQ(om.openConnections, 1);
    }
    EXPECT_EQ(om.openConnections, 0);
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "Close"}));
}

TEST(ObjMgrConnection, ClosesAlsoWhenOpenFailed)
{
    FakeObjMgr om;
    om.openFails = true;
    {
        ObjMgrConnection connection;
        EXPECT_FALSE(connection.Open());
    }
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "Close 0"}));
}

TEST(ObjMgrConnection, ClosesAlsoWhenItWasNotOpened)
{
    FakeObjMgr om;
    {
        const ObjMgrConnection connection;
    }
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Close 0"}));
}

TEST(ObjMgrConnection, DoesNothingWithoutInterface)
{
    FakeObjMgr om;
    om.interfaceMissing = true;
    {
        const ObjMgrConnection connection;
        EXPECT_FALSE(connection.HasInterface());
    }
    EXPECT_EQ(om.log, Log{"ObjMgrGetInterface null"});
}

TEST(ObjMgrConnection, ClosesOnlyWhatItOpenedWhereThatIsAskedFor)
{
    FakeObjMgr om;
    {
        ObjMgrConnection connection(ObjMgrClose::WhenOpened);
    }
    om.openFails = true;
    {
        ObjMgrConnection connection(ObjMgrClose::WhenOpened);
        EXPECT_FALSE(connection.Open());
    }
    om.openFails = false;
    {
        ObjMgrConnection connection(ObjMgrClose::WhenOpened);
        EXPECT_TRUE(connection.Open());
    }
    EXPECT_EQ(om.Logged("Close"), Log{"Close"});
}

TEST(ObjMgrConnection, EachVerbIsOneOperation)
{
    FakeObjMgr om;
    om.AddSensor("1", "1", {"Reading", "27"});
    ObjMgrConnection connection;
    ASSERT_TRUE(connection.Open());
    om.ClearLog();
    char text[32] = "";
    EXPECT_EQ(connection.GetProperty(kSystemClass, kPropertyPowerStatus, text, sizeof text),
              kCimOk);
    EXPECT_STREQ(text, "ON");
    alignas(max_align_t) char storage[512] = {};
    ObjMgrInstance *instance = connection.InitInstance(storage, sizeof storage);
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(connection.GetInstance("OEM_QARN_Sensor.Index=1", instance), kCimOk);
    EXPECT_STREQ(connection.GetValue(instance, kPropertyReading), "27");
    connection.SetPrivilege(0x1ff);
    u32 result = 0;
    EXPECT_EQ(connection.Invoke(kSystemClass, "Reset", "Mode=PowerCycle", &result), kCimOk);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(om.log,
              (Log{"GetPropertyValue OEM_QARN_System PowerStatus 32", "InitInstance 512",
                   "GetInstance OEM_QARN_Sensor.Index=1", "GetInstanceValue Reading",
                   "SetPrivilege 1ff", "InvokeMethod OEM_QARN_System Reset Mode=PowerCycle"}));
}
