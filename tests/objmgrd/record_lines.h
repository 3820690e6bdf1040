// SPDX-License-Identifier: Apache-2.0
// record_lines.h -- what a record writes, for tests to look at while its thread goes on.
#ifndef TESTS_OBJMGRD_RECORD_LINES_H
#define TESTS_OBJMGRD_RECORD_LINES_H

#include <atomic>
#include <mutex>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

class RecordLines
{
public:
    std::atomic<bool> slow = false;  // each line takes 50 ms

    // For RecordOptions::write; its context is this.
    static void Write(void *context, const char *line)
    {
        RecordLines *const lines = static_cast<RecordLines *>(context);
        if (lines->slow)
            usleep(50'000);
        const std::lock_guard lock(lines->mutex_);
        lines->all_.push_back(line);
    }
    std::vector<std::string> All()
    {
        const std::lock_guard lock(mutex_);
        return all_;
    }
    // All since the last time.
    std::vector<std::string> Take()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(all_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::string> all_;
};

#endif
