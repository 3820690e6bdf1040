// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/server: each runs a server in a process of its own and talks to its socket.
#include "objmgrd/server.h"

#include "objmgr/service_question.h"
#include "platform/clock.h"
#include "support/descriptor_message.h"
#include "support/lingering.h"
#include "support/objmgr_store.h"
#include "support/served_process.h"
#include "support/test_files.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <fstream>
#include <list>
#include <sstream>

namespace
{

constexpr u32 kAll = 0x7;
constexpr char kPath[] = "Test";
constexpr char kMissing[] = "Test.Is=Missing";

constexpr MethodRow Row(const char *method, const char *argument = nullptr)
{
    return {kPath, method, argument, kPrivilegeAll, MethodId::Start};
}

constexpr MethodRow kTestMethods[] = {
    Row("Set", kAnyArgument),
    Row("Late"),
    Row("Never"),
    Row("Uid"),
    Row("Pid"),
    Row("Rights"),
    Row("Fail"),
    Row("BadKey"),
    Row("Wait", kAnyArgument),
    Row("Answer"),
    Row("AnswerUnstored"),
    Row("Commits"),
    Row("Withdrawn"),
    Row("StillWaits"),
    Row("One", "Mode=One"),
    kMethodTable[0],
    kMethodTable[1],
    kMethodTable[2],
    kMethodTable[3],
};

int logFd = -1;

// Each method of "Test" shows one ability of the server.
class TestProvider : public Provider
{
public:
    explicit TestProvider(u32 tickMs = 0, int loadError = 0)
        : tickMs_(tickMs), loadError_(loadError)
    {
    }
    const char *Name() const override { return "test"; }
    int Load(ImageWriter *store) override
    {
        return loadError_ != 0 ? loadError_ : Set(store, "fresh");
    }
    bool Has(const std::string &key) const override { return key != kMissing; }
    ProviderReply Invoke(const MethodCall &call, ImageWriter *store) override
    {
        const std::string method = call.row->method;
        const Caller &caller = call.caller;
        ProviderReply reply = {.status = kCimOk};
        if (method == "Set")
            reply.status = Set(store, call.argument) == 0 ? kCimOk : kCimFailed;
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
            reply = Promise(call);
        else if (method == "Answer")
            reply = Give({{7, kCimOk, 70}, {8, 3, 80}, {99, kCimOk, 0}}, kPath);
        else if (method == "AnswerUnstored")
            reply = Give({{7, kCimOk, 70}}, "");
        else if (method == "Commits")
            Set(store, kPath, committed_);
        else if (method == "Withdrawn")
            Set(store, kPath, withdrawn_);
        else if (method == "StillWaits")
            Set(store, kPath, link_->StillWaits() ? "waits" : "gone");
        else
            reply.status = kCimMethodNotFound;
        return reply;
    }
    void Withdraw(u64 ticket) override { withdrawn_ += std::to_string(ticket) + " "; }
    u32 TickMs() const override { return tickMs_; }
    void Tick(ImageWriter *store, std::vector<ProviderAnswer> *answers) override
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
    ProviderReply Promise(const MethodCall &call)
    {
        link_ = call.link;
        return {.pending = true, .ticket = strtoul(call.argument.c_str(), nullptr, 10)};
    }
    // Gives the answers at the next opportunity.
    ProviderReply Give(std::vector<ProviderAnswer> answers, const char *key)
    {
        answers_ = std::move(answers);
        answerKey_ = key;
        const u64 one = 1;
        return {.status = write(eventFd_, &one, sizeof one) == sizeof one ? kCimOk : kCimFailed};
    }
    static int Set(ImageWriter *store, const char *key, const std::string &text)
    {
        return store->Put(key, {kCimOk, {{"Value", kCimOk, text}}});
    }
    static int Set(ImageWriter *store, const std::string &text)
    {
        return store->Put(kPath, {kCimOk, {{"Value", kCimOk, text}}});
    }

    u32 tickMs_;
    int loadError_;
    u32 ticks_ = 0;
    const int eventFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    std::vector<ProviderAnswer> answers_;
    const char *answerKey_ = kPath;
    std::shared_ptr<const CallerLink> link_;  // of the last promise
    std::string withdrawn_;
    std::string committed_;  // one sign for each transaction: "+" stored, "-" not
};

Provider *MakeProvider()
{
    return new TestProvider;
}

ServerOptions In(const TestDirectory &directory)
{
    return {.directory = directory.Path() + "/objmgr",
            .methods = kTestMethods,
            .methodCount = std::size(kTestMethods)};
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

// Limits what the service's files may grow to: nothing can be published then.
static void LetFilesGrow(pid_t service, bool grow)
{
    const rlimit limit = {grow ? RLIM_INFINITY : 0, RLIM_INFINITY};
    EXPECT_EQ(prlimit(service, RLIMIT_FSIZE, &limit, nullptr), 0);
}

// What was done is not told as a failure, though it can be shown only later.
TEST_F(ServerTest, AnEffectThatIsShownLaterIsNoFailure)
{
    ServedProcess served(options_, MakeProvider, [] { signal(SIGXFSZ, SIG_IGN); });
    ASSERT_TRUE(served.started);
    const pid_t service = served.Child().Pid();
    LetFilesGrow(service, false);
    RawCall call(options_.directory);
    call.Ask(kAll, kPath, "Set", "later");
    EXPECT_EQ(call.Answer(200), "silent");  // it waits to be shown
    LetFilesGrow(service, true);
    EXPECT_EQ(call.Answer(), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "later");
    LetFilesGrow(service, false);
    EXPECT_EQ(Call(kAll, kPath, "Set", "much later"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "later");
    LetFilesGrow(service, true);
    for (int i = 0; i < 1000 && ReadFresh(options_.directory, kPath, "Value") == "later"; ++i)
        usleep(10'000);
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "much later");
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

TEST_F(ServerTest, OneConnectionMoreThan16CostsTheOldestThatHasNotAsked)
{
    ServedProcess served(options_, MakeProvider);
    RawCall never(options_.directory);
    never.Ask(kAll, kPath, "Never");
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");  // so Never has been read
    std::list<RawCall> silent;
    for (int i = 0; i < 15; ++i)
        silent.emplace_back(options_.directory);
    EXPECT_EQ(silent.front().Answer(300), "silent");
    EXPECT_EQ(Call(kAll, kPath, "Set", "y"), "0 0");
    EXPECT_EQ(silent.front().Answer(), "closed");
    EXPECT_EQ(std::next(silent.begin())->Answer(0), "silent");
    EXPECT_EQ(silent.back().Answer(0), "silent");
    EXPECT_EQ(never.Answer(0), "silent");
}

TEST_F(ServerTest, ACallThatWasTakenUpIsNeverDroppedForANewOne)
{
    ServedProcess served(options_, MakeProvider);
    std::list<RawCall> asked;
    for (int i = 0; i < 16; ++i) {
        asked.emplace_back(options_.directory);
        asked.back().Ask(kAll, kPath, i == 0 ? "Wait" : "Never", i == 0 ? "7" : nullptr);
    }
    EXPECT_EQ(asked.back().Answer(300), "silent");
    RawCall refused(options_.directory);
    EXPECT_EQ(refused.Answer(), "closed");
    for (RawCall &call : asked)
        EXPECT_EQ(call.Answer(0), "silent");
    asked.back().Close();
    usleep(100000);
    EXPECT_EQ(Call(kAll, kPath, "Answer"), "0 0");
    EXPECT_EQ(asked.front().Answer(), "0 70");
}

// Connections of one uid cost no other anything.
TEST_F(ServerTest, AnotherUserIsServedHoweverManyConnectOfOne)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to become another user";
    ServedProcess served(options_, MakeProvider);
    chmod(directory_.Path().c_str(), 0755);
    chmod(options_.directory.c_str(), 0755);
    chmod((options_.directory + "/socket").c_str(), 0666);
    std::list<ChildProcess> crowds;
    for (uid_t uid = 20001; uid <= 20006; ++uid) {
        crowds.emplace_back([&, uid] {
            if (setresuid(uid, uid, uid) != 0)
                return;
            std::list<RawCall> silent;
            for (;;) {
                silent.emplace_back(options_.directory);
                if (silent.size() > 40)
                    silent.pop_front();
                usleep(1000);
            }
        });
    }
    usleep(200000);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
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
    for (int i = 0; i < 16; ++i) {
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

TEST_F(ServerTest, AtTheEndASocketThatAnotherOneMadeStays)
{
    ServedProcess served(options_, MakeProvider);
    const std::string socketPath = options_.directory + "/socket";
    // Stopped, so that it does not take the name back first.
    ASSERT_EQ(kill(served.Child().Pid(), SIGSTOP), 0);
    ASSERT_EQ(unlink(socketPath.c_str()), 0);
    ASSERT_EQ(unlink((options_.directory + "/lock").c_str()), 0);
    std::ofstream(socketPath) << "another one's";
    usleep(600000);  // the next heartbeat, which ends it, is due
    ASSERT_EQ(kill(served.Child().Pid(), SIGCONT), 0);
    served.Child().Wait();
    EXPECT_EQ(access(socketPath.c_str(), F_OK), 0);
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

TEST_F(ServerTest, ADirectoryMayHaveALongName)
{
    options_.directory += "/" + std::string(200, 'd') + "/" + std::string(200, 'e');
    ServedProcess served(options_, MakeProvider);
    ASSERT_TRUE(served.started);
    EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
}

// A served process whose record goes to a file.
class RecordedProcess
{
public:
    explicit RecordedProcess(ServerOptions options, const std::string &file)
        : served_(With(options, file), [&] {
              // In the serving process: the thread is there.
              record_.Start({.write = Write});
              return new TestProvider;
          })
    {
    }
    ServedProcess &Served() { return served_; }

private:
    static void Write(void *, const char *line) { dprintf(logFd, "%s\n", line); }
    ServerOptions With(ServerOptions options, const std::string &file)
    {
        logFd = open(file.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
        options.record = &record_;
        return options;
    }

    Record record_;
    ServedProcess served_;
};

std::string LinesOf(const std::string &file, size_t lines)
{
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text = ReadFile(file);
        if (static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) >= lines)
            break;
        usleep(10000);
    }
    return text;
}

TEST_F(ServerTest, EachCallIsWrittenDown)
{
    const std::string file = directory_.Path() + "/record";
    RecordedProcess recorded(options_, file);
    Call(kAll, kPath, "Uid");
    Call(kAll, kPath, "Set", "a\nb");
    Call(0, kPath, "Set", "x");
    Call(kAll, kPath, "Fail");
    RawCall pending(options_.directory);
    pending.Ask(kAll, kPath, "Wait", "7");
    EXPECT_EQ(pending.Answer(100), "silent");
    Call(kAll, kPath, "Answer");
    EXPECT_EQ(pending.Answer(), "0 70");
    Call(kAll, kPath, "Nothing");
    const std::string user = geteuid() == 0 ? "root" : "";
    std::string log = LinesOf(file, 7);
    close(logFd);
    const std::string pid = " pid=" + std::to_string(getpid());
    std::string expected;
    for (const char *rest : {"command=Uid argument=- target=Test result=done value=UID",
                             "command=Set argument=\"a?b\" target=Test result=done value=0",
                             "command=Set argument=x target=Test result=refused",
                             "command=Fail argument=- target=Test result=failed status=7",
                             "command=Answer argument=- target=Test result=done value=0",
                             "command=Wait argument=7 target=Test result=done value=70",
                             "command=Nothing argument=- target=Test result=failed status=17"})
        expected +=
            "uid=" + std::to_string(getuid()) + pid + " session=- claimed_address=- " + rest + "\n";
    expected.replace(expected.find("UID"), 3, std::to_string(getuid()));
    // The user's name is the system's matter.
    std::string withoutNames;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(line.find("event=call user="), 0u) << line;
        withoutNames += line.substr(line.find("uid=")) + "\n";
    }
    EXPECT_EQ(withoutNames, expected);
}

TEST_F(ServerTest, WhatCameToNothingIsWrittenDown)
{
    const std::string file = directory_.Path() + "/record";
    RecordedProcess recorded(options_, file);
    {
        RawCall pending(options_.directory);
        pending.Ask(kAll, kPath, "Wait", "7");
        EXPECT_EQ(pending.Answer(100), "silent");
    }
    recorded.Served().Child().Stop();
    {
        RawCall gone(options_.directory);
        gone.Ask(kAll, kPath, "Set", "gone");
    }
    recorded.Served().Child().Continue();
    const std::string log = LinesOf(file, 2);
    close(logFd);
    EXPECT_NE(log.find("command=Wait argument=7 target=Test result=unanswered\n"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("command=Set argument=gone target=Test result=gone\n"), std::string::npos)
        << log;
}

TEST_F(ServerTest, LoginsAreWrittenDown)
{
    const std::string file = directory_.Path() + "/record";
    RecordedProcess recorded(options_, file);
    const LoginNotice notice = {LoginEvent::Refusal, 7, 0, "192.0.2.7", "no right"};
    EXPECT_EQ(ServiceTell(options_.directory.c_str(), 10000, &notice), ServiceAnswer::Serving);
    const std::string log = LinesOf(file, 1);
    close(logFd);
    EXPECT_EQ(log.find("event=refusal user="), 0u);
    EXPECT_NE(log.find(" uid=" + std::to_string(getuid()) + " pid=" + std::to_string(getpid()) +
                       " session=- claimed_address=192.0.2.7 reason=\"no right\"\n"),
              std::string::npos)
        << log;
}

// The login's process is killed: nobody tells, and its connection ends.
TEST_F(ServerTest, AKilledLoginIsWrittenDownAsALogout)
{
    const std::string file = directory_.Path() + "/record";
    RecordedProcess recorded(options_, file);
    const LoginNotice notice = {LoginEvent::Login, 7, 0, "192.0.2.7", ""};
    pid_t pid = 0;
    {
        ChildProcess login([&] {
            const int connection = ServiceHold(options_.directory.c_str(), 10000, &notice);
            if (ServiceHoldOf(connection) == ServiceHeld::Known)
                pause();
        });
        pid = login.Pid();
        EXPECT_EQ(LinesOf(file, 1).find("event=login "), 0u);
    }
    const std::string log = LinesOf(file, 2);
    EXPECT_NE(log.find("\nevent=logout "), std::string::npos) << log;
    EXPECT_NE(log.find(" pid=" + std::to_string(pid) +
                       " session=- claimed_address=192.0.2.7 reason=killed seconds="),
              std::string::npos)
        << log;
    // Nothing more comes of it.
    const LoginNotice refusal = {LoginEvent::Refusal, 0, 0, "", "last"};
    ServiceTell(options_.directory.c_str(), 10000, &refusal);
    const std::string all = LinesOf(file, 3);
    close(logFd);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3) << all;
}

TEST_F(ServerTest, LoginsTakeNoPlaceOfCallers)
{
    ServedProcess served(options_, MakeProvider);
    const LoginNotice notice = {LoginEvent::Login, 7, 0, "", ""};
    std::vector<int> logins;
    for (u32 i = 0; i < 64; ++i) {
        logins.push_back(ServiceHold(options_.directory.c_str(), 10000, &notice));
        EXPECT_EQ(ServiceHoldOf(logins.back()), ServiceHeld::Known) << i;
    }
    const int more = ServiceHold(options_.directory.c_str(), 10000, &notice);
    EXPECT_EQ(ServiceHoldOf(more), ServiceHeld::Declined);
    EXPECT_EQ(Call(kAll, kPath, "Uid"), "0 " + std::to_string(getuid()));
    for (const int login : logins) {
        EXPECT_EQ(ServiceHoldOf(login), ServiceHeld::Silent);
        close(login);
    }
    close(more);
    EXPECT_EQ(Call(kAll, kPath, "Uid"), "0 " + std::to_string(getuid()));
}

TEST_F(ServerTest, LoginsLeaveDescriptorsToEverythingElse)
{
    const LoginNotice notice = {LoginEvent::Login, 7, 0, "", ""};
    for (const u32 most : {0u, 1u, 2u}) {
        ServedProcess served(options_, [most] {
            const rlimit few = {128 + most, 128 + most};
            setrlimit(RLIMIT_NOFILE, &few);
            return MakeProvider();
        });
        std::vector<int> logins;
        for (u32 i = 0; i <= most; ++i) {
            logins.push_back(ServiceHold(options_.directory.c_str(), 10000, &notice));
            EXPECT_EQ(ServiceHoldOf(logins.back()),
                      i < most ? ServiceHeld::Known : ServiceHeld::Declined)
                << i << " of " << most;
        }
        for (const int login : logins)
            close(login);
    }
}

// What it says meanwhile is not looked at, and keeps nobody busy.
TEST_F(ServerTest, ACallerThatWaitsMaySaySomething)
{
    ServedProcess served(options_, MakeProvider);
    RawCall pending(options_.directory);
    pending.Ask(kAll, kPath, "Wait", "7");
    EXPECT_EQ(pending.Answer(100), "silent");
    pending.Ask(kAll, kPath, "Set", "x");
    const long before = TicksOf(served.Child().Pid());
    usleep(1000000);
    EXPECT_LT(TicksOf(served.Child().Pid()) - before, sysconf(_SC_CLK_TCK) / 4);
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
    EXPECT_EQ(Call(kAll, kPath, "Withdrawn"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "");  // it waits on
}

// ---- callers that give up ----

TEST_F(ServerTest, ACallerThatHasHungUpGetsNothingDone)
{
    ServedProcess served(options_, MakeProvider);
    served.Child().Stop();
    {
        RawCall call(options_.directory);
        call.Ask(kAll, kPath, "Set", "too late");
        EXPECT_EQ(call.Answer(100), "silent");
    }
    served.Child().Continue();
    EXPECT_EQ(Call(kAll, kPath, "Uid"), "0 " + std::to_string(getuid()));
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
}

TEST_F(ServerTest, AProviderIsToldThatNobodyWaitsAnyMore)
{
    ServedProcess served(options_, MakeProvider);
    {
        RawCall call(options_.directory);
        call.Ask(kAll, kPath, "Wait", "7");
        EXPECT_EQ(call.Answer(100), "silent");
        EXPECT_EQ(Call(kAll, kPath, "StillWaits"), "0 0");
        EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "waits");
    }
    EXPECT_EQ(Call(kAll, kPath, "StillWaits"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "gone");
    EXPECT_EQ(Call(kAll, kPath, "Withdrawn"), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "7 ");
}

// ---- parsing, and what is refused ----

TEST_F(ServerTest, WhatIsNotThereIsSaidOnlyToWhoMayDoIt)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kMissing, "Set", "x"), "6 0");
    EXPECT_EQ(Call(kAll, kMissing, "Nothing"), "6 0");
    EXPECT_EQ(Call(kAll, kPath, "Nothing"), "17 0");
    EXPECT_EQ(Call(kAll, "no path.", "Set", "x"), "4 0");
    for (const char *path : {kMissing, kPath, "no path."})
        EXPECT_EQ(Call(0x6, path, "Nothing"), "2 0") << path;
}

TEST_F(ServerTest, AnArgumentThatIsNotTakenIsRefused)
{
    ServedProcess served(options_, MakeProvider);
    EXPECT_EQ(Call(kAll, kPath, "Uid", "x"), "4 0");
    EXPECT_EQ(Call(kAll, kPath, "Uid", ""), "0 " + std::to_string(getuid()));
    EXPECT_EQ(Call(kAll, kPath, "One", "Mode=Two"), "4 0");
    EXPECT_EQ(Call(kAll, kPath, "One", "Mode=One"), "17 0");  // the provider's own answer
    EXPECT_EQ(Call(kAll, kMissing, "Uid", "x"), "6 0");
}

// ---- rights ----

// Runs `body` in a process of this user, with these groups.
template <typename Body>
void AsUser(uid_t uid, gid_t gid, const std::vector<gid_t> &groups, const Body &body)
{
    InFreshProcess([&] {
        ASSERT_EQ(setgroups(groups.size(), groups.data()), 0);
        ASSERT_EQ(setresgid(gid, gid, gid), 0);
        ASSERT_EQ(setresuid(uid, uid, uid), 0);
        body();
    });
}

class ServerRights : public ServerTest
{
protected:
    // Everybody may connect.
    void Serve(const char *rights)
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root, to become another user";
        std::vector<FileNote> notes;
        ASSERT_TRUE(RightsParse(rights, &options_.rights, &notes));
        served_ = std::make_unique<ServedProcess>(options_, MakeProvider);
        ASSERT_TRUE(served_->started);
        chmod(directory_.Path().c_str(), 0755);
        chmod(options_.directory.c_str(), 0755);
        chmod((options_.directory + "/socket").c_str(), 0666);
    }

    std::unique_ptr<ServedProcess> served_;
};

TEST_F(ServerRights, AForgedClaimGrantsNothing)
{
    Serve("[users]\n1234567 = ['login', 'clear-log']\n");
    if (IsSkipped())
        return;
    AsUser(1234567, 1234567, {}, [&] {
        EXPECT_EQ(Call(0xffffffff, "OEM_QARN_System", "Stop"), "2 0");
        EXPECT_EQ(Call(0xffffffff, "OEM_QARN_MessageLog.Name=SEL", "Clear"), "17 0");
        // Less can be claimed than there is.
        EXPECT_EQ(Call(0x3, "OEM_QARN_MessageLog.Name=SEL", "Clear"), "2 0");
    });
    AsUser(1234568, 1234568, {},
           [&] { EXPECT_EQ(Call(0xffffffff, "OEM_QARN_MessageLog.Name=SEL", "Clear"), "2 0"); });
}

TEST_F(ServerRights, AGroupCountsForItsMembersAlone)
{
    Serve("[groups]\n7001 = ['login', 'power']\n");
    if (IsSkipped())
        return;
    const auto stop = [&](const char *expected) {
        return [&, expected] { EXPECT_EQ(Call(kAll, "OEM_QARN_System", "Stop"), expected); };
    };
    AsUser(1234567, 7001, {}, stop("17 0"));
    AsUser(1234567, 7002, {7001}, stop("17 0"));
    AsUser(1234567, 7002, {7003}, stop("2 0"));
    AsUser(1234567, 0, {0}, stop("2 0"));
    std::vector<gid_t> seventy;
    for (gid_t group = 8000; group < 8069; ++group)
        seventy.push_back(group);
    AsUser(1234567, 7002, seventy, stop("2 0"));
    seventy.push_back(7001);
    AsUser(1234567, 7002, seventy, stop("17 0"));
}

TEST_F(ServerRights, WhoConnectedCountsAndNotWhoAsks)
{
    Serve("[users]\n1234567 = ['login', 'power']\n");
    if (IsSkipped())
        return;
    // The descriptor of one who may not, used by one who may, and the other way round.
    InFreshProcess([&] {
        ASSERT_EQ(setresuid(1234568, 1234568, 0), 0);
        RawCall theirs(options_.directory);
        ASSERT_EQ(setresuid(-1u, 0, 0), 0);
        ASSERT_EQ(setresuid(1234567, 1234567, 1234567), 0);
        theirs.Ask(kAll, "OEM_QARN_System", "Stop");
        EXPECT_EQ(theirs.Answer(), "2 0");
    });
    InFreshProcess([&] {
        ASSERT_EQ(setresuid(1234567, 1234567, 0), 0);
        RawCall theirs(options_.directory);
        ASSERT_EQ(setresuid(-1u, 0, 0), 0);
        ASSERT_EQ(setresuid(1234568, 1234568, 1234568), 0);
        theirs.Ask(kAll, "OEM_QARN_System", "Stop");
        EXPECT_EQ(theirs.Answer(), "17 0");
    });
}

// Passed on to a process of another user: it stays the call of who connected.
TEST_F(ServerRights, WhoPassesAConnectionOnPassesHisRightsOn)
{
    Serve("[users]\n1234567 = ['login', 'power']\n1234568 = 'login'\n");
    if (IsSkipped())
        return;
    const auto passOn = [&](uid_t from, uid_t to, const char *answer) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        ChildProcess giver([&] {
            if (setresuid(from, from, from) != 0)
                _exit(1);
            RawCall call(options_.directory);
            _exit(SendDescriptor(ends[0], call.Fd()) ? 0 : 2);
        });
        EXPECT_EQ(giver.Wait(), 0);
        ChildProcess taker([&] {
            if (setresuid(to, to, to) != 0)
                _exit(1);
            const int fd = ReceiveDescriptor(ends[1]);
            if (fd == -1)
                _exit(2);
            const ObjMgrPrivilege all = {kAll, {0, 0}};
            u8 packet[kMethodPacketMax];
            const u32 size = MethodPackRequest(&all, "OEM_QARN_System", "Stop", nullptr, packet);
            MethodReply reply = {99, 0};
            if (send(fd, packet, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size))
                _exit(3);
            const ssize_t got = recv(fd, packet, sizeof packet, 0);
            MethodParseReply(packet, got > 0 ? static_cast<size_t>(got) : 0, &reply);
            _exit(std::to_string(reply.status) == answer ? 0 : 4);
        });
        EXPECT_EQ(taker.Wait(), 0) << from;
        close(ends[0]);
        close(ends[1]);
    };
    passOn(1234567, 1234568, "17");  // may: the provider knows no such method
    passOn(1234568, 1234567, "2");
}

TEST_F(ServerRights, GroupsThatChangeLaterChangeNothing)
{
    Serve("[groups]\n7001 = ['login', 'power']\n");
    if (IsSkipped())
        return;
    InFreshProcess([&] {
        const gid_t member = 7001;
        ASSERT_EQ(setgroups(1, &member), 0);
        ASSERT_EQ(setresgid(7002, 7002, 7002), 0);
        ASSERT_EQ(setresuid(1234567, 1234567, 0), 0);
        RawCall call(options_.directory);
        ASSERT_EQ(setresuid(-1u, 0, 0), 0);
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresuid(1234567, 1234567, 1234567), 0);
        call.Ask(kAll, "OEM_QARN_System", "Stop");
        EXPECT_EQ(call.Answer(), "17 0");
        EXPECT_EQ(Call(kAll, "OEM_QARN_System", "Stop"), "2 0");
    });
}

// A user of another namespace that has no number here.
TEST_F(ServerRights, WhoHasNoNumberHereHasNoRight)
{
    Serve("[users]\n65534 = ['login', 'power']\n[groups]\n65534 = ['login', 'power']\n");
    if (IsSkipped())
        return;
    AsUser(65534, 65534, {65534}, [&] {
        ServiceFacts facts;
        EXPECT_EQ(ServiceAsk(options_.directory.c_str(), 10000, &facts), ServiceAnswer::NoRight);
        EXPECT_EQ(Call(kAll, "OEM_QARN_System", "Stop"), "2 0");
    });
    // Root of a namespace of its own is who it was outside.
    AsUser(1234567, 1234567, {}, [&] {
        // Otherwise what stands in /proc is root's.
        prctl(PR_SET_DUMPABLE, 1);
        if (unshare(CLONE_NEWUSER) != 0)
            return;
        std::ofstream("/proc/self/uid_map") << "0 1234567 1";
        EXPECT_EQ(getuid(), 0u);
        EXPECT_EQ(Call(kAll, "OEM_QARN_System", "Stop"), "2 0");
    });
}

TEST_F(ServerRights, WithoutAFileOthersMayLookAndChangeNothing)
{
    Serve("[users]\n");
    if (IsSkipped())
        return;
    served_.reset();
    options_.rights = Rights();
    served_ = std::make_unique<ServedProcess>(options_, MakeProvider);
    chmod((options_.directory + "/socket").c_str(), 0666);
    AsUser(1234567, 0, {0}, [&] {
        ServiceFacts facts;
        EXPECT_EQ(ServiceAsk(options_.directory.c_str(), 10000, &facts), ServiceAnswer::Serving);
        EXPECT_EQ(facts.rights, 0x1u);
        EXPECT_EQ(Call(kAll, "OEM_QARN_System", "Stop"), "2 0");
        EXPECT_EQ(Call(kAll, "OEM_QARN_MessageLog.Name=SEL", "Clear"), "2 0");
    });
}

// ---- descriptors that are passed along, and what happens to the socket ----

class ServerDescriptors : public ServerTest, public testing::WithParamInterface<bool>
{
protected:
    ServerDescriptors() { options_.kernelRefusesDescriptors = GetParam(); }
};

TEST_P(ServerDescriptors, HoldNobody)
{
    ServedProcess served(options_, MakeProvider);
    u8 packet[kMethodPacketMax];
    const ObjMgrPrivilege all = {kAll, {0, 0}};
    const u32 size = MethodPackRequest(&all, kPath, "Set", "with a descriptor", packet);
    for (int i = 0; i < 3; ++i) {
        const LingeringSocket lingering;
        if (!lingering.right)
            GTEST_SKIP() << "needs TCP on the loopback interface";
        RawCall call(options_.directory);
        // As its only packet, or behind one that is right.
        if (i == 1)
            call.Ask(kAll, kPath, "Never");
        lingering.SendOver(call.Fd(), packet, size);
        if (i == 2)
            usleep(100000);
        call.Close();
        EXPECT_EQ(Call(kAll, kPath, "Set", "x"), "0 0");
    }
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "x");
    // Also at the end: what is in the queues then.
    const LingeringSocket lingering;
    RawCall call(options_.directory);
    call.Ask(kAll, kPath, "Never");
    lingering.SendOver(call.Fd(), packet, size);
    const u64 before = ClockMs();
    EXPECT_EQ(served.Terminate(), 0);
    EXPECT_LT(ClockMs() - before, 20000u);
}

TEST_P(ServerDescriptors, ThatComeWithARequestAreRefusedWithIt)
{
    ServedProcess served(options_, MakeProvider);
    u8 packet[kMethodPacketMax];
    const ObjMgrPrivilege all = {kAll, {0, 0}};
    const u32 size = MethodPackRequest(&all, kPath, "Set", "with a descriptor", packet);
    const LingeringSocket lingering;
    if (!lingering.right)
        GTEST_SKIP() << "needs TCP on the loopback interface";
    RawCall call(options_.directory);
    const bool sent = lingering.SendOver(call.Fd(), packet, size);
    EXPECT_EQ(call.Answer(sent ? 10000 : 0), sent ? "closed" : "silent");
    EXPECT_EQ(Call(kAll, kPath, "Uid"), "0 " + std::to_string(getuid()));
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "fresh");
}

TEST_P(ServerDescriptors, WithoutThemEverythingIsAsEver)
{
    ServedProcess served(options_, MakeProvider);
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(Call(kAll, kPath, "Set", std::to_string(i).c_str()), "0 0");
    EXPECT_EQ(ReadFresh(options_.directory, kPath, "Value"), "299");
    RawCall call(options_.directory);
    call.Send("", 0);
    EXPECT_EQ(call.Answer(), "4 0");
    EXPECT_EQ(served.Terminate(), 0);
}

INSTANTIATE_TEST_SUITE_P(KernelRefuses, ServerDescriptors, testing::Bool());

TEST_F(ServerTest, ASocketThatIsRemovedOrReplacedIsMadeAnew)
{
    ServedProcess served(options_, MakeProvider);
    const std::string socketPath = options_.directory + "/socket";
    const auto servedAgain = [&] {
        for (int i = 0; i < 500; ++i) {
            if (Call(kAll, kPath, "Set", "x") == "0 0")
                return true;
            usleep(10000);
        }
        return false;
    };
    unlink(socketPath.c_str());
    EXPECT_TRUE(servedAgain());
    unlink(socketPath.c_str());
    std::ofstream(socketPath) << "not a socket";
    EXPECT_TRUE(servedAgain());
    // Another one listens under the name.
    unlink(socketPath.c_str());
    const int other = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(other, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_TRUE(servedAgain());
    close(other);
    EXPECT_EQ(ModeOf(socketPath), 0600u);
    // Whom the administrator lets connect is his affair.
    chmod(socketPath.c_str(), 0666);
    usleep(1000000);
    EXPECT_EQ(ModeOf(socketPath), 0666u);
}

// Times that the process gave the processor away by itself.
u64 WakeUpsOf(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    const std::string wanted = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, wanted.size(), wanted) == 0)
            return strtoul(line.c_str() + wanted.size(), nullptr, 10);
    }
    return 0;
}

class IdleServer : public ServerTest, public testing::WithParamInterface<u32>
{
};

TEST_P(IdleServer, WakesUpAtMostThreeTimesASecond)
{
    ServedProcess served(options_, [] { return new TestProvider(GetParam()); });
    usleep(500000);
    const u64 before = WakeUpsOf(served.Child().Pid());
    ASSERT_NE(before, 0u);
    const u64 beganMs = ClockMs();
    usleep(3000000);
    const u64 wakeUps = WakeUpsOf(served.Child().Pid()) - before;
    EXPECT_LE(wakeUps * 1000, 3 * (ClockMs() - beganMs) + 1000);
    EXPECT_GE(wakeUps, 3u);  // it is not dead
}

INSTANTIATE_TEST_SUITE_P(TickMs, IdleServer, testing::Values(0, 500, 1000));

// Ready after some ticks of 10 ms; 0: never.
class LateProvider : public TestProvider
{
public:
    explicit LateProvider(u32 ticks) : TestProvider(10), left_(ticks) {}
    void Tick(ImageWriter *store, std::vector<ProviderAnswer> *answers) override
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
        const u64 before = ClockMs();
        if (server.AwaitReady(signals, limitMs) != 0)
            _exit(2);
        const u64 took = ClockMs() - before;
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

// What its ticks write can be stored ('+') or not ('-'); ready after the last of them.
class UnstoredProvider : public TestProvider
{
public:
    explicit UnstoredProvider(std::string ticks) : TestProvider(10), left_(std::move(ticks)) {}
    void Tick(ImageWriter *store, std::vector<ProviderAnswer> *) override
    {
        if (left_.empty())
            return;
        store->Put(left_[0] == '+' ? kPath : "", {});
        left_.erase(0, 1);
    }
    bool Ready() const override { return left_.empty(); }

private:
    std::string left_;
};

std::vector<std::string> loggedLines;

TEST(Server, WhatCannotBeStoredIsLoggedOnceUntilItCanBe)
{
    const TestDirectory directory;
    UnstoredProvider provider("-----+--+");
    ServerOptions options = In(directory);
    options.log = [](int, const char *line) { loggedLines.push_back(line); };
    loggedLines.clear();
    Server server;
    ASSERT_EQ(server.Start(options, &provider), 0);
    sigset_t none;
    sigemptyset(&none);
    EXPECT_EQ(server.AwaitReady(none, 20000), 0);
    EXPECT_TRUE(provider.Ready());
    const std::string line = "the store cannot be brought up to date: Invalid argument";
    EXPECT_EQ(loggedLines, (std::vector<std::string>{line, line}));
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
