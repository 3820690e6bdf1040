// SPDX-License-Identifier: Apache-2.0
// objmgr_access_test.cpp -- connections and the privilege on its way to the object manager.
#include "smclp/me/objmgr_access.h"

#include "support/fake_objmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>

namespace
{
using Log = std::vector<std::string>;
}

TEST(ObjMgrConnection, ClosesAtTheEndOfTheScope)
{
    FakeObjMgr om;
    {
        ObjMgrConnection connection;
        EXPECT_TRUE(connection.HasInterface());
        EXPECT_EQ(connection.Handle(), 0u);
        EXPECT_TRUE(connection.Open());
        EXPECT_NE(connection.Handle(), 0u);
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

TEST(ObjMgrHandOverPrivilege, HandsOverTheWordInBase16)
{
    const struct {
        const char *text;
        const char *logged;
    } rows[] = {
        {"0", "SetPrivilege 0"},
        {"1", "SetPrivilege 1"},
        {"10", "SetPrivilege 10"},
        {"1ff", "SetPrivilege 1ff"},
        {"1FF", "SetPrivilege 1ff"},
        {"0x1F", "SetPrivilege 1f"},
        {"0XaB", "SetPrivilege ab"},
        {"ffffffff", "SetPrivilege ffffffff"},
        {"80000000", "SetPrivilege 80000000"},
        {"0000000000001", "SetPrivilege 1"},
    };
    for (const auto &row : rows) {
        const ScopedEnv privilege("ZORPRIV", row.text);
        FakeObjMgr om;
        ObjMgrConnection connection;
        ASSERT_TRUE(connection.Open());
        EXPECT_TRUE(ObjMgrHandOverPrivilege(connection.operator->(), connection.Handle()));
        // The rest of the record is zero, or the log would say so.
        EXPECT_EQ(om.Logged("SetPrivilege"), Log{row.logged});
    }
}

TEST(ObjMgrHandOverPrivilege, RefusesAMissingOrUnusableWord)
{
    for (const char *text : {static_cast<const char *>(nullptr), "", "xyz", "0x", "x1", "1 ", " 1",
                             "-1", "+1", "1g", "0x0x1", "1,2"}) {
        const ScopedEnv privilege("ZORPRIV", text);
        FakeObjMgr om;
        ObjMgrConnection connection;
        ASSERT_TRUE(connection.Open());
        EXPECT_FALSE(ObjMgrHandOverPrivilege(connection.operator->(), connection.Handle()))
            << (text != nullptr ? text : "missing");
        EXPECT_TRUE(om.Logged("SetPrivilege").empty());
    }
}

TEST(ObjMgrAccess, NamesAndSizesAreThoseOfTheService)
{
    EXPECT_STREQ(kSystemClass, "OEM_QARN_System");
    EXPECT_STREQ(kMessageLogClass, "OEM_QARN_MessageLog");
    EXPECT_STREQ(kLogRecordClass, "OEM_QARN_LogRecord");
    EXPECT_STREQ(kSensorClass, "OEM_QARN_Sensor");
    EXPECT_EQ(kObjectPathSize, 256u);
    EXPECT_EQ(kPowerStatusSize, 32u);
    EXPECT_EQ(kServiceTagSize, 64u);
    EXPECT_EQ(kRecordStorageSize, 512u);
    EXPECT_EQ(kSensorStorageSize, 1024u);
}
