// SPDX-License-Identifier: Apache-2.0
#include "objmgr/schema.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "objmgr/object_path.h"

TEST(Schema, PathsAreSpeltOut)
{
    EXPECT_STREQ(kSystemClass, "OEM_QARN_System");
    EXPECT_STREQ(kSelPath, "OEM_QARN_MessageLog.Name=SEL");
    EXPECT_STREQ(SensorPath(1).Text(), "OEM_QARN_Sensor.Index=1");
    EXPECT_STREQ(LogRecordPath(65535).Text(), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=65535");
    EXPECT_STREQ(PowerSupplyPath(10).Text(), "OEM_QARN_PowerSupply.PowerSupplyIndex=10");
    EXPECT_STREQ(kTimestampDigitsSuffix, ",TimestampFormat=YYYYMMDDHHMMSS");
}

TEST(Schema, EveryNumberHasAPath)
{
    EXPECT_STREQ(SensorPath(0).Text(), "OEM_QARN_Sensor.Index=0");
    EXPECT_STREQ(SensorPath(4294967295).Text(), "OEM_QARN_Sensor.Index=4294967295");
    EXPECT_STREQ(LogRecordPath(4294967295).Text(),
                 "OEM_QARN_LogRecord.LogName=SEL,RecordNum=4294967295");
    EXPECT_STREQ(PowerSupplyPath(4294967295).Text(),
                 "OEM_QARN_PowerSupply.PowerSupplyIndex=4294967295");
}

TEST(Schema, AWalkNamesEveryRow)
{
    RowPath path = SensorPath(1);
    for (u32 index = 1; index <= 10001; ++index, path.Next())
        ASSERT_EQ(path.Text(), "OEM_QARN_Sensor.Index=" + std::to_string(index));
}

TEST(Schema, AWalkGoesOnBeyondTheLargestNumber)
{
    RowPath path = LogRecordPath(4294967295);
    path.Next();
    EXPECT_STREQ(path.Text(), "OEM_QARN_LogRecord.LogName=SEL,RecordNum=4294967296");
}

// What the builders make is what the store keeps the instance under.
TEST(Schema, PathsAreCanonical)
{
    const std::string paths[] = {kSystemClass, kSelPath.text, SensorPath(3).Text(),
                                 LogRecordPath(3).Text(), PowerSupplyPath(3).Text()};
    for (const std::string &path : paths) {
        ObjectPath parsed;
        EXPECT_EQ(ObjectPathParse(path.c_str(), &parsed), kCimOk) << path;
        EXPECT_EQ(parsed.key, path);
    }
    ObjectPath parsed;
    const std::string digits = std::string(LogRecordPath(3).Text()) + kTimestampDigitsSuffix.text;
    EXPECT_EQ(ObjectPathParse(digits.c_str(), &parsed), kCimOk);
    EXPECT_STREQ(parsed.key, LogRecordPath(3).Text());
    EXPECT_TRUE(parsed.timestampDigits);
}

TEST(Schema, EveryMethodIsFoundByClassAndName)
{
    for (const MethodRow &row : kMethodTable) {
        EXPECT_EQ(SchemaFindMethod(row.className, row.method), &row);
        const std::string instance = std::string(row.className) + ".Key=1";
        EXPECT_EQ(SchemaFindMethod(instance.c_str(), row.method), &row);
        EXPECT_NE(row.right, 0u) << row.method;
        EXPECT_EQ(row.right & ~kPrivilegeAll, 0u) << row.method;
    }
    EXPECT_EQ(std::size(kMethodTable), 4u);
}

TEST(Schema, AnArgumentIsTakenWhereTheTableSaysSo)
{
    const MethodRow *reset = SchemaFindMethod("OEM_QARN_System", "Reset");
    EXPECT_TRUE(SchemaTakesArgument(reset, nullptr));
    EXPECT_TRUE(SchemaTakesArgument(reset, ""));
    EXPECT_TRUE(SchemaTakesArgument(reset, "Mode=PowerCycle"));
    EXPECT_FALSE(SchemaTakesArgument(reset, "Mode=Powercycle"));
    EXPECT_FALSE(SchemaTakesArgument(reset, "*"));
    const MethodRow *stop = SchemaFindMethod("OEM_QARN_System", "Stop");
    EXPECT_TRUE(SchemaTakesArgument(stop, nullptr));
    EXPECT_FALSE(SchemaTakesArgument(stop, "Mode=PowerCycle"));
    const MethodRow any = {"C", "M", kAnyArgument, 1, MethodId::Start};
    EXPECT_TRUE(SchemaTakesArgument(&any, "whatever"));
}

TEST(Schema, EverythingElseIsNoMethod)
{
    EXPECT_EQ(SchemaFindMethod("OEM_QARN_System", "start"), nullptr);
    EXPECT_EQ(SchemaFindMethod("OEM_QARN_System", "Clear"), nullptr);
    EXPECT_EQ(SchemaFindMethod("OEM_QARN_System", ""), nullptr);
    EXPECT_EQ(SchemaFindMethod("OEM_QARN_Syste", "Start"), nullptr);
    EXPECT_EQ(SchemaFindMethod("OEM_QARN_Systems", "Start"), nullptr);
    EXPECT_EQ(SchemaFindMethod("OEM_QARN_MessageLog", "Start"), nullptr);
    EXPECT_EQ(SchemaFindMethod("", "Start"), nullptr);
}
