// SPDX-License-Identifier: Apache-2.0
// ipmi_tools_test.cpp -- tables of other IPMI tools, read right.
#include "ipmi/ipmi_tools.h"

#include <gtest/gtest.h>

namespace
{

TEST(IpmiTools, SplitsTables)
{
    const std::vector<Fields> table = SplitTable("a | b |c\n\n d|e, f |g|h\n", '|', 3);
    ASSERT_EQ(table.size(), 2u);
    EXPECT_EQ(table[0], (Fields{"a", "b", "c"}));
    EXPECT_EQ(table[1], (Fields{"d", "e, f", "g|h"}));
}

TEST(IpmiTools, ReadsIpmitoolsSensors)
{
    const std::map<std::string, ToolSensor> sensors = ParseIpmitoolSensors(
        "DIMM Temp        | -12.000    | degrees C  | nc    | -20.000   | -15.000   | -10.000   | "
        "80.000    | 85.000    | 90.000    \nnot a sensor\n");
    ASSERT_EQ(sensors.size(), 1u);
    const ToolSensor &sensor = sensors.at("DIMM Temp");
    EXPECT_EQ(sensor.reading, "-12.000");
    EXPECT_EQ(sensor.unit, "degrees C");
    EXPECT_EQ(sensor.status, "nc");
    EXPECT_EQ(sensor.lower[0], "-10.000");
    EXPECT_EQ(sensor.lower[1], "-15.000");
    EXPECT_EQ(sensor.lower[2], "-20.000");
    EXPECT_EQ(sensor.upper[0], "80.000");
    EXPECT_EQ(sensor.upper[1], "85.000");
    EXPECT_EQ(sensor.upper[2], "90.000");
}

TEST(IpmiTools, ReadsIpmiSensors)
{
    const std::vector<FreeSensor> right = ParseIpmiSensors(
        "9,PSU1 Temp,Temperature,-18.00,C,-20.00,-15.00,-10.00,80.00,N/A,N/A,'a, b' 'c'\n");
    ASSERT_EQ(right.size(), 1u);
    EXPECT_EQ(right[0].name, "PSU1 Temp");
    EXPECT_EQ(right[0].lower[1], "-15.00");
    EXPECT_EQ(right[0].upper[0], "80.00");
    EXPECT_EQ(right[0].events, "'a, b' 'c'");
}

TEST(IpmiTools, ReadsIpmiSel)
{
    const std::vector<FreeLogEntry> log =
        ParseIpmiSel("201,Mar-14-2023,10:12:41,CPU1 Temp,Temperature,Upper, going high\n"
                     "10,PostInit,PostInit,Intrusion,Physical Security,General\n");
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].event, "Upper, going high");
    EXPECT_EQ(FourteenDigits(log[0]), "20230314101241");
    EXPECT_EQ(FourteenDigits(log[1]), "");
    EXPECT_EQ(FourteenDigits({"Dec-31-2099", "23:59:59", "", "", ""}), "20991231235959");
}

}  // namespace
