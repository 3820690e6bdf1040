// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/pwrmgmt.h"
#include "support/kind_checks.h"

TEST(PwrCap, Kind)
{
    ExpectKind(MePwrMgtCap,
               {"pwrmgtcap", "Power Management Capabilities", 32, 31, "1 12 3 2 13",
                "InstanceID ElementName PowerChangeCapabilities PowerStatesSupported"});
    EXPECT_EQ(MePwrMgtCapInstanceTag(), 1u);
}

TEST(PwrCap, ValuesAreTheSameWhateverTheHostsPower)
{
    KindTest kind(MePwrMgtCap);
    for (const char *status : {"ON", "OFF"}) {
        kind.om.Set("OEM_QARN_System", "PowerStatus", status);
        kind.ExpectValues({{"InstanceID", "1"},
                           {"ElementName", "Qarn Server Power Management Capabilities"},
                           {"PowerChangeCapabilities", "3"},
                           {"PowerStatesSupported", "{ \"2\" \"6\" \"5\" \"9\" }"}},
                          1);
    }
    EXPECT_EQ(kind.om.log, Lines{});
}

TEST(PwrCap, NullArgumentsAreTraced)
{
    KindTest kind(MePwrMgtCap);
    char value[256] = "x";
    EXPECT_EQ(MePwrMgtCapRefreshProperties(nullptr, "InstanceID", value, 256), 1u);
    EXPECT_EQ(MePwrMgtCapRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MePwrMgtCapRefreshProperties(kind.element, "InstanceID", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: pwrcap [#]: ** ASSERT FAILED"));
}
