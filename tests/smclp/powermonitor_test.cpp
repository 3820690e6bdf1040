// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(PowerMonitor, Kind)
{
    ExpectKind(PowerMonitor,
               {"powermonitor", "Manage power monitoring sensors", 43, 5, "1 12 3 2 13", ""});
}

TEST(PowerMonitor, HoldsItsSensorsInOrder)
{
    KindTest kind(PowerMonitor);
    EXPECT_EQ(ChildrenOf(kind.element), "numericsensor");
}

TEST(PowerMonitor, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MePowerMonitorInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
