// SPDX-License-Identifier: Apache-2.0
// Holds the table of kinds against the shell's own.
#include "ctl/sensor_kinds.h"
#include "smclp/me/sensors.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>

namespace
{

std::string TargetOf(const SensorKind &kind, u32 number)
{
    return std::string("/system1/") + kind.collection + "/" + kind.element + std::to_string(number);
}

// A host with one sensor of the pair.
void AddOne(FakeObjMgr *om, u32 type, u32 format, const char *stateValue)
{
    om->AddSensor(std::to_string(type).c_str(), std::to_string(format).c_str(),
                  {"Name", "the sensor", "Reading", "1", "WarningThresholdMin", "1",
                   "WarningThresholdMax", "1", "FailThresholdMin", "1", "FailThresholdMax", "1",
                   "StatusText", "status", "State", "state", "StateValue", stateValue});
}

// What the shell prints for a property; empty: nothing.
std::string Shown(const SensorKind &kind, const char *stateValue, const std::string &property)
{
    FakeObjMgr om;
    AddOne(&om, kind.type, kind.format, stateValue);
    TestShell shell;
    shell.Run("show -display properties=(" + property + ") " + TargetOf(kind, 1));
    const std::string out = shell.Output();
    const size_t at = out.find(" = ");
    return at == std::string::npos ? "" : out.substr(at + 3, out.find('\n', at) - at - 3);
}

}  // namespace

TEST(SensorKinds, EveryPairHasTheTargetThatTheShellGivesIt)
{
    for (const SensorKind &kind : SensorKinds()) {
        {
            FakeObjMgr om;
            AddOne(&om, kind.type, kind.format, "0");
            TestShell shell;  // one at a time: the memory pools are the process's
            const std::string line = "show -display targets /system1/";
            EXPECT_EQ(shell.Run(line + kind.collection), 0u);
            EXPECT_NE(shell.Output().find(std::string("    ") + kind.element + "1\n"),
                      std::string::npos)
                << kind.name << shell.Output();
        }
        EXPECT_NE(Shown(kind, "0", "elementname"), "") << kind.name;
    }
}

// A pair that the shell has a target for, and this table not, would be missing from answers.
TEST(SensorKinds, NoPairOfTheShellIsMissing)
{
    TraceCapture traces;
    for (u32 type = 0; type < 256; ++type) {
        for (u32 format = 0; format < 6; ++format) {
            FakeObjMgr om;
            om.keepLog = false;
            AddOne(&om, type, format, "0");
            u32 targets = 0;
#define NO_SENSOR(...)
#define ADD_TARGETS(kind, reader) targets += kind##InstanceTag();
            ME_KINDS(NO_SENSOR, NO_SENSOR, ADD_TARGETS)
#undef ADD_TARGETS
#undef NO_SENSOR
            const SensorKind *kind = SensorKindOf(static_cast<u8>(type), static_cast<u8>(format));
            EXPECT_EQ(targets, kind != nullptr ? 1u : 0u) << type << " " << format;
        }
    }
}

TEST(SensorKinds, UnitsAreTheShellsBaseUnits)
{
    const struct {
        const char *unit;
        const char *shown;
    } kUnits[] = {{"C", "C"}, {"V", "V"}, {"W", "Watts"}, {"RPM", "RPM"}};
    for (const SensorKind &kind : SensorKinds()) {
        std::string shown;
        for (const auto &row : kUnits) {
            if (kind.unit != nullptr && std::string(kind.unit) == row.unit)
                shown = row.shown;
        }
        EXPECT_EQ(Shown(kind, "0", "baseunits"), shown) << kind.name;
    }
}

TEST(SensorKinds, StatesComeFromWhereTheShellTakesThem)
{
    for (const SensorKind &kind : SensorKinds()) {
        std::string state = Shown(kind, "0", "currentstate");
        if (state.empty())
            state = Shown(kind, "0", "redundancystatus");
        if (state.empty())
            state = Shown(kind, "0", "operationalstatus");
        const char *from = kind.state == StateFrom::StatusText ? "status"
                           : kind.state == StateFrom::State    ? "state"
                                                               : kind.otherCode->word;
        EXPECT_EQ(state, from) << kind.name;
    }
}

TEST(SensorKinds, CodesAreTheShells)
{
    for (const SensorKind &kind : SensorKinds()) {
        std::string possible = "{ ";
        for (const SensorCode &code : kind.codes) {
            possible += std::string("\"") + code.word + "\" ";
            EXPECT_EQ(Shown(kind, std::to_string(code.code).c_str(), "currentstate"), code.word);
        }
        if (kind.state == StateFrom::StateValue) {
            EXPECT_EQ(Shown(kind, "0", "possiblestates"), possible + "}");
        }
    }
}

TEST(SensorKinds, AmperesByTheName)
{
    const SensorKind *power = SensorKindOf(3, 1);
    ASSERT_NE(power, nullptr);
    EXPECT_STREQ(SensorKindName(*power, "System Power"), "power");
    EXPECT_STREQ(SensorKindName(*power, "PS1 Current"), "current");
    EXPECT_STREQ(SensorKindName(*power, "PS1 current"), "power");
    EXPECT_STREQ(SensorKindName(*SensorKindOf(1, 1), "Current Temp"), "temperature");
}

TEST(SensorKinds, UnknownPairs)
{
    EXPECT_EQ(SensorKindOf(1, 2), nullptr);
    EXPECT_EQ(SensorKindOf(0, 0), nullptr);
    EXPECT_EQ(SensorKindOf(255, 255), nullptr);
}

TEST(SensorKinds, HealthOfStates)
{
    const struct {
        const char *state;
        Health health;
    } kRows[] = {
        {"normal", Health::Ok},
        {"warning", Health::Warning},
        {"failed", Health::Critical},
        {"non-recoverable", Health::Critical},
        {"unknown", Health::Unknown},
        {"good", Health::Ok},
        {"bad", Health::Critical},
        {"low", Health::Warning},
        {"absent", Health::Unknown},
        {"none", Health::Unknown},
        {"Full Redundancy", Health::Ok},
        {"Fully Redundant", Health::Ok},
        {"Redundancy Lost", Health::Critical},
        {"Redundancy Degraded", Health::Warning},
        {"Non-redundant:Sufficient Resources from Redundant", Health::Warning},
        {"Non-redundant:Sufficient Resources from Insufficient Resources", Health::Warning},
        {"Non-redundant:Insufficient Resources", Health::Critical},
        {"Presence detected", Health::Ok},
        {"Presence detected, Power Supply Failure detected", Health::Critical},
        {"Presence detected, Predictive Failure", Health::Critical},
        {"Power Supply input lost (AC/DC)", Health::Critical},
        {"state 9", Health::Unknown},
        {"", Health::Unknown},
    };
    for (const auto &row : kRows)
        EXPECT_STREQ(HealthName(HealthOfState(row.state)), HealthName(row.health)) << row.state;
}

TEST(SensorKinds, UnitsOfSources)
{
    EXPECT_EQ(SensorUnit("Cel"), "C");
    EXPECT_EQ(SensorUnit("degrees C"), "C");
    EXPECT_EQ(SensorUnit("RPM"), "RPM");
    EXPECT_EQ(SensorUnit("Volts"), "V");
    EXPECT_EQ(SensorUnit("Watts"), "W");
    EXPECT_EQ(SensorUnit("Amps"), "A");
    EXPECT_EQ(SensorUnit("%"), "%");
}
