// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/publication: the news that each call makes, and what makes none.
#include "objmgrd/ipmi/publication.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <syslog.h>

namespace
{

constexpr char kLogKey[] = "OEM_QARN_MessageLog.Name=SEL";

std::string TextOf(const Instance &instance)
{
    std::string text = "status " + std::to_string(instance.status);
    for (const PropertyValue &property : instance.properties)
        text += ", " + property.name + "=" +
                (property.status == kCimOk ? property.text : std::to_string(property.status));
    return text;
}

std::string SystemText(const char *power)
{
    return "status 0, PowerStatus=" + std::string(power) +
           ", ServiceTag=TAG, Description=Box, HostName=host-1, Oem=Maker";
}

class PublicationTest : public testing::Test
{
protected:
    PublicationTest()
    {
        std::string why;
        bmc_.Open(&why);
    }
    // What is handed over at once.
    News Post(u32 generation = 0)
    {
        publication_.Post(generation);
        return box_.Take();
    }
    // One line for each change: the key, and the instance or "gone".
    std::string Changes()
    {
        std::string text;
        for (const auto &[key, change] : Post().changes)
            text += key + ": " + (change.has_value() ? TextOf(*change) : "gone") + "\n";
        return text;
    }
    // The keys that were given, and with "-" those that were removed.
    std::string Keys()
    {
        std::string text;
        for (const auto &[key, change] : Post().changes)
            text += (change.has_value() ? "" : "-") + key + "\n";
        return text;
    }
    // So many temperatures with readings of 1, 2, 3 ...
    void ReadSensors(u8 count)
    {
        repository_ = SdrRepository();
        for (u8 number = 1; number <= count; ++number) {
            const Bytes record = SdrOf({"T", number, 1, 0x01, true, 0});
            SdrAdd(&repository_, record.data(), record.size());
            machine_.readings[number] = {number, 0x40, 0};
        }
        sensors_.Reset(&repository_, SensorPeriods(), 0);
        while (!sensors_.Complete())
            sensors_.Step(&bmc_, 0);
    }
    void GiveSensors(u8 count)
    {
        ReadSensors(count);
        publication_.GiveSensors(&sensors_, repository_);
    }
    void SetLog(u16 records)
    {
        machine_.sel.clear();
        for (u16 id = 1; id <= records; ++id)
            machine_.sel.push_back(SelEvent(id, 0x60000000));
        ++machine_.selErased;
    }
    void GiveLog()
    {
        log_.Start();
        while (log_.Step(&bmc_) == ReadStep::More)
            continue;
        publication_.GiveLog(log_, repository_);
    }
    static FruFacts Supply(bool hasWattage, u32 wattage = 0)
    {
        FruFacts facts;
        facts.hasWattage = hasWattage;
        facts.wattage = wattage;
        return facts;
    }
    void SetIdentity() { publication_.SetIdentity({"TAG", "Box", "Maker"}, "host-1"); }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    SdrRepository repository_;
    SensorReader sensors_;
    SelReader log_;
    Mailbox box_;
    Publication publication_{"BMC 192.0.2.10", &box_};
};

}  // namespace

TEST(PublicationCodes, ARefusalAloneHasAStatusOfItsOwn)
{
    for (u32 code = 0; code <= 0xFF; ++code)
        EXPECT_EQ(BmcStatusOf(static_cast<u8>(code)), code == 0xD4 ? kCimAccessDenied : kCimFailed)
            << code;
}

TEST(PublicationCodes, WordsHaveTwoHexadecimalDigits)
{
    EXPECT_EQ(BmcCodeWords(0), "completion code 0x00");
    EXPECT_EQ(BmcCodeWords(0x0A), "completion code 0x0A");
    EXPECT_EQ(BmcCodeWords(0xFF), "completion code 0xFF");
}

// ---- what is handed over ----

TEST_F(PublicationTest, WithoutNewsNobodyIsWoken)
{
    publication_.Post(0);
    publication_.Forget();
    publication_.Post(0);
    // News that waits, even with nothing in it, would be one that is taken.
    pollfd fd = {box_.Fd(), POLLIN, 0};
    EXPECT_EQ(poll(&fd, 1, 0), 0);
}

TEST_F(PublicationTest, EachKindOfNewsIsHandedOverOnce)
{
    publication_.Settle();
    EXPECT_TRUE(Post().settled);
    EXPECT_FALSE(Post().settled);
    publication_.Lose("unplugged");
    News news = Post();
    EXPECT_TRUE(news.lost);
    EXPECT_EQ(news.why, "unplugged");
    EXPECT_FALSE(Post().lost);
    publication_.Answer({.ticket = 7, .status = kCimAccessDenied, .result = 3});
    news = Post();
    ASSERT_EQ(news.answers.size(), 1u);
    EXPECT_EQ(news.answers[0].ticket, 7u);
    EXPECT_EQ(news.answers[0].status, kCimAccessDenied);
    EXPECT_EQ(news.answers[0].result, 3u);
    EXPECT_TRUE(Post().answers.empty());
    publication_.SetPower(BmcPower::On);
    EXPECT_EQ(Post().changes.size(), 1u);
    EXPECT_TRUE(Post().changes.empty());
}

TEST_F(PublicationTest, LinesSayWhoseTheyAre)
{
    publication_.Say(LOG_WARNING, "the log is full");
    publication_.Say(LOG_NOTICE, "");
    const News news = Post();
    ASSERT_EQ(news.lines.size(), 2u);
    EXPECT_EQ(news.lines[0].priority, LOG_WARNING);
    EXPECT_EQ(news.lines[0].text, "BMC 192.0.2.10: the log is full");
    EXPECT_EQ(news.lines[1].priority, LOG_NOTICE);
    EXPECT_EQ(news.lines[1].text, "BMC 192.0.2.10: ");
    EXPECT_TRUE(Post().lines.empty());
}

TEST_F(PublicationTest, NewsIsOfTheGenerationThatItWasReadIn)
{
    box_.Void();
    publication_.SetPower(BmcPower::On);
    publication_.Say(LOG_NOTICE, "read");
    const News old = Post(0);
    EXPECT_TRUE(old.changes.empty());
    EXPECT_EQ(old.lines.size(), 1u);
    publication_.SetPower(BmcPower::Off);
    EXPECT_EQ(Post(1).changes.size(), 1u);
}

// Answers and lines are about what was; what is gone is not said again.
TEST_F(PublicationTest, ALossTakesTheInstancesThatWereNotHandedOver)
{
    GiveSensors(2);
    Post();
    GiveSensors(1);
    publication_.SetPower(BmcPower::On);
    publication_.Say(LOG_NOTICE, "read");
    publication_.Answer({.ticket = 7});
    publication_.Lose("unplugged");
    const News news = Post();
    EXPECT_TRUE(news.lost);
    ASSERT_EQ(news.changes.size(), 1u);
    EXPECT_FALSE(news.changes.at("OEM_QARN_Sensor.Index=2").has_value());
    EXPECT_EQ(news.lines.size(), 1u);
    EXPECT_EQ(news.answers.size(), 1u);
}

TEST_F(PublicationTest, WhatIsGivenAfterALossGoesWithIt)
{
    publication_.Lose("unplugged");
    publication_.SetPower(BmcPower::On);
    const News news = Post();
    EXPECT_TRUE(news.lost);
    EXPECT_EQ(news.changes.size(), 1u);
}

// ---- the system ----

TEST_F(PublicationTest, PowerIsGivenWhenItChanges)
{
    SetIdentity();
    EXPECT_EQ(Changes(), "OEM_QARN_System: " + SystemText("1") + "\n");
    EXPECT_EQ(publication_.Power(), BmcPower::Unknown);
    const struct {
        BmcPower power;
        const char *text;
    } rows[] = {{BmcPower::On, "ON"},     {BmcPower::Off, "OFF"},  {BmcPower::Denied, "2"},
                {BmcPower::Unknown, "1"}, {BmcPower::Denied, "2"}, {BmcPower::On, "ON"},
                {BmcPower::Unknown, "1"}, {BmcPower::Off, "OFF"}};
    for (const auto &row : rows) {
        publication_.SetPower(row.power);
        EXPECT_EQ(publication_.Power(), row.power);
        EXPECT_EQ(Changes(), "OEM_QARN_System: " + SystemText(row.text) + "\n");
        publication_.SetPower(row.power);
        EXPECT_EQ(Changes(), "");
    }
}

// Clients have it as failed anyway.
TEST_F(PublicationTest, APowerStateThatWasNeverKnownIsNotGiven)
{
    publication_.SetPower(BmcPower::Unknown);
    EXPECT_EQ(Changes(), "");
    publication_.SetPower(BmcPower::Off);
    Post();
    publication_.Forget();
    EXPECT_EQ(publication_.Power(), BmcPower::Unknown);
    publication_.SetPower(BmcPower::Unknown);
    EXPECT_EQ(Changes(), "");
}

TEST_F(PublicationTest, TheIdentityFailsUntilItIsKnown)
{
    EXPECT_FALSE(publication_.IdentityKnown());
    publication_.SetPower(BmcPower::On);
    EXPECT_EQ(Changes(), "OEM_QARN_System: status 0, PowerStatus=ON, ServiceTag=1, Description=1, "
                         "HostName=1, Oem=1\n");
    SetIdentity();
    EXPECT_TRUE(publication_.IdentityKnown());
    EXPECT_EQ(Changes(), "OEM_QARN_System: " + SystemText("ON") + "\n");
    publication_.SetIdentity({"", "", "0"}, "");
    EXPECT_EQ(Changes(), "OEM_QARN_System: status 0, PowerStatus=ON, ServiceTag=, Description=, "
                         "HostName=, Oem=0\n");
}

TEST_F(PublicationTest, ForgottenTheSystemIsGivenAgain)
{
    for (const bool lost : {false, true}) {
        SetIdentity();
        publication_.SetPower(BmcPower::On);
        Post();
        if (lost)
            publication_.Lose("unplugged");
        else
            publication_.Forget();
        EXPECT_FALSE(publication_.IdentityKnown());
        EXPECT_EQ(publication_.Power(), BmcPower::Unknown);
        publication_.SetPower(BmcPower::On);
        EXPECT_EQ(Changes(), "OEM_QARN_System: status 0, PowerStatus=ON, ServiceTag=1, "
                             "Description=1, HostName=1, Oem=1\n");
    }
}

// ---- sensors ----

TEST_F(PublicationTest, SensorsAreGivenOnceAndThenThoseThatChanged)
{
    GiveSensors(3);
    EXPECT_EQ(Keys(), "OEM_QARN_Sensor.Index=1\nOEM_QARN_Sensor.Index=2\n"
                      "OEM_QARN_Sensor.Index=3\n");
    publication_.GiveSensors(&sensors_, repository_);
    EXPECT_EQ(Changes(), "");
    machine_.readings[2] = {77, 0x40, 0};
    for (u32 i = 0; i < 3; ++i)
        sensors_.Step(&bmc_, sensors_.DueMs());
    publication_.GiveSensors(&sensors_, repository_);
    const News news = Post();
    ASSERT_EQ(news.changes.size(), 1u);
    const std::string text = TextOf(*news.changes.at("OEM_QARN_Sensor.Index=2"));
    EXPECT_NE(text.find("Index=2"), std::string::npos) << text;
    EXPECT_NE(text.find("Reading=77"), std::string::npos) << text;
}

TEST_F(PublicationTest, SensorsThatAreGoneAreRemovedOnce)
{
    GiveSensors(3);
    Post();
    GiveSensors(1);
    EXPECT_EQ(Keys(), "OEM_QARN_Sensor.Index=1\n-OEM_QARN_Sensor.Index=2\n"
                      "-OEM_QARN_Sensor.Index=3\n");
    GiveSensors(1);
    EXPECT_EQ(Keys(), "OEM_QARN_Sensor.Index=1\n");
}

// The first one is in the store from the start, as failed.
TEST_F(PublicationTest, AMachineWithoutSensors)
{
    GiveSensors(0);
    EXPECT_EQ(Keys(), "-OEM_QARN_Sensor.Index=1\n");
    GiveSensors(0);
    EXPECT_EQ(Keys(), "");
    publication_.GiveNoSensors(kCimFailed);
    EXPECT_EQ(Changes(), "OEM_QARN_Sensor.Index=1: status 1\n");
    GiveSensors(0);
    EXPECT_EQ(Keys(), "-OEM_QARN_Sensor.Index=1\n");
}

TEST_F(PublicationTest, SensorsThatCannotBeReadFailWhereTheyAre)
{
    publication_.GiveNoSensors(kCimAccessDenied);
    EXPECT_EQ(Changes(), "OEM_QARN_Sensor.Index=1: status 2\n");
    GiveSensors(2);
    Post();
    publication_.GiveNoSensors(kCimFailed);
    EXPECT_EQ(Changes(), "OEM_QARN_Sensor.Index=1: status 1\nOEM_QARN_Sensor.Index=2: status 1\n");
}

// ---- the log ----

TEST_F(PublicationTest, RecordsAreGivenOnceAndThenTheNewOnes)
{
    SetLog(1);
    GiveLog();
    EXPECT_EQ(Changes(),
              "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1: status 0, LogName=SEL, RecordNum=1, "
              "Timestamp=2021-01-14 08:25:36, Timestamp;YYYYMMDDHHMMSS=20210114082536, "
              "Description=Temperature 0x01: Upper Critical - going high, asserted (data 64 5a)\n"
              "OEM_QARN_MessageLog.Name=SEL: status 0, Name=SEL, NumRecords=1\n");
    GiveLog();
    EXPECT_EQ(Keys(), "");
    machine_.sel.push_back(SelEvent(2, 0x60000001));
    ++machine_.selAdded;
    GiveLog();
    EXPECT_EQ(Keys(), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=2\nOEM_QARN_MessageLog.Name=SEL\n");
}

TEST_F(PublicationTest, ALogWithoutRecordsIsALog)
{
    GiveLog();
    EXPECT_EQ(Changes(), "OEM_QARN_MessageLog.Name=SEL: status 0, Name=SEL, NumRecords=0\n");
    GiveLog();
    EXPECT_EQ(Changes(), "");
}

TEST_F(PublicationTest, RecordsThatAreGoneAreRemovedOnce)
{
    SetLog(3);
    GiveLog();
    Post();
    SetLog(1);
    GiveLog();
    EXPECT_EQ(Keys(),
              "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1\n"
              "-OEM_QARN_LogRecord.LogName=SEL,RecordNum=2\n"
              "-OEM_QARN_LogRecord.LogName=SEL,RecordNum=3\nOEM_QARN_MessageLog.Name=SEL\n");
    GiveLog();
    EXPECT_EQ(Keys(), "");
}

// Other records, as many as before: the log's own instance says nothing new.
TEST_F(PublicationTest, AsManyOtherRecordsAreGivenWithoutTheLog)
{
    SetLog(2);
    GiveLog();
    Post();
    SetLog(2);
    GiveLog();
    EXPECT_EQ(Keys(), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1\n"
                      "OEM_QARN_LogRecord.LogName=SEL,RecordNum=2\n");
}

TEST_F(PublicationTest, AForgottenLogIsGivenAgainWithAllRecords)
{
    const std::string all = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1\n"
                            "OEM_QARN_LogRecord.LogName=SEL,RecordNum=2\n"
                            "OEM_QARN_MessageLog.Name=SEL\n";
    SetLog(2);
    GiveLog();
    EXPECT_EQ(Keys(), all);
    publication_.ForgetLog();
    GiveLog();
    EXPECT_EQ(Keys(), all);
    publication_.Forget();
    GiveLog();
    EXPECT_EQ(Keys(), all);
    publication_.Lose("unplugged");
    GiveLog();
    EXPECT_EQ(Keys(), all);
    publication_.GiveNoLog(kCimAccessDenied);
    EXPECT_EQ(Changes(), std::string(kLogKey) + ": status 2\n");
    GiveLog();
    EXPECT_EQ(Keys(), all);
}

// ---- power supplies ----

TEST_F(PublicationTest, ASupplyIsThereWhileItsWattageIsKnown)
{
    publication_.GiveSupply(1, Supply(false));
    EXPECT_EQ(Changes(), "");
    publication_.GiveSupply(1, Supply(true, 750));
    publication_.GiveSupply(2, Supply(true, 0));
    EXPECT_EQ(Changes(), "OEM_QARN_PowerSupply.PowerSupplyIndex=1: status 0, PowerSupplyIndex=1, "
                         "PowerSupplyWattage=750\n"
                         "OEM_QARN_PowerSupply.PowerSupplyIndex=2: status 0, PowerSupplyIndex=2, "
                         "PowerSupplyWattage=0\n");
    publication_.GiveSupply(1, Supply(false));
    EXPECT_EQ(Changes(), "OEM_QARN_PowerSupply.PowerSupplyIndex=1: gone\n");
    publication_.GiveSupply(1, Supply(false));
    EXPECT_EQ(Changes(), "");
}

TEST_F(PublicationTest, SuppliesThatAreNotKeptAreRemovedOnce)
{
    for (const u32 index : {1u, 2u, 4u})
        publication_.GiveSupply(index, Supply(true, 750));
    Post();
    publication_.KeepSupplies({1, 2, 3, 4});
    EXPECT_EQ(Keys(), "");
    publication_.KeepSupplies({2, 3});
    EXPECT_EQ(Keys(), "-OEM_QARN_PowerSupply.PowerSupplyIndex=1\n"
                      "-OEM_QARN_PowerSupply.PowerSupplyIndex=4\n");
    publication_.KeepSupplies({});
    EXPECT_EQ(Keys(), "-OEM_QARN_PowerSupply.PowerSupplyIndex=2\n");
    publication_.KeepSupplies({});
    EXPECT_EQ(Keys(), "");
}

// ---- what the store holds ----

// What it was given before stays there, failed, until it is said to be gone.
TEST_F(PublicationTest, AfterALossWhatIsGoneIsStillRemoved)
{
    for (const bool lost : {false, true}) {
        GiveSensors(2);
        SetLog(2);
        GiveLog();
        publication_.GiveSupply(1, Supply(true, 750));
        Post();
        if (lost)
            publication_.Lose("unplugged");
        else
            publication_.Forget();
        GiveSensors(1);
        SetLog(1);
        GiveLog();
        publication_.KeepSupplies({});
        EXPECT_EQ(Keys(), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1\n"
                          "-OEM_QARN_LogRecord.LogName=SEL,RecordNum=2\n"
                          "OEM_QARN_MessageLog.Name=SEL\n"
                          "-OEM_QARN_PowerSupply.PowerSupplyIndex=1\n"
                          "OEM_QARN_Sensor.Index=1\n-OEM_QARN_Sensor.Index=2\n");
    }
}
