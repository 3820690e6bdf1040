// SPDX-License-Identifier: Apache-2.0
// archive_line.cpp -- see archive_line.h.
#include "archive/archive_line.h"

#include <charconv>
#include <stdio.h>
#include <time.h>

namespace
{

constexpr std::string_view kRecordHead = "{\"schema\":1,\"id\":\"";
constexpr std::string_view kClearedHead = "{\"schema\":1,\"cleared\":\"";
constexpr size_t kIdDigits = 16;

std::string TimeText(i64 seconds)
{
    const time_t time = static_cast<time_t>(seconds);
    tm parts = {};
    char text[64] = "";
    if (gmtime_r(&time, &parts) != nullptr)
        strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string Quoted(std::string_view text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        char escape[8];
        if (c == '"' || c == '\\')
            quoted.append(1, '\\').append(1, c);
        else if (static_cast<u8>(c) < 0x20)
            quoted.append(escape, static_cast<size_t>(snprintf(escape, sizeof escape, "\\u%04x",
                                                               static_cast<u8>(c))));
        else
            quoted += c;
    }
    return quoted + "\"";
}

}  // namespace

LogMark ArchiveMarkOf(const ArchiveRecord &record)
{
    const std::string time = record.time ? std::to_string(*record.time) : record.boot ? "boot" : "";
    return LogMarkOf(time, record.description);
}

std::string ArchiveLineOf(const ArchiveRecord &record, i64 now)
{
    char id[kIdDigits + 1];
    snprintf(id, sizeof id, "%016llx", static_cast<unsigned long long>(ArchiveMarkOf(record)));
    std::string line(kRecordHead);
    line.append(id).append("\",\"record\":").append(std::to_string(record.number));
    line.append(",\"time\":").append(record.time ? Quoted(TimeText(*record.time)) : "null");
    line.append(",\"boot\":").append(record.boot ? "true" : "false");
    line.append(",\"description\":").append(Quoted(record.description));
    return line.append(",\"archived\":").append(Quoted(TimeText(now))).append("}\n");
}

std::string ArchiveClearedLine(i64 now)
{
    return std::string(kClearedHead) + TimeText(now) + "\"}\n";
}

ArchiveLineKind ArchiveLineKindOf(std::string_view line, LogMark *mark)
{
    if (line.starts_with(kClearedHead))
        return ArchiveLineKind::Cleared;
    if (!line.starts_with(kRecordHead) || line.size() < kRecordHead.size() + kIdDigits)
        return ArchiveLineKind::Other;
    const char *begin = line.data() + kRecordHead.size();
    const auto parsed = std::from_chars(begin, begin + kIdDigits, *mark, 16);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == begin + kIdDigits;
    return whole ? ArchiveLineKind::Record : ArchiveLineKind::Other;
}
