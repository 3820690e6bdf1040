// SPDX-License-Identifier: Apache-2.0
// What is found in images that no service would write.
#include "objmgr/reader.h"

#include "objmgr/safe_text.h"
#include "support/client_world.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

// A file that is published again and again, with a service that seems to live.
class Images
{
public:
    Images()
    {
        setenv("ZOROBJMGR", directory_.Path().c_str(), 1);
        EXPECT_EQ(HoldAlive(directory_.Path()), 0);
        fd_ = open((directory_.Path() + "/image").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    }
    ~Images() { close(fd_); }
    Images(const Images &) = delete;
    Images &operator=(const Images &) = delete;

    // Each time from another start of the service, so that the copy is taken anew.
    void Publish(const std::string &half)
    {
        std::string image = ImageFileOf(half, BeatMs());
        ImageHead head = HeadOf(image);
        head.start[0] = ++published_;
        memcpy(image.data(), &head, sizeof(head));
        EXPECT_EQ(pwrite(fd_, image.data(), image.size(), 0), static_cast<ssize_t>(image.size()));
    }

private:
    TestDirectory directory_;
    int fd_ = -1;
    u32 published_ = 0;
};

static const Records kRecords = {{"OEM_QARN_System", Texts({{"Name", "one"}, {"Type", "two"}})},
                                 {"OEM_QARN_Sensor.Index=1", Texts({{"Name", "three"}})},
                                 {"OEM_QARN_Sensor.Index=2", Texts({{"Name", "four"}})},
                                 {"L.N=1", Texts({{"Name", "five"}})}};

// What is read may be shown, and stands in the image.
static void ExpectFromImage(Snapshot *snapshot, const char *path, const std::string &half)
{
    ReaderFound found;
    if (ReaderFind(snapshot, path, nullptr, &found) != kCimOk)
        return;
    for (const char *property : {"Name", "Type"}) {
        const ImageText text = ReaderText(&found, property);
        if (text.text == nullptr)
            continue;
        const size_t length = strlen(text.text);
        EXPECT_TRUE(SafeTextIsSafe(text.text, length));
        EXPECT_NE(half.find(text.text, 0, length + 1), std::string::npos);
    }
}

TEST(Reader, ImagesDamagedAtRandomGiveOnlyWhatStandsInThem)
{
    InFreshProcess([] {
        Images images;
        std::mt19937 random(20240307);
        const std::string right = HalfWith(kRecords);
        int read = 0;
        for (int image = 0; image < 10000; ++image) {
            std::string half = right;
            // The head of the half is damaged in few of them: most are refused then.
            const size_t from = image % 8 == 0 ? 0 : sizeof(ImageHalf);
            for (u64 changes = 1 + random() % 6; changes > 0; --changes)
                half[from + random() % (half.size() - from)] = static_cast<char>(random());
            images.Publish(half);
            Snapshot *snapshot = SnapshotAcquire();
            if (snapshot == nullptr)
                continue;
            ++read;
            for (int round = 0; round < 2; ++round) {
                for (const auto &record : kRecords)
                    ExpectFromImage(snapshot, record.first.c_str(), half);
                ExpectFromImage(snapshot, "L.N=1,TimestampFormat=YYYYMMDDHHMMSS", half);
                ExpectFromImage(snapshot, "None", half);
            }
            u32 record = 0;
            for (int i = 0; i < 8 && (record = ReaderNext(snapshot, record)) != 0; ++i)
                ExpectFromImage(snapshot, ImageInstanceAt(snapshot->half, record).key, half);
            SnapshotRelease(snapshot);
        }
        EXPECT_GT(read, 5000);
    });
}

// Both claim the same bytes; checking the one must not make the other what it is not.
TEST(Reader, RecordsThatOverlapAreCheckedEachForItself)
{
    InFreshProcess([] {
        // The text of the outer record is a whole record, at a place where one may begin.
        std::string inner = PackRecord("In", Texts({{"Name", "inner"}}));
        std::string half = HalfWith({{"Out", Texts({{"Name", std::string(200, 'x')}})}});
        ImageHalf head;
        memcpy(&head, half.data(), sizeof(head));
        const u32 outer = le32toh(head.records);
        const u32 at = outer + 4 * kImageRecordAlign;
        half.replace(at, inner.size(), inner);
        const u32 hash = ImageHash("In", 2);
        for (u32 slot = hash & 7;; slot = (slot + 1) & 7) {
            ImageSlot place;
            char *bytes = half.data() + sizeof(ImageHalf) + slot * sizeof(place);
            memcpy(&place, bytes, sizeof(place));
            if (place.record != 0)
                continue;
            place = {htole32(hash), htole32(at)};
            memcpy(bytes, &place, sizeof(place));
            break;
        }
        Images images;
        images.Publish(half);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(Read("In", "Name"), "inner");
            EXPECT_EQ(Read("Out", "Name"), "status 1");
        }
    });
}

// A table without an empty place, where no key is found: the search has an end.
TEST(Reader, SearchIsShortInAFullTable)
{
    InFreshProcess([] {
        std::string half = HalfWith({{"A", {}}});
        for (u32 slot = 0; slot < 8; ++slot) {
            const ImageSlot place = {0x5a5a5a5a, htole32(96)};
            memcpy(half.data() + sizeof(ImageHalf) + slot * sizeof(place), &place, sizeof(place));
        }
        Images images;
        images.Publish(half);
        EXPECT_EQ(Read("A", "Name"), "status 6");
    });
}

// The format is the same on every machine: these bytes are an image's.
TEST(Reader, BytesOfAnImageAreTheSameEverywhere)
{
    Instance sensor = Texts({{"Type", "1"}});
    sensor.unit = "C";
    sensor.source = 3;
    const std::string half = HalfWith({{"K", sensor}});
    const std::string expected("\x8c\0\0\0"
                               "\1\0\0\0"
                               "\x08\0\0\0"
                               "\x60\0\0\0"
                               "\x90\0\0\0"
                               "\x90\0\0\0"
                               "\0\0\0\0"
                               "\0\0\0\0",
                               32);
    ImageHalf head;
    memcpy(&head, half.data(), sizeof(head));
    EXPECT_EQ(head.slots, htole32(8));
    const std::string record = half.substr(le32toh(head.records));
    EXPECT_EQ(record.substr(0, 16 + 4 + 14), std::string("\x22\0\0\0"
                                                         "\0\0\0\0"
                                                         "\1\0"
                                                         "\3\0"
                                                         "\1\0\0\0"
                                                         "K\0"
                                                         "C\0"
                                                         "\0\0\0\0"
                                                         "\1\0"
                                                         "\4"
                                                         "Type\0"
                                                         "1\0",
                                                         34));
}
