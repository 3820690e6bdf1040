// SPDX-License-Identifier: Apache-2.0
// man_pages_test.cpp -- the manual pages against --help and the options that the code takes.
#include "programs/pattern_names.h"
#include "programs/project_file.h"
#include "smclp/command_table.h"
#include "support/program.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

namespace
{

// "--dir DIR", "--check", "--idle [N=]SECONDS", "-- COMMAND": an option and the words for its
// value.
Names OptionsOfPage(const std::string &text)
{
    const std::string plain = std::regex_replace(text, std::regex("[_*\\\\]"), "");
    return Matches(plain, R"(\n(--?[a-z-]*)( [^ \n]+)?(?=\n\t))");
}

Names OptionsOfHelp(const std::string &text)
{
    return Matches(text, R"(\n +(--?[a-z-]*)( [^ \n]+)?  )");
}

struct Program {
    const char *path;
    const char *page;
    std::vector<const char *> tables;  // sources with the rows that getopt_long reads
    const char *own;                   // an option whose name such a table takes from a variable
};

const Program kPrograms[] = {
    {SMCLP_LOGIN, "smclp-login.1", {"src/session/login_options.cpp"}, nullptr},
    {SMCLP_SESSIONS, "smclp-sessions.1", {"src/session/sessions_main.cpp"}, nullptr},
    {OBJMGRD_SIM, "objmgrd-sim.8", {"src/objmgrd/service.cpp"}, "--host"},
#ifdef SMCLPCTL
    {SMCLPCTL, "smclpctl.1", {"src/ctl/options.cpp"}, nullptr},
#endif
#ifdef OBJMGRD_IPMI
    {OBJMGRD_IPMI, "objmgrd-ipmi.8", {"src/objmgrd/service.cpp"}, "--config"},
#endif
#ifdef OBJMGRD_REDFISH
    {OBJMGRD_REDFISH, "objmgrd-redfish.8", {"src/objmgrd/service.cpp"}, "--config"},
#endif
};

Names OptionsOfCode(const Program &program)
{
    Names options;
    for (const char *table : program.tables) {
        for (const std::string &name :
             Matches(ProjectFile(table), R"re(\{"([a-z-]+)", (?:no|required)_argument)re"))
            options.insert("--" + name);
    }
    if (program.own != nullptr)
        options.insert(program.own);
    return options;
}

TEST(ManPages, OptionsAreThoseOfHelp)
{
    for (const Program &program : kPrograms) {
        const ProgramEnd help = RunProgram({program.path, "--help"});
        EXPECT_EQ(help.status, 0) << program.page;
        const Names options = OptionsOfHelp(help.out);
        EXPECT_GE(options.size(), 3u) << program.page;
        EXPECT_EQ(
            Joined(OptionsOfPage(ProjectFile(std::string("docs/man/") + program.page + ".scd"))),
            Joined(options))
            << program.page;
    }
}

TEST(ManPages, OptionsAreThoseThatTheCodeTakes)
{
    for (const Program &program : kPrograms) {
        Names longOptions;
        for (const std::string &option :
             OptionsOfPage(ProjectFile(std::string("docs/man/") + program.page + ".scd"))) {
            const std::string name = option.substr(0, option.find(' '));
            if (name.size() > 2)
                longOptions.insert(name);
        }
        EXPECT_EQ(Joined(longOptions), Joined(OptionsOfCode(program))) << program.page;
    }
}

TEST(ManPages, EveryProgramOfThePageSaysItsVersion)
{
    for (const Program &program : kPrograms) {
        const ProgramEnd end = RunProgram({program.path, "--version"});
        const std::string page = program.page;
        EXPECT_EQ(end.status, 0) << page;
        EXPECT_EQ(end.out, page.substr(0, page.rfind('.')) + " " + ZOR_VERSION + "\n");
    }
#ifdef SMCLPCTL
    const std::string listen = std::string(SMCLPCTL) + "-listen";
    if (access(listen.c_str(), X_OK) == 0) {
        EXPECT_EQ(RunProgram({listen, "--version"}).out, "smclpctl-listen " ZOR_VERSION "\n");
    }
#endif
}

TEST(ManPages, EachIsInstalledAndNamesItself)
{
    std::string lists;
    for (const char *file :
         {"src/smclp/CMakeLists.txt", "src/session/CMakeLists.txt", "src/objmgrd/CMakeLists.txt",
          "src/ctl/CMakeLists.txt", "packaging/CMakeLists.txt"})
        lists += ProjectFile(file);
    int pages = 0;
    for (const auto &entry : std::filesystem::directory_iterator(PROJECT_TOP "/docs/man")) {
        const std::string page = entry.path().stem();
        const std::string name = page.substr(0, page.rfind('.'));
        const std::string section = page.substr(page.rfind('.') + 1);
        EXPECT_TRUE(std::regex_search(lists, std::regex("[ (]" + page + "[ )\n]"))) << page;
        const std::string text = ProjectFile("docs/man/" + page + ".scd");
        EXPECT_EQ(text.find(name + "(" + section + ") "), 0u) << page;
        EXPECT_NE(text.find("\n# NAME\n\n" + name + " - "), std::string::npos) << page;
        ++pages;
    }
    EXPECT_GE(pages, 6);
}

TEST(ManPages, PagesThatTheyReferToAreThere)
{
    for (const auto &entry : std::filesystem::directory_iterator(PROJECT_TOP "/docs/man")) {
        const std::string page = entry.path().stem();
        const std::string text = ProjectFile("docs/man/" + page + ".scd");
        for (const std::string &other : Matches(text, R"(\*([a-z][a-z.-]+)\*\(([158])\))")) {
            const std::string file = "/docs/man/" + other.substr(0, other.size() - 1) + "." +
                                     other.substr(other.size() - 1) + ".scd";
            EXPECT_TRUE(std::filesystem::exists(PROJECT_TOP + file)) << page << ": " << other;
        }
    }
}

TEST(ManPages, EveryVerbIsOnThePageOfTheShell)
{
    const std::string text = ProjectFile("docs/man/smclp.1.scd");
    const std::string verbs = text.substr(text.find("\nVerbs: "), 200);
    Names known;
    for (const auto *row = smclpCommandTable; row->id != 0; ++row) {
        if (row->parse != nullptr)
            known.insert(row->verb);
    }
    EXPECT_EQ(Joined(Matches(verbs.substr(0, verbs.find(". ")), R"(\*([a-z]+)\*)")), Joined(known));
}

// The guide's table is held against the program by a test of its own.
TEST(ManPages, KeysOfTheBmcsSettingsAreThoseOfTheGuide)
{
    const std::string guide = ProjectFile("docs/administrator.md");
    EXPECT_EQ(Joined(Matches(ProjectFile("docs/man/objmgrd-ipmi.toml.5.scd"),
                             R"((?:\n|, )\*([a-z_]+)\*(?=, \*|\n\t))")),
              Joined(Matches(guide, R"(\n\| (?:bmc|poll|timeouts) \| `([a-z_]+)` \|)")));
}

TEST(ManPages, KeysOfTheRedfishSettingsAreThoseOfTheirPageAndTheCode)
{
    const std::string keys =
        Joined(Matches(ProjectFile("docs/man/objmgrd-redfish.toml.5.scd"), R"(\n\*([a-z_]+)\*\n)"));
    EXPECT_EQ(keys, Joined(Matches(ProjectFile("docs/redfish.md"),
                                   R"(\n\| `(?:redfish|poll|timeouts)` \| `([a-z_]+)` \|)")));
    EXPECT_EQ(keys, Joined(Matches(ProjectFile("src/objmgrd/redfish/settings.h"),
                                   R"(\n//   ([a-z_]+) = )")));
}

}  // namespace
