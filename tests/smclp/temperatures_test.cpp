// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(Temperatures, Kind)
{
    ExpectKind(MeTemperatures,
               {"temperatures", "Manage temperature sensors", 40, 5, "1 12 3 2 13", ""});
}

TEST(Temperatures, HoldsItsSensorsInOrder)
{
    KindTest kind(MeTemperatures);
    EXPECT_EQ(ChildrenOf(kind.element), "tempsensor");
}

TEST(Temperatures, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeTemperaturesInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
