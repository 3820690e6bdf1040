// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"

TEST(CmdSystem, OneRow)
{
    FakeObjMgr om;
    const CtlEnd end = CtlRun("system -f csv");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out, "server,service_tag,host_name,description,power,records,service,"
                       "age_seconds\r\n"
                       ",TAG1234,host-a,Test Server,on,0,,\r\n");
}

TEST(CmdSystem, ASilentSource)
{
    FakeObjMgr om;
    om.SetInstanceStatus("OEM_QARN_System", kCimFailed);
    const CtlEnd end = CtlRun("system -f csv");
    EXPECT_EQ(end.status, 75);
    EXPECT_EQ(end.err, "smclpctl: the source is silent\n");
}

TEST(CmdSystem, NoService)
{
    FakeObjMgr om;
    om.openFails = true;
    EXPECT_EQ(CtlRun("system").status, 69);
}
