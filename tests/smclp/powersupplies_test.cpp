// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(PowerSupplies, Kind)
{
    ExpectKind(MePowerSupplies,
               {"powersupplies", "Manage power supply sensors", 39, 5, "1 12 3 2 13", ""});
}

TEST(PowerSupplies, HoldsItsSensorsInOrder)
{
    KindTest kind(MePowerSupplies);
    EXPECT_EQ(ChildrenOf(kind.element), "pwrsupply redundancyset");
}

TEST(PowerSupplies, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MePowerSuppliesInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
