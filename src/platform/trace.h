// SPDX-License-Identifier: Apache-2.0
// trace.h -- internal faults, for field engineers; never on the user's terminal.
//
// A trace is one line. It goes to the file that ZORTRACE names (appended to, created with mode
// 0600 when missing), else to the system log, facility daemon, priority err. A file that cannot
// be opened, and a pipe that nobody has open for reading, silently give way to the system log.
// Nothing waits: what a pipe or a terminal does not take at once is lost, and so is what the system
// log does not take or would have been told (platform/syslog_line.h); the log is told how many
// lines it missed. A set-user-id program ignores ZORTRACE.
#ifndef PLATFORM_TRACE_H
#define PLATFORM_TRACE_H

#include "platform/types.h"

// The one level in use; every other level is written like it.
constexpr u32 kTraceLevel = 8;

// Names the process in the system log; `name` is kept, not copied. Optional.
void TraceOpen(const char *name);
// Closes what tracing opened; a later trace opens it again.
void TraceClose();

// Writes one line: `format` (printf's) begins "ERROR: %s [%d]: " and ends with a new line; the
// first arguments are the source file's base name without its ending and the line number. A line
// of more than 511 characters is cut.
extern "C" void TraceLogMessage(u32 level, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

#define TRACE_ASSERT_FAILED_AT(unit, line) \
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: ** ASSERT FAILED\n", unit, line)
#define TRACE_ASSERT_FAILED(unit) TRACE_ASSERT_FAILED_AT(unit, __LINE__)
#define TRACE_INVALID_PARAMETER(unit) \
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: Invalid parameter\n", unit, __LINE__)
#define TRACE_ACCESS_DENIED(unit) \
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: Access denied\n", unit, __LINE__)
#define TRACE_CIM_STATUS(unit, status)                                                \
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: CIM_STATUS = %d\n", unit, __LINE__, \
                    static_cast<int>(status))

#endif
