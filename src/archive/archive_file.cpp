// SPDX-License-Identifier: Apache-2.0
// archive_file.cpp -- see archive_file.h.
#include "archive/archive_file.h"

#include <charconv>
#include <stdio.h>

namespace
{

constexpr std::string_view kBefore = "log-";
constexpr std::string_view kAfter = ".jsonl";

}  // namespace

std::string ArchiveFileName(u32 number)
{
    char digits[16];
    snprintf(digits, sizeof digits, "%0*u", static_cast<int>(kArchiveFileDigits), number);
    return std::string(kBefore).append(digits).append(kAfter);
}

std::optional<u32> ArchiveFileNumber(std::string_view name)
{
    if (!name.starts_with(kBefore))
        return std::nullopt;
    name.remove_prefix(kBefore.size());
    if (!name.ends_with(kAfter))
        return std::nullopt;
    name.remove_suffix(kAfter.size());
    if (name.size() != kArchiveFileDigits)
        return std::nullopt;
    u32 number = 0;
    const char *end = name.data() + name.size();
    const auto parsed = std::from_chars(name.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end || number == 0)
        return std::nullopt;
    return number;
}
