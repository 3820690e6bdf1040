// SPDX-License-Identifier: Apache-2.0
// audit.h -- the services' record of who did what, as it stands in the system's log.
//
// The services write the record to the system log (facility authpriv; the lines: objmgrd/record.h).
// It is read from there and kept nowhere else: the log has the machine's own rotation, rights and
// forwarding. From the journal a line counts only by what the kernel has said of its writer: that
// root or the object manager's owner ran it (_UID), and that it was a service (_COMM, and _EXE
// where the journal has it). The journal's other fields are the writer's own words. In a text file
// anybody who may use the log can have written anything.
#ifndef CTL_AUDIT_H
#define CTL_AUDIT_H

#include "ctl/sheet.h"

#include <optional>

// The programs that write the record, as _COMM has them.
constexpr const char *kAuditServices[] = {"objmgrd-sim", "objmgrd-ipmi", "objmgrd-redfish"};

// Who may have written a line of the journal, besides root.
struct AuditTrust {
    std::optional<u32> owner;
};

struct AuditEvent {
    std::optional<i64> time;                                  // seconds since 1970
    std::vector<std::pair<std::string, std::string>> values;  // as the line has them, "-" left out
};

// Takes one line apart: of `journalctl -o json`, or of a log file with times as in
// "2026-11-21T20:03:03.1+00:00" or, in this machine's zone and the year before `now`, "Nov 21
// 20:03:03". False: it is no event of a service, or not to be trusted.
bool AuditParseLine(const std::string &line, const AuditTrust &trust, i64 now, AuditEvent *event);

extern const SheetForm kAuditForm;
Row AuditRow(const AuditEvent &event);

#endif
