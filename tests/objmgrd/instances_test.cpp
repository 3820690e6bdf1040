// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/instances.
#include "objmgrd/instances.h"

#include <gtest/gtest.h>

namespace
{

// "Name=text Name=text", with the status of a property that is refused.
std::string Words(const Instance &instance)
{
    std::string words;
    for (const PropertyValue &property : instance.properties)
        words += (words.empty() ? "" : " ") + property.name + "=" + property.text;
    return words;
}

}  // namespace

TEST(Instances, HaveTheKeysThatClientsAskFor)
{
    EXPECT_EQ(SensorKey(3), "OEM_QARN_Sensor.Index=3");
    EXPECT_EQ(SelRecordKey(7), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7");
    EXPECT_EQ(PowerSupplyKey(2), "OEM_QARN_PowerSupply.PowerSupplyIndex=2");
}

TEST(Instances, OfTheLogAndOfAPowerSupply)
{
    EXPECT_EQ(Words(SelLogInstance(12)), "Name=SEL NumRecords=12");
    EXPECT_EQ(Words(SelRecordInstance(7, LogTimesOf(0), "Fan 1: failed")),
              "LogName=SEL RecordNum=7 Timestamp=1970-01-01 00:00:00 "
              "Timestamp;YYYYMMDDHHMMSS=19700101000000 Description=Fan 1: failed");
    EXPECT_EQ(Words(PowerSupplyInstance(2, 800)), "PowerSupplyIndex=2 PowerSupplyWattage=800");
}

TEST(Instances, ThatFailHaveNothingButAStatus)
{
    EXPECT_EQ(FailedInstance(kCimAccessDenied).status, kCimAccessDenied);
    EXPECT_TRUE(FailedInstance(kCimFailed).properties.empty());
}
