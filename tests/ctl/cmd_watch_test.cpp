// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"

TEST(CmdWatch, NothingChanges)
{
    FakeObjMgr om;
    om.AddSensor("4", "1", {"Name", "Fan1", "Reading", "4000", "StatusText", "normal"});
    const CtlEnd end = CtlRun("watch 0.1 --count 2 -f jsonl");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out + end.err, "");
}

TEST(CmdWatch, NobodyServes)
{
    FakeObjMgr om;
    om.openFails = true;
    const CtlEnd end = CtlRun("watch 0.1 --count 2 -f jsonl");
    EXPECT_EQ(end.status, 69);
    EXPECT_EQ(end.err, "{\"schema\":1,\"server\":null,\"error\":{\"exit\":69,"
                       "\"message\":\"no object manager serves\"}}\n");
}

TEST(CmdWatch, ASilentSourceIsSaidOnce)
{
    FakeObjMgr om;
    om.SetStatus("OEM_QARN_System", "PowerStatus", kCimFailed);
    const CtlEnd end = CtlRun("watch 0.1 --count 2 -f csv");
    EXPECT_EQ(end.status, 75);
    EXPECT_EQ(end.err, "smclpctl: the source is silent\n");
}

TEST(CmdWatch, ATargetThatIsNotThereIsSaidOnce)
{
    FakeObjMgr om;
    const CtlEnd end = CtlRun("watch 0.1 --count 2 --target /system1/fans1/tachsensor1");
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, "smclpctl: no such target: /system1/fans1/tachsensor1\n");
}
