// SPDX-License-Identifier: Apache-2.0
// cmd_log.cpp -- log: the records of the event log, and clearing it.
#include "ctl/archive_reader.h"
#include "ctl/commands.h"
#include "ctl/log_select.h"
#include "ctl/method.h"
#include "objmgr/schema.h"

#include <errno.h>
#include <string.h>

namespace
{

constexpr u32 kParts = kViewSystem | kViewRecords;
constexpr u32 kLookPeriodMs = 250;
constexpr char kSilent[] = "the source is silent";

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

std::vector<Row> RowsOf(const Server &server, const std::vector<ModelRecord> &records)
{
    std::vector<Row> rows;
    rows.reserve(records.size());
    for (const ModelRecord &record : records)
        rows.push_back(RecordRow(server.name, record));
    return rows;
}

CtlExit Clear(const Options &options, const Console &console)
{
    if (!CommandMayChange(options, console, "clearing the log"))
        return kExitUsage;
    CtlExit status = kExitDone;
    CommandInvoke(options, console, &status, [](const Server &server) -> MethodAnswer {
        {
            ViewReader reader;
            const ServerView *view = reader.Read(server.directory, kViewSystem);
            if (view == nullptr)
                return {reader.Exit(), false, reader.Reason()};
            if (!IsReadable(*view))
                return {kExitSilent, false, kSilent};
        }
        MethodAnswer answer = MethodInvoke(server.directory, kSelPath, kMethodClear, nullptr);
        if (answer.status == kExitDone && !answer.applied)
            return {kExitFailed, false, "the log was not cleared"};
        return answer;
    });
    return status;
}

// One server whose log is followed.
class Followed
{
public:
    explicit Followed(const Server &server) : server_(server) {}

    // Answers what is new. A service that ends is waited for: it may start again.
    void Look(const Options &options, const Console &console, Answers *answers)
    {
        ViewReader reader;
        const ServerView *view = reader.Read(server_.directory, kParts);
        const bool readable = view != nullptr && IsReadable(*view);
        if (!readable && !said_)
            CommandFailed(options, console, server_, view == nullptr ? reader.Exit() : kExitSilent,
                          view == nullptr ? reader.Reason() + ": waiting for it"
                                          : "the source is silent: waiting for it");
        said_ = !readable;
        if (!readable)
            return;
        std::vector<ModelRecord> news = follower_.News(ModelRecordsOf(*view), true);
        if (first_)
            news = Selected(options, news);
        first_ = false;
        answers->Add(server_, RowsOf(server_, news));
    }

private:
    Server server_;
    LogFollower follower_;
    bool first_ = true;
    bool said_ = false;
};

// Ends only by a signal, or when nobody reads any more.
CtlExit Follow(const Options &options, const Console &console)
{
    Answers answers(options, console, kLogForm, Answers::Shape::ManyRows);
    answers.Stream();
    std::vector<Followed> logs;
    for (const Server &server : CommandServers(options))
        logs.emplace_back(server);
    for (;; CommandSleepMs(kLookPeriodMs)) {
        for (Followed &log : logs)
            log.Look(options, console, &answers);
        if (ferror(console.out) != 0)
            return answers.End(kExitDone);
        if (!CommandIsRead(console))
            return kExitDone;
    }
}

// The archive, then what of the log is not in it yet. A record of the archive has the number that
// the log gives it now: none when it is not there any more, since another record may have its
// number; and the one that it had when it was archived.
std::vector<ModelRecord> Joined(const ArchiveContent &archive, const std::vector<ModelRecord> &log)
{
    std::vector<ModelRecord> records;
    for (const ArchiveRecord &record : archive.records)
        records.push_back(
            {0, record.time, record.boot, TextValue(record.description), record.number});
    const LogOverlapPlace both = LogOverlapFind(archive.marks, LogMarksOf(log));
    const size_t first = archive.records.size() - archive.marks.size() + both.place;
    for (size_t i = 0; i < both.length; ++i)
        records[first + i].number = log[i].number;
    records.insert(records.end(), log.begin() + static_cast<std::ptrdiff_t>(both.length),
                   log.end());
    return records;
}

CtlExit All(const Options &options, const Console &console)
{
    CtlExit status = kExitDone;
    Answers answers(options, console, kArchiveForm, Answers::Shape::ManyRows);
    ViewReader reader;
    for (const Server &server : CommandServers(options)) {
        const std::string directory =
            options.archive + (options.several ? "/" + server.name.text : "");
        ArchiveContent archive;
        if (const int error = ArchiveRead(directory, &archive)) {
            status = CommandBoth(status, CommandFailed(options, console, server,
                                                       error == EACCES ? kExitNoRight : kExitFailed,
                                                       directory + ": " + strerror(error)));
            continue;
        }
        const ServerView *view = CommandRead(options, console, server, kParts, &reader, &status);
        if (view != nullptr && !IsReadable(*view))
            status =
                CommandBoth(status, CommandFailed(options, console, server, kExitSilent, kSilent));
        const std::vector<ModelRecord> log =
            view != nullptr ? ModelRecordsOf(*view) : std::vector<ModelRecord>();
        std::vector<ModelRecord> records = Joined(archive, log);
        if (options.sinceTime)
            records = LogSinceTime(records, *options.sinceTime);
        answers.Add(server, RowsOf(server, records));
    }
    return answers.End(status);
}

}  // namespace

CtlExit CmdLog(const Options &options, const Console &console)
{
    if (options.clear)
        return Clear(options, console);
    if (options.follow)
        return Follow(options, console);
    if (!options.archive.empty())
        return All(options, console);
    CtlExit status = kExitDone;
    Answers answers(options, console, kLogForm, Answers::Shape::ManyRows);
    ViewReader reader;
    for (const Server &server : CommandServers(options)) {
        const ServerView *view = CommandRead(options, console, server, kParts, &reader, &status);
        if (view == nullptr)
            continue;
        if (!IsReadable(*view))
            status =
                CommandBoth(status, CommandFailed(options, console, server, kExitSilent, kSilent));
        answers.Add(server, RowsOf(server, Selected(options, ModelRecordsOf(*view))));
    }
    return answers.End(status);
}
