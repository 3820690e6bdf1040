// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sdr_file.
#include "objmgrd/ipmi/sdr_file.h"

#include "support/test_files.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

SdrStored Some()
{
    SdrStored stored;
    stored.stamp = {2, 100, 7};
    stored.records = {{1, 2, 3}, {}, std::vector<u8>(260, 9)};
    stored.thresholds = {{.sensor = 300, .mask = 0x3f, .values = {1, 2, 3, 4, 5, 255}}};
    return stored;
}

void ExpectSome(const SdrStored &stored)
{
    EXPECT_EQ(stored.stamp, Some().stamp);
    EXPECT_EQ(stored.records, Some().records);
    ASSERT_EQ(stored.thresholds.size(), 1u);
    EXPECT_EQ(stored.thresholds[0].sensor, 300);
    EXPECT_EQ(stored.thresholds[0].mask, 0x3f);
    EXPECT_EQ(stored.thresholds[0].values[5], 255);
}

}  // namespace

TEST(SdrFile, WhatIsWrittenIsReadBack)
{
    const TestDirectory directory;
    const std::string inner = directory.Path() + "/cache";
    SdrFile file(inner, "192.0.2.10:623");
    EXPECT_EQ(file.Path(), inner + "/192.0.2.10_623.sdr");
    SdrStored stored;
    EXPECT_FALSE(file.Read(&stored));
    EXPECT_EQ(file.Write(Some()), "");
    EXPECT_TRUE(file.Read(&stored));
    ExpectSome(stored);
    struct stat info;
    ASSERT_EQ(stat(file.Path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_NE(access((file.Path() + ".new").c_str(), F_OK), 0);
}

TEST(SdrFile, TheSameIsNotWrittenAgain)
{
    const TestDirectory directory;
    SdrFile file(directory.Path(), "b");
    EXPECT_EQ(file.Write(Some()), "");
    ASSERT_EQ(unlink(file.Path().c_str()), 0);
    EXPECT_EQ(file.Write(Some()), "");
    EXPECT_NE(access(file.Path().c_str(), F_OK), 0);
    SdrStored other = Some();
    ++other.thresholds[0].mask;
    EXPECT_EQ(file.Write(other), "");
    EXPECT_EQ(access(file.Path().c_str(), F_OK), 0);
}

// Every byte of it, and every length.
TEST(SdrFile, ADamagedFileIsThrownAway)
{
    const std::string packed = SdrStoredPack("b", Some());
    SdrStored stored;
    ASSERT_TRUE(SdrStoredParse(packed, "b", &stored));
    EXPECT_FALSE(SdrStoredParse(packed, "c", &stored));
    EXPECT_FALSE(SdrStoredParse(packed + "x", "b", &stored));
    for (size_t i = 0; i < packed.size(); ++i) {
        EXPECT_FALSE(SdrStoredParse(packed.substr(0, i), "b", &stored)) << i;
        std::string damaged = packed;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
        EXPECT_FALSE(SdrStoredParse(damaged, "b", &stored)) << i;
        EXPECT_TRUE(stored.records.empty());
    }
    const TestDirectory directory;
    SdrFile file(directory.Path(), "b");
    std::ofstream(file.Path()) << packed << "x";
    EXPECT_FALSE(file.Read(&stored));
    EXPECT_NE(access(file.Path().c_str(), F_OK), 0);
}

TEST(SdrFile, AFileThatOthersCouldHaveWrittenIsThrownAway)
{
    const TestDirectory directory;
    SdrStored stored;
    for (mode_t mode : {0620u, 0602u, 0666u}) {
        SdrFile file(directory.Path(), "b");
        ASSERT_EQ(file.Write(Some()), "");
        ASSERT_EQ(chmod(file.Path().c_str(), mode), 0);
        EXPECT_FALSE(SdrFile(directory.Path(), "b").Read(&stored)) << mode;
        EXPECT_NE(access(file.Path().c_str(), F_OK), 0);
    }
    SdrFile file(directory.Path(), "b");
    ASSERT_EQ(file.Write(Some()), "");
    const std::string elsewhere = directory.Path() + "/elsewhere";
    ASSERT_EQ(rename(file.Path().c_str(), elsewhere.c_str()), 0);
    ASSERT_EQ(symlink(elsewhere.c_str(), file.Path().c_str()), 0);
    EXPECT_FALSE(file.Read(&stored));
    EXPECT_EQ(ReadFile(elsewhere), SdrStoredPack("b", Some()));
}

TEST(SdrFile, NothingIsStoredWithoutADirectory)
{
    SdrFile file("", "b");
    SdrStored stored;
    EXPECT_EQ(file.Write(Some()), "");
    EXPECT_FALSE(file.Read(&stored));
}

TEST(SdrFile, WhatCannotBeWrittenIsTold)
{
    SdrFile file("/nonexistent/cache", "b");
    EXPECT_EQ(file.Write(Some()), "/nonexistent/cache/b.sdr: No such file or directory");
    SdrFile strange("/nonexistent", "../../a b");
    EXPECT_EQ(strange.Path(), "/nonexistent/_._.._a_b.sdr");
}

TEST(SdrFile, AStampWithoutATimeTellsNothing)
{
    EXPECT_TRUE(SdrStampTells({3, 1, 0}));
    EXPECT_FALSE(SdrStampTells({3, 0, 5}));
    EXPECT_FALSE(SdrStampTells({3, 0xFFFFFFFF, 5}));
}
