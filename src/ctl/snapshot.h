// SPDX-License-Identifier: Apache-2.0
// snapshot.h -- one server's instances at one moment, as a list.
//
// What the commands make their answers of. Where it comes from is snapshot_reader.h's affair.
#ifndef CTL_SNAPSHOT_H
#define CTL_SNAPSHOT_H

#include "objmgr/objmgr.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct SnapshotProperty {
    std::string_view name;  // a form with digits has its suffix: "Timestamp;YYYYMMDDHHMMSS"
    CimStatus status = kCimOk;
    std::string_view text;  // empty when the status is not 0
};

struct SnapshotInstance {
    std::string_view key;  // the object path
    CimStatus status = kCimOk;
    std::span<const SnapshotProperty> properties;  // none when the status is not 0
    std::string_view unit;                         // of the reading; empty: not said
    u32 source = 0;                                // which of Snapshot::sources it comes from
};

// Where values come from: a simulated host, a BMC.
struct SnapshotSource {
    std::string name;
    std::optional<double> ageSeconds;  // since it was last heard; none: never, or not said
};

// The views point into storage that whoever made the snapshot keeps until the next one.
struct Snapshot {
    std::string service;                      // who serves: "objmgrd-ipmi"; empty: not said
    std::optional<double> heartbeatAge;       // seconds
    std::vector<SnapshotSource> sources;      // may be empty
    std::vector<SnapshotInstance> instances;  // in any order
};

// The text of a property; nothing when the instance has no such property or it cannot be read.
std::optional<std::string_view> SnapshotText(const SnapshotInstance &instance,
                                             std::string_view property);

// How long ago the source of an instance was heard; nothing when that is not said.
std::optional<double> SnapshotAge(const Snapshot &snapshot, const SnapshotInstance &instance);

#endif
