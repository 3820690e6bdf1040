// SPDX-License-Identifier: Apache-2.0
#include "ctl/audit_source.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

class AuditSourceOf : public testing::Test
{
protected:
    AuditSourceOf() : directory(testing::TempDir() + "audit_source.XXXXXX")
    {
        if (mkdtemp(directory.data()) == nullptr)
            abort();
        places = {{directory + "/journal"}, directory + "/auth.log"};
    }
    ~AuditSourceOf() override { fs::remove_all(directory); }

    // "status reason", or the first line of what was opened.
    std::string Open(const std::string &file)
    {
        AuditSource source;
        std::string reason;
        const CtlExit status = source.Open(file, std::nullopt, places, &reason);
        if (status != kExitDone)
            return std::to_string(status) + " " + reason;
        char line[64] = "";
        if (fgets(line, sizeof line, source.Lines()) == nullptr)
            line[0] = '\0';
        EXPECT_EQ(source.Close(&reason), kExitDone);
        return line;
    }
    void Write(const std::string &name, const std::string &text) const
    {
        fs::create_directories(fs::path(directory + "/" + name).parent_path());
        std::ofstream(directory + "/" + name) << text;
    }

    std::string directory;
    AuditPlaces places;
};

}  // namespace

TEST_F(AuditSourceOf, AMachineWithoutAJournalHasALogFile)
{
    EXPECT_EQ(Open(""), "1 " + directory + "/auth.log: No such file or directory");
    Write("auth.log", "a line");
    EXPECT_EQ(Open(""), "a line");
    // What stands beside the machines' directories is no journal.
    Write("journal/fss", "");
    EXPECT_EQ(Open(""), "a line");
}

TEST_F(AuditSourceOf, AFileIsReadAsItIs)
{
    Write("other", "LPKSHHR, but no journal");
    EXPECT_EQ(Open(directory + "/other"), "LPKSHHR, but no journal");
    Write("empty", "");
    EXPECT_EQ(Open(directory + "/empty"), "");
    EXPECT_EQ(Open(directory + "/none"), "1 " + directory + "/none: No such file or directory");
}

TEST_F(AuditSourceOf, AJournalThatIsNotToBeRead)
{
    if (access("/usr/bin/journalctl", X_OK) != 0)
        GTEST_SKIP() << "no journalctl";
    if (geteuid() == 0)
        GTEST_SKIP() << "root may read everything";
    Write("journal/0123/system.journal", "");
    ASSERT_EQ(chmod((directory + "/journal/0123/system.journal").c_str(), 0), 0);
    EXPECT_EQ(Open(""), "77 no right to read the journal: the group systemd-journal has it");
    Write("auth.log", "");
    ASSERT_EQ(chmod((directory + "/auth.log").c_str(), 0), 0);
    EXPECT_EQ(Open(directory + "/auth.log"), "77 " + directory + "/auth.log: Permission denied");
}
