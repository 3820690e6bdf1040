// SPDX-License-Identifier: Apache-2.0
// archive_line.h -- one line of an archive: a log record that stays, or that the log was cleared.
//
//   {"schema":1,"id":"9c2f...","record":7,"time":"2024-02-29T06:58:12Z","boot":false,
//    "description":"DIMM E was replaced.","archived":"2024-02-29T06:58:13Z"}
//   {"schema":1,"cleared":"2024-03-01T00:00:00Z"}
//
// each on a line of its own, in this order of members, without blanks outside texts. "id" stands
// for what the record says (archive/log_overlap.h), in sixteen hexadecimal digits: records of equal
// time and description have equal ones. "time" is null for a record without one; "boot" is true for
// one from before the controller knew the time.
#ifndef ARCHIVE_ARCHIVE_LINE_H
#define ARCHIVE_ARCHIVE_LINE_H

#include "archive/log_overlap.h"

#include <optional>
#include <string>

struct ArchiveRecord {
    u32 number = 0;           // RecordNum
    std::optional<i64> time;  // seconds since 1970; none: it has none
    bool boot = false;
    std::string description;  // UTF-8

    bool operator==(const ArchiveRecord &) const = default;
};

LogMark ArchiveMarkOf(const ArchiveRecord &record);

// The line, with its line break. now: seconds since 1970.
std::string ArchiveLineOf(const ArchiveRecord &record, i64 now);
std::string ArchiveClearedLine(i64 now);

// What a line, without its line break, is. Only what the functions above write is known again.
enum class ArchiveLineKind : u8 { Record, Cleared, Other };
ArchiveLineKind ArchiveLineKindOf(std::string_view line, LogMark *mark);

#endif
