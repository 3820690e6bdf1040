// SPDX-License-Identifier: Apache-2.0
// archive_settings.h -- where a service keeps log records for good, as its settings say it:
//
//   archive = "/var/lib/zor/archive"   an absolute directory that exists and is the service's own;
//                                      "" or absent: nothing is stored
//   archive_mb = 16                    all its files together, 1 to 10000 MB (1024 * 1024 bytes)
//
// at the top of the file, before any table.
#ifndef OBJMGRD_ARCHIVE_SETTINGS_H
#define OBJMGRD_ARCHIVE_SETTINGS_H

#include "platform/types.h"

#include <string>

struct ArchiveSettings {
    std::string directory;  // empty: nothing is stored
    u32 megabytes = 16;
};

constexpr u32 kArchiveMegabytesMost = 10000;

// For readers of settings (objmgrd/toml.h). Whether `key` is one of the two; *fault is what is
// wrong with its value, or empty. Node: toml::node, left open so that others need not include TOML.
template <typename Node>
bool ArchiveSettingsKey(std::string_view key, const Node &node, ArchiveSettings *settings,
                        std::string *fault)
{
    fault->clear();
    if (key == "archive") {
        const auto text = node.template value_exact<std::string>();
        if (!text || (!text->empty() && text->front() != '/'))
            *fault = "archive is an absolute directory";
        else
            settings->directory = *text;
        return true;
    }
    if (key != "archive_mb")
        return false;
    const auto number = node.template value_exact<i64>();
    if (!number || *number < 1 || *number > kArchiveMegabytesMost)
        *fault = "archive_mb is a number from 1 to 10000";
    else
        settings->megabytes = static_cast<u32>(*number);
    return true;
}

#endif
