// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/sensor_map.
#include "objmgrd/redfish/sensor_map.h"

#include "documents.h"

namespace
{

class SensorMap : public testing::Test
{
protected:
    Instance New(const std::string &document, SensorKind kind,
                 SensorSource source = SensorSource::Sensors)
    {
        ChassisView view;
        const Resource resource = {"/C/1/x", read(document)};
        view.sensors = view.fans = view.supplies = view.batteries = {resource};
        view.chassis = resource;
        view.thermalSubsystem = view.powerSubsystem = resource;
        return Only(SensorsIn(view, kind, source));
    }
    // entry: in the list of the kind.
    Instance Old(const char *list, const std::string &entry, SensorKind kind)
    {
        ChassisView view;
        view.thermal =
            view.power = {"/C/1/t", read(std::string("{'") + list + "': [" + entry + "]}")};
        const bool thermal = kind == SensorKind::Temperature || kind == SensorKind::Fan ||
                             kind == SensorKind::FanRedundancy;
        return Only(SensorsIn(view, kind, thermal ? SensorSource::Thermal : SensorSource::Power));
    }
    Instance Temperature(const std::string &members)
    {
        return New("{'ReadingType': 'Temperature', 'ReadingUnits': 'Cel'" + members + "}",
                   SensorKind::Temperature);
    }
    std::string Reading(const char *units, SensorKind kind, const char *type = "")
    {
        std::string document = std::string("{'Reading': 12.5, 'ReadingUnits': '") + units + "'";
        if (*type != '\0')
            document += std::string(", 'ReadingType': '") + type + "'";
        return TextIn(New(document + "}", kind), "Reading");
    }
    // "LowerCaution UpperCaution LowerCritical UpperCritical" as clients see them.
    static std::string Limits(const Instance &instance)
    {
        return TextIn(instance, "WarningThresholdMin") + " " +
               TextIn(instance, "WarningThresholdMax") + " " +
               TextIn(instance, "FailThresholdMin") + " " + TextIn(instance, "FailThresholdMax");
    }
    static Instance Only(const std::vector<Sensor> &sensors)
    {
        if (sensors.size() != 1)
            return {};
        std::vector<Sensor> named = sensors;
        NameSensors(&named);
        return SensorInstance(1, named[0]);
    }
    Documents read;
};

std::string NewLimits(const char *lowerCaution, const char *upperCaution, const char *lowerCritical,
                      const char *upperCritical)
{
    const auto one = [](const char *name, const char *value) {
        return std::string(" '") + name + "': {'Reading': " + value + "}";
    };
    return ", 'Thresholds': {" + one("LowerCaution", lowerCaution) + "," +
           one("UpperCaution", upperCaution) + "," + one("LowerCritical", lowerCritical) + "," +
           one("UpperCritical", upperCritical) + "}";
}

std::string Names(std::vector<Sensor> sensors)
{
    NameSensors(&sensors);
    std::string names;
    for (const Sensor &sensor : sensors)
        names += (names.empty() ? "" : ", ") + sensor.name;
    return names;
}

Sensor Named(SensorKind kind, const char *name, const char *shortId = "")
{
    Sensor sensor;
    sensor.kind = kind;
    sensor.told = name;
    sensor.shortId = shortId;
    return sensor;
}

}  // namespace

TEST_F(SensorMap, ATemperatureIsWhole)
{
    const Instance instance = Temperature(
        ", 'Id': 'cpu', 'Name': 'CPU 1', 'Reading': 45.5, 'Status': {'State': 'Enabled',"
        " 'Health': 'OK'}" +
        NewLimits("5", "85", "0", "95.25"));
    const char *expected[][2] = {
        {"Index", "1"},
        {"Type", "1"},
        {"Format", "1"},
        {"Name", "CPU 1"},
        {"Reading", "45.5"},
        {"WarningThresholdMin", "5"},
        {"WarningThresholdMax", "85"},
        {"FailThresholdMin", "0"},
        {"FailThresholdMax", "95.25"},
        {"StatusText", "normal"},
    };
    ASSERT_EQ(instance.properties.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(instance.properties[i].name, expected[i][0]);
        EXPECT_EQ(instance.properties[i].text, expected[i][1]);
        EXPECT_EQ(instance.properties[i].status, kCimOk);
    }
}

TEST_F(SensorMap, NumbersHaveThreeDecimalsAtMost)
{
    EXPECT_EQ(NumberText(12), "12");
    EXPECT_EQ(NumberText(12.0004), "12");
    EXPECT_EQ(NumberText(12.0005001), "12.001");
    EXPECT_EQ(NumberText(1.1), "1.1");
    EXPECT_EQ(NumberText(100), "100");
    EXPECT_EQ(NumberText(-0.0001), "0");
    EXPECT_EQ(NumberText(-0.5), "-0.5");
    EXPECT_EQ(NumberText(1e9), "1000000000");
}

TEST_F(SensorMap, UnitsAreConverted)
{
    EXPECT_EQ(Reading("Cel", SensorKind::Temperature), "12.5");
    EXPECT_EQ(Reading("DegC", SensorKind::Temperature, "Temperature"), "12.5");
    EXPECT_EQ(Reading("", SensorKind::Temperature, "Temperature"), "12.5");
    EXPECT_EQ(Reading("V", SensorKind::Voltage), "12.5");
    EXPECT_EQ(Reading("Volts", SensorKind::Voltage), "12.5");
    EXPECT_EQ(Reading("mV", SensorKind::Voltage), "0.013");
    EXPECT_EQ(Reading("kW", SensorKind::Power), "12500");
    EXPECT_EQ(Reading("Amps", SensorKind::Current), "12.5");
    EXPECT_EQ(Reading("mA", SensorKind::Current), "0.013");
    EXPECT_EQ(Reading("RPM", SensorKind::Fan), "12.5");
    EXPECT_EQ(Reading("{rev}/min", SensorKind::Fan, "Rotational"), "12.5");
    EXPECT_EQ(Reading("%", SensorKind::Fan, "Rotational"), "12.5 %");
    // Fahrenheit would be a wrong number.
    EXPECT_EQ(Reading("[degF]", SensorKind::Temperature, "Temperature"), "N/A");
    EXPECT_EQ(Reading("V", SensorKind::Temperature, "Temperature"), "N/A");
    // Of another kind.
    EXPECT_EQ(Reading("V", SensorKind::Current), "(none)");
    EXPECT_EQ(Reading("%", SensorKind::Fan), "(none)");
    EXPECT_EQ(Reading("Hz", SensorKind::Voltage, "Frequency"), "(none)");
    EXPECT_EQ(TextIn(New("{'Reading': 7, 'ReadingUnits': '%', 'PhysicalContext': 'Fan'}",
                         SensorKind::Fan),
                     "Reading"),
              "7 %");
}

TEST_F(SensorMap, LimitsAreInTheReadingsUnit)
{
    EXPECT_EQ(Limits(New("{'ReadingUnits': 'mV', 'Reading': 1200, 'Thresholds': {'UpperCritical':"
                         " {'Reading': 1320}, 'LowerCaution': {'Reading': 1080}}}",
                         SensorKind::Voltage)),
              "1.08 N/A N/A 1.32");
}

TEST_F(SensorMap, WhatIsNoReadingIsNotAvailable)
{
    for (const char *members : {"", ", 'Reading': null", ", 'Reading': '45'", ", 'Reading': [1]",
                                ", 'Reading': 1000000001", ", 'Reading': -1000000001",
                                ", 'Reading': 0, 'Status': {'State': 'Absent'}",
                                ", 'Reading': 1, 'Status': {'State': 'Disabled'}",
                                ", 'Reading': 1, 'Status': {'State': 'UnavailableOffline'}",
                                ", 'Reading': 1, 'Status': {'State': 'StandbyOffline'}",
                                ", 'Reading': 1, 'Status': {'State': 'Deferring'}"})
        EXPECT_EQ(TextIn(Temperature(members), "Reading"), "N/A") << members;
    EXPECT_EQ(TextIn(Temperature(", 'Reading': 1000000000"), "Reading"), "1000000000");
    EXPECT_EQ(TextIn(Temperature(", 'Reading': 1, 'Status': {'State': 'InTest'}"), "Reading"), "1");
    EXPECT_EQ(TextIn(Temperature(", 'Reading': 1, 'Status': 'bad'"), "Reading"), "1");
}

TEST_F(SensorMap, AnUpperLimitOfZeroIsNone)
{
    EXPECT_EQ(Limits(Temperature(", 'Reading': 20" + NewLimits("1", "0", "null", "0"))),
              "1 N/A N/A N/A");
    EXPECT_EQ(Limits(Temperature(", 'Reading': -20" + NewLimits("null", "0", "null", "0"))),
              "N/A 0 N/A 0");
    EXPECT_EQ(Limits(Temperature(", 'Reading': 0, 'ReadingRangeMin': -128, 'ReadingRangeMax': 0" +
                                 NewLimits("null", "0", "null", "5"))),
              "N/A 0 N/A 5");
    EXPECT_EQ(Limits(Temperature(", 'Reading': 9, 'ReadingRangeMin': 0, 'ReadingRangeMax': 0" +
                                 NewLimits("null", "0", "null", "5"))),
              "N/A N/A N/A 5");
    EXPECT_EQ(Limits(Old("Temperatures",
                         "{'ReadingCelsius': 1, 'MaxReadingRangeTemp': -1,"
                         " 'UpperThresholdCritical': 0, 'LowerThresholdCritical': -128}",
                         SensorKind::Temperature)),
              "N/A N/A -128 0");
}

TEST_F(SensorMap, ALowerLimitOfZeroCountsForTemperaturesOnly)
{
    EXPECT_EQ(Limits(Temperature(", 'Reading': 20" + NewLimits("0", "80", "0", "90"))),
              "0 80 0 90");
    EXPECT_EQ(Limits(Temperature(", 'Reading': 20" + NewLimits("0", "0", "0", "0"))),
              "N/A N/A N/A N/A");
    EXPECT_EQ(
        Limits(New("{'ReadingUnits': 'V', 'Reading': 12" + NewLimits("0", "13", "0", "14") + "}",
                   SensorKind::Voltage)),
        "N/A 13 N/A 14");
}

TEST_F(SensorMap, LimitsThatDoNotCount)
{
    EXPECT_EQ(Limits(Temperature(", 'Reading': 20, 'Thresholds': {'UpperCaution': {'Reading': 80,"
                                 " 'Activation': 'Disabled'}, 'UpperCritical': {'Reading': 90,"
                                 " 'Activation': 'Increasing'}, 'UpperCautionUser': {'Reading': 1},"
                                 " 'LowerCaution': {'Reading': '5'}, 'LowerCritical': 7}")),
              "N/A N/A N/A 90");
    EXPECT_EQ(Limits(Temperature(", 'Reading': 20, 'Thresholds': null")), "N/A N/A N/A N/A");
}

TEST_F(SensorMap, HealthDecidesTheStatus)
{
    const auto status = [&](const char *health, const char *reading) {
        return TextIn(Temperature(std::string(", 'Reading': ") + reading +
                                  ", 'Status': {'State': 'Enabled', 'Health': " + health +
                                  "}, 'Thresholds': {'UpperCaution': {'Reading': 80},"
                                  " 'UpperCritical': {'Reading': 90},"
                                  " 'UpperFatal': {'Reading': 100},"
                                  " 'LowerCritical': {'Reading': 5}}"),
                      "StatusText");
    };
    EXPECT_EQ(status("'OK'", "95"), "normal");
    EXPECT_EQ(status("'Warning'", "20"), "warning");
    EXPECT_EQ(status("'Critical'", "20"), "failed");
    EXPECT_EQ(status("'Critical'", "99"), "failed");
    EXPECT_EQ(status("'Critical'", "100"), "non-recoverable");
    EXPECT_EQ(status("'Warning'", "100"), "warning");
    // No Health, or none of its words: the limits decide, at them or beyond.
    for (const char *none : {"null", "'Fine'", "'ok'", "3"}) {
        EXPECT_EQ(status(none, "79.9"), "normal");
        EXPECT_EQ(status(none, "80"), "warning");
        EXPECT_EQ(status(none, "90"), "failed");
        EXPECT_EQ(status(none, "100"), "non-recoverable");
        EXPECT_EQ(status(none, "5"), "failed");
        EXPECT_EQ(status(none, "5.1"), "normal");
    }
    EXPECT_EQ(TextIn(Temperature(", 'Reading': 20"), "StatusText"), "normal");
}

TEST_F(SensorMap, StatusWithoutAReading)
{
    const auto status = [&](const char *state, const char *health) {
        return TextIn(Temperature(std::string(", 'Status': {'State': '") + state +
                                  "', 'Health': '" + health + "'}"),
                      "StatusText");
    };
    EXPECT_EQ(status("Enabled", "OK"), "unknown");
    EXPECT_EQ(status("Enabled", "Warning"), "warning");
    EXPECT_EQ(status("UnavailableOffline", "Critical"), "failed");
    EXPECT_EQ(status("Absent", "Critical"), "unknown");
    EXPECT_EQ(status("Absent", "Warning"), "unknown");
}

TEST_F(SensorMap, Fans)
{
    const auto fan = [&](const char *members) {
        return TextIn(New(std::string("{") + members + "}", SensorKind::Fan, SensorSource::Fans),
                      "Reading");
    };
    EXPECT_EQ(fan("'SpeedPercent': {'Reading': 23, 'SpeedRPM': 4600}"), "4600");
    EXPECT_EQ(fan("'SpeedPercent': {'Reading': 23}"), "23 %");
    EXPECT_EQ(fan("'SpeedPercent': {'Reading': 23, 'SpeedRPM': null}"), "23 %");
    EXPECT_EQ(fan("'Name': 'F', 'SpeedPercent': {}"), "N/A");
    EXPECT_EQ(fan("'Status': {'State': 'Absent'}, 'SpeedPercent': {'SpeedRPM': 0}"), "N/A");

    const auto old = [&](const char *members) {
        return TextIn(Old("Fans", std::string("{") + members + "}", SensorKind::Fan), "Reading");
    };
    EXPECT_EQ(old("'Reading': 4600, 'ReadingUnits': 'RPM'"), "4600");
    EXPECT_EQ(old("'Reading': 23, 'ReadingUnits': 'Percent'"), "23 %");
    EXPECT_EQ(old("'ReadingRPM': 4600"), "4600");
    EXPECT_EQ(old("'Reading': null, 'ReadingUnits': 'RPM'"), "N/A");
    EXPECT_EQ(
        TextIn(Old("Fans", "{'FanName': 'Fan Left', 'ReadingRPM': 1}", SensorKind::Fan), "Name"),
        "Fan Left");
    EXPECT_EQ(Limits(Old("Fans",
                         "{'Reading': 23, 'ReadingUnits': 'Percent', 'LowerThresholdCritical': 10,"
                         " 'LowerThresholdNonCritical': 0}",
                         SensorKind::Fan)),
              "N/A N/A 10 % N/A");
}

TEST_F(SensorMap, OlderReadings)
{
    EXPECT_EQ(
        TextIn(Old("Temperatures", "{'ReadingCelsius': 21}", SensorKind::Temperature), "Reading"),
        "21");
    EXPECT_EQ(TextIn(Old("Voltages", "{'ReadingVolts': 12.05}", SensorKind::Voltage), "Reading"),
              "12.05");
    EXPECT_EQ(Limits(Old("Voltages",
                         "{'ReadingVolts': 12, 'LowerThresholdNonCritical': 11,"
                         " 'UpperThresholdNonCritical': 13, 'LowerThresholdCritical': 10,"
                         " 'UpperThresholdCritical': 14, 'UpperThresholdFatal': 15}",
                         SensorKind::Voltage)),
              "11 13 10 14");
    // The status of the power control speaks of its limiting.
    const Instance power =
        Old("PowerControl",
            "{'Name': 'System', 'PowerConsumedWatts': 100, 'Status': {'State': 'Disabled',"
            " 'Health': 'Critical'}}",
            SensorKind::Power);
    EXPECT_EQ(TextIn(power, "Reading"), "100");
    EXPECT_EQ(TextIn(power, "StatusText"), "normal");
}

TEST_F(SensorMap, Intrusion)
{
    const auto code = [&](const char *state) {
        return TextIn(New(std::string("{'PhysicalSecurity': {'IntrusionSensor': ") + state + "}}",
                          SensorKind::Intrusion, SensorSource::Chassis),
                      "StateValue");
    };
    EXPECT_EQ(code("'Normal'"), "520");
    EXPECT_EQ(code("'HardwareIntrusion'"), "521");
    EXPECT_EQ(code("'TamperingDetected'"), "521");
    EXPECT_EQ(code("null"), "(none)");
    EXPECT_EQ(code("'?'"), "(none)");
    const Instance instance = New("{'PhysicalSecurity': {'IntrusionSensor': 'Normal'}}",
                                  SensorKind::Intrusion, SensorSource::Chassis);
    EXPECT_EQ(TextIn(instance, "Type") + TextIn(instance, "Format"), "52");
    EXPECT_EQ(TextIn(instance, "Name"), "Intrusion");
    EXPECT_TRUE(New("{'PhysicalSecurity': {}}", SensorKind::Intrusion, SensorSource::Chassis)
                    .properties.empty());
    EXPECT_TRUE(New("{}", SensorKind::Intrusion, SensorSource::Chassis).properties.empty());
}

TEST_F(SensorMap, Batteries)
{
    const auto state = [&](const char *status) {
        return TextIn(New(std::string("{'Id': '1', 'Status': ") + status + "}", SensorKind::Battery,
                          SensorSource::Batteries),
                      "State");
    };
    EXPECT_EQ(state("{'State': 'Absent', 'Health': 'OK'}"), "absent");
    EXPECT_EQ(state("{'Health': 'OK'}"), "good");
    EXPECT_EQ(state("{'Health': 'Warning'}"), "low");
    EXPECT_EQ(state("{'Health': 'Critical'}"), "failed");
    EXPECT_EQ(state("{'State': 'Enabled'}"), "unknown");
    EXPECT_EQ(state("null"), "unknown");
}

TEST_F(SensorMap, Supplies)
{
    const auto state = [&](const char *members) {
        const std::string document = std::string("{'Name': 'PSU', ") + members + "}";
        const Instance newer = New(document, SensorKind::Supply, SensorSource::Supplies);
        const Instance older = Old("PowerSupplies", document, SensorKind::Supply);
        EXPECT_EQ(TextIn(newer, "State"), TextIn(older, "State"));
        EXPECT_EQ(TextIn(newer, "State"), TextIn(newer, "StatusText"));
        return TextIn(newer, "State");
    };
    EXPECT_EQ(state("'Status': {'State': 'Absent', 'Health': 'OK'}"), "absent");
    EXPECT_EQ(state("'Status': {'State': 'Disabled'}"), "offline");
    EXPECT_EQ(state("'Status': {'State': 'UnavailableOffline', 'Health': 'Critical'}"), "offline");
    EXPECT_EQ(state("'Status': {'State': 'StandbyOffline'}"), "offline");
    EXPECT_EQ(state("'LineInputStatus': 'LossOfInput', 'Status': {'Health': 'Critical'}"),
              "input lost");
    EXPECT_EQ(state("'LineInputStatus': 'OutOfRange'"), "input out of range");
    EXPECT_EQ(state("'LineInputStatus': 'Normal', 'Status': {'Health': 'OK'}"), "good");
    EXPECT_EQ(state("'Status': {'State': 'Enabled', 'Health': 'Warning'}"), "degraded");
    EXPECT_EQ(state("'Status': {'Health': 'Critical'}"), "failed");
    EXPECT_EQ(state("'Status': {'Health': null}"), "unknown");
}

TEST_F(SensorMap, WattageOfASupply)
{
    const auto watts = [&](const char *members) {
        ChassisView view;
        view.supplies = {{"/p", read(std::string("{") + members + "}")}};
        return SensorsIn(view, SensorKind::Supply, SensorSource::Supplies)[0].wattage;
    };
    EXPECT_EQ(watts("'PowerCapacityWatts': 799.6"), 800u);
    EXPECT_EQ(watts("'PowerCapacityWatts': 0, 'InputRanges': [{'CapacityWatts': 700},"
                    " {'OutputWattage': 900}, {'CapacityWatts': null}]"),
              900u);
    EXPECT_EQ(watts("'PowerCapacityWatts': 0"), 0u);
    EXPECT_EQ(watts("'PowerCapacityWatts': -5"), 0u);
    EXPECT_EQ(watts("'PowerCapacityWatts': 1e12"), 0u);
    EXPECT_EQ(watts("'Name': 'x'"), 0u);
}

TEST_F(SensorMap, Redundancy)
{
    const auto state = [&](const char *members) {
        const std::string entry = std::string("{") + members + "}";
        const std::string document =
            "{'FanRedundancy': [" + entry + "], 'PowerSupplyRedundancy': [" + entry + "]}";
        const std::string text = TextIn(
            New(document, SensorKind::FanRedundancy, SensorSource::ThermalSubsystem), "State");
        EXPECT_EQ(text,
                  TextIn(New(document, SensorKind::SupplyRedundancy, SensorSource::PowerSubsystem),
                         "State"));
        EXPECT_EQ(text, TextIn(Old("Redundancy", entry, SensorKind::FanRedundancy), "State"));
        return text;
    };
    EXPECT_EQ(state("'Status': {'State': 'Enabled', 'Health': 'OK'}"), "Fully Redundant");
    EXPECT_EQ(state("'Status': {'Health': 'Warning'}"), "Redundancy Degraded");
    EXPECT_EQ(state("'Status': {'Health': 'Critical'}"), "Redundancy Lost");
    EXPECT_EQ(state("'Status': {'State': 'Disabled', 'Health': 'OK'}"), "Non-redundant");
    EXPECT_EQ(state("'Mode': 'NotRedundant', 'Status': {'Health': 'OK'}"), "Non-redundant");
    EXPECT_EQ(state("'RedundancyType': 'NotRedundant'"), "Non-redundant");
    EXPECT_EQ(state("'Status': {'State': 'Absent', 'Health': 'OK'}"), "unknown");
    EXPECT_EQ(state("'Status': {'State': 'Deferring', 'Health': 'OK'}"), "unknown");
    EXPECT_EQ(state("'MemberId': '0'"), "unknown");
    EXPECT_EQ(state("'@odata.id': '/elsewhere'"), "(none)");
    const Instance supplies = Old("Redundancy", "{'MemberId': '0'}", SensorKind::SupplyRedundancy);
    EXPECT_EQ(TextIn(supplies, "Type") + TextIn(supplies, "Format"), "83");
    EXPECT_EQ(TextIn(supplies, "Name"), "Power Supply Redundancy");
}

TEST_F(SensorMap, AFailedSensorKeepsItsPlace)
{
    Sensor sensor = Named(SensorKind::Fan, "");
    sensor.name = "Fan 1";
    sensor.status = kCimFailed;
    sensor.limits[static_cast<u32>(SensorLimit::LowerCritical)] = 500;
    const Instance fan = SensorInstance(4, sensor);
    EXPECT_EQ(fan.status, kCimOk);
    EXPECT_EQ(TextIn(fan, "Index"), "4");
    EXPECT_EQ(TextIn(fan, "Type"), "4");
    EXPECT_EQ(TextIn(fan, "Name"), "Fan 1");
    EXPECT_EQ(TextIn(fan, "FailThresholdMin"), "500");
    EXPECT_EQ(TextIn(fan, "Reading"), "(status 1)");
    EXPECT_EQ(TextIn(fan, "StatusText"), "(status 1)");
    sensor.kind = SensorKind::Supply;
    EXPECT_EQ(TextIn(SensorInstance(4, sensor), "State"), "(status 1)");
    sensor.kind = SensorKind::Intrusion;
    EXPECT_EQ(TextIn(SensorInstance(4, sensor), "StateValue"), "(status 1)");
}

TEST_F(SensorMap, TheSourceWithMoreEntriesIsChosen)
{
    ChassisView view;
    const auto of = [&](SensorKind kind) { return ChooseSources(view).of[static_cast<u32>(kind)]; };
    EXPECT_EQ(of(SensorKind::Temperature), SensorSource::None);
    view.thermal = {"/t", read("{'Temperatures': [{'Name': 'a'}, {'Name': 'b'}]}")};
    EXPECT_EQ(of(SensorKind::Temperature), SensorSource::Thermal);
    const Resource celsius = {"/s/1", read("{'ReadingUnits': 'Cel'}")};
    view.sensors = {celsius};
    EXPECT_EQ(of(SensorKind::Temperature), SensorSource::Thermal);
    view.sensors = {celsius, celsius};
    EXPECT_EQ(of(SensorKind::Temperature), SensorSource::Sensors);
    EXPECT_TRUE(ChooseSources(view).Uses(SensorSource::Sensors, SensorGroups().set()));
    EXPECT_FALSE(ChooseSources(view).Uses(SensorSource::Thermal, SensorGroups().set()));
}

TEST_F(SensorMap, FansInRpmAreChosen)
{
    ChassisView view;
    const auto source = [&] { return ChooseSources(view).of[static_cast<u32>(SensorKind::Fan)]; };
    const Resource percent = {"/f/1", read("{'SpeedPercent': {'Reading': 20}}")};
    const Resource rpm = {"/f/2", read("{'SpeedPercent': {'Reading': 20, 'SpeedRPM': 900}}")};
    const Resource sensor = {"/s/1", read("{'ReadingType': 'Rotational', 'ReadingUnits': 'RPM',"
                                          " 'Reading': 900}")};
    view.sensors = {sensor};
    EXPECT_EQ(source(), SensorSource::Sensors);
    view.fans = {percent, percent};
    EXPECT_EQ(source(), SensorSource::Sensors);
    view.fans = {percent, rpm};
    EXPECT_EQ(source(), SensorSource::Fans);
    view.thermal = {"/t", read("{'Fans': [{'Name': 'a', 'Reading': 1}, {'Name': 'b', 'Reading': 2},"
                               " {'Name': 'c', 'Reading': null}]}")};
    EXPECT_EQ(source(), SensorSource::Thermal);
    view.fans = {rpm, rpm};
    EXPECT_EQ(source(), SensorSource::Thermal);  // as many in RPM, but more entries
    view.fans = {rpm, rpm, percent};
    EXPECT_EQ(source(), SensorSource::Fans);
}

TEST_F(SensorMap, OrderIsByIdAndNotByPlace)
{
    ChassisView view;
    const auto member = [&](const char *link) {
        return Resource{link, read(std::string("{'ReadingUnits': 'Cel', 'Name': '") + link + "'}")};
    };
    view.sensors = {member("/s/10"), member("/s/9"), member("/s/1")};
    EXPECT_EQ(Names(SensorsIn(view, SensorKind::Temperature, SensorSource::Sensors)),
              "/s/1, /s/9, /s/10");
    const auto older = [&](const char *entries) {
        ChassisView old;
        old.thermal = {"/t", read(std::string("{'Temperatures': [") + entries + "]}")};
        return Names(SensorsIn(old, SensorKind::Temperature, SensorSource::Thermal));
    };
    EXPECT_EQ(older("{'@odata.id': '/t#/Temperatures/10', 'Name': 'A'},"
                    "{'@odata.id': '/t#/Temperatures/2', 'Name': 'B'}"),
              "B, A");
    // The address says nothing where all have the same.
    EXPECT_EQ(older("{'@odata.id': '/t', 'MemberId': '2', 'Name': 'A'},"
                    "{'@odata.id': '/t', 'MemberId': '1', 'Name': 'B'}"),
              "B, A");
    EXPECT_EQ(older("{'Name': 'B'}, {'Name': 'A'}"), "A, B");
    EXPECT_EQ(older("{'MemberId': '0', 'Name': 'B'}, {'MemberId': '0', 'Name': 'A'}"), "A, B");
    EXPECT_EQ(older("{'Name': 'A', 'MemberId': 'x'}, 5, {'Name': 'A', 'MemberId': 'y'}"),
              "A (x), A (y)");
}

TEST_F(SensorMap, WhatSaysNothingIsNoSensor)
{
    const auto count = [&](const char *entry, SensorKind kind, SensorSource source) {
        ChassisView view;
        const std::string list = std::string("[") + entry + "]";
        const Resource member = {"/m", read(entry)};
        view.fans = view.supplies = view.batteries = view.sensors = {member};
        view.thermal = view.power = {
            "/t", read("{'Temperatures': " + list + ", 'Fans': " + list + ", 'Voltages': " + list +
                       ", 'PowerControl': " + list + ", 'PowerSupplies': " + list +
                       ", 'Redundancy': " + list + "}")};
        view.thermalSubsystem = {"/s", read("{'FanRedundancy': " + list + "}")};
        view.powerSubsystem = {"/p", read("{'PowerSupplyRedundancy': " + list + "}")};
        return SensorsIn(view, kind, source).size();
    };
    const std::pair<SensorKind, SensorSource> all[] = {
        {SensorKind::Temperature, SensorSource::Thermal},
        {SensorKind::Fan, SensorSource::Thermal},
        {SensorKind::Fan, SensorSource::Fans},
        {SensorKind::Voltage, SensorSource::Power},
        {SensorKind::Power, SensorSource::Power},
        {SensorKind::Supply, SensorSource::Power},
        {SensorKind::Supply, SensorSource::Supplies},
        {SensorKind::Battery, SensorSource::Batteries},
        {SensorKind::FanRedundancy, SensorSource::Thermal},
        {SensorKind::FanRedundancy, SensorSource::ThermalSubsystem},
        {SensorKind::SupplyRedundancy, SensorSource::PowerSubsystem},
    };
    for (const auto &[kind, source] : all) {
        for (const char *entry :
             {"{}", "{'@odata.id': '/x'}", "{'Name': null, 'Status': {}, 'Reading': null}",
              "{'@odata.id': '/x', 'Oem': {'Maker': {'Name': 'A'}}}"})
            EXPECT_EQ(count(entry, kind, source), 0u) << entry << static_cast<int>(kind);
        // A place that is empty is one.
        EXPECT_EQ(count("{'Status': {'State': 'Absent'}}", kind, source), 1u);
        EXPECT_EQ(count("{'Name': 'A'}", kind, source), 1u);
    }
    EXPECT_EQ(
        count("{'ReadingType': 'Temperature'}", SensorKind::Temperature, SensorSource::Sensors),
        1u);
    // Nor does it change what the others are known by.
    ChassisView view;
    view.thermal = {"/t", read("{'Temperatures': [{}, {'MemberId': '1', 'Name': 'A'}]}")};
    const auto sensors = SensorsIn(view, SensorKind::Temperature, SensorSource::Thermal);
    ASSERT_EQ(sensors.size(), 1u);
    EXPECT_EQ(sensors[0].id, "/t#Temperatures/1");
}

TEST_F(SensorMap, KindsOfAChassisStandTogether)
{
    ChassisView view;
    view.chassis = {"/c", read("{'PhysicalSecurity': {'IntrusionSensor': 'Normal'}}")};
    view.sensors = {{"/s/1", read("{'ReadingUnits': 'A', 'Name': 'a'}")},
                    {"/s/2", read("{'ReadingUnits': 'W', 'Name': 'w'}")},
                    {"/s/3", read("{'ReadingUnits': 'V', 'Name': 'v'}")},
                    {"/s/4", read("{'ReadingUnits': 'RPM', 'Name': 'r'}")},
                    {"/s/5", read("{'ReadingUnits': 'Cel', 'Name': 'c'}")},
                    {"/s/6", read("{'ReadingUnits': 'kWh', 'ReadingType': 'EnergykWh'}")}};
    view.supplies = {{"/p/1", read("{'Name': 'p'}")}};
    view.batteries = {{"/b/1", read("{'Name': 'b'}")}};
    view.thermalSubsystem = {
        "/t", read("{'FanRedundancy': [{'MaxNumSupported': 1}, {'MaxNumSupported': 1}]}")};
    view.powerSubsystem = {"/q", read("{'PowerSupplyRedundancy': [{'MaxNumSupported': 1}]}")};
    EXPECT_EQ(Names(SensorsOf(view, ChooseSources(view))),
              "c, r, v, w, a Current, Intrusion, b, p, Fan Redundancy 1, Fan Redundancy 2, "
              "Power Supply Redundancy");
}

TEST_F(SensorMap, NamesOfTheNameless)
{
    EXPECT_EQ(Names({Named(SensorKind::Temperature, "", "17"),
                     Named(SensorKind::Temperature, "nil", "CPU1"),
                     Named(SensorKind::Temperature, "nil", "")}),
              "Temperature 1, CPU1, Temperature 3");
    EXPECT_EQ(Names({Named(SensorKind::Fan, ""), Named(SensorKind::Voltage, ""),
                     Named(SensorKind::Power, ""), Named(SensorKind::Current, ""),
                     Named(SensorKind::Supply, ""), Named(SensorKind::Battery, "")}),
              "Fan 1, Voltage 1, Power 1, Current 1, Power Supply 1, Battery 1");
    EXPECT_EQ(
        Names({Named(SensorKind::Intrusion, "", "Self"), Named(SensorKind::Intrusion, "", "Bay")}),
        "Intrusion 1, Intrusion 2");
}

TEST_F(SensorMap, SameNamesAreToldApart)
{
    EXPECT_EQ(Names({Named(SensorKind::Fan, "Fan", "1"), Named(SensorKind::Fan, "Fan", "2"),
                     Named(SensorKind::Fan, "Fan", ""), Named(SensorKind::Temperature, "Fan")}),
              "Fan (1), Fan (2), Fan, Fan");
}

TEST_F(SensorMap, AmmetersAndOnlyTheseHaveCurrentInTheirNames)
{
    EXPECT_EQ(
        Names({Named(SensorKind::Current, "PSU1"), Named(SensorKind::Current, "Current 2"),
               Named(SensorKind::Power, "Current Power Current"),
               Named(SensorKind::Voltage, "Current"), Named(SensorKind::Power, "P", "Current1"),
               Named(SensorKind::Power, "P", "2")}),
        "PSU1 Current, Current 2, current Power current, Current, P (current1), P (2)");
}

TEST_F(SensorMap, Units)
{
    const auto unit = [](SensorKind kind, bool percent = false) {
        Sensor sensor;
        sensor.kind = kind;
        sensor.percent = percent;
        return std::string(SensorUnit(sensor));
    };
    EXPECT_EQ(unit(SensorKind::Temperature), "C");
    EXPECT_EQ(unit(SensorKind::Fan), "RPM");
    EXPECT_EQ(unit(SensorKind::Fan, true), "%");
    EXPECT_EQ(unit(SensorKind::Voltage), "V");
    EXPECT_EQ(unit(SensorKind::Power), "W");
    EXPECT_EQ(unit(SensorKind::Current), "A");
    EXPECT_EQ(unit(SensorKind::Supply), "");
}

TEST_F(SensorMap, EveryKindIsReadWithItsGroup)
{
    EXPECT_EQ(SensorGroupOf(SensorKind::Temperature), SensorGroup::Temperatures);
    EXPECT_EQ(SensorGroupOf(SensorKind::Fan), SensorGroup::Fans);
    EXPECT_EQ(SensorGroupOf(SensorKind::Voltage), SensorGroup::Voltages);
    EXPECT_EQ(SensorGroupOf(SensorKind::Power), SensorGroup::Currents);
    EXPECT_EQ(SensorGroupOf(SensorKind::Current), SensorGroup::Currents);
    for (const SensorKind kind : {SensorKind::Intrusion, SensorKind::Battery, SensorKind::Supply,
                                  SensorKind::FanRedundancy, SensorKind::SupplyRedundancy})
        EXPECT_EQ(SensorGroupOf(kind), SensorGroup::States);
    SensorChoice choice;
    choice.of[static_cast<u32>(SensorKind::Fan)] = SensorSource::Fans;
    choice.of[static_cast<u32>(SensorKind::Power)] = SensorSource::Power;
    SensorGroups fans;
    fans.set(static_cast<u32>(SensorGroup::Fans));
    SensorGroups currents;
    currents.set(static_cast<u32>(SensorGroup::Currents));
    EXPECT_TRUE(choice.Uses(SensorSource::Fans, fans));
    EXPECT_FALSE(choice.Uses(SensorSource::Fans, currents));
    EXPECT_TRUE(choice.Uses(SensorSource::Power, currents));
    EXPECT_FALSE(choice.Uses(SensorSource::Power, fans));
    EXPECT_FALSE(choice.Uses(SensorSource::Power, SensorGroups()));
}
