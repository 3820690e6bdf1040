// SPDX-License-Identifier: Apache-2.0
// test_files.h -- directories and files of tests, whatever they test.
#ifndef TESTS_SUPPORT_TEST_FILES_H
#define TESTS_SUPPORT_TEST_FILES_H

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// A directory of the test's own, removed with everything in it by the process that made it.
class TestDirectory
{
public:
    TestDirectory()
    {
        path_ = std::filesystem::temp_directory_path() / "zorXXXXXX";
        if (mkdtemp(path_.data()) == nullptr)
            abort();
    }
    ~TestDirectory()
    {
        std::error_code ignored;
        if (getpid() == owner_)
            std::filesystem::remove_all(path_, ignored);
    }
    TestDirectory(const TestDirectory &) = delete;
    TestDirectory &operator=(const TestDirectory &) = delete;
    const std::string &Path() const { return path_; }

private:
    std::string path_;
    pid_t owner_ = getpid();
};

// A whole file as it stands; empty when it cannot be read.
inline std::string ReadFile(const std::string &path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

// A file of this text and mode, whatever was there; false when it could not be written so.
inline bool WriteFile(const std::string &path, const std::string &text, mode_t mode = 0644)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return !file.fail() && chmod(path.c_str(), mode) == 0;
}

#endif
