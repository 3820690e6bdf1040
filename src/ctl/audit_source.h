// SPDX-License-Identifier: Apache-2.0
// audit_source.h -- the lines that audit reads: of the system's journal, of a journal's files, or
// of a log file.
#ifndef CTL_AUDIT_SOURCE_H
#define CTL_AUDIT_SOURCE_H

#include "ctl/options.h"

#include <span>
#include <stdio.h>
#include <sys/types.h>

// Where a machine has its journal, what reads it, and what has the record where there is none.
struct AuditPlaces {
    std::string journalctl = "/usr/bin/journalctl";
    std::vector<std::string> journals = {"/run/log/journal", "/var/log/journal"};
    std::string logFile = "/var/log/auth.log";
};

class AuditSource
{
public:
    AuditSource() = default;
    ~AuditSource();
    AuditSource(const AuditSource &) = delete;
    AuditSource &operator=(const AuditSource &) = delete;

    // file: of --file; "-": standard input; a journal's file or a directory of such: that journal;
    // empty: the system's journal, or its log file where there is no journal. sinceTime: earlier
    // lines are not wanted, and some are left out. On anything but kExitDone *reason says why:
    // kExitNoRight where the system's journal is not to be read by this user.
    CtlExit Open(const std::string &file, std::optional<i64> sinceTime, const AuditPlaces &places,
                 std::string *reason);
    // Lines as AuditParseLine takes them. Valid after Open, until Close.
    FILE *Lines() const { return file_; }
    // After the last line. kExitFailed, and why: the journal could not be read to its end.
    CtlExit Close(std::string *reason);

private:
    CtlExit OpenJournal(const std::string &journalctl, const std::string &where,
                        std::optional<i64> sinceTime, std::string *reason);

    FILE *file_ = nullptr;
    pid_t journal_ = 0;  // journalctl; 0: none
};

#endif
