// SPDX-License-Identifier: Apache-2.0
// log_select.cpp -- see log_select.h.
#include "ctl/log_select.h"

std::vector<ModelRecord> LogSinceTime(const std::vector<ModelRecord> &records, i64 time)
{
    std::vector<ModelRecord> selected;
    std::optional<i64> last;
    for (const ModelRecord &record : records) {
        if (record.time)
            last = record.time;
        if (last && *last >= time)
            selected.push_back(record);
    }
    return selected;
}

std::vector<ModelRecord> LogAfterRecord(const std::vector<ModelRecord> &records, u32 number)
{
    std::vector<ModelRecord> selected;
    for (const ModelRecord &record : records) {
        if (record.number > number)
            selected.push_back(record);
    }
    return selected;
}

std::vector<LogMark> LogMarksOf(const std::vector<ModelRecord> &records)
{
    std::vector<LogMark> marks;
    marks.reserve(records.size());
    for (const ModelRecord &record : records)
        marks.push_back(ArchiveMarkOf({0, record.time, record.boot, record.description.text}));
    return marks;
}

std::vector<ModelRecord> LogFollower::News(const std::vector<ModelRecord> &records, bool readable)
{
    if (!readable)
        return {};
    const std::vector<LogMark> marks = LogMarksOf(records);
    if (marks.empty())
        seen_.clear();
    const size_t known = LogOverlap(seen_, marks);
    seen_.insert(seen_.end(), marks.begin() + static_cast<std::ptrdiff_t>(known), marks.end());
    return {records.begin() + static_cast<std::ptrdiff_t>(known), records.end()};
}
