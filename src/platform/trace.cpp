// SPDX-License-Identifier: Apache-2.0
// trace.cpp -- one line per fault, to a file or the system log.
#include "platform/trace.h"

#include "platform/syslog_line.h"

#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

namespace
{

const char *gName;
int gFile = -1;
bool gFileIsPipe;
bool gTargetChosen;
SyslogLine gLog = {nullptr, LOG_DAEMON, nullptr, -1, 0, -1};  // until a target is chosen

// Decided at the first trace: most sessions never write one.
void ChooseTarget()
{
    gTargetChosen = true;
    const char *path = secure_getenv("ZORTRACE");
    if (path != nullptr && *path != '\0')
        gFile = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
    struct stat file = {};
    gFileIsPipe = gFile != -1 && fstat(gFile, &file) == 0 && S_ISFIFO(file.st_mode);
    gLog = SyslogTo(gName, LOG_DAEMON);
}

// One write, so that the lines of several shells never mix. What does not go out (a full disk, a
// full pipe) is lost: there is nobody to tell.
void WriteToFile(const char *line, size_t length)
{
    if (!gFileIsPipe) {
        (void)!write(gFile, line, length);
        return;
    }
    // The reader of a pipe may be gone: that ends no shell.
    sigset_t brokenPipe;
    sigset_t before;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    sigprocmask(SIG_BLOCK, &brokenPipe, &before);
    if (write(gFile, line, length) == -1 && sigismember(&before, SIGPIPE) == 0) {
        const timespec now = {0, 0};
        sigtimedwait(&brokenPipe, nullptr, &now);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

void TraceOpen(const char *name)
{
    gName = name;
}

void TraceClose()
{
    if (gFile != -1)
        close(gFile);
    else
        SyslogClose(&gLog);
    gFile = -1;
    gTargetChosen = false;
}

void TraceLogMessage(u32, const char *format, ...)
{
    if (!gTargetChosen)
        ChooseTarget();
    if (gFile == -1 && !SyslogIsThere(&gLog)) {
        ++gLog.lost;
        return;
    }

    char line[512];
    va_list arguments;
    va_start(arguments, format);
    const int written = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (written < 0)
        return;
    size_t length = strlen(line);
    if (static_cast<size_t>(written) >= sizeof line)
        line[length - 1] = '\n';

    if (gFile == -1)
        SyslogWrite(&gLog, LOG_ERR, line);
    else
        WriteToFile(line, length);
}
