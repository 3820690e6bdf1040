// SPDX-License-Identifier: Apache-2.0
// pattern_names.h -- the names that a pattern finds in a text, to compare two texts by them.
#ifndef TESTS_PROGRAMS_PATTERN_NAMES_H
#define TESTS_PROGRAMS_PATTERN_NAMES_H

#include <regex>
#include <set>
#include <string>

using Names = std::set<std::string>;

// Every match: its groups, joined.
inline Names Matches(const std::string &text, const char *pattern)
{
    const std::regex regex(pattern);
    Names names;
    for (std::sregex_iterator at(text.begin(), text.end(), regex); at != std::sregex_iterator();
         ++at) {
        std::string joined;
        for (size_t group = 1; group < at->size(); ++group)
            joined += (*at)[group].str();
        names.insert(joined);
    }
    return names;
}

// A line for each.
inline std::string Joined(const Names &names)
{
    std::string text;
    for (const std::string &name : names)
        text += name + "\n";
    return text;
}

#endif
