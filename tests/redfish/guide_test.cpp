// SPDX-License-Identifier: Apache-2.0
// docs/redfish.md and docs/sources.md beside the programs that they describe: the five steps are
// done as they are written, on a simulated service with a certificate of its own.
#include "programs/project_file.h"
#include "redfish/service.h"
#include "support/objmgr_process.h"
#include "support/program.h"

#include <regex>
#include <set>
#include <sstream>

namespace
{

std::string Guide()
{
    return ProjectFile("docs/redfish.md");
}

std::string Replaced(std::string text, const std::string &what, const std::string &with)
{
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

// The numbered step under "In five steps", without its indentation.
std::string Step(int number)
{
    const std::string text = Guide();
    const size_t start =
        text.find("\n" + std::to_string(number) + ". ", text.find("In five steps"));
    const size_t next = text.find("\n" + std::to_string(number + 1) + ". ", start);
    EXPECT_NE(start, std::string::npos) << number;
    return Replaced(text.substr(start, std::min(next, text.find("\n## ", start)) - start), "\n   ",
                    "\n");
}

// The blocks of one language in a step, one after the other.
std::vector<std::string> Blocks(const std::string &text, const std::string &language)
{
    std::vector<std::string> blocks;
    const std::string begin = "```" + language + "\n";
    for (size_t at = 0; (at = text.find(begin, at)) != std::string::npos;) {
        at += begin.size();
        const size_t end = text.find("```", at);
        blocks.push_back(text.substr(at, end - at));
        at = end;
    }
    return blocks;
}

// The rows of the first table after a heading, their cells without blanks around them.
std::vector<std::vector<std::string>> Table(const std::string &text, const std::string &heading)
{
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(text.substr(text.find(heading)));
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() && !rows.empty())
            break;
        if (line.empty() || line[0] != '|')
            continue;
        std::vector<std::string> cells;
        std::istringstream row(line.substr(1));
        for (std::string cell; std::getline(row, cell, '|');) {
            const size_t from = cell.find_first_not_of(' ');
            cells.push_back(from == std::string::npos
                                ? ""
                                : cell.substr(from, cell.find_last_not_of(' ') + 1 - from));
        }
        rows.push_back(cells);
    }
    if (rows.size() < 3) {
        ADD_FAILURE() << heading;
        return {};
    }
    rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}

class RedfishGuide : public testing::Test
{
protected:
    ProgramEnd Sh(const std::string &command)
    {
        return RunProgram({"/bin/sh", "-c", "cd '" + directory.Path() + "' && " + command});
    }
    // Folders of the guide are this test's, and so is the controller.
    std::string Here(const std::string &text)
    {
        return Replaced(Replaced(text, "/etc/zor/", directory.Path() + "/"), "https://192.0.2.10",
                        service != nullptr ? service->Url() : "https://192.0.2.10");
    }
    void Write(const std::string &name, const std::string &text)
    {
        EXPECT_TRUE(WriteFile(directory.Path() + "/" + name, text, 0600));
    }
    ProgramEnd Check(const std::string &settings)
    {
        Write("web1-password", "secret\n");
        Write("web1.toml", Here(settings));
        return RunProgram(
            {OBJMGRD_REDFISH, "--config", directory.Path() + "/web1.toml", "--check"});
    }

    TestDirectory directory;
    std::unique_ptr<SimService> service;
};

// "`a`, `b`": a, b.
std::vector<std::string> Quoted(const std::string &text)
{
    std::vector<std::string> words;
    static const std::regex kWord("`([^`]+)`");
    for (std::sregex_iterator at(text.begin(), text.end(), kWord), end; at != end; ++at)
        words.push_back((*at)[1]);
    return words;
}

}  // namespace

TEST_F(RedfishGuide, TheFiveStepsLeadToAShell)
{
    ASSERT_EQ(Sh("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=bmc -days 20 -keyout key.pem"
                 " -out bmc.pem 2>/dev/null")
                  .status,
              0);
    SimOptions options;
    options.certificate = ReadFile(directory.Path() + "/bmc.pem");
    options.key = ReadFile(directory.Path() + "/key.pem");
    service = std::make_unique<SimService>(options);

    // 2: the file for the password, with no editor but one that writes it.
    const std::vector<std::string> password = Blocks(Step(2), "sh");
    ASSERT_EQ(password.size(), 1u);
    Write("editor", "#!/bin/sh\nprintf '%s\\n' 'se\"cret' >\"$1\"\n");
    chmod((directory.Path() + "/editor").c_str(), 0700);
    std::string lines = Replaced(Here(password[0]), "-o zor", "");
    ProgramEnd end = Sh("export EDITOR=./editor; set -e; " + lines);
    ASSERT_EQ(end.status, 0) << lines << end.err;

    // 3: the settings, first without the pin.
    const std::vector<std::string> settings = Blocks(Step(3), "toml");
    ASSERT_EQ(settings.size(), 2u);
    // The session's file of a service that the init system did not start.
    const std::string session = "session_file = \"" + directory.Path() + "/session\"\n";
    Write("web1.toml", Here(settings[0]) + session);

    // 4: both commands.
    const std::vector<std::string> commands = Blocks(Step(4), "sh");
    ASSERT_EQ(commands.size(), 1u);
    std::istringstream in(commands[0]);
    std::string check;
    std::string show;
    std::getline(in, check);
    std::getline(in, show);
    const auto program = [&](std::string line) {
        line = Here(line);
        if (line.rfind("objmgrd-redfish", 0) == 0)
            line.replace(0, strlen("objmgrd-redfish"), OBJMGRD_REDFISH);
        return Replaced(line, " smclp-login ", std::string(" ") + SMCLP_LOGIN + " ");
    };
    end = Sh(program(check));
    EXPECT_EQ(end.status, 0) << end.err;
    EXPECT_EQ(service->Requests().size(), 0u);
    // Not trusted yet; the log tells the pin, as step 3 says.
    end = Sh(program(show));
    static const std::regex kPin("pin (sha256//[A-Za-z0-9+/]{43}=)");
    std::smatch pin;
    ASSERT_TRUE(std::regex_search(end.err, pin, kPin)) << end.err;
    EXPECT_EQ(service->Requests().size(), 0u);
    const std::vector<std::string> shown = Quoted(Replaced(settings[1], "\"", "`"));
    ASSERT_EQ(shown.size(), 1u);
    Write("web1.toml", Here(settings[0]) + Replaced(settings[1], shown[0], pin[1].str()) + session);
    end = Sh(program(check));
    EXPECT_EQ(end.status, 0) << end.err;
    end = Sh(program(show));
    EXPECT_EQ(end.status, 0) << end.err;
    EXPECT_NE(end.out.find("/system1:"), std::string::npos) << end.out;
    EXPECT_NE(end.out.find("TAG1"), std::string::npos) << end.out;
    EXPECT_EQ(service->Sessions(), 0u);

    // 5: the unit serves what the shell opens by name.
    const std::vector<std::string> unit = Blocks(Step(5), "sh");
    ASSERT_EQ(unit.size(), 1u);
    EXPECT_NE(unit[0].find("systemctl enable --now objmgrd-redfish@web1\n"), std::string::npos);
    EXPECT_NE(unit[0].find("smclp-login --host web1 -c 'show /system1'"), std::string::npos);
    const std::string file = ProjectFile("packaging/systemd/objmgrd-redfish@.service.in");
    EXPECT_NE(file.find("--config @ZOR_INSTALL_FULL_CONFIG@/%i.toml"), std::string::npos) << file;
}

TEST_F(RedfishGuide, EveryKeyIsThereAndTakesItsLimits)
{
    std::set<std::string> keys;
    const std::string needed = "[redfish]\nurl = \"https://192.0.2.10\"\nuser = \"u\"\n";
    const std::set<std::string> texts = {"url",    "user", "password_file", "ca_file",     "pin",
                                         "system", "log",  "tls_name",      "session_file"};
    for (const auto &row : Table(Guide(), "## Settings")) {
        ASSERT_EQ(row.size(), 4u);
        const std::string table = Quoted(row[0]).at(0);
        const std::string key = Quoted(row[1]).at(0);
        keys.insert(table + "." + key);
        const auto with = [&](const std::string &value) {
            return Check((table == "redfish" ? needed : needed + "[" + table + "]\n") + key +
                         " = " + value + "\n");
        };
        long least = 0;
        long most = 0;
        if (sscanf(row[2].c_str(), "%ld to %ld", &least, &most) == 2) {
            for (const long right : {least, most})
                EXPECT_EQ(with(std::to_string(right)).status, 0) << key << right;
            EXPECT_EQ(with(std::to_string(least - 1)).status, 1) << key;
            EXPECT_EQ(with(std::to_string(most + 1)).status, 1) << key;
            continue;
        }
        if (texts.count(key) != 0)
            continue;
        for (const std::string &word : Quoted(row[2]))
            EXPECT_EQ(with(word).status, 0) << key << word;
        EXPECT_EQ(with("\"other\"").status, 1) << key;
    }
    // The examples name every key of the program, those with a default behind "#".
    std::set<std::string> known;
    for (const auto &entry : std::filesystem::directory_iterator(PROJECT_TOP "/examples/redfish")) {
        if (entry.path().extension() != ".toml")
            continue;
        std::istringstream lines(ReadFile(entry.path()));
        std::string table;
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty() && line[0] == '[')
                table = line.substr(1, line.find(']') - 1);
            const std::string bare = line.compare(0, 2, "# ") == 0 ? line.substr(2) : line;
            const size_t equals = bare.find(" = ");
            if (equals != std::string::npos && bare.find(' ') == equals)
                known.insert(table + "." + bare.substr(0, equals));
        }
    }
    for (const std::string &key : keys)
        EXPECT_EQ(known.count(key), 1u) << key;
}

// What a row of the page says of Redfish, made true in a document, and what the shell shows then.
TEST_F(RedfishGuide, SourcesAreThoseOfThePage)
{
    const std::string chassis = "/redfish/v1/Chassis/C1";
    const std::string system = "/redfish/v1/Systems/S1";
    const std::string entry = "/redfish/v1/Managers/M1/LogServices/SEL/Entries/1";
    const std::string temperature = chassis + "/Sensors/Temp1";
    const std::string fan = chassis + "/ThermalSubsystem/Fans/1";
    const std::string supply = chassis + "/PowerSubsystem/PowerSupplies/1";
    const std::string batteries = chassis + "/PowerSubsystem/Batteries";
    struct Row {
        const char *says;  // in the column for Redfish
        std::string document;
        const char *member;  // null: all members of the document
        const char *json;
        const char *target;  // below /system1
        const char *property;
        const char *shows;
        bool newer = true;  // both families
    };
    const char *const sensor = "/temperatures1/tempsensor1";
    constexpr char kAmperes[] =
        R"("Name": "Input", "ReadingType": "Current", "ReadingUnits": "A", "Reading": 3.25)";
    const Row rows[] = {
        {"`SerialNumber` of the system", system, "SerialNumber", "\"X1\"", "", "Name", "X1"},
        {"of the chassis; `UUID`", system, "SerialNumber", "null", "", "Name", "U-1"},
        {"`Model` of the system", system, "Model", "\"X2\"", "", "Description", "X2"},
        {"`HostName`", system, "HostName", "\"X3\"", "", "ElementName", "X3"},
        {"`Manufacturer` of the system", system, "Manufacturer", "\"X4\"", "/chassis1",
         "Manufacturer", "X4"},
        {"as `Name` and `Description`", system, "Model", "\"X5\"", "/chassis1", "Model", "X5"},
        {"`On`, `PoweringOff`, `Paused` on", system, "PowerState", "\"Paused\"", "/pwrmgtsvc1",
         "powerstate", "2"},
        {"`Off`, `PoweringOn` off", system, "PowerState", "\"PoweringOn\"", "/pwrmgtsvc1",
         "powerstate", "6"},
        {"entries of the log that was chosen", entry, "Message", "\"M\"", "/logs1/log1",
         "CurrentNumberOfRecords", "1"},
        {"`EventTimestamp`, else `Created`", entry, "EventTimestamp", "\"2025-01-02T03:04:05Z\"",
         "/logs1/log1/record1", "MessageTimeStamp", "20250102030405-000"},
        {"a year before 2000", entry, "Created", "\"1970-01-02T03:04:05Z\"", "/logs1/log1/record1",
         "MessageTimeStamp", "System Boot"},
        {"after `Warning: ` or `Critical: `", entry, "Severity", "\"Critical\"",
         "/logs1/log1/record1", "Description", "Critical: First"},
        {"sensor and code where the message is empty or bare hexadecimal", entry, nullptr,
         R"("Message": "0x04", "SensorType": "Fan", "EntryCode": "Assert")", "/logs1/log1/record1",
         "Description", "Fan: Assert: 0x04"},
        {"`Reading` of a Sensor in Cel", temperature, "Reading", "31.5", sensor, "CurrentReading",
         "31.5"},
        {"`ReadingCelsius`", chassis + "/Thermal", "Temperatures",
         "[{\"Name\": \"T\", \"ReadingCelsius\": 32.5}]", sensor, "CurrentReading", "32.5", false},
        {"at most three", temperature, "Reading", "31.45678", sensor, "CurrentReading", "31.457"},
        {"no number", temperature, "Reading", "\"31\"", sensor, "CurrentReading", "N/A"},
        {"beyond 1e9", temperature, "Reading", "1e10", sensor, "CurrentReading", "N/A"},
        {"`Absent`", temperature, "Status/State", "\"Absent\"", sensor, "CurrentReading", "N/A"},
        {"`Thresholds`", temperature, "Thresholds/UpperCaution/Reading", "77", sensor,
         "UpperThresholdNonCritical", "77"},
        {"an upper one of 0 is none", temperature, "Thresholds/UpperCaution/Reading", "0", sensor,
         "UpperThresholdNonCritical", "N/A"},
        {"a lower one of 0 counts for temperatures", temperature, "Thresholds/LowerCaution",
         "{\"Reading\": 0}", sensor, "LowerThresholdNonCritical", "0"},
        {"the thresholds where it says none", temperature, nullptr,
         R"("Name": "T", "ReadingUnits": "Cel", "Reading": 91,
            "Thresholds": {"UpperCritical": {"Reading": 90}})",
         sensor, "CurrentState", "failed"},
        {"`Health`", temperature, "Status/Health", "\"Critical\"", sensor, "CurrentState",
         "failed"},
        {"`Name`, else `Id`", temperature, "Name", "null", sensor, "ElementName", "Temp1"},
        {"else a noun and a number", temperature, nullptr,
         R"("Id": "7", "ReadingUnits": "Cel", "Reading": 1)", sensor, "ElementName",
         "Temperature 1"},
        {"same names get ` (Id)`", temperature, "Name", "\"Temp 2\"", sensor, "ElementName",
         "Temp 2 (Temp1)"},
        {"`SpeedRPM` of a Fan", fan, "SpeedPercent/SpeedRPM", "777", "/fans1/tachsensor1",
         "CurrentReading", "777"},
        {"`23 %` where only percent is told", chassis + "/Thermal", "Fans",
         "[{\"Name\": \"F\", \"Reading\": 23, \"ReadingUnits\": \"Percent\"}]",
         "/fans1/tachsensor1", "CurrentReading", "23 %", false},
        {"`Reading` of a Sensor in V", temperature, nullptr,
         R"("Name": "V", "ReadingUnits": "V", "Reading": 12.1)", "/voltages1/numericsensor1",
         "CurrentReading", "12.1"},
        {"`ReadingVolts`", chassis + "/Power", "Voltages",
         "[{\"Name\": \"V\", \"ReadingVolts\": 5.1}]", "/voltages1/numericsensor1",
         "CurrentReading", "5.1"},
        {"`PowerConsumedWatts`", chassis + "/Power", "PowerControl",
         "[{\"Name\": \"P\", \"PowerConsumedWatts\": 88}]", "/powermonitor1/numericsensor1",
         "CurrentReading", "88"},
        {"`Reading` of a Sensor in W and A", temperature, nullptr,
         R"("Name": "P", "ReadingUnits": "W", "Reading": 99)", "/powermonitor1/numericsensor1",
         "CurrentReading", "99"},
        // The second one: the first is PowerControl's.
        {"`Reading` of a Sensor in W and A", temperature, nullptr, kAmperes,
         "/powermonitor1/numericsensor2", "CurrentReading", "3.25"},
        {"`Reading` of a Sensor in W and A", temperature, nullptr, kAmperes,
         "/powermonitor1/numericsensor2", "BaseUnits", "AMP"},
        {"`Health` and `State` of `Batteries`", batteries + "/1", "Status/Health", "\"Warning\"",
         "/batteries1/sensor1", "CurrentState", "low"},
        {"`Health` and `State` of `Batteries`", batteries + "/1", "Status/State", "\"Absent\"",
         "/batteries1/sensor1", "CurrentState", "absent"},
        {"`IntrusionSensor`: none or the chassis", chassis, "PhysicalSecurity/IntrusionSensor",
         "\"HardwareIntrusion\"", "/intrusion1/sensor1", "CurrentState", "chassis intrusion"},
        {"input lost", supply, "LineInputStatus", "\"LossOfInput\"", "/powersupplies1/pwrsupply1",
         "OperationalStatus", "input lost"},
        {"offline", supply, "Status/State", "\"Disabled\"", "/powersupplies1/pwrsupply1",
         "HealthState", "offline"},
        {"input out of range", supply, "LineInputStatus", "\"OutOfRange\"",
         "/powersupplies1/pwrsupply1", "OperationalStatus", "input out of range"},
        {"absent", supply, "Status/State", "\"Absent\"", "/powersupplies1/pwrsupply1",
         "OperationalStatus", "absent"},
        {"good", supply, "Status/Health", "\"OK\"", "/powersupplies1/pwrsupply1",
         "OperationalStatus", "good"},
        {"degraded", supply, "Status/Health", "\"Warning\"", "/powersupplies1/pwrsupply1",
         "OperationalStatus", "degraded"},
        {"failed", supply, "Status/Health", "\"Critical\"", "/powersupplies1/pwrsupply1",
         "OperationalStatus", "failed"},
        {"unknown", supply, "Status/Health", "null", "/powersupplies1/pwrsupply1",
         "OperationalStatus", "unknown"},
        {"else the largest of `InputRanges`", supply, nullptr,
         R"("Name": "P", "InputRanges": [{"OutputWattage": 500}, {"OutputWattage": 750}])",
         "/powersupplies1/pwrsupply1", "TotalOutputPower", "750"},
        {"`PowerCapacityWatts`", supply, "PowerCapacityWatts", "1234", "/powersupplies1/pwrsupply1",
         "TotalOutputPower", "1234"},
        {"Redundancy Lost", chassis + "/ThermalSubsystem", "FanRedundancy",
         "[{\"Status\": {\"Health\": \"Critical\"}}]", "/fans1/redundancyset1", "RedundancyStatus",
         "Redundancy Lost"},
        {"Redundancy Degraded", chassis + "/ThermalSubsystem", "FanRedundancy",
         "[{\"Status\": {\"Health\": \"Warning\"}}]", "/fans1/redundancyset1", "RedundancyStatus",
         "Redundancy Degraded"},
        {"Fully Redundant", chassis + "/ThermalSubsystem", "FanRedundancy",
         "[{\"Status\": {\"Health\": \"OK\"}}]", "/fans1/redundancyset1", "RedundancyStatus",
         "Fully Redundant"},
        {"Non-redundant", chassis + "/ThermalSubsystem", "FanRedundancy",
         "[{\"Status\": {\"State\": \"Disabled\", \"Health\": \"OK\"}}]", "/fans1/redundancyset1",
         "RedundancyStatus", "Non-redundant"},
    };
    std::string told;
    for (const auto &cells : Table(ProjectFile("docs/sources.md"), "side by side"))
        told += cells.at(3) + "\n";
    for (const Row &row : rows) {
        EXPECT_NE(told.find(row.says), std::string::npos) << row.says;
        SimOptions options;
        options.older = true;
        options.newer = row.newer;
        service = std::make_unique<SimService>(options);
        service->SetMember(system, "UUID", "\"U-1\"");
        service->AddLogEntry("1", "First");
        // A document that names itself, as all do.
        const auto set = [&](const std::string &path, const std::string &members) {
            service->SetDocument(path, "{\"@odata.id\": \"" + path + "\", " + members + "}");
        };
        if (row.newer) {
            service->SetMember(chassis + "/PowerSubsystem", "Batteries",
                               "{\"@odata.id\": \"" + batteries + "\"}");
            set(batteries, "\"Members\": [{\"@odata.id\": \"" + batteries + "/1\"}]");
            set(batteries + "/1", R"("Name": "B", "Status": {"Health": "OK"})");
        }
        if (row.member != nullptr)
            service->SetMember(row.document, row.member, row.json);
        else
            set(row.document, row.json);
        Write("password", "se\"cret\n");
        Write("settings.toml", "[redfish]\nurl = \"" + service->Url() +
                                   "\"\nuser = \"operator\"\npassword_file = \"" +
                                   directory.Path() + "/password\"\nsession_file = \"" +
                                   directory.Path() + "/session\"\n");
        const ProgramEnd end = RunProgram(
            {OBJMGRD_REDFISH, "--config", directory.Path() + "/settings.toml", "--", SMCLP_LOGIN,
             "-c",
             std::string("show -display properties=(") + row.property + ") /system1" + row.target});
        static const std::regex kValue(" = (.*)\n");
        std::smatch value;
        ASSERT_TRUE(std::regex_search(end.out, value, kValue)) << row.says << end.out << end.err;
        EXPECT_EQ(value[1].str(), row.shows) << row.says;
    }
}
