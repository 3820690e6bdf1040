// SPDX-License-Identifier: Apache-2.0
#include "ctl/whole_file.h"
#include "support/test_files.h"

#include <errno.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

// What went before stays, and nothing is left behind, when the disk takes a part only.
TEST(WholeFile, AFailedWriteChangesNothing)
{
    namespace fs = std::filesystem;
    const TestDirectory made;
    const std::string &directory = made.Path();
    const std::string file = directory + "/f";
    EXPECT_EQ(WholeFileWrite(file, "old"), 0);
    signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const int error = WholeFileWrite(file, std::string(101, 'x'));
    const int fits = WholeFileWrite(directory + "/g", std::string(100, 'x'));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(fits, 0);
    EXPECT_EQ(fs::file_size(file), 3u);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), 2);
}

// A rename would put a file where a device was, also where a link leads to one.
TEST(WholeFile, OnlyFilesAreReplaced)
{
    namespace fs = std::filesystem;
    const TestDirectory made;
    const std::string &directory = made.Path();
    ASSERT_EQ(mkfifo((directory + "/pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", directory + "/link");
    EXPECT_EQ(WholeFileWrite(directory + "/pipe", "x"), EINVAL);
    EXPECT_EQ(WholeFileWrite(directory + "/link", "x"), EINVAL);
    EXPECT_EQ(WholeFileWrite(directory, "x"), EISDIR);
    EXPECT_TRUE(fs::is_fifo(directory + "/pipe"));
    EXPECT_TRUE(fs::is_symlink(directory + "/link"));
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), 2);
}
