// SPDX-License-Identifier: Apache-2.0
// view.cpp -- see view.h.
#include "ctl/view.h"

std::optional<std::string_view> ViewText(const ViewInstance &instance, std::string_view property)
{
    if (instance.status != kCimOk)
        return std::nullopt;
    for (const ViewProperty &row : instance.properties) {
        if (row.name == property)
            return row.text;
    }
    return std::nullopt;
}

std::optional<double> ViewAge(const ServerView &view, const ViewInstance &instance)
{
    if (instance.source >= view.sources.size())
        return std::nullopt;
    return view.sources[instance.source].ageSeconds;
}
