// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"

namespace
{

// What a line answers, "power,action,changed" of its one row, and its status.
std::string Answer(const std::string &line)
{
    const CtlEnd end = CtlRun(line + " -f csv");
    const size_t begin = end.out.find("\r\n");
    std::string row;
    if (begin != std::string::npos)
        row = end.out.substr(begin + 3, end.out.rfind(',') - begin - 3);
    return row + " " + std::to_string(end.status) + " " + end.err;
}

}  // namespace

class CmdPower : public testing::Test
{
protected:
    CmdPower() { unsetenv("ZORPRIV"); }
    std::vector<std::string> Invoked() { return om.Logged("InvokeMethod"); }

    FakeObjMgr om;
};

TEST_F(CmdPower, ShowsTheState)
{
    EXPECT_EQ(Answer("power"), "on,, 0 ");
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(Answer("power"), "off,, 0 ");
    EXPECT_EQ(Invoked().size(), 0u);
}

TEST_F(CmdPower, OffAndOn)
{
    EXPECT_EQ(Answer("power off --wait 1"), "off,off,true 0 ");
    EXPECT_EQ(Answer("power on --wait 1"), "on,on,true 0 ");
    EXPECT_EQ(Invoked(), (std::vector<std::string>{"InvokeMethod OEM_QARN_System Stop",
                                                   "InvokeMethod OEM_QARN_System Start"}));
}

TEST_F(CmdPower, WhatIsSoAlreadyIsDone)
{
    EXPECT_EQ(Answer("power on"), "on,on,false 0 ");
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(Answer("power off"), "off,off,false 0 ");
    EXPECT_EQ(Invoked().size(), 0u);
}

TEST_F(CmdPower, ResetAndCycle)
{
    EXPECT_EQ(Answer("power reset"), "on,reset,true 0 ");
    EXPECT_EQ(Answer("power cycle"), "on,cycle,true 0 ");
    EXPECT_EQ(Invoked(),
              (std::vector<std::string>{"InvokeMethod OEM_QARN_System Reset",
                                        "InvokeMethod OEM_QARN_System Reset Mode=PowerCycle"}));
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(Answer("power reset"), " 1 smclpctl: the host is off\n");
    EXPECT_EQ(Answer("power cycle"), " 1 smclpctl: the host is off\n");
    EXPECT_EQ(Invoked().size(), 2u);
}

// Somebody else was quicker between the look and the call.
TEST_F(CmdPower, NotApplicableAnyMore)
{
    om.methodResult = 1;
    EXPECT_EQ(Answer("power off"), "on,off,false 0 ");
    EXPECT_EQ(Answer("power reset"), " 1 smclpctl: the host is off\n");
}

TEST_F(CmdPower, Refused)
{
    om.methodStatus = kCimAccessDenied;
    EXPECT_EQ(Answer("power off"), " 77 smclpctl: no right to do this\n");
    om.methodStatus = kCimFailed;
    EXPECT_EQ(Answer("power off"), " 1 smclpctl: the service did not do it (CIM status 1)\n");
    om.methodStatus = kCimOk;
    om.methodResult = 7;
    EXPECT_EQ(Answer("power off"), " 1 smclpctl: the method answered 7\n");
}

TEST_F(CmdPower, SilentOrAbsent)
{
    om.SetStatus("OEM_QARN_System", "PowerStatus", kCimFailed);
    EXPECT_EQ(Answer("power off"), " 75 smclpctl: the source is silent\n");
    EXPECT_EQ(Answer("power"), ",, 75 smclpctl: the source is silent\n");
    om.openFails = true;
    EXPECT_EQ(Answer("power off"), " 69 smclpctl: no object manager serves\n");
    EXPECT_EQ(Invoked().size(), 0u);
}

TEST_F(CmdPower, TheWaitEnds)
{
    om.methodResult = 1;  // nothing happens
    EXPECT_EQ(Answer("power off --wait 0"), " 75 smclpctl: the host is not off after 0 s\n");
    EXPECT_EQ(om.opens, 3u);  // the state before, the method, and one look
}

TEST_F(CmdPower, ClaimsEveryRightOutsideASession)
{
    CtlRun("power off");
    EXPECT_EQ(om.Logged("SetPrivilege"), (std::vector<std::string>{"SetPrivilege ffffffff"}));
}

TEST_F(CmdPower, ClaimsTheRightsOfItsSession)
{
    setenv("ZORPRIV", "0x1f", 1);
    CtlRun("power off");
    EXPECT_EQ(om.Logged("SetPrivilege"), (std::vector<std::string>{"SetPrivilege 1f"}));
    for (const char *claim : {"", "x", "0x", "123456789", "1 "}) {
        om.ClearLog();
        om.Set("OEM_QARN_System", "PowerStatus", "ON");
        setenv("ZORPRIV", claim, 1);
        EXPECT_EQ(Answer("power off"), " 77 smclpctl: ZORPRIV is no hexadecimal number\n");
        EXPECT_EQ(Invoked().size(), 0u);
    }
    unsetenv("ZORPRIV");
}

TEST_F(CmdPower, FailEveryCall)
{
    for (const char *line :
         {"power off --wait 0", "power cycle", "log clear", "sensors", "log", "system"}) {
        for (u32 call = 1;; ++call) {
            FakeObjMgr failing;
            failing.AddSensor("1", "1", {"Name", "a"});
            failing.AddRecord("x", "20240229065812", "text");
            failing.failCall = call;
            CtlRun(line);
            EXPECT_EQ(failing.openConnections, 0) << line << call;
            if (failing.calls < call)
                break;
        }
    }
}
