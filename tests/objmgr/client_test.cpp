// SPDX-License-Identifier: Apache-2.0
// The client against a service in a process of its own.
#include "objmgr/objmgr.h"

#include "objmgr/inspect.h"
#include "objmgr/protocol.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdarg.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>

#include <memory>
#include <set>

// ---- calls that are watched (linked with --wrap) ----

static std::string sFirstOpened;
static useconds_t sPauseAfterConnect;

extern "C" {
int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...);
// What open() is called where a long is too short for a file's size.
int __wrap_open64(const char *path, int flags, ...) __attribute__((alias("__wrap_open")));
int __real_connect(int fd, const sockaddr *address, socklen_t size);
int __wrap_connect(int fd, const sockaddr *address, socklen_t size);

int __wrap_open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (sFirstOpened.empty())
        sFirstOpened = path;
    return __real_open(path, flags, mode);
}

int __wrap_connect(int fd, const sockaddr *address, socklen_t size)
{
    const int rc = __real_connect(fd, address, size);
    const int error = errno;
    if (sPauseAfterConnect != 0)
        usleep(sPauseAfterConnect);
    errno = error;
    return rc;
}
}

// ---- the service ----

static Records Sensors(int count)
{
    Records records;
    for (int i = 1; i <= count; ++i)
        records.push_back({"OEM_QARN_Sensor.Index=" + std::to_string(i),
                           Texts({{"Type", "1"}, {"Reading", std::to_string(20 + i)}})});
    return records;
}

static Records TestRecords()
{
    Records records = Sensors(3);
    Instance system = Texts({{"PowerStatus", "ON"}, {"ServiceTag", "QARN123"}, {"Empty", ""}});
    system.properties.push_back({"HostName", kCimAccessDenied, "secret"});
    records.push_back({"OEM_QARN_System", system});
    records.push_back({"OEM_QARN_LogRecord.LogName=SEL,RecordNum=7",
                       Texts({{"RecordNum", "7"},
                              {"Timestamp", "Mon Mar 04 2024 05:06:07"},
                              {"Timestamp;YYYYMMDDHHMMSS", "20240304050607"}})});
    Instance denied = Texts({{"Type", "1"}});
    denied.status = kCimAccessDenied;
    records.push_back({"OEM_QARN_Sensor.Index=4", denied});
    return records;
}

enum ServiceStep : size_t { kPublish, kBeat, kTurnOff, kEnd, kGrow };

// A service that has not published yet.
class Service : public StepProcess
{
public:
    explicit Service(const std::string &directory, const Records &records = TestRecords())
        : StepProcess(Steps(directory, records))
    {
    }

private:
    static std::vector<Step> Steps(const std::string &directory, const Records &records)
    {
        auto writer = std::make_shared<ImageWriter>();
        return {
            [=] { return PublishAll(writer.get(), directory, records); },
            [=] { return writer->Heartbeat(); },
            [=] {
                return PutAll(writer.get(), {{"OEM_QARN_System", Texts({{"PowerStatus", "OFF"}})}});
            },
            [=] {
                writer->Close();
                return 0;
            },
            [=] { return PutAll(writer.get(), Sensors(400)); }};
    }
};

// A directory, ZOROBJMGR pointing there, and for most tests a service that has published.
class World
{
public:
    explicit World(const Records &records = TestRecords())
    {
        setenv("ZOROBJMGR", directory.Path().c_str(), 1);
        Start(records);
    }
    void Start(const Records &records = TestRecords())
    {
        service = std::make_unique<Service>(directory.Path(), records);
        EXPECT_EQ(service->Run(kPublish), 0);
    }
    TestDirectory directory;
    std::unique_ptr<Service> service;
};

static u32 OpenStatus()
{
    ObjMgrHandle handle = 0;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const u32 status = om->Open(&handle);
    EXPECT_EQ(handle != 0, status == 0);
    om->Close(handle);
    return status;
}

static ObjMgrHandle MustOpen()
{
    ObjMgrHandle handle = 0;
    EXPECT_EQ(ObjMgrGetInterface()->Open(&handle), 0u);
    EXPECT_NE(handle, 0u);
    return handle;
}

static std::string ReadIn(ObjMgrHandle handle, const char *path, const char *property)
{
    char buffer[256] = "untouched";
    const CimStatus status =
        ObjMgrGetInterface()->GetPropertyValue(handle, path, property, sizeof(buffer), buffer);
    if (status == kCimOk)
        return buffer;
    EXPECT_STREQ(buffer, "untouched");
    return "status " + std::to_string(status);
}

static std::string Read(const char *path, const char *property)
{
    const ObjMgrHandle handle = MustOpen();
    const std::string text = ReadIn(handle, path, property);
    ObjMgrGetInterface()->Close(handle);
    return text;
}

// The client's state belongs to a process, so each test has one of its own.
#define CLIENT_TEST(name)     \
    static void name();       \
    TEST(Client, name)        \
    {                         \
        InFreshProcess(name); \
    }                         \
    static void name()

static std::ptrdiff_t CountDescriptors()
{
    std::filesystem::directory_iterator fds("/proc/self/fd");
    return std::distance(begin(fds), end(fds));
}

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

static void ExpectDefaultDirectory()
{
    sFirstOpened.clear();
    ObjMgrGetInterface();
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

// A client may believe in a service for the rest of the tick of the clock in which it saw it alive:
// 10 ms at the most.
static void AwaitTick()
{
    usleep(11 * 1000);
}

static void KillService(const World &world)
{
    world.service->Process().Kill();
    AwaitTick();
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

// A process that says it serves this image, byte by byte.
class FalseService
{
public:
    explicit FalseService(const std::string &image)
        : process_({[this, image] {
              return HoldAlive(directory.Path()) | PublishBytes(directory.Path(), image);
          }})
    {
        setenv("ZOROBJMGR", directory.Path().c_str(), 1);
        EXPECT_EQ(process_.Run(0), 0);
    }
    TestDirectory directory;

private:
    StepProcess process_;
};

static u32 BeatMs()
{
    return static_cast<u32>(MonotonicMs());
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
            const u64 start = MonotonicMs();
            Mark();
            for (int i = 0; i < 20000; ++i)
                ConnectOrExit([](ObjMgrHandle) {});
            Mark();
            *elapsedMs = MonotonicMs() - start;
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

// ---- methods ----

static constexpr CimStatus kOddStatus = 4711;

// A peer on the service's socket; each connection is handed to `answer`.
class MethodPeer
{
public:
    MethodPeer(const std::string &directory, const std::function<void(int)> &answer,
               int backlog = 8)
        : fd_(Listen(directory, backlog))
    {
        if (answer)
            child_ = std::make_unique<ChildProcess>([&] {
                for (;;) {
                    const int fd = accept(fd_, nullptr, nullptr);
                    answer(fd);
                    close(fd);
                }
            });
    }
    ~MethodPeer() { close(fd_); }
    MethodPeer(const MethodPeer &) = delete;
    MethodPeer &operator=(const MethodPeer &) = delete;

private:
    static int Listen(const std::string &directory, int backlog)
    {
        // Through the descriptor: the directory's path may be too long for an address.
        const int base = open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/socket", base);
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(fd, backlog), 0);
        close(base);
        return fd;
    }

    int fd_;
    std::unique_ptr<ChildProcess> child_;
};

static bool ReceiveRequest(int fd, MethodRequest *request)
{
    u8 packet[kMethodPacketMax];
    const ssize_t size = recv(fd, packet, sizeof(packet), 0);
    return size > 0 && MethodParseRequest(packet, static_cast<size_t>(size), request);
}

static void Reply(int fd, CimStatus status, u32 result)
{
    u8 packet[kMethodPacketMax];
    const MethodReply reply = {status, result};
    send(fd, packet, MethodPackReply(&reply, packet), MSG_NOSIGNAL);
}

// Answers 0 and the privilege word when everything else is as expected.
static std::function<void(int)> Expecting(const char *path, const char *method, const char *args)
{
    return [=](int fd) {
        MethodRequest request;
        const bool right = ReceiveRequest(fd, &request) && strcmp(request.path, path) == 0 &&
                           strcmp(request.method, method) == 0 &&
                           request.hasArgs == (args != nullptr) &&
                           (args == nullptr || strcmp(request.args, args) == 0) &&
                           request.privilege.reserved[0] == 0 && request.privilege.reserved[1] == 0;
        Reply(fd, right ? kCimOk : kOddStatus, request.privilege.word);
    };
}

static void Accepting(int fd)
{
    MethodRequest request;
    if (ReceiveRequest(fd, &request))
        Reply(fd, kCimOk, 0);
}

struct Outcome {
    CimStatus status;
    u32 result;
    bool operator==(const Outcome &other) const
    {
        return status == other.status && result == other.result;
    }
};

static void PrintTo(const Outcome &outcome, std::ostream *out)
{
    *out << "status " << outcome.status << " result " << outcome.result;
}

static constexpr u32 kUntouched = 0x5a5a5a5a;

static Outcome InvokeIn(ObjMgrHandle handle, const char *path, const char *method, const char *args)
{
    Outcome outcome = {0, kUntouched};
    outcome.status =
        ObjMgrGetInterface()->InvokeMethod(handle, path, method, args, 0, 0, &outcome.result);
    return outcome;
}

static Outcome Invoke(const char *path, const char *method, const char *args)
{
    const ObjMgrHandle handle = MustOpen();
    const Outcome outcome = InvokeIn(handle, path, method, args);
    ObjMgrGetInterface()->Close(handle);
    return outcome;
}

static const Outcome kNoAnswer = {kCimFailed, kUntouched};

CLIENT_TEST(MethodReachesTheService)
{
    World world;
    MethodPeer peer(world.directory.Path(),
                    Expecting("OEM_QARN_System", "Reset", "Mode=PowerCycle"));
    EXPECT_EQ(Invoke("OEM_QARN_System", "Reset", "Mode=PowerCycle"), (Outcome{0, 0}));
    EXPECT_EQ(Invoke("OEM_QARN_System", "Reset", nullptr), (Outcome{kOddStatus, kUntouched}));
    EXPECT_EQ(Invoke("OEM_QARN_System", "Start", "Mode=PowerCycle"),
              (Outcome{kOddStatus, kUntouched}));
}

CLIENT_TEST(NullAndEmptyArgsAreToldApart)
{
    World world;
    const char *path = "OEM_QARN_MessageLog.Name=SEL";
    MethodPeer peer(world.directory.Path(), Expecting(path, "Clear", nullptr));
    EXPECT_EQ(Invoke(path, "Clear", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(Invoke(path, "Clear", ""), (Outcome{kOddStatus, kUntouched}));
}

CLIENT_TEST(PrivilegeBelongsToTheConnection)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    MethodPeer peer(world.directory.Path(), Expecting("C", "M", nullptr));
    const ObjMgrHandle first = MustOpen();
    const ObjMgrHandle second = MustOpen();
    ObjMgrPrivilege privilege = {0xdeadbeef, {0, 0}};
    om->SetPrivilege(first, &privilege);
    privilege.word = 7;  // the client has a copy
    om->SetPrivilege(first, nullptr);
    om->SetPrivilege(0, &privilege);
    EXPECT_EQ(InvokeIn(first, "C", "M", nullptr), (Outcome{0, 0xdeadbeef}));
    EXPECT_EQ(InvokeIn(second, "C", "M", nullptr), (Outcome{0, 0}));
    om->Close(first);
    EXPECT_EQ(InvokeIn(MustOpen(), "C", "M", nullptr), (Outcome{0, 0}));
}

CLIENT_TEST(ResultIsWrittenWithStatusZeroOnly)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        const bool denied = ReceiveRequest(fd, &request) && strcmp(request.method, "Denied") == 0;
        Reply(fd, denied ? kCimAccessDenied : kCimOk, 9);
    });
    EXPECT_EQ(Invoke("C", "M", nullptr), (Outcome{0, 9}));
    EXPECT_EQ(Invoke("C", "Denied", nullptr), (Outcome{2, kUntouched}));
    const ObjMgrHandle handle = MustOpen();
    EXPECT_EQ(ObjMgrGetInterface()->InvokeMethod(handle, "C", "M", nullptr, 0, 0, nullptr), kCimOk);
}

CLIENT_TEST(BadMethodCallsAreRefusedBeforeTheyAreSent)
{
    World world;
    MethodPeer peer(world.directory.Path(), Accepting);
    const std::string method(64, 'm');
    const std::string args(256, 'a');
    const Outcome refused = {kCimInvalidParameter, kUntouched};
    EXPECT_EQ(Invoke("C.", "M", nullptr), refused);
    EXPECT_EQ(Invoke(nullptr, "M", nullptr), refused);
    EXPECT_EQ(Invoke("C", nullptr, nullptr), refused);
    EXPECT_EQ(Invoke("C", method.c_str(), nullptr), refused);
    EXPECT_EQ(Invoke("C", "M", args.c_str()), refused);
    EXPECT_EQ(Invoke("C", method.substr(1).c_str(), args.substr(1).c_str()), (Outcome{0, 0}));
}

CLIENT_TEST(WithoutASocketAMethodFails)
{
    World world;
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(SocketThatNobodyListensToFails)
{
    World world;
    {
        MethodPeer gone(world.directory.Path(), nullptr);
    }
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(PeerThatClosesWithoutAnAnswerFails)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        ReceiveRequest(fd, &request);
    });
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(PeerThatClosesBeforeTheRequestFails)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int) {});
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
    sPauseAfterConnect = 50 * 1000;  // closed before anything is sent
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(AnswerOfAnotherSizeFails)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        const u8 packet[8192] = {};
        if (ReceiveRequest(fd, &request))
            send(fd, packet, static_cast<size_t>(atoi(request.method)), MSG_NOSIGNAL);
    });
    EXPECT_EQ(Invoke("C", "8", nullptr), (Outcome{0, 0}));
    for (const char *size : {"1", "7", "9", "1024", "1025", "8192"})
        EXPECT_EQ(Invoke("C", size, nullptr), kNoAnswer) << size;
}

CLIENT_TEST(MethodsLeaveNoDescriptorsOpen)
{
    World world;
    const ObjMgrHandle handle = MustOpen();
    const auto before = CountDescriptors();
    InvokeIn(handle, "C", "M", nullptr);
    EXPECT_EQ(CountDescriptors(), before);
    MethodPeer peer(world.directory.Path(), Expecting("C", "M", nullptr));
    const auto listening = CountDescriptors();
    InvokeIn(handle, "C", "M", nullptr);
    InvokeIn(handle, "C", "X", nullptr);
    EXPECT_EQ(CountDescriptors(), listening);
}

static void ExpectMethodWorksIn(const std::string &directory)
{
    ASSERT_EQ(setenv("ZOROBJMGR", directory.c_str(), 1), 0);
    Service service(directory);
    ASSERT_EQ(service.Run(kPublish), 0);
    MethodPeer peer(directory, Expecting("C", "M", nullptr));
    const ObjMgrHandle handle = MustOpen();
    const auto before = CountDescriptors();
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(CountDescriptors(), before);
}

static std::string DirectoryOfLength(const std::string &base, size_t length)
{
    std::string path = base + "/";
    path += std::string(length - path.size(), 'd');
    EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
    return path;
}

// An address takes 107 bytes, of which "/socket" is 7.
CLIENT_TEST(SocketPathOf107BytesWorks)
{
    TestDirectory base;
    ExpectMethodWorksIn(DirectoryOfLength(base.Path(), 100));
}

CLIENT_TEST(SocketPathOf108BytesWorks)
{
    TestDirectory base;
    ExpectMethodWorksIn(DirectoryOfLength(base.Path(), 101));
}

CLIENT_TEST(SocketPathOfManyBytesWorks)
{
    TestDirectory base;
    ExpectMethodWorksIn(DirectoryOfLength(base.Path(), 250));
}

static volatile sig_atomic_t sSignals;

CLIENT_TEST(SignalsDoNotEndTheWait)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        ReceiveRequest(fd, &request);
        usleep(200 * 1000);
        Reply(fd, 0, 3);
    });
    const ObjMgrHandle handle = MustOpen();
    struct sigaction action = {};
    action.sa_handler = [](int) { sSignals = sSignals + 1; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{0, 20 * 1000}, {0, 20 * 1000}};
    setitimer(ITIMER_REAL, &every, nullptr);
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), (Outcome{0, 3}));
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(sSignals, 1);
}

// Signals must not stretch the wait either.
CLIENT_TEST(SilentServiceEndsTheWaitAfterFiveSeconds)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int) { pause(); });
    const ObjMgrHandle handle = MustOpen();
    struct sigaction action = {};
    action.sa_handler = [](int) { sSignals = sSignals + 1; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{1, 0}, {1, 0}};
    setitimer(ITIMER_REAL, &every, nullptr);
    const u64 start = MonotonicMs();
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), kNoAnswer);
    EXPECT_GE(MonotonicMs() - start, 5000u);
    EXPECT_GT(sSignals, 1);
}

CLIENT_TEST(ServiceThatAcceptsNobodyEndsTheWaitToo)
{
    World world;
    MethodPeer peer(world.directory.Path(), nullptr, 0);
    const int queued = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s/socket",
             world.directory.Path().c_str());
    ASSERT_EQ(connect(queued, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    const u64 start = MonotonicMs();
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
    EXPECT_GE(MonotonicMs() - start, 4990u);  // the kernel's own clock ticks ended it
    close(queued);
}

CLIENT_TEST(MethodLeavesTheSnapshotAlone)
{
    World world;
    MethodPeer peer(world.directory.Path(), Accepting);
    const ObjMgrHandle handle = MustOpen();
    ASSERT_EQ(world.service->Run(kTurnOff), 0);
    EXPECT_EQ(InvokeIn(handle, "OEM_QARN_System", "Stop", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
}

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
