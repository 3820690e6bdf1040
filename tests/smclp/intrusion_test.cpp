// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(Intrusion, Kind)
{
    ExpectKind(MeIntrusion, {"intrusion", "Manage intrusion sensors", 37, 5, "1 12 3 2 13", ""});
}

TEST(Intrusion, HoldsItsSensorsInOrder)
{
    KindTest kind(MeIntrusion);
    EXPECT_EQ(ChildrenOf(kind.element), "sensor");
}

TEST(Intrusion, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeIntrusionInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
