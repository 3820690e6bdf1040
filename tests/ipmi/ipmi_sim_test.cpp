// SPDX-License-Identifier: Apache-2.0
// ipmi_sim_test.cpp -- the BMC that the tests of the service use is what they take it for.
#include "ipmi/ipmi_sim.h"

#include "ipmi/ipmi_tools.h"
#include "support/program.h"

#include <gtest/gtest.h>
#include <set>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

class Simulator : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(bmc.Start(), ""); }

    IpmiTools As(const SimUser &user) const
    {
        return {bmc.Host(), bmc.Port(), user, bmc.Directory()};
    }
    std::string Ask(const std::vector<std::string> &arguments, const SimUser &user = kSimAdmin)
    {
        const ProgramEnd end = RunProgram(As(user).Ipmitool(arguments));
        status = end.status;
        return end.out;
    }
    std::map<std::string, ToolSensor> Sensors() { return ParseIpmitoolSensors(Ask({"sensor"})); }

    IpmiSim bmc;
    int status = 0;
};

TEST_F(Simulator, HasEveryKindOfSensorThatTheShellShows)
{
    const ProgramEnd end = RunProgram(As(kSimAdmin).Freeipmi("ipmi-sensors", kIpmiSensorsTable));
    ASSERT_EQ(end.status, 0) << end.err;
    std::map<std::string, int> numeric;
    std::map<std::string, int> discrete;
    std::set<std::string> events;
    for (const FreeSensor &sensor : ParseIpmiSensors(end.out)) {
        ++(sensor.units == "N/A" ? discrete : numeric)[sensor.type];
        events.insert(sensor.type + " " + sensor.events);
    }
    EXPECT_EQ(numeric["Temperature"], 9);
    EXPECT_EQ(numeric["Fan"], 5);
    EXPECT_EQ(numeric["Voltage"], 3);
    EXPECT_EQ(numeric["Current"], 2);
    EXPECT_EQ(discrete["Fan"], 2);
    EXPECT_EQ(discrete["Voltage"], 7);
    EXPECT_EQ(discrete["Battery"], 4);
    EXPECT_EQ(discrete["Physical Security"], 6);  // three of them one record
    EXPECT_EQ(discrete["Power Supply"], 3);
    EXPECT_EQ(discrete["OEM Reserved"], 2);
    EXPECT_EQ(events.count("Power Supply 'Fully Redundant'"), 1u);
}

TEST_F(Simulator, SensorsAreBeyondEachOfTheirThresholds)
{
    const std::map<std::string, ToolSensor> sensors = Sensors();
    EXPECT_EQ(sensors.at("Inlet Temp").status, "ok");
    EXPECT_EQ(sensors.at("Exhaust Temp").status, "nc");
    EXPECT_EQ(sensors.at("CPU1 Temp").status, "cr");
    EXPECT_EQ(sensors.at("CPU2 Temp").status, "nr");
    EXPECT_EQ(sensors.at("DIMM Temp").status, "nc");
    EXPECT_EQ(sensors.at("PSU1 Temp").status, "cr");
    EXPECT_EQ(sensors.at("NVMe Temp").status, "nr");
    EXPECT_EQ(sensors.at("NVMe Temp").reading, "-28.000");
    EXPECT_EQ(sensors.at("PCIe Temp").reading, "na");
    EXPECT_EQ(sensors.at("12V").reading, "12.159");
    EXPECT_EQ(sensors.count("Ambient Far Edge"), 1u);
}

TEST_F(Simulator, ChangesWhileItRuns)
{
    bmc.SetReading("Inlet Temp", 88);
    bmc.SetScanning("Fan1A RPM", false);
    bmc.SetState("CMOS Battery", 1, true);
    const std::map<std::string, ToolSensor> sensors = Sensors();
    EXPECT_EQ(sensors.at("Inlet Temp").reading, "48.000");
    EXPECT_EQ(sensors.at("Inlet Temp").status, "cr");
    EXPECT_EQ(sensors.at("Fan1A RPM").reading, "na");
    EXPECT_EQ(sensors.at("CMOS Battery").reading, "0x6");
    EXPECT_NE(bmc.Command("nosuchcommand").find("Unknown command"), std::string::npos);
}

TEST_F(Simulator, LogHasEachKindOfTimeAndGrows)
{
    const auto entries = [&] { return SplitTable(Ask({"-c", "sel", "list"}), ','); };
    std::vector<Fields> log = entries();
    ASSERT_EQ(log.size(), bmc.Machine().log.size());
    EXPECT_EQ(log[0][1], "03/14/23");
    EXPECT_EQ(log[13][1], "Pre-Init");
    EXPECT_EQ(log[16][1], "Unspecified");
    EXPECT_EQ(log[18][1], "");
    EXPECT_EQ(log[0][0], "c8");  // ids are in no order
    EXPECT_EQ(log[4][0], "1");

    bmc.SetReading("Inlet Temp", 88, true);
    log = entries();
    EXPECT_EQ(log.size(), bmc.Machine().log.size() + 2);  // non-critical and critical
    bmc.AddLogEntry(0x02, {0, 0, 0, 0, 0x20, 0, 4, 1, 1, 1, 0x59, 90, 87});
    EXPECT_EQ(entries().size(), bmc.Machine().log.size() + 3);
    Ask({"sel", "clear"});
    EXPECT_EQ(entries().size(), 0u);
}

TEST_F(Simulator, PowerSwitchReallySwitchesAndCounts)
{
    EXPECT_EQ(Ask({"power", "status"}), "Chassis Power is on\n");
    Ask({"power", "off"});
    EXPECT_FALSE(bmc.PowerIsOn());
    EXPECT_EQ(Ask({"power", "status"}), "Chassis Power is off\n");
    Ask({"power", "on"});
    EXPECT_EQ(Ask({"power", "status"}), "Chassis Power is on\n");
    Ask({"power", "reset"});
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\nreset 1\n");
    bmc.ForgetActions();
    bmc.PressPowerButton();
    EXPECT_EQ(Ask({"power", "status"}), "Chassis Power is off\n");
    EXPECT_EQ(bmc.Actions(), "");
}

TEST_F(Simulator, PowerSwitchCanFail)
{
    bmc.SetSwitch(SimSwitch::Stuck);
    Ask({"power", "off"});
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(bmc.PowerIsOn());
    bmc.SetSwitch(SimSwitch::Refuses);
    Ask({"power", "off"});
    EXPECT_NE(status, 0);
    EXPECT_EQ(bmc.Actions(), "power 0\n");
    bmc.SetSwitch(SimSwitch::Slow);
    Ask({"power", "off"});
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(bmc.PowerIsOn());
    for (int i = 0; i < 200 && bmc.PowerIsOn(); ++i)
        usleep(50'000);
    EXPECT_FALSE(bmc.PowerIsOn());
}

TEST_F(Simulator, UsersHaveTheirRights)
{
    Ask({"power", "off"}, kSimReader);
    EXPECT_NE(status, 0);
    EXPECT_TRUE(bmc.PowerIsOn());
    Ask({"power", "off"}, kSimOperator);
    EXPECT_EQ(status, 0);
    Ask({"power", "on"}, kSimLongPassword);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\n");
    SimUser stranger = kSimAdmin;
    stranger.password = "not the password";
    Ask({"power", "off"}, stranger);
    EXPECT_NE(status, 0);
}

TEST_F(Simulator, FreezesAndDiesAndComesBackAsItWas)
{
    const auto answers = [&] {
        const ProgramEnd end =
            RunProgram(As(kSimAdmin).Ipmitool({"-N", "1", "-R", "1", "power", "status"}));
        return end.status == 0;
    };
    Ask({"power", "off"});
    bmc.Freeze();
    EXPECT_FALSE(answers());
    bmc.Thaw();
    EXPECT_TRUE(answers());
    bmc.Kill();
    EXPECT_FALSE(answers());
    ASSERT_EQ(bmc.Restart(), "");
    EXPECT_EQ(Ask({"power", "status"}), "Chassis Power is off\n");
    EXPECT_EQ(SplitTable(Ask({"-c", "sel", "list"}), ',').size(), bmc.Machine().log.size());
}

TEST(SimulatorPackages, MissingOnesAreSaid)
{
    const std::string path = getenv("PATH");
    setenv("PATH", "/nonexistent", 1);
    IpmiSim bmc;
    EXPECT_EQ(bmc.Start(), "ipmi_sim is missing: install the packages openipmi, ipmitool and "
                           "freeipmi-tools");
    setenv("PATH", path.c_str(), 1);
}

TEST(SimulatorDirectory, IsGoneAfterwards)
{
    std::string directory;
    {
        IpmiSim bmc;
        ASSERT_EQ(bmc.Start(), "");
        directory = bmc.Directory();
    }
    struct stat status;
    EXPECT_NE(stat(directory.c_str(), &status), 0);
}

TEST(SimulatorMachine, CompilersComplaintIsSaid)
{
    SimMachine machine = RackServer();
    machine.sensors[0].thresholds[0] = 1000;  // a byte
    IpmiSim bmc(machine);
    EXPECT_EQ(bmc.Start().compare(0, 8, "sdrcomp:"), 0);
}

TEST(SimulatorMachine, SensorThatTheBmcRefusesToReadCanBeAdded)
{
    SimMachine machine = RackServer();
    machine.sensors.push_back({12, "Riser Temp", 1, 1, 70, 1});
    machine.sensors.back().reading = SimReading::Missing;
    IpmiSim bmc(machine);
    ASSERT_EQ(bmc.Start(), "");
    const IpmiTools tools(bmc.Host(), bmc.Port(), kSimAdmin, bmc.Directory());
    const ProgramEnd end = RunProgram(tools.Ipmitool({"raw", "4", "0x2d", "12"}));
    EXPECT_NE(end.err.find("rsp=0xcc"), std::string::npos) << end.err;
}

}  // namespace
