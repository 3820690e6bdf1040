// SPDX-License-Identifier: Apache-2.0
// administrator_guide_test.cpp -- docs/administrator.md beside the program that it describes.
#include "ipmi/ipmi_sim.h"
#include "ipmi/ipmi_tools.h"
#include "programs/project_file.h"
#include "support/emulation.h"
#include "support/program.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <stdlib.h>
#include <sys/stat.h>

namespace
{

constexpr char kGuide[] = "docs/administrator.md";
constexpr char kPasswordFile[] = "/etc/zor/bmc-password";

std::string Replaced(std::string text, const std::string &what, const std::string &with)
{
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

// What stands between back quotes, pairs of them too.
std::vector<std::string> Quoted(const std::string &text)
{
    std::vector<std::string> all;
    for (size_t at = 0; (at = text.find('`', at)) != std::string::npos;) {
        const size_t start = text.find_first_not_of('`', at);
        const size_t end = text.find('`', start);
        if (start == std::string::npos || end == std::string::npos)
            break;
        all.push_back(text.substr(start, end - start));
        at = text.find_first_not_of('`', end);
        if (at == std::string::npos)
            break;
    }
    return all;
}

// The rows of the table under a heading, without head and rule.
std::vector<Fields> TableUnder(const std::string &heading)
{
    const std::string text = ProjectFile(kGuide);
    const size_t start = text.find("\n## " + heading + "\n");
    EXPECT_NE(start, std::string::npos) << heading;
    std::string rows;
    std::istringstream lines(text.substr(start + 1, text.find("\n## ", start + 4) - start));
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '|')
            rows += line + "\n";
    }
    std::vector<Fields> table = SplitTable(rows, '|');
    EXPECT_GT(table.size(), 2u) << heading;
    table.erase(table.begin(), table.begin() + 2);
    for (Fields &fields : table) {
        fields.erase(fields.begin());
        fields.pop_back();
    }
    return table;
}

// A numbered step under "In five steps", without its indentation.
std::string Step(int number)
{
    const std::string text = ProjectFile(kGuide);
    const size_t start = text.find("\n" + std::to_string(number) + ". ",
                                   text.find("\n## In five steps, over the network\n"));
    const size_t next = text.find("\n" + std::to_string(number + 1) + ". ", start);
    EXPECT_NE(start, std::string::npos) << number;
    return Replaced(text.substr(start, std::min(next, text.find("\n## ", start)) - start), "\n   ",
                    "\n");
}

// The one block of a language in a step.
std::string Block(int step, const std::string &language)
{
    const std::string text = Step(step);
    const std::string begin = "```" + language + "\n";
    const size_t start = text.find(begin);
    EXPECT_NE(start, std::string::npos) << step << language;
    const size_t from = start + begin.size();
    return text.substr(from, text.find("```", from) - from);
}

class Guide : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(WriteFile(directory_ + "/password", "secret\n", 0600)); }
    ProgramEnd Check(const std::string &settings)
    {
        std::ofstream(directory_ + "/bmc.toml")
            << Replaced(settings, kPasswordFile, directory_ + "/password");
        return RunProgram({OBJMGRD_IPMI, "--config", directory_ + "/bmc.toml", "--check"});
    }
    // Settings with one key more, for the driver that it goes with.
    ProgramEnd CheckKey(const Fields &row, const std::string &value)
    {
        const bool local = row[2] == "local";
        std::string text = local ? "[bmc]\ndriver = \"local\"\n" : "[bmc]\ndriver = \"lan\"\n";
        const std::string key = Quoted(row[1])[0];
        if (!local && key != "host")
            text += "host = \"192.0.2.10\"\n";
        if (row[0] != "bmc")
            text += "[" + row[0] + "]\n";
        text += key + " = " + value + "\n";
        // A request is given up after it was sent again.
        if (key == "answer_ms")
            text += "session_ms = 10000\n";
        if (key == "session_ms" && !local)
            text += "answer_ms = 100\n";
        return Check(text);
    }
    const TestDirectory made_;
    const std::string directory_ = made_.Path();
};

TEST_F(Guide, SettingsAreRight)
{
    const std::string text = ProjectFile(kGuide);
    int blocks = 0;
    for (size_t at = 0; (at = text.find("```toml\n", at)) != std::string::npos; ++blocks) {
        const size_t start = at + 8;
        at = text.find("```\n", start);
        const ProgramEnd end = Check(text.substr(start, at - start));
        EXPECT_EQ(end.status, 0) << end.err;
    }
    EXPECT_EQ(blocks, 2);
}

// As they are written, but for the folder, the user that the service has, the BMC's address and
// what the simulated one needs of a client; the init system is told, not asked.
TEST_F(Guide, TheFiveStepsLeadToAShell)
{
    IpmiSim bmc;
    ASSERT_EQ(bmc.Start(), "");
    const auto run = [&](const std::string &lines) {
        return RunProgram({"/bin/sh", "-ec", "cd '" + directory_ + "'\n" + lines});
    };
    const auto here = [&](const std::string &text) {
        return Replaced(text, "/etc/zor/", directory_ + "/");
    };

    // 1 and 2: the user, and the file for its password, with an editor that writes it.
    EXPECT_NE(Step(1).find(std::string("level `") + kSimOperator.level + "`"), std::string::npos);
    std::ofstream(directory_ + "/editor")
        << "#!/bin/sh\nprintf '%s\\n' '" << kSimOperator.password << "' >\"$1\"\n";
    ASSERT_EQ(chmod((directory_ + "/editor").c_str(), 0700), 0);
    ProgramEnd end = run("EDITOR=./editor\n" + Replaced(here(Block(2, "sh")), " -o zor", ""));
    ASSERT_EQ(end.status, 0) << end.err;

    // 3: the settings.
    const std::string settings = Replaced(here(Block(3, "toml")), "192.0.2.10", bmc.Host());
    EXPECT_NE(settings.find(std::string("user = \"") + kSimOperator.name + "\""),
              std::string::npos);
    std::ofstream(directory_ + "/bmc.toml")
        << settings << "port = " << bmc.Port() << "\ncache_directory = \"\"\n";

    // 4: both commands.
    std::istringstream lines(Block(4, "sh"));
    std::string check;
    std::string show;
    ASSERT_TRUE(std::getline(lines, check) && std::getline(lines, show));
    const auto program = [&](const std::string &line) {
        const std::string kAsTheService = "runuser -u zor -- objmgrd-ipmi ";
        EXPECT_EQ(line.compare(0, kAsTheService.size(), kAsTheService), 0) << line;
        return Replaced(here(OBJMGRD_IPMI " " + line.substr(kAsTheService.size())), " smclp-login ",
                        " " SMCLP_LOGIN " ");
    };
    end = run(program(check));
    EXPECT_EQ(end.status, 0) << end.err;
    end = run(program(show));
    EXPECT_EQ(end.status, 0) << end.err;
    EXPECT_EQ(end.err, "");
    EXPECT_NE(end.out.find("/system1"), std::string::npos) << end.out;
    EXPECT_NE(end.out.find("QX7R2M1"), std::string::npos) << end.out;

    // 5: the unit's name, and that of the machine, are the settings file's.
    const std::string unit = Step(5);
    EXPECT_NE(unit.find("systemctl enable --now objmgrd-ipmi@bmc\n"), std::string::npos);
    EXPECT_NE(unit.find("smclp-login --host bmc -c 'show /system1'\n"), std::string::npos);

    // What the guide says of a wrong password and of a file that others may read.
    std::ofstream(directory_ + "/bmc-password") << "wrong\n";
    end = run(program(show));
    EXPECT_NE(end.err.find("cannot be read"), std::string::npos) << end.err;
    EXPECT_NE(end.err.find("password of user"), std::string::npos) << end.err;
    ASSERT_EQ(chmod((directory_ + "/bmc-password").c_str(), 0640), 0);
    end = run(program(check));
    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.err.find("password_file"), std::string::npos) << end.err;
}

TEST_F(Guide, EveryKeyIsThereAndTakesItsDefault)
{
    std::set<std::string> keys;
    for (const Fields &row : TableUnder("Settings")) {
        ASSERT_EQ(row.size(), 5u);
        const std::string key = Quoted(row[1])[0];
        keys.insert(row[0] + "." + key);
        const std::vector<std::string> value = Quoted(row[4]);
        if (key == "driver")
            continue;
        const ProgramEnd end = CheckKey(row, value.empty() ? "\"192.0.2.10\"" : value[0]);
        EXPECT_EQ(end.status, 0) << key << ": " << end.err;
    }
    // The examples name every key of the program, those with a default behind "#".
    std::set<std::string> known;
    for (const char *name : {"lan.toml", "local.toml"}) {
        std::istringstream lines(ProjectFile(std::string("examples/ipmi/") + name));
        std::string table;
        for (std::string line; std::getline(lines, line);) {
            if (line[0] == '[')
                table = line.substr(1, line.find(']') - 1);
            const std::string bare = line.compare(0, 2, "# ") == 0 ? line.substr(2) : line;
            const size_t equals = bare.find(" = ");
            if (equals != std::string::npos && bare.find(' ') == equals)
                known.insert(table + "." + bare.substr(0, equals));
        }
    }
    EXPECT_EQ(keys, known);
}

TEST_F(Guide, LimitsOfNumbersAreThoseOfTheProgram)
{
    int numbers = 0;
    for (const Fields &row : TableUnder("Settings")) {
        long least = 0;
        long most = 0;
        if (sscanf(row[3].c_str(), "%ld to %ld", &least, &most) != 2)
            continue;
        ++numbers;
        for (const long right : {least, most}) {
            const ProgramEnd end = CheckKey(row, std::to_string(right));
            EXPECT_EQ(end.status, 0) << row[1] << right << end.err;
        }
        EXPECT_EQ(CheckKey(row, std::to_string(least - 1)).status, 1) << row[1];
        EXPECT_EQ(CheckKey(row, std::to_string(most + 1)).status, 1) << row[1];
    }
    EXPECT_EQ(numbers, 14);
}

TEST_F(Guide, WordsThatCanBeChosenAreThoseOfTheProgram)
{
    for (const Fields &row : TableUnder("Settings")) {
        const std::string key = Quoted(row[1])[0];
        if (key != "privilege" && key != "cipher_suite")
            continue;
        for (const Fields &value : SplitTable(Replaced(row[3], ", ", "\n"), '|')) {
            const ProgramEnd end = CheckKey(row, Replaced(value[0], "`", ""));
            EXPECT_EQ(end.status, 0) << key << value[0] << end.err;
        }
    }
    // All that the program names when it refuses one.
    const ProgramEnd refused =
        Check("[bmc]\ndriver = \"lan\"\nhost = \"a\"\nworkarounds = [\"magic\"]\n");
    EXPECT_EQ(refused.status, 1);
    const std::string guide = ProjectFile(kGuide);
    size_t words = 0;
    const std::string marker = "is one of ";
    std::string names = refused.err.substr(refused.err.find(marker) + marker.size());
    for (const Fields &name : SplitTable(Replaced(names, ", ", "\n"), '|')) {
        ++words;
        EXPECT_NE(guide.find("`" + name[0] + "`"), std::string::npos) << name[0];
    }
    EXPECT_EQ(words, 7u);
}

TEST_F(Guide, LogLinesAreInTheProgram)
{
    // Under emulation OBJMGRD_IPMI is the script beside it.
    const std::string program = ReadFile(kEmulated ? OBJMGRD_IPMI ".target" : OBJMGRD_IPMI);
    size_t lines = 0;
    for (const Fields &row : TableUnder("When something fails")) {
        ASSERT_EQ(row.size(), 3u) << row[0];
        for (const std::string &line : Quoted(row[2])) {
            ++lines;
            EXPECT_NE(program.find(line), std::string::npos) << line;
        }
    }
    EXPECT_GE(lines, 12u);
}

TEST_F(Guide, TargetsAreInTheTree)
{
    const std::string targets = ProjectFile("docs/targets.md");
    for (const Fields &row : TableUnder("What is shown, and from where")) {
        ASSERT_EQ(row.size(), 3u) << row[0];
        for (const int column : {0, 1}) {
            for (std::string word : Quoted(row[static_cast<size_t>(column)])) {
                if (word.back() == 'N')
                    word.pop_back();
                EXPECT_NE(targets.find(word), std::string::npos) << word;
            }
        }
    }
}

TEST_F(Guide, UnitStartsTheProgramWithItsOptions)
{
    const std::string unit = ProjectFile("packaging/systemd/objmgrd-ipmi@.service.in");
    EXPECT_NE(unit.find("/objmgrd-ipmi --config @ZOR_INSTALL_FULL_CONFIG@/%i.toml --dir "
                        "/run/zor/%i --rights @ZOR_INSTALL_FULL_CONFIG@/rights.toml\n"),
              std::string::npos);
    const std::string help = RunProgram({OBJMGRD_IPMI, "--help"}).out;
    for (const char *option : {"--config FILE", "--dir DIR", "--rights FILE", "--check"})
        EXPECT_NE(help.find(option), std::string::npos) << option;
}

}  // namespace
