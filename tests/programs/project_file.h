// SPDX-License-Identifier: Apache-2.0
// project_file.h -- files of the project, for tests of what they say.
#ifndef TESTS_PROGRAMS_PROJECT_FILE_H
#define TESTS_PROGRAMS_PROJECT_FILE_H

#include "support/test_files.h"

#include <gtest/gtest.h>

#include <string>

// The whole file of this path below the top of the project; one that is not there fails the test.
inline std::string ProjectFile(const std::string &path)
{
    const std::string file = std::string(PROJECT_TOP) + "/" + path;
    EXPECT_TRUE(std::filesystem::is_regular_file(file)) << path;
    return ReadFile(file);
}

#endif
