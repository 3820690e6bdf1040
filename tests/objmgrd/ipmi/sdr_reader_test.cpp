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

// Each request in turn is not answered, or answered with nothing: no value of before is lost, and
// the next look finds everything.
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
            // A reservation that did not come is asked for again.
            const bool reserves = at == 3 && !lost;
            EXPECT_EQ(step, reserves ? ReadStep::Done
                            : lost   ? ReadStep::Lost
                                     : ReadStep::Failed)
                << at;
            EXPECT_EQ(Names(), "A long sensor nm;B;C;");
            machine_.hook = nullptr;
            EXPECT_EQ(Look(), ReadStep::Done);
            EXPECT_EQ(reader_.Changed(), !reserves);
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
    EXPECT_EQ(reader_.Repository().sensors.size(), kSdrSensorsMax);
    EXPECT_EQ(machine_.Count(kNetFnStorage, kGetSdr), kSdrRecordsMax);
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
        EXPECT_EQ(Look(), part == 0 ? ReadStep::Failed : ReadStep::Done);
    }
}
