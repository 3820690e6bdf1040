// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/identity_reader: what it asks for, and what it gives to the publication.
#include "objmgrd/ipmi/identity_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

SdrSensor SupplySensor(u8 entityInstance, u8 entityId = 10)
{
    SdrSensor sensor;
    sensor.name = "PS";
    sensor.entityId = entityId;
    sensor.entityInstance = entityInstance;
    sensor.type = 8;
    sensor.eventType = 0x6F;
    return sensor;
}

class IdentityReaderTest : public testing::Test
{
protected:
    IdentityReaderTest()
    {
        machine_.frus = {{0, FruOf({{}, {}, ProductArea("Maker", "Product", "SERIAL")})},
                         {3, FruOf({{}, {}, {}, WattageRecord(750)})},
                         {4, FruOf({{}, {}, {}, WattageRecord(1100)})}};
        machine_.name = "host-1.example.net";  // two blocks
        repository_.sensors = {SupplySensor(1), SupplySensor(2)};
        repository_.frus = {{3, 0, 10, 1}, {4, 0, 10, 2}};
        std::string why;
        bmc_.Open(&why);
        reader_.Start();
    }
    // One step, which sends one request at most.
    ReadStep Step()
    {
        const size_t before = machine_.requests.size();
        const ReadStep step = reader_.Step(&bmc_, repository_);
        EXPECT_LE(machine_.requests.size(), before + 1);
        return step;
    }
    ReadStep Read()
    {
        ReadStep step = ReadStep::More;
        for (u32 i = 0; i < 200 && step == ReadStep::More; ++i)
            step = Step();
        EXPECT_NE(step, ReadStep::More);
        return step;
    }
    // Steps until this is asked for.
    void ReadUntil(u8 command)
    {
        for (u32 i = 0; i < 200; ++i) {
            EXPECT_EQ(Step(), ReadStep::More);
            if (!machine_.requests.empty() && machine_.requests.back().second == command)
                return;
        }
        ADD_FAILURE() << "not asked for";
    }
    // What was given since the last call, one instance a line: texts, or "gone".
    std::string Given()
    {
        publication_.Post(0);
        std::string text;
        for (const auto &[key, change] : box_.Take().changes) {
            text += key.substr(key.find_last_of("_=") + 1) + ":";
            if (!change.has_value())
                text += " gone";
            else
                for (const PropertyValue &property : change->properties)
                    text += " " + (property.status == kCimOk
                                       ? property.text
                                       : "status " + std::to_string(property.status));
            text += "\n";
        }
        return text;
    }
    // The requests since the last call: "10 11 59", in hexadecimal.
    std::string Asked()
    {
        std::string text;
        char word[8];
        for (const auto &[netFn, command] : machine_.requests) {
            snprintf(word, sizeof word, "%s%x", text.empty() ? "" : " ", unsigned{command});
            text += word;
        }
        machine_.requests.clear();
        return text;
    }
    // Requests of this command are answered with this code.
    void Answer(u8 command, u8 code)
    {
        machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
            *answer = FakeBmc::Code(code);
            return request.command == command;
        };
    }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    SdrRepository repository_;
    Mailbox box_;
    Publication publication_{"BMC bmc", &box_};
    IdentityReader reader_{&publication_};
};

constexpr char kSystemGiven[] = "System: status 1 SERIAL Product host-1.example.net Maker\n";
constexpr char kSuppliesGiven[] = "1: 1 750\n2: 2 1100\n";

}  // namespace

TEST_F(IdentityReaderTest, TheMachineThenItsNameThenItsSupplies)
{
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Asked(), "10 11 11 59 59 10 11 11 10 11 11");
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + kSystemGiven);
}

TEST_F(IdentityReaderTest, TheSuppliesAloneNeedTheSensorRecords)
{
    ReadUntil(kGetSystemInfo);
    EXPECT_FALSE(reader_.NeedsRepository());
    EXPECT_EQ(Given(), "");
    EXPECT_EQ(Step(), ReadStep::More);  // the rest of the name
    EXPECT_TRUE(reader_.NeedsRepository());
    EXPECT_EQ(Given(), kSystemGiven);
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), kSuppliesGiven);
    EXPECT_TRUE(reader_.NeedsRepository());
    reader_.Start();
    EXPECT_FALSE(reader_.NeedsRepository());
}

TEST_F(IdentityReaderTest, StartBeginsAnew)
{
    ReadUntil(kReadFru);
    Asked();
    reader_.Start();
    EXPECT_EQ(Step(), ReadStep::More);
    EXPECT_EQ(Asked(), "10");
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + kSystemGiven);
}

TEST_F(IdentityReaderTest, WhatTheBmcDoesNotHaveIsLeftOut)
{
    machine_.name.clear();
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + "System: status 1 SERIAL Product  Maker\n");
    machine_.frus.clear();
    machine_.name = "host-1";
    reader_.Start();
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), "1: gone\n2: gone\nSystem: status 1   host-1 0\n");
}

// For codes that say something about the moment. What was read before stays read.
TEST_F(IdentityReaderTest, ABusyBmcIsAskedForTheStageAgain)
{
    for (const u8 code : std::initializer_list<u8>{0xC0, 0xC3, 0xCE, 0xD0, 0xD1, 0xD2}) {
        reader_.Start();
        ReadUntil(kGetFruInfo);
        Asked();
        Answer(kReadFru, code);
        EXPECT_EQ(Step(), ReadStep::Failed);
        machine_.hook = nullptr;
        ReadUntil(kGetSystemInfo);
        EXPECT_EQ(Asked(), "11 10 11 11 59");
        Answer(kGetSystemInfo, code);
        EXPECT_EQ(Step(), ReadStep::Failed);
        EXPECT_EQ(Given(), "");
        machine_.hook = nullptr;
        EXPECT_EQ(Step(), ReadStep::More);
        EXPECT_EQ(Step(), ReadStep::More);
        EXPECT_EQ(Asked(), "59 59 59");
        EXPECT_EQ(Given(), kSystemGiven);
    }
}

TEST_F(IdentityReaderTest, OtherCodesAreTheLastWord)
{
    for (const u8 code : std::initializer_list<u8>{0x80, 0xC1, 0xCB, 0xD4, 0xFF}) {
        reader_.Start();
        ReadUntil(kGetFruInfo);
        machine_.hook = [=](const BmcRequest &, BmcAnswer *answer) {
            *answer = FakeBmc::Code(code);
            return true;
        };
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(Given(), "System: status 1    0\n") << int{code};
        machine_.hook = nullptr;
    }
}

TEST_F(IdentityReaderTest, HalfANameIsNone)
{
    ReadUntil(kGetSystemInfo);
    Answer(kGetSystemInfo, 0xC9);
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + "System: status 1 SERIAL Product  Maker\n");
}

TEST_F(IdentityReaderTest, WithoutAnAnswerNothingIsGiven)
{
    for (const u32 requests : {0u, 1u, 3u, 4u, 5u, 6u}) {
        reader_.Start();
        machine_.requests.clear();
        while (machine_.requests.size() < requests)
            EXPECT_EQ(Step(), ReadStep::More);
        Given();
        if (requests == 5) {
            EXPECT_EQ(Step(), ReadStep::More);  // finds the supplies
        }
        machine_.hook = [](const BmcRequest &, BmcAnswer *) { return true; };
        EXPECT_EQ(Step(), ReadStep::Lost) << requests;
        EXPECT_EQ(Given(), "") << requests;
        machine_.hook = nullptr;
    }
}

// ---- power supplies ----

TEST_F(IdentityReaderTest, ASupplyHasTheFruOfItsEntity)
{
    std::swap(repository_.frus[0], repository_.frus[1]);
    repository_.frus.insert(repository_.frus.begin(), {9, 0, 7, 1});  // of the board
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + kSystemGiven);
}

// Other sensors do not count, nor do those of a supply's values or of redundancy.
TEST_F(IdentityReaderTest, TheNthSensorOfASupplysStatesIsSupplyN)
{
    SdrSensor fan = SupplySensor(2);
    fan.type = 4;
    SdrSensor watts = SupplySensor(2);
    watts.eventType = 0x01;
    SdrSensor redundancy = SupplySensor(2);
    redundancy.eventType = 0x0B;
    repository_.sensors = {fan, watts, redundancy, SupplySensor(5), SupplySensor(2)};
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string("2: 2 1100\n") + kSystemGiven);  // the first has no FRU
}

TEST_F(IdentityReaderTest, WhereNoSensorNamesItsEntityTheNthFruIsSupplyN)
{
    repository_.sensors = {SupplySensor(1, 7), SupplySensor(9)};
    repository_.frus.insert(repository_.frus.begin(), {9, 0, 7, 1});
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + kSystemGiven);
    repository_.sensors.clear();
    reader_.StartSupplies();
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), kSuppliesGiven);
}

TEST_F(IdentityReaderTest, ASupplysFruIsAskedForWhereItIs)
{
    repository_.frus[1].lun = 2;
    std::string asked;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetFruInfo)
            asked += std::to_string(request.data[0]) + "/" + std::to_string(request.lun) + " ";
        return false;
    };
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(asked, "0/0 3/0 4/2 ");
}

TEST_F(IdentityReaderTest, AMachineWithoutSuppliesAsksNothing)
{
    EXPECT_EQ(Read(), ReadStep::Done);
    Given();
    Asked();
    repository_ = SdrRepository();
    reader_.StartSupplies();
    EXPECT_EQ(Step(), ReadStep::Done);
    EXPECT_EQ(Asked(), "");
    EXPECT_EQ(Given(), "1: gone\n2: gone\n");
}

TEST_F(IdentityReaderTest, OfAnotherRepositoryTheSuppliesAloneAreReadAgain)
{
    EXPECT_EQ(Read(), ReadStep::Done);
    Given();
    Asked();
    repository_.sensors.pop_back();
    reader_.StartSupplies();
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Asked(), "10 11 11");
    EXPECT_EQ(Given(), "1: 1 750\n2: gone\n");
}

// Also in the midst of them.
TEST_F(IdentityReaderTest, SuppliesBeginAgainWithTheRecordsAsTheyAreThen)
{
    ReadUntil(kGetSystemInfo);
    ReadUntil(kReadFru);
    Given();
    Asked();
    std::swap(repository_.frus[0].deviceId, repository_.frus[1].deviceId);
    reader_.StartSupplies();
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Asked(), "10 11 11 10 11 11");
    EXPECT_EQ(Given(), "1: 1 1100\n2: 2 750\n");
}

TEST_F(IdentityReaderTest, BeforeTheIdentityIsKnownTheSuppliesWait)
{
    ReadUntil(kReadFru);
    Asked();
    reader_.StartSupplies();
    EXPECT_FALSE(reader_.NeedsRepository());
    EXPECT_EQ(Step(), ReadStep::More);
    EXPECT_EQ(Asked(), "11");
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string(kSuppliesGiven) + kSystemGiven);
}

TEST_F(IdentityReaderTest, ASupplyWhoseFruSaysNoWattageIsNone)
{
    machine_.frus[3] = FruOf({{}, {}, ProductArea("Maker", "PSU", "1")});
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(Given(), std::string("2: 2 1100\n") + kSystemGiven);
}

// The other supply is there at once, and is not read again.
TEST_F(IdentityReaderTest, ASupplyThatTheBmcWasBusyForIsAskedForAgain)
{
    for (const u8 command : {kGetFruInfo, kReadFru}) {
        reader_.Start();
        u8 busyDevice = 3;
        machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
            *answer = FakeBmc::Code(kBmcTimeout);
            return request.command == command && request.data[0] == busyDevice;
        };
        EXPECT_EQ(Read(), ReadStep::Failed);
        EXPECT_EQ(Given(), std::string("2: 2 1100\n") + kSystemGiven);
        EXPECT_EQ(Read(), ReadStep::Failed);
        EXPECT_EQ(Given(), "");
        Asked();
        busyDevice = 0xFF;
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(Asked(), "10 11 11");
        EXPECT_EQ(Given(), "1: 1 750\n");
        publication_.KeepSupplies({});
        Given();
    }
}

TEST_F(IdentityReaderTest, ASupplyThatStaysBusyIsAskedForTwelveTimes)
{
    for (u32 begun = 0; begun < 2; ++begun) {
        u32 asked = 0;
        machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
            const bool supply = request.command == kGetFruInfo && request.data[0] == 3;
            asked += supply ? 1 : 0;
            *answer = FakeBmc::Code(kBmcNoResponse);
            return supply;
        };
        for (u32 i = 1; i < 12; ++i)
            EXPECT_EQ(Read(), ReadStep::Failed) << i;
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(asked, 12u);
        reader_.StartSupplies();  // counts anew
    }
}

// Also where the round in which it was busy has not ended: it is another then.
TEST_F(IdentityReaderTest, WithOtherRecordsNoSupplyIsAskedForOnceMore)
{
    machine_.hook = [](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(kBmcNodeBusy);
        return request.command == kGetFruInfo && request.data[0] == 3;
    };
    for (const bool ended : {true, false}) {
        if (ended) {
            EXPECT_EQ(Read(), ReadStep::Failed);
        } else {
            EXPECT_EQ(Step(), ReadStep::More);  // finds the supplies
            EXPECT_EQ(Step(), ReadStep::More);
        }
        const SdrRepository before = repository_;
        repository_.sensors.erase(repository_.sensors.begin());
        Given();
        Asked();
        reader_.StartSupplies();
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(Asked(), "10 11 11");
        EXPECT_NE(Given().find("1: 1 1100\n"), std::string::npos);
        repository_ = before;
        reader_.StartSupplies();
    }
}
