// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/sim/sim_provider, as its clients see it.
#include "objmgrd/sim/sim_provider.h"

#include "objmgr/inspect.h"
#include "support/served_process.h"

#include <fcntl.h>

namespace
{

constexpr char kSystem[] = "OEM_QARN_System";
constexpr char kLog[] = "OEM_QARN_MessageLog.Name=SEL";
constexpr char kRecord1[] = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1";
constexpr char kRecord2[] = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=2";
constexpr char kOn[] = "[OEM_QARN_System]\nPowerStatus = \"ON\"\nHostName = \"a\"\n";
constexpr char kOff[] = "[OEM_QARN_System]\nPowerStatus = \"OFF\"\n";
constexpr char kTwoRecords[] = "[[OEM_QARN_LogRecord]]\nDescription = \"one\"\n"
                               "[[OEM_QARN_LogRecord]]\nDescription = \"two\"\n";

// A simulated server that is described by a text.
class Sim
{
public:
    explicit Sim(const std::string &text)
        : served_({.directory = directory_.Path()}, [&] { return MakeProvider(text); })
    {
        EXPECT_TRUE(served_.started);
    }
    std::string Call(const char *path, const char *method, const char *args = nullptr,
                     u32 privilege = 0x7) const
    {
        return CallMethod(directory_.Path(), privilege, path, method, args);
    }
    std::string Read(const char *path, const char *property) const
    {
        return ReadFresh(directory_.Path(), path, property);
    }
    std::string Power() const { return Read(kSystem, "PowerStatus"); }
    const std::string &Directory() const { return directory_.Path(); }

private:
    static Provider *MakeProvider(const std::string &text)
    {
        Host host;
        std::vector<FileNote> notes;
        if (!HostFileParse(text, &host, &notes))
            _exit(99);
        return new SimProvider(std::move(host));
    }

    TestDirectory directory_;
    ServedProcess served_;
};

}  // namespace

TEST(SimProvider, ServesWhatTheFileHolds)
{
    const Sim sim(std::string(kOn) + "Oem = { status = 2 }\n"
                                     "[[OEM_QARN_LogRecord]]\nTimestamp = 2024-02-29T23:59:58\n"
                                     "[[OEM_QARN_Sensor]]\nType = 1\n"
                                     "[[OEM_QARN_Sensor]]\nstatus = 5\n"
                                     "[[OEM_QARN_PowerSupply]]\nPowerSupplyWattage = \"750\"\n");
    EXPECT_EQ(sim.Power(), "ON");
    EXPECT_EQ(sim.Read(kSystem, "HostName"), "a");
    EXPECT_EQ(sim.Read(kSystem, "Oem"), "status 2");
    EXPECT_EQ(sim.Read(kSystem, "ServiceTag"), "status 12");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "1");
    EXPECT_EQ(sim.Read(kRecord1, "RecordNum"), "1");
    EXPECT_EQ(sim.Read(kRecord1, "Timestamp"), "2024-02-29 23:59:58");
    EXPECT_EQ(sim.Read("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1,"
                       "TimestampFormat=YYYYMMDDHHMMSS",
                       "Timestamp"),
              "20240229235958");
    EXPECT_EQ(sim.Read("OEM_QARN_Sensor.Index=1", "Type"), "1");
    EXPECT_EQ(sim.Read("OEM_QARN_Sensor.Index=2", "Type"), "status 5");
    EXPECT_EQ(sim.Read("OEM_QARN_Sensor.Index=3", "Type"), "status 6");
    EXPECT_EQ(sim.Read("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "750");
}

TEST(SimProvider, StopAndStart)
{
    const Sim sim(kOn);
    EXPECT_EQ(sim.Call(kSystem, "Stop"), "0 0");
    EXPECT_EQ(sim.Power(), "OFF");
    EXPECT_EQ(sim.Read(kSystem, "HostName"), "a");
    EXPECT_EQ(sim.Call(kSystem, "Start"), "0 0");
    EXPECT_EQ(sim.Power(), "ON");
}

TEST(SimProvider, WhatIsSoAlreadyHasResult1)
{
    const Sim on(kOn);
    EXPECT_EQ(on.Call(kSystem, "Start"), "0 1");
    EXPECT_EQ(on.Power(), "ON");
    const Sim off(kOff);
    EXPECT_EQ(off.Call(kSystem, "Stop"), "0 1");
    EXPECT_EQ(off.Call(kSystem, "Reset"), "0 1");
    EXPECT_EQ(off.Call(kSystem, "Reset", "Mode=PowerCycle"), "0 1");
    EXPECT_EQ(off.Power(), "OFF");
    EXPECT_EQ(off.Read(kSystem, "ResetCount"), "status 12");
    EXPECT_EQ(off.Read(kSystem, "LastReset"), "status 12");
}

TEST(SimProvider, OnIsExactlyOn)
{
    for (const char *power : {"on", "ON ", "", "1"}) {
        const Sim sim("[OEM_QARN_System]\nPowerStatus = \"" + std::string(power) + "\"\n");
        EXPECT_EQ(sim.Call(kSystem, "Stop"), "0 1") << power;
        EXPECT_EQ(sim.Call(kSystem, "Start"), "0 0") << power;
        EXPECT_EQ(sim.Power(), "ON");
    }
    const Sim none("[OEM_QARN_System]\n");
    EXPECT_EQ(none.Call(kSystem, "Start"), "0 0");
    EXPECT_EQ(none.Power(), "ON");
}

TEST(SimProvider, ResetsAreCounted)
{
    const Sim sim(kOn);
    EXPECT_EQ(sim.Call(kSystem, "Reset"), "0 0");
    EXPECT_EQ(sim.Read(kSystem, "ResetCount"), "1");
    EXPECT_EQ(sim.Read(kSystem, "LastReset"), "Reset");
    EXPECT_EQ(sim.Call(kSystem, "Reset", "Mode=PowerCycle"), "0 0");
    EXPECT_EQ(sim.Read(kSystem, "ResetCount"), "2");
    EXPECT_EQ(sim.Read(kSystem, "LastReset"), "PowerCycle");
    EXPECT_EQ(sim.Call(kSystem, "Reset", ""), "0 0");
    EXPECT_EQ(sim.Read(kSystem, "ResetCount"), "3");
    EXPECT_EQ(sim.Read(kSystem, "LastReset"), "Reset");
    EXPECT_EQ(sim.Power(), "ON");
}

TEST(SimProvider, OtherArgumentsAreInvalid)
{
    const Sim sim(std::string(kOn) + kTwoRecords);
    EXPECT_EQ(sim.Call(kSystem, "Reset", "Mode=powercycle"), "4 0");
    EXPECT_EQ(sim.Call(kSystem, "Reset", "Mode=PowerCycle "), "4 0");
    EXPECT_EQ(sim.Call(kSystem, "Start", "Mode=PowerCycle"), "4 0");
    EXPECT_EQ(sim.Call(kSystem, "Stop", "x"), "4 0");
    EXPECT_EQ(sim.Call(kLog, "Clear", "x"), "4 0");
    EXPECT_EQ(sim.Power(), "ON");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "2");
    EXPECT_EQ(sim.Read(kSystem, "ResetCount"), "status 12");
}

TEST(SimProvider, ClearDeletesEveryRecord)
{
    const Sim sim(std::string(kOn) + kTwoRecords + "[OEM_QARN_MessageLog]\nNumRecords = 9\n");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "9");
    EXPECT_EQ(sim.Read(kRecord2, "Description"), "two");
    EXPECT_EQ(sim.Call(kLog, "Clear"), "0 0");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "0");
    EXPECT_EQ(sim.Read(kLog, "Name"), "SEL");
    EXPECT_EQ(sim.Read(kRecord1, "Description"), "status 6");
    EXPECT_EQ(sim.Read(kRecord2, "Description"), "status 6");
    EXPECT_EQ(sim.Power(), "ON");
    EXPECT_EQ(sim.Call(kLog, "Clear"), "0 0");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "0");
    // A cleared record is no instance any more.
    EXPECT_EQ(sim.Call(kRecord1, "Start"), "6 0");
}

// An effect that could not be stored has not happened: the same method does it again, and does not
// find it done.
TEST(SimProvider, AnEffectThatIsNotStoredHasNotHappened)
{
    InFreshProcess([] {
        const TestDirectory directory;
        Host host;
        std::vector<FileNote> notes;
        ASSERT_TRUE(HostFileParse(std::string(kOn) + kTwoRecords, &host, &notes));
        SimProvider provider(std::move(host));
        ImageWriter store;
        ASSERT_EQ(store.Open(directory.Path()), 0);
        ASSERT_EQ(store.Begin(), 0);
        ASSERT_EQ(provider.Load(&store), 0);
        ASSERT_EQ(store.Commit(), 0);
        provider.Committed(true);
        ASSERT_EQ(store.Publish(), 0);

        const auto call = [&](const char *path, const char *method, bool stored) {
            MethodCall methodCall = {};
            methodCall.row = SchemaFindMethod(path, method);
            methodCall.key = path;
            EXPECT_TRUE(provider.Has(path));
            EXPECT_EQ(store.Begin(), 0);
            const ProviderReply reply = provider.Invoke(methodCall, &store);
            if (stored)
                EXPECT_EQ(store.Commit() | store.Publish(), 0);
            else
                store.Abort();
            provider.Committed(stored);
            return std::to_string(reply.status) + " " + std::to_string(reply.result);
        };
        EXPECT_EQ(call(kSystem, "Stop", false), "0 0");
        EXPECT_EQ(call(kSystem, "Stop", true), "0 0");
        EXPECT_EQ(call(kSystem, "Stop", true), "0 1");
        EXPECT_EQ(call(kSystem, "Start", true), "0 0");
        EXPECT_EQ(call(kSystem, "Reset", false), "0 0");
        EXPECT_EQ(call(kSystem, "Reset", true), "0 0");
        EXPECT_EQ(ReadFresh(directory.Path(), kSystem, "ResetCount"), "1");
        EXPECT_EQ(call(kLog, "Clear", false), "0 0");
        EXPECT_EQ(ReadFresh(directory.Path(), kRecord2, "Description"), "two");
        EXPECT_TRUE(provider.Has(kRecord2));
        EXPECT_EQ(call(kLog, "Clear", true), "0 0");
        EXPECT_EQ(ReadFresh(directory.Path(), kRecord2, "Description"), "status 6");
        EXPECT_FALSE(provider.Has(kRecord2));
    });
}

TEST(SimProvider, OtherInstancesAndMethodsAreNotFound)
{
    const Sim sim(std::string(kOn) + "[[OEM_QARN_Sensor]]\n");
    EXPECT_EQ(sim.Call("OEM_QARN_Fan", "Start"), "6 0");
    EXPECT_EQ(sim.Call("OEM_QARN_System.Name=x", "Start"), "6 0");
    EXPECT_EQ(sim.Call("OEM_QARN_MessageLog", "Clear"), "6 0");
    EXPECT_EQ(sim.Call("OEM_QARN_MessageLog.Name=OTHER", "Clear"), "6 0");
    EXPECT_EQ(sim.Call("OEM_QARN_Sensor.Index=2", "Start"), "6 0");
    EXPECT_EQ(sim.Call("OEM_QARN_Sensor.Index=1", "Start"), "17 0");
    EXPECT_EQ(sim.Call(kSystem, "Clear"), "17 0");
    EXPECT_EQ(sim.Call(kSystem, "start"), "17 0");
    EXPECT_EQ(sim.Call(kSystem, ""), "17 0");
    EXPECT_EQ(sim.Call(kLog, "Stop"), "17 0");
    EXPECT_EQ(sim.Call("", "Start"), "4 0");
    EXPECT_EQ(sim.Call("OEM_QARN_System.x", "Start"), "4 0");
}

TEST(SimProvider, WithoutASystemThereIsNoneToStart)
{
    const Sim sim("");
    EXPECT_EQ(sim.Power(), "status 6");
    EXPECT_EQ(sim.Call(kSystem, "Start"), "6 0");
}

TEST(SimProvider, AnInstancesStatusAnswersItsMethods)
{
    const Sim sim("[OEM_QARN_System]\nstatus = 9\nPowerStatus = \"ON\"\n"
                  "[OEM_QARN_MessageLog]\nstatus = 2\n");
    EXPECT_EQ(sim.Call(kSystem, "Stop"), "9 0");
    EXPECT_EQ(sim.Call(kLog, "Clear"), "2 0");
    EXPECT_EQ(sim.Power(), "status 9");
}

TEST(SimProvider, APropertyWithAStatusKeepsIt)
{
    const Sim sim("[OEM_QARN_System]\nPowerStatus = { status = 3 }\n"
                  "[OEM_QARN_MessageLog]\nNumRecords = { status = 2 }\n" +
                  std::string(kTwoRecords));
    EXPECT_EQ(sim.Call(kSystem, "Start"), "3 0");
    EXPECT_EQ(sim.Power(), "status 3");
    EXPECT_EQ(sim.Call(kLog, "Clear"), "0 0");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "status 2");
    EXPECT_EQ(sim.Read(kRecord1, "Description"), "status 6");
}

TEST(SimProvider, RightsAreJudgedFirst)
{
    const Sim sim(std::string(kOn) + kTwoRecords + "[faults.methods.Start]\nstatus = 8\n");
    EXPECT_EQ(sim.Call(kSystem, "Stop", nullptr, 0x5), "2 0");
    EXPECT_EQ(sim.Call(kSystem, "Start", nullptr, 0x5), "2 0");
    EXPECT_EQ(sim.Call(kLog, "Clear", nullptr, 0x3), "2 0");
    EXPECT_EQ(sim.Power(), "ON");
    EXPECT_EQ(sim.Read(kLog, "NumRecords"), "2");
    EXPECT_EQ(sim.Call(kSystem, "Stop", nullptr, 0x2), "0 0");
    EXPECT_EQ(sim.Call(kLog, "Clear", nullptr, 0x4), "0 0");
}

TEST(SimProvider, APlannedStatusOrReturnWordDoesNothing)
{
    const Sim sim(std::string(kOn) + kTwoRecords +
                  "[faults.methods.Stop]\nstatus = 8\n"
                  "[faults.methods.Reset]\nreturn = 0\n"
                  "[faults.methods.Clear]\nreturn = 4294967295\n");
    EXPECT_EQ(sim.Call(kSystem, "Stop"), "8 0");
    EXPECT_EQ(sim.Power(), "ON");
    EXPECT_EQ(sim.Call(kSystem, "Reset"), "0 0");
    EXPECT_EQ(sim.Read(kSystem, "ResetCount"), "status 12");
    EXPECT_EQ(sim.Call(kLog, "Clear"), "0 4294967295");
    EXPECT_EQ(sim.Read(kRecord1, "Description"), "one");
    // What the file does not plan for is as ever.
    EXPECT_EQ(sim.Call(kSystem, "Start"), "0 1");
    EXPECT_EQ(sim.Call(kLog, "Stop"), "17 0");
    EXPECT_EQ(sim.Call(kSystem, "Stop", "x"), "4 0");
}

TEST(SimProvider, ALateReplysEffectIsThereAtOnce)
{
    const Sim sim(std::string(kOn) + "[faults.methods.Stop]\ndelay_ms = 1500\n");
    RawCall call(sim.Directory());
    call.Ask(0x7, kSystem, "Stop");
    EXPECT_EQ(call.Answer(300), "silent");
    EXPECT_EQ(sim.Power(), "OFF");
    EXPECT_EQ(call.Answer(), "0 0");
}

TEST(SimProvider, AReplyThatNeverComesHasItsEffect)
{
    const Sim sim(std::string(kOn) + "[faults.methods.Stop]\nreply = false\n");
    RawCall call(sim.Directory());
    call.Ask(0x7, kSystem, "Stop");
    EXPECT_EQ(call.Answer(500), "silent");
    EXPECT_EQ(sim.Power(), "OFF");
    EXPECT_EQ(call.Answer(0), "silent");
}

TEST(SimProvider, TextIsMadeSafe)
{
    const Sim sim("[OEM_QARN_System]\nHostName = \"a\\u001b[31m\\nb\\u0000\\u00e9\"\n");
    EXPECT_EQ(sim.Read(kSystem, "HostName"), "a?[31m?b?\xc3\xa9");
}

namespace
{

// What tools see of the system's source: its name, and "renewed" once it has been heard again.
std::string SourceSeen(const Sim &sim)
{
    int ends[2];
    if (pipe(ends) != 0)
        abort();
    ChildProcess reader([&] {
        setenv("ZOROBJMGR", sim.Directory().c_str(), 1);
        ObjMgrHandle handle = 0;
        const ObjMgrInterface *objmgr = ObjMgrGetInterface();
        u64 storage[64];
        ObjMgrInstance *instance = objmgr->InitInstance(storage, sizeof storage);
        ObjMgrSource source = {};
        if (objmgr->Open(&handle) != 0 ||
            objmgr->GetInstance(handle, kLog, 0, instance) != kCimOk ||
            !ObjMgrGetSource(ObjMgrSourceOf(instance), &source))
            _exit(1);
        std::string seen = source.name;
        u32 oldest = 0;
        for (int i = 0; i < 1000 && source.heard && source.ageMs >= oldest; ++i) {
            oldest = source.ageMs;
            usleep(20000);
            ObjMgrGetSource(ObjMgrSourceOf(instance), &source);
        }
        seen += !source.heard ? " unheard" : source.ageMs < oldest ? " renewed" : " grows old";
        (void)!write(ends[1], seen.c_str(), seen.size());
    });
    close(ends[1]);
    char text[64] = "";
    (void)!read(ends[0], text, sizeof text - 1);
    close(ends[0]);
    return text;
}

}  // namespace

TEST(SimProvider, TheSimulatedHostIsASourceThatIsHeard)
{
    const std::string log = "[OEM_QARN_MessageLog]\n";
    EXPECT_EQ(SourceSeen(Sim(kOn + log)), "simulated host renewed");
    const std::string silent = "[OEM_QARN_System]\nPowerStatus = { status = 1 }\n";
    EXPECT_EQ(SourceSeen(Sim(silent + log)), "simulated host unheard");
    EXPECT_EQ(SourceSeen(Sim("[OEM_QARN_System]\nstatus = 1\n" + log)), "simulated host unheard");
    EXPECT_EQ(SourceSeen(Sim(log)), "simulated host unheard");
}
