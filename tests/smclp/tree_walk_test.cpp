// SPDX-License-Identifier: Apache-2.0
// tree_walk_test.cpp -- show over the whole tree: order and number of sections, wildcards, every
// kind's lists, addresses and values.
#include "smclp/commands/cmd_show.h"

#include "platform/str.h"
#include "support/hand_tree.h"
#include "support/kind_checks.h"
#include "support/walked_kinds.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace
{

using Sections = std::vector<std::string>;

// The paths of the sections in an output, in order.
Sections SectionsOf(const std::string &output)
{
    Sections paths;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("/") && line.ends_with(":"))
            paths.push_back(line.substr(0, line.size() - 1));
    }
    return paths;
}

std::map<std::string, int> CountsOf(const Sections &sections)
{
    std::map<std::string, int> counts;
    for (const std::string &path : sections)
        ++counts[path];
    return counts;
}

Sections First(const Sections &sections, size_t count)
{
    const size_t length = std::min(count, sections.size());
    return Sections(sections.begin(), sections.begin() + static_cast<ptrdiff_t>(length));
}

Sections Last(const Sections &sections, size_t count)
{
    const size_t length = std::min(count, sections.size());
    return Sections(sections.end() - static_cast<ptrdiff_t>(length), sections.end());
}

const Sections kBelowSystem = {"/system1/logs1",
                               "/system1/pwrmgtsvc1",
                               "/system1/chassis1",
                               "/system1/fans1",
                               "/system1/batteries1",
                               "/system1/intrusion1",
                               "/system1/hardwareperformance1",
                               "/system1/powersupplies1",
                               "/system1/temperatures1",
                               "/system1/voltages1",
                               "/system1/powermonitor1"};

// The walk of each sibling goes on to the siblings that follow it.
void AppendWalkFrom(size_t first, Sections *order)
{
    order->push_back(kBelowSystem[first]);
    for (size_t next = first + 1; next < kBelowSystem.size(); ++next)
        AppendWalkFrom(next, order);
}

// The number of times each of them comes: once for itself and once for every visit to one before
// it, so 1, 1, 2, 4, ... and 1,024 together.
const std::map<std::string, int> kVisits = {
    {"/system1/logs1", 1},
    {"/system1/pwrmgtsvc1", 1},
    {"/system1/chassis1", 2},
    {"/system1/fans1", 4},
    {"/system1/batteries1", 8},
    {"/system1/intrusion1", 16},
    {"/system1/hardwareperformance1", 32},
    {"/system1/powersupplies1", 64},
    {"/system1/temperatures1", 128},
    {"/system1/voltages1", 256},
    {"/system1/powermonitor1", 512},
};

// The whole tree on a fake host, without sensors and records at first.
class TreeWalk : public ::testing::Test
{
protected:
    Sections Show(const std::string &arguments)
    {
        EXPECT_EQ(shell.Run("show " + arguments), 0u) << arguments;
        return SectionsOf(shell.Output());
    }
    std::string Run(const std::string &line)
    {
        shell.Run(line);
        return shell.Output();
    }

    const ScopedEnv privilege{"ZORPRIV", "1ff"};
    const TraceCapture traces;
    FakeObjMgr om;
    TestShell shell{kWalkedKinds};
};

// 1 temperature, 2 fans, 1 record.
class SmallHost : public TreeWalk
{
protected:
    SmallHost()
    {
        om.keepLog = false;
        om.AddSensor("4", "1", {"Name", "fan-1"});
        om.AddSensor("4", "1", {"Name", "fan-2"});
        om.AddSensor("1", "1", {"Name", "temp-1"});
        om.AddRecord("time", "20240229120000", "event");
    }
};

// Two instances of every counted kind, one kind after the other and then all again, so that no
// kind's sensors stand together. Names are like "fan-1".
class FullHost : public TreeWalk
{
protected:
    FullHost()
    {
        om.keepLog = false;
        const struct {
            const char *type;
            const char *format;
            const char *name;
            const char *stateValue;
        } kinds[] = {
            {"4", "1", "fan", "0"},    {"4", "3", "fanred", "0"},     {"1", "1", "temp", "0"},
            {"2", "2", "volt", "0"},   {"2", "1", "voltnum", "0"},    {"3", "1", "power", "0"},
            {"41", "2", "bat", "0"},   {"5", "2", "intr", "520"},     {"8", "2", "supply", "0"},
            {"8", "3", "pwrred", "0"}, {"192", "2", "perf", "19221"},
        };
        for (const char *number : {"1", "2"}) {
            for (const auto &kind : kinds) {
                om.AddSensor(kind.type, kind.format,
                             {"Name", std::string(kind.name) + "-" + number, "Reading", "40",
                              "WarningThresholdMin", "5", "WarningThresholdMax", "70",
                              "FailThresholdMin", "1", "FailThresholdMax", "80", "StatusText",
                              "normal", "State", "good", "StateValue", kind.stateValue});
            }
            om.Set(std::string("OEM_QARN_PowerSupply.PowerSupplyIndex=") + number,
                   "PowerSupplyWattage", "750");
        }
        om.AddRecord("System Boot", "System Boot", "First event");
        om.AddRecord("time", "20240229120000", "Second event");
    }
};

}  // namespace

// Order and number of sections

TEST_F(SmallHost, LevelTwoOfTheSystemHas1025SectionsInTheOrderOfTheRepeatedWalk)
{
    Sections expected = {"/system1"};
    AppendWalkFrom(0, &expected);
    ASSERT_EQ(expected.size(), 1025u);
    EXPECT_EQ(Show("-level 2 /system1"), expected);
    EXPECT_EQ(Show("-level 2 -display verbs /system1"), expected);
    EXPECT_EQ(imax, -511);  // 2, less one for the system's section, less 512 for the last sibling

    // After the eleven in a row: the walk of temperatures goes on to its second following sibling,
    // that of powersupplies to its second and third, and so on.
    const Sections first = {"/system1",
                            "/system1/logs1",
                            "/system1/pwrmgtsvc1",
                            "/system1/chassis1",
                            "/system1/fans1",
                            "/system1/batteries1",
                            "/system1/intrusion1",
                            "/system1/hardwareperformance1",
                            "/system1/powersupplies1",
                            "/system1/temperatures1",
                            "/system1/voltages1",
                            "/system1/powermonitor1",
                            "/system1/powermonitor1",
                            "/system1/voltages1",
                            "/system1/powermonitor1",
                            "/system1/powermonitor1",
                            "/system1/temperatures1",
                            "/system1/voltages1",
                            "/system1/powermonitor1",
                            "/system1/powermonitor1"};
    EXPECT_EQ(First(SectionsOf(shell.Output()), 20), first);
}

TEST_F(SmallHost, LevelTwoWithTargetsOnlyHasSectionsOfThoseThatHaveAny)
{
    Sections walk = {"/system1"};
    AppendWalkFrom(0, &walk);
    std::erase_if(walk, [](const std::string &path) {
        return path != "/system1" && path != "/system1/logs1" && path != "/system1/pwrmgtsvc1" &&
               path != "/system1/fans1" && path != "/system1/temperatures1";
    });
    const Sections sections = Show("-level 2 -display targets /system1");
    EXPECT_EQ(sections, walk);
    EXPECT_EQ(sections.size(), 135u);  // 1 + 1 + 1 + 4 + 128
    EXPECT_EQ(First(sections, 6),
              (Sections{"/system1", "/system1/logs1", "/system1/pwrmgtsvc1", "/system1/fans1",
                        "/system1/temperatures1", "/system1/temperatures1"}));
    EXPECT_TRUE(shell.Output().starts_with("\n/system1:\n"
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
                                           "\n/system1/pwrmgtsvc1:\n"
                                           "\n  Targets:\n"
                                           "    pwrmgtcap1\n"
                                           "\n/system1/fans1:\n"
                                           "\n  Targets:\n"
                                           "    tachsensor1\n"
                                           "    tachsensor2\n"
                                           "\n/system1/temperatures1:\n"
                                           "\n  Targets:\n"
                                           "    tempsensor1\n"));
}

// The budget: 14, and less one below the root, at system, log, record, pwrmgtcap, the last kind
// below each of the seven collections from fans to voltages (2 is left then, which suffices for
// the sensors of powermonitor), at powermonitor and at its sensors: 0. So the first way down
// reaches everything; whatever comes again comes without what is below it; the other 511 visits
// of powermonitor end at -511.
TEST_F(SmallHost, AllLevelsShowWhatIsBelowACollectionOnlyTheFirstTime)
{
    std::map<std::string, int> expected = kVisits;
    for (const char *once : {"/", "/system1", "/system1/logs1/log1", "/system1/logs1/log1/record1",
                             "/system1/pwrmgtsvc1/pwrmgtcap1", "/system1/fans1/tachsensor1",
                             "/system1/fans1/tachsensor2", "/system1/temperatures1/tempsensor1"})
        expected[once] = 1;
    for (const char *arguments : {"-level all -display verbs /", "-level all /",
                                  "-level all -display all /", "-level 14 -display verbs /"}) {
        const Sections sections = Show(arguments);
        EXPECT_EQ(sections.size(), 1032u) << arguments;  // 1,024 + 8
        EXPECT_EQ(CountsOf(sections), expected) << arguments;
        EXPECT_EQ(imax, -511) << arguments;
        EXPECT_EQ(First(sections, 21), (Sections{"/",
                                                 "/system1",
                                                 "/system1/logs1",
                                                 "/system1/logs1/log1",
                                                 "/system1/logs1/log1/record1",
                                                 "/system1/pwrmgtsvc1",
                                                 "/system1/pwrmgtsvc1/pwrmgtcap1",
                                                 "/system1/chassis1",
                                                 "/system1/fans1",
                                                 "/system1/fans1/tachsensor1",
                                                 "/system1/fans1/tachsensor2",
                                                 "/system1/batteries1",
                                                 "/system1/intrusion1",
                                                 "/system1/hardwareperformance1",
                                                 "/system1/powersupplies1",
                                                 "/system1/temperatures1",
                                                 "/system1/temperatures1/tempsensor1",
                                                 "/system1/voltages1",
                                                 "/system1/powermonitor1",
                                                 "/system1/powermonitor1",
                                                 "/system1/voltages1"}));
        EXPECT_EQ(Last(sections, 5), (Sections{"/system1/powermonitor1", "/system1/powermonitor1",
                                               "/system1/voltages1", "/system1/powermonitor1",
                                               "/system1/powermonitor1"}));
    }
}

TEST_F(SmallHost, AllLevelsOfAHostThatIsOffLackOnlyTheSensors)
{
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    std::map<std::string, int> expected = kVisits;
    for (const char *once : {"/", "/system1", "/system1/logs1/log1", "/system1/logs1/log1/record1",
                             "/system1/pwrmgtsvc1/pwrmgtcap1"})
        expected[once] = 1;
    for (const char *arguments : {"-level all -display verbs /", "-level all /"}) {
        const Sections sections = Show(arguments);
        EXPECT_EQ(sections.size(), 1029u) << arguments;
        EXPECT_EQ(CountsOf(sections), expected) << arguments;
        EXPECT_EQ(imax, -511) << arguments;  // kinds without instances take from it as well
        EXPECT_EQ(First(sections, 10),
                  (Sections{"/", "/system1", "/system1/logs1", "/system1/logs1/log1",
                            "/system1/logs1/log1/record1", "/system1/pwrmgtsvc1",
                            "/system1/pwrmgtsvc1/pwrmgtcap1", "/system1/chassis1", "/system1/fans1",
                            "/system1/batteries1"}));
        EXPECT_EQ(Last(sections, 3), (Sections{"/system1/voltages1", "/system1/powermonitor1",
                                               "/system1/powermonitor1"}));
    }
}

TEST_F(SmallHost, AllLevelsBelowTheSystem)
{
    // One level less is used up than from the root.
    EXPECT_EQ(Show("-level all -display verbs /system1").size(), 1031u);
    EXPECT_EQ(imax, -510);
    EXPECT_EQ(
        Show("-level all -display verbs /system1/fans1"),
        (Sections{"/system1/fans1", "/system1/fans1/tachsensor1", "/system1/fans1/tachsensor2"}));
    EXPECT_EQ(imax, 12);
    EXPECT_EQ(Show("-level all -display verbs /system1/logs1"),
              (Sections{"/system1/logs1", "/system1/logs1/log1", "/system1/logs1/log1/record1"}));
    EXPECT_EQ(imax, 11);
}

// From the system, a level reaches one subtree more for every step: what is left of the budget at
// each subtree is one less than at the one before.
//   3 the log; 4 its 2 records; 5 pwrmgtcap; 6 fans with 2 and 2 below; 7 batteries; 8 intrusion;
//   9 hardwareperformance; 10 powersupplies (2 and 2); 11 temperatures; 12 voltages (2 and 2);
//   13 powermonitor.
// From the root, one level and one section more. From logs*, one level less; at 14, powermonitor
// begins its second visit with 2 left and shows its sensors a second time.
TEST_F(FullHost, EachLevelReachesOneSubtreeMore)
{
    const struct {
        const char *level;
        size_t root;
        size_t system;
        size_t logs;
    } rows[] = {
        {"1", 1, 1, 1024},        {"2", 2, 1025, 1025},     {"3", 1026, 1026, 1027},
        {"4", 1027, 1028, 1028},  {"5", 1029, 1029, 1032},  {"6", 1030, 1033, 1034},
        {"7", 1034, 1035, 1036},  {"8", 1036, 1037, 1038},  {"9", 1038, 1039, 1042},
        {"10", 1040, 1043, 1044}, {"11", 1044, 1045, 1048}, {"12", 1046, 1049, 1050},
        {"13", 1050, 1051, 1050}, {"14", 1052, 1051, 1052}, {"all", 1052, 1051, 1052},
    };
    for (const auto &row : rows) {
        const std::string depth = std::string("-display verbs -level ") + row.level;
        EXPECT_EQ(Show(depth + " /").size(), row.root) << row.level;
        EXPECT_EQ(Show(depth + " /system1").size(), row.system) << row.level;
        EXPECT_EQ(Show(depth + " /system1/logs*").size(), row.logs) << row.level;
    }
    shell.Run("show -level 15 /");
    EXPECT_EQ(shell.Output(), kInvalidArgumentLine);
}

TEST_F(FullHost, LevelSixReachesTheFansAndStopsThere)
{
    const Sections sections = Show("-level 6 -display verbs /system1");
    EXPECT_EQ(
        First(sections, 15),
        (Sections{"/system1", "/system1/logs1", "/system1/logs1/log1",
                  "/system1/logs1/log1/record1", "/system1/logs1/log1/record2",
                  "/system1/pwrmgtsvc1", "/system1/pwrmgtsvc1/pwrmgtcap1", "/system1/chassis1",
                  "/system1/fans1", "/system1/fans1/tachsensor1", "/system1/fans1/tachsensor2",
                  "/system1/fans1/redundancyset1", "/system1/fans1/redundancyset2",
                  "/system1/batteries1", "/system1/intrusion1"}));
}

// Wildcards

TEST_F(FullHost, WildcardShowsEveryInstanceAndThenTheFollowingKinds)
{
    const struct {
        const char *address;
        Sections sections;
    } rows[] = {
        {"/system1/temperatures1/tempsensor*",
         {"/system1/temperatures1/tempsensor1", "/system1/temperatures1/tempsensor2"}},
        {"/system1/fans1/tachsensor*",
         {"/system1/fans1/tachsensor1", "/system1/fans1/tachsensor2",
          "/system1/fans1/redundancyset1", "/system1/fans1/redundancyset2"}},
        {"/system1/fans1/redundancyset*",
         {"/system1/fans1/redundancyset1", "/system1/fans1/redundancyset2"}},
        {"/system1/voltages1/voltsensor*",
         {"/system1/voltages1/voltsensor1", "/system1/voltages1/voltsensor2",
          "/system1/voltages1/numericsensor1", "/system1/voltages1/numericsensor2"}},
        {"/system1/voltages1/numericsensor*",
         {"/system1/voltages1/numericsensor1", "/system1/voltages1/numericsensor2"}},
        {"/system1/powersupplies1/pwrsupply*",
         {"/system1/powersupplies1/pwrsupply1", "/system1/powersupplies1/pwrsupply2",
          "/system1/powersupplies1/redundancyset1", "/system1/powersupplies1/redundancyset2"}},
        {"/system1/logs1/log1/record*",
         {"/system1/logs1/log1/record1", "/system1/logs1/log1/record2"}},
        {"/system1/intrusion1/sensor*",
         {"/system1/intrusion1/sensor1", "/system1/intrusion1/sensor2"}},
        {"/system1/pwrmgtsvc1/pwrmgtcap*", {"/system1/pwrmgtsvc1/pwrmgtcap1"}},
    };
    for (const auto &row : rows) {
        for (const char *depth : {"", "-level 1 ", "-level 2 ", "-level all "}) {
            EXPECT_EQ(Show(std::string("-display verbs ") + depth + row.address), row.sections)
                << depth << row.address;
        }
        EXPECT_EQ(Show(row.address), row.sections);
    }
}

TEST_F(FullHost, WildcardOfAKindWithChildrenGoesDownByItsLevel)
{
    const Sections log = {"/system1/logs1/log1"};
    const Sections logAndRecords = {"/system1/logs1/log1", "/system1/logs1/log1/record1",
                                    "/system1/logs1/log1/record2"};
    EXPECT_EQ(Show("/system1/logs1/log*"), log);
    EXPECT_EQ(Show("-level 2 /system1/logs1/log*"), logAndRecords);
    EXPECT_EQ(Show("-level all /system1/logs1/log*"), logAndRecords);

    EXPECT_EQ(Show("/system1/powermonitor*"), (Sections{"/system1/powermonitor1"}));
    EXPECT_EQ(Show("-level 2 /system1/powermonitor*"),
              (Sections{"/system1/powermonitor1", "/system1/powermonitor1/numericsensor1",
                        "/system1/powermonitor1/numericsensor2"}));

    EXPECT_EQ(Show("/system*"), (Sections{"/system1"}));
    EXPECT_EQ(Show("-level 2 -display verbs /system*").size(), 1025u);
}

TEST_F(FullHost, WildcardOfTheLogsWalks1024Sections)
{
    Sections expected;
    AppendWalkFrom(0, &expected);
    EXPECT_EQ(Show("/system1/logs*"), expected);
    expected.insert(expected.begin() + 1, "/system1/logs1/log1");
    EXPECT_EQ(Show("-level 2 /system1/logs*"), expected);

    // The second visit of powermonitor comes right after the first and shows its sensors too.
    const Sections sections = Show("-level all -display verbs /system1/logs*");
    EXPECT_EQ(CountsOf(sections)["/system1/powermonitor1/numericsensor1"], 2);
    EXPECT_EQ(CountsOf(sections)["/system1/powermonitor1/numericsensor2"], 2);
    EXPECT_EQ(CountsOf(sections)["/system1/voltages1/voltsensor1"], 1);
    EXPECT_EQ(imax, -510);  // 14 less 12 on the first way down, 2 on the second, 510 after that
}

TEST_F(TreeWalk, WildcardOfRecordsShowsAsManyAsThereAre)
{
    EXPECT_EQ(shell.Run("show /system1/logs1/log1/record*"), 0u);
    EXPECT_EQ(shell.Output(), "");
    EXPECT_EQ(Run("show -level all /system1/logs1/log1/record*"), "");
    om.AddRecord("t", "20240101000000", "a");
    EXPECT_EQ(Show("/system1/logs1/log1/record*"), (Sections{"/system1/logs1/log1/record1"}));
    om.AddRecord("t", "20240101000000", "b");
    om.AddRecord("t", "20240101000000", "c");
    EXPECT_EQ(Run("show -display properties=(recordid,description) /system1/logs1/log1/record*"),
              "\n/system1/logs1/log1/record1:\n"
              "\n  Properties:\n"
              "    recordid            = 1\n"
              "    description         = a\n"
              "\n/system1/logs1/log1/record2:\n"
              "\n  Properties:\n"
              "    recordid            = 2\n"
              "    description         = b\n"
              "\n/system1/logs1/log1/record3:\n"
              "\n  Properties:\n"
              "    recordid            = 3\n"
              "    description         = c\n");
}

TEST_F(FullHost, RecordsOfAWildcardHaveTheirOwnTimes)
{
    EXPECT_EQ(Run("show -display properties=(messagetimestamp) /system1/logs1/log1/record*"),
              "\n/system1/logs1/log1/record1:\n"
              "\n  Properties:\n"
              "    messagetimestamp    = System Boot\n"
              "\n/system1/logs1/log1/record2:\n"
              "\n  Properties:\n"
              "    messagetimestamp    = 20240229120000-000\n");
}

TEST_F(FullHost, WalksLeaveTheInstanceNumbersAsTheyWere)
{
    Run("cd /system1/temperatures1/tempsensor2");
    Show("-level all -display verbs /");
    Show("/system1/temperatures1/tempsensor*");
    Show("-level 2 /system1/temperatures1");
    EXPECT_EQ(ElementOf(MeTempSensor)->instanceNumber, 2u);
    EXPECT_EQ(ElementOf(MeTemperatures)->instanceNumber, 1u);
    EXPECT_EQ(ElementOf(MeSystem)->instanceNumber, 1u);
    EXPECT_EQ(ElementOf(MeRecord)->instanceNumber, 0u);  // never addressed
    EXPECT_EQ(ElementOf(MeBatteries)->instanceNumber, 0u);
    EXPECT_EQ(Show("-display verbs ../tempsensor2"),
              (Sections{"/system1/temperatures1/tempsensor2"}));
}

// One element stands for all instances, and the flag of the wildcard with it.
TEST_F(FullHost, CurrentTargetNamedByAWildcardMeansAllUntilItIsNumberedAgain)
{
    Run("cd /system1/temperatures1/tempsensor2");
    EXPECT_EQ(Show("-display verbs"), (Sections{"/system1/temperatures1/tempsensor2"}));
    Show("../tempsensor*");
    const Sections both = {"/system1/temperatures1/tempsensor1",
                           "/system1/temperatures1/tempsensor2"};
    EXPECT_EQ(Show("-display verbs"), both);
    EXPECT_EQ(Run("cd ."), kInvalidTargetLine);
    Show("../tempsensor1");
    EXPECT_EQ(Show("-display verbs"), (Sections{"/system1/temperatures1/tempsensor1"}));
}

// Every kind

namespace
{

constexpr char kCommonVerbs[] = "    cd\n    exit\n    help\n    show\n    version\n";
constexpr char kDeleteToo[] = "    cd\n    exit\n    help\n    show\n    version\n    delete\n";
constexpr char kSensorEnds[] = "    systemcreationclassname = CIM_ComputerSystem\n"
                               "    enabledstate        = 1\n";
constexpr char kSensorNames[] = "systemcreationclassname,enabledstate";

struct KindRow {
    MeConstructor constructor;
    const char *address;
    const char *targets;  // the lines of its lists
    const char *verbs;
    size_t properties;     // with a value
    const char *names;     // its first and its last property
    const char *selected;  // how these are shown
    const char *filter;    // true of this instance, then two that are not
    const char *wrongValue;
    const char *wrongName;
};

const KindRow kRows[] = {
    {MeRoot, "/", "    system1\n", kCommonVerbs, 0, "name,elementname", "", "name==x", "name==y",
     "x==x"},
    {MeSystem, "/system1",
     "    logs1\n    pwrmgtsvc1\n    chassis1\n    fans1\n    batteries1\n    intrusion1\n"
     "    hardwareperformance1\n    powersupplies1\n    temperatures1\n    voltages1\n"
     "    powermonitor1\n",
     "    cd\n    exit\n    help\n    reset\n    show\n    start\n    stop\n    version\n", 12,
     "creationclassname,elementname",
     "    creationclassname   = CIM_ComputerSystem\n"
     "    elementname         = host-a\n",
     "elementname==host-a", "elementname==host-b", "hostname==host-a"},
    {MeLogs, "/system1/logs1", "    log1\n", kCommonVerbs, 0, "name,elementname", "", "name==x",
     "name==y", "x==x"},
    {MeSel, "/system1/logs1/log1", "    record1\n    record2\n", kCommonVerbs, 10,
     "instanceid,currentnumberofrecords",
     "    instanceid          = IPMI:BMC1 SEL Log\n"
     "    currentnumberofrecords = 2\n",
     "name==ipmi sel", "name==ipmi", "recordid==1"},
    {MeRecord, "/system1/logs1/log1/record2", "", kDeleteToo, 7, "recordid,description",
     "    recordid            = 2\n"
     "    description         = Second event\n",
     "elementname==ipmi sel record", "recordid==1", "name==ipmi sel"},
    {MePwrMgtSvc, "/system1/pwrmgtsvc1", "    pwrmgtcap1\n",
     "    cd\n    exit\n    help\n    show\n    version\n    set\n", 4,
     "creationclassname,powerstate",
     "    creationclassname   = CIM_PowerManagementService\n"
     "    powerstate          = 2\n",
     "name==ipmi power service", "powerstate==6", "enabledstate==2"},
    {MePwrMgtCap, "/system1/pwrmgtsvc1/pwrmgtcap1", "", kCommonVerbs, 4,
     "instanceid,powerstatessupported",
     "    instanceid          = 1\n"
     "    powerstatessupported = { \"2\" \"6\" \"5\" \"9\" }\n",
     "elementname==qarn server power management capabilities", "instanceid==2", "name==1"},
    {MeChassis, "/system1/chassis1", "", kCommonVerbs, 7, "tag,elementname",
     "    tag                 = TAG1234\n"
     "    elementname         = Chassis\n",
     "elementname==chassis", "elementname==chassi", "name==chassis"},
    {MeSensors, "/system1/fans1",
     "    tachsensor1\n    tachsensor2\n    redundancyset1\n    redundancyset2\n", kCommonVerbs, 0,
     "name,elementname", "", "name==x", "name==y", "x==x"},
    {MeBatteries, "/system1/batteries1", "    sensor1\n    sensor2\n", kCommonVerbs, 0,
     "name,elementname", "", "name==x", "name==y", "x==x"},
    {MeIntrusion, "/system1/intrusion1", "    sensor1\n    sensor2\n", kCommonVerbs, 0,
     "name,elementname", "", "name==x", "name==y", "x==x"},
    {MeHardwarePerf, "/system1/hardwareperformance1", "    sensor1\n    sensor2\n", kCommonVerbs, 0,
     "name,elementname", "", "name==x", "name==y", "x==x"},
    {MePowerSupplies, "/system1/powersupplies1",
     "    pwrsupply1\n    pwrsupply2\n    redundancyset1\n    redundancyset2\n", kCommonVerbs, 0,
     "name,elementname", "", "name==x", "name==y", "x==x"},
    {MeTemperatures, "/system1/temperatures1", "    tempsensor1\n    tempsensor2\n", kCommonVerbs,
     0, "name,elementname", "", "name==x", "name==y", "x==x"},
    {MeVoltages, "/system1/voltages1",
     "    voltsensor1\n    voltsensor2\n    numericsensor1\n    numericsensor2\n", kCommonVerbs, 0,
     "name,elementname", "", "name==x", "name==y", "x==x"},
    {PowerMonitor, "/system1/powermonitor1", "    numericsensor1\n    numericsensor2\n",
     kCommonVerbs, 0, "name,elementname", "", "name==x", "name==y", "x==x"},
    {MeTachSensor, "/system1/fans1/tachsensor2", "", kCommonVerbs, 14, kSensorNames, kSensorEnds,
     "elementname==fan-2", "elementname==fan-1", "name==fan-2"},
    {MeTempSensor, "/system1/temperatures1/tempsensor2", "", kCommonVerbs, 17, kSensorNames,
     kSensorEnds, "elementname==temp-2", "elementname==temp-1", "name==temp-2"},
    {MeVoltSensor, "/system1/voltages1/voltsensor2", "", kCommonVerbs, 9, kSensorNames, kSensorEnds,
     "elementname==volt-2", "elementname==volt-1", "name==volt-2"},
    {MeVoltNumSensor, "/system1/voltages1/numericsensor2", "", kCommonVerbs, 13, kSensorNames,
     kSensorEnds, "elementname==voltnum-2", "elementname==volt-2", "name==voltnum-2"},
    {MeBatSensor, "/system1/batteries1/sensor2", "", kCommonVerbs, 10, kSensorNames, kSensorEnds,
     "elementname==bat-2", "elementname==bat-1", "name==bat-2"},
    {MeIntrSensor, "/system1/intrusion1/sensor2", "", kDeleteToo, 10, kSensorNames, kSensorEnds,
     "elementname==intr-2", "elementname==intr-1", "name==intr-2"},
    {MePwrSupSensor, "/system1/powersupplies1/pwrsupply2", "", kCommonVerbs, 9,
     "systemcreationclassname,elementname",
     "    systemcreationclassname = CIM_ComputerSystem\n"
     "    elementname         = supply-2\n",
     "elementname==supply-2", "elementname==supply-1", "name==supply-2"},
    {MeFanRedSensor, "/system1/fans1/redundancyset2", "", kCommonVerbs, 5, "instanceid,elementname",
     "    instanceid          = 2\n"
     "    elementname         = fanred-2\n",
     "elementname==fanred-2", "elementname==pwrred-2", "name==fanred-2"},
    {MePwrRedSensor, "/system1/powersupplies1/redundancyset2", "", kCommonVerbs, 5,
     "instanceid,elementname",
     "    instanceid          = 2\n"
     "    elementname         = pwrred-2\n",
     "elementname==pwrred-2", "elementname==fanred-2", "name==pwrred-2"},
    {MePowerConsumption, "/system1/powermonitor1/numericsensor2", "", kCommonVerbs, 16,
     kSensorNames, kSensorEnds, "elementname==power-2", "elementname==power-1", "name==power-2"},
    {MePerfSensor, "/system1/hardwareperformance1/sensor2", "", kCommonVerbs, 10, kSensorNames,
     kSensorEnds, "elementname==perf-2", "elementname==perf-1", "name==perf-2"},
};

std::string Header(const char *path)
{
    return "\n" + std::string(path) + ":\n";
}

size_t CountLines(const std::string &text)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// "show -display ..." of one property list; quoted, as values may hold blanks.
std::string ShowProperties(const std::string &list, const char *address)
{
    return "show -display 'properties=(" + list + ")' " + address;
}

}  // namespace

TEST_F(FullHost, EveryKindHasAnAddress)
{
    size_t rows = 0;
    for (const KindRow &row : kRows) {
        EXPECT_EQ(kWalkedKinds[rows++], row.constructor) << row.address;
        EXPECT_EQ(shell.At(row.address), ElementOf(row.constructor)) << row.address;
    }
    EXPECT_EQ(kWalkedKinds[rows], nullptr);
}

TEST_F(FullHost, EveryKindShowsItsFirstAndItsLastPropertyAsTyped)
{
    for (const KindRow &row : kRows) {
        const std::string selected = row.selected;
        EXPECT_EQ(Run(ShowProperties(row.names, row.address)),
                  selected.empty() ? "" : Header(row.address) + "\n  Properties:\n" + selected)
            << row.address;
        // The names are the ends of the kind's list.
        const std::string all = PropertiesOf(ElementOf(row.constructor));
        const std::string names = row.names;
        if (!all.empty()) {
            EXPECT_TRUE(StrEqualNoCase(all.substr(0, all.find(' ')).c_str(),
                                       names.substr(0, names.find(',')).c_str()));
            EXPECT_TRUE(StrEqualNoCase(all.substr(all.rfind(' ') + 1).c_str(),
                                       names.substr(names.find(',') + 1).c_str()));
        }
    }
}

TEST_F(FullHost, EveryKindPassesAFilterOrShowsNothing)
{
    for (const KindRow &row : kRows) {
        SCOPED_TRACE(row.address);
        const std::string filtered = Run(ShowProperties(row.filter, row.address));
        EXPECT_EQ(filtered, Run(std::string("show -display properties ") + row.address));
        EXPECT_EQ(filtered.empty(), row.properties == 0);
        EXPECT_EQ(Run(ShowProperties(row.wrongValue, row.address)), "");
        EXPECT_EQ(Run(ShowProperties(row.wrongName, row.address)), "");

        const std::string selected = row.selected;
        const std::string names = std::string(row.names) + ",";
        EXPECT_EQ(Run(ShowProperties(names + row.filter, row.address)),
                  selected.empty() ? "" : Header(row.address) + "\n  Properties:\n" + selected);
        EXPECT_EQ(Run(ShowProperties(names + row.wrongValue, row.address)), "");
    }
}

TEST_F(FullHost, FilterPicksInstancesOfAWildcard)
{
    EXPECT_EQ(Run("show -display properties=(deviceid,elementname==fan-2) "
                  "/system1/fans1/tachsensor*"),
              "\n/system1/fans1/tachsensor2:\n"
              "\n  Properties:\n"
              "    deviceid            = FAN 2\n");
    EXPECT_EQ(Run("show -display properties=(elementname,redundancystatus==good) "
                  "/system1/fans1/tachsensor*"),
              "\n/system1/fans1/redundancyset1:\n"
              "\n  Properties:\n"
              "    elementname         = fanred-1\n"
              "\n/system1/fans1/redundancyset2:\n"
              "\n  Properties:\n"
              "    elementname         = fanred-2\n");
}

TEST_F(FullHost, EveryKindListsTargetsPropertiesAndVerbs)
{
    for (const KindRow &row : kRows) {
        SCOPED_TRACE(row.address);
        const std::string header = Header(row.address);
        const std::string targets =
            *row.targets == '\0' ? "" : "\n  Targets:\n" + std::string(row.targets);
        const std::string verbs = "\n  Verbs:\n" + std::string(row.verbs);
        const auto list = [&](const char *what) {
            return Run(std::string("show -display ") + what + " " + row.address);
        };
        EXPECT_EQ(list("targets"), targets.empty() ? "" : header + targets);
        EXPECT_EQ(list("verbs"), header + verbs);

        const std::string listed = list("properties");
        std::string properties;
        if (row.properties != 0) {
            ASSERT_TRUE(listed.starts_with(header + "\n  Properties:\n    ")) << listed;
            properties = listed.substr(header.size());
        }
        EXPECT_EQ(CountLines(properties), row.properties == 0 ? 0 : row.properties + 2);
        EXPECT_EQ(list("all"), header + targets + properties + verbs);
        EXPECT_EQ(Run(std::string("show ") + row.address), header + targets + properties + verbs);
    }
}

// Addresses

TEST_F(FullHost, EveryKindIsEnteredAndLeftByRelativeAddresses)
{
    for (const KindRow &row : kRows) {
        SCOPED_TRACE(row.address);
        const std::string address = row.address;
        EXPECT_EQ(Run("cd " + address), address + "\n");
        EXPECT_EQ(Show("-display verbs"), Sections{address});
        EXPECT_EQ(Show("-display verbs ."), Sections{address});
        EXPECT_EQ(Show("-display verbs /"), Sections{"/"});
        if (address == "/") {
            EXPECT_EQ(Run("show .."), kInvalidTargetLine);
            continue;
        }
        const size_t slash = address.rfind('/');
        const std::string parent = slash == 0 ? "/" : address.substr(0, slash);
        const std::string segment = address.substr(slash + 1);
        EXPECT_EQ(Show("-display verbs .."), Sections{parent});
        EXPECT_EQ(Show("-display verbs ../" + segment), Sections{address});
        if (parent == "/")
            EXPECT_EQ(Run("show ../.."), kInvalidTargetLine);
        else
            EXPECT_EQ(Show("-display verbs ../.."),
                      Sections{parent == "/system1" ? "/" : parent.substr(0, parent.rfind('/'))});

        EXPECT_EQ(Run("cd .."), parent + "\n");
        EXPECT_EQ(Show("-display verbs " + segment), Sections{address});
        EXPECT_EQ(Show("-display verbs ./" + segment), Sections{address});
        EXPECT_EQ(Run("cd " + segment), address + "\n");
        EXPECT_EQ(Run("show " + segment), kInvalidTargetLine);  // it is not below itself
    }
}

TEST_F(FullHost, EveryInstanceIsEnteredUpToTheCount)
{
    for (const KindRow &row : kRows) {
        const std::string address = row.address;
        if (!address.ends_with("2"))
            continue;
        const std::string kind = address.substr(0, address.size() - 1);
        Run("cd /");
        for (const char *number : {"1", "2"})
            EXPECT_EQ(Run("cd " + kind + number), kind + number + "\n");
        for (const char *number : {"0", "3", "", "a", "-1", "00001", "*"})
            EXPECT_EQ(Run("cd " + kind + number), kInvalidTargetLine) << kind << number;
        EXPECT_EQ(Run("cd " + kind + "0001"), kind + "1\n");
        EXPECT_EQ(Run("cd " + kind + "1/x1"), kInvalidTargetLine);
        EXPECT_EQ(Run("cd " + kind + "*/.."), kInvalidTargetLine);
    }
}

// Values

namespace
{

// A value that comes from the object manager, and where it is seen.
struct Source {
    const char *path;
    const char *property;
    const char *address;
    const char *shown;  // the property as typed, padded
};

const Source kSources[] = {
    {"OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "Description", "/system1/logs1/log1/record1",
     "description         "},
    {"OEM_QARN_Sensor.Index=3", "Name", "/system1/temperatures1/tempsensor1",
     "elementname         "},
    {"OEM_QARN_Sensor.Index=2", "Name", "/system1/fans1/redundancyset1", "elementname         "},
    {"OEM_QARN_Sensor.Index=3", "Reading", "/system1/temperatures1/tempsensor1",
     "currentreading      "},
    {"OEM_QARN_System", "Description", "/system1", "description         "},
    {"OEM_QARN_System", "HostName", "/system1", "elementname         "},
};

}  // namespace

TEST_F(FullHost, ValuesAreShownWholeUpTo255Characters)
{
    const std::string v255(255, 'v');
    const struct {
        std::string text;
        std::string shown;
    } rows[] = {
        {"x", "x"},         {v255.substr(1), v255.substr(1)},     {v255, v255},
        {v255 + "v", v255}, {v255 + std::string(800, 'w'), v255}, {"100%", "100%"},
        {"%%", "%"},  // texts pass through formatting twice
        {"%s %d", "%s %d"}, {"%n%n 5% %", "%n%n 5% %"},
    };
    for (const Source &source : kSources) {
        const std::string name = std::string(source.shown, strcspn(source.shown, " "));
        for (const auto &row : rows) {
            om.Set(source.path, source.property, row.text);
            EXPECT_EQ(Run("show -display properties=(" + name + ") " + source.address),
                      Header(source.address) + "\n  Properties:\n    " + source.shown + "= " +
                          row.shown + "\n")
                << row.text;
        }
    }
}

TEST_F(FullHost, EmptyValuesAreNotShown)
{
    for (const Source &source : kSources) {
        const std::string name = std::string(source.shown, strcspn(source.shown, " "));
        const std::string command = "show -display properties=(" + name + ") " + source.address;
        EXPECT_NE(Run(command), "");
        const size_t lines =
            CountLines(Run(std::string("show -display properties ") + source.address));
        om.Set(source.path, source.property, "");
        EXPECT_EQ(Run(command), "");
        EXPECT_EQ(CountLines(Run(std::string("show -display properties ") + source.address)),
                  lines - 1)
            << source.address;
        om.Set(source.path, source.property, "again");
    }
}

TEST_F(FullHost, ChassisCutsItsValuesAt63Characters)
{
    om.Set("OEM_QARN_System", "Description", std::string(64, 'd'));
    om.Set("OEM_QARN_System", "Oem", std::string(63, 'o'));
    EXPECT_EQ(Run("show -display properties=(model,manufacturer) /system1/chassis1"),
              "\n/system1/chassis1:\n"
              "\n  Properties:\n"
              "    model               = " +
                  std::string(63, 'd') +
                  "\n"
                  "    manufacturer        = " +
                  std::string(63, 'o') + "\n");
    om.Set("OEM_QARN_System", "Oem", "");
    EXPECT_EQ(Run("show -display properties=(manufacturer) /system1/chassis1"), "");
}
