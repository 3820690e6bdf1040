// SPDX-License-Identifier: Apache-2.0
#include "ctl/hand_view.h"
#include "ctl/prometheus.h"

#include <gtest/gtest.h>

namespace
{

std::string Text(const Value &server, const ServerView *view)
{
    PrometheusText text;
    text.Add(server, view);
    return text.Text();
}

bool Has(const std::string &text, const std::string &line)
{
    return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

}  // namespace

TEST(Prometheus, OneServer)
{
    HandView hand;
    hand.AddSensor(1, 1,
                   {{"Name", "Inlet \"A\" \\ B"}, {"Reading", "23.50"}, {"StatusText", "warning"}});
    EXPECT_EQ(Text({}, &hand.view),
              "# HELP smclp_up Whether the service answers and hears its source.\n"
              "# TYPE smclp_up gauge\n"
              "smclp_up 1\n"
              "# HELP smclp_source_age_seconds Seconds since the source was last heard.\n"
              "# TYPE smclp_source_age_seconds gauge\n"
              "smclp_source_age_seconds{source=\"bmc\"} 0.5\n"
              "# HELP smclp_chassis_power_on Whether the host is switched on.\n"
              "# TYPE smclp_chassis_power_on gauge\n"
              "smclp_chassis_power_on 1\n"
              "# HELP smclp_log_records Records in the event log.\n"
              "# TYPE smclp_log_records gauge\n"
              "smclp_log_records 0\n"
              "# HELP smclp_temperature_celsius Temperature in degrees Celsius.\n"
              "# TYPE smclp_temperature_celsius gauge\n"
              "smclp_temperature_celsius{name=\"Inlet \\\"A\\\" \\\\ B\","
              "target=\"/system1/temperatures1/tempsensor1\"} 23.50\n"
              "# HELP smclp_temperature_state State of a temperature sensor: 0 ok, 1 warning, 2 "
              "critical.\n"
              "# TYPE smclp_temperature_state gauge\n"
              "smclp_temperature_state{name=\"Inlet \\\"A\\\" \\\\ B\","
              "target=\"/system1/temperatures1/tempsensor1\"} 1\n");
}

TEST(Prometheus, EveryKind)
{
    HandView hand;
    hand.AddSensor(4, 1, {{"Name", "f"}, {"Reading", "4320"}, {"StatusText", "normal"}});
    hand.AddSensor(2, 1, {{"Name", "v"}, {"Reading", "12.08"}, {"StatusText", "failed"}});
    hand.AddSensor(2, 2, {{"Name", "p"}, {"State", "good"}});
    hand.AddSensor(3, 1, {{"Name", "w"}, {"Reading", "182"}, {"StatusText", "normal"}});
    hand.AddSensor(3, 1, {{"Name", "Current"}, {"Reading", "0.8"}, {"StatusText", "normal"}});
    hand.AddSensor(41, 2, {{"Name", "b"}, {"State", "low"}});
    hand.AddSensor(4, 1, {{"Name", "%"}, {"Reading", "50"}, {"StatusText", "normal"}});
    hand.At("OEM_QARN_Sensor.Index=7").unit = "%";
    const std::string text = Text({}, &hand.view);
    EXPECT_TRUE(
        Has(text, "smclp_fan_speed_rpm{name=\"f\",target=\"/system1/fans1/tachsensor1\"} 4320"));
    EXPECT_TRUE(
        Has(text,
            "smclp_voltage_volts{name=\"v\",target=\"/system1/voltages1/numericsensor1\"} 12.08"));
    EXPECT_TRUE(Has(
        text, "smclp_voltage_state{name=\"v\",target=\"/system1/voltages1/numericsensor1\"} 2"));
    EXPECT_TRUE(
        Has(text, "smclp_voltage_state{name=\"p\",target=\"/system1/voltages1/voltsensor1\"} 0"));
    EXPECT_TRUE(
        Has(text,
            "smclp_power_watts{name=\"w\",target=\"/system1/powermonitor1/numericsensor1\"} 182"));
    EXPECT_TRUE(Has(text, "smclp_current_amperes{name=\"Current\",target=\"/system1/powermonitor1/"
                          "numericsensor2\"} 0.8"));
    EXPECT_TRUE(Has(text, "smclp_sensor_state{name=\"b\",target=\"/system1/batteries1/"
                          "sensor1\",type=\"battery\"} 1"));
    EXPECT_TRUE(Has(text, "smclp_sensor_value{name=\"%\",target=\"/system1/fans1/"
                          "tachsensor2\",type=\"fan\",unit=\"%\"} 50"));
    EXPECT_TRUE(
        Has(text, "smclp_fan_speed_state{name=\"%\",target=\"/system1/fans1/tachsensor2\"} 0"));
}

TEST(Prometheus, WhatIsNotThereHasNoLine)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}, {"Reading", "N/A"}, {"StatusText", "unknown"}});
    const std::string text = Text({}, &hand.view);
    EXPECT_EQ(text.find("temperature"), std::string::npos);
    EXPECT_TRUE(Has(text, "smclp_up 1"));
}

TEST(Prometheus, SilentSourcesEndTheirSeries)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}, {"Reading", "1"}, {"StatusText", "normal"}});
    hand.Fail("OEM_QARN_System", "PowerStatus");
    hand.view.sources[0].ageSeconds = 60;
    EXPECT_EQ(Text({}, &hand.view),
              "# HELP smclp_up Whether the service answers and hears its source.\n"
              "# TYPE smclp_up gauge\n"
              "smclp_up 0\n"
              "# HELP smclp_source_age_seconds Seconds since the source was last heard.\n"
              "# TYPE smclp_source_age_seconds gauge\n"
              "smclp_source_age_seconds{source=\"bmc\"} 60\n");
    EXPECT_EQ(Text({}, nullptr),
              "# HELP smclp_up Whether the service answers and hears its source.\n"
              "# TYPE smclp_up gauge\n"
              "smclp_up 0\n");
}

// A metric's lines stand together, whichever server they are of.
TEST(Prometheus, SeveralServers)
{
    HandView one;
    HandView two;
    one.AddSensor(1, 1, {{"Name", "a"}, {"Reading", "1"}, {"StatusText", "normal"}});
    two.AddSensor(1, 1, {{"Name", "a"}, {"Reading", "2"}, {"StatusText", "normal"}});
    PrometheusText text;
    text.Add(TextValue("n1"), &one.view);
    text.Add(TextValue("n2"), nullptr);
    text.Add(TextValue("n3"), &two.view);
    EXPECT_NE(text.Text().find("smclp_up{server=\"n1\"} 1\nsmclp_up{server=\"n2\"} 0\n"
                               "smclp_up{server=\"n3\"} 1\n#"),
              std::string::npos);
    EXPECT_NE(text.Text().find("smclp_temperature_celsius{server=\"n1\",name=\"a\","
                               "target=\"/system1/temperatures1/tempsensor1\"} 1\n"
                               "smclp_temperature_celsius{server=\"n3\",name=\"a\","
                               "target=\"/system1/temperatures1/tempsensor1\"} 2\n#"),
              std::string::npos);
}
