// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"

namespace
{

void Fill(FakeObjMgr *om)
{
    om->AddRecord("1970-01-01 00:01:00", "19700101000100", "one");
    om->AddRecord("System Boot", "System Boot", "two");
    om->AddRecord("1970-01-01 00:02:00", "19700101000200", "three, \"quoted\"");
}

}  // namespace

TEST(CmdLog, Records)
{
    FakeObjMgr om;
    Fill(&om);
    const CtlEnd end = CtlRun("log -f csv");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out, "server,record,target,time,boot,description\r\n"
                       ",1,/system1/logs1/log1/record1,1970-01-01T00:01:00Z,false,one\r\n"
                       ",2,/system1/logs1/log1/record2,,true,two\r\n"
                       ",3,/system1/logs1/log1/record3,1970-01-01T00:02:00Z,false,"
                       "\"three, \"\"quoted\"\"\"\r\n");
}

TEST(CmdLog, Since)
{
    FakeObjMgr om;
    Fill(&om);
    EXPECT_EQ(CtlRun("log --since 2").out, "RECORD  TIME                  BOOT  DESCRIPTION\n"
                                           "     3  1970-01-01T00:02:00Z  no    three, "
                                           "\"quoted\"\n");
    EXPECT_EQ(CtlRun("log --since 1970-01-01T00:02:00Z").out, CtlRun("log --since 2").out);
    EXPECT_EQ(CtlRun("log --since 3").out, "");
}

TEST(CmdLog, Clear)
{
    FakeObjMgr om;
    Fill(&om);
    const CtlEnd end = CtlRun("log clear");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out + end.err, "");
    EXPECT_EQ(om.Logged("InvokeMethod"),
              (std::vector<std::string>{"InvokeMethod OEM_QARN_MessageLog.Name=SEL Clear"}));
    EXPECT_EQ(CtlRun("log").out, "");
    om.methodStatus = kCimAccessDenied;
    EXPECT_EQ(CtlRun("log clear").status, 77);
    om.methodStatus = kCimOk;
    om.methodResult = 1;
    EXPECT_EQ(CtlRun("log clear").status, 1);
}

TEST(CmdLog, ALogThatCannotBeRead)
{
    FakeObjMgr om;
    Fill(&om);
    om.SetStatus("OEM_QARN_MessageLog.Name=SEL", "NumRecords", kCimFailed);
    const CtlEnd end = CtlRun("log");
    EXPECT_EQ(end.status, 75);
    EXPECT_EQ(end.err, "smclpctl: the source is silent\n");
}
