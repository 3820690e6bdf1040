// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sdr.
#include "objmgrd/ipmi/sdr.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

SdrRepository Of(const std::vector<Bytes> &records)
{
    SdrRepository repository;
    for (const Bytes &record : records)
        SdrAdd(&repository, record.data(), record.size());
    return repository;
}

constexpr FakeSensor kFull = {"CPU Temp", 0x30, 1, 0x01};
constexpr FakeSensor kCompact = {"PG", 0x40, 2, 0x03, false};

}  // namespace

TEST(Sdr, FullRecord)
{
    FakeSensor sensor = kFull;
    sensor.m = -300;
    sensor.b = 511;
    sensor.rExponent = -8;
    sensor.format = 2;
    sensor.linearization = 7;
    sensor.entity = 3;
    sensor.entityInstance = 2;
    Bytes record = SdrOf(sensor);
    record[6] = 0x71;  // channel 7, lun 1
    record[29] = static_cast<u8>((record[29] & 0xf0) | 0x7);
    const SdrRepository repository = Of({record});
    ASSERT_EQ(repository.sensors.size(), 1u);
    const SdrSensor &s = repository.sensors[0];
    EXPECT_EQ(s.name, "CPU Temp");
    EXPECT_EQ(s.owner, 0x20);
    EXPECT_EQ(s.lun, 1);
    EXPECT_EQ(s.channel, 7);
    EXPECT_EQ(s.number, 0x30);
    EXPECT_EQ(s.entityId, 3);
    EXPECT_EQ(s.entityInstance, 2);
    EXPECT_EQ(s.type, 1);
    EXPECT_EQ(s.eventType, 1);
    EXPECT_TRUE(s.analog);
    EXPECT_EQ(s.analogFormat, 2);
    EXPECT_EQ(s.linearization, 7);
    EXPECT_EQ(s.m, -300);
    EXPECT_EQ(s.b, 511);
    EXPECT_EQ(s.rExponent, -8);
    EXPECT_EQ(s.bExponent, 7);
    EXPECT_EQ(s.thresholds, SdrThresholds::Readable);
}

TEST(Sdr, FixedThresholdsAreTheRecords)
{
    FakeSensor sensor = kFull;
    sensor.access = 3;
    Bytes record = SdrOf(sensor);
    record[15] = 0x70;  // lower non-critical, critical, non-recoverable
    record[17] = 0x20;  // upper critical
    for (u8 i = 0; i < 6; ++i)
        record[36 + i] = static_cast<u8>(60 - i);  // upper non-recoverable first
    const SdrRepository repository = Of({record});
    const SdrSensor &s = repository.sensors.at(0);
    EXPECT_EQ(s.thresholds, SdrThresholds::Fixed);
    EXPECT_EQ(s.fixedMask, 0x17);
    EXPECT_EQ(s.fixedValues[kLowerNonCritical], 55);
    EXPECT_EQ(s.fixedValues[kLowerCritical], 56);
    EXPECT_EQ(s.fixedValues[kLowerNonRecoverable], 57);
    EXPECT_EQ(s.fixedValues[kUpperNonCritical], 58);
    EXPECT_EQ(s.fixedValues[kUpperCritical], 59);
    EXPECT_EQ(s.fixedValues[kUpperNonRecoverable], 60);
}

TEST(Sdr, AccessToThresholds)
{
    for (const auto &[access, expected] :
         {std::pair{u8{0}, SdrThresholds::None}, std::pair{u8{1}, SdrThresholds::Readable},
          std::pair{u8{2}, SdrThresholds::Readable}, std::pair{u8{3}, SdrThresholds::Fixed}}) {
        FakeSensor sensor = kFull;
        sensor.access = access;
        EXPECT_EQ(Of({SdrOf(sensor)}).sensors.at(0).thresholds, expected) << int{access};
    }
    FakeSensor discrete = kFull;
    discrete.eventType = 0x6F;
    EXPECT_EQ(Of({SdrOf(discrete)}).sensors.at(0).thresholds, SdrThresholds::None);
}

TEST(Sdr, ASensorThatReturnsNoAnalogValue)
{
    FakeSensor sensor = kFull;
    sensor.format = 3;
    EXPECT_FALSE(Of({SdrOf(sensor)}).sensors.at(0).analog);
    EXPECT_FALSE(Of({SdrOf(kCompact)}).sensors.at(0).analog);
}

TEST(Sdr, ACompactRecordMayStandForSeveral)
{
    FakeSensor sensor = kCompact;
    sensor.shareCount = 3;
    Bytes letters = SdrOf(sensor);
    letters[23] |= 0x10;
    letters[24] = 25 | 0x80;  // from Z on; entities count too
    letters[9] = 4;
    const SdrRepository repository = Of({SdrOf(sensor), letters});
    ASSERT_EQ(repository.sensors.size(), 6u);
    const char *names[] = {"PG1", "PG2", "PG3", "PGZ", "PGAA", "PGAB"};
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(repository.sensors[i].name, names[i]);
        EXPECT_EQ(repository.sensors[i].number, 0x40 + i % 3);
    }
    EXPECT_EQ(repository.sensors[2].entityInstance, 0);
    EXPECT_EQ(repository.sensors[5].entityInstance, 6);
    sensor.shareCount = 0;
    EXPECT_EQ(Of({SdrOf(sensor)}).sensors.at(0).name, "PG");
}

TEST(Sdr, ANameOf16BytesIsWholeAndAMissingOneIsMadeUp)
{
    FakeSensor sensor = kFull;
    sensor.name = "1234567890123456";
    EXPECT_EQ(Of({SdrOf(sensor)}).sensors.at(0).name, "1234567890123456");
    sensor.name = "";
    EXPECT_EQ(Of({SdrOf(sensor)}).sensors.at(0).name, "Sensor 0x30");
    Bytes longer = SdrOf(kFull);
    longer[47] = 0xdf;  // says 31 bytes, has 8
    EXPECT_EQ(Of({longer}).sensors.at(0).name, "CPU Temp");
}

TEST(Sdr, EventOnlySensorsAreKnownByName)
{
    const Bytes record = {0,    0, 0x51, 3, 16, 0x20, 0,   0x70, 3,   1,  35,
                          0x6f, 0, 0,    0, 0,  0xc4, 'W', 'D',  'O', 'G'};
    const SdrRepository repository = Of({record, SdrOf(kFull)});
    EXPECT_EQ(repository.sensors.size(), 1u);
    const SdrSensor *found = SdrFind(repository, 0x20, 0, 0x70);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->name, "WDOG");
    EXPECT_EQ(found->type, 35);
    EXPECT_EQ(SdrFind(repository, 0x20, 0, 0x30)->name, "CPU Temp");
    EXPECT_EQ(SdrFind(repository, 0x20, 1, 0x30), nullptr);
    EXPECT_EQ(SdrFind(repository, 0x22, 0, 0x30), nullptr);
    EXPECT_EQ(SdrFind(repository, 0x20, 0, 0x31), nullptr);
}

TEST(Sdr, FrusThatTheBmcGivesAccessTo)
{
    Bytes physical = FruLocator(3, 10, 1);
    physical[7] = 0;
    Bytes elsewhere = FruLocator(4, 10, 1);
    elsewhere[5] = 0x2c;
    const SdrRepository repository = Of({FruLocator(2, 10, 1), physical, elsewhere});
    ASSERT_EQ(repository.frus.size(), 1u);
    EXPECT_EQ(repository.frus[0].deviceId, 2);
    EXPECT_EQ(repository.frus[0].entityId, 10);
    EXPECT_EQ(repository.frus[0].entityInstance, 1);
}

// Every record cut off at every length, and every byte of it replaced.
TEST(Sdr, AnyBytesAreHarmless)
{
    const Bytes eventOnly = {0,    0, 0x51, 3, 16, 0x20, 0,   0x70, 3,   1,  35,
                             0x6f, 0, 0,    0, 0,  0xc4, 'W', 'D',  'O', 'G'};
    for (const Bytes &record : {SdrOf(kFull), SdrOf(kCompact), eventOnly, FruLocator(1, 2, 3)}) {
        const size_t least[] = {0, 48, 32, 17};
        const size_t needed = record[3] == 0x11 ? 16 : least[record[3]];
        for (size_t size = 0; size <= record.size(); ++size) {
            const Bytes cut(record.begin(), record.begin() + static_cast<long>(size));
            const SdrRepository got = Of({cut});
            EXPECT_EQ(got.sensors.size() + got.eventsOnly.size() + got.frus.size(),
                      size >= needed ? 1u : 0u)
                << int{record[3]} << " " << size;
        }
        for (size_t i = 0; i < record.size(); ++i) {
            for (u32 value = 0; value < 256; ++value) {
                Bytes changed = record;
                changed[i] = static_cast<u8>(value);
                EXPECT_LE(Of({changed}).sensors.size(), 15u);
            }
        }
    }
}

TEST(Sdr, ThereIsALimit)
{
    SdrRepository repository;
    const Bytes record = SdrOf(kFull);
    for (u32 i = 0; i < 4096 + 5; ++i)
        SdrAdd(&repository, record.data(), record.size());
    EXPECT_EQ(repository.sensors.size(), 4096u);
}
