// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sel_reader.
#include "objmgrd/ipmi/sel_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

class SelReaderTest : public testing::Test
{
protected:
    SelReaderTest()
    {
        std::string why;
        bmc_.Open(&why);
    }
    // Ids as a BMC gives them: in no order.
    void Add(u16 id)
    {
        machine_.sel.push_back(SelEvent(id, ++seconds_));
        ++machine_.selAdded;
    }
    ReadStep Look()
    {
        entriesBefore_ = machine_.Count(kNetFnStorage, kGetSelEntry);
        reader_.Start();
        ReadStep step = ReadStep::More;
        for (u32 i = 0; i < 200000 && step == ReadStep::More; ++i)
            step = reader_.Step(&bmc_);
        return step;
    }
    u32 EntriesRead() const { return machine_.Count(kNetFnStorage, kGetSelEntry) - entriesBefore_; }
    std::string Ids() const
    {
        std::string ids;
        for (const SelRecord &record : reader_.Records())
            ids += std::to_string(BmcWord(record.data())) + " ";
        return ids;
    }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    SelReader reader_;
    u32 seconds_ = 0x60000000;
    u32 entriesBefore_ = 0;
};

}  // namespace

TEST_F(SelReaderTest, ReadsTheChainInItsOrder)
{
    Add(200);
    Add(3);
    Add(1);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "200 3 1 ");
    EXPECT_EQ(reader_.FirstNew(), 0u);
    EXPECT_EQ(EntriesRead(), 3u);
}

TEST_F(SelReaderTest, AnUnchangedLogCostsOneRequest)
{
    Add(1);
    Look();
    machine_.requests.clear();
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(machine_.requests.size(), 1u);
    EXPECT_EQ(reader_.FirstNew(), 1u);
    EXPECT_EQ(Ids(), "1 ");
}

TEST_F(SelReaderTest, OnlyNewRecordsAreRead)
{
    for (u16 id = 1; id <= 512; ++id)
        Add(id);
    Look();
    EXPECT_EQ(EntriesRead(), 512u);
    Add(900);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(EntriesRead(), 2u);  // the last known one leads to it
    EXPECT_EQ(reader_.FirstNew(), 512u);
    EXPECT_EQ(reader_.Records().size(), 513u);
    Add(901);
    Add(902);
    Look();
    EXPECT_EQ(EntriesRead(), 3u);
    EXPECT_EQ(reader_.FirstNew(), 513u);
}

TEST_F(SelReaderTest, AfterADeletionEverythingIsRead)
{
    for (u16 id = 1; id <= 4; ++id)
        Add(id);
    Look();
    machine_.sel.erase(machine_.sel.begin() + 1);
    ++machine_.selErased;
    Add(2);
    Add(9);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 3 4 2 9 ");
    EXPECT_EQ(reader_.FirstNew(), 0u);
    machine_.sel.clear();
    ++machine_.selErased;
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "");
    EXPECT_EQ(EntriesRead(), 0u);
    Add(1);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 ");
}

// A record with the id of one that was known, in its place, but another one.
TEST_F(SelReaderTest, AReusedIdIsNotTakenForTheOldRecord)
{
    Add(1);
    Add(2);
    Look();
    machine_.sel.clear();
    Add(1);
    Add(2);
    Add(3);  // the erasure's time stamp happens to be the same
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 ");
    EXPECT_EQ(reader_.FirstNew(), 0u);
    EXPECT_EQ(reader_.Records()[0], machine_.sel[0]);
}

TEST_F(SelReaderTest, OneThatGoesWhileTheLogIsReadIsNoMatter)
{
    for (u16 id = 1; id <= 4; ++id)
        Add(id);
    u32 entries = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSelEntry && ++entries == 3) {
            machine_.sel.erase(machine_.sel.begin() + 2);
            ++machine_.selErased;
        }
        return false;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 4 ");
}

TEST_F(SelReaderTest, OneThatComesWhileTheLogIsReadIsThereAtLast)
{
    for (u16 id = 1; id <= 4; ++id)
        Add(id);
    u32 entries = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSelEntry && ++entries == 3)
            Add(5);
        return false;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 4 5 ");
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 4 5 ");
    EXPECT_EQ(EntriesRead(), 1u);
}

TEST_F(SelReaderTest, ARecordThatIsAlwaysGoneIsAFailure)
{
    Add(1);
    Add(2);
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(kBmcNotPresent);
        return request.command == kGetSelEntry;
    };
    EXPECT_EQ(Look(), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), kBmcNotPresent);
    EXPECT_LE(EntriesRead(), 5u);
}

TEST_F(SelReaderTest, FailuresAreToldAndTheNextLookFindsAll)
{
    for (u16 id = 1; id <= 3; ++id)
        Add(id);
    for (bool lost : {true, false}) {
        for (u32 at = 1; at <= 4; ++at) {
            u32 number = 0;
            reader_.Forget();
            machine_.hook = [&](const BmcRequest &, BmcAnswer *answer) {
                if (++number != at)
                    return false;
                answer->came = !lost;
                answer->code = kBmcNodeBusy;
                return true;
            };
            EXPECT_EQ(Look(), lost ? ReadStep::Lost : ReadStep::Failed);
            machine_.hook = nullptr;
            EXPECT_EQ(Look(), ReadStep::Done);
            EXPECT_EQ(Ids(), "1 2 3 ");
            EXPECT_EQ(reader_.FirstNew(), 0u);
        }
    }
}

// ---- odd chains ----

class OddChain : public SelReaderTest
{
protected:
    OddChain()
    {
        for (u16 id = 1; id <= 5; ++id)
            Add(id);
    }
    // Record `from` says that `to` follows.
    void Leads(u16 from, u16 to)
    {
        machine_.hook = [=, this](const BmcRequest &request, BmcAnswer *answer) {
            const u16 id = BmcWord(request.data + 2);
            if (request.command != kGetSelEntry || (id != from && (from != 1 || id != 0)))
                return false;
            Bytes data = {LowByte(to), HighByte(to)};
            const SelRecord &record = machine_.sel[from - 1u];
            data.insert(data.end(), record.begin(), record.end());
            *answer = FakeBmc::Data(data);
            return true;
        };
    }
};

TEST_F(OddChain, OneThatLeadsBackEndsThere)
{
    const struct {
        u16 from;
        u16 to;
        const char *ids;
        u32 read;
    } kRows[] = {
        {5, 1, "1 2 3 4 5 ", 6}, {5, 2, "1 2 3 4 5 ", 5}, {5, 5, "1 2 3 4 5 ", 5},
        {3, 2, "1 2 3 ", 3},     {1, 1, "1 ", 2},         {2, 1, "1 2 ", 3},
    };
    for (const auto &row : kRows) {
        Leads(row.from, row.to);
        reader_.Forget();
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(Ids(), row.ids);
        EXPECT_EQ(EntriesRead(), row.read);
        EXPECT_TRUE(reader_.LedBack());
        // The next look finds nothing new.
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(EntriesRead(), 0u);
        EXPECT_TRUE(reader_.LedBack());
    }
    machine_.hook = nullptr;
    reader_.Forget();
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 4 5 ");
    EXPECT_FALSE(reader_.LedBack());
}

TEST_F(OddChain, NewRecordsThatLeadBackEndThere)
{
    Look();
    Add(6);
    Leads(6, 2);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 4 5 6 ");
    EXPECT_TRUE(reader_.LedBack());
    EXPECT_EQ(reader_.FirstNew(), 5u);
}

TEST_F(OddChain, OneThatSkipsAndGoesBackIsFollowed)
{
    Leads(2, 4);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 4 5 ");
    std::swap(machine_.sel[1], machine_.sel[4]);
    machine_.hook = nullptr;
    reader_.Forget();
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 5 3 4 2 ");
    EXPECT_FALSE(reader_.LedBack());
}

// The id in a record's bytes is not the one that it is had by.
TEST_F(OddChain, WrongIdsInTheRecordsAreNoMatter)
{
    for (u16 wrong : std::initializer_list<u16>{0, 1, 3, 4, 77, 0xFFFF}) {
        machine_.hook = [=, this](const BmcRequest &request, BmcAnswer *answer) {
            const u16 id = BmcWord(request.data + 2);
            if (request.command != kGetSelEntry || id == 0xFFFF || id > 5)
                return false;
            const u16 at = id == 0 ? u16{1} : id;
            SelRecord record = machine_.sel[at - 1u];
            record[0] = LowByte(wrong);
            record[1] = HighByte(wrong);
            const u16 next = at == 5 ? u16{0xFFFF} : static_cast<u16>(at + 1);
            Bytes data = {LowByte(next), HighByte(next)};
            data.insert(data.end(), record.begin(), record.end());
            *answer = FakeBmc::Data(data);
            return true;
        };
        reader_.Forget();
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(reader_.Records().size(), 5u) << wrong;
        EXPECT_FALSE(reader_.LedBack());
        Add(6);
        EXPECT_NE(Look(), ReadStep::Lost);
        EXPECT_LE(EntriesRead(), 30u);
        machine_.sel.pop_back();
    }
}

TEST_F(OddChain, ACountThatIsNotSoIsNoMatter)
{
    for (int off : {-4, -1, 1, 100}) {
        machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
            if (request.command != kGetSelInfo)
                return false;
            *answer =
                FakeBmc::Data({0x51, static_cast<u8>(5 + off), 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2});
            return true;
        };
        reader_.Forget();
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(Ids(), "1 2 3 4 5 ") << off;
        EXPECT_EQ(Look(), ReadStep::Done);
        EXPECT_EQ(EntriesRead(), 0u) << off;
    }
}

TEST_F(OddChain, AllThatFitsIsRead)
{
    machine_.sel.clear();
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        if (request.command != kGetSelEntry) {
            *answer = FakeBmc::Data({0x51, 0xFF, 0xFF, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0x82});
            return true;
        }
        const u32 asked = BmcWord(request.data + 2);
        const u16 id = asked == 0 ? u16{1} : static_cast<u16>(asked);
        const SelRecord record = SelEvent(id, 0x60000000u + id);
        Bytes data = {LowByte(id + 1u), HighByte(id + 1u)};
        data.insert(data.end(), record.begin(), record.end());
        *answer = FakeBmc::Data(data);
        return true;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(reader_.Records().size(), 65534u);
    EXPECT_FALSE(reader_.LedBack());
}

// ---- records that can never be read ----

TEST_F(SelReaderTest, ARecordThatCannotBeReadKeepsItsPlace)
{
    for (u16 id = 1; id <= 5; ++id)
        Add(id);
    for (u8 code : std::initializer_list<u8>{0xC9, 0xCB, 0xFF}) {
        for (u16 bad = 2; bad <= 5; ++bad) {
            machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
                *answer = FakeBmc::Code(code);
                return request.command == kGetSelEntry && BmcWord(request.data + 2) == bad;
            };
            reader_.Forget();
            EXPECT_EQ(Look(), ReadStep::Done);
            EXPECT_EQ(Ids(), "1 2 3 4 5 ");
            for (u16 id = 1; id <= 5; ++id)
                EXPECT_EQ(reader_.Records()[id - 1u][2] == kSelUnreadable, id == bad);
            EXPECT_EQ(reader_.Records()[bad - 1u][3], code);
        }
    }
}

TEST_F(SelReaderTest, NewRecordsBehindOneThatCannotBeReadAreFound)
{
    for (u16 id = 1; id <= 3; ++id)
        Add(id);
    machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xFF);
        return request.command == kGetSelEntry && BmcWord(request.data + 2) == 3;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 ");
    Add(4);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 4 ");
    EXPECT_EQ(reader_.Records()[2][2], kSelUnreadable);
}

TEST_F(SelReaderTest, AnAnswerThatIsSpoiltOnceIsNoMatter)
{
    for (u16 id = 1; id <= 3; ++id)
        Add(id);
    u32 times = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xFF);
        return request.command == kGetSelEntry && BmcWord(request.data + 2) == 2 && ++times == 1;
    };
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "1 2 3 ");
    EXPECT_NE(reader_.Records()[1][2], kSelUnreadable);
}

TEST_F(SelReaderTest, ALogWithoutAnyRecordThatCanBeReadIsAFailure)
{
    Add(1);
    Add(2);
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xC1);
        return request.command == kGetSelEntry;
    };
    EXPECT_EQ(Look(), ReadStep::Failed);
    EXPECT_EQ(reader_.Code(), 0xC1);
    EXPECT_LE(EntriesRead(), 20u);
}

// A log that is full drops the oldest record for a new one: as many as before, and none erased.
TEST_F(SelReaderTest, ALogThatGoesRoundIsReadAgain)
{
    for (u16 id = 1; id <= 3; ++id)
        Add(id);
    Look();
    machine_.sel.erase(machine_.sel.begin());
    Add(4);
    EXPECT_EQ(Look(), ReadStep::Done);
    EXPECT_EQ(Ids(), "2 3 4 ");
}
