// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/server: each runs a server in a process of its own and talks to its socket.
#include "objmgrd/server.h"

#include "support/objmgr_store.h"
#include "support/served_process.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>

#include <fstream>
#include <list>
#include <sstream>

namespace
{

constexpr u32 kAll = 0x7;
constexpr char kPath[] = "Test";

int logFd = -1;

void LogToFile(int priority, const char *line)
{
    dprintf(logFd, "%d %s\n", priority, line);
}

// Each method of "Test" shows one ability of the server.
class TestProvider : public Provider
{
public:
    explicit TestProvider(u32 tickMs = 0, int loadError = 0)
        : tickMs_(tickMs), loadError_(loadError)
    {
    }
    const char *Name() const override { return "test"; }
    int Load(StoreWriter *store) override
    {
        return loadError_ != 0 ? loadError_ : Set(store, "fresh");
    }
    ProviderReply Invoke(const Caller &caller, const MethodRequest &request,
                         StoreWriter *store) override
    {
        const std::string method = request.method;
        ProviderReply reply = {.status = kCimOk};
        if (method == "Set")
            reply.status = Set(store, request.args) == 0 ? kCimOk : kCimFailed;
        else if (method == "Late")
            reply = {.status = kCimOk, .result = 5, .delayMs = 700};
        else if (method == "Never")
            reply.send = false;
        else if (method == "Uid")
            reply.result = caller.uid;
        else if (method == "Pid")
            reply.result = caller.pid;
        else if (method == "Rights")
            reply.result = caller.privilege;
        else if (method == "Fail")
            reply = {.status = 7, .result = 9};
        else if (method == "BadKey")
            store->Put("", Instance());
        else if (method == "Wait")
            reply = Promise(strtoul(request.args, nullptr, 10));
        else if (method == "Answer")
            reply = Give({{7, kCimOk, 70}, {8, 3, 80}, {99, kCimOk, 0}}, kPath);
        else if (method == "AnswerUnstored")
            reply = Give({{7, kCimOk, 70}}, "");
        else if (method == "Commits")
            Set(store, kPath, committed_);
        else
            reply.status = kCimMethodNotFound;
        return reply;
    }
    u32 TickMs() const override { return tickMs_; }
    void Tick(StoreWriter *store, std::vector<ProviderAnswer> *answers) override
    {
        if (tickMs_ != 0)
            Set(store, "tick " + std::to_string(++ticks_));
        u64 count;
        if (read(eventFd_, &count, sizeof count) != sizeof count)
            return;
        for (const ProviderAnswer &answer : answers_)
            answers->push_back(answer);
        answers_.clear();
        Set(store, answerKey_, "answered");
    }
    int PollFd() const override { return eventFd_; }
    void Committed(bool done) override { committed_ += done ? "+" : "-"; }

private:
    // Promises an answer to this call.
    ProviderReply Promise(u64 ticket) { return {.pending = true, .ticket = ticket}; }
    // Gives the answers at the next opportunity.
    ProviderReply Give(std::vector<ProviderAnswer> answers, const char *key)
    {
        answers_ = std::move(answers);
        answerKey_ = key;
        const u64 one = 1;
        return {.status = write(eventFd_, &one, sizeof one) == sizeof one ? kCimOk : kCimFailed};
    }
    static int Set(StoreWriter *store, const char *key, const std::string &text)
    {
        return store->Put(key, {kCimOk, {{"Value", kCimOk, text}}});
    }
    static int Set(StoreWriter *store, const std::string &text)
    {
        return store->Put(kPath, {kCimOk, {{"Value", kCimOk, text}}});
    }

    u32 tickMs_;
    int loadError_;
    u32 ticks_ = 0;
    const int eventFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    std::vector<ProviderAnswer> answers_;
    const char *answerKey_ = kPath;
    std::string committed_;  // one sign for each transaction: "+" stored, "-" not
};

Provider *MakeProvider()
{
    return new TestProvider;
}

ServerOptions In(const TestDirectory &directory)
{
    return {.directory = directory.Path() + "/objmgr"};
}

mode_t ModeOf(const std::string &path)
{
    struct stat info = {};
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

// Processor time of a process in clock ticks.
long TicksOf(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string word;
    long ticks = 0;
    for (int i = 1; i <= 15 && file >> word; ++i)
        ticks += i >= 14 ? atol(word.c_str()) : 0;
    return ticks;
}

class ServerTest : public testing::Test
{
protected:
    std::string Call(u32 privilege, const char *path, const char *method,
                     const char *args = nullptr) const
    {
        return CallMethod(options_.directory, privilege, path, method, args);
    }

    TestDirectory directory_;
    ServerOptions options_ = In(directory_);
};

}  // namespace

TEST(ServerNeededPrivilege, KnowsItsMethods)
{
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_System", "Start"), 0x2u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_System", "Stop"), 0x2u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_System", "Reset"), 0x2u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_MessageLog.Name=SEL", "Clear"), 0x4u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_MessageLog.Name=OTHER", "Clear"), 0x4u);
}

TEST(ServerNeededPrivilege, EverythingElseNeedsEveryRight)
{
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_System", "start"), 0x7u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_System", "Clear"), 0x7u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_System", ""), 0x7u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_Syste", "Start"), 0x7u);
    EXPECT_EQ(ServerNeededPrivilege("OEM_QARN_Systems", "Start"), 0x7u);
    EXPECT_EQ(ServerNeededPrivilege("", "Start"), 0x7u);
    EXPECT_EQ(ServerNeededPrivilege(".faults", "Start"), 0x7u);
}

TEST_F(ServerTest, AMethodWithoutTheRightIsRefused)
{
    ServedProcess served(options_, MakeProvider);
    ASSERT_TRUE(served.started);
    for (u32 privilege : {0x0u, 0x1u, 0x4u, 0x5u, 0xfffffffdu})
        EXPECT_EQ(Call(privilege, "OEM_QARN_System", "Start"), "2 0") << privilege;
    for (u32 privilege : {0x0u, 0x3u, 0xfffffffbu})
        EXPECT_EQ(Call(privilege, "OEM_QARN_MessageLog.Name=X", "Clear"), "2 0") << privilege;
    // With it the provider answers; this one knows no such method.
    EXPECT_EQ(Call(0x2, "OEM_QARN_System", "Start"), "17 0");
    EXPECT_EQ(Call(0xffffffff, "OEM_QARN_System", "Start"), "17 0");
    EXPECT_EQ(Call(0x4, "OEM_QARN_MessageLog.Name=X", "Clear"), "17 0");
}

TEST_F(ServerTest, AnUnknownMethodIsRefusedWithoutEveryRight)
{
    ServedProcess served(options_, MakeProvider);
    for (u32 privilege : {0x0u, 0x3u, 0x5u, 0x6u, 0xfffffff8u})
        EXPECT_EQ(Call(privilege, kPath, "Set", "x"), "2 0") << privilege;
    EXPECT_EQ(Call(0x6, "no path.", "Set", "x"), "2 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
    EXPECT_EQ(Call(0x7, kPath, "Set", "x"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "x");
}

TEST_F(ServerTest, TheCallerIsWhoTheSocketSays)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kPath, "Uid"), "0 " + std::to_string(getuid()));
    EXPECT_EQ(Call(kAll, kPath, "Pid"), "0 " + std::to_string(getpid()));
}

TEST_F(ServerTest, AClaimGrantsNothingBeyondTheRights)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(0x7, kPath, "Rights"), "0 7");
    EXPECT_EQ(Call(0xffffffff, kPath, "Rights"), "0 7");
}

TEST_F(ServerTest, AResultIsValidWithStatusZeroOnly)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kPath, "Fail"), "7 0");
}

TEST_F(ServerTest, AnEffectIsInTheStoreBeforeTheReply)
{
    ServedProcess served(options_, MakeProvider);
    for (int i = 0; i < 20; ++i) {
        const std::string value = "v" + std::to_string(i);
        ASSERT_EQ(Call(kAll, kPath, "Set", value.c_str()), "0 0");
        ASSERT_EQ(ReadFresh(options_.directory, kPath, "Value"), value);
    }
}

TEST_F(ServerTest, AnEffectThatCannotBeStoredIsAFailure)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kPath, "BadKey"), "1 0");
    EXPECT_EQ(Call(kAll, kPath, "Set", "after"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "after");
}

TEST_F(ServerTest, ALateReplyHoldsNobodyUp)
{
    ServedProcess served(options_, MakeProvider);
    RawCall late(options_.directory);
    late.Ask(kAll, kPath, "Late");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
    EXPECT_EQ(late.Answer(0), "silent");
    EXPECT_EQ(late.Answer(), "0 5");
    EXPECT_EQ(late.Answer(), "closed");
}

TEST_F(ServerTest, AReplyThatIsNotToComeDoesNotCome)
{
    ServedProcess served(options_, MakeProvider);
    RawCall never(options_.directory);
    never.Ask(kAll, kPath, "Never");
    EXPECT_EQ(never.Answer(1000), "silent");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
    EXPECT_EQ(served.Terminate(), 0);
    EXPECT_EQ(never.Answer(), "closed");
}

TEST_F(ServerTest, APromisedAnswerComesWhenTheProviderHasIt)
{
    ServedProcess served(options_, MakeProvider);
    RawCall first(options_.directory);
    RawCall second(options_.directory);
    RawCall other(options_.directory);
    first.Ask(kAll, kPath, "Wait", "7");
    second.Ask(kAll, kPath, "Wait", "8");
    other.Ask(kAll, kPath, "Wait", "9");
    EXPECT_EQ(other.Answer(300), "silent");
    EXPECT_EQ(first.Answer(0), "silent");
    EXPECT_EQ(Call(kAll, kPath, "Answer"), "0 0");
    EXPECT_EQ(first.Answer(), "0 70");
    // What was written together with the answer is there before it.
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "answered");
    EXPECT_EQ(first.Answer(), "closed");
    EXPECT_EQ(second.Answer(), "3 0");
    EXPECT_EQ(other.Answer(0), "silent");
}

TEST_F(ServerTest, APromisedAnswerWhoseEffectCannotBeStoredIsAFailure)
{
    ServedProcess served(options_, MakeProvider);
    RawCall call(options_.directory);
    call.Ask(kAll, kPath, "Wait", "7");
    EXPECT_EQ(call.Answer(100), "silent");
    EXPECT_EQ(Call(kAll, kPath, "AnswerUnstored"), "0 0");
    EXPECT_EQ(call.Answer(), "1 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
}

TEST_F(ServerTest, APromiseThatIsNotKeptFailsAfter5Seconds)
{
    ServedProcess served(options_, MakeProvider);
    RawCall call(options_.directory);
    call.Ask(kAll, kPath, "Wait", "6");
    EXPECT_EQ(call.Answer(4800), "silent");
    EXPECT_EQ(call.Answer(), "1 0");
    EXPECT_EQ(call.Answer(), "closed");
}

TEST_F(ServerTest, AnAnswerThatNobodyWaitsForIsDropped)
{
    ServedProcess served(options_, MakeProvider);
    {
        RawCall gone(options_.directory);
        gone.Ask(kAll, kPath, "Wait", "7");
        EXPECT_EQ(gone.Answer(100), "silent");
    }
    EXPECT_EQ(Call(kAll, kPath, "Answer"), "0 0");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "x");
}

TEST_F(ServerTest, TheProviderLearnsWhetherItsChangesWereStored)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kPath, "BadKey"), "1 0");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
    EXPECT_EQ(Call(kAll, kPath, "Commits"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "+-+");
}

TEST_F(ServerTest, WhatIsNoRequestIsAnInvalidParameter)
{
    ServedProcess served(options_, MakeProvider);
    const std::string noise(1024, 'x');
    for (size_t size : {size_t{0}, size_t{1}, size_t{1023}, size_t{1024}}) {
        RawCall call(options_.directory);
        call.Send(noise.data(), size);
        EXPECT_EQ(call.Answer(), "4 0") << size;
        EXPECT_EQ(call.Answer(), "closed") << size;
    }
}

TEST_F(ServerTest, APacketThatIsTooLongIsAnInvalidParameter)
{
    ServedProcess served(options_, MakeProvider);
    const ObjMgrPrivilege all = {kAll, {0, 0}};
    std::string packet(1025, '\0');
    u8 request[kMethodPacketMax];
    const u32 size = MethodPackRequest(&all, kPath, "Set", "long", request);
    memcpy(packet.data(), request, size);
    RawCall call(options_.directory);
    call.Send(packet.data(), packet.size());
    EXPECT_EQ(call.Answer(), "4 0");
    const std::string huge(100000, 'x');
    RawCall hugeCall(options_.directory);
    hugeCall.Send(huge.data(), huge.size());
    EXPECT_EQ(hugeCall.Answer(), "4 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
}

TEST_F(ServerTest, ASilentClientIsDroppedAfter5Seconds)
{
    ServedProcess served(options_, MakeProvider);
    RawCall silent(options_.directory);
    EXPECT_EQ(silent.Answer(4800), "silent");
    EXPECT_EQ(silent.Answer(), "closed");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
}

TEST_F(ServerTest, TheOldestSilentClientMakesRoomForThe65th)
{
    ServedProcess served(options_, MakeProvider);
    RawCall never(options_.directory);
    never.Ask(kAll, kPath, "Never");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");  // so Never has been read
    std::list<RawCall> silent;
    for (int i = 0; i < 63; ++i)
        silent.emplace_back(options_.directory);
    EXPECT_EQ(silent.front().Answer(300), "silent");
    EXPECT_EQ(Call(kAll, kPath, "Set", "y"), "0 0");
    EXPECT_EQ(silent.front().Answer(), "closed");
    EXPECT_EQ(std::next(silent.begin())->Answer(0), "silent");
    EXPECT_EQ(silent.back().Answer(0), "silent");
    EXPECT_EQ(never.Answer(0), "silent");
}

TEST_F(ServerTest, WhereEveryClientHasAskedTheOldestIsDropped)
{
    ServedProcess served(options_, MakeProvider);
    std::list<RawCall> asked;
    for (int i = 0; i < 64; ++i) {
        asked.emplace_back(options_.directory);
        asked.back().Ask(kAll, kPath, "Never");
    }
    EXPECT_EQ(asked.back().Answer(300), "silent");
    EXPECT_EQ(Call(kAll, kPath, "Set", "y"), "0 0");
    EXPECT_EQ(asked.front().Answer(), "closed");
    EXPECT_EQ(std::next(asked.begin())->Answer(0), "silent");
}

TEST_F(ServerTest, ClientsThatVanishAreHarmless)
{
    ServedProcess served(options_, MakeProvider);
    for (int i = 0; i < 200; ++i) {
        RawCall call(options_.directory);
        call.Ask(kAll, kPath, i % 2 == 0 ? "Late" : "Set", "x");
    }
    EXPECT_EQ(Call(kAll, kPath, "Set", "y"), "0 0");
    usleep(900000);  // beyond the moment at which the late replies would be sent
    EXPECT_EQ(Call(kAll, kPath, "Set", "z"), "0 0");
    EXPECT_EQ(served.Terminate(), 0);
}

TEST_F(ServerTest, ManyClientsAtOnceAreAllServed)
{
    ServedProcess served(options_, MakeProvider);
    std::list<ChildProcess> clients;
    for (int i = 0; i < 20; ++i) {
        clients.emplace_back([&] {
            for (int call = 0; call < 20; ++call)
                EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
        });
    }
    for (ChildProcess &client : clients)
        EXPECT_EQ(client.Wait(), 0);
}

TEST_F(ServerTest, TheHeartbeatGoesOnWhileClientsAreSilent)
{
    ServedProcess served(options_, MakeProvider);
    RawCall silent(options_.directory);
    RawCall never(options_.directory);
    never.Ask(kAll, kPath, "Never");
    usleep(3500000);  // an older heartbeat than 3 s is a hung service
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
}

TEST_F(ServerTest, OutOfDescriptorsItWaitsAndGoesOn)
{
    ServedProcess served(options_, MakeProvider, [] {
        const int next = dup(0);
        close(next);
        // One for the signals and a few for clients.
        const rlimit few = {static_cast<rlim_t>(next) + 5, static_cast<rlim_t>(next) + 5};
        setrlimit(RLIMIT_NOFILE, &few);
    });
    std::list<RawCall> silent;
    for (int i = 0; i < 10; ++i)
        silent.emplace_back(options_.directory);
    usleep(300000);
    const long before = TicksOf(served.Child().Pid());
    usleep(1000000);
    EXPECT_LT(TicksOf(served.Child().Pid()) - before, sysconf(_SC_CLK_TCK) / 2);
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
    silent.clear();
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
}

TEST_F(ServerTest, TheProviderTicks)
{
    ServedProcess served(options_, [] { return new TestProvider(20); });
    std::string value;
    for (int i = 0; i < 100 && value != "tick 3" && value.size() < 7; ++i)
        value = ReadFresh(options_.directory, kPath, "Value");
    EXPECT_EQ(value.substr(0, 5), "tick ");
}

TEST_F(ServerTest, ASecondServerInTheDirectoryIsBusy)
{
    ServedProcess first(options_, MakeProvider);
    ASSERT_TRUE(first.started);
    ServedProcess second(options_, MakeProvider);
    EXPECT_FALSE(second.started);
    EXPECT_EQ(WEXITSTATUS(second.Child().Wait()), 100 + EBUSY);
    EXPECT_EQ(Call(kAll, kPath, "Set", "first"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "first");
}

TEST_F(ServerTest, AServerTakesTheDirectoryOfADeadOne)
{
    ServedProcess first(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kPath, "Set", "old"), "0 0");
    first.Child().Kill();
    EXPECT_EQ(ModeOf(options_.directory + "/socket"), 0600u);
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "not open");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "not connected");
    ServedProcess second(options_, MakeProvider);
    EXPECT_TRUE(second.started);
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
    EXPECT_EQ(Call(kAll, kPath, "Set", "new"), "0 0");
}

TEST_F(ServerTest, AtTheEndSocketAndStoreAreGone)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(served.Terminate(), 0);
    EXPECT_NE(access((options_.directory + "/socket").c_str(), F_OK), 0);
    EXPECT_NE(access((options_.directory + "/image").c_str(), F_OK), 0);
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "not open");
}

TEST_F(ServerTest, ASignalMayGoOn)
{
    ServedProcess served(options_, MakeProvider);
    kill(served.Child().Pid(), SIGUSR1);
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
    EXPECT_EQ(served.Terminate(), 0);
}

TEST_F(ServerTest, WithoutAStoreItDoesNotStart)
{
    ServedProcess served(options_, [] { return new TestProvider(0, ENOSPC); });
    EXPECT_FALSE(served.started);
    EXPECT_EQ(WEXITSTATUS(served.Child().Wait()), 100 + ENOSPC);
    EXPECT_NE(access((options_.directory + "/socket").c_str(), F_OK), 0);
    EXPECT_NE(access((options_.directory + "/image").c_str(), F_OK), 0);
}

TEST_F(ServerTest, APrivateDirectoryIsItsOwnersAlone)
{
    umask(0);
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(ModeOf(options_.directory), 0700u);
    EXPECT_EQ(ModeOf(options_.directory + "/socket"), 0600u);
}

TEST_F(ServerTest, AServicesDirectoryIsItsGroupsToo)
{
    umask(0077);
    options_.directory += "/deeper";
    options_.group = true;
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(ModeOf(options_.directory), 0750u);
    EXPECT_EQ(ModeOf(options_.directory + "/socket"), 0660u);
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
}

TEST_F(ServerTest, ADirectoryThatExistsKeepsItsMode)
{
    ASSERT_EQ(mkdir(options_.directory.c_str(), 0750), 0);
    chmod(options_.directory.c_str(), 0750);
    options_.group = true;
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(ModeOf(options_.directory), 0750u);
}

TEST_F(ServerTest, TheUmaskIsPutBack)
{
    umask(0027);
    InFreshProcess([&] {
        TestProvider provider;
        Server server;
        EXPECT_EQ(server.Start(options_, &provider), 0);
        EXPECT_EQ(umask(0), 0027u);
    });
}

TEST_F(ServerTest, ADirectoryMayHaveALongName)
{
    options_.directory += "/" + std::string(200, 'd') + "/" + std::string(200, 'e');
    ServedProcess served(options_, MakeProvider);
    ASSERT_TRUE(served.started);
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
}

TEST_F(ServerTest, EachCallIsLogged)
{
    const std::string file = directory_.Path() + "/log";
    logFd = open(file.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    options_.log = LogToFile;
    ServedProcess served(options_, MakeProvider);
    Call(kAll, kPath, "Uid");
    Call(kAll, kPath, "Set", "a\nb");
    Call(0, kPath, "Set", "x");
    Call(kAll, kPath, "Fail");
    RawCall pending(options_.directory);
    pending.Ask(kAll, kPath, "Wait", "7");
    EXPECT_EQ(pending.Answer(100), "silent");
    Call(kAll, kPath, "Answer");
    EXPECT_EQ(pending.Answer(), "0 70");
    close(logFd);
    std::ifstream input(file);
    std::stringstream log;
    log << input.rdbuf();
    const std::string who =
        "6 uid " + std::to_string(getuid()) + " pid " + std::to_string(getpid()) + ": ";
    EXPECT_EQ(log.str(),
              who + "Uid of Test: done, result " + std::to_string(getuid()) + "\n" + who +
                  "Set of Test (a?b): done, result 0\n" + who + "Set of Test (x): refused\n" + who +
                  "Fail of Test: failed, status 7\n" + who + "Answer of Test: done, result 0\n" +
                  who + "Wait of Test (7): done, result 70\n");
}

// Ready after some ticks of 10 ms; 0: never.
class LateProvider : public TestProvider
{
public:
    explicit LateProvider(u32 ticks) : TestProvider(10), left_(ticks) {}
    void Tick(StoreWriter *store, std::vector<ProviderAnswer> *answers) override
    {
        TestProvider::Tick(store, answers);
        if (left_ > 0 && --left_ == 0)
            ready_ = true;
    }
    bool Ready() const override { return ready_; }

private:
    u32 left_;
    bool ready_ = false;
};

// In a process of its own: what AwaitReady returned, whether the provider was ready then, whether
// the signal still waits to be taken, and whether it took `leastMs` and less than 5 s.
void ExpectAwaited(u32 ticks, u32 limitMs, bool signalled, bool ready, long leastMs)
{
    const TestDirectory directory;
    ChildProcess child([&] {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGUSR1);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        LateProvider provider(ticks);
        Server server;
        if (server.Start(In(directory), &provider) != 0)
            _exit(1);
        if (signalled)
            raise(SIGUSR1);
        const u64 before = MonotonicMs();
        if (server.AwaitReady(signals, limitMs) != 0)
            _exit(2);
        const u64 took = MonotonicMs() - before;
        sigset_t waiting;
        sigpending(&waiting);
        if (provider.Ready() != ready || (sigismember(&waiting, SIGUSR1) == 1) != signalled)
            _exit(3);
        _exit(took >= static_cast<u64>(leastMs) && took < 5000 ? 0 : 4);
    });
    const int status = child.Wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << WEXITSTATUS(status);
}

TEST(Server, AwaitReadyServesUntilTheProviderIsReady)
{
    ExpectAwaited(5, 20000, false, true, 40);
}

TEST(Server, AwaitReadyEndsAtItsLimit)
{
    ExpectAwaited(0, 300, false, false, 300);
}

TEST(Server, AwaitReadyLeavesASignalToBeTaken)
{
    ExpectAwaited(0, 20000, true, false, 0);
}

TEST(Server, AwaitReadyNeedsAStart)
{
    sigset_t none;
    sigemptyset(&none);
    EXPECT_EQ(Server().AwaitReady(none, 0), EINVAL);
}

TEST(Server, RunNeedsAStart)
{
    Server server;
    sigset_t none;
    sigemptyset(&none);
    EXPECT_EQ(server.Run(
                  none, [](void *, const signalfd_siginfo &) { return false; }, nullptr),
              EINVAL);
    server.Stop();
}
