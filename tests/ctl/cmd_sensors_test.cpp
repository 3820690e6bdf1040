// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"

namespace
{

void FillSensors(FakeObjMgr *om)
{
    om->AddSensor("1", "1", {"Name", "Inlet Temp", "Reading", "23", "StatusText", "normal"});
    om->AddSensor("4", "1", {"Name", "Fan1 RPM", "Reading", "4320", "StatusText", "normal"});
    om->AddSensor("4", "3", {"Name", "Fan Redundancy", "State", "Full Redundancy"});
    om->AddSensor("3", "1", {"Name", "PS1 Current", "Reading", "0.8", "StatusText", "normal"});
}

// The names in an answer, one per line of CSV.
std::string Names(const std::string &options)
{
    FakeObjMgr om;
    FillSensors(&om);
    const CtlEnd end = CtlRun("sensors -f csv " + options);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.err, "");
    std::istringstream lines(end.out);
    std::string names;
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        const size_t begin = line.find(',') + 1;
        names += line.substr(begin, line.find(',', begin) - begin) + ";";
    }
    return names;
}

}  // namespace

TEST(CmdSensors, AllOfThem)
{
    EXPECT_EQ(Names(""), "Inlet Temp;Fan1 RPM;Fan Redundancy;PS1 Current;");
    EXPECT_EQ(Names("--target /"), "Inlet Temp;Fan1 RPM;Fan Redundancy;PS1 Current;");
}

TEST(CmdSensors, OfATypeOrATarget)
{
    EXPECT_EQ(Names("--type fan"), "Fan1 RPM;");
    EXPECT_EQ(Names("--type temperature,current"), "Inlet Temp;PS1 Current;");
    EXPECT_EQ(Names("--type power"), "");
    EXPECT_EQ(Names("--target /system1/fans1"), "Fan1 RPM;Fan Redundancy;");
    EXPECT_EQ(Names("--target /system1/fans1/"), "Fan1 RPM;Fan Redundancy;");
    EXPECT_EQ(Names("--target /system1/fans1/tachsensor1"), "Fan1 RPM;");
    EXPECT_EQ(Names("--target /system1/batteries1"), "");
    EXPECT_EQ(Names("--target /system1/fans1 --type fan_redundancy"), "Fan Redundancy;");
}

TEST(CmdSensors, ATargetThatIsNotThere)
{
    FakeObjMgr om;
    FillSensors(&om);
    const std::string none = "sensors --target /system1/fans1/tachsensor2 ";
    for (const char *format : {"table", "csv"}) {
        const CtlEnd end = CtlRun(none + "-f " + format);
        EXPECT_EQ(end.status, 1) << format;
        EXPECT_EQ(end.out, "") << format;
        EXPECT_EQ(end.err, "smclpctl: no such target: /system1/fans1/tachsensor2\n") << format;
    }
    for (const char *format : {"json", "jsonl"}) {
        const CtlEnd end = CtlRun(none + "-f " + format);
        EXPECT_EQ(end.status, 1) << format;
        EXPECT_EQ(end.out, "") << format;
        EXPECT_EQ(end.err, "{\"schema\":1,\"server\":null,\"error\":{\"exit\":1,\"message\":"
                           "\"no such target: /system1/fans1/tachsensor2\"}}\n")
            << format;
    }
    om.SetStatus("OEM_QARN_System", "PowerStatus", kCimFailed);
    EXPECT_EQ(CtlRun(none).status, 75);
}

TEST(CmdSensors, NoService)
{
    FakeObjMgr om;
    om.openFails = true;
    const CtlEnd end = CtlRun("sensors");
    EXPECT_EQ(end.status, 69);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, "smclpctl: no object manager serves\n");
    EXPECT_EQ(CtlRun("sensors -f json").err, "{\"schema\":1,\"server\":null,\"error\":{\"exit\":69,"
                                             "\"message\":\"no object manager serves\"}}\n");
}

TEST(CmdSensors, ASilentSource)
{
    FakeObjMgr om;
    FillSensors(&om);
    om.SetStatus("OEM_QARN_System", "PowerStatus", kCimFailed);
    const CtlEnd end = CtlRun("sensors -f csv");
    EXPECT_EQ(end.status, 75);
    EXPECT_EQ(end.err, "smclpctl: the source is silent\n");
    EXPECT_EQ(end.out.find("Inlet"), std::string::npos);
}

TEST(CmdSensors, AHostThatIsOffHasNone)
{
    FakeObjMgr om;
    FillSensors(&om);
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    const CtlEnd end = CtlRun("sensors");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out + end.err, "");
}
