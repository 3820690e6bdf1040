// SPDX-License-Identifier: Apache-2.0
// Copies of the image, seen through the client.
#include "objmgr/snapshot.h"

#include "objmgr/inspect.h"
#include "platform/clock.h"
#include "support/client_world.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/time.h>

#include <fstream>

// ---- calls that fail (linked with --wrap) ----

static int sCallsUntilFailure;  // 0: none fails
static int sFailures;
static int sMaps;         // memory that was asked for
static int sFailedReads;  // of the system itself

static bool Fails()
{
    if (sCallsUntilFailure == 0 || --sCallsUntilFailure > 0)
        return false;
    ++sFailures;
    errno = ENOMEM;
    return true;
}

// Where a long is too short for a file's size, the calls with 64-bit offsets have names and
// arguments of their own.
#ifdef __LP64__
#define REAL(call) __real_##call
#define WRAP(call) __wrap_##call
#else
#define REAL(call) __real_##call##64
#define WRAP(call) __wrap_##call##64
#endif

extern "C" {
void *REAL(mmap)(void *at, size_t size, int protection, int flags, int fd, off_t offset);
void *WRAP(mmap)(void *at, size_t size, int protection, int flags, int fd, off_t offset);
ssize_t REAL(pread)(int fd, void *to, size_t size, off_t offset);
ssize_t WRAP(pread)(int fd, void *to, size_t size, off_t offset);

void *WRAP(mmap)(void *at, size_t size, int protection, int flags, int fd, off_t offset)
{
    ++sMaps;
    return Fails() ? MAP_FAILED : REAL(mmap)(at, size, protection, flags, fd, offset);
}

ssize_t WRAP(pread)(int fd, void *to, size_t size, off_t offset)
{
    const ssize_t got = Fails() ? -1 : REAL(pread)(fd, to, size, offset);
    sFailedReads += got < 0;
    return got;
}
}

// ---- memory ----

static size_t MappedBytes()
{
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

// Whatever fails, nothing is left behind, and the next one works. A read that fails is taken for a
// torn copy, which is taken again at once.
CLIENT_TEST(AcquireSurvivesEveryFailureOfTheSystem)
{
    World world;
    std::string outcomes;
    for (int call = 1; call <= 4; ++call) {
        ChildProcess process([&] {
            const auto descriptors = CountDescriptors();
            sCallsUntilFailure = call;
            Snapshot *first = SnapshotAcquire();
            sCallsUntilFailure = 0;
            Snapshot *second = SnapshotAcquire();
            if (second == nullptr || CountDescriptors() > descriptors + 2)
                _exit(99);
            _exit(first == nullptr ? 10 : 11 + sFailures);
        });
        outcomes += std::to_string(WEXITSTATUS(process.Wait())) + " ";
    }
    // The head's map, the copy's memory; the read; all went well.
    EXPECT_EQ(outcomes, "10 10 12 11 ");
}

CLIENT_TEST(ChangeOfTheImageSurvivesFailures)
{
    World world;
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "ON");
    const ObjMgrHandle held = MustOpen();
    ASSERT_EQ(world.service->Run(kTurnOff), 0);
    sCallsUntilFailure = 1;  // a second copy has no memory
    EXPECT_EQ(OpenStatus(), 1u);
    EXPECT_EQ(ObjMgrGetPresence(), ObjMgrPresence::Unreadable);
    EXPECT_EQ(sFailures, 1);
    EXPECT_EQ(ReadIn(held, "OEM_QARN_System", "PowerStatus"), "ON");
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
}

CLIENT_TEST(CopiesGiveTheirMemoryBack)
{
    World world(Sensors(2000));
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ObjMgrHandle handles[8];
    om->Close(MustOpen());
    const size_t one = MappedBytes();
    for (ObjMgrHandle &handle : handles) {
        handle = MustOpen();
        ASSERT_EQ(world.service->Run(kTurnOff), 0);
        ASSERT_EQ(world.service->Run(kTurnOn), 0);
    }
    EXPECT_GT(MappedBytes(), one + 7 * size_t{100000});
    for (const ObjMgrHandle handle : handles)
        om->Close(handle);
    om->Close(MustOpen());
    EXPECT_LE(MappedBytes(), one);
    KillService(world);
    EXPECT_EQ(OpenStatus(), 1u);
    EXPECT_LE(MappedBytes(), one - 100000);
}

// Of a copy that nobody uses any more, where the next one fits and is not much smaller.
CLIENT_TEST(MemoryIsUsedAgainWhereItFits)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    std::string maps;
    for (const ServiceStep step : {kTurnOff, kTurnOn, kGrow, kTurnOff, kTurnOn}) {
        ASSERT_EQ(world.service->Run(step), 0);
        sMaps = 0;
        EXPECT_EQ(OpenStatus(), 0u);
        maps += std::to_string(sMaps) + " ";
    }
    // A store that has grown has another file, too.
    EXPECT_EQ(maps, "0 0 2 0 0 ");
    EXPECT_EQ(sFailedReads, 0);
}

// One instance of `count` long texts: 3 take one page, 14 four pages, 15 five.
static Records LongTexts(int count)
{
    Instance instance;
    for (int i = 0; i < count; ++i)
        instance.properties.push_back({std::to_string(i), kCimOk, std::string(1023, 'x')});
    return {{"K", instance}};
}

// Four times the pages that are wanted are used again, more are given back.
CLIENT_TEST(MemoryThatIsMuchTooLargeIsGivenBack)
{
    World world(LongTexts(14));
    EXPECT_EQ(OpenStatus(), 0u);
    std::string maps;
    for (const int count : {3, 14, 1, 15, 3, 1}) {
        ASSERT_EQ(world.service->Run(kEnd), 0);
        world.Start(LongTexts(count));
        sMaps = 0;
        EXPECT_EQ(OpenStatus(), 0u);
        maps += std::to_string(sMaps) + " ";
    }
    // Each time the head of another file; the copy's memory for 15 texts, and for 3 behind them.
    EXPECT_EQ(maps, "1 1 1 2 2 1 ");
}

// Every connection keeps what it was opened with, eight of them at a time.
CLIENT_TEST(EightConnectionsHaveEightSnapshots)
{
    World world;
    const char *texts[] = {"ON", "OFF"};
    ObjMgrHandle handles[8];
    for (int i = 0; i < 8; ++i) {
        handles[i] = MustOpen();
        ASSERT_EQ(world.service->Run(i % 2 == 0 ? kTurnOff : kTurnOn), 0);
    }
    EXPECT_EQ(OpenStatus(), 1u);
    for (int turn = 0; turn < 3; ++turn) {
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(ReadIn(handles[i], "OEM_QARN_System", "PowerStatus"), texts[i % 2]);
        ASSERT_EQ(world.service->Run(kBeat), 0);
    }
}

// ---- torn copies ----

// A half whose number never stands still.
CLIENT_TEST(ImageThatNeverStandsStillFailsAfterSixteenMilliseconds)
{
    std::string image = ImageFileOf(HalfWith({}), BeatMs());
    ImageHead head = HeadOf(image);
    head.begun = htole32(le32toh(head.done) + 2);
    memcpy(image.data(), &head, sizeof(head));
    FalseService service(image);
    const u64 before = ClockMs();
    EXPECT_EQ(OpenStatus(), 1u);
    EXPECT_EQ(ObjMgrGetPresence(), ObjMgrPresence::Unreadable);
    EXPECT_GE(ClockMs() - before, 15u);
}

CLIENT_TEST(PublishThatIsUnderWayLeavesTheHalfInUseGood)
{
    std::string image = ImageFileOf(HalfWith({{"A", Texts({{"Name", "a"}})}}), BeatMs());
    ImageHead head = HeadOf(image);
    head.begun = htole32(le32toh(head.done) + 1);
    memcpy(image.data(), &head, sizeof(head));
    FalseService service(image);
    EXPECT_EQ(Read("A", "Name"), "a");
}

CLIENT_TEST(HalfThatClaimsMoreThanThereIsFails)
{
    for (const u32 size :
         {u32{0}, u32{31}, u32{4097}, u32{64} * 1024 * 1024 + 1, u32{0xffffffff}}) {
        InFreshProcess([size] {
            std::string image = ImageFileOf(HalfWith({}), BeatMs());
            ImageHead head = HeadOf(image);
            head.halfSize[1] = htole32(size);
            if (size > 4097)
                head.halfCapacity = htole32(size);
            memcpy(image.data(), &head, sizeof(head));
            FalseService service(image);
            EXPECT_EQ(OpenStatus(), 1u) << size;
        });
    }
}

CLIENT_TEST(TimeLimitOfAMethodIsBelievedWithinReason)
{
    for (const auto &[said, believed] :
         {std::pair(0u, 5000u), {1u, 1u}, {120000u, 120000u}, {120001u, 5000u}}) {
        InFreshProcess([said = said, believed = believed] {
            std::string image = ImageFileOf(HalfWith({}), BeatMs());
            ImageHead head = HeadOf(image);
            head.methodTimeoutMs = htole32(said);
            memcpy(image.data(), &head, sizeof(head));
            FalseService service(image);
            Snapshot *snapshot = SnapshotAcquire();
            ASSERT_NE(snapshot, nullptr);
            EXPECT_EQ(snapshot->methodTimeoutMs, believed);
            SnapshotRelease(snapshot);
        });
    }
}

// A writer that publishes as often as it may, and readers that open as often as they can: every
// copy is of one publish.
TEST(Snapshot, CopiesAreNeverMixed)
{
    TestDirectory directory;
    setenv("ZOROBJMGR", directory.Path().c_str(), 1);
    const auto turn = [](int number) {
        Records records;
        for (int i = 0; i < 200; ++i)
            records.push_back(
                {"N.I=" + std::to_string(i), Texts({{"Turn", std::to_string(1000000 + number)}})});
        return records;
    };
    ImageWriter writer;
    StepProcess service({[&] { return PublishAll(&writer, directory.Path(), turn(0)); },
                         [&] {
                             int rc = 0;
                             for (int i = 1; rc == 0 && i <= 60; ++i) {
                                 usleep(10 * 1000);
                                 rc = PutAll(&writer, turn(i)) | writer.Heartbeat();
                             }
                             return rc;
                         }});
    ASSERT_EQ(service.Run(0), 0);
    std::vector<std::unique_ptr<ChildProcess>> readers;
    for (int i = 0; i < 4; ++i)
        readers.push_back(std::make_unique<ChildProcess>([] {
            for (int round = 0;; ++round) {
                const ObjMgrHandle handle = MustOpen();
                const std::string first = ReadIn(handle, "N.I=0", "Turn");
                for (const char *path : {"N.I=199", "N.I=100", "N.I=50"})
                    EXPECT_EQ(ReadIn(handle, path, "Turn"), first);
                ObjMgrGetInterface()->Close(handle);
                if (first == "1000060")
                    return;
            }
        }));
    ASSERT_EQ(service.Run(1), 0);
    for (const auto &reader : readers)
        EXPECT_EQ(reader->Wait(), 0);
}
