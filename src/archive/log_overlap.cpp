// SPDX-License-Identifier: Apache-2.0
// log_overlap.cpp -- see log_overlap.h.
#include "archive/log_overlap.h"

#include <algorithm>

LogMark LogMarkOf(std::string_view time, std::string_view description)
{
    // FNV-1a, with a byte between the two that is in neither.
    u64 hash = 0xcbf29ce484222325u;
    const auto mix = [&hash](u8 byte) { hash = (hash ^ byte) * 0x100000001b3u; };
    for (const char c : time)
        mix(static_cast<u8>(c));
    mix(0);
    for (const char c : description)
        mix(static_cast<u8>(c));
    return hash;
}

LogOverlapPlace LogOverlapFind(std::span<const LogMark> seen, std::span<const LogMark> log)
{
    // From the first place on: an earlier one leaves more of `seen` to be the same.
    for (size_t place = 0; place < seen.size(); ++place) {
        const size_t length = std::min(seen.size() - place, log.size());
        if (std::equal(log.begin(), log.begin() + static_cast<std::ptrdiff_t>(length),
                       seen.begin() + static_cast<std::ptrdiff_t>(place)))
            return {place, length};
    }
    return {seen.size(), 0};
}

size_t LogOverlap(std::span<const LogMark> seen, std::span<const LogMark> log)
{
    return LogOverlapFind(seen, log).length;
}
