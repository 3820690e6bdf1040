// SPDX-License-Identifier: Apache-2.0
// syslog_line.h -- lines to the system log that hold nobody up.
//
// The C library's syslog() waits while the log does not read: whoever can stop the log then stops
// every program that writes to it. Here a line is one datagram to /dev/log that does not block.
// What does not go out is counted, and the number is told as soon as a line goes out again.
//
// One thread. A log that is restarted, or comes only later, is found within a second.
#ifndef PLATFORM_SYSLOG_LINE_H
#define PLATFORM_SYSLOG_LINE_H

#include "platform/types.h"

// Bytes of one datagram, its head included; a longer line is cut.
constexpr size_t kSyslogLineMax = 2048;

// One way to the system log. Plain: begins as the value that SyslogTo returns.
struct SyslogLine {
    const char *name;  // of the program; kept, not copied
    int facility;      // of <syslog.h>, for lines that bring none
    const char *path;  // of the log's socket: /dev/log
    int fd;            // -1: not connected
    u32 lost;          // lines that did not go out and were not told of
    i64 triedSecond;   // CLOCK_MONOTONIC: when a connection was last looked for
};

// Opens nothing yet. `name`: of the program, null for none.
SyslogLine SyslogTo(const char *name, int facility);

// Whether there is a log to write to, looked for at most once a second: saves the caller a line
// that would be lost (and is then his to count).
bool SyslogIsThere(SyslogLine *log);

// One line. priority: of <syslog.h>, with or without a facility. A line break at its end is left
// out, every other control character becomes "?".
void SyslogWrite(SyslogLine *log, int priority, const char *line);

// Tells how many lines were lost, where there are some and the log takes a line again. SyslogWrite
// does it by itself; this is for a program that has nothing to write for a while.
void SyslogTellLost(SyslogLine *log);

// Tells what was lost, if it can, and closes the connection; a later line opens it again.
void SyslogClose(SyslogLine *log);

#endif
