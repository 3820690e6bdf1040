// SPDX-License-Identifier: Apache-2.0
#include "objmgr/object_path.h"

#include <gtest/gtest.h>

#include <string.h>

#include <string>

static ObjectPath Parse(const std::string &path)
{
    ObjectPath out;
    EXPECT_EQ(ObjectPathParse(path.c_str(), &out), kCimOk) << path;
    EXPECT_EQ(out.keyLength, strlen(out.key));
    return out;
}

static std::string KeyOf(const std::string &path)
{
    return Parse(path).key;
}

static void ExpectRefused(const char *path)
{
    ObjectPath out;
    memset(&out, 0x55, sizeof(out));
    EXPECT_EQ(ObjectPathParse(path, &out), kCimInvalidParameter) << (path ? path : "null");
    EXPECT_STREQ(out.key, "");
    EXPECT_EQ(out.keyLength, 0u);
    EXPECT_FALSE(out.timestampDigits);
}

TEST(ObjectPath, KeyIsThePathAsWritten)
{
    EXPECT_EQ(KeyOf("OEM_QARN_System"), "OEM_QARN_System");
    EXPECT_EQ(KeyOf("OEM_QARN_MessageLog.Name=SEL"), "OEM_QARN_MessageLog.Name=SEL");
    EXPECT_EQ(KeyOf("OEM_QARN_LogRecord.LogName=SEL,RecordNum=7"),
              "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7");
    EXPECT_FALSE(Parse("OEM_QARN_Sensor.Index=3").timestampDigits);
}

TEST(ObjectPath, TimestampFormatIsNoKey)
{
    const ObjectPath last =
        Parse("OEM_QARN_LogRecord.LogName=SEL,RecordNum=7,TimestampFormat=YYYYMMDDHHMMSS");
    EXPECT_STREQ(last.key, "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7");
    EXPECT_TRUE(last.timestampDigits);
    const ObjectPath first = Parse("C.TimestampFormat=YYYYMMDDHHMMSS,A=1");
    EXPECT_STREQ(first.key, "C.A=1");
    EXPECT_TRUE(first.timestampDigits);
    EXPECT_EQ(KeyOf("C.A=1,TimestampFormat=YYYYMMDDHHMMSS,B=2"), "C.A=1,B=2");
}

TEST(ObjectPath, TimestampFormatAloneLeavesTheClass)
{
    const ObjectPath path = Parse("C.TimestampFormat=YYYYMMDDHHMMSS");
    EXPECT_STREQ(path.key, "C");
    EXPECT_TRUE(path.timestampDigits);
}

TEST(ObjectPath, OtherTimestampFormatsAreRefused)
{
    ExpectRefused("C.A=1,TimestampFormat=");
    ExpectRefused("C.A=1,TimestampFormat=YYYYMMDDHHMMS");
    ExpectRefused("C.A=1,TimestampFormat=YYYYMMDDHHMMSSS");
    ExpectRefused("C.A=1,TimestampFormat=yyyymmddhhmmss");
}

TEST(ObjectPath, KeyNamesThatBeginLikeTimestampFormatAreKeys)
{
    EXPECT_EQ(KeyOf("C.TimestampFormats=1"), "C.TimestampFormats=1");
    EXPECT_EQ(KeyOf("C.Timestamp=1"), "C.Timestamp=1");
    EXPECT_EQ(KeyOf("C.timestampformat=1"), "C.timestampformat=1");
}

TEST(ObjectPath, ValuesMayBeEmptyAndHoldPointsAndEqualsSigns)
{
    EXPECT_EQ(KeyOf("C.A="), "C.A=");
    EXPECT_EQ(KeyOf("C.A=1.5"), "C.A=1.5");
    EXPECT_EQ(KeyOf("C.A=b=c"), "C.A=b=c");
    EXPECT_EQ(KeyOf("C.A=\xc3\xa4 b"), "C.A=\xc3\xa4 b");
}

TEST(ObjectPath, MalformedPathsAreRefused)
{
    for (const char *path : {"", ".", ".heartbeat", ".faults", ".A=1", "C.", "C.A", "C.=1",
                             "C.A=1,", "C.,A=1", "C.A=1,,B=2", "C.A=1,B", "C.A=1,=2"})
        ExpectRefused(path);
    ExpectRefused(nullptr);
}

TEST(ObjectPath, ControlCharactersAreRefused)
{
    ExpectRefused("C\n");
    ExpectRefused("C.A=\x1b[2J");
    ExpectRefused("C.A=\x1f");
    ExpectRefused("C.A=\x7f");
    EXPECT_EQ(KeyOf("C.A= ~"), "C.A= ~");
}

TEST(ObjectPath, KeyOf511BytesIsTheLongest)
{
    const std::string path = "C.A=" + std::string(507, 'x');
    EXPECT_EQ(KeyOf(path), path);
    EXPECT_EQ(KeyOf(std::string(511, 'C')), std::string(511, 'C'));
    ExpectRefused((path + "x").c_str());
    ExpectRefused(std::string(512, 'C').c_str());
    ExpectRefused((std::string(510, 'C') + ".A=1").c_str());
}

TEST(ObjectPath, TimestampFormatDoesNotCountForTheLength)
{
    const std::string key = "C.A=" + std::string(507, 'x');
    EXPECT_EQ(KeyOf(key + ",TimestampFormat=YYYYMMDDHHMMSS"), key);
}
