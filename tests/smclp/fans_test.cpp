// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(Fans, Kind)
{
    ExpectKind(MeSensors, {"fans", "Manage fan sensors", 36, 5, "1 12 3 2 13", ""});
}

TEST(Fans, HoldsItsSensorsInOrder)
{
    KindTest kind(MeSensors);
    EXPECT_EQ(ChildrenOf(kind.element), "tachsensor redundancyset");
}

TEST(Fans, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeSensorsInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
