// SPDX-License-Identifier: Apache-2.0
// cmd_audit.cpp -- audit: who logged in and who did what.
#include "ctl/audit.h"
#include "ctl/commands.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Only what calls itself a service; whether it is one is judged line by line.
constexpr char kJournal[] = "exec journalctl --no-pager --quiet --output=json "
                            "--output-fields=MESSAGE,_UID _COMM=objmgrd-sim _COMM=objmgrd-ipmi "
                            "_COMM=objmgrd-redfish 2>/dev/null";
constexpr char kJournalProgram[] = "/usr/bin/journalctl";
constexpr char kLogFile[] = "/var/log/auth.log";

std::optional<u32> OwnerOf(const Options &options)
{
    const char *directory = options.directory.c_str();
    if (*directory == '\0')
        directory = getenv("ZOROBJMGR");
    if (directory == nullptr || *directory == '\0')
        directory = "/run/zor/objmgr";
    struct stat info;
    return stat(directory, &info) == 0 ? std::optional<u32>(info.st_uid) : std::nullopt;
}

// Answers the events of a stream of lines.
void AnswerLines(const Options &options, FILE *file, Answers *answers)
{
    const AuditTrust trust = {OwnerOf(options)};
    const i64 now = CommandTime();
    char *line = nullptr;
    size_t room = 0;
    for (ssize_t size = 0; (size = getline(&line, &room, file)) > 0;) {
        AuditEvent event;
        if (!AuditParseLine({line, static_cast<size_t>(size)}, trust, now, &event))
            continue;
        if (!options.sinceTime || (event.time && *event.time >= *options.sinceTime))
            answers->Add({}, {AuditRow(event)});
    }
    free(line);
}

}  // namespace

CtlExit CmdAudit(const Options &options, const Console &console)
{
    Answers answers(options, console, kAuditForm, Answers::Shape::ManyRows);
    const bool journal = options.file.empty() && access(kJournalProgram, X_OK) == 0;
    const std::string name = options.file.empty() ? kLogFile : options.file;
    FILE *file = journal ? popen(kJournal, "r") : name == "-" ? stdin : fopen(name.c_str(), "re");
    if (file == nullptr) {
        const int error = errno;
        return CommandFailed(options, console, {}, kExitFailed, name + ": " + strerror(error));
    }
    AnswerLines(options, file, &answers);
    CtlExit status = kExitDone;
    if (journal && pclose(file) != 0)
        status = CommandFailed(options, console, {}, kExitFailed, "the journal cannot be read");
    if (!journal && file != stdin)
        fclose(file);
    return answers.End(status);
}
