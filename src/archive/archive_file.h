// SPDX-License-Identifier: Apache-2.0
// archive_file.h -- the names of an archive's files: log-000001.jsonl, log-000002.jsonl ...
#ifndef ARCHIVE_ARCHIVE_FILE_H
#define ARCHIVE_ARCHIVE_FILE_H

#include "platform/types.h"

#include <optional>
#include <string>
#include <string_view>

// With as many digits as make the order of the names that of the numbers.
constexpr size_t kArchiveFileDigits = 6;

std::string ArchiveFileName(u32 number);

// The number in a name with one to kArchiveFileDigits digits; none: the file is not the archive's.
std::optional<u32> ArchiveFileNumber(std::string_view name);

#endif
