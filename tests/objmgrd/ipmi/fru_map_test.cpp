// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/fru_map.
#include "objmgrd/ipmi/fru_map.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

FruFacts Parse(const Bytes &bytes)
{
    return FruParse(bytes.data(), bytes.size());
}

std::string Who(const FruFacts &facts)
{
    const Identity identity = FruIdentity(facts);
    return identity.serviceTag + "|" + identity.description + "|" + identity.oem;
}

Bytes ChassisArea()
{
    return FruArea({1, 0, 0x17}, {"CP", "CSERIAL"});
}

Bytes BoardArea()
{
    return FruArea({1, 0, 0, 0, 0, 0}, {"BMaker", "BName", "BSERIAL", "BP"});
}

}  // namespace

TEST(FruMap, TheProductComesFirst)
{
    EXPECT_EQ(Who(Parse(FruOf({ChassisArea(), BoardArea(), ProductArea("Maker", "Name", "SER")}))),
              "SER|Name|Maker");
    EXPECT_EQ(Who(Parse(FruOf({ChassisArea(), BoardArea()}))), "CSERIAL|BName|BMaker");
    EXPECT_EQ(Who(Parse(FruOf({{}, BoardArea()}))), "BSERIAL|BName|BMaker");
    EXPECT_EQ(Who(Parse(FruOf({ChassisArea()}))), "CSERIAL||0");
    EXPECT_EQ(Who(Parse(FruOf({}))), "||0");
}

TEST(FruMap, BlankTextsAreNone)
{
    EXPECT_EQ(Who(Parse(FruOf({ChassisArea(), BoardArea(), ProductArea("  ", " ", "  ")}))),
              "CSERIAL|BName|BMaker");
    EXPECT_EQ(Who(Parse(FruOf({{}, {}, ProductArea(" M ", " N", "S ")}))), "S|N|M");
}

TEST(FruMap, TheDefaultManufacturerIsNotTold)
{
    EXPECT_EQ(Who(Parse(FruOf({{}, {}, ProductArea("Qarn", "Name", "SER")}))), "SER|Name|0");
}

// A text of one character looks like the end of the fields: what follows it is lost, not guessed.
TEST(FruMap, OneCharacterEndsTheFields)
{
    EXPECT_EQ(Who(Parse(FruOf({{}, {}, ProductArea("Maker", "N", "SER")}))), "||Maker");
}

TEST(FruMap, AFieldEndsWithItsArea)
{
    // Of 8 bytes; the second field would need one more, which is another area's.
    const Bytes area = {1, 1, 0, 0xc2, 'M', 'M', 0xc2, 'N'};
    EXPECT_EQ(Who(Parse(FruOf({{}, {}, area, WattageRecord(750)}))), "||MM");
    Bytes whole = area;
    whole[6] = 0xc1;
    EXPECT_EQ(Who(Parse(FruOf({{}, {}, whole, WattageRecord(750)}))), "||MM");
}

TEST(FruMap, Wattage)
{
    const FruFacts facts = Parse(FruOf({{}, {}, {}, WattageRecord(1100)}));
    EXPECT_TRUE(facts.hasWattage);
    EXPECT_EQ(facts.wattage, 1100u);
    EXPECT_FALSE(Parse(FruOf({ChassisArea()})).hasWattage);
    Bytes other = WattageRecord(750);
    other[0] = 0x02;  // of another kind, and not the last
    other[1] = 0x02;
    other[4] = 0;
    other[4] = ZeroSum({other[0], other[1], other[2], other[3]});
    const Bytes second = WattageRecord(4095);
    other.insert(other.end(), second.begin(), second.end());
    EXPECT_EQ(Parse(FruOf({{}, {}, {}, other})).wattage, 4095u);
    Bytes unsound = WattageRecord(750);
    ++unsound[4];
    EXPECT_FALSE(Parse(FruOf({{}, {}, {}, unsound})).hasWattage);
    EXPECT_EQ(PowerSupplyKey(2), "OEM_QARN_PowerSupply.PowerSupplyIndex=2");
    const Instance instance = PowerSupplyInstance(2, 750);
    EXPECT_EQ(instance.properties[0].text, "2");
    EXPECT_EQ(instance.properties[1].name, "PowerSupplyWattage");
    EXPECT_EQ(instance.properties[1].text, "750");
}

TEST(FruMap, WithoutASoundHeaderThereIsNothing)
{
    Bytes fru = FruOf({ChassisArea()});
    for (size_t i = 0; i < 8; ++i) {
        Bytes wrong = fru;
        ++wrong[i];
        EXPECT_EQ(Who(Parse(wrong)), "||0") << i;
    }
    EXPECT_EQ(Who(Parse(Bytes(300, 0xff))), "||0");
    EXPECT_EQ(Who(Parse({})), "||0");
}

// Cut off anywhere, and every byte replaced (with a header that is sound again).
TEST(FruMap, AnyBytesAreHarmless)
{
    const Bytes fru =
        FruOf({ChassisArea(), BoardArea(), ProductArea("Maker", "Name", "SER"), WattageRecord(9)});
    for (size_t size = 0; size < fru.size(); ++size)
        Parse(Bytes(fru.begin(), fru.begin() + static_cast<long>(size)));
    for (size_t i = 0; i < fru.size(); ++i) {
        for (u32 value = 0; value < 256; ++value) {
            Bytes changed = fru;
            changed[i] = static_cast<u8>(value);
            if (i < 7)
                changed[7] = ZeroSum(Bytes(changed.begin(), changed.begin() + 7));
            EXPECT_LE(Parse(changed).productSerial.size(), 250u);
        }
    }
}
