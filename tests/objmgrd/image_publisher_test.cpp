// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/image_publisher: its room, its failures and what a head says. What a whole
// writer does with it is tested with image_writer and hostile_readers.
#include "objmgrd/image_publisher.h"

#include "objmgrd/packed_instance.h"
#include "platform/clock.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

// How many random bytes there are (linked with --wrap); -1: as many as are asked for.
static ssize_t sRandomBytes = -1;

extern "C" {
ssize_t __real_getrandom(void *out, size_t size, unsigned flags);
ssize_t __wrap_getrandom(void *out, size_t size, unsigned flags);
ssize_t __wrap_getrandom(void *out, size_t size, unsigned flags)
{
    return sRandomBytes < 0 ? __real_getrandom(out, size, flags) : sRandomBytes;
}
}

namespace
{

class ImagePublisherTest : public testing::Test
{
protected:
    ImagePublisherTest() { Put("A"); }
    ~ImagePublisherTest() override
    {
        sRandomBytes = -1;
        LimitFiles(RLIM_INFINITY);
    }

    int Open(u32 halfMax = kImageHalfMax)
    {
        return publisher_.Open(directory_.Path(), "test", 5000, halfMax);
    }
    // Opens it and publishes what there is.
    void Serve()
    {
        ASSERT_EQ(Open(), 0);
        ASSERT_EQ(publisher_.Publish(&records_), 0);
    }
    // A record of this key, with a text of this length.
    void Put(const std::string &key, size_t length = 0)
    {
        records_.Put(key, PackRecord(key, Texts({{"Text", std::string(length, 'x')}})));
    }
    std::string At(const char *name) const { return directory_.Path() + "/" + name; }
    bool Has(const char *name) const { return access(At(name).c_str(), F_OK) == 0; }
    ImageHead Head() const { return HeadOf(ReadFile(At("image"))); }
    // The keys that a reader finds.
    std::string Keys() const
    {
        std::string keys;
        for (const auto &record : ReadImageAt(directory_.Path()))
            keys += record.first;
        return keys;
    }
    // A limit on the size of files stands for a file system without room.
    static void LimitFiles(rlim_t size)
    {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = std::min(size, limit.rlim_max);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }

    const TestDirectory directory_;
    HalfBuilder records_;
    ImagePublisher publisher_;
};

TEST_F(ImagePublisherTest, WithoutANumberOfItsOwnItDoesNotStart)
{
    for (const ssize_t bytes : {0, 7}) {
        sRandomBytes = bytes;
        EXPECT_EQ(Open(), EIO);
        EXPECT_FALSE(Has("lock"));
    }
}

// ---- room ----

TEST_F(ImagePublisherTest, NoHalfIsLargerThanItMayBe)
{
    ASSERT_EQ(Open(10000), 0);
    EXPECT_EQ(publisher_.MakeRoom(10001), ENOSPC);
    EXPECT_FALSE(Has("image.new"));
    EXPECT_EQ(publisher_.MakeRoom(10000), 0);
    EXPECT_TRUE(Has("image.new"));
}

// Whatever is allowed, readers believe no more than 64 MB. The limit on files says which sizes are
// asked of the file system.
TEST_F(ImagePublisherTest, NoHalfIsLargerThanReadersBelieve)
{
    ASSERT_EQ(Open(UINT32_MAX), 0);
    LimitFiles(65536);
    EXPECT_EQ(publisher_.MakeRoom(67108865), ENOSPC);
    EXPECT_EQ(publisher_.MakeRoom(67108864), EFBIG);
    EXPECT_FALSE(Has("image.new"));
}

TEST_F(ImagePublisherTest, AnotherFileIsMadeOnlyWhereTheRoomIsTooSmall)
{
    Serve();
    const u32 capacity = Head().halfCapacity;
    EXPECT_EQ(publisher_.MakeRoom(capacity), 0);
    EXPECT_FALSE(Has("image.new"));
    EXPECT_EQ(publisher_.MakeRoom(u64{capacity} + 1), 0);
    EXPECT_TRUE(Has("image.new"));
    EXPECT_EQ(Head().superseded, 0u);
    // The file that is to come has to be too small, too.
    const auto idOf = [&] {
        struct stat info = {};
        EXPECT_EQ(stat(At("image.new").c_str(), &info), 0);
        return std::pair(info.st_ino, info.st_size);
    };
    const auto coming = idOf();
    const u64 next = static_cast<u64>(coming.second - 4096) / 2;
    EXPECT_GT(next, u64{capacity});
    EXPECT_EQ(publisher_.MakeRoom(next), 0);
    EXPECT_EQ(idOf(), coming);
    EXPECT_EQ(publisher_.MakeRoom(next + 1), 0);
    EXPECT_GT(idOf().second, coming.second);
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_FALSE(Has("image.new"));
    EXPECT_GT(Head().halfCapacity, next);
    EXPECT_EQ(Keys(), "A");
}

TEST_F(ImagePublisherTest, RoomThatNothingCameOfIsGivenBack)
{
    {
        ImagePublisher given;
        ASSERT_EQ(given.Open(directory_.Path(), "test", 5000, kImageHalfMax), 0);
        ASSERT_EQ(given.MakeRoom(100), 0);
        EXPECT_FALSE(given.IsPublished());
        EXPECT_TRUE(Has("image.new"));
    }
    EXPECT_FALSE(Has("image.new"));
    EXPECT_TRUE(Has("lock"));
}

TEST_F(ImagePublisherTest, RoomThatCannotBeHadLeavesTheImage)
{
    Serve();
    LimitFiles(65536);
    EXPECT_EQ(publisher_.MakeRoom(65536), EFBIG);
    EXPECT_FALSE(Has("image.new"));
    Put("B");
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_EQ(Keys(), "AB");
}

// Their index is larger than what they were counted for.
TEST_F(ImagePublisherTest, KeysThatCrowdGetTheRoomThatTheyTake)
{
    std::string last;
    for (u32 i = 0, count = 0; count < 65; ++i) {
        last = "K" + std::to_string(i);
        if ((ImageHash(last.data(), last.size()) & 511) != 7)
            continue;
        Put(last);
        ++count;
    }
    Serve();
    const std::string half = HalfOf(ReadFile(At("image")));
    EXPECT_GT(half.size(), records_.Size());
    EXPECT_LE(half.size(), Head().halfCapacity);
    EXPECT_TRUE(ImageCheckHalf(half.data(), half.size(), 1));
    EXPECT_EQ(ReadImageAt(directory_.Path()).size(), 66u);
    records_.Delete(last);
    Put("B");
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_EQ(Head().done, 2u);
}

// ---- publishing ----

TEST_F(ImagePublisherTest, WithoutAliveThereIsNoImage)
{
    ASSERT_EQ(Open(), 0);
    ASSERT_EQ(mkdir(At("alive.new").c_str(), 0700), 0);
    EXPECT_EQ(publisher_.Publish(&records_), EEXIST);
    EXPECT_FALSE(publisher_.IsPublished());
    EXPECT_FALSE(Has("image"));
    ASSERT_EQ(rmdir(At("alive.new").c_str()), 0);
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_TRUE(publisher_.IsPublished());
    EXPECT_TRUE(Has("alive"));
    EXPECT_EQ(Keys(), "A");
}

// Readers take it for one that is under way.
TEST_F(ImagePublisherTest, AfterAFailedWriteTheHalfInUseStaysGood)
{
    Put("A", 1000);
    Serve();
    Put("B", 500);
    // Half 0, which is next, begins behind the head; a part of it can be written.
    LimitFiles(4096 + 1000);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(publisher_.Publish(&records_), EFBIG);
        EXPECT_EQ(Head().begun, 2u);
        EXPECT_EQ(Head().done, 1u);
        EXPECT_EQ(Keys(), "A");
    }
    LimitFiles(RLIM_INFINITY);
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_EQ(Head().begun, 2u);
    EXPECT_EQ(Head().done, 2u);
    EXPECT_EQ(Keys(), "AB");
}

TEST_F(ImagePublisherTest, AFailedWriteOfAnotherFileLeavesTheOneInUse)
{
    Serve();
    Put("B");
    ASSERT_EQ(publisher_.MakeRoom(65536), 0);
    LimitFiles(4096);
    EXPECT_EQ(publisher_.Publish(&records_), EFBIG);
    LimitFiles(RLIM_INFINITY);
    EXPECT_FALSE(Has("image.new"));
    EXPECT_EQ(Head().superseded, 0u);
    EXPECT_EQ(Head().begun, 1u);
    EXPECT_EQ(Keys(), "A");
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_EQ(Head().done, 2u);
    EXPECT_EQ(Keys(), "AB");
}

TEST_F(ImagePublisherTest, AFileThatIsReplacedBeforeItsTimeIsNotPublished)
{
    Serve();
    Put("B");
    ASSERT_EQ(publisher_.MakeRoom(65536), 0);
    ASSERT_EQ(unlink(At("image.new").c_str()), 0);
    ASSERT_TRUE(WriteFile(At("image.new"), "another's"));
    EXPECT_EQ(publisher_.Publish(&records_), ESTALE);
    EXPECT_EQ(ReadFile(At("image.new")), "another's");
    EXPECT_EQ(Keys(), "A");
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    EXPECT_EQ(Keys(), "AB");
}

// Otherwise the next publish would write the half in use.
TEST_F(ImagePublisherTest, AFileThatGetsNoNameTakesNoNumber)
{
    Serve();
    const std::string before = ReadFile(At("image"));
    const u32 capacity = HeadOf(before).halfCapacity;
    Put("B");
    ASSERT_EQ(publisher_.MakeRoom(65536), 0);
    ASSERT_EQ(unlink(At("image.new").c_str()), 0);
    EXPECT_EQ(publisher_.Publish(&records_), ESTALE);
    EXPECT_EQ(publisher_.Publish(&records_), 0);
    const std::string after = ReadFile(At("image"));
    EXPECT_EQ(HeadOf(after).begun, 2u);
    EXPECT_EQ(HeadOf(after).done, 2u);
    EXPECT_TRUE(after.substr(4096 + capacity) == before.substr(4096 + capacity));
}

TEST_F(ImagePublisherTest, TheHeadGoesOnInAnotherFile)
{
    const u16 early = publisher_.AddSource("early");
    Serve();
    const ImageHead before = Head();
    EXPECT_EQ(before.sources[early].state, kImageSourceUnheard);
    ASSERT_EQ(publisher_.MakeRoom(u64{before.halfCapacity} + 1), 0);
    // While the other file waits.
    const u16 late = publisher_.AddSource("late");
    publisher_.Heard(early, 7);
    publisher_.Heard(late, 8);
    publisher_.Silent(late);
    ASSERT_EQ(publisher_.Publish(&records_), 0);
    const ImageHead after = Head();
    EXPECT_GT(after.halfCapacity, before.halfCapacity);
    EXPECT_EQ(after.start[0], before.start[0]);
    EXPECT_EQ(after.start[1], before.start[1]);
    EXPECT_STREQ(after.serviceName, "test");
    EXPECT_EQ(after.methodTimeoutMs, 5000u);
    EXPECT_LE(static_cast<u32>(ClockMs()) - after.heartbeatMs, 10000u);
    EXPECT_STREQ(after.sources[early].name, "early");
    EXPECT_EQ(after.sources[early].heardMs, 7u);
    EXPECT_EQ(after.sources[early].state, kImageSourceAnswering);
    EXPECT_STREQ(after.sources[late].name, "late");
    EXPECT_EQ(after.sources[late].heardMs, 8u);
    EXPECT_EQ(after.sources[late].state, kImageSourceSilent);
}

// ---- the sign of life ----

TEST_F(ImagePublisherTest, HeartbeatIsTheTimeNow)
{
    ASSERT_EQ(Open(), 0);
    publisher_.Heartbeat();  // nothing there
    EXPECT_FALSE(Has("image"));
    ASSERT_EQ(publisher_.Publish(&records_), 0);
    const int fd = open(At("image").c_str(), O_RDWR | O_CLOEXEC);
    const u32 longAgo = static_cast<u32>(ClockMs()) - 1000000;
    ASSERT_EQ(pwrite(fd, &longAgo, sizeof longAgo, offsetof(ImageHead, heartbeatMs)), 4);
    close(fd);
    publisher_.Heartbeat();
    EXPECT_LE(static_cast<u32>(ClockMs()) - Head().heartbeatMs, 10000u);
    EXPECT_EQ(Head().begun, 1u);
}

TEST_F(ImagePublisherTest, CheckMakesNothingBeforeTheFirstPublish)
{
    ASSERT_EQ(Open(), 0);
    EXPECT_EQ(publisher_.Check(&records_), 0);
    EXPECT_FALSE(Has("alive"));
    EXPECT_FALSE(Has("image"));
}

TEST_F(ImagePublisherTest, AliveThatCannotBeMadeAnewIsSaidAndMadeLater)
{
    Serve();
    ASSERT_EQ(unlink(At("alive").c_str()), 0);
    ASSERT_EQ(mkdir(At("alive.new").c_str(), 0700), 0);
    EXPECT_EQ(publisher_.Check(&records_), EEXIST);
    ASSERT_EQ(rmdir(At("alive.new").c_str()), 0);
    EXPECT_EQ(publisher_.Check(&records_), 0);
    EXPECT_TRUE(Has("alive"));
    EXPECT_EQ(Head().done, 1u);
}

TEST_F(ImagePublisherTest, AnImageThatCannotBeMadeAnewIsSaidAndMadeLater)
{
    Serve();
    const int reader = open(At("image").c_str(), O_RDONLY | O_CLOEXEC);
    const auto isSuperseded = [&] {
        ImageHead head = {};
        EXPECT_EQ(pread(reader, &head, sizeof head, 0), static_cast<ssize_t>(sizeof head));
        return head.superseded == 1;
    };
    ASSERT_EQ(unlink(At("image").c_str()), 0);
    LimitFiles(8192);  // enough for half 0 of the old one, which is next
    EXPECT_EQ(publisher_.Check(&records_), EFBIG);
    EXPECT_FALSE(Has("image"));
    LimitFiles(RLIM_INFINITY);
    ASSERT_EQ(mkdir(At("image").c_str(), 0700), 0);
    EXPECT_EQ(publisher_.Check(&records_), EISDIR);
    ASSERT_EQ(rmdir(At("image").c_str()), 0);
    EXPECT_FALSE(isSuperseded());  // who has it open goes on with it
    EXPECT_EQ(publisher_.Check(&records_), 0);
    EXPECT_TRUE(isSuperseded());
    EXPECT_EQ(Head().done, 2u);
    EXPECT_EQ(Keys(), "A");
    close(reader);
}

// ---- names and sources ----

TEST_F(ImagePublisherTest, NamesFitToTheLastByteAndAreSafe)
{
    const std::string service = std::string(29, 'n') + "\xc3\xa9";
    ASSERT_EQ(publisher_.Open(directory_.Path(), service, 5000, kImageHalfMax), 0);
    const std::string longest(23, 's');
    publisher_.AddSource(longest);
    publisher_.AddSource("a\nb\x1b");
    publisher_.AddSource("");
    ASSERT_EQ(publisher_.Publish(&records_), 0);
    const ImageHead head = Head();
    EXPECT_EQ(std::string(head.serviceName), service);
    EXPECT_EQ(std::string(head.sources[0].name), longest);
    EXPECT_STREQ(head.sources[1].name, "a?b?");
    EXPECT_STREQ(head.sources[2].name, "");
    EXPECT_EQ(head.sources[2].state, kImageSourceUnheard);
}

TEST_F(ImagePublisherTest, ASourceIsHeardAndSilentByTurns)
{
    const u16 source = publisher_.AddSource("bmc");
    Serve();
    publisher_.Silent(source);
    EXPECT_EQ(Head().sources[source].state, kImageSourceSilent);
    EXPECT_EQ(Head().sources[source].heardMs, 0u);  // never
    publisher_.Heard(source, 0xffffffff);
    EXPECT_EQ(Head().sources[source].state, kImageSourceAnswering);
    EXPECT_EQ(Head().sources[source].heardMs, 0xffffffffu);
}

TEST_F(ImagePublisherTest, TheLastSourceIsOneAndThereIsNoneBehindIt)
{
    for (u16 number = 0; number < 64; ++number)
        publisher_.AddSource("s");
    Serve();
    publisher_.Heard(63, 5);
    EXPECT_EQ(Head().sources[63].heardMs, 5u);
    const std::string before = ReadFile(At("image"));
    publisher_.Heard(64, 6);
    publisher_.Silent(64);
    EXPECT_EQ(publisher_.AddSource("s"), kImageNoSource);
    EXPECT_TRUE(ReadFile(At("image")) == before);
}

}  // namespace
