// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/fru_reader.
#include "objmgrd/ipmi/fru_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

class FruReaderTest : public testing::Test
{
protected:
    FruReaderTest()
    {
        machine_.frus[0] = FruOf({{}, {}, ProductArea("Maker", "Some rather long name", "SER")});
        std::string why;
        bmc_.Open(&why);
    }
    ReadStep Read(u8 device = 0)
    {
        reader_.Start(device, 0);
        ReadStep step = ReadStep::More;
        for (u32 i = 0; i < 5000 && step == ReadStep::More; ++i)
            step = reader_.Step(&bmc_);
        return step;
    }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    FruReader reader_;
};

}  // namespace

TEST_F(FruReaderTest, ReadsInParts)
{
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(reader_.Facts().productSerial, "SER");
    EXPECT_EQ(machine_.Count(kNetFnStorage, kReadFru), (machine_.frus[0].size() + 31) / 32);
}

TEST_F(FruReaderTest, SmallerPartsWhereTheBmcWantsThem)
{
    for (u8 most : {u8{16}, u8{8}}) {
        machine_.readMost = most;
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(reader_.Facts().productSerial, "SER");
    }
    machine_.readMost = 7;
    EXPECT_EQ(Read(), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), kBmcCannotReturnSoMuch);
}

TEST_F(FruReaderTest, AMemoryThatCountsInWords)
{
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        const Bytes &fru = machine_.frus[0];
        if (request.command == kGetFruInfo) {
            *answer = FakeBmc::Data({static_cast<u8>(fru.size()), 0, 1});
        } else {
            const size_t at = BmcWord(request.data + 1) * 2u;
            const size_t count = std::min<size_t>(request.data[3] * 2u, fru.size() - at);
            Bytes data = {static_cast<u8>(count / 2)};
            data.insert(data.end(), fru.begin() + static_cast<long>(at),
                        fru.begin() + static_cast<long>(at + count));
            *answer = FakeBmc::Data(data);
        }
        return true;
    };
    EXPECT_EQ(Read(), ReadStep::Done);
    EXPECT_EQ(reader_.Facts().productSerial, "SER");
}

TEST_F(FruReaderTest, OneThatIsNotThereHasNoFacts)
{
    EXPECT_EQ(Read(5), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), kBmcNotPresent);
    EXPECT_EQ(reader_.Facts().productSerial, "");
    machine_.frus[6] = {};
    EXPECT_EQ(Read(6), ReadStep::Done);
    machine_.silent = true;
    EXPECT_EQ(Read(), ReadStep::Lost);
}

TEST_F(FruReaderTest, AnswersThatDoNotFitAreHarmless)
{
    for (const Bytes &part : {Bytes{}, Bytes{0}, Bytes{200, 1, 2}, Bytes{1}, Bytes(255, 0xff)}) {
        machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
            *answer = FakeBmc::Data(request.command == kGetFruInfo ? Bytes{0xff, 0xff, 0} : part);
            return true;
        };
        EXPECT_NE(Read(), ReadStep::More);
    }
}
