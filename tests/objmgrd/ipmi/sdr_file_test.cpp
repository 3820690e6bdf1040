// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sdr_file.
#include "objmgrd/ipmi/sdr_file.h"

#include "support/objmgr_process.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

SdrKept Some()
{
    SdrKept kept;
    kept.stamp = {2, 100, 7};
    kept.records = {{1, 2, 3}, {}, std::vector<u8>(260, 9)};
    kept.thresholds = {{.sensor = 300, .mask = 0x3f, .values = {1, 2, 3, 4, 5, 255}}};
    return kept;
}

void ExpectSome(const SdrKept &kept)
{
    EXPECT_EQ(kept.stamp, Some().stamp);
    EXPECT_EQ(kept.records, Some().records);
    ASSERT_EQ(kept.thresholds.size(), 1u);
    EXPECT_EQ(kept.thresholds[0].sensor, 300);
    EXPECT_EQ(kept.thresholds[0].mask, 0x3f);
    EXPECT_EQ(kept.thresholds[0].values[5], 255);
}

std::string Bytes(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

TEST(SdrFile, WhatIsWrittenIsReadBack)
{
    const TestDirectory directory;
    const std::string inner = directory.Path() + "/cache";
    SdrFile file(inner, "192.0.2.10:623");
    EXPECT_EQ(file.Path(), inner + "/192.0.2.10_623.sdr");
    SdrKept kept;
    EXPECT_FALSE(file.Read(&kept));
    EXPECT_EQ(file.Write(Some()), "");
    EXPECT_TRUE(file.Read(&kept));
    ExpectSome(kept);
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
    SdrKept other = Some();
    ++other.thresholds[0].mask;
    EXPECT_EQ(file.Write(other), "");
    EXPECT_EQ(access(file.Path().c_str(), F_OK), 0);
}

// Every byte of it, and every length.
TEST(SdrFile, ADamagedFileIsThrownAway)
{
    const std::string packed = SdrKeptPack("b", Some());
    SdrKept kept;
    ASSERT_TRUE(SdrKeptParse(packed, "b", &kept));
    EXPECT_FALSE(SdrKeptParse(packed, "c", &kept));
    EXPECT_FALSE(SdrKeptParse(packed + "x", "b", &kept));
    for (size_t i = 0; i < packed.size(); ++i) {
        EXPECT_FALSE(SdrKeptParse(packed.substr(0, i), "b", &kept)) << i;
        std::string damaged = packed;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
        EXPECT_FALSE(SdrKeptParse(damaged, "b", &kept)) << i;
        EXPECT_TRUE(kept.records.empty());
    }
    const TestDirectory directory;
    SdrFile file(directory.Path(), "b");
    std::ofstream(file.Path()) << packed << "x";
    EXPECT_FALSE(file.Read(&kept));
    EXPECT_NE(access(file.Path().c_str(), F_OK), 0);
}

TEST(SdrFile, AFileThatOthersCouldHaveWrittenIsThrownAway)
{
    const TestDirectory directory;
    SdrKept kept;
    for (mode_t mode : {0620u, 0602u, 0666u}) {
        SdrFile file(directory.Path(), "b");
        ASSERT_EQ(file.Write(Some()), "");
        ASSERT_EQ(chmod(file.Path().c_str(), mode), 0);
        EXPECT_FALSE(SdrFile(directory.Path(), "b").Read(&kept)) << mode;
        EXPECT_NE(access(file.Path().c_str(), F_OK), 0);
    }
    SdrFile file(directory.Path(), "b");
    ASSERT_EQ(file.Write(Some()), "");
    const std::string elsewhere = directory.Path() + "/elsewhere";
    ASSERT_EQ(rename(file.Path().c_str(), elsewhere.c_str()), 0);
    ASSERT_EQ(symlink(elsewhere.c_str(), file.Path().c_str()), 0);
    EXPECT_FALSE(file.Read(&kept));
    EXPECT_EQ(Bytes(elsewhere), SdrKeptPack("b", Some()));
}

TEST(SdrFile, NothingIsKeptWithoutADirectory)
{
    SdrFile file("", "b");
    SdrKept kept;
    EXPECT_EQ(file.Write(Some()), "");
    EXPECT_FALSE(file.Read(&kept));
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
