// SPDX-License-Identifier: Apache-2.0
// archive_reader.h -- reads an archive of log records (archive/archive_writer.h).
#ifndef CTL_ARCHIVE_READER_H
#define CTL_ARCHIVE_READER_H

#include "archive/archive_line.h"

#include <vector>

struct ArchiveContent {
    std::vector<ArchiveRecord> records;  // oldest first
    // Marks of the records since the log was last cleared, for LogOverlap.
    std::vector<LogMark> marks;
};

// Reads every whole line of the archive in a directory; lines of another kind, and a line that is
// being written, are passed over. A file that is dropped meanwhile is, too. 0 or an errno value.
int ArchiveRead(const std::string &directory, ArchiveContent *content);

// One line without its line break. False: it is no record's.
bool ArchiveParseRecord(const std::string &line, ArchiveRecord *record);

#endif
