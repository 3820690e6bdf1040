// SPDX-License-Identifier: Apache-2.0
// cmd_audit.cpp -- audit: who logged in and who did what.
#include "ctl/audit.h"
#include "ctl/audit_source.h"
#include "ctl/commands.h"

#include <stdlib.h>
#include <sys/stat.h>

namespace
{

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

void AnswerLines(const Options &options, AuditSource *source, Answers *answers)
{
    const AuditTrust trust = {OwnerOf(options)};
    const i64 now = CommandTime();
    for (std::string line; source->Next(&line);) {
        AuditEvent event;
        if (!AuditParseLine(line, trust, now, &event))
            continue;
        if (!options.sinceTime || (event.time && *event.time >= *options.sinceTime))
            answers->Add({}, {AuditRow(event)});
    }
}

}  // namespace

CtlExit CmdAudit(const Options &options, const Console &console)
{
    Answers answers(options, console, kAuditForm, Answers::Shape::ManyRows);
    AuditSource source;
    std::string reason;
    CtlExit status = source.Open(options.file, options.sinceTime, {}, &reason);
    if (status == kExitDone) {
        AnswerLines(options, &source, &answers);
        status = source.Close(&reason);
    }
    if (status != kExitDone)
        CommandFailed(options, console, {}, status, reason);
    return answers.End(status);
}
