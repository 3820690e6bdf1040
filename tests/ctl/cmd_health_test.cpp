// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"
#include "session/registry_fixture.h"

TEST(CmdHealth, Row)
{
    FakeObjMgr om;
    setenv("ZORSSNDIR", "/nowhere", 1);
    om.AddSensor("4", "1", {"Name", "Fan1", "Reading", "700", "StatusText", "warning"});
    const CtlEnd end = CtlRun("health -f csv");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out, "server,health,service,up,source,power,sensors,warnings,criticals,unknowns,"
                       "message,age_seconds,sessions\r\n"
                       ",warning,,true,,on,1,1,0,0,,,\r\n");
    om.SetStatus("OEM_QARN_System", "PowerStatus", kCimFailed);
    EXPECT_EQ(CtlRun("health").status, 75);
    om.openFails = true;
    EXPECT_EQ(CtlRun("health").status, 69);
    EXPECT_NE(CtlRun("health -f csv").out.find("no object manager serves"), std::string::npos);
    unsetenv("ZORSSNDIR");
}

class CmdHealthSessions : public RegistryFixture
{
};

// The registry is the machine's: it has no word about which of the servers a session works on.
TEST_F(CmdHealthSessions, AreTheMachinesForEachServer)
{
    FakeObjMgr om;
    MakeDirectory();
    setenv("ZORSSNDIR", directory_.c_str(), 1);
    u32 ids[2] = {};
    int locks[2] = {-1, -1};
    ASSERT_EQ(Open(&ids[0], &locks[0]), kRegistryOk);
    ASSERT_EQ(Open(&ids[1], &locks[1]), kRegistryOk);
    const CtlEnd end = CtlRun("-w a,b health -f csv");
    EXPECT_NE(end.out.find("\r\na,ok,,true,,on,0,0,0,0,,,2\r\n"), std::string::npos) << end.out;
    EXPECT_NE(end.out.find("\r\nb,ok,,true,,on,0,0,0,0,,,2\r\n"), std::string::npos) << end.out;
    unsetenv("ZORSSNDIR");
    close(locks[0]);
    close(locks[1]);
}

TEST(CmdHealth, CheckAnswersAsPluginsDo)
{
    FakeObjMgr om;
    om.AddSensor("4", "1", {"Name", "Fan1", "Reading", "4000", "StatusText", "normal"});
    const CtlEnd ok = CtlRun("health --check");
    EXPECT_EQ(ok.status, 0);
    EXPECT_EQ(ok.out, "SMCLP OK - 1 sensors | 'Fan1'=4000\n");
    om.AddSensor("4", "1", {"Name", "Fan2", "Reading", "700", "StatusText", "warning"});
    const CtlEnd warning = CtlRun("health --check");
    EXPECT_EQ(warning.status, 1);
    EXPECT_EQ(warning.out, "SMCLP WARNING - 1 of 2 sensors: Fan2 700 RPM (warning) | "
                           "'Fan1'=4000 'Fan2'=700\n");
    om.AddSensor("4", "1", {"Name", "Fan3", "Reading", "0", "StatusText", "failed"});
    EXPECT_EQ(CtlRun("health --check").status, 2);
    om.openFails = true;
    const CtlEnd unknown = CtlRun("health --check");
    EXPECT_EQ(unknown.status, 3);
    EXPECT_EQ(unknown.out + unknown.err, "SMCLP UNKNOWN - no object manager serves\n");
}
