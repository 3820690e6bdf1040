// SPDX-License-Identifier: Apache-2.0
// integrator_test.cpp -- the integrator's guide against the headers, options and files it names.
#include "objmgr/objmgr.h"
#include "programs/pattern_names.h"
#include "programs/project_file.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>

namespace
{

const std::string &Guide()
{
    static const std::string text = ProjectFile("docs/integrator.md");
    return text;
}

// The part of the guide under a heading, up to the next one of the same or a higher rank.
std::string Section(const std::string &heading)
{
    const size_t start = Guide().find("\n" + heading + "\n");
    EXPECT_NE(start, std::string::npos) << heading;
    if (start == std::string::npos)
        return "";
    const std::string rank = heading.substr(0, heading.find(' '));
    size_t end = Guide().size();
    for (std::string mark = rank; mark.size() >= 2; mark.pop_back())
        end = std::min(end, Guide().find("\n" + mark + " ", start + heading.size()));
    return Guide().substr(start, end - start);
}

TEST(Integrator, EveryOptionOfTheBuildStandsInTheTableAndNoOther)
{
    const std::string build = ProjectFile("CMakeLists.txt");
    Names options = Matches(build, R"(\noption\((ZOR_\w+))");
    for (const std::string &name : Matches(build, R"(\nset\((ZOR_\w+) [^\n]* CACHE)"))
        options.insert(name);
    EXPECT_GE(options.size(), 7u);
    EXPECT_EQ(Joined(Matches(Section("## What may be left out"), R"(\n\| `(ZOR_\w+)` \|)")),
              Joined(options));
}

TEST(Integrator, EveryFunctionOfThePlatformLayerHasItsPlace)
{
    static const std::map<std::string, std::string> kSections = {
        {"memmgr.h", "### Pools: `memmgr.h`"},
        {"list.h", "### Lists: `list.h`"},
        {"map.h", "### Start-up: `map.h`"},
        {"str.h", "### Text: `str.h`"},
        {"trace.h", "### Traces: `trace.h`"},
        {"syslog_line.h", "### The system log: `syslog_line.h`"},
        {"clock.h", "### The clock: `clock.h`"},
        {"types.h", ""},
        {"large_buffer.h", ""},
    };
    for (const auto &entry : std::filesystem::directory_iterator(PROJECT_TOP "/src/platform")) {
        const std::string name = entry.path().filename();
        if (entry.path().extension() != ".h")
            continue;
        ASSERT_EQ(kSections.count(name), 1u) << name << " has no section";
        const std::string heading = kSections.at(name);
        if (heading.empty())
            continue;
        const Names functions =
            Matches(ProjectFile("src/platform/" + name),
                    R"((?:^|\n)(?:extern "C" |inline )?(?:void|bool|u8|u16|u32|u64) \**(\w+)\()");
        EXPECT_FALSE(functions.empty()) << name;
        const std::string section = Section(heading);
        for (const std::string &function : functions)
            EXPECT_NE(section.find("`" + function + "`"), std::string::npos) << function;
    }
}

TEST(Integrator, EverySlotOfTheObjectManagerStandsAtItsPlace)
{
    static const std::map<std::string, size_t> kOffsets = {
        {"Open", offsetof(ObjMgrInterface, Open)},
        {"Close", offsetof(ObjMgrInterface, Close)},
        {"GetInstance", offsetof(ObjMgrInterface, GetInstance)},
        {"GetPropertyValue", offsetof(ObjMgrInterface, GetPropertyValue)},
        {"InvokeMethod", offsetof(ObjMgrInterface, InvokeMethod)},
        {"InitInstance", offsetof(ObjMgrInterface, InitInstance)},
        {"GetInstanceValue", offsetof(ObjMgrInterface, GetInstanceValue)},
        {"SetPrivilege", offsetof(ObjMgrInterface, SetPrivilege)},
    };
    const Names declared = Matches(ProjectFile("src/objmgr/objmgr.h"), R"(\(\*(\w+)\)\()");
    EXPECT_EQ(declared.size(), kOffsets.size());
    const std::string section = Section("## An object manager of your own");
    for (const auto &[name, offset] : kOffsets) {
        EXPECT_EQ(declared.count(name), 1u) << name;
        const std::string row =
            "\n| " + std::to_string(offset / sizeof(void *) + 1) + " | `" + name + "` | ";
        EXPECT_NE(section.find(row), std::string::npos) << row;
    }
}

TEST(Integrator, EveryFileItNamesIsThere)
{
    const Names paths =
        Matches(Guide(), R"(\b((?:src|tests|tools|cmake|docs|bench)/[\w./-]*\w/?))");
    EXPECT_GE(paths.size(), 15u);
    for (const std::string &path : paths)
        EXPECT_TRUE(std::filesystem::exists(std::string(PROJECT_TOP) + "/" + path)) << path;
}

TEST(Integrator, EveryPresetItNamesIsThere)
{
    const Names presets = Matches(Guide(), R"(--preset (\w+))");
    EXPECT_EQ(Joined(presets), "armhf\nmusl\n");
    const std::string file = ProjectFile("CMakePresets.json");
    for (const std::string &name : presets)
        EXPECT_NE(file.find("\"name\": \"" + name + "\""), std::string::npos) << name;
}

TEST(Integrator, BudgetsAreThoseThatAreHeld)
{
    const std::string sizes = Section("## Sizes");
    std::istringstream rows(ProjectFile("bench/footprint.budget"));
    size_t count = 0;
    for (std::string row; std::getline(rows, row);) {
        std::istringstream words(row);
        std::string key;
        std::string number;
        words >> key >> number;
        if (key.empty() || key == "#" || key == "libraries")
            continue;
        ++count;
        if (number.size() > 3)
            number.insert(number.size() - 3, ",");
        EXPECT_NE(sizes.find("| " + number + " |"), std::string::npos) << row;
    }
    EXPECT_EQ(count, 4u);
}

}  // namespace
