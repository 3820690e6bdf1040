// SPDX-License-Identifier: Apache-2.0
// fuzz_host_list.cpp -- any text as a list of servers' names; what it stands for, folded again.
#include "ctl/host_list.h"

#include <algorithm>
#include <stdlib.h>

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::vector<std::string> names;
    const std::string wrong = HostListExpand(text, &names);
    if (wrong.empty() == names.empty())
        abort();
    if (!wrong.empty())
        return 0;
    for (const std::string &name : names) {
        if (name.empty() || name.size() > kHostNameMost || name[0] == '.' ||
            name.find('/') != std::string::npos)
            abort();
    }
    // More names take time and no other way through the code.
    if (names.size() > 1000)
        return 0;
    std::vector<std::string> again;
    if (!HostListExpand(HostListFold(names), &again).empty())
        abort();
    std::sort(names.begin(), names.end());
    std::sort(again.begin(), again.end());
    if (names != again)
        abort();
    return 0;
}
