// SPDX-License-Identifier: Apache-2.0
// log_map.h -- which of a service's logs is the System Event Log, and its entries as records.
#ifndef OBJMGRD_REDFISH_LOG_MAP_H
#define OBJMGRD_REDFISH_LOG_MAP_H

#include "objmgrd/log_time.h"
#include "objmgrd/redfish/link.h"

// Records that are held; of a longer log the newest. Clients count them in 16 bits.
constexpr size_t kLogEntriesMax = 10000;

enum class LogOwner : u8 { System, Manager, Chassis };  // in the order of preference

struct LogService {
    LogOwner owner = LogOwner::System;
    std::string link;
    JsonValue document;  // of the LogService
};

// The place of the one to read; -1: none of them is a log of the hardware's events. Audit,
// security and console logs, journals and dumps are not. Of equally good ones the first; but before
// is the address of the one that was chosen before, and it stays that.
int ChooseLog(const std::vector<LogService> &services, const std::string &before = "");

struct LogEntry {
    std::string id;  // Id, else the last part of the address
    LogTimes times;
    std::optional<i64> seconds;  // since 1970, where it has a time
    std::string description;

    bool operator==(const LogEntry &) const = default;
};

LogEntry LogEntryOf(JsonValue document);

// Seconds since 1970 of "2026-03-14T09:26:53+01:00", with or without a fraction of a second and an
// offset (none: UTC). Nothing for what is no such time.
std::optional<i64> RedfishTime(std::string_view text);

// Oldest first: by the numbers in the ids where all are alike but for these ("12", "SEL-3",
// "1700000100_1"), else by time.
void SortLog(std::vector<LogEntry> *entries);

#endif
