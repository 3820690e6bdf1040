// SPDX-License-Identifier: Apache-2.0
// sensors_agree_test.cpp -- the shell's sensors and identity beside those that other IPMI tools
// read from the same BMC.
#include "ipmi/served_bmc.h"

#include <math.h>
#include <stdlib.h>

namespace
{

using Properties = std::map<std::string, std::string>;

bool Contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

std::string WithoutBlanks(std::string text)
{
    std::erase(text, ' ');
    return text;
}

// "'a' 'b'" as "a, b".
std::string EventWords(std::string events)
{
    for (size_t at; (at = events.find("' '")) != std::string::npos;)
        events.replace(at, 3, ", ");
    std::erase(events, '\'');
    return events;
}

// Numbers of two programs that round to different digits.
void ExpectSameNumber(const std::string &ours, const std::string &theirs, double tolerance,
                      const std::string &where)
{
    const bool weHave = ours != "N/A";
    const bool theyHave = theirs != "N/A" && theirs != "na";
    EXPECT_EQ(weHave, theyHave) << where << ": " << ours << " and " << theirs;
    if (weHave && theyHave) {
        EXPECT_NEAR(atof(ours.c_str()), atof(theirs.c_str()), tolerance) << where;
    }
}

// Where the shell shows a sensor that ipmi-sensors lists; "" for kinds that it does not show.
std::string PlaceOf(const FreeSensor &sensor)
{
    struct Row {
        const char *type;
        bool numeric;
        bool redundancy;
        const char *place;
    };
    constexpr Row kRows[] = {
        {"Temperature", true, false, "temperatures1/tempsensor"},
        {"Fan", true, false, "fans1/tachsensor"},
        {"Fan", false, true, "fans1/redundancyset"},
        {"Voltage", true, false, "voltages1/numericsensor"},
        {"Voltage", false, false, "voltages1/voltsensor"},
        {"Current", true, false, "powermonitor1/numericsensor"},
        {"Battery", false, false, "batteries1/sensor"},
        {"Physical Security", false, false, "intrusion1/sensor"},
        {"Power Supply", false, false, "powersupplies1/pwrsupply"},
        {"Power Supply", false, true, "powersupplies1/redundancyset"},
        {"OEM Reserved", false, false, "hardwareperformance1/sensor"},
    };
    for (const Row &row : kRows) {
        if (sensor.type == row.type && (sensor.units != "N/A") == row.numeric &&
            Contains(sensor.events, "Redundan") == row.redundancy)
            return std::string("/system1/") + row.place;
    }
    return "";
}

std::string VoltageState(const std::string &events)
{
    static const Properties kStates = {
        {"'State Asserted'", "good"},
        {"'State Deasserted'", "bad"},
        {"'Limit Not Exceeded'", "good"},
        {"'Limit Exceeded'", "bad"},
        {"'transition to OK'", "good"},
        {"'transition to Critical from less severe'", "bad"},
        {"N/A", "unknown"},
    };
    const auto state = kStates.find(events);
    return state == kStates.end() ? "no row for " + events : state->second;
}

std::string BatteryState(const std::string &events)
{
    if (Contains(events, "battery failed"))
        return "failed";
    if (Contains(events, "battery low"))
        return "low";
    return Contains(events, "battery presence detected") ? "good" : "absent";
}

std::string IntrusionState(const std::string &events)
{
    static const Properties kStates = {
        {"'OK'", "no intrusion"},
        {"'General Chassis Intrusion'", "chassis intrusion"},
        {"'Drive Bay intrusion'", "drive bay intrusion"},
        {"'I/O Card area intrusion'", "I/O card area intrusion"},
        {"'Processor area intrusion'", "processor area intrusion"},
        {"'LAN Leash Lost'", "LAN disconnect"},
        {"'Unauthorized dock'", "unauthorized dock"},
        {"'FAN area intrusion'", "FAN area intrusion"},
    };
    const auto state = kStates.find(events);
    return state == kStates.end() ? "no row for " + events : state->second;
}

std::string PerformanceState(const std::string &events)
{
    static const Properties kStates = {
        {"'OEM Event = 0000h'", "Normal"},
        {"'OK'", "Normal"},
        {"'OEM Event = 0001h'", "Normal"},
        {"'OEM Event = 0002h'", "Others"},
        {"'OEM Event = 0004h'", "Thermal Protection"},
        {"'OEM Event = 0008h'", "Cooling Capacity changed"},
        {"'OEM Event = 0010h'", "Power Capacity changed"},
        {"'OEM Event = 0020h'", "User Configuration"},
    };
    const auto state = kStates.find(events);
    return state == kStates.end() ? "no row for " + events : state->second;
}

class SensorsAgree : public ServedBmc
{
protected:
    std::vector<FreeSensor> Listed() const
    {
        return ParseIpmiSensors(Freeipmi("ipmi-sensors", kIpmiSensorsTable));
    }
    std::map<std::string, ToolSensor> Tabled() const
    {
        return ParseIpmitoolSensors(Ipmitool({"sensor"}));
    }
    // The target that ipmi-sensors' sensor must be, by counting the kind's sensors.
    static std::string TargetOf(const FreeSensor &sensor, std::map<std::string, int> *counts)
    {
        const std::string place = PlaceOf(sensor);
        return place.empty() ? "" : place + std::to_string(++(*counts)[place]);
    }
    void CheckNumeric(const FreeSensor &listed, const Properties &ours, const std::string &target);
    void CheckDiscrete(const FreeSensor &listed, const Properties &ours);
    void CheckAll();
};

void SensorsAgree::CheckNumeric(const FreeSensor &listed, const Properties &ours,
                                const std::string &target)
{
    static const Properties kStates = {{"ok", "normal"},
                                       {"nc", "warning"},
                                       {"cr", "failed"},
                                       {"nr", "non-recoverable"},
                                       {"na", "unknown"}};
    const ToolSensor tabled = Tabled()[listed.name];
    ExpectSameNumber(ours.at("CurrentReading"), listed.reading, 0.0051, target);
    ExpectSameNumber(ours.at("CurrentReading"), tabled.reading, 0.00051, target);
    EXPECT_EQ(ours.at("CurrentState"), kStates.at(tabled.status)) << target;
    const bool isAmps = listed.units == "A";
    const std::pair<const char *, std::string> kThresholds[] = {
        {"LowerThresholdNonCritical", listed.lower[0]},
        {"LowerThresholdCritical", listed.lower[1]},
        {"UpperThresholdNonCritical", isAmps ? "N/A" : listed.upper[0]},
        {"UpperThresholdCritical", isAmps ? "N/A" : listed.upper[1]},
    };
    for (const auto &[name, theirs] : kThresholds) {
        if (ours.count(name) != 0)
            ExpectSameNumber(ours.at(name), theirs, 0.0051, target + " " + name);
    }
}

void SensorsAgree::CheckDiscrete(const FreeSensor &listed, const Properties &ours)
{
    const std::string place = PlaceOf(listed);
    const std::string words = listed.events == "'OK'" ? "absent" : EventWords(listed.events);
    if (Contains(place, "voltsensor"))
        EXPECT_EQ(ours.at("CurrentState"), VoltageState(listed.events)) << listed.name;
    else if (Contains(place, "batteries"))
        EXPECT_EQ(ours.at("CurrentState"), BatteryState(listed.events)) << listed.name;
    else if (Contains(place, "intrusion"))
        EXPECT_EQ(ours.at("CurrentState"), IntrusionState(listed.events)) << listed.name;
    else if (Contains(place, "hardwareperformance"))
        EXPECT_EQ(ours.at("CurrentState"), PerformanceState(listed.events)) << listed.name;
    else if (Contains(place, "pwrsupply"))
        EXPECT_EQ(ours.at("OperationalStatus"), words) << listed.name;
    else
        EXPECT_EQ(ours.at("RedundancyStatus"), words) << listed.name;
}

// Every sensor of the one is a sensor of the other, in the same order, and says the same.
void SensorsAgree::CheckAll()
{
    const Shown shown = Show("/system1");
    std::map<std::string, int> counts;
    size_t expected = 0;
    for (const FreeSensor &listed : Listed()) {
        const std::string target = TargetOf(listed, &counts);
        if (target.empty())
            continue;
        ++expected;
        const auto found = shown.find(target);
        ASSERT_NE(found, shown.end()) << target << ", " << listed.name;
        const Properties &ours = found->second;
        ASSERT_EQ(ours.count("ElementName"), 1u) << target;
        // ipmi-sensors puts a blank before the number of a record that stands for several.
        EXPECT_EQ(WithoutBlanks(ours.at("ElementName")), WithoutBlanks(listed.name));
        if (listed.units != "N/A")
            CheckNumeric(listed, ours, target);
        else
            CheckDiscrete(listed, ours);
    }
    size_t sensors = 0;
    for (const auto &[target, properties] : shown)
        sensors += properties.count("CurrentState") + properties.count("RedundancyStatus") +
                   properties.count("OperationalStatus");
    EXPECT_EQ(sensors, expected + 2);  // the system and the log have an OperationalStatus too
    EXPECT_EQ(counts.size(), 11u) << "a kind of sensor is missing";
}

TEST_F(SensorsAgree, EverySensorOfEveryKind)
{
    Serve();
    CheckAll();
}

TEST_F(SensorsAgree, AfterReadingsAndStatesHaveChanged)
{
    Serve();
    bmc.SetReading("Inlet Temp", 88);
    bmc.SetReading("CPU1 Temp", 70);
    bmc.SetReading("Fan1A RPM", 7);
    bmc.SetReading("Pwr Consumption", 230);
    bmc.SetReading("CPU1 VCORE", 58);
    bmc.SetState("CMOS Battery", 2, false);
    bmc.SetState("Fan Redundancy", 0, false);
    bmc.SetState("Fan Redundancy", 1, true);
    bmc.SetState("PS1 Status", 1, true);
    bmc.SetState("PS2 Status", 0, false);
    bmc.SetState("PS2 Status", 3, false);
    ASSERT_TRUE(WaitUntil([&] {
        return Property("/system1/powersupplies1/pwrsupply2", "OperationalStatus") == "absent";
    }));
    // That was the last change, but a sensor before it may have been read earlier in the same
    // round: several rounds more.
    SleepMs(2000);
    CheckAll();
}

// Between two changes the sensor shows no state at all for a moment, so the shell is compared with
// what the other tool says once both are made.
TEST_F(SensorsAgree, EachStateOfAnIntrusionSensor)
{
    Serve();
    std::string before = "no intrusion";
    for (int bit = 0; bit <= 6; ++bit) {
        if (bit > 0)
            bmc.SetState("Intrusion", bit - 1, false);
        bmc.SetState("Intrusion", bit, true);
        std::string expected;
        for (const FreeSensor &listed : Listed()) {
            if (listed.name == "Intrusion")
                expected = IntrusionState(listed.events);
        }
        EXPECT_NE(expected, before) << bit;
        EXPECT_TRUE(WaitUntil([&] {
            return Property("/system1/intrusion1/sensor4", "CurrentState") == expected;
        })) << expected;
        before = expected;
    }
}

TEST_F(SensorsAgree, EachStateOfAPerformanceSensor)
{
    Serve();
    bmc.SetState("System Perf", 0, false);
    std::string before = "Normal";
    for (int bit = 1; bit <= 5; ++bit) {
        bmc.SetState("System Perf", bit, true);
        bmc.SetState("System Perf", bit - 1, false);
        ASSERT_TRUE(WaitUntil([&] {
            const std::string now =
                Property("/system1/hardwareperformance1/sensor1", "CurrentState");
            return now != before && now != "";
        })) << bit;
        for (const FreeSensor &listed : Listed()) {
            if (listed.name == "System Perf") {
                EXPECT_EQ(Property("/system1/hardwareperformance1/sensor1", "CurrentState"),
                          PerformanceState(listed.events));
            }
        }
        before = Property("/system1/hardwareperformance1/sensor1", "CurrentState");
    }
}

TEST_F(SensorsAgree, ReadingThatIsNotTakenAnyMoreIsToldAsSuch)
{
    Serve();
    const std::string fan = "/system1/fans1/tachsensor1";
    ASSERT_EQ(Property(fan, "CurrentReading"), "4200");
    bmc.SetScanning("Fan1A RPM", false);
    ASSERT_TRUE(WaitUntil([&] { return Property(fan, "CurrentReading") == "N/A"; }));
    EXPECT_EQ(Property(fan, "CurrentState"), "unknown");
    EXPECT_EQ(Tabled()["Fan1A RPM"].reading, "na");
    bmc.SetScanning("Fan1A RPM", true);
    ASSERT_TRUE(WaitUntil([&] { return Property(fan, "CurrentReading") == "4200"; }));
    EXPECT_EQ(Property(fan, "CurrentState"), "normal");
}

TEST_F(SensorsAgree, ReadingThatTheBmcMarksAsUnavailableIsToldAsSuch)
{
    PutRelay();
    relay->Edit(kIpmiSensorReading, [](std::vector<u8> *data) {
        if (data->size() >= 3)
            (*data)[2] |= 0x20;
    });
    Serve({.cipherSuite = 0});
    EXPECT_EQ(Property("/system1/fans1/tachsensor1", "CurrentReading"), "N/A");
    EXPECT_EQ(Property("/system1/fans1/tachsensor1", "CurrentState"), "unknown");
    EXPECT_EQ(Property("/system1/voltages1/voltsensor1", "CurrentState"), "unknown");
    relay->Edit(kIpmiSensorReading, {});
    EXPECT_TRUE(WaitUntil(
        [&] { return Property("/system1/fans1/tachsensor1", "CurrentReading") == "4200"; }));
}

class RefusedSensor : public ServedBmc
{
protected:
    static SimMachine Machine()
    {
        SimMachine machine = RackServer();
        SimSensor refused = SimSensorNamed(machine, "Inlet Temp");
        refused.number = 12;
        refused.name = "Riser Temp";
        refused.reading = SimReading::Missing;
        machine.sensors.insert(machine.sensors.begin() + 1, refused);
        return machine;
    }
    RefusedSensor() : ServedBmc(Machine()) {}
};

TEST_F(RefusedSensor, TakesNothingFromTheOthers)
{
    Serve();
    const std::map<std::string, ToolSensor> tabled = ParseIpmitoolSensors(Ipmitool({"sensor"}));
    ASSERT_EQ(tabled.count("Riser Temp"), 1u);
    EXPECT_EQ(tabled.at("Riser Temp").reading, "na");
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor2", "ElementName"), "Riser Temp");
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor2", "CurrentReading"), "N/A");
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor2", "CurrentState"), "unknown");
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor3", "ElementName"), "Exhaust Temp");
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor3", "CurrentReading"), "72");
}

TEST_F(SensorsAgree, SensorThatIsAddedToTheRepositoryAppears)
{
    Serve();
    ASSERT_EQ(Property("/system1/temperatures1/tempsensor10", "ElementName"), "");
    // A compact record of a temperature with states: its own event type, so that no unit matters.
    bmc.Command("sensor_add 0x20 0 90 41 111");
    bmc.Command("sensor_set_event_support 0x20 0 90 enable scanning per-state 111111111111111 "
                "111111111111111 111111111111111 111111111111111");
    bmc.Command("sensor_set_bit 0x20 0 90 1 1 0");
    bmc.Command("main_sdr_add 0x20 0x00 0x00 0x51 0x02 0x23 0x20 0x00 0x5a 0x07 0x5a 0x7f 0x40 "
                "0x29 0x6f 0xff 0x7f 0xff 0x7f 0xff 0x7f 0x00 0x00 0x00 0x01 0x00 0x00 0x00 0x00 "
                "0x00 0x00 0x00 0xc8 0x4e 0x65 0x77 0x20 0x43 0x65 0x6c 0x6c");
    ASSERT_TRUE(WaitUntil(
        [&] { return Property("/system1/batteries1/sensor5", "ElementName") == "New Cell"; }));
    EXPECT_EQ(Property("/system1/batteries1/sensor5", "CurrentState"), "failed");
    EXPECT_TRUE(Contains(Ipmitool({"sdr", "elist"}), "New Cell"));
    CheckAll();
}

TEST_F(SensorsAgree, IdentityIsThatOfTheFru)
{
    Serve();
    Properties fru;
    for (const Fields &fields : SplitTable(Ipmitool({"fru", "print", "0"}), ':', 2)) {
        if (fields.size() == 2)
            fru[fields[0]] = fields[1];
    }
    ASSERT_EQ(fru.count("Product Serial"), 1u);
    EXPECT_EQ(Property("/system1", "Name"), fru["Product Serial"]);
    EXPECT_EQ(Property("/system1", "Description"), fru["Product Name"]);
    EXPECT_EQ(Property("/system1/chassis1", "Tag"), fru["Product Serial"]);
    EXPECT_EQ(Property("/system1/chassis1", "Manufacturer"), fru["Product Manufacturer"]);
    EXPECT_EQ(Property("/system1/chassis1", "Model"), fru["Product Name"]);
    EXPECT_EQ(Property("/system1/fans1/tachsensor1", "SystemName"), fru["Product Serial"]);
}

TEST_F(SensorsAgree, SuppliesHaveTheCapacityOfTheirFru)
{
    Serve();
    Fields capacities;
    for (const Fields &fields : SplitTable(Freeipmi("ipmi-fru", {}), ':', 2)) {
        if (fields.size() == 2 && fields[0] == "FRU Power Supply Overall Capacity")
            capacities.push_back(fields[1]);
    }
    ASSERT_EQ(capacities.size(), 2u);
    EXPECT_EQ(Property("/system1/powersupplies1/pwrsupply1", "TotalOutputPower") + " Watts",
              capacities[0]);
    EXPECT_EQ(Property("/system1/powersupplies1/pwrsupply2", "TotalOutputPower") + " Watts",
              capacities[1]);
}

TEST_F(SensorsAgree, NoSensorsWhileTheHostIsOff)
{
    Serve();
    bmc.PressPowerButton();
    ASSERT_TRUE(WaitUntil([&] { return Property("/system1/pwrmgtsvc1", "powerstate") == "6"; }));
    EXPECT_EQ(Out("show -display targets /system1/fans1"), "");
    EXPECT_EQ(Out("show /system1/fans1/tachsensor1"), "ERROR: Invalid target specified.\n");
    bmc.PressPowerButton();
    ASSERT_TRUE(WaitUntil(
        [&] { return Property("/system1/fans1/tachsensor1", "CurrentReading") == "4200"; }));
}

}  // namespace
