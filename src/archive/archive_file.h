// SPDX-License-Identifier: Apache-2.0
// archive_file.h -- the names of an archive's files: log-000001.jsonl, log-000002.jsonl ...
#ifndef ARCHIVE_ARCHIVE_FILE_H
#define ARCHIVE_ARCHIVE_FILE_H

#include "platform/types.h"

#include <optional>
#include <string>
#include <string_view>

// As many digits as make the order of the names that of the numbers.
constexpr size_t kArchiveFileDigits = 6;
constexpr u32 kArchiveFileMost = 999999;

// number: 1 to kArchiveFileMost.
std::string ArchiveFileName(u32 number);

// The number in a name that ArchiveFileName makes; none: the file is not the archive's, and is left
// alone.
std::optional<u32> ArchiveFileNumber(std::string_view name);

#endif
