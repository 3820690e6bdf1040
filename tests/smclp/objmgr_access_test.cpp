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

TEST(ObjMgrConnect, OpensAndTracesNothing)
{
    FakeObjMgr om;
    ObjMgrConnection connection;
    EXPECT_TRUE(ObjMgrConnect(&connection, "unit", 7));
    EXPECT_TRUE(connection.IsOpen());
}

TEST(ObjMgrConnect, FailsWithoutInterfaceAndWhenOpenFails)
{
    FakeObjMgr om;
    om.interfaceMissing = true;
    ObjMgrConnection none;
    EXPECT_FALSE(ObjMgrConnect(&none, "unit", 7));
    om.interfaceMissing = false;
    om.openFails = true;
    ObjMgrConnection failed;
    EXPECT_FALSE(ObjMgrConnect(&failed, "unit", 7));
    EXPECT_FALSE(failed.IsOpen());
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
        EXPECT_TRUE(ObjMgrHandOverPrivilege(connection));
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
        EXPECT_FALSE(ObjMgrHandOverPrivilege(connection)) << (text != nullptr ? text : "missing");
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
