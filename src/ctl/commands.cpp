// SPDX-License-Identifier: Apache-2.0
// commands.cpp -- see commands.h.
#include "ctl/commands.h"

#include "ctl/host_list.h"
#include "ctl/method_batch.h"
#include "ctl/model.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <time.h>

i64 CommandTime()
{
    return static_cast<i64>(time(nullptr));
}

void CommandSleepMs(u32 ms)
{
    const timespec pause = {ms / 1000, static_cast<long>(ms % 1000) * 1000000};
    nanosleep(&pause, nullptr);
}

bool CommandIsRead(const Console &console)
{
    pollfd polled = {fileno(console.out), 0, 0};
    return polled.fd < 0 || poll(&polled, 1, 0) <= 0 || (polled.revents & POLLERR) == 0;
}

std::vector<Server> CommandServers(const Options &options)
{
    if (!options.several)
        return {{Value(), options.directory}};
    std::vector<Server> servers;
    for (const std::string &name : options.servers)
        servers.push_back({TextValue(name), options.runDirectory + "/" + name});
    return servers;
}

CtlExit CommandFailed(const Options &options, const Console &console, const Server &server,
                      CtlExit status, const std::string &message)
{
    fflush(console.out);  // what was answered comes before what went wrong
    const std::string text = TextValue(message).text;
    if (options.format == OutputFormat::Json || options.format == OutputFormat::JsonLines) {
        const std::string name = server.name.IsNull() ? "null" : JsonText(server.name.text);
        fprintf(console.err,
                "{\"schema\":%d,\"server\":%s,\"error\":{\"exit\":%d,\"message\":%s}}\n",
                kSheetSchema, name.c_str(), status, JsonText(text).c_str());
    } else {
        const std::string name = server.name.IsNull() ? "" : server.name.text + ": ";
        fprintf(console.err, "smclpctl: %s%s\n", name.c_str(), text.c_str());
    }
    return status;
}

CtlExit CommandBoth(CtlExit one, CtlExit other)
{
    if (one == other || other == kExitDone)
        return one;
    return one == kExitDone ? other : kExitFailed;
}

const ServerView *CommandRead(const Options &options, const Console &console, const Server &server,
                              u32 parts, ViewReader *reader, CtlExit *status)
{
    const ServerView *view = reader->Read(server.directory, parts);
    if (view == nullptr)
        *status = CommandBoth(
            *status, CommandFailed(options, console, server, reader->Exit(), reader->Reason()));
    return view;
}

const ServerView *CommandReadHost(const Options &options, const Console &console,
                                  const Server &server, u32 parts, ViewReader *reader,
                                  CtlExit *status)
{
    const ServerView *view = CommandRead(options, console, server, parts, reader, status);
    if (view != nullptr && !ModelSystemOf(*view).readable)
        *status = CommandBoth(
            *status, CommandFailed(options, console, server, kExitSilent, "the source is silent"));
    return view;
}

bool CommandMayChange(const Options &options, const Console &console, const std::string &what)
{
    if (options.yes || options.servers.size() <= kOptionsServersUnasked)
        return true;
    const std::string servers =
        std::to_string(options.servers.size()) + " servers (" + HostListFold(options.servers) + ")";
    if (console.ask == nullptr) {
        CommandFailed(options, console, {}, kExitUsage, what + " of " + servers + " needs --yes");
        return false;
    }
    return console.ask(what + " of " + servers + "? ");
}

std::vector<MethodAnswer> CommandInvoke(const Options &options, const Console &console,
                                        CtlExit *status,
                                        const std::function<MethodAnswer(const Server &)> &call)
{
    const std::vector<Server> servers = CommandServers(options);
    std::vector<MethodAnswer> answers(servers.size());
    fflush(console.out);  // or each process would have a copy of what waits there
    MethodBatch(
        servers.size(), {options.everyServers, options.everySeconds * 1000},
        [&](size_t number) { return call(servers[number]); },
        [&](size_t number, const MethodAnswer &answer) {
            answers[number] = answer;
            if (answer.status != kExitDone)
                *status = CommandBoth(*status, CommandFailed(options, console, servers[number],
                                                             answer.status, answer.message));
        });
    return answers;
}

Answers::Answers(const Options &options, const Console &console, const SheetForm &form, Shape shape)
    : options_(options), console_(console), form_(form), shape_(shape),
      fold_(options.several && options.format == OutputFormat::Table),
      output_(console.out, options.format, form, CommandTime(), console.color)
{
    if (fold_ && shape == Shape::OneRow)
        output_.ShowServers();
}

void Answers::Stream()
{
    if (fold_)
        output_.ShowServers();
    fold_ = false;
    output_.Stream();
}

void Answers::Add(const Server &server, const std::vector<Row> &rows)
{
    answered_ = true;
    if (fold_) {
        answers_.push_back({server.name.text, rows});
        return;
    }
    for (const Row &row : rows)
        output_.Add(row);
}

CtlExit Answers::End(CtlExit status)
{
    if (!answered_ && status != kExitDone)
        return status;
    const size_t server = ColumnIndex(form_, "server");
    for (FoldedAnswer &answer : FoldAnswers(form_, answers_)) {
        if (shape_ == Shape::ManyRows)
            output_.Title(answer.servers + ":");
        for (Row &row : answer.rows) {
            row[server] = TextValue(answer.servers);
            output_.Add(row);
        }
    }
    if (output_.End())
        return status;
    const int error = errno;
    return CommandFailed(options_, console_, {}, kExitFailed,
                         std::string("cannot write: ") + strerror(error));
}

CtlExit CommandRun(const Options &options, const Console &console)
{
    switch (options.command) {
    case CommandId::Sensors:
        return CmdSensors(options, console);
    case CommandId::System:
        return CmdSystem(options, console);
    case CommandId::Power:
        return CmdPower(options, console);
    case CommandId::Log:
        return CmdLog(options, console);
    case CommandId::Watch:
        return CmdWatch(options, console);
    case CommandId::Health:
        return CmdHealth(options, console);
    case CommandId::Audit:
        return CmdAudit(options, console);
    case CommandId::Export:
        break;
    }
    return CmdExport(options, console);
}
