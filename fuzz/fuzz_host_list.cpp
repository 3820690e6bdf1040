// SPDX-License-Identifier: Apache-2.0
// fuzz_host_list.cpp -- any text as a list of servers' names; what it stands for, folded again.
//
// The limits are small ones, which are met as often as any other branch: a short text stands for
// thousands of names, and more names take time and no other way through the code. One text of
// four thousand has the real ones, and more names than the small ones allow are not folded.
#include "ctl/host_list.h"
#include "uncounted.h"

#include <algorithm>
#include <numeric>
#include <stdlib.h>

namespace
{

constexpr HostListLimits kSmallLimits = {256, 2000};

FUZZ_UNCOUNTED HostListLimits LimitsFor(std::string_view text)
{
    const u32 sum = std::accumulate(text.begin(), text.end(), 0u);
    return sum % 4096 == 0 ? HostListLimits() : kSmallLimits;
}

FUZZ_UNCOUNTED void CheckNames(const std::vector<std::string> &names, const HostListLimits &limits)
{
    size_t bytes = 0;
    for (const std::string &name : names) {
        bytes += name.size();
        if (name.empty() || name.size() > kHostNameMost || name[0] == '.' ||
            name.find('/') != std::string::npos)
            abort();
    }
    if (names.size() > limits.names || bytes > limits.bytes)
        abort();
}

FUZZ_UNCOUNTED void CheckSame(std::vector<std::string> *names, std::vector<std::string> *again)
{
    std::sort(names->begin(), names->end());
    std::sort(again->begin(), again->end());
    if (*names != *again)
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const HostListLimits limits = LimitsFor(text);
    std::vector<std::string> names;
    const std::string wrong = HostListExpand(text, &names, limits);
    if (wrong.empty() == names.empty())
        abort();
    if (!wrong.empty())
        return 0;
    CheckNames(names, limits);
    if (names.size() > kSmallLimits.names)
        return 0;
    std::vector<std::string> again;
    if (!HostListExpand(HostListFold(names), &again).empty())
        abort();
    CheckSame(&names, &again);
    return 0;
}
