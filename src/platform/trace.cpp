// SPDX-License-Identifier: Apache-2.0
// trace.cpp -- one line per fault, to a file or the system log.
#include "platform/trace.h"

#include <fcntl.h>
#include <paths.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

static const char *gName;
static int gFile = -1;
static bool gTargetChosen;
static time_t gLookedAt = -1;  // second in which the system log was looked for
static bool gLogIsThere;

// Decided at the first trace: most sessions never write one.
static void ChooseTarget()
{
    gTargetChosen = true;
    const char *path = secure_getenv("ZORTRACE");
    if (path != nullptr && *path != '\0')
        gFile = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    if (gFile == -1)
        openlog(gName, LOG_PID, LOG_DAEMON);
}

// Whether there is a system log to write to, looked at once a second: the C library would try to
// connect for every line, and one command can write thousands.
static bool SystemLogIsThere()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec != gLookedAt) {
        gLookedAt = now.tv_sec;
        gLogIsThere = access(_PATH_LOG, F_OK) == 0;
    }
    return gLogIsThere;
}

void TraceOpen(const char *name)
{
    gName = name;
}

void TraceClose()
{
    if (gFile != -1)
        close(gFile);
    else if (gTargetChosen)
        closelog();
    gFile = -1;
    gTargetChosen = false;
    gLookedAt = -1;
}

void TraceLogMessage(u32, const char *format, ...)
{
    if (!gTargetChosen)
        ChooseTarget();
    if (gFile == -1 && !SystemLogIsThere())
        return;

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

    if (gFile == -1) {
        syslog(LOG_ERR, "%s", line);
        return;
    }
    // One write, so that the lines of several shells never mix. A full disk loses the line: there
    // is nobody to tell.
    if (write(gFile, line, length) == -1)
        return;
}
