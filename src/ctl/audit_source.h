// SPDX-License-Identifier: Apache-2.0
// audit_source.h -- the lines that audit reads: of the system's journal, of a journal's files, or
// of a log file.
#ifndef CTL_AUDIT_SOURCE_H
#define CTL_AUDIT_SOURCE_H

#include "ctl/options.h"

#include <sys/types.h>

// Bytes of the longest line that is given; longer ones are left out. A line of the record has less
// than 2,000.
constexpr size_t kAuditLineMost = 65536;

// Where a machine has its journal, what has the record where there is none, and how long the
// program that reads the journal may take.
struct AuditPlaces {
    std::vector<std::string> journals = {"/run/log/journal", "/var/log/journal"};
    std::string logFile = "/var/log/auth.log";
    std::string journalctl = "/usr/bin/journalctl";
    u32 silenceSeconds = 30;  // without anything from it
    u32 wholeSeconds = 600;   // in all
};

class AuditSource
{
public:
    AuditSource() = default;
    ~AuditSource();  // Close
    AuditSource(const AuditSource &) = delete;
    AuditSource &operator=(const AuditSource &) = delete;

    // file: of --file; "-": standard input; a journal's file or a directory of such: that journal;
    // empty: the system's journal, or its log file where there is no journal. sinceTime: earlier
    // lines are not wanted, and some are left out. On anything but kExitDone *reason says why:
    // kExitNoRight where the system's journal is not to be read by this user.
    CtlExit Open(const std::string &file, std::optional<i64> sinceTime, const AuditPlaces &places,
                 std::string *reason);
    // The next line as AuditParseLine takes it, without its end. False: there is no more, or it
    // cannot be had; Close says which.
    bool Next(std::string *line);
    // After the last line, or before: what still runs is ended. kExitFailed, and why: not all lines
    // could be read; kExitSilent: the time was over.
    CtlExit Close(std::string *reason);

private:
    CtlExit OpenJournal(const std::string &where, std::optional<i64> sinceTime,
                        std::string *reason);
    bool Fill();
    bool AwaitJournal();
    void TakeComplaint();
    int JournalStatus();

    int fd_ = -1;
    std::vector<char> buffer_;
    size_t at_ = 0;
    size_t filled_ = 0;
    bool ended_ = false;        // the last byte was read
    CtlExit exit_ = kExitDone;  // why there are no more lines
    std::string reason_;

    AuditPlaces places_;
    pid_t journal_ = 0;  // journalctl; 0: none
    int complaints_ = -1;
    std::string complaint_;  // what it said on standard error
    u64 endMs_ = 0;          // when its time is over
};

#endif
