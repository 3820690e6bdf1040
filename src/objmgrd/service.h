// SPDX-License-Identifier: Apache-2.0
// service.h -- what every object manager program does around its provider.
//
//   NAME --OPTION FILE [--dir DIR] [--rights FILE]
//                                          serve in DIR (default $ZOROBJMGR, else
//                                          kObjMgrDefaultDir) until SIGINT or SIGTERM; who may do
//                                          what says FILE (objmgrd/rights.h; default
//                                          kRightsDefaultFile where there is one), which SIGHUP
//                                          has read again: one that is not right changes nothing
//   NAME --OPTION FILE -- COMMAND [ARG...] serve in a private directory while COMMAND runs, with
//                                          ZOROBJMGR (and ZORSSNDIR, unless it is set) pointing
//                                          there, and exit with its status. It is started once
//                                          the provider is ready, after 10 s at the latest
//   NAME --OPTION FILE [--rights FILE] --check
//                                          say what is wrong in the files
//   NAME --help, --version
//
// Exit status: 0, or the command's; 1 the file is not right or the service cannot run; 2 wrong
// usage; 126, 127 the command cannot be started, as shells say it; 128 + N signal N ended it.
#ifndef OBJMGRD_SERVICE_H
#define OBJMGRD_SERVICE_H

#include "objmgrd/file_note.h"
#include "objmgrd/provider.h"

#include <memory>

struct ServiceProgram {
    const char *name;        // "objmgrd-sim": for messages and the system log
    const char *fileOption;  // "host": the option, without "--", that names the file
    const char *usage;       // the text of --help
    // Makes the provider that the file describes, or returns null when the file is not right;
    // *notes gets what is to be said about it. Called also for --check: nothing is started and
    // nothing outside is changed before the provider's Load.
    std::unique_ptr<Provider> (*makeProvider)(const char *file, std::vector<FileNote> *notes);
};

// The whole program. The provider is destroyed before it returns.
int ServiceMain(const ServiceProgram &program, int argc, char **argv);

// One line, without a line break, for the administrator: priorities of <syslog.h>. Goes to the
// system log; in the foreground what is LOG_NOTICE or worse goes to standard error instead (with
// a COMMAND only LOG_ERR or worse, since the terminal is its user's). Main thread only.
void ServiceLog(int priority, const char *line);

#endif
