// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/name_reader.
#include "objmgrd/ipmi/name_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

class NameReaderTest : public testing::Test
{
protected:
    NameReaderTest()
    {
        std::string why;
        bmc_.Open(&why);
    }
    ReadStep Read()
    {
        reader_.Start();
        ReadStep step = ReadStep::More;
        for (u32 i = 0; i < 300 && step == ReadStep::More; ++i)
            step = reader_.Step(&bmc_);
        return step;
    }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    NameReader reader_;
};

}  // namespace

TEST_F(NameReaderTest, OneBlockAndMore)
{
    for (const char *name :
         {"a", "12345678901234", "123456789012345", "a-name-that-needs-three-blocks.example"}) {
        machine_.name = name;
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(reader_.Name(), name);
    }
}

TEST_F(NameReaderTest, ABmcWithoutOne)
{
    EXPECT_EQ(Read(), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), 0x80);
    EXPECT_EQ(reader_.Name(), "");
    machine_.silent = true;
    EXPECT_EQ(Read(), ReadStep::Lost);
}

TEST_F(NameReaderTest, Encodings)
{
    const struct {
        u8 encoding;
        Bytes bytes;
        const char *name;
    } rows[] = {{0, {'h', 0xe9}, "h\xc3\xa9"},
                {1, {'h', 0xc3, 0xa9}, "h\xc3\xa9"},
                {1, {'h', 0, 'x'}, "h"},
                {2, {'h', 0, 0xe9, 0}, "h\xc3\xa9"}};
    for (const auto &row : rows) {
        machine_.hook = [&](const BmcRequest &, BmcAnswer *answer) {
            Bytes data = {0x11, 0, row.encoding, static_cast<u8>(row.bytes.size())};
            data.insert(data.end(), row.bytes.begin(), row.bytes.end());
            data.resize(18);
            *answer = FakeBmc::Data(data);
            return true;
        };
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(reader_.Name(), row.name);
    }
}

// A block that is not full is the last one, whatever the length says.
TEST_F(NameReaderTest, AShortBlockIsTheLast)
{
    for (size_t size : {17u, 18u}) {
        machine_.requests.clear();
        machine_.hook = [size](const BmcRequest &request, BmcAnswer *answer) {
            Bytes data = {0x11, request.data[2], 0, 40};
            data.resize(size, 'x');
            *answer = FakeBmc::Data(data);
            return true;
        };
        EXPECT_EQ(Read(), ReadStep::Done);
        EXPECT_EQ(machine_.requests.size(), size == 17 ? 1u : 3u);
    }
}

TEST_F(NameReaderTest, AnswersThatDoNotFitAreHarmless)
{
    for (const Bytes &data : {Bytes{}, Bytes{0x11, 0, 0}, Bytes{0x11, 0, 0, 255},
                              Bytes{0x11, 0, 0, 255, 'a'}, Bytes(255, 0xff)}) {
        machine_.hook = [&](const BmcRequest &, BmcAnswer *answer) {
            *answer = FakeBmc::Data(data);
            return true;
        };
        EXPECT_NE(Read(), ReadStep::More);
        EXPECT_LE(reader_.Name().size(), 512u);
    }
}
