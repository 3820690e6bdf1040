// SPDX-License-Identifier: Apache-2.0
// syslog_line.cpp -- see syslog_line.h.
#include "platform/syslog_line.h"

#include <errno.h>
#include <paths.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

namespace
{

constexpr int kPriorityMask = 0x07;
constexpr int kFacilityMask = 0x03f8;

i64 NowSecond()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

void Disconnect(SyslogLine *log)
{
    if (log->fd != -1)
        close(log->fd);
    log->fd = -1;
}

// At most once a second.
void Connect(SyslogLine *log)
{
    const i64 now = NowSecond();
    if (now == log->triedSecond)
        return;
    log->triedSecond = now;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t length = strlen(log->path);
    if (length >= sizeof address.sun_path)
        return;
    memcpy(address.sun_path, log->path, length + 1);
    log->fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (log->fd != -1 &&
        connect(log->fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        Disconnect(log);
}

// "<30>Nov 21 09:05:00 name[123]: ", which every system log takes. Returns its length.
size_t WriteHead(const SyslogLine *log, int priority, char *out, size_t size)
{
    static constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    if ((priority & kFacilityMask) == 0)
        priority |= log->facility;
    timespec now = {};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    const char *name = log->name != nullptr ? log->name : "-";
    const int length = snprintf(out, size, "<%d>%.3s %2d %02d:%02d:%02d %.64s[%d]: ",
                                priority & (kPriorityMask | kFacilityMask),
                                kMonths + 3 * (local.tm_mon % 12), local.tm_mday, local.tm_hour,
                                local.tm_min, local.tm_sec, name, static_cast<int>(getpid()));
    return length > 0 ? static_cast<size_t>(length) : 0;
}

size_t WriteText(const char *line, char *out, size_t size)
{
    size_t length = strnlen(line, size);
    if (length > 0 && line[length - 1] == '\n')
        --length;
    for (size_t i = 0; i < length; ++i) {
        const u8 byte = static_cast<u8>(line[i]);
        out[i] = byte < 0x20 || byte == 0x7f ? '?' : line[i];
    }
    return length;
}

// True when it went out. A log that was restarted has another socket under the old name.
bool Send(SyslogLine *log, int priority, const char *line)
{
    if (!SyslogIsThere(log))
        return false;  // before anything is formatted: one command can write thousands of lines
    char datagram[kSyslogLineMax];
    size_t length = WriteHead(log, priority, datagram, sizeof datagram);
    length += WriteText(line, datagram + length, sizeof datagram - length);
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!SyslogIsThere(log))
            return false;
        if (send(log->fd, datagram, length, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
            return true;
        if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM)
            return false;
        Disconnect(log);
    }
    return false;
}

}  // namespace

bool SyslogIsThere(SyslogLine *log)
{
    if (log->fd == -1)
        Connect(log);
    return log->fd != -1;
}

SyslogLine SyslogTo(const char *name, int facility)
{
    return {.name = name,
            .facility = facility,
            .path = _PATH_LOG,
            .fd = -1,
            .lost = 0,
            .triedSecond = -1};
}

void SyslogTellLost(SyslogLine *log)
{
    if (log->lost == 0)
        return;
    char line[64];
    snprintf(line, sizeof line, "%u lines lost: the system log did not take them", log->lost);
    if (Send(log, LOG_WARNING, line))
        log->lost = 0;
}

void SyslogWrite(SyslogLine *log, int priority, const char *line)
{
    SyslogTellLost(log);
    // In order: what comes after the lost lines comes after the number of them.
    if (log->lost != 0 || !Send(log, priority, line))
        ++log->lost;
}

void SyslogClose(SyslogLine *log)
{
    SyslogTellLost(log);
    Disconnect(log);
    log->triedSecond = -1;
}
