// SPDX-License-Identifier: Apache-2.0
#include "objmgr/image_file.h"

#include "support/client_world.h"
#include "support/open_descriptors.h"
#include "support/test_files.h"

#include <gtest/gtest.h>
#include <sys/file.h>

// A directory with files that seem to be a service's, which the test then spoils.
class ImageFileTest : public testing::Test
{
protected:
    ImageFileTest()
    {
        setenv("ZOROBJMGR", directory_.Path().c_str(), 1);
        EXPECT_EQ(HoldAlive(directory_.Path()), 0);
        EXPECT_EQ(PublishBytes(directory_.Path(), Image()), 0);
    }
    static std::string Image() { return ImageFileOf(HalfWith({}), BeatMs()); }
    std::string At(const char *name) const { return directory_.Path() + "/" + name; }
    // In a process of its own: the directory stays for one. As another user than root, whom
    // nothing is forbidden, where asked to.
    static ObjMgrPresence Opened(bool asNobody = false)
    {
        ChildProcess process([=] {
            constexpr uid_t kNobody = 65534;
            if (asNobody && geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0)
                _exit(98);
            ImageFile file;
            const ObjMgrPresence presence = ImageFileOpen(&file, ImageClockMs());
            const bool serving = presence == ObjMgrPresence::Serving;
            if ((file.head != nullptr) != serving || (file.imageFd >= 0) != serving ||
                (file.aliveFd >= 0) != serving)
                _exit(99);
            _exit(static_cast<int>(presence));
        });
        return static_cast<ObjMgrPresence>(WEXITSTATUS(process.Wait()));
    }
    TestDirectory directory_;
};

TEST_F(ImageFileTest, WhatAServiceHasIsOpened)
{
    EXPECT_EQ(Opened(), ObjMgrPresence::Serving);
}

// Whoever started the program may have closed its standard input.
TEST_F(ImageFileTest, DescriptorZeroIsOneLikeOthers)
{
    ChildProcess process([] {
        close(STDIN_FILENO);
        ImageFile file;
        _exit(ImageFileOpen(&file, ImageClockMs()) == ObjMgrPresence::Serving ? 0 : 1);
    });
    EXPECT_EQ(process.Wait(), 0);
}

TEST_F(ImageFileTest, WithoutDirectoryOrFilesNothingServes)
{
    ASSERT_EQ(unlink(At("image").c_str()), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Absent);
    ASSERT_EQ(unlink(At("alive").c_str()), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Absent);
    ASSERT_EQ(rmdir(directory_.Path().c_str()), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Absent);
}

TEST_F(ImageFileTest, WhoMayNotReadItIsTold)
{
    for (const char *name : {"image", "alive"}) {
        ASSERT_EQ(chmod(At(name).c_str(), 0), 0);
        EXPECT_EQ(Opened(true), ObjMgrPresence::Forbidden) << name;
    }
    ASSERT_EQ(chmod(directory_.Path().c_str(), 0), 0);
    EXPECT_EQ(Opened(true), ObjMgrPresence::Forbidden);
    ASSERT_EQ(chmod(directory_.Path().c_str(), 0700), 0);
}

TEST_F(ImageFileTest, DirectoryThatOthersMayWriteIsNotTrusted)
{
    for (const mode_t mode : {0720u, 0702u, 0770u, 01777u}) {
        ASSERT_EQ(chmod(directory_.Path().c_str(), mode), 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::NotTrusted) << mode;
    }
    ASSERT_EQ(chmod(directory_.Path().c_str(), 0755), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Serving);
}

TEST_F(ImageFileTest, FileOfAnotherUserIsNotTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give files away";
    for (const char *name : {"image", "alive"}) {
        ASSERT_EQ(chown(At(name).c_str(), 4242, 0), 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::NotTrusted) << name;
        ASSERT_EQ(chown(At(name).c_str(), 0, 0), 0);
    }
    // The owner of the directory may be anybody.
    for (const char *name : {"image", "alive", "."})
        ASSERT_EQ(chown(At(name).c_str(), 4242, 0), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Serving);
}

TEST_F(ImageFileTest, LinksAndPipesAreNotTrusted)
{
    ASSERT_EQ(rename(At("image").c_str(), At("real").c_str()), 0);
    ASSERT_EQ(symlink("real", At("image").c_str()), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::NotTrusted);
    ASSERT_EQ(unlink(At("image").c_str()), 0);
    ASSERT_EQ(mkfifo(At("image").c_str(), 0600), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::NotTrusted);  // and nobody waits for its other end
    ASSERT_EQ(unlink(At("image").c_str()), 0);
    ASSERT_EQ(mkdir(At("image").c_str(), 0700), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::NotTrusted);
}

TEST_F(ImageFileTest, FileShorterThanAHeadIsUnreadable)
{
    ASSERT_EQ(truncate(At("image").c_str(), 4096), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Serving);
    for (const off_t size : {4095, 1, 0}) {
        ASSERT_EQ(truncate(At("image").c_str(), size), 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::Unreadable) << size;
    }
}

TEST_F(ImageFileTest, AnotherFormatIsTold)
{
    std::string image = Image();
    image[4] = 2;
    ASSERT_EQ(PublishBytes(directory_.Path(), image), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::OtherVersion);
    image[0] = 'm';
    ASSERT_EQ(PublishBytes(directory_.Path(), image), 0);
    EXPECT_EQ(Opened(), ObjMgrPresence::Unreadable);
}

// Only a write lock of the service's counts: a reader can place neither that nor hold it up.
TEST_F(ImageFileTest, OtherLocksAreNoSignOfLife)
{
    TestDirectory other;
    InFreshProcess([&] {
        setenv("ZOROBJMGR", other.Path().c_str(), 1);
        ASSERT_EQ(PublishBytes(other.Path(), Image()), 0);
        const std::string alive = other.Path() + "/alive";
        const int fd = open(alive.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::Dead);
        ASSERT_EQ(flock(fd, LOCK_EX), 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::Dead);
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::Dead);
        lock.l_type = F_WRLCK;
        ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
        EXPECT_EQ(Opened(), ObjMgrPresence::Serving);
    });
}

// Neither the descriptors nor the mapping of its head.
TEST_F(ImageFileTest, NothingOfAClosedFileStays)
{
    InFreshProcess([this] {
        const auto maps = [] { return ReadFile("/proc/self/maps"); };
        const std::vector<int> before = OpenDescriptors();
        ImageFile file;
        ASSERT_EQ(ImageFileOpen(&file, 5), ObjMgrPresence::Serving);
        EXPECT_NE(maps().find(At("image")), std::string::npos);
        ImageFileClose(&file);
        EXPECT_EQ(maps().find(At("image")), std::string::npos);
        EXPECT_EQ(OpenDescriptors(), before);
    });
}

TEST_F(ImageFileTest, SupersededFileIsNotCurrent)
{
    InFreshProcess([this] {
        ImageFile file;
        ASSERT_EQ(ImageFileOpen(&file, 5), ObjMgrPresence::Serving);
        EXPECT_TRUE(ImageFileIsCurrent(&file, 5));
        EXPECT_TRUE(ImageFileIsCurrent(&file, 6));
        const int fd = open(At("image").c_str(), O_RDWR | O_CLOEXEC);
        const u32 one = htole32(1);
        ASSERT_EQ(pwrite(fd, &one, sizeof(one), offsetof(ImageHead, superseded)), 4);
        close(fd);
        EXPECT_FALSE(ImageFileIsCurrent(&file, 6));
        ImageFileClose(&file);
    });
}

// Both sides of three seconds, also where the milliseconds begin anew.
TEST_F(ImageFileTest, HeartbeatIsFreshForThreeSeconds)
{
    ImageHead head = {};
    ImageFile file;
    file.head = &head;
    for (const u32 beat : {u32{100000}, u32{1000}, u32{0}, u32{0xfffffff0}}) {
        head.heartbeatMs = htole32(beat);
        EXPECT_TRUE(ImageFileBeats(&file, beat));
        EXPECT_TRUE(ImageFileBeats(&file, beat + 3000));
        EXPECT_FALSE(ImageFileBeats(&file, beat + 3001));
        EXPECT_TRUE(ImageFileBeats(&file, beat - 3000));
        EXPECT_FALSE(ImageFileBeats(&file, beat - 3001));
        EXPECT_FALSE(ImageFileBeats(&file, beat + 0x80000000));
    }
}
