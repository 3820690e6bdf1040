// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sdr_reader.
#include "objmgrd/ipmi/sdr_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

class SdrReaderTest : public testing::Test
{
protected:
    SdrReaderTest()
    {
        machine_.sdrs = {SdrOf({"A long sensor nm", 1, 1, 0x01}), FruLocator(1, 10, 1),
                         SdrOf({"B", 2, 2, 0x03, false}), SdrOf({"C", 3, 4, 0x01})};
        std::string why;
        bmc_.Open(&why);
    }
    ReadStep Look()
    {
        reader_.Start();
        ReadStep step = ReadStep::More;
        for (u32 i = 0; i < 100000 && step == ReadStep::More; ++i)
            step = reader_.Step(&bmc_);
        return step;
    }
    std::string Names() const
    {
        std::string names;
        for (const SdrSensor &sensor : reader_.Repository().sensors)
            names += sensor.name + ";";
        return names;
    }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    SdrReader reader_;
};

}  // namespace

TEST_F(SdrReaderTest, ReadsTheRepositoryOnce)
{
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_TRUE(reader_.Changed());
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
    EXPECT_EQ(reader_.Repository().frus.size(), 1u);
    EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), 4u);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_FALSE(reader_.Changed());
    EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), 4u);
    EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdrInfo), 2u);
}

TEST_F(SdrReaderTest, ReadsItAgainWhenItsTimeStampChanges)
{
    Look();
    machine_.sdrs.pop_back();
    ++machine_.sdrStamp;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_TRUE(reader_.Changed());
    EXPECT_EQ(Names(), "A long sensor nm;B;");
    reader_.Forget();
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_TRUE(reader_.Changed());
}

TEST_F(SdrReaderTest, ReadsInPartsWhatCannotBeReturnedAtOnce)
{
    machine_.readMost = 16;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
}

TEST_F(SdrReaderTest, ACancelledReservationIsMadeAgain)
{
    machine_.readMost = 16;
    u32 times = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSdr && ++times % 7 == 0)
            ++machine_.reservation;  // somebody else's
        return false;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
}

// Other readers go on: ours would end theirs.
TEST_F(SdrReaderTest, WholeRecordsNeedNoReservation)
{
    machine_.hook = [&](const BmcRequest &, BmcAnswer *) {
        ++machine_.reservation;  // somebody else's, before every request
        return false;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
    EXPECT_EQ(machine_.Count(kNetFnStorage, kReserveSdr), 0u);
}

TEST_F(SdrReaderTest, SixteenCancelledReservationsOfARecordAreBorne)
{
    machine_.readMost = 16;
    u32 left = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSdr && request.data[4] != 0 && left > 0) {
            --left;
            ++machine_.reservation;
        }
        return false;
    };
    for (u32 times : {16u, 17u}) {
        left = times;
        reader_.Forget();
        EXPECT_EQ(Look(), times == 16 ? ReadStep::Done : ReadStep::Failed) << times;
    }
    EXPECT_EQ(reader_.Code(), kBmcReservationLost);
}

TEST_F(SdrReaderTest, AnEmptyRepositoryHasNoSensors)
{
    machine_.sdrs.clear();
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_TRUE(reader_.Changed());
    EXPECT_EQ(Names(), "");
    EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), 0u);
}

TEST_F(SdrReaderTest, FailuresAreTold)
{
    machine_.everything = kBmcDenied;
    EXPECT_EQ(Look(), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), kBmcDenied);
    machine_.everything = 0;
    machine_.silent = true;
    EXPECT_EQ(Look(), ReadStep::Lost);
    machine_.silent = false;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
}

// Each request in turn is not answered, or answered with nothing: no record of before is lost, and
// one whose answer was spoilt is read again.
TEST_F(SdrReaderTest, AFailureAtEveryStep)
{
    machine_.readMost = 16;
    Look();
    for (bool lost : {true, false}) {
        for (u32 at = 1; at < 7; ++at) {
            ++machine_.sdrStamp;
            u32 number = 0;
            machine_.hook = [&](const BmcRequest &, BmcAnswer *answer) {
                if (++number != at)
                    return false;
                answer->came = !lost;
                answer->code = kBmcDone;
                return true;
            };
            const ReadStep step = Look();
            EXPECT_EQ(step, lost      ? ReadStep::Lost
                            : at == 1 ? ReadStep::Failed
                                      : ReadStep::Done)
                << at;
            EXPECT_EQ(Names(), "A long sensor nm;B;C;");
            EXPECT_TRUE(reader_.Skipped().empty());
            machine_.hook = nullptr;
            EXPECT_EQ(Look(), ReadStep::Done);
            EXPECT_EQ(Names(), "A long sensor nm;B;C;");
        }
    }
}

TEST_F(SdrReaderTest, AChainThatGoesInACircleEnds)
{
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        if (request.command != kGetSdr)
            return false;
        Bytes data = {static_cast<u8>(BmcWord(request.data + 2) == 10 ? 20 : 10), 0};
        data.insert(data.end(), machine_.sdrs[0].begin(), machine_.sdrs[0].end());
        *answer = FakeBmc::Data(data);
        return true;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(reader_.Repository().sensors.size(), 3u);
    EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), 3u);
    EXPECT_TRUE(reader_.LedBack());  // the BMC says that there are four
}

// Some BMCs end the chain with the id that it is begun with, or with that of the first record.
TEST_F(SdrReaderTest, AChainThatEndsAtItsBeginningIsReadOnce)
{
    for (u8 end : {u8{0}, u8{1}}) {
        machine_.hook = [&, end](const BmcRequest &request, BmcAnswer *answer) {
            if (request.command != kGetSdr)
                return false;
            const u16 id = BmcWord(request.data + 2);
            const size_t at = id == 0 ? 0 : id - 1u;
            Bytes record = machine_.sdrs[at];
            record[0] = static_cast<u8>(at + 1);
            Bytes data = {at + 1 == machine_.sdrs.size() ? end : static_cast<u8>(at + 2), 0};
            data.insert(data.end(), record.begin(), record.end());
            *answer = FakeBmc::Data(data);
            return true;
        };
        reader_.Forget();
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(Names(), "A long sensor nm;B;C;") << unsigned{end};
        EXPECT_FALSE(reader_.LedBack());
    }
}

// Records that say they are the first one are none the less records.
TEST_F(SdrReaderTest, WrongIdsInTheRecordsAreNoMatter)
{
    for (Bytes &record : machine_.sdrs)
        record[0] = record[1] = 0;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
}

// What others change in the meantime is read by the next look.
TEST_F(SdrReaderTest, OneThatChangesWhileItIsReadIsReadAgain)
{
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSdr && machine_.sdrs.size() == 4) {
            machine_.sdrs.push_back(SdrOf({"D", 4, 4, 0x01}));
            machine_.sdrs.erase(machine_.sdrs.begin() + 2);
            machine_.sdrs.push_back(SdrOf({"E", 5, 4, 0x01}));
            ++machine_.sdrStamp;
        }
        return false;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_TRUE(reader_.Changed());
    EXPECT_EQ(Names(), "A long sensor nm;C;D;E;");
}

// A BMC that gives one byte, or none, at a time.
TEST_F(SdrReaderTest, ShortPartsLeadToAnEnd)
{
    for (size_t part : {size_t{0}, size_t{1}}) {
        machine_.hook = [&, part](const BmcRequest &request, BmcAnswer *answer) {
            if (request.command != kGetSdr)
                return false;
            Bytes data = {0xff, 0xff};
            data.insert(data.end(), part, u8{2});
            *answer = FakeBmc::Data(data);
            return true;
        };
        reader_.Forget();
        EXPECT_EQ(Look(), ReadStep::Failed);
    }
}

// ---- records that cannot be read ----

class SdrReaderSkips : public SdrReaderTest
{
protected:
    // "id offset code" of what was left out.
    std::string Skipped() const
    {
        std::string all;
        for (const SdrSkipped &skipped : reader_.Skipped()) {
            char text[32];
            snprintf(text, sizeof text, "%u %u %02X;", unsigned{skipped.id},
                     unsigned{skipped.offset}, unsigned{skipped.code});
            all += text;
        }
        return all;
    }
};

TEST_F(SdrReaderSkips, ALengthThatIsTooLongCostsOneSensor)
{
    for (u8 most : std::initializer_list<u8>{255, 32, 16}) {
        for (size_t bad : {size_t{0}, size_t{2}, size_t{3}}) {
            FakeMachine machine = machine_;
            machine_.readMost = most;
            machine_.sdrs[bad][4] = static_cast<u8>(machine_.sdrs[bad][4] + 9);
            ++machine_.sdrStamp;
            EXPECT_EQ(Look(), ReadStep::Done);
            EXPECT_EQ(Names(), bad == 0   ? "B;C;"
                               : bad == 2 ? "A long sensor nm;C;"
                                          : "A long sensor nm;B;");
            ASSERT_EQ(reader_.Skipped().size(), 1u);
            EXPECT_EQ(reader_.Skipped()[0].id, bad == 0 ? 0 : (bad + 1) * 10);
            EXPECT_EQ(reader_.Skipped()[0].code, kBmcCannotReturnSoMuch);
            EXPECT_GE(reader_.Skipped()[0].offset, 5u);
            const u32 stamp = machine_.sdrStamp;
            machine_ = machine;
            machine_.sdrStamp = stamp;
        }
    }
}

TEST_F(SdrReaderSkips, AStubCostsOneSensor)
{
    machine_.sdrs[2] = {20, 0, 0x51, 0x01, 0};
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;C;");
    EXPECT_EQ(Skipped(), "30 5 00;");
    // Without even a whole header.
    machine_.sdrs[2] = {20, 0};
    ++machine_.sdrStamp;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;C;");
    EXPECT_EQ(reader_.Skipped().size(), 1u);
    // Of a kind that nobody asks for it is none.
    machine_.sdrs[2] = {20, 0, 0x51, 0xC0, 0};
    ++machine_.sdrStamp;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Skipped(), "");
}

// The record says nothing, not even which one follows: ids are 10, 20, 30 here.
TEST_F(SdrReaderSkips, ARecordThatIsRefusedIsPassedByItsId)
{
    for (u8 code : std::initializer_list<u8>{0xC1, 0xC9, 0xCB, 0xCC, 0xFF}) {
        for (u16 bad : std::initializer_list<u16>{20, 30, 40}) {
            machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
                *answer = FakeBmc::Code(code);
                return request.command == kGetSdr && BmcWord(request.data + 2) == bad;
            };
            ++machine_.sdrStamp;
            EXPECT_EQ(Look(), ReadStep::Done);
            EXPECT_EQ(Names(), bad == 20   ? "A long sensor nm;B;C;"
                               : bad == 30 ? "A long sensor nm;C;"
                                           : "A long sensor nm;B;");
            char text[32];
            snprintf(text, sizeof text, "%u 0 %02X;", unsigned{bad}, unsigned{code});
            EXPECT_EQ(Skipped(), text);
        }
    }
}

TEST_F(SdrReaderSkips, OnlyARepositoryWithoutAnyRecordIsAFailure)
{
    machine_.hook = [](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xC1);
        return request.command == kGetSdr;
    };
    EXPECT_EQ(Look(), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), 0xC1);
    EXPECT_LE(machine_.Count(kNetFnStorage, kGetSdr), 40u);
    machine_.hook = nullptr;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Names(), "A long sensor nm;B;C;");
}

TEST_F(SdrReaderSkips, WhatIsRefusedToUsOrBusyIsAFailure)
{
    for (u8 code : std::initializer_list<u8>{kBmcDenied, kBmcNodeBusy, kBmcSdrUpdate}) {
        machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
            *answer = FakeBmc::Code(code);
            return request.command == kGetSdr && BmcWord(request.data + 2) == 30;
        };
        ++machine_.sdrStamp;
        EXPECT_EQ(Look(), ReadStep::Failed);
        EXPECT_EQ(reader_.Code(), code);
    }
}

// ---- how many requests it takes ----

TEST_F(SdrReaderTest, PartsAreAsLargeAsTheBmcTakes)
{
    // A record of 64 bytes, a locator of 16, one of 33, one of 49.
    const struct {
        u8 most;
        u32 requests;
    } rows[] = {{255, 4}, {64, 4}, {63, 9}, {48, 11}, {32, 13}, {22, 16}, {16, 19}};
    for (const auto &row : rows) {
        machine_.readMost = row.most;
        machine_.requests.clear();
        ++machine_.sdrStamp;
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(Names(), "A long sensor nm;B;C;");
        EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), row.requests) << int{row.most};
    }
}

// ---- what an earlier process read ----

TEST_F(SdrReaderTest, WhatIsRecalledCountsWhereTheStampIsStillThat)
{
    EXPECT_EQ(Look(), ReadStep::Done);
    const SdrStamp stamp = reader_.Stamp();
    const std::vector<Bytes> records = reader_.Records();
    EXPECT_EQ(records.size(), 4u);
    for (bool same : {true, false}) {
        machine_.requests.clear();
        machine_.sdrStamp += same ? 0 : 1;
        reader_ = SdrReader();
        reader_.Recall(stamp, records);
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_TRUE(reader_.Changed());
        EXPECT_EQ(Names(), "A long sensor nm;B;C;");
        EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), same ? 0u : 4u);
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_FALSE(reader_.Changed());
    }
}
