// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(Voltages, Kind)
{
    ExpectKind(MeVoltages, {"voltages", "Manage voltage sensors", 41, 5, "1 12 3 2 13", ""});
}

TEST(Voltages, HoldsItsSensorsInOrder)
{
    KindTest kind(MeVoltages);
    EXPECT_EQ(ChildrenOf(kind.element), "voltsensor numericsensor");
}

TEST(Voltages, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeVoltagesInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
