// SPDX-License-Identifier: Apache-2.0
#include "ctl/audit_source.h"
#include "support/open_descriptors.h"
#include "support/test_files.h"

#include <errno.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

class AuditSourceOf : public testing::Test
{
protected:
    AuditSourceOf()
    {
        places.journals = {directory + "/journal"};
        places.logFile = directory + "/auth.log";
    }

    // "status reason", or the first line of what was opened.
    std::string Open(const std::string &file, std::optional<i64> since = std::nullopt)
    {
        AuditSource source;
        std::string reason;
        const CtlExit status = source.Open(file, since, places, &reason);
        if (status != kExitDone)
            return std::to_string(status) + " " + reason;
        std::string line;
        source.Next(&line);
        EXPECT_EQ(source.Close(&reason), kExitDone);
        return line;
    }
    // What a journal read by a script of the system's shell gives: its lines' lengths, and how it
    // ended.
    std::string OfJournal(const std::string &script, std::optional<i64> sinceTime = std::nullopt)
    {
        places.journalctl = directory + "/journalctl";
        Write("journalctl", "#!/bin/sh\n" + script + "\n");
        EXPECT_EQ(chmod(places.journalctl.c_str(), 0700), 0);
        Write("a.journal", "LPKSHHRH, as all begin");
        AuditSource source;
        std::string reason;
        EXPECT_EQ(source.Open(directory + "/a.journal", sinceTime, places, &reason), kExitDone)
            << reason;
        std::string got;
        for (std::string line; source.Next(&line);)
            got += std::to_string(line.size()) + " ";
        const CtlExit exit = source.Close(&reason);
        return got + "| " + std::to_string(exit) + " " + reason;
    }
    void Write(const std::string &name, const std::string &text) const
    {
        fs::create_directories(fs::path(directory + "/" + name).parent_path());
        std::ofstream(directory + "/" + name) << text;
    }

    const TestDirectory made;
    const std::string directory = made.Path();
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
    const std::string services = "_COMM=objmgrd-sim _COMM=objmgrd-ipmi _COMM=objmgrd-redfish";
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
        std::string line;
        EXPECT_FALSE(source.Next(&line));
        EXPECT_EQ(source.Close(&reason), kExitFailed) << script;
        EXPECT_TRUE(reason.starts_with("the journal cannot be read")) << reason;
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

TEST_F(AuditSourceOf, LinesOfAFile)
{
    const std::string most(kAuditLineMost, 'a');
    Write("log", "one\n\n" + most + "\n" + most + "b\nlast");
    AuditSource source;
    std::string reason;
    ASSERT_EQ(source.Open(directory + "/log", std::nullopt, places, &reason), kExitDone);
    std::vector<std::string> lines;
    for (std::string line; source.Next(&line);)
        lines.push_back(line);
    // The one that is too long is left out.
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "", most, "last"}));
    EXPECT_EQ(source.Close(&reason), kExitDone);
    std::string line;
    EXPECT_FALSE(source.Next(&line));
}

TEST_F(AuditSourceOf, AFileThatCannotBeReadToItsEnd)
{
    AuditSource source;
    std::string reason;
    ASSERT_EQ(source.Open("/proc/self/mem", std::nullopt, places, &reason), kExitDone);
    std::string line;
    EXPECT_FALSE(source.Next(&line));
    EXPECT_EQ(source.Close(&reason), kExitFailed);
    EXPECT_EQ(reason, strerror(EIO));
}

// It takes no time before 1970.
TEST_F(AuditSourceOf, TheTimeThatJournalctlIsTold)
{
    const std::string show = "for word; do case $word in --since*) echo $word;; esac; done";
    EXPECT_EQ(OfJournal(show, 7), "10 | 0 ");   // --since=@7
    EXPECT_EQ(OfJournal(show, 0), "10 | 0 ");   // --since=@0
    EXPECT_EQ(OfJournal(show, -7), "10 | 0 ");  // --since=@0
    EXPECT_EQ(OfJournal(show), "| 0 ");
}

TEST_F(AuditSourceOf, WithoutJournalctlAJournalIsNotRead)
{
    Write("a.journal", "LPKSHHRH");
    places.journalctl = directory + "/none";
    EXPECT_EQ(Open(directory + "/a.journal"),
              "1 " + directory + "/none: No such file or directory");
    Write("none", "no program");
    ASSERT_EQ(chmod(places.journalctl.c_str(), 0700), 0);
    AuditSource source;
    std::string reason;
    ASSERT_EQ(source.Open(directory + "/a.journal", std::nullopt, places, &reason), kExitDone);
    std::string line;
    EXPECT_FALSE(source.Next(&line));
    EXPECT_EQ(source.Close(&reason), kExitFailed);
    EXPECT_EQ(reason, "the journal cannot be read: " + places.journalctl + ": Exec format error");
}

TEST_F(AuditSourceOf, AJournalThatCannotBeRead)
{
    EXPECT_EQ(OfJournal("echo one; echo 'No such journal.' >&2; echo more >&2; exit 1"),
              "3 | 1 the journal cannot be read: No such journal.");
    EXPECT_EQ(OfJournal("echo one; exit 3"), "3 | 1 the journal cannot be read");
    EXPECT_EQ(OfJournal("echo one; kill -9 $$"), "3 | 1 the journal cannot be read");
    // Warnings alone are none of ours.
    EXPECT_EQ(OfJournal("echo one; echo 'Rotated.' >&2"), "3 | 0 ");
}

TEST_F(AuditSourceOf, AJournalWithoutEndOrSense)
{
    // 100 MB in one line, as much garbage on standard error.
    EXPECT_EQ(OfJournal("head -c 100000000 /dev/zero; echo; echo one"), "3 | 0 ");
    EXPECT_EQ(OfJournal("head -c 100000000 /dev/zero >&2; echo one; exit 1").substr(0, 30),
              "3 | 1 the journal cannot be re");
    // How much of it comes in a second is the machine's affair.
    places.silenceSeconds = 1;
    for (const char *script : {"echo one; sleep 100", "echo one; echo wait >&2; sleep 100"})
        EXPECT_TRUE(OfJournal(script).ends_with("| 75 the journal has said nothing for 1 s"));
    places.silenceSeconds = 30;
    places.wholeSeconds = 1;
    for (const char *script : {"while sleep 0.4; do echo; done", "exec yes '' | tr '\\n' a"})
        EXPECT_TRUE(OfJournal(script).ends_with("| 75 the journal has not ended after 1 s"));
}

// What still runs when nobody wants more lines is ended with it.
TEST_F(AuditSourceOf, AJournalThatIsLeft)
{
    places.journalctl = directory + "/journalctl";
    Write("journalctl", "#!/bin/sh\necho $$\nexec sleep 100\n");
    ASSERT_EQ(chmod(places.journalctl.c_str(), 0700), 0);
    Write("a.journal", "LPKSHHRH");
    AuditSource source;
    std::string reason;
    std::string pid;
    ASSERT_EQ(source.Open(directory + "/a.journal", std::nullopt, places, &reason), kExitDone);
    ASSERT_TRUE(source.Next(&pid));
    EXPECT_EQ(source.Close(&reason), kExitDone);
    EXPECT_EQ(kill(std::stoi(pid), 0), -1);
}
