// SPDX-License-Identifier: Apache-2.0
// cmd_log.cpp -- log: the records of the event log, and clearing it.
#include "ctl/commands.h"
#include "ctl/log_select.h"
#include "ctl/method.h"
#include "objmgr/schema.h"

#include <time.h>

namespace
{

constexpr u32 kParts = kViewSystem | kViewRecords;
constexpr timespec kLookPeriod = {0, 250000000};

bool IsReadable(const ServerView &view)
{
    return !ModelSystemOf(view).records.IsNull();
}

std::vector<ModelRecord> Selected(const Options &options, const std::vector<ModelRecord> &records)
{
    if (options.sinceTime)
        return LogSinceTime(records, *options.sinceTime);
    return LogAfterRecord(records, options.sinceRecord.value_or(0));
}

// Clearing takes every right of the shell's delete.
CtlExit Clear(const Options &options, const Console &console)
{
    const MethodAnswer answer = MethodInvoke(kSelPath, kMethodClear, nullptr);
    if (answer.status != kExitDone)
        return CommandFailed(options, console, {}, answer.status, answer.message);
    if (!answer.applied)
        return CommandFailed(options, console, {}, kExitFailed, "the log was not cleared");
    return kExitDone;
}

// The rows go out as they come. A service that ends is waited for: it may start again. Ends only by
// a signal, or when nobody reads any more.
CtlExit Follow(const Options &options, const Console &console)
{
    Output output(console.out, options.format, kLogForm, CommandTime(), console.color);
    output.Stream();
    LogFollower follower;
    bool first = true;
    bool said = false;
    for (;; nanosleep(&kLookPeriod, nullptr)) {
        ViewReader reader;
        const ServerView *view = reader.Read(kParts);
        const bool readable = view != nullptr && IsReadable(*view);
        if (!readable && !said)
            CommandFailed(options, console, {}, view == nullptr ? kExitNoService : kExitSilent,
                          view == nullptr ? reader.Reason() + ": waiting for it"
                                          : "the source is silent: waiting for it");
        said = !readable;
        if (!readable)
            continue;
        const std::vector<ModelRecord> records = ModelRecordsOf(*view);
        std::vector<ModelRecord> news = follower.News(records, true);
        if (first)
            news = Selected(options, news);
        first = false;
        for (const ModelRecord &record : news)
            output.Add(RecordRow({}, record));
        if (ferror(console.out) != 0)
            return CommandEnd(options, console, &output, kExitDone);
    }
}

}  // namespace

CtlExit CmdLog(const Options &options, const Console &console)
{
    if (options.clear)
        return Clear(options, console);
    if (options.follow)
        return Follow(options, console);
    ViewReader reader;
    CtlExit status = kExitDone;
    const ServerView *view = CommandRead(options, console, kParts, &reader, &status);
    if (view == nullptr)
        return status;
    if (!IsReadable(*view))
        status = CommandFailed(options, console, {}, kExitSilent, "the source is silent");
    Output output(console.out, options.format, kLogForm, CommandTime(), console.color);
    for (const ModelRecord &record : Selected(options, ModelRecordsOf(*view)))
        output.Add(RecordRow({}, record));
    return CommandEnd(options, console, &output, status);
}
