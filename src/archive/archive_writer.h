// SPDX-License-Identifier: Apache-2.0
// archive_writer.h -- keeps log records for good: each once, also those that the log then loses.
//
// The archive is a directory of files log-000001.jsonl, log-000002.jsonl ... (archive_line.h), the
// newest being appended to. All files together stay below a size; the oldest is dropped for that.
// Whatever ends the writer (kill -9, a full disk, the power), the files hold whole lines of records
// in their order: a line that was begun is taken back or cut off at the next start, and what is in
// the files is not written again. What the log held and could not be written is written later,
// as long as the log still holds it.
//
// Everything here may wait for the disk: it belongs into a thread of its own.
#ifndef ARCHIVE_ARCHIVE_WRITER_H
#define ARCHIVE_ARCHIVE_WRITER_H

#include "archive/archive_line.h"

#include <vector>

constexpr u64 kArchiveLeastBytes = 64 * 1024;
constexpr u64 kArchiveDefaultBytes = u64{16} * 1024 * 1024;
constexpr u32 kArchiveFiles = 8;  // about as many files share the size
// So many records are compared with what the log holds: more than a log has.
constexpr size_t kArchiveMarksMost = 65536;

class ArchiveWriter
{
public:
    ArchiveWriter() = default;
    ~ArchiveWriter();
    ArchiveWriter(const ArchiveWriter &) = delete;
    ArchiveWriter &operator=(const ArchiveWriter &) = delete;

    // Opens the directory, which must exist, and reads what is there. mostBytes: of all files
    // together, at least kArchiveLeastBytes. 0 or an errno value; EBUSY: another writer is there.
    int Open(const std::string &directory, u64 mostBytes);

    // Says what the log holds now, oldest first; an empty log has been cleared. Not to be called
    // while the log cannot be read. 0: every record is in the archive, on the disk; else an errno
    // value: some are, whole, and the next call writes the others.
    int Update(const std::vector<ArchiveRecord> &log);

private:
    int ReadFile(u32 number);
    int Cut(u64 size);
    int Append(const std::string &line);
    int StartFile(u32 number);
    int DropOldest();
    void Remember(LogMark mark);

    int directory_ = -1;
    int lock_ = -1;
    int file_ = -1;
    u64 mostBytes_ = 0;
    u32 fileNumber_ = 0;
    u64 fileSize_ = 0;
    struct OlderFile {
        u32 number;
        u64 size;
    };
    std::vector<OlderFile> older_;  // in the order of their numbers
    std::vector<LogMark> seen_;     // since the log was last cleared
    bool saysCleared_ = false;      // a line is to be written that the log was cleared
};

#endif
