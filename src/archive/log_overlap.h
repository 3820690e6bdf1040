// SPDX-License-Identifier: Apache-2.0
// log_overlap.h -- which records of a log are new to somebody who has seen it before.
//
// A log grows at its end. It may lose records at its beginning (a full log drops the oldest), lose
// all of them (somebody clears it), and a source that reads it piece by piece shows its first
// records alone for a while. Records have numbers, but those begin anew with each of these; what
// stays is what a record says, and the order.
#ifndef ARCHIVE_LOG_OVERLAP_H
#define ARCHIVE_LOG_OVERLAP_H

#include "platform/types.h"

#include <span>
#include <string_view>

// Stands for one record: equal records have equal marks.
using LogMark = u64;

// time: as the record has it; two records of one time and text are taken for one and the same only
// where their places in the log say so, too.
LogMark LogMarkOf(std::string_view time, std::string_view description);

// How many records at the front of `log` are among those that were seen: `seen` in the order in
// which they were seen, since the log was last known to be empty. The rest is new. The most that
// fits counts: either all of `log` stands somewhere in `seen`, or `seen` ends with what `log`
// begins with.
size_t LogOverlap(std::span<const LogMark> seen, std::span<const LogMark> log);

// The same, and where in `seen` the first of them stands; with none of them at its end.
struct LogOverlapPlace {
    size_t place;
    size_t length;
};
LogOverlapPlace LogOverlapFind(std::span<const LogMark> seen, std::span<const LogMark> log);

#endif
