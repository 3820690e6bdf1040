// SPDX-License-Identifier: Apache-2.0
// open_descriptors.h -- which file descriptors a test's process has open.
#ifndef TESTS_SUPPORT_OPEN_DESCRIPTORS_H
#define TESTS_SUPPORT_OPEN_DESCRIPTORS_H

#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

// The numbers of all that are open, in their order. That of the look itself is not among them. A
// descriptor that is left open is seen also where a lower number was free again after it.
inline std::vector<int> OpenDescriptors()
{
    std::vector<int> all;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        all.push_back(std::stoi(entry.path().filename().string()));
    std::erase_if(all, [](int fd) { return fcntl(fd, F_GETFD) == -1; });
    std::sort(all.begin(), all.end());
    return all;
}

#endif
