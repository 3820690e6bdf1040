// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/logs.h"

#include "support/kind_checks.h"

TEST(Logs, Kind)
{
    ExpectKind(MeLogs,
               {"logs", "Contains the collection of SEL log Elements", 30, 5, "1 12 3 2 13", ""});
}

TEST(Logs, OneInstanceWithoutAskingAnyone)
{
    FakeObjMgr om;
    EXPECT_EQ(MeLogsInstanceTag(), 1u);
    EXPECT_EQ(om.log, Lines{});
}

TEST(Logs, ConstructorSelectsNoInstance)
{
    ManagedElement element = {};
    element.instanceNumber = 7;
    MeLogs(&element);
    EXPECT_EQ(element.instanceNumber, 0);
    EXPECT_EQ(element.word11, 0u);
    EXPECT_EQ(element.word15, 0u);
    EXPECT_EQ(SlotsOf(&element), "IV---");
}
