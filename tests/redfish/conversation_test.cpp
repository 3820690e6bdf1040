// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/conversation on a simulated service.
#include "redfish/reader.h"

#include "support/objmgr_process.h"

#include <fcntl.h>

namespace
{

constexpr char kRoot[] = "/redfish/v1";
const std::string kChassis = std::string(kRoot) + "/Chassis/C1";
const std::string kSystem = std::string(kRoot) + "/Systems/S1";
const std::string kSessions = std::string(kRoot) + "/SessionService/Sessions";
const std::string kEntries = std::string(kRoot) + "/Managers/M1/LogServices/SEL/Entries";
const std::string kReset = kSystem + "/Actions/ComputerSystem.Reset";

std::atomic<u64> standingMs;

class RedfishConversationTest : public testing::Test
{
protected:
    void Serve(const SimOptions &options = {}) { service = std::make_unique<SimService>(options); }
    RedfishSettings Settings() { return QuickSettings(*service, directory.Path() + "/session"); }
    std::string PasswordFile(const std::string &password = SimService::kPassword)
    {
        const std::string file = directory.Path() + "/password";
        unlink(file.c_str());
        const int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0600);
        EXPECT_EQ(write(fd, password.data(), password.size()),
                  static_cast<ssize_t>(password.size()));
        close(fd);
        return file;
    }
    void Read() { Read(Settings()); }
    // On a clock that stands.
    void ReadStanding()
    {
        standingMs = 1'000'000;
        reader =
            std::make_unique<Reader>(Settings(), PasswordFile(), [] { return standingMs.load(); });
        ASSERT_TRUE(reader->Settles()) << reader->Why();
    }
    void Read(const RedfishSettings &settings)
    {
        reader = std::make_unique<Reader>(settings, PasswordFile());
    }
    void ReadAll(const SimOptions &options = {})
    {
        Serve(options);
        Read();
        ASSERT_TRUE(reader->Settles()) << reader->Why() << reader->Lines();
    }
    // Each resource by a request of its own.
    void ReadOneByOne()
    {
        SimOptions options;
        options.expand = SimExpand::Ignored;
        ReadAll(options);
    }
    std::string Power() { return reader->Text(kSystemClass, "PowerStatus"); }

    TestDirectory directory;
    std::unique_ptr<SimService> service;
    std::unique_ptr<Reader> reader;
};

// {"Name": "Temp 1", "ReadingType": "Temperature", "Reading": 77}
constexpr char kGzip[] = "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\x56\xf2\x4b\xcc\x4d\x55\xb2"
                         "\x52\x50\x0a\x49\xcd\x2d\x50\x30\x54\xd2\x51\x50\x0a\x4a\x4d\x4c\xc9\xcc"
                         "\x4b\x0f\xa9\x2c\x80\x4b\xa4\x16\x25\x96\x94\x16\xa5\x22\xc9\x02\x65\xcc"
                         "\xcd\x6b\x01\xcc\x4f\x65\x22\x3f\x00\x00\x00";

constexpr char kSevenSensors[] = "Temp 1, Temp 2, Fan 1, Fan 2, Intrusion, PSU 1, Fan Redundancy";

}  // namespace

TEST_F(RedfishConversationTest, ReadsEverything)
{
    Serve();
    service->AddLogEntry("1", "First");
    service->AddLogEntry("2", "Second");
    Read();
    ASSERT_TRUE(reader->Settles()) << reader->Why();
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(reader->Text(kSystemClass, "ServiceTag"), "TAG1");
    EXPECT_EQ(reader->Text(kSystemClass, "Description"), "M9");
    EXPECT_EQ(reader->Text(kSystemClass, "HostName"), "host1");
    EXPECT_EQ(reader->Text(kSystemClass, "Oem"), "Maker");
    EXPECT_EQ(reader->Sensors(), kSevenSensors);
    EXPECT_EQ(reader->Text(SensorKey(1), "Reading"), "21");
    EXPECT_EQ(reader->Text(SensorKey(3), "Reading"), "4001");
    EXPECT_EQ(reader->Text(PowerSupplyKey(1), "PowerSupplyWattage"), "800");
    EXPECT_EQ(reader->Text(std::string(kSelPath), "NumRecords"), "2");
    EXPECT_EQ(reader->Text(SelRecordKey(1), "Description"), "First");
    EXPECT_EQ(reader->Text(SelRecordKey(2), "Description"), "Second");
    service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "33.25");
    reader->Becomes(SensorKey(1), "Reading", "33.25");
    service->SetPower(false);
    reader->Becomes(kSystemClass, "PowerStatus", "OFF");
    service->AddLogEntry("3", "Third");
    reader->Becomes(SelRecordKey(3), "Description", "Third");
    reader->Becomes(std::string(kSelPath), "NumRecords", "3");
}

TEST_F(RedfishConversationTest, BothFamiliesAndEveryWayToExpandGiveTheSameSensors)
{
    for (SimExpand expand :
         {SimExpand::Works, SimExpand::Refused, SimExpand::Ignored, SimExpand::Lies}) {
        for (unsigned page : {0u, 1u}) {
            SimOptions options;
            options.expand = expand;
            options.page = page;
            options.finalSlash = page != 0;
            options.order = page != 0 ? SimOrder::Reversed : SimOrder::AsIs;
            options.older = true;
            options.temperatures = 3;
            ReadAll(options);
            EXPECT_EQ(reader->Sensors(), "Temp 1, Temp 2, Temp 3, Fan 1, Fan 2, P12V, Consumption, "
                                         "Intrusion, PSU 1, Fan Redundancy")
                << static_cast<int>(expand) << " " << page;
            service->SetMember(kChassis + "/Sensors/Temp3", "Reading", "44");
            reader->Becomes(SensorKey(3), "Reading", "44");
            EXPECT_LE(service->MostAtOnce(), 4u);
            reader.reset();
        }
    }
}

TEST_F(RedfishConversationTest, TheOlderFamilyAlone)
{
    SimOptions options;
    options.newer = false;
    options.older = true;
    ReadAll(options);
    EXPECT_EQ(reader->Sensors(),
              "Old Temp 1, Old Temp 2, Old Fan 1, Old Fan 2, P12V, Consumption, Intrusion");
    EXPECT_EQ(reader->Text(SensorKey(5), "Reading"), "12.05");
}

TEST_F(RedfishConversationTest, OneSessionGivenBack)
{
    ReadAll();
    EXPECT_EQ(service->Sessions(), 1u);
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
    struct stat info;
    ASSERT_EQ(stat((directory.Path() + "/session").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    reader->Stop();
    EXPECT_EQ(service->Sessions(), 0u);
    EXPECT_NE(stat((directory.Path() + "/session").c_str(), &info), 0);
}

TEST_F(RedfishConversationTest, ASessionIsGivenBackHoweverItsAddressIsTold)
{
    for (const SimLocation location : {SimLocation::Url, SimLocation::InBody}) {
        SimOptions options;
        options.location = location;
        ReadAll(options);
        EXPECT_EQ(service->Sessions(), 1u);
        reader->Stop();
        EXPECT_EQ(service->Sessions(), 0u);
        EXPECT_EQ(service->Count("DELETE", kSessions + "/1"), 1u);
    }
}

TEST_F(RedfishConversationTest, TheNextStartDeletesWhatAKilledOneLeft)
{
    ReadAll();
    reader->Kill();
    EXPECT_EQ(service->Sessions(), 1u);
    Read();
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(service->Sessions(), 1u);
    EXPECT_EQ(service->Count("DELETE", kSessions + "/1"), 1u);
}

TEST_F(RedfishConversationTest, ASessionThatEndsIsMadeAnew)
{
    ReadAll();
    service->EndSessions();
    ASSERT_TRUE(WaitUntil([&] { return service->Sessions() == 1; }));
    service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "50");
    reader->Becomes(SensorKey(1), "Reading", "50");
    EXPECT_EQ(service->Count("POST", kSessions), 2u);
    EXPECT_EQ(reader->Why(), "");
}

TEST_F(RedfishConversationTest, AWrongPasswordIsTriedEverMoreSeldom)
{
    Serve();
    PasswordFile();
    reader = std::make_unique<Reader>(Settings(), PasswordFile("wrong"));
    ASSERT_TRUE(WaitUntil([&] { return !reader->Why().empty(); }));
    EXPECT_EQ(reader->Why(), "user operator is refused (401)");
    usleep(1'500'000);
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
}

TEST_F(RedfishConversationTest, ALoginThatNeverCountsIsNoLoop)
{
    Serve();
    SimFault fault;
    fault.status = 401;
    service->SetFault(kSystem, fault);
    service->SetFault(std::string(kRoot) + "/Systems", fault);
    service->SetFault(std::string(kRoot) + "/Systems?$expand=.($levels=1)", fault);
    service->SetFault(std::string(kRoot) + "/Chassis", fault);
    service->SetFault(std::string(kRoot) + "/Managers", fault);
    Read();
    ASSERT_TRUE(WaitUntil([&] { return reader->Why() == "user operator is refused (401)"; }));
    EXPECT_LE(service->Count("POST", kSessions), 3u);
}

TEST_F(RedfishConversationTest, WithoutSessionsThereIsBasic)
{
    SimOptions options;
    options.auth = SimAuth::Basic;
    ReadAll(options);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(service->Count("POST", kSessions), 0u);
}

TEST_F(RedfishConversationTest, ALogThatCannotBeReadIsNotAnEmptyOne)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    service->AddLogEntry("1", "First");
    SimFault fault;
    fault.status = 500;
    service->SetFault(std::string(kRoot) + "/Managers/M1/LogServices/SEL", fault);
    service->SetFault(kSystem + "/LogServices", fault);
    service->SetFault(std::string(kRoot) + "/Managers/M1/LogServices", fault);
    Read();
    reader->Becomes(std::string(kSelPath), "NumRecords", "(status 1)");
    service->ClearFaults();
    reader->Becomes(std::string(kSelPath), "NumRecords", "1");
}

TEST_F(RedfishConversationTest, WhenAllSessionsAreTakenItWaits)
{
    SimOptions options;
    options.sessionsMax = 0;
    Serve(options);
    Read();
    ASSERT_TRUE(WaitUntil([&] { return reader->Why() == "no session is to be had (503)"; }));
    service->Change([](SimOptions *o) { o->sessionsMax = 1; });
    EXPECT_TRUE(reader->Becomes(kSystemClass, "PowerStatus", "ON"));
}

TEST_F(RedfishConversationTest, ALoginIsTriedAgainWhenTheServiceSays)
{
    for (const unsigned status : {429u, 503u}) {
        Serve();
        SimFault fault;
        fault.status = status;
        fault.retryAfter = "7";
        service->SetFault(kSessions, fault);
        Read();
        ASSERT_TRUE(WaitUntil([&] { return !reader->Why().empty(); }));
        EXPECT_EQ(reader->Why(), "no session is to be had (" + std::to_string(status) + ")");
    }
    const i64 before = NowMs();
    service->ClearFaults();
    EXPECT_TRUE(reader->Becomes(kSystemClass, "PowerStatus", "ON"));
    // Five seconds without it.
    EXPECT_GE(NowMs() - before, 6000);
    EXPECT_EQ(service->Count("POST", kSessions), 2u);
}

TEST_F(RedfishConversationTest, ABusyResourceIsAskedForInItsRounds)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    SimFault fault;
    fault.status = 503;
    fault.retryAfter = "3600";
    service->SetFault(kRoot, fault);
    Read();
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", kRoot) >= 2; }));
    service->ClearFaults();
    ASSERT_TRUE(reader->Settles());
    for (const unsigned status : {503u, 429u}) {
        fault.status = status;
        service->SetFault(kChassis + "/Sensors/Temp1", fault);
        reader->Becomes(SensorKey(1), "Reading", "(status 1)");
        EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
        EXPECT_EQ(Power(), "ON");
        service->ClearFaults();
        reader->Becomes(SensorKey(1), "Reading", "21");
    }
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
}

TEST_F(RedfishConversationTest, OneResourceThatFailsCostsOnlyItself)
{
    ReadOneByOne();
    SimFault fault;
    fault.status = 500;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    EXPECT_EQ(reader->Text(SensorKey(1), "Type"), "1");
    EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
    EXPECT_EQ(reader->Sensors(), kSevenSensors);
    service->ClearFaults();
    reader->Becomes(SensorKey(1), "Reading", "21");
}

TEST_F(RedfishConversationTest, WhatMayNotBeReadIsDenied)
{
    ReadOneByOne();
    SimFault fault;
    fault.status = 403;
    service->SetFault(kSystem, fault);
    reader->Becomes(kSystemClass, "PowerStatus", "(status 2)");
    service->SetFault(kEntries, fault);
    service->AddLogEntry("1", "x");
    reader->Becomes(std::string(kSelPath), "NumRecords", "(status 2)");
}

TEST_F(RedfishConversationTest, EveryKindOfBadAnswerCostsOnlyItself)
{
    ReadOneByOne();
    std::vector<SimFault> faults(13);
    faults[0].cut = true;
    faults[1].closeBefore = true;
    faults[2].garbage = 20'000'000;
    faults[3].body = std::string(100'000, '[');
    faults[4].body = "<html><body>Welcome</body></html>";
    faults[5].body = "";
    faults[6].body = "[]";
    faults[7].body = "{\"error\": {}}";
    faults[8].body = "{\"Reading\": NaN}";
    faults[9].body = "{\"Reading\": 1e999}";
    faults[10].status = 307;
    faults[10].location = "http://127.0.0.1:9/elsewhere";
    faults[11].hang = true;
    faults[12].cut = true;
    faults[12].chunked = true;
    for (size_t i = 0; i < faults.size(); ++i) {
        service->SetFault(kChassis + "/Sensors/Temp1", faults[i]);
        reader->Becomes(SensorKey(1), "Reading", "(status 1)");
        EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22") << i;
        EXPECT_EQ(Power(), "ON") << i;
        service->ClearFaults();
        reader->Becomes(SensorKey(1), "Reading", "21");
    }
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
}

TEST_F(RedfishConversationTest, ARedirectToTheSamePlaceIsFollowedOnce)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    SimFault fault;
    fault.status = 308;
    fault.location = kChassis + "/Sensors/Temp2";
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    // The login, too.
    fault.location = service->Url() + kSessions + "/";
    service->SetFault(kSessions, fault);
    Read();
    ASSERT_TRUE(WaitUntil([&] { return service->Count("POST", kSessions) == 2; }));
    service->SetFault(kSessions, SimFault());
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Text(SensorKey(1), "Reading"), "22");
    for (const unsigned status : {301u, 307u}) {
        fault.status = status;
        fault.location = kChassis + "/Sensors/Temp2/";
        service->SetFault(kChassis + "/Sensors/Temp1", SimFault());
        reader->Becomes(SensorKey(1), "Reading", "21");
        service->SetFault(kChassis + "/Sensors/Temp1", fault);
        reader->Becomes(SensorKey(1), "Reading", "22");
    }
    // Round in a circle it is no answer.
    fault.location = kChassis + "/Sensors/Temp1";
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
}

TEST_F(RedfishConversationTest, WhatIsDeclaredCompressedAndIsNotIsReadAsItStands)
{
    ReadOneByOne();
    SimFault fault;
    fault.body = "{\"Name\": \"Temp 1\", \"ReadingType\": \"Temperature\", \"Reading\": 78}";
    for (const char *encoding : {"gzip", "deflate"}) {
        fault.encoding = encoding;
        service->SetFault(kChassis + "/Sensors/Temp1", fault);
        reader->Becomes(SensorKey(1), "Reading", "78");
        service->ClearFaults();
        reader->Becomes(SensorKey(1), "Reading", "21");
    }
}

TEST_F(RedfishConversationTest, AnAnswerWithoutContentIsNoReading)
{
    ReadOneByOne();
    SimFault fault;
    fault.status = 204;
    fault.body = "";
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
    service->ClearFaults();
    reader->Becomes(SensorKey(1), "Reading", "21");
}

TEST_F(RedfishConversationTest, AnswersMayBeCompressedChunkedAndSlow)
{
    ReadOneByOne();
    SimFault fault;
    fault.encoding = "gzip";
    fault.body = std::string(kGzip, sizeof kGzip - 1);
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "77");
    // Compressed data that ends early is no answer.
    fault.body = std::string(kGzip, sizeof kGzip - 20);
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    fault = SimFault();
    fault.chunked = true;
    fault.slowMs = 5;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "21");
    // A byte now and then does not hold the others for longer than a request may take.
    fault.slowMs = 500;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
}

// "deflate" is what some servers call it without the two bytes before and the four behind.
TEST_F(RedfishConversationTest, DeflateMayBeBare)
{
    ReadOneByOne();
    SimFault fault;
    fault.encoding = "deflate";
    fault.body = std::string(kGzip + 10, sizeof kGzip - 1 - 18);
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "77");
    service->ClearFaults();
    service->Change([](SimOptions *o) { o->deflate = true; });
    reader->Becomes(SensorKey(1), "Reading", "21");
}

// Deliberate: no client of HTTP guesses at this.
TEST_F(RedfishConversationTest, WhatIsCompressedAndDoesNotSaySoIsNoReading)
{
    ReadOneByOne();
    SimFault fault;
    for (const std::string &body :
         {std::string(kGzip, sizeof kGzip - 1), SimGzipBomb(100'000'000)}) {
        fault.body = body;
        service->SetFault(kChassis + "/Sensors/Temp1", fault);
        reader->Becomes(SensorKey(1), "Reading", "(status 1)");
        EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
        service->ClearFaults();
        reader->Becomes(SensorKey(1), "Reading", "21");
    }
}

TEST_F(RedfishConversationTest, AnOlderServersAnswersEndWithTheConnection)
{
    SimOptions options;
    options.http10 = true;
    options.older = true;
    Serve(options);
    service->AddLogEntry("1", "First");
    Read();
    ASSERT_TRUE(reader->Settles()) << reader->Why();
    EXPECT_EQ(reader->Text(SelRecordKey(1), "Description"), "First");
    service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "55");
    reader->Becomes(SensorKey(1), "Reading", "55");
    EXPECT_EQ(reader->Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(service->Actions(), std::vector<std::string>{"ForceOff"});
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
    EXPECT_EQ(service->Connections(), service->Requests().size());
    EXPECT_EQ(reader->Why(), "");
    // What is cut is no JSON: nothing else tells.
    SimFault fault;
    fault.cut = true;
    service->SetFault("", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    service->ClearFaults();
    reader->Becomes(SensorKey(1), "Reading", "55");
    reader->Stop();
    EXPECT_EQ(service->Sessions(), 0u);
}

TEST_F(RedfishConversationTest, SlowIsNotLost)
{
    SimOptions options;
    options.delayMs = 700;
    Serve(options);
    RedfishSettings settings = Settings();
    settings.lostMs = 2000;
    Read(settings);
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Why(), "");
    EXPECT_EQ(Power(), "ON");
}

TEST_F(RedfishConversationTest, AfterALossEverythingIsReadAgain)
{
    ReadAll();
    service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "60");
    reader->Void();
    reader->Becomes(SensorKey(1), "Reading", "60");
    EXPECT_TRUE(WaitUntil([&] { return reader->Sensors() == kSevenSensors; }));
    // The session is the one from before.
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
}

TEST_F(RedfishConversationTest, EachPartHasAnAgeOfItsOwn)
{
    ReadAll();
    SimFault fault;
    fault.status = 500;
    service->SetFault(kEntries, fault);
    service->SetFault(kEntries + "?$top=1", fault);
    // From here on no reading of it succeeds.
    ASSERT_TRUE(WaitUntil([&] {
        for (const SimRequest &request : service->Requests()) {
            if (request.url.rfind(kEntries, 0) == 0 && request.status == 500)
                return true;
        }
        return false;
    }));
    const u64 log = reader->HeardMs(RedfishPart::Log);
    const u64 identity = reader->HeardMs(RedfishPart::Identity);
    const u64 since = ClockMs();
    EXPECT_TRUE(WaitUntil([&] {
        return reader->HeardMs(RedfishPart::Power) > since &&
               reader->HeardMs(RedfishPart::Temperatures) > since;
    }));
    EXPECT_EQ(reader->HeardMs(RedfishPart::Log), log);
    EXPECT_EQ(reader->HeardMs(RedfishPart::Identity), identity);
    EXPECT_GT(log, 0u);
    EXPECT_GT(identity, 0u);
}

TEST_F(RedfishConversationTest, AGroupIsAsOldAsItsOldestReading)
{
    ReadOneByOne();
    SimFault fault;
    fault.delayMs = 600;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    const u64 since = ClockMs();
    // Asked for in the same round, but Temp 1 comes late: no reading is younger than its request.
    ASSERT_TRUE(WaitUntil([&] { return reader->HeardMs(RedfishPart::Temperatures) > since; }));
    EXPECT_LE(reader->HeardMs(RedfishPart::Temperatures) + 600, ClockMs());
    // One that keeps failing counts for as long as its value is shown.
    fault = SimFault();
    fault.status = 500;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    const u64 failed = ClockMs();
    EXPECT_TRUE(
        WaitUntil([&] { return reader->HeardMs(RedfishPart::Temperatures) + 200 > failed; }));
    // With none left the part is silent.
    service->SetFault(kChassis + "/Sensors/Temp2", fault);
    EXPECT_TRUE(WaitUntil([&] { return reader->HeardMs(RedfishPart::Temperatures) == 0; }));
    EXPECT_GT(reader->HeardMs(RedfishPart::Fans), failed);
}

TEST_F(RedfishConversationTest, EachKindIsReadAtItsOwnRate)
{
    for (SimExpand expand : {SimExpand::Works, SimExpand::Ignored}) {
        SimOptions options;
        options.expand = expand;
        Serve(options);
        service->SetMember(kChassis + "/Sensors/Temp2", "ReadingType", "\"Voltage\"");
        service->SetMember(kChassis + "/Sensors/Temp2", "ReadingUnits", "\"V\"");
        RedfishSettings settings = Settings();
        settings.fansMs = 60000;
        settings.voltagesMs = 60000;
        settings.statesMs = 60000;
        Read(settings);
        ASSERT_TRUE(reader->Settles());
        service->ForgetRequests();
        service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "55");
        reader->Becomes(SensorKey(1), "Reading", "55");
        const std::string asked = expand == SimExpand::Works ? "/Sensors" : "/Sensors/Temp1";
        ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", kChassis + asked) >= 4; }));
        EXPECT_EQ(service->Count("GET", kChassis + "/Sensors/Temp2"), 0u);
        EXPECT_EQ(service->Count("GET", kChassis + "/ThermalSubsystem/Fans"), 0u);
        EXPECT_EQ(service->Count("GET", kChassis + "/ThermalSubsystem/Fans/1"), 0u);
        EXPECT_EQ(service->Count("GET", kChassis + "/PowerSubsystem/PowerSupplies"), 0u);
        EXPECT_EQ(service->Count("GET", kChassis), 0u);
        EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "4001");
        EXPECT_EQ(reader->Text(SensorKey(4), "Reading"), "22");
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, OneAtATimeWhereMoreGainsNothing)
{
    for (const bool one : {true, false}) {
        SimOptions options;
        options.expand = SimExpand::Ignored;
        options.temperatures = 24;
        options.delayMs = 25;
        options.oneAtATime = one;
        ReadAll(options);
        // After the first rounds, and but for the power state.
        const std::string last = kChassis + "/Sensors/Temp24";
        ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", last) >= 3; }));
        service->ForgetRequests();
        ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", last) >= 1; }));
        if (one) {
            EXPECT_LE(service->MostAtOnce(), 2u);
        } else {
            EXPECT_EQ(service->MostAtOnce(), 4u);
        }
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, DocumentsThatDidNotChangeNeedNotCome)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.temperatures = 4;
    ReadAll(options);
    const auto unchanged = [&](const std::string &path) {
        for (const SimRequest &request : service->Requests()) {
            if (request.url == path && request.status == 304)
                return true;
        }
        return false;
    };
    // Not before the service has shown that its ETags change with the documents.
    const std::string quiet = kChassis + "/Sensors/Temp4";
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", kChassis + "/Sensors/Temp1") >= 2; }));
    for (int reading = 50; reading < 53; ++reading) {
        EXPECT_FALSE(unchanged(quiet));
        service->SetMember(kChassis + "/Sensors/Temp1", "Reading", std::to_string(reading));
        reader->Becomes(SensorKey(1), "Reading", std::to_string(reading));
    }
    EXPECT_TRUE(WaitUntil([&] { return unchanged(quiet); }));
    EXPECT_EQ(reader->Text(SensorKey(4), "Reading"), "24");
    // Read whole now and then, all the same; and each change is seen.
    service->ForgetRequests();
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", quiet) >= 7; }));
    u32 whole = 0;
    for (const SimRequest &request : service->Requests())
        whole += request.url == quiet && request.status == 200 ? 1u : 0u;
    EXPECT_GE(whole, 1u);
    EXPECT_LE(whole, 2u);
    service->SetMember(quiet, "Reading", "99");
    reader->Becomes(SensorKey(4), "Reading", "99");
    // Another group has shown nothing yet.
    EXPECT_FALSE(unchanged(kChassis + "/ThermalSubsystem/Fans/1"));
}

TEST_F(RedfishConversationTest, ETagsThatLieAreNotUsed)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.etagsLie = true;
    ReadAll(options);
    for (int reading = 50; reading < 56; ++reading) {
        service->SetMember(kChassis + "/Sensors/Temp1", "Reading", std::to_string(reading));
        reader->Becomes(SensorKey(1), "Reading", std::to_string(reading));
    }
    for (const SimRequest &request : service->Requests()) {
        if (request.url.rfind(kChassis + "/Sensors/", 0) == 0) {
            EXPECT_EQ(request.status, 200u);
        }
    }
}

TEST_F(RedfishConversationTest, OfSeveralSystemsTheSettingsNameOne)
{
    SimOptions options;
    options.systems = 2;
    Serve(options);
    Read();
    ASSERT_TRUE(WaitUntil([&] { return !reader->Why().empty(); }));
    EXPECT_EQ(reader->Why(),
              "the service has several systems; name one as `system` in the settings: S1, S2");
    reader.reset();
    RedfishSettings settings = Settings();
    settings.system = "S2";
    Read(settings);
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Text(kSystemClass, "HostName"), "host2");
}

TEST_F(RedfishConversationTest, AnUnchangedLogIsNotReadAgain)
{
    Serve();
    service->AddLogEntry("1", "First");
    Read();
    ASSERT_TRUE(reader->Settles());
    service->ForgetRequests();
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", kEntries) >= 4; }));
    for (const SimRequest &request : service->Requests()) {
        if (request.url == kEntries) {
            EXPECT_EQ(request.status, 304u);
        }
    }
}

// ---- power ----

TEST_F(RedfishConversationTest, PowerIsDoneWhenItIsSeen)
{
    SimOptions options;
    options.powerLagMs = 1500;
    ReadAll(options);
    EXPECT_EQ(reader->Do(OrderKind::Start), "0 1");
    EXPECT_EQ(reader->Do(OrderKind::Stop), "0 0");
    EXPECT_FALSE(service->Power());
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(reader->Do(OrderKind::Stop), "0 1");
    EXPECT_EQ(reader->Do(OrderKind::Reset), "0 1");
    EXPECT_EQ(reader->Do(OrderKind::Start), "0 0");
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(reader->Do(OrderKind::Reset), "0 0");
    EXPECT_EQ(reader->Do(OrderKind::PowerCycle), "0 0");
    EXPECT_EQ(service->Actions(),
              (std::vector<std::string>{"ForceOff", "On", "ForceRestart", "PowerCycle"}));
}

TEST_F(RedfishConversationTest, AnActionIsSentOnceWhateverComesBack)
{
    for (const unsigned status : {0u, 500u, 503u}) {
        ReadAll();
        SimFault fault;
        fault.status = status;
        fault.closeBefore = status == 0;
        service->SetFault(kReset, fault);
        service->ForgetRequests();
        // Closed without an answer it is done all the same, and seen.
        EXPECT_EQ(reader->Do(OrderKind::Stop, 3000), status == 0 ? "0 0" : "1 0") << status;
        EXPECT_EQ(service->Count("POST", kReset), 1u);
        EXPECT_EQ(service->Actions().size(), status == 0 ? 1u : 0u);
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, WhatIsNeverDoneIsNotCalledDone)
{
    SimOptions options;
    options.neverDone = true;
    ReadAll(options);
    EXPECT_EQ(reader->Do(OrderKind::Stop, 2500), "1 0");
    EXPECT_EQ(reader->Do(OrderKind::Reset, 2500), "1 0");
    EXPECT_NE(reader->Lines().find("power off was sent once and accepted; it was not seen to be"
                                   " done"),
              std::string::npos)
        << reader->Lines();
}

TEST_F(RedfishConversationTest, TasksAreFollowed)
{
    SimOptions options;
    options.tasks = true;
    options.lastReset = false;
    options.powerLagMs = 800;
    ReadAll(options);
    EXPECT_EQ(reader->Do(OrderKind::Reset), "0 0");
    service->Change([](SimOptions *o) { o->neverDone = true; });
    EXPECT_EQ(reader->Do(OrderKind::Reset, 2500), "1 0");
}

TEST_F(RedfishConversationTest, ATaskThatFailsIsNotDone)
{
    const std::string monitors = std::string(kRoot) + "/TaskService/TaskMonitors/";
    SimOptions options;
    options.tasks = true;
    options.lastReset = false;
    options.neverDone = true;
    ReadAll(options);
    int number = 0;
    for (const char *state : {"Exception", "Killed", "Cancelled"}) {
        SimFault fault;
        fault.body = std::string("{\"TaskState\": \"") + state + "\"}";
        service->SetFault(monitors + std::to_string(++number), fault);
        EXPECT_EQ(reader->Do(OrderKind::Reset), "1 0") << state;
        EXPECT_NE(reader->Lines().find(std::string("its task failed (") + state + ")"),
                  std::string::npos)
            << reader->Lines();
    }
    // The final status of a monitor that is no task.
    SimFault fault;
    fault.status = 400;
    service->SetFault(monitors + std::to_string(++number), fault);
    EXPECT_EQ(reader->Do(OrderKind::Reset), "1 0");
    fault.status = 200;
    fault.body = "{}";
    service->SetFault(monitors + std::to_string(++number), fault);
    EXPECT_EQ(reader->Do(OrderKind::Reset), "0 0");
    EXPECT_EQ(service->Count("POST", kReset), 5u);
}

TEST_F(RedfishConversationTest, WhereAResetLeavesNoSignItsAcceptanceCounts)
{
    SimOptions options;
    options.lastReset = false;
    ReadAll(options);
    EXPECT_EQ(reader->Do(OrderKind::Reset), "0 0");
    EXPECT_NE(reader->Lines().find("shows no sign"), std::string::npos);
    // One that was not accepted has failed.
    SimFault fault;
    fault.status = 500;
    service->SetFault(kReset, fault);
    EXPECT_EQ(reader->Do(OrderKind::Reset, 5000), "1 0");
}

// Three seconds without a sign, on a clock that stands.
TEST_F(RedfishConversationTest, HowLongASignOfAResetIsAwaited)
{
    for (const u64 waitMs : {2999u, 3000u}) {
        SimOptions options;
        options.lastReset = false;
        Serve(options);
        ReadStanding();
        const u64 ticket = reader->Give(OrderKind::Reset, 60'000);
        ASSERT_TRUE(WaitUntil([&] { return !service->Actions().empty(); }));
        SleepMs(300);  // until the acceptance has come
        EXPECT_EQ(reader->AnswerOf(ticket), "");
        service->ForgetRequests();
        standingMs += waitMs;
        // One look at the state for it and one of its own, on which the clock stands again.
        ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", kSystem) >= 2; }));
        SleepMs(300);
        EXPECT_EQ(reader->AnswerOf(ticket), waitMs < 3000 ? "" : "0 0");
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, EmptyCollectionsOfARestartedControllerAreNotBelieved)
{
    ReadAll();
    SimFault fault;
    fault.body = "{\"Name\": \"Sensors\", \"Members\": [], \"Members@odata.count\": 0}";
    service->SetFault(kChassis + "/Sensors", fault);
    service->SetFault(kChassis + "/ThermalSubsystem/Fans", fault);
    reader->Void();  // found again, and everything is read afresh
    reader->Becomes(SensorKey(1), "Name", "Intrusion");
    reader.reset();
    service->ClearFaults();
    Read();
    ASSERT_TRUE(reader->Settles());
    service->SetFault(kChassis + "/Sensors", fault);
    service->SetPower(false);
    reader->Becomes(kSystemClass, "PowerStatus", "OFF");
    service->SetPower(true);  // discovery follows
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    EXPECT_EQ(reader->Sensors(), kSevenSensors);
    EXPECT_EQ(reader->Text(SensorKey(3), "Reading"), "4001");
    service->ClearFaults();
    reader->Becomes(SensorKey(1), "Reading", "21");
}

TEST_F(RedfishConversationTest, WhatIsGoneFromADocumentGoesWithTheNextDiscovery)
{
    SimOptions options;
    options.newer = false;
    options.older = true;
    Serve(options);
    RedfishSettings settings = Settings();
    settings.discoveryMs = 300;
    Read(settings);
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Lines().find("cannot be read"), std::string::npos) << reader->Lines();
    service->SetMember(kChassis + "/Thermal", "Temperatures",
                       "[{\"MemberId\": \"1\", \"Name\": \"Old Temp 2\", \"ReadingCelsius\": 5}]");
    EXPECT_TRUE(WaitUntil([&] {
        return reader->Sensors() ==
               "Old Temp 2, Old Fan 1, Old Fan 2, P12V, Consumption, Intrusion";
    })) << reader->Sensors();
}

TEST_F(RedfishConversationTest, TheOtherFamilyTakesOverWhereItTellsMore)
{
    for (const bool gone : {true, false}) {
        SimOptions options;
        options.older = true;
        options.temperatures = 1;
        Serve(options);
        const std::string two = "[{\"MemberId\": \"0\", \"Name\": \"A\", \"ReadingCelsius\": 5},"
                                " {\"MemberId\": \"1\", \"Name\": \"B\", \"ReadingCelsius\": 6}]";
        service->SetMember(kChassis + "/Thermal", "Temperatures", two);
        RedfishSettings settings = Settings();
        settings.discoveryMs = 300;
        Read(settings);
        ASSERT_TRUE(reader->Settles());
        reader->Becomes(SensorKey(1), "Name", "A");
        if (gone)
            service->RemoveDocument(kChassis + "/Thermal");
        else
            service->SetMember(kChassis + "/Thermal", "Temperatures", "[]");
        EXPECT_TRUE(WaitUntil([&] { return reader->Text(SensorKey(1), "Name") == "Temp 1"; }))
            << reader->Sensors();
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, AResourceThatAnswersAsWithoutALoginCostsNoSession)
{
    ReadOneByOne();
    SimFault fault;
    fault.status = 401;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 2)");
    EXPECT_EQ(reader->Text(SensorKey(2), "Reading"), "22");
    const size_t before = service->Count("GET", kChassis + "/Sensors/Temp1");
    ASSERT_TRUE(WaitUntil(
        [&] { return service->Count("GET", kChassis + "/Sensors/Temp1") >= before + 4; }));
    EXPECT_EQ(service->Count("POST", kSessions), 1u);
    EXPECT_EQ(reader->Why(), "");
    // A session that does end is made anew all the same, and the resource is tried with it.
    service->EndSessions();
    service->ClearFaults();
    reader->Becomes(SensorKey(1), "Reading", "21");
    EXPECT_EQ(service->Count("POST", kSessions), 2u);
}

TEST_F(RedfishConversationTest, AChassisThatCannotBeReadKeepsItsSensors)
{
    const std::string chassis = std::string(kRoot) + "/Chassis";
    SimFault fault;
    fault.status = 500;
    SimFault empty;
    empty.body = "{\"Name\": \"Chassis\", \"Members\": [], \"Members@odata.count\": 0}";
    const std::pair<std::string, SimFault> rows[] = {
        {chassis, fault}, {kChassis, fault}, {chassis, empty}};
    for (const SimExpand expand : {SimExpand::Works, SimExpand::Ignored}) {
        for (const auto &[path, one] : rows) {
            SimOptions options;
            options.expand = expand;
            ReadAll(options);
            ASSERT_EQ(reader->Sensors(), kSevenSensors);
            service->SetFault(path, one);
            service->SetFault(chassis + "?$expand=.($levels=1)", one);
            service->SetPower(false);
            reader->Becomes(kSystemClass, "PowerStatus", "OFF");
            service->ForgetRequests();
            service->SetPower(true);  // discovery follows
            ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", chassis) >= 1; }));
            service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "44");
            reader->Becomes(SensorKey(1), "Reading", "44");
            EXPECT_EQ(reader->Sensors(), kSevenSensors) << path;
            service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "45");
            reader->Becomes(SensorKey(1), "Reading", "45");
            EXPECT_EQ(reader->Sensors(), kSevenSensors) << path;
            reader.reset();
        }
    }
}

// ... also where another document tells of sensors of that kind.
TEST_F(RedfishConversationTest, ADocumentThatCannotBeReadKeepsTheListThatStandsInIt)
{
    const struct {
        const char *document;
        const char *member;
        const char *field;
        const char *json;
        std::string key;
        const char *property;
        const char *text;
    } rows[] = {{"/ThermalSubsystem", "/ThermalSubsystem/Fans/1", "SpeedPercent/SpeedRPM", "4321",
                 SensorKey(3), "Reading", "4321"},
                {"/PowerSubsystem", "/PowerSubsystem/PowerSupplies/1", "PowerCapacityWatts", "950",
                 PowerSupplyKey(1), "PowerSupplyWattage", "950"}};
    for (const auto &row : rows) {
        SimOptions options;
        options.older = true;
        options.expand = SimExpand::Ignored;
        Serve(options);
        // Nothing else is read from it, which would bring the list back.
        service->SetMember(kChassis + "/ThermalSubsystem", "FanRedundancy", "");
        Read();
        ASSERT_TRUE(reader->Settles()) << reader->Why();
        SimFault fault;
        fault.status = 500;
        service->SetFault(kChassis + row.document, fault);
        service->SetPower(false);
        reader->Becomes(kSystemClass, "PowerStatus", "OFF");
        service->ForgetRequests();
        service->SetPower(true);  // discovery follows
        ASSERT_TRUE(
            WaitUntil([&] { return service->Count("GET", std::string(kRoot) + "/Chassis") >= 1; }));
        service->SetMember(kChassis + row.member, row.field, row.json);
        reader->Becomes(row.key, row.property, row.text);
        EXPECT_EQ(reader->Text(SensorKey(3), "Name"), "Fan 1") << reader->Sensors();
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, ALogWhoseManagerCannotBeReadStaysTheLog)
{
    Serve();
    service->AddLogEntry("1", "First");
    RedfishSettings settings = Settings();
    settings.discoveryMs = 300;
    Read(settings);
    ASSERT_TRUE(reader->Settles());
    SimFault fault;
    fault.status = 500;
    const std::string managers = std::string(kRoot) + "/Managers";
    service->SetFault(managers, fault);
    service->SetFault(managers + "?$expand=.($levels=1)", fault);
    service->SetPower(false);
    reader->Becomes(kSystemClass, "PowerStatus", "OFF");
    service->ForgetRequests();
    service->SetPower(true);
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", managers) >= 1; }));
    service->AddLogEntry("2", "Second");
    reader->Becomes(std::string(kSelPath), "NumRecords", "2");
    reader->Becomes(SelRecordKey(2), "Description", "Second");
}

TEST_F(RedfishConversationTest, ANameStaysWhileItsTwinCannotBeRead)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    service->SetMember(kChassis + "/Sensors/Temp1", "Name", "\"CPU\"");
    service->SetMember(kChassis + "/Sensors/Temp2", "Name", "\"CPU\"");
    Read();
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Text(SensorKey(2), "Name"), "CPU (Temp2)");
    SimFault fault;
    fault.status = 500;
    service->SetFault(kChassis + "/Sensors/Temp1", fault);
    reader->Becomes(SensorKey(1), "Reading", "(status 1)");
    service->SetPower(false);
    reader->Becomes(kSystemClass, "PowerStatus", "OFF");
    service->ForgetRequests();
    service->SetPower(true);  // discovery follows
    const std::string first = kChassis + "/Sensors/Temp1";
    ASSERT_TRUE(
        WaitUntil([&] { return service->Count("GET", std::string(kRoot) + "/Chassis") >= 1; }));
    service->SetMember(kChassis + "/Sensors/Temp2", "Reading", "33");
    reader->Becomes(SensorKey(2), "Reading", "33");
    EXPECT_EQ(reader->Text(SensorKey(1), "Name"), "CPU (Temp1)");
    EXPECT_EQ(reader->Text(SensorKey(2), "Name"), "CPU (Temp2)");
}

TEST_F(RedfishConversationTest, ConnectionsMayEndAfterEveryAnswerOrBetweenThem)
{
    for (const bool closes : {true, false}) {
        SimOptions options;
        options.closes = closes;
        options.idleS = closes ? 0 : 1;
        Serve(options);
        RedfishSettings settings = Settings();
        if (!closes)
            settings.powerMs = settings.logMs = settings.temperaturesMs = settings.fansMs =
                settings.statesMs = 1300;
        Read(settings);
        ASSERT_TRUE(reader->Settles());
        const unsigned before = service->Connections();
        service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "55");
        reader->Becomes(SensorKey(1), "Reading", "55");
        service->SetMember(kChassis + "/Sensors/Temp1", "Reading", "56");
        reader->Becomes(SensorKey(1), "Reading", "56");
        EXPECT_GT(service->Connections(), before + 1);
        EXPECT_EQ(reader->Do(OrderKind::Stop), "0 0");
        EXPECT_EQ(service->Actions(), std::vector<std::string>{"ForceOff"});
        EXPECT_EQ(service->Count("POST", kSessions), 1u);
        EXPECT_EQ(reader->Why(), "");
        reader.reset();
    }
}

TEST_F(RedfishConversationTest, PagesThatLeadInACircle)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    const std::string sensors = kChassis + "/Sensors";
    const auto page = [&](const std::string &query, const std::string &body) {
        SimFault fault;
        fault.body = body;
        service->SetFault(sensors + query, fault);
    };
    const auto member = [&](const char *name) {
        return "\"Members\": [{\"@odata.id\": \"" + sensors + "/" + name + "\"}]";
    };
    const auto next = [&](const char *name, const std::string &query) {
        return std::string(", \"") + name + "\": \"" + sensors + query + "\"";
    };
    page("", "{\"Members@odata.count\": \"two\", " + member("Temp1") +
                 next("Members@odata.nextLink", "?page=2") + "}");
    // A page without members leads on; one that names itself, or brings nothing new, does not.
    page("?page=2", "{\"Members\": null" + next("@odata.nextLink", "?page=3") + "}");
    page("?page=3", "{" + member("Temp2") + next("Members@odata.nextLink", "?page=4") + "}");
    page("?page=4", "{" + member("Temp2") + next("Members@odata.nextLink", "?page=5") + "}");
    Read();
    ASSERT_TRUE(reader->Settles()) << reader->Why();
    EXPECT_EQ(reader->Sensors(), kSevenSensors);
    page("?page=3", "{" + member("Temp2") + next("Members@odata.nextLink", "?page=3") + "}");
    reader->Void();
    service->SetMember(sensors + "/Temp2", "Reading", "50");
    reader->Becomes(SensorKey(2), "Reading", "50");
    EXPECT_EQ(reader->Sensors(), kSevenSensors);
    for (const SimRequest &request : service->Requests())
        EXPECT_EQ(request.url.find("page=5"), std::string::npos);
}

TEST_F(RedfishConversationTest, OtherWaysToWriteALink)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    // A text in place of an object, a whole URL, a blank, a fragment, a slash at the end.
    const auto name = [](const char *text) { return "\"" + std::string(text) + "\""; };
    service->SetMember(kSystem, "Links", "{\"Chassis\": [\"" + kChassis + "/\"]}");
    service->SetMember(kChassis, "Links", "{}");
    service->SetMember(kChassis, "Sensors", name((service->Url() + kChassis + "/Sensors").c_str()));
    service->SetDocument(kChassis + "/Sensors/CPU 1",
                         "{\"Name\": \"CPU 1\", \"ReadingUnits\": \"Cel\", \"Reading\": 1e1}");
    service->SetDocument(kChassis + "/Sensors",
                         "{\"Members@odata.count\": 9, \"Members\": [\"" + kChassis +
                             "/Sensors/Temp1\", {\"@odata.id\": \"" + kChassis +
                             "/Sensors/Temp2/#/x\"}, {\"@odata.id\": \"" + kChassis +
                             "/Sensors/CPU 1\"}, {\"@odata.id\": \"https://192.0.2.9" + kChassis +
                             "/Sensors/Temp3\"}, {\"@odata.id\": \"" + kChassis +
                             "/Sensors/Temp2\"}, null, {}, 7]}");
    Read();
    ASSERT_TRUE(reader->Settles()) << reader->Why();
    EXPECT_EQ(reader->Sensors(),
              "CPU 1, Temp 1, Temp 2, Fan 1, Fan 2, Intrusion, PSU 1, Fan Redundancy");
    EXPECT_EQ(reader->Text(SensorKey(1), "Reading"), "10");
    EXPECT_NE(reader->Lines().find("members without an address on this service: 4"),
              std::string::npos)
        << reader->Lines();
}

TEST_F(RedfishConversationTest, SeveralRequestsOfAnEndedSessionAreOneLogin)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.temperatures = 30;
    options.delayMs = 20;
    ReadAll(options);
    for (size_t logins = 2; logins <= 4; ++logins) {
        service->EndSessions();
        ASSERT_TRUE(WaitUntil([&] { return service->Count("POST", kSessions) == logins; }));
        ASSERT_TRUE(WaitUntil([&] { return service->Sessions() == 1; }));
        usleep(500'000);
        EXPECT_EQ(service->Count("POST", kSessions), logins);
    }
    EXPECT_EQ(reader->Why(), "");
}

// Nothing else has to be told with the answer.
TEST_F(RedfishConversationTest, WithoutAServiceAnOrderFailsAtOnce)
{
    Serve();
    ReadStanding();
    service.reset();
    reader->Void();  // as the watch over it does
    ASSERT_TRUE(WaitUntil([&] { return !reader->Why().empty(); }));
    for (u32 i = 0; i < 2; ++i) {
        SleepMs(300);
        EXPECT_EQ(reader->Do(OrderKind::Stop), "1 0");
    }
}

TEST_F(RedfishConversationTest, OnlyWhatTheServiceAllows)
{
    SimOptions options;
    options.resetTypes = "ForceOn ForceOff GracefulRestart";
    options.actionInfo = true;
    ReadAll(options);
    EXPECT_EQ(reader->Do(OrderKind::Reset), "7 0");
    EXPECT_EQ(reader->Do(OrderKind::PowerCycle), "0 0");
    EXPECT_EQ(service->Actions(), (std::vector<std::string>{"ForceOff", "ForceOn"}));
    EXPECT_EQ(service->Count("POST", kReset), 2u);
    reader.reset();
    RedfishSettings settings = Settings();
    settings.refuseCycle = true;
    Read(settings);
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Do(OrderKind::PowerCycle), "7 0");
}

TEST_F(RedfishConversationTest, ARefusedActionIsTold)
{
    ReadAll();
    SimFault fault;
    fault.status = 403;
    service->SetFault(kReset, fault);
    EXPECT_EQ(reader->Do(OrderKind::Stop), "2 0");
    fault.status = 400;
    service->SetFault(kReset, fault);
    EXPECT_EQ(reader->Do(OrderKind::Stop), "1 0");
    EXPECT_EQ(service->Count("POST", kReset), 2u);
}

TEST_F(RedfishConversationTest, AnOrderDoesNotWaitForARound)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.temperatures = 40;
    ReadAll(options);
    SimFault fault;
    fault.delayMs = 400;
    for (int i = 1; i <= 40; ++i)
        service->SetFault(kChassis + "/Sensors/Temp" + std::to_string(i), fault);
    service->ForgetRequests();
    EXPECT_EQ(reader->Do(OrderKind::Stop), "0 0");
    size_t members = 0;
    for (const SimRequest &request : service->Requests())
        members += request.url.rfind(kChassis + "/Sensors/", 0) == 0 ? 1u : 0u;
    EXPECT_LT(members, 40u);
}

TEST_F(RedfishConversationTest, AnOrderDoesNotWaitForWhatHangs)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.temperatures = 12;
    Serve(options);
    RedfishSettings settings = Settings();
    settings.answerMs = 8000;
    Read(settings);
    ASSERT_TRUE(reader->Settles());
    SimFault fault;
    fault.hang = true;
    for (int i = 1; i <= 12; ++i)
        service->SetFault(kChassis + "/Sensors/Temp" + std::to_string(i), fault);
    // The first of them have run into their limit, the next ones hang.
    const std::string fifth = kChassis + "/Sensors/Temp5";
    service->ForgetRequests();
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", fifth) == 1; }));
    EXPECT_EQ(reader->Do(OrderKind::Stop, 5000), "0 0");
    EXPECT_EQ(Power(), "OFF");
}

TEST_F(RedfishConversationTest, TheLogIsCleared)
{
    Serve();
    service->AddLogEntry("1", "First");
    service->AddLogEntry("2", "Second");
    Read();
    ASSERT_TRUE(reader->Settles());
    EXPECT_EQ(reader->Do(OrderKind::Clear), "0 0");
    EXPECT_EQ(reader->Text(std::string(kSelPath), "NumRecords"), "0");
    EXPECT_EQ(reader->Text(SelRecordKey(1), "Description"), "(none)");
    EXPECT_EQ(service->Actions(), (std::vector<std::string>{"ClearLog"}));
    service->AddLogEntry("1", "Third");
    reader->Becomes(SelRecordKey(1), "Description", "Third");
    service->Change([](SimOptions *o) { o->neverDone = true; });
    EXPECT_EQ(reader->Do(OrderKind::Clear, 2500), "1 0");
}
