// SPDX-License-Identifier: Apache-2.0
// log_select.h -- which records of a log are asked for.
#ifndef CTL_LOG_SELECT_H
#define CTL_LOG_SELECT_H

#include "archive/archive_line.h"
#include "ctl/model.h"

// Records from `time` on. One without a time of its own counts as of the time of the last record
// before it that has one, and one before all times as older than any.
std::vector<ModelRecord> LogSinceTime(const std::vector<ModelRecord> &records, i64 time);

// Records with a number above this one.
std::vector<ModelRecord> LogAfterRecord(const std::vector<ModelRecord> &records, u32 number);

// What stands for each record where logs are compared.
std::vector<LogMark> LogMarksOf(const std::vector<ModelRecord> &records);

// Tells which records are new from look to look: for --follow.
class LogFollower
{
public:
    // The records that were not there in any look since the log was last empty. readable: whether
    // the log could be read; if not nothing is new, and nothing is forgotten.
    std::vector<ModelRecord> News(const std::vector<ModelRecord> &records, bool readable);

private:
    std::vector<LogMark> seen_;
};

#endif
