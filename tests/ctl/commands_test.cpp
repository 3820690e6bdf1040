// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"
#include "ctl/fake_inspect.h"

#include <algorithm>

TEST(Commands, SeveralServersInATableAreFolded)
{
    FakeObjMgr om;
    om.AddSensor("4", "1", {"Name", "Fan1", "Reading", "4000", "StatusText", "normal"});
    EXPECT_EQ(CtlRun("-w n[1-3],x sensors").out,
              "n[1-3],x:\n"
              "NAME  TYPE  READING  UNIT  STATE   HEALTH  LOW CRIT  LOW WARN  UP WARN  UP CRIT  "
              "AGE\n"
              "Fan1  fan      4000  RPM   normal  ok             -         -        -        -    "
              "-\n");
    EXPECT_EQ(CtlRun("-w n[1-3],x power").out, "SERVER    POWER  ACTION  CHANGED  AGE\n"
                                               "n[1-3],x  on     -       -          -\n");
}

TEST(Commands, SeveralServersElsewhereAreRowsOfTheirOwn)
{
    FakeObjMgr om;
    EXPECT_EQ(CtlRun("-w n[1-2] power -f csv").out, "server,power,action,changed,age_seconds\r\n"
                                                    "n1,on,,,\r\n"
                                                    "n2,on,,,\r\n");
}

TEST(Commands, ServersThatDoNotAnswerAreNamed)
{
    FakeObjMgr om;
    om.openFails = true;
    const CtlEnd end = CtlRun("-w n[1-2] system");
    EXPECT_EQ(end.status, 69);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, "smclpctl: n1: no object manager serves\n"
                       "smclpctl: n2: no object manager serves\n");
}

TEST(Commands, StatusOfSeveral)
{
    EXPECT_EQ(CommandBoth(kExitDone, kExitDone), kExitDone);
    EXPECT_EQ(CommandBoth(kExitDone, kExitSilent), kExitSilent);
    EXPECT_EQ(CommandBoth(kExitSilent, kExitDone), kExitSilent);
    EXPECT_EQ(CommandBoth(kExitSilent, kExitSilent), kExitSilent);
    EXPECT_EQ(CommandBoth(kExitSilent, kExitNoService), kExitFailed);
}

TEST(Commands, ManyServersAreChangedOnlyWhenThatIsSaid)
{
    FakeObjMgr om;
    EXPECT_EQ(CtlRun("-w n[1-4] power off").status, 0);
    const CtlEnd refused = CtlRun("-w n[1-5] power off");
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "smclpctl: power off of 5 servers (n[1-5]) needs --yes\n");
    EXPECT_EQ(CtlRun("-w n[1-5] log clear").status, 2);
    EXPECT_EQ(CtlRun("-w n[1-5] log clear --yes").status, 0);
    EXPECT_EQ(CtlRun("-w n[1-5] power").status, 0);  // looking needs nothing
}

// Each server's method is called, once.
TEST(Commands, MethodsAreCalledOnEach)
{
    FakeObjMgr om;
    om.methodStatus = kCimAccessDenied;
    const CtlEnd end = CtlRun("-w n[1-3] log clear");
    EXPECT_EQ(end.status, 77);
    std::istringstream stream(end.err);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    std::sort(lines.begin(), lines.end());  // they come in any order
    EXPECT_EQ(lines, (std::vector<std::string>{"smclpctl: n1: no right to do this",
                                               "smclpctl: n2: no right to do this",
                                               "smclpctl: n3: no right to do this"}));
    EXPECT_EQ(om.Logged("InvokeMethod").size(), 0u);  // not by this process
    CtlRun("-w n1 log clear");
    EXPECT_EQ(om.Logged("InvokeMethod").size(), 1u);
}

TEST(Commands, TheTerminalIsAsked)
{
    FakeObjMgr om;
    Options options;
    options.servers.assign(5, "n1");
    Console console;
    console.ask = [](const std::string &question) {
        return question == "power off of 5 servers (n1)? ";
    };
    EXPECT_TRUE(CommandMayChange(options, console, "power off"));
    EXPECT_FALSE(CommandMayChange(options, console, "clearing the log"));
}

TEST(Commands, WhoMayNotReadIsToldSo)
{
    FakeObjMgr om;
    om.openFails = true;
    for (const char *line :
         {"sensors", "system", "power", "power on", "power cycle", "log", "log clear", "health"}) {
        gFakeInspect.presence = ObjMgrPresence::Forbidden;
        EXPECT_EQ(CtlRun(line).status, 77) << line;
        gFakeInspect.presence = ObjMgrPresence::Dead;
        EXPECT_EQ(CtlRun(line).status, 69) << line;
    }
    gFakeInspect = {};
}
