// SPDX-License-Identifier: Apache-2.0
// tree_faults_test.cpp -- the whole tree on a host that is off, disagrees with itself, is full, or
// whose object manager fails; and the verbs that reach methods of targets they were not made for.
#include "platform/list.h"
#include "platform/memmgr.h"
#include "smclp/dispatch.h"
#include "support/hand_tree.h"
#include "support/kind_checks.h"
#include "support/walked_kinds.h"

#include <map>
#include <set>
#include <sstream>

namespace
{

Lines LinesOf(const std::string &text)
{
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// One sensor of every kind, one power supply, two records.
class TreeFaults : public ::testing::Test
{
protected:
    TreeFaults()
    {
        om.keepLog = false;
        const std::pair<const char *, const char *> kinds[] = {
            {"1", "1"}, {"4", "1"},  {"4", "3"}, {"2", "2"}, {"2", "1"},  {"3", "1"},
            {"5", "2"}, {"41", "2"}, {"8", "2"}, {"8", "3"}, {"192", "2"}};
        for (const auto &[type, format] : kinds) {
            om.AddSensor(type, format,
                         {"Name", "sensor-" + std::string(type) + "-" + format, "Reading", "40",
                          "WarningThresholdMin", "5", "WarningThresholdMax", "70",
                          "FailThresholdMin", "1", "FailThresholdMax", "80", "StatusText", "normal",
                          "State", "good", "StateValue", "521"});
        }
        om.Set("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage", "750");
        om.AddRecord("System Boot", "System Boot", "First event");
        om.AddRecord("time", "20240229120000", "Second event");
    }
    std::string Run(const std::string &line)
    {
        result = shell.Run(line);
        EXPECT_EQ(om.openConnections, 0) << line;
        return shell.Output();
    }
    std::string Power() { return om.objects["OEM_QARN_System"].properties["PowerStatus"].text; }

    const ScopedEnv privilege{"ZORPRIV", "1ff"};
    const TraceCapture traces;
    FakeObjMgr om;
    TestShell shell{kWalkedKinds};
    u32 result = 0;
};

const char *const kSensors[] = {
    "/system1/fans1/tachsensor1",           "/system1/fans1/redundancyset1",
    "/system1/temperatures1/tempsensor1",   "/system1/voltages1/voltsensor1",
    "/system1/voltages1/numericsensor1",    "/system1/powermonitor1/numericsensor1",
    "/system1/intrusion1/sensor1",          "/system1/batteries1/sensor1",
    "/system1/powersupplies1/pwrsupply1",   "/system1/powersupplies1/redundancyset1",
    "/system1/hardwareperformance1/sensor1"};

const char *const kOthers[] = {"/",
                               "/system1",
                               "/system1/logs1",
                               "/system1/logs1/log1",
                               "/system1/logs1/log1/record1",
                               "/system1/pwrmgtsvc1",
                               "/system1/pwrmgtsvc1/pwrmgtcap1",
                               "/system1/chassis1",
                               "/system1/fans1",
                               "/system1/batteries1",
                               "/system1/intrusion1",
                               "/system1/hardwareperformance1",
                               "/system1/powersupplies1",
                               "/system1/temperatures1",
                               "/system1/voltages1",
                               "/system1/powermonitor1"};

constexpr char kTemperature[] = "\n/system1/temperatures1/tempsensor1:\n"
                                "\n  Properties:\n"
                                "    deviceid            = TEMPERATURE 1\n"
                                "    currentreading      = 40\n"
                                "    elementname         = sensor-1-1\n";
constexpr char kTemperatureNames[] =
    "show -display properties=(deviceid,currentreading,elementname) ";

std::string TempSensors(u32 count)
{
    std::string lines = "\n/system1/temperatures1:\n\n  Targets:\n";
    for (u32 i = 1; i <= count; ++i)
        lines += "    tempsensor" + std::to_string(i) + "\n";
    return lines;
}

}  // namespace

// A host that is off

TEST_F(TreeFaults, HostThatIsOffHasNoSensorsButAllCollections)
{
    for (const char *power : {"OFF", "off", "0"}) {
        om.Set("OEM_QARN_System", "PowerStatus", power);
        for (const char *address : kSensors) {
            EXPECT_EQ(Run(std::string("show ") + address), kInvalidTargetLine) << power << address;
            EXPECT_EQ(Run(std::string("cd ") + address), kInvalidTargetLine) << power << address;
        }
        for (const char *address : kOthers) {
            EXPECT_TRUE(Run(std::string("show -display verbs ") + address)
                            .starts_with("\n" + std::string(address) + ":\n\n  Verbs:\n"))
                << power << address;
        }
        EXPECT_EQ(Run("show /system1/fans1/tachsensor*"), "");
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(Run("show -level 2 -display targets /system1/voltages1"), "");

        // Only the collections that are not of sensors have targets.
        EXPECT_EQ(Run("show -level all -display targets /"), "\n/:\n"
                                                             "\n  Targets:\n"
                                                             "    system1\n"
                                                             "\n/system1:\n"
                                                             "\n  Targets:\n"
                                                             "    logs1\n"
                                                             "    pwrmgtsvc1\n"
                                                             "    chassis1\n"
                                                             "    fans1\n"
                                                             "    batteries1\n"
                                                             "    intrusion1\n"
                                                             "    hardwareperformance1\n"
                                                             "    powersupplies1\n"
                                                             "    temperatures1\n"
                                                             "    voltages1\n"
                                                             "    powermonitor1\n"
                                                             "\n/system1/logs1:\n"
                                                             "\n  Targets:\n"
                                                             "    log1\n"
                                                             "\n/system1/logs1/log1:\n"
                                                             "\n  Targets:\n"
                                                             "    record1\n"
                                                             "    record2\n"
                                                             "\n/system1/pwrmgtsvc1:\n"
                                                             "\n  Targets:\n"
                                                             "    pwrmgtcap1\n");
    }
}

TEST_F(TreeFaults, AnyOtherPowerStatusLeavesTheSensors)
{
    for (const char *power : {"ON", "", "00", "Off ", "on"}) {
        om.Set("OEM_QARN_System", "PowerStatus", power);
        for (const char *address : kSensors)
            EXPECT_EQ(Run(std::string("cd ") + address), address + std::string("\n")) << power;
    }
}

TEST_F(TreeFaults, CurrentTargetKeepsAnsweringAfterPowerOff)
{
    Run("cd /system1/temperatures1/tempsensor1");
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(Run(kTemperatureNames), kTemperature);
    EXPECT_EQ(Run(std::string(kTemperatureNames) + "."), kTemperature);
    EXPECT_EQ(Run("show ../tempsensor1"), kInvalidTargetLine);
    EXPECT_EQ(Run("help"), "Temperature sensor.\n"
                           "\nVerbs:\n"
                           "  cd\n"
                           "  exit\n"
                           "  help\n"
                           "  show\n"
                           "  version\n");
    EXPECT_EQ(Run("cd ."), "/system1/temperatures1/tempsensor1\n");
    EXPECT_EQ(Run("cd .."), "/system1/temperatures1\n");
    EXPECT_EQ(Run("cd tempsensor1"), kInvalidTargetLine);
    EXPECT_EQ(result, 2u);
    EXPECT_EQ(Run("show -display targets"), "");
}

// Counts that the host has wrong, or cannot tell

TEST_F(TreeFaults, EmptyLogHasNoRecords)
{
    om.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "0");
    EXPECT_EQ(Run("show -display targets /system1/logs1/log1"), "");
    EXPECT_EQ(Run("show /system1/logs1/log1/record1"), kInvalidTargetLine);
    EXPECT_EQ(Run("show /system1/logs1/log1/record*"), "");
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(Run("show -display properties=(currentnumberofrecords) /system1/logs1/log1"),
              "\n/system1/logs1/log1:\n\n  Properties:\n    currentnumberofrecords = 0\n");
}

TEST_F(TreeFaults, RecordsThatTheLogCountsButLacksShowTheirConstants)
{
    om.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "3");
    EXPECT_EQ(Run("show -display properties /system1/logs1/log1/record3"),
              "\n/system1/logs1/log1/record3:\n"
              "\n  Properties:\n"
              "    CreationClassName       = CIM_LogRecord\n"
              "    LogCreationClassName    = CIM_RecordLog\n"
              "    LogName                 = IPMI SEL\n"
              "    ElementName             = IPMI SEL Record\n");
    // RecordID, MessageTimeStamp and Description each failed once.
    EXPECT_EQ(traces.Lines(), Lines(3, "ERROR: record [#]: ** ASSERT FAILED"));
    EXPECT_EQ(Run("cd /system1/logs1/log1/record3"), "/system1/logs1/log1/record3\n");

    om.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "1");
    EXPECT_EQ(Run("show /system1/logs1/log1/record2"), kInvalidTargetLine);
    EXPECT_EQ(Run("show -display targets /system1/logs1/log1"),
              "\n/system1/logs1/log1:\n\n  Targets:\n    record1\n");
}

TEST_F(TreeFaults, SensorListEndsAtAnyStatus)
{
    for (const CimStatus status : {kCimNotFound, kCimFailed, kCimAccessDenied, CimStatus{99}}) {
        om.missingStatus = status;
        for (const char *address : kSensors)
            EXPECT_EQ(Run(std::string("cd ") + address), address + std::string("\n")) << status;
        EXPECT_EQ(Run("show /system1/fans1/tachsensor2"), kInvalidTargetLine);
    }
}

// Index 3 of 11 is refused: what comes before it is there, the rest is not.
TEST_F(TreeFaults, RefusalInTheMiddleOfTheListHidesTheRest)
{
    for (const CimStatus status : {kCimAccessDenied, kCimFailed, kCimNotFound}) {
        om.SetInstanceStatus("OEM_QARN_Sensor.Index=3", status);
        Run("cd /");
        EXPECT_EQ(Run(std::string(kTemperatureNames) + "/system1/temperatures1/tempsensor1"),
                  kTemperature);
        EXPECT_EQ(Run("show -display targets /system1/fans1"),
                  "\n/system1/fans1:\n\n  Targets:\n    tachsensor1\n");
        EXPECT_EQ(Run("show /system1/fans1/redundancyset1"), kInvalidTargetLine);
        EXPECT_EQ(Run("show -display targets /system1/voltages1"), "");
        EXPECT_EQ(Run("show /system1/hardwareperformance1/sensor1"), kInvalidTargetLine);
    }
}

TEST_F(TreeFaults, SensorThatDisappearsWhileItIsTheCurrentTargetShowsItsConstants)
{
    // Names of 23 characters and more: one blank, then the " = ".
    Run("cd /system1/hardwareperformance1/sensor1");
    om.SetInstanceStatus("OEM_QARN_Sensor.Index=5", kCimAccessDenied);
    EXPECT_EQ(Run("show -display properties"),
              "\n/system1/hardwareperformance1/sensor1:\n"
              "\n  Properties:\n"
              "    SystemCreationClassName  = CIM_ComputerSystem\n"
              "    SystemName              = TAG1234\n"
              "    CreationClassName       = CIM_Sensor\n"
              "    DeviceID                = HARDWARE PERFORMANCE SENSOR 1\n"
              "    SensorType              = 1\n"
              "    PossibleStates          = { \"Normal\" \"Others\" \"Thermal Protection\" "
              "\"Cooling Capacity changed\" \"Power Capacity changed\" \"User Configuration\" }\n"
              "    OtherSensorTypeDescription  = Hardware performance sensor.\n"
              "    EnabledState            = 1\n");
}

// Many

TEST_F(TreeFaults, SensorsUpTo255AreListedAndAddressed)
{
    for (u32 i = 2; i <= 255; ++i)
        om.AddSensor("1", "1", {"Name", "temperature " + std::to_string(i)});
    EXPECT_EQ(Run("show -display targets /system1/temperatures1"), TempSensors(255));
    EXPECT_EQ(Run("show -display properties=(deviceid,elementname) "
                  "/system1/temperatures1/tempsensor255"),
              "\n/system1/temperatures1/tempsensor255:\n"
              "\n  Properties:\n"
              "    deviceid            = TEMPERATURE 255\n"
              "    elementname         = temperature 255\n");
    EXPECT_EQ(Run("show /system1/temperatures1/tempsensor256"), kInvalidTargetLine);
    om.AddSensor("1", "1", {"Name", "temperature 256"});
    EXPECT_EQ(Run("cd /system1/temperatures1/tempsensor256"),
              "/system1/temperatures1/tempsensor256\n");
}

TEST_F(TreeFaults, RecordsBeyond512AreThereToo)
{
    const std::string log = "/system1/logs1/log1/";
    for (const u32 count : {512u, 600u}) {
        for (u32 i = count == 512 ? 3 : 513; i <= count; ++i)
            om.AddRecord("time", "20240229120000", "event " + std::to_string(i));
        const std::string number = std::to_string(count);
        EXPECT_EQ(Run("show -display properties=(recordid,description) " + log + "record" + number),
                  "\n" + log + "record" + number +
                      ":\n"
                      "\n  Properties:\n"
                      "    recordid            = " +
                      number + "\n    description         = event " + number + "\n");
        EXPECT_EQ(Run("cd " + log + "record0" + number), log + "record" + number + "\n");
        EXPECT_EQ(Run("cd " + log + "record00" + number), kInvalidTargetLine);
        EXPECT_EQ(Run("cd " + log + "record" + std::to_string(count + 1)), kInvalidTargetLine);

        const Lines targets = LinesOf(Run("show -display targets " + log.substr(0, 19)));
        ASSERT_EQ(targets.size(), count + 4);
        EXPECT_EQ(targets[4], "    record1");
        EXPECT_EQ(targets.back(), "    record" + number);
        const Lines all = LinesOf(Run("show -display properties=(recordid) " + log + "record*"));
        ASSERT_EQ(all.size(), count * 5);
        EXPECT_EQ(all.back(), "    recordid            = " + number);
    }
    EXPECT_EQ(Run("show -display properties=(maxnumberofrecords) " + log.substr(0, 19)),
              "\n/system1/logs1/log1:\n\n  Properties:\n    maxnumberofrecords  = 512\n");
}

TEST_F(TreeFaults, NumbersOfFiveDigitsAreNoInstances)
{
    om.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "65535");
    EXPECT_EQ(Run("cd /system1/logs1/log1/record9999"), "/system1/logs1/log1/record9999\n");
    EXPECT_EQ(Run("cd /system1/logs1/log1/record10000"), kInvalidTargetLine);
    EXPECT_EQ(Run("cd /system1/logs1/log1/record00001"), kInvalidTargetLine);
}

// Any call of the object manager may fail

namespace
{

u32 NamesInUse()
{
    MemMgrPoolUse use = {};
    for (u32 i = 0; MemMgrGetPoolUse(i, &use); ++i) {
        if (use.blockSize == 32)
            return use.used;
    }
    ADD_FAILURE() << "no pool of names";
    return 0;
}

// The lines of an output, each behind the path of its section.
Lines InSections(const std::string &output)
{
    Lines lines = LinesOf(output);
    std::string section;
    for (std::string &line : lines) {
        if (line.starts_with("/") && line.ends_with(":"))
            section = line;
        if (!line.empty())
            line.insert(0, section);
    }
    return lines;
}

class EveryCommand : public TreeFaults
{
protected:
    // Runs `lines` on the same host with the n-th call failing, for n = 1, 2, ... until none does.
    // What is printed then are lines that the same section has without a failure too, or error
    // lines.
    void FailEachCallOf(const Lines &lines)
    {
        const auto host = om.objects;
        std::set<std::string> known = KnownLines(lines);
        const u32 calls = om.calls;
        if (!renumbered.empty()) {
            om.objects = renumbered;
            known.merge(KnownLines(lines));
        }
        for (const CimStatus status : {kCimFailed, kCimAccessDenied}) {
            om.failStatus = status;
            om.failCall = 0;
            do {
                ++om.failCall;
                SCOPED_TRACE(lines.back() + ", status " + std::to_string(status) + ", call " +
                             std::to_string(om.failCall));
                om.objects = host;
                RunAll(lines, known);
                if (HasFailure())
                    return;
            } while (om.calls >= om.failCall);
            EXPECT_EQ(om.failCall, calls + 1);  // none of them failed in the last round
        }
        om.objects = host;
        om.failCall = 0;
    }
    void FailEachCallOf(const std::string &line) { FailEachCallOf(Lines{line}); }

    // A sensor whose Type or Format cannot be read counts as one of another kind, and the next of
    // its own takes its number: a host on which that is so for good; empty where it cannot happen.
    std::map<std::string, FakeObjMgr::Object> renumbered;

private:
    std::set<std::string> KnownLines(const Lines &lines)
    {
        std::set<std::string> known = {
            "ERROR: Invalid target specified.", "ERROR: Command not supported.",
            "ERROR: Insufficient user privileges to perform operation.", "Command failed."};
        const auto host = om.objects;
        om.ClearLog();
        for (const std::string &line : lines) {
            const Lines printed = InSections(Run(line));
            EXPECT_FALSE(printed.empty()) << line;
            EXPECT_FALSE(shell.Output().starts_with("ERROR")) << line << shell.Output();
            known.insert(printed.begin(), printed.end());
        }
        om.objects = host;
        Leave();
        return known;
    }
    void RunAll(const Lines &lines, const std::set<std::string> &known)
    {
        om.ClearLog();
        for (const std::string &line : lines) {
            const std::string output = Run(line);
            EXPECT_TRUE(output.empty() || output.ends_with("\n")) << output;
            for (const std::string &printed : InSections(output))
                EXPECT_TRUE(known.contains(printed)) << printed;
            EXPECT_EQ(om.openConnections, 0) << line;
            EXPECT_EQ(pCmdPara, nullptr) << line;
            EXPECT_EQ(ListLockDepth(), 0u) << line;
            EXPECT_EQ(NamesInUse(), 0u) << line;
        }
        Leave();
    }
    // Back to the root, without a call that counts.
    void Leave()
    {
        const u32 calls = om.calls;
        Run("cd /");
        EXPECT_EQ(om.calls, calls);
        EXPECT_EQ(shell.Output(), "/\n");
    }
};

}  // namespace

TEST_F(EveryCommand, ShowOfEverySensorMayFailAnywhere)
{
    for (const char *address : kSensors)
        FailEachCallOf("show " + std::string(address));
}

TEST_F(EveryCommand, ShowOfEverythingElseMayFailAnywhere)
{
    for (const char *address : kOthers)
        FailEachCallOf("show " + std::string(address));
}

TEST_F(EveryCommand, ShowOfSelectedPropertiesMayFailAnywhere)
{
    FailEachCallOf("show -display properties=(elementname,currentreading,systemname) "
                   "/system1/temperatures1/tempsensor1");
    FailEachCallOf("show -display properties=(elementname,redundancystatus==good) "
                   "/system1/powersupplies1/redundancyset1");
    FailEachCallOf("show -display properties=(recordid==2) /system1/logs1/log1/record*");
}

TEST_F(EveryCommand, ShowOfTwoLevelsMayFailAnywhere)
{
    FailEachCallOf("show -level 2 -display properties /system1/logs1/log1");
    FailEachCallOf("show -level 3 -display targets /system1/logs1");
    // A host with few sensors: two fans and their redundancy.
    for (int index = 1; index <= 11; ++index)
        om.Remove("OEM_QARN_Sensor.Index=" + std::to_string(index));
    om.AddSensor("4", "1", {"Name", "fan-1", "Reading", "3000", "StatusText", "normal"});
    om.AddSensor("4", "3", {"Name", "fanred-1", "State", "full"});
    om.AddSensor("4", "1", {"Name", "fan-2", "Reading", "0", "StatusText", "failed"});
    const auto host = om.objects;
    om.RemoveProperty("OEM_QARN_Sensor.Index=1", "Type");
    renumbered = om.objects;
    om.objects = host;
    FailEachCallOf("show -level 2 /system1/fans1");
    FailEachCallOf("show /system1/fans1/tachsensor*");
}

TEST_F(EveryCommand, CdAndHelpMayFailAnywhere)
{
    for (const char *address : {"/system1/voltages1/numericsensor1", "/system1/logs1/log1/record2",
                                "/system1/pwrmgtsvc1"}) {
        FailEachCallOf("cd " + std::string(address));
        FailEachCallOf("help " + std::string(address));
    }
    // Where a cd fails, the next line answers for another target.
    FailEachCallOf(Lines{"show -display all /system1/fans1", "cd /system1/fans1", "cd tachsensor1",
                         "show -display verbs", "cd /system1/fans1/tachsensor1", "help"});
}

TEST_F(EveryCommand, StartStopAndResetMayFailAnywhere)
{
    FailEachCallOf("stop /system1");
    FailEachCallOf("reset /system1");
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    FailEachCallOf("start /system1");
    om.Set("OEM_QARN_System", "PowerStatus", "ON");
    FailEachCallOf(Lines{"cd /system1", "reset", "show -display properties=(name)"});
}

TEST_F(EveryCommand, SetMayFailAnywhere)
{
    for (const char *state : {"6", "5", "9"})
        FailEachCallOf(
            Lines{"cd /system1/pwrmgtsvc1", std::string("set powerstate=") + state, "help"});
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    FailEachCallOf(Lines{"cd /system1/pwrmgtsvc1", "set powerstate=2", "help"});
}

TEST_F(EveryCommand, DeleteMayFailAnywhere)
{
    FailEachCallOf("delete /system1/logs1/log1/record*");
    FailEachCallOf(Lines{"cd /system1/intrusion1/sensor1", "delete ../sensor*"});
}

// A command that fails half-way leaves the host as it was.
TEST_F(TreeFaults, FailedCommandsChangeNothing)
{
    for (u32 n = 1; n <= 4; ++n) {
        for (const char *line : {"stop /system1", "reset /system1"}) {
            om.ClearLog();
            om.failCall = n;
            Run(line);
            EXPECT_EQ(Power(), "ON") << line << n;
        }
        if (n <= 3) {  // interface, Open, InvokeMethod
            om.ClearLog();
            om.failCall = n;
            Run("delete /system1/logs1/log1/record*");
            EXPECT_EQ(om.objects["OEM_QARN_MessageLog.Name=SEL"].properties["NumRecords"].text,
                      "2");
        }
    }
}

// Verbs that reach methods of other verbs

TEST_F(TreeFaults, StateVerbsOfThePowerServiceAreNotSupported)
{
    for (const char *verb : {"start", "stop", "reset"}) {
        EXPECT_EQ(Run(std::string(verb) + " /system1/pwrmgtsvc1"), kNotSupportedLine) << verb;
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(Run(std::string(verb) + " -examine /system1/pwrmgtsvc1"), kSuccessLine) << verb;
    }
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(om.opens, 0u);
}

TEST_F(TreeFaults, StateVerbsOfTargetsWithoutMethodsAreNotSupported)
{
    for (const char *address : kOthers) {
        if (strcmp(address, "/system1") == 0 || strcmp(address, "/system1/pwrmgtsvc1") == 0)
            continue;
        for (const char *verb : {"start ", "stop ", "reset ", "start -help ", "stop -version "})
            EXPECT_EQ(Run(verb + std::string(address)), kNotSupportedLine) << verb << address;
        EXPECT_EQ(Run("start -examine " + std::string(address)), kFailedLine) << address;
        Run("cd " + std::string(address));
        EXPECT_EQ(Run("set powerstate=6"), kNotSupportedLine) << address;
        EXPECT_EQ(result, 0u);
    }
    EXPECT_EQ(Power(), "ON");
}

TEST_F(TreeFaults, SetOfTheSystemTakesTheNamesOfItsOperations)
{
    Run("cd /system1");
    EXPECT_EQ(Run("set start"), "Selected state cannot be set.\n");
    EXPECT_EQ(Run("set stop"), "Command completed successfully.\n");
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(Run("set stop"), "Selected state cannot be set.\n");
    EXPECT_EQ(Run("set reset"), "Selected state cannot be set.\n");
    EXPECT_EQ(Run("set START"), "Command completed successfully.\n");  // the line is lowered
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Run("set reset"), "Command completed successfully.\n");
    for (const char *operand : {"restart", "powerstate=6", "stop=1"}) {
        EXPECT_EQ(Run(std::string("set ") + operand), "Command failed.\n") << operand;
        EXPECT_EQ(result, 2u);
    }
    EXPECT_EQ(Power(), "ON");
}

TEST_F(TreeFaults, PowerStateIsSplitAtEqualsSigns)
{
    Run("cd /system1/pwrmgtsvc1");
    for (const char *operand :
         {"powerstate=6", "powerstate==6", "=powerstate=6", "==powerstate==6=", "powerstate=6=9",
          "PowerState=6", "POWERSTATE=6"}) {
        om.Set("OEM_QARN_System", "PowerStatus", "ON");
        EXPECT_EQ(Run(std::string("set ") + operand), "Command completed successfully.\n")
            << operand;
        EXPECT_EQ(Power(), "OFF") << operand;
        EXPECT_EQ(Run("show -display properties=(powerstate)"),
                  "\n/system1/pwrmgtsvc1:\n\n  Properties:\n    powerstate          = 6\n");
    }
    om.Set("OEM_QARN_System", "PowerStatus", "ON");
    for (const char *operand :
         {"powerstate=06", "powerstate=60", "powerstate=3", "powerstate=", "powerstate", "=6", "=",
          "6", "power=6", "powerstates=6", "'powerstate= 6'", "'powerstate =6'", "'powerstate=6 '",
          "stop", "elementname=x"}) {
        EXPECT_EQ(Run(std::string("set ") + operand), "Command failed.\n") << operand;
        EXPECT_EQ(result, 2u) << operand;
    }
    EXPECT_EQ(Run("set powerstate = 6"), kInvalidSyntaxLine);
    EXPECT_EQ(Run("set powerstate=2"), "Selected state cannot be set.\n");
    EXPECT_EQ(Power(), "ON");
}

TEST_F(TreeFaults, PowerStatesInvokeTheirMethods)
{
    om.keepLog = true;
    Run("cd /system1/pwrmgtsvc1");
    const struct {
        const char *state;
        const char *onAnswer;
        Lines onCalls;
        const char *offAnswer;
        Lines offCalls;
    } rows[] = {
        {"2",
         "Selected state cannot be set.\n",
         {},
         "Command completed successfully.\n",
         {"InvokeMethod OEM_QARN_System Start"}},
        {"6",
         "Command completed successfully.\n",
         {"InvokeMethod OEM_QARN_System Stop"},
         "Selected state cannot be set.\n",
         {}},
        {"5",
         "Command completed successfully.\n",
         {"InvokeMethod OEM_QARN_System Reset"},
         "Selected state cannot be set.\n",
         {}},
        {"9",
         "Command completed successfully.\n",
         {"InvokeMethod OEM_QARN_System Reset Mode=PowerCycle"},
         "Selected state cannot be set.\n",
         {}},
    };
    for (const auto &row : rows) {
        om.Set("OEM_QARN_System", "PowerStatus", "ON");
        om.ClearLog();
        EXPECT_EQ(Run(std::string("set powerstate=") + row.state), row.onAnswer);
        EXPECT_EQ(om.Logged("InvokeMethod"), row.onCalls);
        om.Set("OEM_QARN_System", "PowerStatus", "OFF");
        om.ClearLog();
        EXPECT_EQ(Run(std::string("set powerstate=") + row.state), row.offAnswer);
        EXPECT_EQ(om.Logged("InvokeMethod"), row.offCalls);
    }
}

TEST_F(TreeFaults, DeleteOfTheIntrusionSensorsClearsTheLog)
{
    EXPECT_EQ(Run("delete /system1/intrusion1/sensor1"), kNotSupportedLine);
    EXPECT_EQ(result, 11u);
    EXPECT_EQ(Run("delete -examine /system1/intrusion1/sensor*"), kSuccessLine);
    EXPECT_EQ(Run("delete /system1/intrusion1/sensor*"), "All records deleted successfully.\n");
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(Run("show /system1/logs1/log1/record*"), "");
    EXPECT_EQ(Run("show /system1/logs1/log1/record1"), kInvalidTargetLine);
    // The sensor itself stays.
    EXPECT_EQ(Run("show -display properties=(currentstate) /system1/intrusion1/sensor1"),
              "\n/system1/intrusion1/sensor1:\n"
              "\n  Properties:\n"
              "    currentstate        = chassis intrusion\n");
    // An empty log is cleared like any other.
    EXPECT_EQ(Run("delete /system1/logs1/log1/record*"), "All records deleted successfully.\n");
}

TEST_F(TreeFaults, DeleteOfAnyOtherWildcardIsNotSupported)
{
    for (const char *target :
         {"/system*", "/system1/logs*", "/system1/logs1/log*", "/system1/fans1/tachsensor*",
          "/system1/batteries1/sensor*", "/system1/hardwareperformance1/sensor*",
          "/system1/powersupplies1/redundancyset*", "/system1/pwrmgtsvc*"}) {
        EXPECT_EQ(Run(std::string("delete ") + target), kNotSupportedLine) << target;
        EXPECT_EQ(result, 11u);
        EXPECT_EQ(Run(std::string("delete -help ") + target), kNotSupportedLine) << target;
    }
    EXPECT_EQ(Run("delete /"), kNotSupportedLine);
    EXPECT_EQ(Run("delete /system1/logs1/log1/record*/.."), kInvalidTargetLine);
    EXPECT_EQ(om.objects["OEM_QARN_MessageLog.Name=SEL"].properties["NumRecords"].text, "2");
}
