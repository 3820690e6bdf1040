// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/image_writer.h"

#include "platform/clock.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>

static const Records kSystem = {{"OEM_QARN_System", Texts({{"PowerStatus", "ON"}})}};

static std::vector<std::string> Names(const std::string &directory)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

static struct stat StatOf(const std::string &path)
{
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info;
}

static mode_t ModeOf(const std::string &path)
{
    return StatOf(path).st_mode & 07777;
}

static std::string KeysAt(const std::string &directory)
{
    std::string keys;
    for (const auto &record : ReadImageAt(directory))
        keys += record.first;
    return keys;
}

// ---- publishing ----

TEST(ImageWriter, PublishedImageHoldsWhatWasPut)
{
    TestDirectory directory;
    ImageWriter writer;
    const u32 before = static_cast<u32>(ClockMs());
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    const RawRecords records = ReadImageAt(directory.Path());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records.at("OEM_QARN_System"), PackRecord("OEM_QARN_System", kSystem[0].second));
    const ImageHead head = HeadOf(ReadFile(directory.Path() + "/image"));
    EXPECT_LE(head.heartbeatMs - before, 10000u);
    EXPECT_EQ(head.begun, 1u);
    EXPECT_EQ(head.done, 1u);
    EXPECT_EQ(head.superseded, 0u);
}

TEST(ImageWriter, HeadSaysWhoServesAndHowLongAMethodMayTake)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), {},
                         {.service = "objmgrd-test", .methodTimeoutMs = 7000}),
              0);
    const std::string image = ReadFile(directory.Path() + "/image");
    EXPECT_STREQ(HeadOf(image).serviceName, "objmgrd-test");
    EXPECT_EQ(HeadOf(image).methodTimeoutMs, 7000u);
    EXPECT_EQ(image.substr(0, 4), "MZOI");
}

TEST(ImageWriter, LongNamesAreCutAtAWholeCharacter)
{
    TestDirectory directory;
    ImageWriter writer;
    const std::string name(30, 'n');
    ASSERT_EQ(writer.Open(directory.Path(), {.service = name + "\xc3\xa9"}), 0);
    writer.AddSource(std::string(24, 's'));
    ASSERT_EQ(writer.Publish(), 0);
    const ImageHead head = HeadOf(ReadFile(directory.Path() + "/image"));
    EXPECT_EQ(std::string(head.serviceName), name);
    EXPECT_EQ(std::string(head.sources[0].name), std::string(23, 's'));
}

TEST(ImageWriter, EachStartHasANumberOfItsOwn)
{
    TestDirectory directory;
    const auto start = [&] {
        ImageWriter writer;
        EXPECT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
        const ImageHead head = HeadOf(ReadFile(directory.Path() + "/image"));
        return std::pair(head.start[0], head.start[1]);
    };
    const auto first = start();
    EXPECT_NE(first, start());
}

TEST(ImageWriter, NothingIsSeenBeforePublish)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    ASSERT_EQ(StageAll(&writer, kSystem), 0);
    EXPECT_EQ(writer.Heartbeat(), 0);
    EXPECT_EQ(writer.Check(), 0);
    EXPECT_TRUE(writer.IsStaged());
    const std::vector<std::string> before = Names(directory.Path());
    EXPECT_EQ(std::count(before.begin(), before.end(), "alive"), 0);
    EXPECT_EQ(std::count(before.begin(), before.end(), "image"), 0);
    EXPECT_EQ(writer.Publish(), 0);
    EXPECT_FALSE(writer.IsStaged());
    EXPECT_EQ(Names(directory.Path()), (std::vector<std::string>{"alive", "image", "lock"}));
}

TEST(ImageWriter, CommitIsSeenWithTheNextPublish)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), {{"A", {}}, {"B", {}}}), 0);
    EXPECT_EQ(writer.Begin() | writer.Put("C", {}) | writer.Delete("A"), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "AB");
    EXPECT_EQ(writer.Commit(), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "AB");
    EXPECT_EQ(writer.Publish(), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "BC");
    EXPECT_EQ(writer.Begin() | writer.Put("D", {}) | writer.Delete("B"), 0);
    writer.Abort();
    EXPECT_FALSE(writer.IsStaged());
    EXPECT_EQ(writer.Publish(), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "BC");
}

// Readers copy one half while the other is written.
TEST(ImageWriter, PublishLeavesTheHalfInUseAlone)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), {{"A", {}}}), 0);
    const std::string first = ReadFile(directory.Path() + "/image");
    ASSERT_EQ(PutAll(&writer, {{"B", {}}}), 0);
    const std::string second = ReadFile(directory.Path() + "/image");
    EXPECT_EQ(HeadOf(second).done, 2u);
    EXPECT_EQ(HeadOf(second).begun, 2u);
    const u32 capacity = HeadOf(first).halfCapacity;
    EXPECT_EQ(first.substr(4096 + capacity, capacity), second.substr(4096 + capacity, capacity));
}

TEST(ImageWriter, WhatIsTheSameAlreadyIsNoChange)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    ASSERT_EQ(StageAll(&writer, kSystem), 0);
    EXPECT_FALSE(writer.IsStaged());
    EXPECT_EQ(writer.Begin() | writer.Delete("None") | writer.Commit(), 0);
    EXPECT_FALSE(writer.IsStaged());
    EXPECT_EQ(writer.Publish(), 0);
    EXPECT_EQ(HeadOf(ReadFile(directory.Path() + "/image")).done, 1u);
}

TEST(ImageWriter, NextPublishWaitsTenMillisecondsAtLeast)
{
    TestDirectory directory;
    ImageWriter writer;
    const u64 before = ClockMs();
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_GE(writer.PublishFromMs(), before + 10);
    EXPECT_LE(writer.PublishFromMs(), ClockMs() + 10 + 9 * (ClockMs() - before + 1));
}

TEST(ImageWriter, PlanOfFaultsIsNoRecord)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(
        PublishAll(&writer, directory.Path(), {{"A", {}}, {kFaultsKey, Texts({{"open", "2"}})}}),
        0);
    const std::string half = HalfOf(ReadFile(directory.Path() + "/image"));
    ImageHalf head;
    memcpy(&head, half.data(), sizeof(head));
    EXPECT_EQ(half.substr(head.faults, head.faultsSize), PackProperties({{"open", kCimOk, "2"}}));
    EXPECT_EQ(KeysAt(directory.Path()), "A");
}

// ---- the directory ----

TEST(ImageWriter, MissingDirectoriesAreMadeForTheOwnerAlone)
{
    TestDirectory directory;
    const std::string deep = directory.Path() + "/a/b";
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, deep, kSystem), 0);
    EXPECT_EQ(ModeOf(deep), 0700u);
    EXPECT_EQ(ModeOf(deep + "/image"), 0600u);
    EXPECT_EQ(ModeOf(deep + "/alive"), 0600u);
    EXPECT_EQ(ModeOf(deep + "/lock"), 0600u);
}

TEST(ImageWriter, WhoMayEnterTheDirectoryMayRead)
{
    TestDirectory directory;
    for (const auto &[parent, file] : {std::pair(0750u, 0640u), {0710u, 0640u}, {0755u, 0644u}}) {
        ASSERT_EQ(chmod(directory.Path().c_str(), parent), 0);
        ImageWriter writer;
        ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
        EXPECT_EQ(ModeOf(directory.Path() + "/image"), file);
        EXPECT_EQ(ModeOf(directory.Path() + "/alive"), file);
        EXPECT_EQ(ModeOf(directory.Path() + "/lock"), 0600u);
    }
}

TEST(ImageWriter, FilesAreOfTheDirectorysGroup)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give the directory another group";
    TestDirectory directory;
    ASSERT_EQ(chown(directory.Path().c_str(), 0, 4242), 0);
    ASSERT_EQ(chmod(directory.Path().c_str(), 0750), 0);
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(StatOf(directory.Path() + "/image").st_gid, 4242u);
    EXPECT_EQ(StatOf(directory.Path() + "/alive").st_gid, 4242u);
}

TEST(ImageWriter, DirectoryThatOthersMayWriteIsRefused)
{
    TestDirectory directory;
    for (const mode_t mode : {0770u, 0720u, 0702u, 01777u}) {
        ASSERT_EQ(chmod(directory.Path().c_str(), mode), 0);
        ImageWriter writer;
        EXPECT_EQ(writer.Open(directory.Path()), EPERM) << mode;
        EXPECT_EQ(Names(directory.Path()).size(), 0u);
    }
}

TEST(ImageWriter, DirectoryOfAnotherUserIsRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give a directory away";
    TestDirectory directory;
    ASSERT_EQ(chown(directory.Path().c_str(), 4242, 0), 0);
    ImageWriter writer;
    EXPECT_EQ(writer.Open(directory.Path()), EPERM);
}

TEST(ImageWriter, SecondServiceIsBusyAndChangesNothing)
{
    TestDirectory directory;
    StepProcess service({[&] {
        static ImageWriter writer;
        return PublishAll(&writer, directory.Path(), kSystem);
    }});
    ASSERT_EQ(service.Run(0), 0);
    const std::string image = ReadFile(directory.Path() + "/image");
    ImageWriter second;
    EXPECT_EQ(second.Open(directory.Path()), EBUSY);
    EXPECT_EQ(second.Begin(), EINVAL);
    EXPECT_EQ(ReadFile(directory.Path() + "/image"), image);
}

// Its lock belongs to the open file, so that one process has two of them, too.
TEST(ImageWriter, SecondWriterOfAProcessIsBusyToo)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(writer.Open(directory.Path()), EBUSY);
    ImageWriter second;
    EXPECT_EQ(second.Open(directory.Path()), EBUSY);
    EXPECT_EQ(writer.Publish(), 0);
}

TEST(ImageWriter, DirectoryThatCannotBeMadeIsAnError)
{
    TestDirectory directory;
    std::ofstream(directory.Path() + "/file") << "x";
    ImageWriter writer;
    EXPECT_EQ(writer.Open(directory.Path() + "/file/deep"), ENOTDIR);
    EXPECT_EQ(writer.Open(directory.Path() + "/file"), ENOTDIR);
    EXPECT_EQ(writer.Open(""), EINVAL);
}

TEST(ImageWriter, LockThatIsALinkIsRefused)
{
    TestDirectory directory;
    ASSERT_EQ(symlink("elsewhere", (directory.Path() + "/lock").c_str()), 0);
    ImageWriter writer;
    EXPECT_EQ(writer.Open(directory.Path()), ELOOP);
    EXPECT_EQ(Names(directory.Path()), std::vector<std::string>{"lock"});
}

TEST(ImageWriter, CloseLeavesOnlyTheLock)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    writer.Close();
    EXPECT_EQ(Names(directory.Path()), std::vector<std::string>{"lock"});
    writer.Close();
    EXPECT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
}

TEST(ImageWriter, ImageOfADeadServiceIsOutOfUseAtOnceAndGivesItsRoomBack)
{
    TestDirectory directory;
    {
        StepProcess service({[&] {
            static ImageWriter writer;
            return PublishAll(&writer, directory.Path(), kSystem);
        }});
        ASSERT_EQ(service.Run(0), 0);
    }
    std::ofstream(directory.Path() + "/image.new") << "half done";
    std::ofstream(directory.Path() + "/alive.new") << "half done";
    const int reader = open((directory.Path() + "/image").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ImageWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(Names(directory.Path()), std::vector<std::string>{"lock"});
    struct stat info = {};
    ImageHead head = {};
    ASSERT_EQ(fstat(reader, &info), 0);
    EXPECT_EQ(info.st_size, 4096);
    ASSERT_EQ(pread(reader, &head, sizeof(head), 0), static_cast<ssize_t>(sizeof(head)));
    EXPECT_EQ(head.superseded, 1u);
    close(reader);
}

TEST(ImageWriter, FileThatIsNoImageIsOnlyRemoved)
{
    TestDirectory directory;
    const std::string text(10000, 't');
    std::ofstream(directory.Path() + "/image") << text;
    ASSERT_EQ(link((directory.Path() + "/image").c_str(), (directory.Path() + "/kept").c_str()), 0);
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(ReadFile(directory.Path() + "/kept"), text);
}

TEST(ImageWriter, PublishFailsWhereTheImageCannotBe)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    ASSERT_EQ(mkdir((directory.Path() + "/image").c_str(), 0700), 0);
    EXPECT_EQ(writer.Publish(), EISDIR);
    ASSERT_EQ(rmdir((directory.Path() + "/image").c_str()), 0);
    EXPECT_EQ(PutAll(&writer, kSystem), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "OEM_QARN_System");
}

TEST(ImageWriter, DescriptorsAreClosedOnExec)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    size_t seen = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code none;
        const std::string target = std::filesystem::read_symlink(entry.path(), none).string();
        if (target.rfind(directory.Path(), 0) != 0)
            continue;
        ++seen;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0)
            << target;
    }
    EXPECT_EQ(seen, 4u);  // directory, lock, alive, image
}

// ---- what was taken away ----

TEST(ImageWriter, FilesThatWereRemovedAreMadeAnew)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(writer.Check(), 0);
    for (const char *name : {"/alive", "/image"}) {
        ASSERT_EQ(unlink((directory.Path() + name).c_str()), 0);
        EXPECT_EQ(writer.Check(), 0);
        EXPECT_EQ(Names(directory.Path()), (std::vector<std::string>{"alive", "image", "lock"}));
    }
    EXPECT_EQ(KeysAt(directory.Path()), "OEM_QARN_System");
    EXPECT_EQ(PutAll(&writer, {{"After", {}}}), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "AfterOEM_QARN_System");
}

TEST(ImageWriter, FilesThatWereReplacedAreMadeAnew)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    for (const char *name : {"/alive", "/image"}) {
        std::ofstream(directory.Path() + "/other") << "x";
        ASSERT_EQ(rename((directory.Path() + "/other").c_str(), (directory.Path() + name).c_str()),
                  0);
    }
    EXPECT_EQ(writer.Check(), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "OEM_QARN_System");
    EXPECT_EQ(StatOf(directory.Path() + "/alive").st_size, 0);
}

TEST(ImageWriter, LockThatWasTakenAwayEndsTheService)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    ASSERT_EQ(unlink((directory.Path() + "/lock").c_str()), 0);
    EXPECT_EQ(writer.Check(), ESTALE);
}

TEST(ImageWriter, DirectoryThatWasReplacedEndsTheService)
{
    TestDirectory directory;
    const std::string path = directory.Path() + "/objmgr";
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, path, kSystem), 0);
    ASSERT_EQ(rename(path.c_str(), (path + ".old").c_str()), 0);
    EXPECT_EQ(writer.Check(), ESTALE);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(writer.Check(), ESTALE);
}

TEST(ImageWriter, DirectoryThatOthersMayWriteEndsTheService)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    ASSERT_EQ(chmod(directory.Path().c_str(), 0770), 0);
    EXPECT_EQ(writer.Check(), ESTALE);
}

// The files are the new service's.
TEST(ImageWriter, CloseAfterTheDirectoryWasReplacedLeavesOthersFilesAlone)
{
    TestDirectory directory;
    const std::string path = directory.Path() + "/objmgr";
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, path, kSystem), 0);
    ASSERT_EQ(rename(path.c_str(), (path + ".old").c_str()), 0);
    ImageWriter next;
    ASSERT_EQ(PublishAll(&next, path, {{"Next", {}}}), 0);
    writer.Close();
    EXPECT_EQ(KeysAt(path), "Next");
    EXPECT_EQ(Names(path), (std::vector<std::string>{"alive", "image", "lock"}));
}

TEST(ImageWriter, CloseAfterTheLockWasRemovedLeavesTheNextServicesImage)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    ASSERT_EQ(unlink((directory.Path() + "/lock").c_str()), 0);
    ImageWriter next;
    ASSERT_EQ(PublishAll(&next, directory.Path(), {{"Next", {}}}), 0);
    writer.Close();
    EXPECT_EQ(KeysAt(directory.Path()), "Next");
    EXPECT_EQ(Names(directory.Path()), (std::vector<std::string>{"alive", "image", "lock"}));
}

// ---- transactions ----

TEST(ImageWriter, CallsOutOfOrderAreRefused)
{
    TestDirectory directory;
    ImageWriter writer;
    EXPECT_EQ(writer.Publish(), EINVAL);
    EXPECT_EQ(writer.Heartbeat(), EINVAL);
    EXPECT_EQ(writer.Check(), EINVAL);
    EXPECT_EQ(writer.Begin(), EINVAL);
    EXPECT_EQ(writer.Put("A", {}), EINVAL);
    EXPECT_EQ(writer.PutFaults({}), EINVAL);
    EXPECT_EQ(writer.Delete("A"), EINVAL);
    EXPECT_EQ(writer.Commit(), EINVAL);
    EXPECT_FALSE(writer.IsStaged());
    writer.Abort();
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(writer.Put("A", {}), EINVAL);
    EXPECT_EQ(writer.PutFaults({}), EINVAL);
    EXPECT_EQ(writer.Delete("A"), EINVAL);
    EXPECT_EQ(writer.Commit(), EINVAL);
    writer.Abort();
    ASSERT_EQ(writer.Begin(), 0);
    EXPECT_EQ(writer.Begin(), EBUSY);
    EXPECT_EQ(writer.Publish(), EBUSY);
    EXPECT_EQ(writer.Put("A", {}), 0);
    EXPECT_EQ(writer.Commit(), 0);
    EXPECT_EQ(writer.Commit(), EINVAL);
}

TEST(ImageWriter, OnlyCanonicalPathsThatMayBeShownAreKeys)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    const std::string longest(511, 'k');
    for (const std::string &key : {std::string("A.K=1,L=2"), longest}) {
        ASSERT_EQ(writer.Begin(), 0);
        EXPECT_EQ(writer.Put(key, {}), 0) << key;
        EXPECT_EQ(writer.Commit(), 0);
    }
    for (const std::string &key :
         {std::string(), std::string(".faults"), std::string(".x"), std::string("A."),
          std::string("A\0B", 3), std::string("A.K=1,TimestampFormat=YYYYMMDDHHMMSS"),
          std::string("A.K=\xe2\x80\xae"), std::string("A.K=\xff"), longest + "k"}) {
        ASSERT_EQ(writer.Begin(), 0);
        EXPECT_EQ(writer.Put(key, {}), EINVAL) << key;
        EXPECT_EQ(writer.Commit(), EINVAL);
        ASSERT_EQ(writer.Begin(), 0);
        EXPECT_EQ(writer.Delete(key), EINVAL) << key;
        writer.Abort();
    }
}

TEST(ImageWriter, AFailedChangeFailsTheTransaction)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(writer.Begin() | writer.Put("A", {}), 0);
    EXPECT_EQ(writer.Put(".bad", {}), EINVAL);
    EXPECT_EQ(writer.Put("B", {}), EINVAL);
    EXPECT_EQ(writer.PutFaults({}), EINVAL);
    EXPECT_EQ(writer.Delete("OEM_QARN_System"), EINVAL);
    EXPECT_EQ(writer.Commit(), EINVAL);
    EXPECT_EQ(PutAll(&writer, {{"C", {}}}), 0);
    EXPECT_EQ(KeysAt(directory.Path()), "COEM_QARN_System");
}

// ---- room ----

static Records Filler(int count)
{
    Records records;
    for (int i = 0; i < count; ++i)
        records.push_back({"N.I=" + std::to_string(i), Texts({{"Text", std::string(1000, 'x')}})});
    return records;
}

TEST(ImageWriter, ImageGrowsInANewFileAndTheOldOneGivesItsRoomBack)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    const u16 source = writer.AddSource("bmc");
    writer.Heard(source, 77);
    const int old = open((directory.Path() + "/image").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(old, 0);
    ASSERT_EQ(StageAll(&writer, Filler(100)), 0);
    struct stat info = {};
    ASSERT_EQ(fstat(old, &info), 0);
    EXPECT_GT(info.st_size, 4096);
    ASSERT_EQ(writer.Publish(), 0);
    ImageHead head = {};
    ASSERT_EQ(pread(old, &head, sizeof(head), 0), static_cast<ssize_t>(sizeof(head)));
    EXPECT_EQ(head.superseded, 1u);
    ASSERT_EQ(fstat(old, &info), 0);
    EXPECT_EQ(info.st_size, 4096);
    close(old);
    const ImageHead now = HeadOf(ReadFile(directory.Path() + "/image"));
    EXPECT_EQ(now.done, 2u);
    EXPECT_EQ(now.start[0], head.start[0]);
    EXPECT_STREQ(now.sources[0].name, "bmc");
    EXPECT_EQ(now.sources[0].heardMs, 77u);
    EXPECT_EQ(ReadImageAt(directory.Path()).size(), 101u);
    EXPECT_EQ(Names(directory.Path()), (std::vector<std::string>{"alive", "image", "lock"}));
}

TEST(ImageWriter, AllRoomIsAllocatedBeforeItIsUsed)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), Filler(100)), 0);
    const struct stat info = StatOf(directory.Path() + "/image");
    const ImageHead head = HeadOf(ReadFile(directory.Path() + "/image"));
    EXPECT_EQ(info.st_size, 4096 + 2 * static_cast<off_t>(head.halfCapacity));
    EXPECT_GE(info.st_blocks * 512, info.st_size);
}

TEST(ImageWriter, WhatDoesNotFitIsRefusedAndTheRestStays)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem, {.halfMax = 64 * 1024}), 0);
    EXPECT_EQ(StageAll(&writer, Filler(100)), ENOSPC);
    EXPECT_FALSE(writer.IsStaged());
    EXPECT_EQ(PutAll(&writer, Filler(10)), 0);
    EXPECT_EQ(ReadImageAt(directory.Path()).size(), 11u);
}

// A limit on the size of files stands for a file system without room: the kernel refuses to
// allocate.
TEST(ImageWriter, GrowthWithoutRoomChangesNothingAndWorksOnceThereIsSome)
{
    TestDirectory directory;
    InFreshProcess([&] {
        signal(SIGXFSZ, SIG_IGN);
        ImageWriter writer;
        ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
        rlimit limit = {};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlim_t before = limit.rlim_cur;
        limit.rlim_cur = 64 * 1024;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(StageAll(&writer, Filler(100)), EFBIG);
        EXPECT_EQ(writer.Publish(), 0);
        EXPECT_EQ(KeysAt(directory.Path()), "OEM_QARN_System");
        EXPECT_EQ(Names(directory.Path()), (std::vector<std::string>{"alive", "image", "lock"}));
        limit.rlim_cur = before;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(PutAll(&writer, Filler(100)), 0);
        EXPECT_EQ(ReadImageAt(directory.Path()).size(), 101u);
    });
}

// ---- sources ----

TEST(ImageWriter, SourcesAreHeardWithoutAPublish)
{
    TestDirectory directory;
    ImageWriter writer;
    EXPECT_EQ(writer.AddSource("none"), kImageNoSource);
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    const u16 first = writer.AddSource("bmc");
    ASSERT_EQ(writer.Publish(), 0);
    const u16 second = writer.AddSource("sel");
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(second, 1u);
    const auto row = [&](u16 number) {
        return HeadOf(ReadFile(directory.Path() + "/image")).sources[number];
    };
    EXPECT_STREQ(row(second).name, "sel");
    EXPECT_EQ(row(second).state, kImageSourceUnheard);
    EXPECT_EQ(row(second).heardMs, 0u);
    writer.Heard(second, 0x100000005);
    EXPECT_EQ(row(second).heardMs, 5u);
    EXPECT_EQ(row(second).state, kImageSourceAnswering);
    writer.Heard(second, 0x100000000);
    EXPECT_EQ(row(second).heardMs, 1u);  // 0 is never
    writer.Silent(second);
    EXPECT_EQ(row(second).heardMs, 1u);
    EXPECT_EQ(row(second).state, kImageSourceSilent);
    EXPECT_EQ(row(first).state, kImageSourceUnheard);
    writer.Heard(2, 5);  // none
    writer.Silent(kImageNoSource);
    EXPECT_EQ(row(2).state, kImageSourceNone);
}

TEST(ImageWriter, ThereAre64Sources)
{
    TestDirectory directory;
    ImageWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    for (u16 number = 0; number < 64; ++number)
        EXPECT_EQ(writer.AddSource("s"), number);
    EXPECT_EQ(writer.AddSource("s"), kImageNoSource);
}
