// SPDX-License-Identifier: Apache-2.0
// The client against a service in a process of its own.
#include "objmgr/objmgr.h"

#include "objmgr/inspect.h"
#include "objmgr/protocol.h"
#include "platform/clock.h"
#include "support/client_world.h"
#include "support/watched_open.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>

#include <memory>
#include <set>

// ---- presence ----

CLIENT_TEST(WithoutAStoreThereIsATableAndOpenFails)
{
    TestDirectory directory;
    setenv("ZOROBJMGR", directory.Path().c_str(), 1);
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ASSERT_NE(om, nullptr);
    ObjMgrHandle handle = 77;
    EXPECT_EQ(om->Open(&handle), 1u);
    EXPECT_EQ(handle, 0u);
    om->Close(handle);
    EXPECT_EQ(om->Open(nullptr), 1u);
    EXPECT_EQ(om->place10, nullptr);
    for (const ObjMgrReserved reserved : om->place4To8)
        EXPECT_EQ(reserved, nullptr);
    for (const ObjMgrReserved reserved : om->place12To14)
        EXPECT_EQ(reserved, nullptr);
    for (const ObjMgrReserved reserved : om->place16To18)
        EXPECT_EQ(reserved, nullptr);
}

static std::string sFirstOpened;

static void ExpectDefaultDirectory()
{
    sFirstOpened.clear();
    WatchOpens([](const char *path, int) {
        if (sFirstOpened.empty())
            sFirstOpened = path;
    });
    ObjMgrGetInterface();
    WatchOpens(nullptr);
    EXPECT_EQ(sFirstOpened, "/run/zor/objmgr");
}

CLIENT_TEST(UnsetDirectoryIsTheDefault)
{
    unsetenv("ZOROBJMGR");
    ExpectDefaultDirectory();
}

CLIENT_TEST(EmptyDirectoryCountsAsUnset)
{
    setenv("ZOROBJMGR", "", 1);
    ExpectDefaultDirectory();
}

CLIENT_TEST(DirectoryTooLongForAPathFails)
{
    setenv("ZOROBJMGR", ("/" + std::string(5000, 'd')).c_str(), 1);
    EXPECT_EQ(OpenStatus(), 1u);
}

CLIENT_TEST(DirectoryStaysForTheProcess)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    setenv("ZOROBJMGR", "/nowhere", 1);
    EXPECT_EQ(OpenStatus(), 0u);
    world.Start();
    EXPECT_EQ(OpenStatus(), 0u);
}

CLIENT_TEST(KilledServiceIsSeenAfterATick)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    KillService(world);
    EXPECT_EQ(OpenStatus(), 1u);
    EXPECT_EQ(OpenStatus(), 1u);
}

CLIENT_TEST(ServiceKilledBeforeTheFirstOpenIsSeen)
{
    World world;
    KillService(world);
    EXPECT_EQ(OpenStatus(), 1u);
}

CLIENT_TEST(ServiceThatEndedIsSeenAtOnce)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    EXPECT_EQ(world.service->Run(kEnd), 0);
    EXPECT_EQ(OpenStatus(), 1u);
    EXPECT_EQ(world.service->Run(kPublish), 0);
    EXPECT_EQ(OpenStatus(), 0u);
}

// The heartbeat is `age` milliseconds old when the image is published; negative: in the future.
static u32 OpenWithHeartbeat(i32 age)
{
    FalseService service(ImageFileOf(HalfWith({}), BeatMs() - static_cast<u32>(age)));
    const u32 status = OpenStatus();
    EXPECT_EQ(ObjMgrGetPresence(), status == 0 ? ObjMgrPresence::Serving : ObjMgrPresence::Hung);
    return status;
}

CLIENT_TEST(ServiceWithoutAFreshHeartbeatIsHung)
{
    EXPECT_EQ(OpenWithHeartbeat(3050), 1u);
}

CLIENT_TEST(ServiceWithAFreshHeartbeatServes)
{
    EXPECT_EQ(OpenWithHeartbeat(1000), 0u);
}

CLIENT_TEST(HeartbeatFromTheFarFutureIsNone)
{
    EXPECT_EQ(OpenWithHeartbeat(-60000), 1u);
}

CLIENT_TEST(HeartbeatFromTheNearFutureServes)
{
    EXPECT_EQ(OpenWithHeartbeat(-2900), 0u);
}

CLIENT_TEST(StoppedServiceIsHungAfterThreeSeconds)
{
    World world;
    world.service->Process().Stop();
    EXPECT_EQ(OpenStatus(), 0u);
    usleep(3050 * 1000);
    EXPECT_EQ(OpenStatus(), 1u);
    world.service->Process().Continue();
    ASSERT_EQ(world.service->Run(kBeat), 0);
    EXPECT_EQ(OpenStatus(), 0u);
}

CLIENT_TEST(FailedOpenTakesNoConnection)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    KillService(world);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(OpenStatus(), 1u);
    world.Start();
    for (int i = 0; i < 8; ++i)
        MustOpen();
}

// ---- restarts ----

CLIENT_TEST(RestartedServiceIsFoundAgain)
{
    World world;
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "ON");
    world.Start({{"OEM_QARN_System", Texts({{"PowerStatus", "OFF"}})}});
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
    KillService(world);
    EXPECT_EQ(OpenStatus(), 1u);
    world.Start();
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "ON");
}

CLIENT_TEST(RestartingServiceIsAbsentUntilItPublishes)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    KillService(world);
    StepProcess next({[&] {
        static ImageWriter writer;
        return writer.Open(world.directory.Path());
    }});
    ASSERT_EQ(next.Run(0), 0);
    EXPECT_EQ(OpenStatus(), 1u);
}

// An image that is too small for what comes: the service goes on with a new file.
CLIENT_TEST(ImageThatGrowsIsFound)
{
    World world(Sensors(3));
    const std::string image = world.directory.Path() + "/image";
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(stat(image.c_str(), &before), 0);
    const ObjMgrHandle handle = MustOpen();
    ASSERT_EQ(world.service->Run(kGrow), 0);
    ASSERT_EQ(stat(image.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_Sensor.Index=400", "Reading"), "status 6");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=400", "Reading"), "420");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=3", "Reading"), "23");
}

CLIENT_TEST(ServiceThatStartsLateIsFound)
{
    TestDirectory directory;
    setenv("ZOROBJMGR", (directory.Path() + "/later").c_str(), 1);
    EXPECT_EQ(OpenStatus(), 1u);
    Service service(directory.Path() + "/later");
    EXPECT_EQ(OpenStatus(), 1u);
    ASSERT_EQ(service.Run(kPublish), 0);
    EXPECT_EQ(OpenStatus(), 0u);
}

CLIENT_TEST(DirectoryMadeAnewIsFound)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    KillService(world);
    std::filesystem::remove_all(world.directory.Path());
    EXPECT_EQ(OpenStatus(), 1u);
    world.Start();
    EXPECT_EQ(OpenStatus(), 0u);
    KillService(world);
    EXPECT_EQ(OpenStatus(), 1u);
}

CLIENT_TEST(ConnectionKeepsItsSnapshotAcrossARestart)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle handle = MustOpen();
    KillService(world);
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    world.Start({{"OEM_QARN_System", Texts({{"PowerStatus", "OFF"}})}});
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    const ObjMgrHandle second = MustOpen();
    EXPECT_EQ(ReadIn(second, "OEM_QARN_System", "PowerStatus"), "OFF");
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    om->Close(handle);
    om->Close(second);
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
}

CLIENT_TEST(DescriptorsAreClosedOnExec)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    size_t seen = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code none;
        const std::string target = std::filesystem::read_symlink(entry.path(), none).string();
        if (target.rfind(world.directory.Path(), 0) != 0)
            continue;
        ++seen;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0)
            << target;
    }
    EXPECT_EQ(seen, 2u);  // image, alive
}

CLIENT_TEST(RestartsLeaveNoDescriptorsOpen)
{
    World world;
    EXPECT_EQ(OpenStatus(), 0u);
    const auto before = CountDescriptors();
    for (int i = 0; i < 5; ++i) {
        KillService(world);
        EXPECT_EQ(OpenStatus(), 1u);
        world.Start();
        EXPECT_EQ(OpenStatus(), 0u);
    }
    EXPECT_EQ(CountDescriptors(), before);
}

// ---- handles ----

CLIENT_TEST(NinthConnectionFails)
{
    World world;
    std::set<ObjMgrHandle> handles;
    for (int i = 0; i < 8; ++i)
        handles.insert(MustOpen());
    EXPECT_EQ(handles.size(), 8u);
    EXPECT_EQ(OpenStatus(), 1u);
    ObjMgrGetInterface()->Close(*handles.begin());
    EXPECT_EQ(OpenStatus(), 0u);
    MustOpen();
    EXPECT_EQ(OpenStatus(), 1u);
}

CLIENT_TEST(StaleHandlesAreRefused)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle old = MustOpen();
    om->Close(old);
    const ObjMgrHandle current = MustOpen();
    EXPECT_NE(old, current);
    u64 storage[64] = {};
    ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
    u32 result = 5;
    for (const ObjMgrHandle handle :
         {old, ObjMgrHandle{0}, ObjMgrHandle{0xffffffff}, current + 1}) {
        EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "status 1");
        EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, instance), kCimFailed);
        EXPECT_EQ(om->InvokeMethod(handle, "C", "M", nullptr, 0, 0, &result), kCimFailed);
        om->Close(handle);
        om->Close(handle);
    }
    EXPECT_EQ(result, 5u);
    EXPECT_EQ(ReadIn(current, "OEM_QARN_System", "PowerStatus"), "ON");
}

// ---- instances ----

CLIENT_TEST(InstanceIsBuiltInsideTheStorage)
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    for (u32 offset = 0; offset < 16; ++offset) {
        u32 smallest = 0;
        for (u32 size = 512; size > 0; --size) {
            // Exactly that many bytes behind the offset: the address sanitizer sees a write beyond.
            std::unique_ptr<u8[]> bytes(new u8[offset + size]);
            u8 *storage = bytes.get() + offset;
            ObjMgrInstance *instance = om->InitInstance(storage, size);
            if (instance == nullptr)
                break;
            smallest = size;
            EXPECT_GE(reinterpret_cast<u8 *>(instance), storage);
            EXPECT_LT(reinterpret_cast<u8 *>(instance), storage + size);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(instance) % alignof(void *), 0u);
        }
        EXPECT_GT(smallest, 0u) << offset;
        EXPECT_LE(smallest, 64u) << offset;
    }
    u8 storage[512];
    EXPECT_EQ(om->InitInstance(nullptr, 512), nullptr);
    EXPECT_EQ(om->InitInstance(storage, 0), nullptr);
    EXPECT_EQ(om->InitInstance(storage, 8), nullptr);
    EXPECT_EQ(om->InitInstance(storage + 1, 3), nullptr);
}

CLIENT_TEST(InstanceGivesItsValues)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle handle = MustOpen();
    u8 storage[1024] = {};
    ObjMgrInstance *instance = om->InitInstance(storage + 1, 512);
    ASSERT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, instance), kCimOk);
    const char *power = om->GetInstanceValue(instance, "PowerStatus");
    EXPECT_STREQ(power, "ON");
    EXPECT_STREQ(om->GetInstanceValue(instance, "Empty"), "");
    EXPECT_EQ(om->GetInstanceValue(instance, "HostName"), nullptr);
    EXPECT_EQ(om->GetInstanceValue(instance, "None"), nullptr);
    EXPECT_EQ(om->GetInstanceValue(instance, ""), nullptr);
    EXPECT_EQ(om->GetInstanceValue(instance, nullptr), nullptr);
    EXPECT_EQ(om->GetInstanceValue(nullptr, "PowerStatus"), nullptr);
    ASSERT_EQ(om->GetInstance(handle, "OEM_QARN_Sensor.Index=2", 0, instance), kCimOk);
    EXPECT_STREQ(om->GetInstanceValue(instance, "Reading"), "22");
    EXPECT_STREQ(power, "ON");
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_Sensor.Index=5", 0, instance), kCimNotFound);
    EXPECT_EQ(om->GetInstanceValue(instance, "Reading"), nullptr);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_Sensor.Index=4", 0, instance), kCimAccessDenied);
    EXPECT_EQ(om->GetInstanceValue(instance, "Type"), nullptr);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_Sensor.", 0, instance), kCimInvalidParameter);
    EXPECT_EQ(om->GetInstance(handle, nullptr, 0, instance), kCimInvalidParameter);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, nullptr), kCimFailed);
}

CLIENT_TEST(InstanceThatIsNotBoundHasNoValues)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ObjMgrHandle handle = MustOpen();
    u64 storage[64] = {};
    ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
    EXPECT_EQ(om->GetInstanceValue(instance, "PowerStatus"), nullptr);
    ASSERT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, instance), kCimOk);
    EXPECT_EQ(om->InitInstance(storage, sizeof(storage)), instance);
    EXPECT_EQ(om->GetInstanceValue(instance, "PowerStatus"), nullptr);

    ASSERT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, instance), kCimOk);
    om->Close(handle);
    EXPECT_EQ(om->GetInstanceValue(instance, "PowerStatus"), nullptr);
    handle = MustOpen();  // the same slot, another connection
    EXPECT_EQ(om->GetInstanceValue(instance, "PowerStatus"), nullptr);

    u64 never[64] = {};
    ObjMgrInstance *unmade = reinterpret_cast<ObjMgrInstance *>(never);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, unmade), kCimFailed);
    EXPECT_EQ(om->GetInstanceValue(unmade, "PowerStatus"), nullptr);
}

// ---- values ----

CLIENT_TEST(EachFailureOfAReadHasItsStatus)
{
    World world;
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "ON");
    EXPECT_EQ(Read("OEM_QARN_System", "Empty"), "");
    EXPECT_EQ(Read("OEM_QARN_System", "HostName"), "status 2");
    EXPECT_EQ(Read("OEM_QARN_System", "None"), "status 12");
    EXPECT_EQ(Read("OEM_QARN_System", ""), "status 12");
    EXPECT_EQ(Read("OEM_QARN_System", std::string(2000, 'p').c_str()), "status 12");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=4", "Type"), "status 2");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=5", "Type"), "status 6");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index", "Type"), "status 4");
    EXPECT_EQ(Read(nullptr, "Type"), "status 4");
    EXPECT_EQ(Read("OEM_QARN_System", nullptr), "status 4");
    EXPECT_EQ(Read(".faults", "open"), "status 4");
}

CLIENT_TEST(ValueIsCutToTheBuffer)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle handle = MustOpen();
    const auto read = [&](u16 size) {
        std::unique_ptr<char[]> buffer(new char[size]);
        EXPECT_EQ(om->GetPropertyValue(handle, "OEM_QARN_System", "ServiceTag", size, buffer.get()),
                  kCimOk);
        return std::string(buffer.get());
    };
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(read(2), "Q");
    EXPECT_EQ(read(7), "QARN12");
    EXPECT_EQ(read(8), "QARN123");
    EXPECT_EQ(read(65535), "QARN123");
    char buffer[4] = "xyz";
    EXPECT_EQ(om->GetPropertyValue(handle, "OEM_QARN_System", "ServiceTag", 0, buffer),
              kCimInvalidParameter);
    EXPECT_STREQ(buffer, "xyz");
    EXPECT_EQ(om->GetPropertyValue(handle, "OEM_QARN_System", "ServiceTag", 4, nullptr),
              kCimInvalidParameter);
}

CLIENT_TEST(PathChoosesTheFormOfTheTimestamp)
{
    World world;
    const char *plain = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7";
    const char *digits =
        "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7,TimestampFormat=YYYYMMDDHHMMSS";
    EXPECT_EQ(Read(plain, "Timestamp"), "Mon Mar 04 2024 05:06:07");
    EXPECT_EQ(Read(digits, "Timestamp"), "20240304050607");
    EXPECT_EQ(Read(digits, "RecordNum"), "7");
    EXPECT_EQ(Read(digits, "None"), "status 12");
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle handle = MustOpen();
    u64 storage[64] = {};
    ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
    ASSERT_EQ(om->GetInstance(handle, digits, 0, instance), kCimOk);
    EXPECT_STREQ(om->GetInstanceValue(instance, "Timestamp"), "20240304050607");
    ASSERT_EQ(om->GetInstance(handle, plain, 0, instance), kCimOk);
    EXPECT_STREQ(om->GetInstanceValue(instance, "Timestamp"), "Mon Mar 04 2024 05:06:07");
}

CLIENT_TEST(StoredNameOfTheDigitsIsHidden)
{
    World world;
    const char *path = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7";
    const char *digits =
        "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7,TimestampFormat=YYYYMMDDHHMMSS";
    EXPECT_EQ(Read(path, "Timestamp;YYYYMMDDHHMMSS"), "status 12");
    EXPECT_EQ(Read(digits, "Timestamp;YYYYMMDDHHMMSS"), "status 12");
    EXPECT_EQ(Read(path, ";YYYYMMDDHHMMSS"), "status 12");
}

// Puts `bytes` in the place of the same number of bytes that begin with `at`, in the half.
static void Patch(std::string *half, const std::string &at, const std::string &bytes)
{
    const size_t found = half->find(at);
    ASSERT_NE(found, std::string::npos);
    half->replace(found, bytes.size(), bytes);
}

// The record that is damaged, or says what must not reach a terminal, is refused; others are not.
CLIENT_TEST(RecordsThatAreNotRightFailAlone)
{
    std::string half = HalfWith({{"Cut", Texts({{"Name", "abcd"}})},
                                 {"Escape", Texts({{"Name", "wxyz"}})},
                                 {"Override", Texts({{"Name", "turn"}, {"Other", "o"}})},
                                 {"Unit", Texts({{"Name", "u"}})},
                                 {"Whole", Texts({{"Name", "w"}})}});
    Patch(&half, "abcd", "ab\nd");
    Patch(&half, "wxyz", "\x1b[2J");
    Patch(&half, "turn", "\xe2\x80\xae.");
    FalseService service(ImageFileOf(half, BeatMs()));
    for (const char *path : {"Cut", "Escape", "Override"}) {
        EXPECT_EQ(Read(path, "Name"), "status 1") << path;
        EXPECT_EQ(Read(path, "Other"), "status 1") << path;
    }
    EXPECT_EQ(Read("Whole", "Name"), "w");
    EXPECT_EQ(Read("Unit", "Name"), "u");
}

CLIENT_TEST(ConnectionIsOneSnapshot)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle before = MustOpen();
    u64 storage[64] = {};
    ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
    ASSERT_EQ(om->GetInstance(before, "OEM_QARN_System", 0, instance), kCimOk);
    const char *power = om->GetInstanceValue(instance, "PowerStatus");
    ASSERT_EQ(world.service->Run(kTurnOff), 0);
    const ObjMgrHandle after = MustOpen();
    EXPECT_EQ(ReadIn(before, "OEM_QARN_System", "PowerStatus"), "ON");
    EXPECT_EQ(ReadIn(after, "OEM_QARN_System", "PowerStatus"), "OFF");
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(world.service->Run(i % 2 == 0 ? kTurnOff : kBeat), 0);
    EXPECT_STREQ(power, "ON");
    om->Close(before);
    om->Close(after);
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
}

// ---- costs ----

static void WalkSensors(ObjMgrHandle handle, int count)
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    for (int i = 1; i <= count; ++i) {
        u64 storage[128] = {};
        ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
        const std::string path = "OEM_QARN_Sensor.Index=" + std::to_string(i);
        ASSERT_EQ(om->GetInstance(handle, path.c_str(), 0, instance), kCimOk);
        EXPECT_EQ(om->GetInstanceValue(instance, "Reading"), std::to_string(20 + i));
        EXPECT_STREQ(om->GetInstanceValue(instance, "Type"), "1");
    }
}

CLIENT_TEST(WalksGiveEveryValueWhateverTheOrder)
{
    World world(Sensors(100));
    ObjMgrHandle handle = MustOpen();
    WalkSensors(handle, 100);
    WalkSensors(handle, 100);
    for (int i = 100; i >= 1; --i) {
        const std::string path = "OEM_QARN_Sensor.Index=" + std::to_string(i);
        EXPECT_EQ(ReadIn(handle, path.c_str(), "Reading"), std::to_string(20 + i));
    }
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_Sensor.Index=101", "Reading"), "status 6");
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_Sensor.Index=0", "Reading"), "status 6");
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_Sensor.Index=01", "Reading"), "status 6");
}

CLIENT_TEST(InstancesThatComeAndGoAreSeenByTheNextConnection)
{
    TestDirectory directory;
    setenv("ZOROBJMGR", directory.Path().c_str(), 1);
    ImageWriter writer;
    StepProcess service({[&] { return PublishAll(&writer, directory.Path(), Sensors(1)); },
                         [&] { return PutAll(&writer, Sensors(2)); },
                         [&] {
                             writer.Begin();
                             writer.Delete("OEM_QARN_Sensor.Index=1");
                             return writer.Commit() | writer.Publish();
                         }});
    ASSERT_EQ(service.Run(0), 0);
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=1", "Reading"), "21");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=2", "Reading"), "status 6");
    ASSERT_EQ(service.Run(1), 0);
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=2", "Reading"), "22");
    ASSERT_EQ(service.Run(2), 0);
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=1", "Reading"), "status 6");
}

CLIENT_TEST(ConnectionsOfTwoSnapshotsReadByTurns)
{
    World world;
    const ObjMgrHandle before = MustOpen();
    ASSERT_EQ(world.service->Run(kTurnOff), 0);
    const ObjMgrHandle after = MustOpen();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ReadIn(before, "OEM_QARN_System", "PowerStatus"), "ON");
        EXPECT_EQ(ReadIn(after, "OEM_QARN_System", "PowerStatus"), "OFF");
    }
}

// Keys are hashed four bytes at a time.
CLIENT_TEST(PathsOfEveryLengthAndOfOneEndAreToldApart)
{
    Records records;
    const std::string end = ".Index=1";
    for (const size_t length : {1u, 2u, 3u, 4u, 5u, 38u, 41u})
        records.push_back(
            {std::string(length, 'c') + end, Texts({{"Name", std::to_string(length)}})});
    records.push_back({std::string(511, 'k'), Texts({{"Name", "longest"}})});
    World world(records);
    for (int i = 0; i < 2; ++i) {
        for (const size_t length : {1u, 2u, 3u, 4u, 5u, 38u, 41u})
            EXPECT_EQ(Read((std::string(length, 'c') + end).c_str(), "Name"),
                      std::to_string(length));
        EXPECT_EQ(Read("c,Index=1", "Name"), "status 6");
        EXPECT_EQ(Read(end.c_str(), "Name"), "status 4");
        EXPECT_EQ(Read(std::string(511, 'k').c_str(), "Name"), "longest");
        EXPECT_EQ(Read(std::string(510, 'k').c_str(), "Name"), "status 6");
        EXPECT_EQ(Read(std::string(512, 'k').c_str(), "Name"), "status 4");
    }
}

// The record behind the last one is only a guess at what is asked for next.
CLIENT_TEST(PathsInEveryOrderAreToldApart)
{
    Records records;
    for (const char *name : {"Apples.Index=1", "Apples.Index=2", "Pears.Index=11", "Short"})
        records.push_back({name, Texts({{"Name", name}})});
    World world(records);
    std::vector<const char *> paths = {"Apples.Index=1", "Apples.Index=2", "Apples.Index=3",
                                       "Pears.Index=11", "Short"};
    const auto expected = [](const char *path) {
        const bool stored = std::string(path) != "Apples.Index=3";
        return stored ? std::string(path) : std::string("status 6");
    };
    do {
        const ObjMgrHandle handle = MustOpen();
        for (const char *path : paths)
            EXPECT_EQ(ReadIn(handle, path, "Name"), expected(path));
        ObjMgrGetInterface()->Close(handle);
    } while (std::next_permutation(paths.begin(), paths.end()));
}

// Runs `body` and stops it at every system call; the numbers of those between its first two calls
// of getppid, in order. False when tracing is not allowed here.
static bool TraceSystemCalls(const std::function<void()> &body, std::vector<u64> *calls)
{
    ChildProcess child([&] {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(77);
        raise(SIGSTOP);
        body();
    });
    int status = 0;
    int marks = 0;
    waitpid(child.Pid(), &status, 0);
    if (!WIFSTOPPED(status))
        return false;
    ptrace(PTRACE_SETOPTIONS, child.Pid(), nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (;;) {
        ptrace(PTRACE_SYSCALL, child.Pid(), nullptr, nullptr);
        if (waitpid(child.Pid(), &status, 0) < 0 || !WIFSTOPPED(status))
            break;
        __ptrace_syscall_info info = {};
        if (WSTOPSIG(status) != (SIGTRAP | 0x80) ||
            ptrace(PTRACE_GET_SYSCALL_INFO, child.Pid(), sizeof(info), &info) <= 0 ||
            info.op != PTRACE_SYSCALL_INFO_ENTRY)
            continue;
        if (info.entry.nr == SYS_getppid)
            ++marks;
        else if (marks == 1)
            calls->push_back(info.entry.nr);
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(marks, 2);
    return true;
}

static void Mark()
{
    syscall(SYS_getppid);
}

static void ConnectOrExit(const std::function<void(ObjMgrHandle)> &use)
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ObjMgrHandle handle = 0;
    if (om->Open(&handle) != 0)
        _exit(1);
    use(handle);
    om->Close(handle);
}

TEST(Client, OpenCostsOneSystemCallAndReadsNone)
{
    World world;
    std::vector<u64> calls;
    const bool traced = TraceSystemCalls(
        [&] {
            ConnectOrExit([](ObjMgrHandle) {});
            AwaitTick();
            Mark();
            ConnectOrExit([](ObjMgrHandle handle) {
                const ObjMgrInterface *om = ObjMgrGetInterface();
                u64 storage[64] = {};
                char buffer[32];
                ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
                if (om->GetInstance(handle, "OEM_QARN_System", 0, instance) != kCimOk ||
                    om->GetInstanceValue(instance, "PowerStatus") == nullptr ||
                    om->GetPropertyValue(handle, "OEM_QARN_System", "PowerStatus", 32, buffer) !=
                        kCimOk)
                    _exit(1);
            });
            Mark();
        },
        &calls);
    if (!traced)
        GTEST_SKIP() << "this machine does not let a process trace its child";
    EXPECT_EQ(calls, std::vector<u64>{SYS_fcntl});
}

TEST(Client, OpenAsksWhetherTheServiceLivesOnceATickAtMost)
{
    World world;
    void *shared =
        mmap(nullptr, sizeof(u64), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    u64 *elapsedMs = static_cast<u64 *>(shared);
    std::vector<u64> calls;
    const bool traced = TraceSystemCalls(
        [&] {
            ConnectOrExit([](ObjMgrHandle) {});
            const u64 start = ClockMs();
            Mark();
            for (int i = 0; i < 20000; ++i)
                ConnectOrExit([](ObjMgrHandle) {});
            Mark();
            *elapsedMs = ClockMs() - start;
        },
        &calls);
    const u64 most = *elapsedMs + 1;  // a tick is a millisecond at least, and one has begun
    munmap(shared, sizeof(u64));
    if (!traced)
        GTEST_SKIP() << "this machine does not let a process trace its child";
    EXPECT_EQ(std::count(calls.begin(), calls.end(), SYS_fcntl), static_cast<i64>(calls.size()));
    EXPECT_LE(calls.size(), most);
}

// ---- faults ----

#if ZOR_SIM

static Records WithFaults(const std::vector<std::pair<std::string, std::string>> &rows)
{
    Records records = TestRecords();
    records.push_back({kFaultsKey, Texts(rows)});
    return records;
}

CLIENT_TEST(PlannedFaultsOfTheTableOpenAndInstancesArePlayed)
{
    World world(WithFaults({{"interface", "2"}, {"open", "2"}, {"init_instance", "2"}}));
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ASSERT_NE(om, nullptr);
    EXPECT_EQ(ObjMgrGetInterface(), nullptr);
    EXPECT_EQ(ObjMgrGetInterface(), om);
    EXPECT_EQ(OpenStatus(), 0u);
    EXPECT_EQ(OpenStatus(), 1u);
    EXPECT_EQ(OpenStatus(), 0u);
    u64 storage[64];
    EXPECT_NE(om->InitInstance(storage, sizeof(storage)), nullptr);
    EXPECT_EQ(om->InitInstance(storage, sizeof(storage)), nullptr);
    EXPECT_NE(om->InitInstance(storage, sizeof(storage)), nullptr);
}

CLIENT_TEST(TableCanBeAbsentFromTheFirstCallOn)
{
    World world(WithFaults({{"interface", "1-4294967295"}}));
    EXPECT_EQ(ObjMgrGetInterface(), nullptr);
    EXPECT_EQ(ObjMgrGetInterface(), nullptr);
}

CLIENT_TEST(PlannedFaultsOfReadsArePlayed)
{
    World world(WithFaults({{"read 1", "2 2 OEM_QARN_System PowerStatus"},
                            {"read 2", "1 6 OEM_QARN_System"},
                            {"read 3", "1 5 OEM_QARN_None"}}));
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const ObjMgrHandle handle = MustOpen();
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "status 2");
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    u64 storage[64];
    ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, instance), kCimNotFound);
    EXPECT_EQ(om->GetInstanceValue(instance, "PowerStatus"), nullptr);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_System", 0, instance), kCimOk);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_None", 0, instance), 5u);
    EXPECT_EQ(om->GetInstance(handle, "OEM_QARN_None", 0, instance), kCimNotFound);
}

CLIENT_TEST(PlanOfARestartedServiceGoesOnCounting)
{
    World world(WithFaults({{"open", "3-9"}}));
    EXPECT_EQ(OpenStatus(), 0u);
    world.Start(WithFaults({{"open", "3-9"}}));
    EXPECT_EQ(OpenStatus(), 0u);
    EXPECT_EQ(OpenStatus(), 1u);
    world.Start();
    EXPECT_EQ(OpenStatus(), 0u);
}

#endif

// ---- one process and several services ----

CLIENT_TEST(AToolTakesOneDirectoryAfterTheOther)
{
    const World world;
    const World second({{"OEM_QARN_System", Texts({{"PowerStatus", "OFF"}})}});
    const auto power = [] {
        ObjMgrHandle handle = 0;
        char text[32] = "not open";
        const ObjMgrInterface *om = ObjMgrGetInterface();
        if (om->Open(&handle) == 0)
            om->GetPropertyValue(handle, "OEM_QARN_System", "PowerStatus", sizeof text, text);
        om->Close(handle);
        return std::string(text);
    };
    EXPECT_EQ(power(), "OFF");  // ZOROBJMGR
    EXPECT_TRUE(ObjMgrUseDirectory(world.directory.Path().c_str()));
    EXPECT_EQ(power(), "ON");
    EXPECT_TRUE(ObjMgrUseDirectory("/nowhere"));
    EXPECT_EQ(power(), "not open");
    EXPECT_EQ(ObjMgrGetPresence(), ObjMgrPresence::Absent);
    EXPECT_TRUE(ObjMgrUseDirectory(world.directory.Path().c_str()));
    EXPECT_EQ(power(), "ON");
    EXPECT_FALSE(ObjMgrUseDirectory(std::string(5000, 'x').c_str()));
    EXPECT_EQ(power(), "ON");
    EXPECT_TRUE(ObjMgrUseDirectory(nullptr));
    EXPECT_EQ(power(), "OFF");
}
