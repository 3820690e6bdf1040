// SPDX-License-Identifier: Apache-2.0
#include "ctl/audit_source.h"
#include "support/open_descriptors.h"

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
        places.journals = {directory + "/journal"};
        places.logFile = directory + "/auth.log";
    }
    ~AuditSourceOf() override { fs::remove_all(directory); }

    // "status reason", or the first line of what was opened.
    std::string Open(const std::string &file, std::optional<i64> since = std::nullopt)
    {
        AuditSource source;
        std::string reason;
        const CtlExit status = source.Open(file, since, places, &reason);
        if (status != kExitDone)
            return std::to_string(status) + " " + reason;
        char line[512] = "";
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

TEST_F(AuditSourceOf, WhereAMachineHasWhatIsRead)
{
    const AuditPlaces usual;
    EXPECT_EQ(usual.journalctl, "/usr/bin/journalctl");
    EXPECT_EQ(usual.journals, (std::vector<std::string>{"/run/log/journal", "/var/log/journal"}));
    EXPECT_EQ(usual.logFile, "/var/log/auth.log");
}

TEST_F(AuditSourceOf, WhatTheReaderOfAJournalIsAskedFor)
{
    const std::string reader = directory + "/reader";
    const std::string asked = "--no-pager --quiet --output=json "
                              "--output-fields=MESSAGE,_UID,_COMM,_EXE ";
    const std::string services = "_COMM=objmgrd-sim _COMM=objmgrd-ipmi _COMM=objmgrd-redfish\n";
    Write("reader", "#!/bin/sh\necho \"$*\"\n");
    Write("journal/0123/system.journal", "");
    Write("auth.log", "a line");
    places.journalctl = reader;
    // One that may not be started is none.
    EXPECT_EQ(Open(""), "a line");
    ASSERT_EQ(chmod(reader.c_str(), 0700), 0);
    EXPECT_EQ(Open(""), asked + services);
    EXPECT_EQ(Open("", 1700000000), asked + "--since=@1700000000 " + services);
    EXPECT_EQ(Open(directory), asked + "--directory=" + directory + " " + services);
    Write("some", "LPKSHHRH and more");
    EXPECT_EQ(Open(directory + "/some", 5),
              asked + "--file=" + directory + "/some --since=@5 " + services);
}

TEST_F(AuditSourceOf, AReaderThatFailsIsSaid)
{
    const std::string reader = directory + "/reader";
    places.journalctl = reader;
    for (const char *script : {"#!/bin/sh\nexit 1\n", "#!/bin/sh\nkill -9 $$\n", "#!/none\n"}) {
        Write("reader", script);
        ASSERT_EQ(chmod(reader.c_str(), 0700), 0);
        AuditSource source;
        std::string reason;
        ASSERT_EQ(source.Open(directory, std::nullopt, places, &reason), kExitDone);
        EXPECT_EQ(fgetc(source.Lines()), EOF);
        EXPECT_EQ(source.Close(&reason), kExitFailed) << script;
        EXPECT_EQ(reason, "the journal cannot be read");
    }
}

TEST_F(AuditSourceOf, NothingIsLeftOpen)
{
    const std::vector<int> before = OpenDescriptors();
    Write("auth.log", "a line");
    Write("reader", "#!/bin/sh\n");
    places.journalctl = directory + "/reader";
    ASSERT_EQ(chmod(places.journalctl.c_str(), 0700), 0);
    for (const std::string &file : {directory + "/auth.log", directory, std::string()}) {
        Open(file);
        EXPECT_EQ(OpenDescriptors(), before) << file;
    }
}
