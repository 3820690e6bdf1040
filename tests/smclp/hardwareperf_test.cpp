// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/kinds.h"
#include "support/kind_checks.h"

TEST(HardwarePerf, Kind)
{
    ExpectKind(MeHardwarePerf, {"hardwareperformance", "Manage hardware performance sensors", 38, 5,
                                "1 12 3 2 13", ""});
}

TEST(HardwarePerf, HoldsItsSensorsInOrder)
{
    KindTest kind(MeHardwarePerf);
    EXPECT_EQ(ChildrenOf(kind.element), "sensor");
}

TEST(HardwarePerf, OneInstanceWhateverThePower)
{
    FakeObjMgr om;
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(MeHardwarePerfInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}
