// SPDX-License-Identifier: Apache-2.0
// snapshot.cpp -- see snapshot.h.
#include "ctl/snapshot.h"

std::optional<std::string_view> SnapshotText(const SnapshotInstance &instance,
                                             std::string_view property)
{
    if (instance.status != kCimOk)
        return std::nullopt;
    for (const SnapshotProperty &row : instance.properties) {
        if (row.name == property)
            return row.status == kCimOk ? std::optional(row.text) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<double> SnapshotAge(const Snapshot &snapshot, const SnapshotInstance &instance)
{
    if (instance.source >= snapshot.sources.size())
        return std::nullopt;
    return snapshot.sources[instance.source].ageSeconds;
}
