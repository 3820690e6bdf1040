// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(Batteries, Kind)
{
    ExpectKind(MeBatteries, {"batteries", "Manage battery sensors", 35, 5, "1 12 3 2 13", ""});
}

TEST(Batteries, HoldsItsSensorsInOrder)
{
    KindTest kind(MeBatteries);
    EXPECT_EQ(ChildrenOf(kind.element), "sensor");
}

TEST(Batteries, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeBatteriesInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
