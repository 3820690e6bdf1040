// SPDX-License-Identifier: Apache-2.0
// cmd_export.cpp -- export: readings for Prometheus, on standard output or for the textfile
// collector of its node exporter.
//
// A silent server is no failure here: smclp_up says it, and the others' readings are wanted.
#include "ctl/commands.h"
#include "ctl/prometheus.h"
#include "ctl/whole_file.h"

#include <errno.h>
#include <string.h>

CtlExit CmdExport(const Options &options, const Console &console)
{
    PrometheusText text;
    ViewReader reader;
    for (const Server &server : CommandServers(options))
        text.Add(server.name, reader.Read(server.directory, kViewAll & ~u32{kViewRecords}));
    if (options.output.empty()) {
        fputs(text.Text().c_str(), console.out);
        if (fflush(console.out) == 0 && ferror(console.out) == 0)
            return kExitDone;
        return CommandFailed(options, console, {}, kExitFailed,
                             std::string("cannot write: ") + strerror(errno));
    }
    const int error = WholeFileWrite(options.output, text.Text());
    if (error == 0)
        return kExitDone;
    return CommandFailed(options, console, {}, kExitFailed,
                         options.output + ": " + strerror(error));
}
