// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/chassis.h"

#include "support/kind_checks.h"

TEST(Chassis, Kind)
{
    ExpectKind(MeChassis,
               {"chassis", "This target is used to manage the physical chassis", 34, 5,
                "1 12 3 2 13",
                "Tag CreationClassName PackageType ChassisPackageType Manufacturer Model "
                "ElementName"});
    EXPECT_EQ(MeChassisInstanceTag(), 1u);
}

TEST(Chassis, Values)
{
    KindTest chassis(MeChassis);
    chassis.om.Set("OEM_QARN_System", "Oem", "Builder");
    chassis.ExpectValues({{"Tag", "TAG1234"},
                          {"CreationClassName", "CIM_Chassis"},
                          {"PackageType", "3"},
                          {"ChassisPackageType", "17"},
                          {"Manufacturer", "Builder"},
                          {"Model", "Test Server"},
                          {"ElementName", "Chassis"}},
                         1);
    EXPECT_EQ(chassis.om.log,
              (Lines{"ObjMgrGetInterface", "Open", "GetPropertyValue OEM_QARN_System ServiceTag 64",
                     "Close", "ObjMgrGetInterface", "Open",
                     "GetPropertyValue OEM_QARN_System Oem 64", "Close", "ObjMgrGetInterface",
                     "Open", "GetPropertyValue OEM_QARN_System Description 64", "Close"}));
}

TEST(Chassis, TagAndModelAreTheSystemsNameAndDescription)
{
    KindTest chassis(MeChassis);
    ManagedElement *system = chassis.shell.At("/system1");
    EXPECT_EQ(chassis.Get("Tag").value, TestShell::Refresh(system, "Name"));
    EXPECT_EQ(chassis.Get("Model").value, TestShell::Refresh(system, "Description"));
}

TEST(Chassis, ManufacturerZeroIsTheDefaultOtherTextsAreShown)
{
    KindTest chassis(MeChassis);
    const std::pair<const char *, const char *> texts[] = {
        {"0", "Qarn"}, {"00", "00"}, {"0 ", "0 "}, {"", ""}, {"%s", "%s"}};
    for (const auto &[oem, shown] : texts) {
        chassis.om.Set("OEM_QARN_System", "Oem", oem);
        EXPECT_EQ(chassis.Get("Manufacturer"), (Refreshed{0, shown})) << oem;
    }
}

TEST(Chassis, FailuresShowTheDefaultManufacturerAndNoTagAndModel)
{
    const Lines assertion = {"ERROR: chassis [#]: ** ASSERT FAILED"};
    KindTest chassis(MeChassis);
    const auto fails = [&](const Lines &traces) {
        chassis.traces.Clear();
        EXPECT_EQ(chassis.Get("Manufacturer"), (Refreshed{0, "Qarn"}));
        EXPECT_EQ(chassis.traces.Lines(), traces);
        for (const char *name : {"Tag", "Model"}) {
            chassis.traces.Clear();
            EXPECT_EQ(chassis.Get(name), (Refreshed{1, ""}));
            EXPECT_EQ(chassis.traces.Lines(), traces);
        }
    };
    for (const CimStatus status : {kCimAccessDenied, kCimNotFound, kCimFailed}) {
        chassis.om.SetInstanceStatus("OEM_QARN_System", status);
        fails({});
    }
    chassis.om.openFails = true;
    fails(assertion);
    chassis.om.openFails = false;
    chassis.om.interfaceMissing = true;
    fails(assertion);
}

TEST(Chassis, FailedOpenIsClosed)
{
    KindTest chassis(MeChassis);
    chassis.om.openFails = true;
    chassis.Get("Tag");
    EXPECT_EQ(chassis.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
}

TEST(Chassis, ValuesOf63CharactersAreWholeLongerOnesAreCut)
{
    KindTest chassis(MeChassis);
    for (const size_t length : {62u, 63u, 64u, 300u}) {
        chassis.om.Set("OEM_QARN_System", "Description", std::string(length, 'm'));
        EXPECT_EQ(chassis.Get("Model"),
                  (Refreshed{0, std::string(length < 63 ? length : 63, 'm')}));
    }
}

TEST(Chassis, GetSystemPropertyKeepsTheBufferOnFailure)
{
    KindTest chassis(MeChassis);
    char out[64] = "before";
    EXPECT_EQ(MeChassisGetSystemProperty(out, "NoSuch"), 1u);
    EXPECT_STREQ(out, "before");
    EXPECT_EQ(MeChassisGetSystemProperty(out, "HostName"), 0u);
    EXPECT_STREQ(out, "host-a");
}

TEST(Chassis, NullArgumentsAreTraced)
{
    KindTest chassis(MeChassis);
    char value[256] = "x";
    EXPECT_EQ(MeChassisRefreshProperties(nullptr, "Tag", value, 256), 1u);
    EXPECT_EQ(MeChassisRefreshProperties(chassis.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeChassisRefreshProperties(chassis.element, "Tag", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(chassis.traces.Lines(), Lines(3, "ERROR: chassis [#]: ** ASSERT FAILED"));
}
