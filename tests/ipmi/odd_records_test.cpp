// SPDX-License-Identifier: Apache-2.0
// odd_records_test.cpp -- sensors whose records are unlike those of most servers, as the shell
// shows them.
#include "ipmi/served_bmc.h"

namespace
{

constexpr u8 kThreshold = 0x01;

// Beside the sensors of the rack server, whose numbers end far below.
SimMachine OddServer()
{
    SimMachine machine;
    machine.frus = RackServer().frus;
    machine.sensors = {
        {.number = 1, .name = "Inlet F", .type = 1, .eventType = kThreshold, .raw = 54, .unit = 2},
        {.number = 2,
         .name = "Core K",
         .type = 1,
         .eventType = kThreshold,
         .raw = 150,
         .unit = 3,
         .m = 2},
        {.number = 3,
         .name = "PS2 Iout",
         .type = 3,
         .eventType = kThreshold,
         .raw = 8,
         .unit = 5,
         .rExp = -1},
        {.number = 4,
         .name = "Current Power",
         .type = 3,
         .eventType = kThreshold,
         .raw = 172,
         .unit = 6},
        {.number = 5, .name = "Total", .type = 0x0B, .eventType = kThreshold, .raw = 90, .unit = 6},
        {.number = 6,
         .name = "Supply In",
         .type = 8,
         .eventType = kThreshold,
         .raw = 91,
         .unit = 6},
        {.number = 7,
         .name = "Air Flow",
         .type = 4,
         .eventType = kThreshold,
         .raw = 23,
         .unit = 17},
        {.number = 8,
         .name = "Fan 1",
         .type = 4,
         .eventType = kThreshold,
         .raw = 50,
         .unit = 18,
         .m = 100},
        {.number = 9,
         .name = "Lid",
         .type = 5,
         .eventType = 0x03,
         .raw = 0x01,
         .record = SimRecord::Compact},
        {.number = 10,
         .name = "Cover",
         .type = 5,
         .eventType = 0x03,
         .raw = 0x02,
         .record = SimRecord::Compact},
        {.number = 11,
         .name = "Detector",
         .type = 5,
         .eventType = 0x09,
         .raw = 0x02,
         .record = SimRecord::Compact},
        {.number = 12,
         .name = "Perf",
         .type = 192,
         .eventType = 0x03,
         .raw = 0x01,
         .record = SimRecord::Compact},
    };
    return machine;
}

class OddRecords : public ServedBmc
{
protected:
    OddRecords() : ServedBmc(OddServer()) {}
};

}  // namespace

TEST_F(OddRecords, UnitsDecideThePlaceAndTheName)
{
    ServeUnready();
    ASSERT_TRUE(WaitUntil([&] {
        return Property("/system1/fans1/tachsensor1", "ElementName") != "";
    })) << service->Log();
    const struct {
        const char *target;
        const char *name;
        const char *reading;
        const char *units;
    } rows[] = {
        {"temperatures1/tempsensor1", "Inlet F", "12.2", "C"},
        {"temperatures1/tempsensor2", "Core K", "27", "C"},
        {"powermonitor1/numericsensor1", "PS2 Iout Current", "0.8", "AMP"},
        {"powermonitor1/numericsensor2", "current Power", "172", "Watts"},
        {"powermonitor1/numericsensor3", "Total", "90", "Watts"},
        {"powermonitor1/numericsensor4", "Supply In", "91", "Watts"},
        {"fans1/tachsensor1", "Fan 1", "5000", "RPM"},
    };
    for (const auto &row : rows) {
        const std::string target = std::string("/system1/") + row.target;
        EXPECT_EQ(Property(target, "ElementName"), row.name) << target;
        EXPECT_EQ(Property(target, "CurrentReading"), row.reading) << target;
        EXPECT_EQ(Property(target, "BaseUnits"), row.units) << target;
    }
    EXPECT_EQ(Property("/system1/fans1/tachsensor2", "ElementName"), "");
    EXPECT_NE(service->Log().find("not shown, since no target fits: Air Flow (CFM), Detector"),
              std::string::npos)
        << service->Log();
}

// The answer says that the record is longer than it is.
TEST_F(OddRecords, OneBadRecordCostsOneSensor)
{
    constexpr u8 kBad = 3;  // the id of the record of "Core K"
    PutRelay();
    relay->Edit(kIpmiSdrRecord, [](std::vector<u8> *data) {
        constexpr size_t kHeader = 3;  // behind the completion code and the next record's id
        if (data->size() >= kHeader + 5 && (*data)[kHeader] == kBad && (*data)[kHeader + 1] == 0 &&
            (*data)[kHeader + 2] == 0x51)
            (*data)[kHeader + 4] = static_cast<u8>((*data)[kHeader + 4] + 40);
    });
    ServeUnready({.cipherSuite = 0});
    EXPECT_TRUE(WaitUntil([&] {
        return Property("/system1/fans1/tachsensor1", "ElementName") == "Fan 1";
    })) << service->Log();
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor1", "ElementName"), "Inlet F");
    EXPECT_EQ(Property("/system1/temperatures1/tempsensor2", "ElementName"), "");
    EXPECT_EQ(Property("/system1/intrusion1/sensor2", "ElementName"), "Cover");
    EXPECT_NE(service->Log().find("sensor record 0x0003 is left out"), std::string::npos)
        << service->Log();
}

TEST_F(OddRecords, AStateIsWhatItsEventTypeSays)
{
    ServeUnready();
    ASSERT_TRUE(WaitUntil([&] {
        return Property("/system1/intrusion1/sensor1", "ElementName") != "";
    })) << service->Log();
    EXPECT_EQ(Property("/system1/intrusion1/sensor1", "CurrentState"), "no intrusion");
    EXPECT_EQ(Property("/system1/intrusion1/sensor2", "ElementName"), "Cover");
    EXPECT_EQ(Property("/system1/intrusion1/sensor2", "CurrentState"), "chassis intrusion");
    EXPECT_EQ(Property("/system1/intrusion1/sensor3", "ElementName"), "");
    EXPECT_EQ(Property("/system1/hardwareperformance1/sensor1", "CurrentState"), "Normal");
}
