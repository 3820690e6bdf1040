// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sel_map.
#include "objmgrd/ipmi/sel_map.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

SdrRepository Sensors()
{
    SdrRepository repository;
    for (const FakeSensor &sensor :
         {FakeSensor{"CPU Temp", 1, 1, 0x01}, FakeSensor{"Battery", 2, 41, 0x6F, false}}) {
        Bytes record = SdrOf(sensor);
        record[21] = 1;  // degrees Celsius
        SdrAdd(&repository, record.data(), record.size());
    }
    return repository;
}

std::string Value(const SelRecord &record, const std::string &name)
{
    for (const PropertyValue &property : SelRecordInstance(5, record, Sensors()).properties) {
        if (property.name == name)
            return property.text;
    }
    return "none";
}

std::string Description(const SelRecord &record)
{
    return Value(record, "Description");
}

// An event of this sensor type and number, event type with direction, and data.
SelRecord Event(u8 type, u8 number, u8 eventType, u8 data1, u8 data2 = 0xff, u8 data3 = 0xff)
{
    SelRecord record = SelEvent(1, 0x60000000, number);
    record[10] = type;
    record[12] = eventType;
    record[13] = data1;
    record[14] = data2;
    record[15] = data3;
    return record;
}

}  // namespace

TEST(SelMap, KeysAndNumbers)
{
    EXPECT_EQ(SelRecordKey(3), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=3");
    EXPECT_EQ(Value(SelEvent(77, 0), "RecordNum"), "5");
    EXPECT_EQ(Value(SelEvent(77, 0), "LogName"), "SEL");
    EXPECT_EQ(SelLogInstance(512).properties[1].text, "512");
}

TEST(SelMap, Times)
{
    const struct {
        u8 type;
        u32 seconds;
        const char *plain;
        const char *digits;
    } rows[] = {
        {0x02, 1678785161, "2023-03-14 09:12:41", "20230314091241"},
        {0x02, 0x20000001, "1987-01-05 18:48:33", "19870105184833"},
        {0x02, 0x20000000, "System Boot", "System Boot"},
        {0x02, 0, "System Boot", "System Boot"},
        {0x02, 0xFFFFFFFF, "**************", "**************"},
        {0x02, 0xFFFFFFFE, "2106-02-07 06:28:14", "21060207062814"},
        {0xC0, 1678785161, "2023-03-14 09:12:41", "20230314091241"},
        {0xDF, 5, "System Boot", "System Boot"},
        {0xE0, 1678785161, "**************", "**************"},
        {0xFF, 5, "**************", "**************"},
        {0x05, 1678785161, "**************", "**************"},
    };
    for (const auto &row : rows) {
        SelRecord record = SelEvent(1, row.seconds);
        record[2] = row.type;
        EXPECT_EQ(Value(record, "Timestamp"), row.plain) << row.seconds;
        EXPECT_EQ(Value(record, "Timestamp;YYYYMMDDHHMMSS"), row.digits) << row.seconds;
    }
}

TEST(SelMap, SensorEventAndDirection)
{
    EXPECT_EQ(Description(Event(1, 1, 0x01, 0x59, 100, 90)),
              "CPU Temp: Upper Critical - going high, asserted (reading 100 C, threshold 90 C)");
    EXPECT_EQ(Description(Event(1, 1, 0x81, 0x59, 88, 90)),
              "CPU Temp: Upper Critical - going high, deasserted (reading 88 C, threshold 90 C)");
    EXPECT_EQ(Description(Event(1, 1, 0x01, 0x09, 100, 90)),
              "CPU Temp: Upper Critical - going high, asserted");
    EXPECT_EQ(Description(Event(1, 1, 0x01, 0x49, 100, 90)),
              "CPU Temp: Upper Critical - going high, asserted (reading 100 C)");
    EXPECT_EQ(Description(Event(1, 1, 0x01, 0x19, 100, 90)),
              "CPU Temp: Upper Critical - going high, asserted (threshold 90 C)");
    EXPECT_EQ(Description(Event(41, 2, 0x6F, 0x01)), "Battery: battery failed, asserted");
}

TEST(SelMap, ASensorWithoutARecordIsToldByTypeAndNumber)
{
    EXPECT_EQ(Description(Event(1, 0xEE, 0x01, 0x52, 20, 21)),
              "Temperature 0xee: Lower Critical - going low, asserted (data 14 15)");
    EXPECT_EQ(Description(Event(192, 9, 0x6F, 0x03, 1, 2)),
              "OEM Reserved 0x09: event type 0x6f, data 03 01 02, asserted");
    SelRecord elsewhere = Event(1, 1, 0x01, 0x09);
    elsewhere[7] = 0x2c;
    EXPECT_EQ(Description(elsewhere), "Temperature 0x01: Upper Critical - going high, asserted");
}

TEST(SelMap, DataWithoutWordsIsToldInBytes)
{
    // Sensor-specific or a maker's own, with and without words of IPMI's.
    EXPECT_EQ(Description(Event(41, 2, 0x6F, 0xF1, 0, 3)),
              "Battery: battery failed, asserted (data 00 03)");
    EXPECT_EQ(Description(Event(41, 2, 0x6F, 0xA1, 0, 3)),
              "Battery: battery failed, asserted (data 00 03)");
    EXPECT_EQ(Description(Event(41, 2, 0x6F, 0x81, 0xab, 3)),
              "Battery: battery failed, asserted (data 2 ab)");
    EXPECT_EQ(Description(Event(41, 2, 0x6F, 0x31, 0xab, 3)),
              "Battery: battery failed, asserted (data 3 03)");
    EXPECT_EQ(Description(Event(41, 2, 0x6F, 0x01, 0xab, 3)), "Battery: battery failed, asserted");
    EXPECT_EQ(Description(Event(2, 9, 0x03, 0xA1, 1, 2)),
              "Voltage 0x09: State Asserted, asserted (data 01 02)");
    EXPECT_EQ(Description(Event(1, 1, 0x01, 0x69, 100, 7)),
              "CPU Temp: Upper Critical - going high, asserted (reading 100 C, data 3 07)");
}

TEST(SelMap, ARecordThatCannotBeReadSaysSo)
{
    const SelRecord record = SelUnreadableRecord(0x0105, 0xFF);
    EXPECT_EQ(Description(record), "Record 0x0105 cannot be read: completion code 0xFF");
    EXPECT_EQ(Value(record, "Timestamp"), "**************");
}

TEST(SelMap, RecordsOfAMakersOwn)
{
    SelRecord record = {1, 0, 0xC1, 9, 9, 9, 9, 0x57, 0x01, 0x00, 0x11, 0x22, 3, 4, 5, 6};
    EXPECT_EQ(Description(record), "OEM record 0xc1 of manufacturer 343: 11 22 03 04 05 06");
    record[2] = 0xE3;
    EXPECT_EQ(Description(record), "OEM record 0xe3: 09 09 09 09 57 01 00 11 22 03 04 05 06");
    record[2] = 0x07;
    EXPECT_EQ(Description(record),
              "Record of unknown type 0x07: 09 09 09 09 57 01 00 11 22 03 04 05 06");
}

TEST(SelMap, AnyBytesAreHarmless)
{
    for (size_t i = 2; i < kSelRecordSize; ++i) {
        for (u32 value = 0; value < 256; ++value) {
            for (const u8 eventType : Bytes{0x01, 0x6F}) {
                SelRecord record = Event(1, 1, eventType, 0xf9, 1, 2);
                record[i] = static_cast<u8>(value);
                EXPECT_FALSE(Description(record).empty());
            }
        }
    }
}
