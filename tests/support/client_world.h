// SPDX-License-Identifier: Apache-2.0
// client_world.h -- services of their own for tests of the client.
#ifndef TESTS_SUPPORT_CLIENT_WORLD_H
#define TESTS_SUPPORT_CLIENT_WORLD_H

#include "objmgr/objmgr.h"

#include "platform/clock.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <memory>

inline Records Sensors(int count)
{
    Records records;
    for (int i = 1; i <= count; ++i)
        records.push_back({"OEM_QARN_Sensor.Index=" + std::to_string(i),
                           Texts({{"Type", "1"}, {"Reading", std::to_string(20 + i)}})});
    return records;
}

inline Records TestRecords()
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

enum ServiceStep : size_t { kPublish, kBeat, kTurnOff, kEnd, kGrow, kTurnOn };

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
            [=] { return PutAll(writer.get(), Sensors(400)); },
            [=] {
                return PutAll(writer.get(), {{"OEM_QARN_System", Texts({{"PowerStatus", "ON"}})}});
            }};
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

inline u32 OpenStatus()
{
    ObjMgrHandle handle = 0;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    const u32 status = om->Open(&handle);
    EXPECT_EQ(handle != 0, status == 0);
    om->Close(handle);
    return status;
}

inline ObjMgrHandle MustOpen()
{
    ObjMgrHandle handle = 0;
    EXPECT_EQ(ObjMgrGetInterface()->Open(&handle), 0u);
    EXPECT_NE(handle, 0u);
    return handle;
}

inline std::string ReadIn(ObjMgrHandle handle, const char *path, const char *property)
{
    char buffer[256] = "untouched";
    const CimStatus status =
        ObjMgrGetInterface()->GetPropertyValue(handle, path, property, sizeof(buffer), buffer);
    if (status == kCimOk)
        return buffer;
    EXPECT_STREQ(buffer, "untouched");
    return "status " + std::to_string(status);
}

inline std::string Read(const char *path, const char *property)
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

inline std::ptrdiff_t CountDescriptors()
{
    std::filesystem::directory_iterator fds("/proc/self/fd");
    return std::distance(begin(fds), end(fds));
}

// A client may believe in a service for the rest of the tick of the clock in which it saw it alive:
// 10 ms at the most.
inline void AwaitTick()
{
    usleep(11 * 1000);
}

inline void KillService(const World &world)
{
    world.service->Process().Kill();
    AwaitTick();
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

inline u32 BeatMs()
{
    return static_cast<u32>(ClockMs());
}

#endif
