// SPDX-License-Identifier: Apache-2.0
// view.h -- one server's instances at one moment, as a list.
//
// What the commands make their answers of. Where it comes from is view_reader.h's affair.
#ifndef CTL_VIEW_H
#define CTL_VIEW_H

#include "objmgr/objmgr.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// One that can be read: others are not in the list.
struct ViewProperty {
    std::string_view name;  // a record's Timestamp stands here in its form with fourteen digits
    std::string_view text;
};

struct ViewInstance {
    std::string_view key;  // the object path
    CimStatus status = kCimOk;
    std::span<const ViewProperty> properties;  // none when the status is not 0
    std::string_view unit;                     // of the reading; empty: not said
    u32 source = 0;  // which of ServerView::sources it comes from; another number: not said
};

// Where values come from: a simulated host, a BMC.
struct ViewSource {
    std::string name;
    std::optional<double> ageSeconds;  // since it was last heard; none: never, or not said
};

// The views point into storage that whoever made the view keeps until the next one.
struct ServerView {
    std::string service;                  // who serves: "objmgrd-ipmi"; empty: not said
    std::vector<ViewSource> sources;      // may be empty
    std::vector<ViewInstance> instances;  // in any order
};

// The text of a property; nothing when the instance has no such property or it cannot be read.
std::optional<std::string_view> ViewText(const ViewInstance &instance, std::string_view property);

// How long ago the source of an instance was heard; nothing when that is not said.
std::optional<double> ViewAge(const ServerView &view, const ViewInstance &instance);

#endif
