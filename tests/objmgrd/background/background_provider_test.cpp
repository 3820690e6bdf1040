// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/background/background_provider: the serving side, as its clients see it, with a
// source of two values. The source is switched by files in a directory of the test's own, since it
// lives in the server's process.
#include "objmgrd/background/background_provider.h"

#include "support/objmgr_store.h"
#include "support/served_process.h"

#include <atomic>
#include <fstream>
#include <syslog.h>

static int sThreadError;  // not 0: no thread can be started (linked with --wrap)

extern "C" {
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *argument)
{
    return sThreadError != 0 ? sThreadError
                             : __real_pthread_create(thread, attributes, start, argument);
}
}

namespace
{

constexpr char kSystem[] = "OEM_QARN_System";
constexpr char kLog[] = "OEM_QARN_MessageLog.Name=SEL";
constexpr char kSensor1[] = "OEM_QARN_Sensor.Index=1";

std::string logFile;

void LogToFile(int priority, const char *line)
{
    std::ofstream(logFile, std::ios::app) << priority << " " << line << "\n";
}

// What a second slow source needs: nothing but this.
class Thermometer : public Conversation
{
public:
    Thermometer(std::string directory, Mailbox *mailbox)
        : directory_(std::move(directory)), mailbox_(mailbox)
    {
    }
    u32 Step() override
    {
        while (Has("hang"))
            usleep(10000);
        Order order;
        if (mailbox_->NextOrder(&order))
            return Carry(order);
        if (Has("silent"))
            return 20;
        if (Has("lost"))
            return Lose();
        const bool fresh = mailbox_->Generation() != generation_ || !given_;
        generation_ = mailbox_->Generation();
        mailbox_->heardMs = ClockMs();
        News news;
        if (fresh) {
            news.changes[kSystem] = Instance{kCimOk, {{"PowerStatus", kCimOk, on_ ? "ON" : "OFF"}}};
            news.changes[kSensor1] = Instance{kCimOk, {{"Reading", kCimOk, "23"}}};
            news.settled = true;
            news.lines.push_back({LOG_INFO, "read"});
            given_ = true;
            mailbox_->Post(generation_, std::move(news));
        }
        return 20;
    }
    void End() override { std::ofstream(logFile, std::ios::app) << "end\n"; }

private:
    bool Has(const char *name) const
    {
        return access((directory_ + "/" + name).c_str(), F_OK) == 0;
    }
    u32 Lose()
    {
        News news;
        news.lost = true;
        news.why = "unplugged";
        given_ = false;
        mailbox_->Post(generation_, std::move(news));
        return 20;
    }
    u32 Carry(const Order &order)
    {
        if (Has("deaf"))
            return 0;
        if (Has("slow"))
            usleep(600000);
        if (Has("slower"))
            usleep(7000000);
        std::ofstream(logFile, std::ios::app)
            << "order " << static_cast<int>(order.kind)
            << (mailbox_->Waits(order.ticket) ? "" : ": nobody waits") << "\n";
        if (!mailbox_->Waits(order.ticket))
            return 0;
        on_ = order.kind != OrderKind::Stop;
        News news;
        news.changes[kSystem] = Instance{kCimOk, {{"PowerStatus", kCimOk, on_ ? "ON" : "OFF"}}};
        news.answers.push_back({order.ticket, kCimOk, 7});
        mailbox_->Post(generation_, std::move(news));
        return 0;
    }

    const std::string directory_;
    Mailbox *const mailbox_;
    u32 generation_ = 0;
    bool given_ = false;
    bool on_ = true;
};

BackgroundOptions Options()
{
    return {.name = "thermometer",
            .source = "Thermometer",
            .silent = "no answer",
            .lostMs = 500,
            .methodMs = 400,
            .log = LogToFile};
}

class BackgroundProviderTest : public testing::Test
{
protected:
    BackgroundProviderTest() { logFile = switches_.Path() + "/log"; }
    void Serve()
    {
        served_ =
            std::make_unique<ServedProcess>(ServerOptions{.directory = directory_.Path()}, [this] {
                return new BackgroundProvider(Options(), [this](Mailbox *mailbox) {
                    return std::make_unique<Thermometer>(switches_.Path(), mailbox);
                });
            });
        EXPECT_TRUE(served_->started);
    }
    void Switch(const char *name, bool on) const
    {
        const std::string file = switches_.Path() + "/" + name;
        if (on)
            std::ofstream(file) << "on";
        else
            unlink(file.c_str());
    }
    std::string Read(const char *path, const char *property) const
    {
        return ReadFresh(directory_.Path(), path, property);
    }
    std::string Call(const char *path, const char *method, const char *args = nullptr) const
    {
        return CallMethod(directory_.Path(), 0x7, path, method, args);
    }
    void Until(const char *path, const char *property, const std::string &value) const
    {
        for (u32 ms = 0; ms < 20000 && Read(path, property) != value; ms += 20)
            usleep(20000);
        EXPECT_EQ(Read(path, property), value);
    }
    std::string Log() const { return ReadFile(logFile); }

    TestDirectory directory_;
    TestDirectory switches_;
    std::unique_ptr<ServedProcess> served_;
};

}  // namespace

TEST_F(BackgroundProviderTest, WhatTheConversationReadsIsServed)
{
    Switch("silent", true);
    Serve();
    // Nothing yet: failures, and not a machine without sensors.
    for (const char *path : {kSystem, kLog, kSensor1})
        EXPECT_EQ(Read(path, "Name"), "status 1") << path;
    Switch("silent", false);
    Until(kSensor1, "Reading", "23");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "ON");
    EXPECT_EQ(Read(kLog, "NumRecords"), "status 1");
    EXPECT_EQ(Log(), "5 Thermometer: reached\n6 read\n");
}

TEST_F(BackgroundProviderTest, AnOrderIsAnsweredWithItsEffect)
{
    Serve();
    Until(kSystem, "PowerStatus", "ON");
    EXPECT_EQ(Call(kSystem, "Stop"), "0 7");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "OFF");
    EXPECT_EQ(Call(kSystem, "Start", ""), "0 7");
    EXPECT_EQ(Call(kSystem, "Reset"), "0 7");
    EXPECT_EQ(Call(kSystem, "Reset", "Mode=PowerCycle"), "0 7");
    EXPECT_EQ(Call(kLog, "Clear"), "0 7");
    EXPECT_NE(Log().find("order 1\norder 0\norder 2\norder 3\norder 4\n"), std::string::npos);
}

TEST_F(BackgroundProviderTest, OtherMethodsAndArgumentsNeverReachTheConversation)
{
    Serve();
    Until(kSensor1, "Reading", "23");
    EXPECT_EQ(Call(kSystem, "Stop", "x"), "4 0");
    EXPECT_EQ(Call(kSystem, "Stop", "Mode=PowerCycle"), "4 0");
    EXPECT_EQ(Call(kLog, "Clear", "x"), "4 0");
    EXPECT_EQ(Call(kSystem, "Clear"), "17 0");
    EXPECT_EQ(Call(kSensor1, "Start"), "17 0");
    EXPECT_EQ(Call("OEM_QARN_Sensor.Index=2", "Start"), "6 0");
    EXPECT_EQ(Log().find("order"), std::string::npos);
}

TEST_F(BackgroundProviderTest, SilenceIsSeenByTheWatch)
{
    Serve();
    Until(kSensor1, "Reading", "23");
    Switch("silent", true);
    Until(kSystem, "PowerStatus", "status 1");
    EXPECT_EQ(Read(kSensor1, "Reading"), "status 1");
    Switch("silent", false);
    Until(kSensor1, "Reading", "23");
    EXPECT_EQ(Log(), "5 Thermometer: reached\n6 read\n"
                     "3 Thermometer cannot be read: no answer\n"
                     "5 Thermometer: answers again\n6 read\n");
}

TEST_F(BackgroundProviderTest, ALossIsSaidOnceForEachReason)
{
    Serve();
    Until(kSensor1, "Reading", "23");
    Switch("lost", true);
    Until(kSystem, "PowerStatus", "status 1");
    usleep(200000);
    Switch("lost", false);
    Until(kSensor1, "Reading", "23");
    EXPECT_EQ(Log(), "5 Thermometer: reached\n6 read\n"
                     "3 Thermometer cannot be read: unplugged\n"
                     "5 Thermometer: answers again\n6 read\n");
}

TEST_F(BackgroundProviderTest, AThreadThatHangsHoldsNobodyUp)
{
    Serve();
    Until(kSensor1, "Reading", "23");
    Switch("hang", true);
    Until(kSystem, "PowerStatus", "status 1");
    EXPECT_EQ(Call(kSystem, "Stop"), "1 0");
    usleep(3500000);  // the heartbeat goes on
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "status 1");
    Switch("hang", false);
    Until(kSystem, "PowerStatus", "ON");
    // Nobody waits for the Stop any more: the conversation never sees it.
    EXPECT_EQ(Log().find("order"), std::string::npos);
}

TEST_F(BackgroundProviderTest, AnOrderThatIsTooLateIsAnsweredAsFailedAndSaidToBeSo)
{
    Serve();
    Until(kSystem, "PowerStatus", "ON");
    Switch("slow", true);
    EXPECT_EQ(Call(kSystem, "Stop"), "1 0");
    for (u32 i = 0; i < 500 && Log().find("nobody waits") == std::string::npos; ++i)
        usleep(10000);
    EXPECT_NE(Log().find("order 1: nobody waits\n"), std::string::npos);
    Until(kSystem, "PowerStatus", "ON");
    Switch("slow", false);
    // One that is never answered fails as well.
    Switch("deaf", true);
    EXPECT_EQ(Call(kSystem, "Stop"), "1 0");
}

// Clients wait as long as the service says, and a little longer, not for a time of their own.
TEST(BackgroundProviderTime, ClientsLearnHowLongAMethodTakes)
{
    BackgroundOptions options = Options();
    options.methodMs = 4500;
    const auto make = [](Mailbox *mailbox) {
        return std::make_unique<Thermometer>("/nonexistent", mailbox);
    };
    EXPECT_EQ(BackgroundProvider(options, make).MethodTimeoutMs(), 5000u);
    options.methodMs = 60000;
    EXPECT_EQ(BackgroundProvider(options, make).MethodTimeoutMs(), 60500u);
    const BackgroundProvider provider(options, make);
    ASSERT_EQ(provider.Sources().size(), 1u);
    EXPECT_EQ(provider.Sources()[0].name, "Thermometer");
    EXPECT_FALSE(provider.Sources()[0].answers);
}

// Twice a second, with the server's heartbeat three times; sooner where somebody waits.
TEST(BackgroundProviderTime, AnIdleProviderIsSeldomWoken)
{
    BackgroundProvider provider(Options(), [](Mailbox *mailbox) {
        return std::make_unique<Thermometer>("/nonexistent", mailbox);
    });
    EXPECT_EQ(provider.TickMs(), 500u);
    MethodCall call;
    for (const MethodRow &row : kMethodTable) {
        if (row.id == MethodId::Stop)
            call.row = &row;
    }
    const ProviderReply reply = provider.Invoke(call, nullptr);
    EXPECT_TRUE(reply.pending);
    EXPECT_EQ(provider.TickMs(), 100u);
    provider.Withdraw(reply.ticket);
    EXPECT_EQ(provider.TickMs(), 500u);
}

// A clock that the test owns, and a source that says nothing by itself.
static u64 sNowMs;

class Idle : public Conversation
{
public:
    u32 Step() override { return 1000; }
    void End() override {}
};

TEST(BackgroundProviderTime, TheWatchComesJustBehindItsMomentAndTellsTools)
{
    const TestDirectory directory;
    ImageWriter store;
    ASSERT_EQ(store.Open(directory.Path()), 0);
    BackgroundOptions options = Options();
    options.clock = [] { return sNowMs; };
    options.log = [](int, const char *) {};
    options.parts = {"sensors"};
    Mailbox *box = nullptr;
    BackgroundProvider provider(options, [&box](Mailbox *mailbox) {
        box = mailbox;
        return std::make_unique<Idle>();
    });
    ASSERT_EQ(store.Begin(), 0);
    ASSERT_EQ(provider.Load(&store), 0);
    ASSERT_EQ(store.Commit(), 0);
    ASSERT_EQ(store.Publish(), 0);
    ASSERT_EQ(store.Begin(), 0);
    const auto source = [&](size_t number = 0) {
        return HeadOf(ReadFile(directory.Path() + "/image")).sources[number];
    };
    EXPECT_EQ(source().state, kImageSourceUnheard);

    sNowMs = 100000;
    News news;
    news.changes[kSystem] = Instance{kCimOk, {{"PowerStatus", kCimOk, "ON"}}};
    news.heard[0] = 99950;
    box->heardMs = 99900;
    box->Post(box->Generation(), std::move(news));
    std::vector<ProviderAnswer> answers;
    provider.Tick(&store, &answers);
    EXPECT_EQ(source().state, kImageSourceAnswering);
    EXPECT_EQ(source().heardMs, 99900u);
    EXPECT_EQ(source(1).state, kImageSourceAnswering);
    EXPECT_EQ(source(1).heardMs, 99950u);
    EXPECT_EQ(provider.TickMs(), 100u);  // something is to be written
    provider.Committed(true);
    for (const auto &[now, ms] : {std::pair<u64, u32>{99901, 500},
                                  {99902, 499},
                                  {100000, 401},
                                  {100400, 1},
                                  {100401, 100}}) {
        sNowMs = now;
        EXPECT_EQ(provider.TickMs(), ms) << now;
    }
    sNowMs = 100399;
    provider.Tick(&store, &answers);
    EXPECT_EQ(source().state, kImageSourceAnswering);
    sNowMs = 100400;
    provider.Tick(&store, &answers);
    EXPECT_EQ(source().state, kImageSourceSilent);
    EXPECT_EQ(source(1).state, kImageSourceSilent);
    provider.Committed(true);
    EXPECT_EQ(provider.TickMs(), 500u);
    EXPECT_TRUE(answers.empty());
}

TEST(BackgroundProviderTime, WithoutAThreadThereIsNoService)
{
    const TestDirectory directory;
    ImageWriter store;
    ASSERT_EQ(store.Open(directory.Path()), 0);
    ASSERT_EQ(store.Begin(), 0);
    BackgroundProvider provider(Options(), [](Mailbox *) { return std::make_unique<Idle>(); });
    sThreadError = EAGAIN;
    EXPECT_EQ(provider.Load(&store), EAGAIN);
    sThreadError = 0;
    // Signals are this thread's, as before.
    sigset_t held;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &held), 0);
    EXPECT_EQ(sigismember(&held, SIGTERM), 0);
}

TEST(BackgroundProviderTime, AMethodOfSevenSecondsIsAnswered)
{
    const TestDirectory directory;
    const TestDirectory switches;
    logFile = switches.Path() + "/log";
    std::ofstream(switches.Path() + "/slower") << "on";
    BackgroundOptions options = Options();
    options.methodMs = 9000;
    options.lostMs = 20000;
    ServedProcess served(ServerOptions{.directory = directory.Path()}, [&] {
        return new BackgroundProvider(options, [&](Mailbox *mailbox) {
            return std::make_unique<Thermometer>(switches.Path(), mailbox);
        });
    });
    ASSERT_TRUE(served.started);
    for (u32 i = 0; i < 500 && ReadFresh(directory.Path(), kSystem, "PowerStatus") != "ON"; ++i)
        usleep(10000);
    InFreshProcess([&] {
        setenv("ZOROBJMGR", directory.Path().c_str(), 1);
        const ObjMgrInterface *objmgr = ObjMgrGetInterface();
        ObjMgrHandle handle = 0;
        ASSERT_EQ(objmgr->Open(&handle), 0u);
        const ObjMgrPrivilege privilege = {0x7, {0, 0}};
        u32 result = 0;
        objmgr->SetPrivilege(handle, &privilege);
        EXPECT_EQ(objmgr->InvokeMethod(handle, kSystem, "Stop", nullptr, 0, 0, &result), 0u);
        EXPECT_EQ(result, 7u);
        objmgr->Close(handle);
    });
}

TEST(BackgroundProviderEnd, TheConversationHasTheLastWord)
{
    InFreshProcess([] {
        const TestDirectory directory;
        logFile = directory.Path() + "/log";
        ImageWriter store;
        ASSERT_EQ(store.Open(directory.Path()), 0);
        ASSERT_EQ(store.Begin(), 0);
        {
            BackgroundProvider provider(Options(), [&](Mailbox *mailbox) {
                return std::make_unique<Thermometer>(directory.Path(), mailbox);
            });
            ASSERT_EQ(provider.Load(&store), 0);
        }
        std::string line;
        std::getline(std::ifstream(logFile) >> std::ws, line);
        EXPECT_EQ(line, "end");
    });
}

// In one request until it is let go, and then for 300 ms more.
struct Request {
    std::atomic<bool> begun = false;
    std::atomic<bool> letGo = false;
    std::atomic<int> detached = -1;
    std::atomic<bool> ended = false;
    std::atomic<bool> destroyed = false;
};

class Stuck : public Conversation
{
public:
    explicit Stuck(Request *request) : request_(request) {}
    Stuck(const Stuck &) = delete;
    Stuck &operator=(const Stuck &) = delete;
    ~Stuck() override { request_->destroyed = true; }
    u32 Step() override
    {
        request_->begun = true;
        while (!request_->letGo)
            usleep(1000);
        usleep(300000);
        return 1000;
    }
    void End() override
    {
        pthread_attr_t attributes;
        int state = -1;
        EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
        EXPECT_EQ(pthread_attr_getdetachstate(&attributes, &state), 0);
        pthread_attr_destroy(&attributes);
        request_->detached = state;
        request_->ended = true;
    }

private:
    Request *const request_;
};

static void Await(const std::atomic<bool> &flag)
{
    for (u32 i = 0; i < 2000 && !flag; ++i)
        usleep(10000);
    ASSERT_TRUE(flag);
}

// Begins the request, lets it go if told so, and ends the provider.
static void EndDuring(Request *request, u32 joinS, bool letGo)
{
    const TestDirectory directory;
    ImageWriter store;
    ASSERT_EQ(store.Open(directory.Path()), 0);
    ASSERT_EQ(store.Begin(), 0);
    BackgroundOptions options = Options();
    options.joinS = joinS;
    BackgroundProvider provider(options,
                                [&](Mailbox *) { return std::make_unique<Stuck>(request); });
    ASSERT_EQ(provider.Load(&store), 0);
    Await(request->begun);
    request->letGo = letGo;
}

TEST(BackgroundProviderEnd, ARequestMayTakeItsTime)
{
    Request request;
    EndDuring(&request, 60, true);
    EXPECT_TRUE(request.ended);
    EXPECT_EQ(request.detached, PTHREAD_CREATE_JOINABLE);
}

TEST(BackgroundProviderEnd, AThreadThatHangsIsLeftBehindWithAllThatItUses)
{
    static Request request;
    EndDuring(&request, 0, false);
    EXPECT_FALSE(request.ended);
    EXPECT_FALSE(request.destroyed);
    request.letGo = true;
    Await(request.destroyed);
    EXPECT_TRUE(request.ended);
    EXPECT_EQ(request.detached, PTHREAD_CREATE_DETACHED);
}

// Says nothing by itself.
class Quiet : public Conversation
{
public:
    u32 Step() override { return 1000; }
    void End() override {}
};

// It may be the last thing that came before the silence: the source does not answer for that.
TEST(BackgroundProviderStore, WhatIsGoneIsRemovedWhileTheSourceIsLost)
{
    InFreshProcess([] {
        const TestDirectory directory;
        logFile = directory.Path() + "/log";
        Mailbox *box = nullptr;
        BackgroundProvider provider(Options(), [&](Mailbox *mailbox) {
            box = mailbox;
            return std::make_unique<Quiet>();
        });
        ImageWriter store;
        ASSERT_EQ(store.Open(directory.Path()), 0);
        ASSERT_EQ(store.Begin(), 0);
        ASSERT_EQ(provider.Load(&store), 0);
        std::vector<ProviderAnswer> answers;
        News news;
        news.lost = true;
        news.why = "unplugged";
        news.changes[kSensor1] = std::nullopt;
        box->Post(0, std::move(news));
        provider.Tick(&store, &answers);
        EXPECT_FALSE(provider.Has(kSensor1));
        EXPECT_EQ(store.Find(kSensor1), nullptr);
        EXPECT_FALSE(provider.Sources()[0].answers);
        EXPECT_EQ(ReadFile(logFile), "3 Thermometer cannot be read: unplugged\n");
    });
}

// What could not be stored is stored later, and the store is never ahead of what was committed.
TEST(BackgroundProviderStore, WhatIsNotStoredIsGivenAgain)
{
    InFreshProcess([] {
        const TestDirectory directory;
        logFile = directory.Path() + "/log";
        BackgroundProvider provider(Options(), [&](Mailbox *mailbox) {
            return std::make_unique<Thermometer>(directory.Path(), mailbox);
        });
        ImageWriter store;
        ASSERT_EQ(store.Open(directory.Path()), 0);
        ASSERT_EQ(store.Begin(), 0);
        ASSERT_EQ(provider.Load(&store), 0);
        ASSERT_EQ(store.Commit(), 0);
        provider.Committed(true);
        ASSERT_EQ(store.Publish(), 0);
        EXPECT_EQ(ReadFresh(directory.Path(), kSystem, "PowerStatus"), "status 1");
        for (u32 i = 0; i < 1000 && !provider.Ready(); ++i) {
            usleep(10000);
            std::vector<ProviderAnswer> answers;
            ASSERT_EQ(store.Begin(), 0);
            provider.Tick(&store, &answers);
            store.Abort();
            provider.Committed(false);
        }
        EXPECT_EQ(ReadFresh(directory.Path(), kSystem, "PowerStatus"), "status 1");
        std::vector<ProviderAnswer> answers;
        ASSERT_EQ(store.Begin(), 0);
        provider.Tick(&store, &answers);
        ASSERT_EQ(store.Commit() | store.Publish(), 0);
        provider.Committed(true);
        EXPECT_EQ(ReadFresh(directory.Path(), kSystem, "PowerStatus"), "ON");
        EXPECT_EQ(ReadFresh(directory.Path(), kSensor1, "Reading"), "23");
    });
}
