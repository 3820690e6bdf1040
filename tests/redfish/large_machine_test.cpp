// SPDX-License-Identifier: Apache-2.0
// A machine with 4,700 sensors in ten chassis, whose service answers in pages, compressed, with the
// members in another order each time, and can not give all of them.
#include "redfish/reader.h"

#include "support/objmgr_process.h"

#include <fcntl.h>
#include <fstream>
#include <sstream>

namespace
{

constexpr u32 kChassisCount = 10;
constexpr u32 kTemperatures = 300;  // of each chassis
constexpr u32 kVoltages = 100;
constexpr u32 kCurrents = 40;
constexpr u32 kFans = 30;
constexpr u32 kPage = 60;

const std::string kServiceRoot = "/redfish/v1";

std::string Ref(const std::string &path)
{
    return "{\"@odata.id\": \"" + path + "\"}";
}

std::string ChassisPath(u32 chassis)
{
    return kServiceRoot + "/Chassis/C" + std::to_string(chassis);
}

struct Kind {
    const char *name;
    const char *type;
    const char *units;
    u32 count;
};
constexpr Kind kKinds[] = {{"Temp", "Temperature", "Cel", kTemperatures},
                           {"Volt", "Voltage", "V", kVoltages},
                           {"Amp", "Current", "A", kCurrents}};

// What one of the sensors tells, another number for each.
u32 ReadingOf(u32 chassis, const std::string &name, u32 number)
{
    return chassis * 10'000 + static_cast<u32>(name[0]) % 10 * 1000 + number;
}

std::string SensorPath(u32 chassis, const Kind &kind, u32 number)
{
    return ChassisPath(chassis) + "/Sensors/" + kind.name + std::to_string(number);
}

class LargeMachine : public testing::Test
{
protected:
    void SetCollection(const std::string &path, const std::vector<std::string> &members)
    {
        std::string list;
        for (const std::string &member : members)
            list += (list.empty() ? "" : ", ") + Ref(member);
        service->SetDocument(path, "{\"@odata.id\": \"" + path + "\", \"Members@odata.count\": " +
                                       std::to_string(members.size()) + ", \"Members\": [" + list +
                                       "]}");
    }
    void SetChassis(u32 chassis)
    {
        const std::string path = ChassisPath(chassis);
        service->SetDocument(
            path, "{\"@odata.id\": \"" + path + "\", \"Id\": \"C" + std::to_string(chassis) +
                      "\", \"Sensors\": " + Ref(path + "/Sensors") +
                      ", \"ThermalSubsystem\": " + Ref(path + "/ThermalSubsystem") + "}");
        std::vector<std::string> sensors;
        for (const Kind &kind : kKinds) {
            for (u32 number = 1; number <= kind.count; ++number) {
                const std::string name = kind.name + std::to_string(number);
                sensors.push_back(SensorPath(chassis, kind, number));
                service->SetDocument(
                    sensors.back(),
                    "{\"@odata.id\": \"" + sensors.back() + "\", \"Id\": \"" + name +
                        "\", \"Name\": \"C" + std::to_string(chassis) + " " + name +
                        "\", \"ReadingType\": \"" + kind.type + "\", \"ReadingUnits\": \"" +
                        kind.units + "\", \"Reading\": " +
                        std::to_string(ReadingOf(chassis, kind.name, number)) +
                        ", \"Status\": {\"State\": \"Enabled\", \"Health\": \"OK\"}}");
            }
        }
        SetCollection(path + "/Sensors", sensors);
        std::vector<std::string> fans;
        for (u32 number = 1; number <= kFans; ++number) {
            fans.push_back(path + "/ThermalSubsystem/Fans/" + std::to_string(number));
            service->SetDocument(fans.back(),
                                 "{\"@odata.id\": \"" + fans.back() + "\", \"Id\": \"" +
                                     std::to_string(number) + "\", \"Name\": \"C" +
                                     std::to_string(chassis) + " Fan" + std::to_string(number) +
                                     "\", \"SpeedPercent\": {\"Reading\": 40, \"SpeedRPM\": " +
                                     std::to_string(ReadingOf(chassis, "Fan", number)) + "}}");
        }
        service->SetDocument(path + "/ThermalSubsystem",
                             "{\"Fans\": " + Ref(path + "/ThermalSubsystem/Fans") + "}");
        SetCollection(path + "/ThermalSubsystem/Fans", fans);
    }
    void Serve(SimOptions options)
    {
        options.empty = true;
        options.page = kPage;
        options.order = SimOrder::Shuffled;
        service = std::make_unique<SimService>(options);
        service->SetDocument(
            kServiceRoot, "{\"ProtocolFeaturesSupported\": {\"ExpandQuery\": {\"NoLinks\": true}},"
                          " \"Systems\": " +
                              Ref(kServiceRoot + "/Systems") + ", \"Chassis\": " +
                              Ref(kServiceRoot + "/Chassis") + ", \"Links\": {\"Sessions\": " +
                              Ref(kServiceRoot + "/SessionService/Sessions") + "}}");
        SetCollection(kServiceRoot + "/Systems", {kServiceRoot + "/Systems/S1"});
        std::string links;
        std::vector<std::string> chassis;
        for (u32 number = 1; number <= kChassisCount; ++number) {
            SetChassis(number);
            chassis.push_back(ChassisPath(number));
            links += (links.empty() ? "" : ", ") + Ref(chassis.back());
        }
        SetCollection(kServiceRoot + "/Chassis", chassis);
        service->SetDocument(kServiceRoot + "/Systems/S1", "{\"@odata.id\": \"" + kServiceRoot +
                                                               "/Systems/S1\", \"Id\": \"S1\","
                                                               " \"PowerState\": \"On\", \"Links\":"
                                                               " {\"Chassis\": [" +
                                                               links + "]}}");
    }
    void Read()
    {
        const std::string file = directory.Path() + "/password";
        const int fd = open(file.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
        EXPECT_EQ(write(fd, SimService::kPassword, strlen(SimService::kPassword)),
                  static_cast<ssize_t>(strlen(SimService::kPassword)));
        close(fd);
        RedfishSettings settings = QuickSettings(*service, directory.Path() + "/session");
        settings.answerMs = 10000;
        reader = std::make_unique<Reader>(settings, file);
        ASSERT_TRUE(WaitUntil([&] { return reader->Settles(); }, 120'000)) << reader->Why();
    }
    // "name = reading", in the order of the numbers.
    std::vector<std::string> Shown()
    {
        std::vector<std::string> shown;
        for (u32 index = 1; reader->Text(SensorKey(index), "Index") != "(none)"; ++index)
            shown.push_back(reader->Text(SensorKey(index), "Name") + " = " +
                            reader->Text(SensorKey(index), "Reading"));
        return shown;
    }
    // Of each chassis that Shown() names, in the order of its first sensor there; without the names
    // in `left`.
    static std::vector<std::string> Expected(const std::vector<std::string> &shown,
                                             const std::set<std::string> &left)
    {
        std::vector<u32> order;
        for (const std::string &line : shown) {
            const auto chassis = static_cast<u32>(atoi(line.c_str() + 1));
            if (std::find(order.begin(), order.end(), chassis) == order.end())
                order.push_back(chassis);
        }
        std::vector<std::string> expected;
        for (const u32 chassis : order) {
            const auto add = [&](const std::string &kind, u32 count, const char *suffix) {
                for (u32 number = 1; number <= count; ++number) {
                    const std::string name =
                        "C" + std::to_string(chassis) + " " + kind + std::to_string(number);
                    if (left.count(name) == 0)
                        expected.push_back(name + suffix + " = " +
                                           std::to_string(ReadingOf(chassis, kind, number)));
                }
            };
            add("Temp", kTemperatures, "");
            add("Fan", kFans, "");
            add("Volt", kVoltages, "");
            add("Amp", kCurrents, " Current");
        }
        return expected;
    }
    // Switched on again, a machine is listed anew; nobody has that reading before.
    void ListAgain(u32 index, const std::string &sensor, const std::string &reading)
    {
        const std::string system = kServiceRoot + "/Systems/S1";
        service->SetMember(system, "PowerState", "\"Off\"");
        reader->Becomes(kSystemClass, "PowerStatus", "OFF");
        service->ForgetRequests();
        service->SetMember(system, "PowerState", "\"On\"");
        const auto listed = [&] {
            SleepMs(50);
            return service->Count("GET", kServiceRoot + "/Chassis") != 0;
        };
        ASSERT_TRUE(WaitUntil(listed, 120'000));
        service->SetMember(sensor, "Reading", reading);
        ASSERT_TRUE(WaitUntil([&] { return reader->Text(SensorKey(index), "Reading") == reading; },
                              120'000));
    }

    TestDirectory directory;
    std::unique_ptr<SimService> service;
    std::unique_ptr<Reader> reader;
};

size_t Occurs(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++count;
    return count;
}

}  // namespace

TEST_F(LargeMachine, AllThatCanBeReadIsShownWhateverTheOrder)
{
    for (const SimExpand expand : {SimExpand::Works, SimExpand::Ignored}) {
        SimOptions options;
        options.expand = expand;
        options.gzip = expand == SimExpand::Works;
        options.deflate = !options.gzip;
        Serve(options);
        // Some that are gone, broken, empty, cut or denied: two in each chassis.
        std::set<std::string> left;
        for (u32 chassis = 1; chassis <= kChassisCount; ++chassis) {
            const std::string name = "C" + std::to_string(chassis) + " ";
            left.insert(name + "Temp17");
            left.insert(name + "Volt5");
            const std::string temperature = SensorPath(chassis, kKinds[0], 17);
            const std::string voltage = SensorPath(chassis, kKinds[1], 5);
            if (expand == SimExpand::Works) {
                // What stands in a page says nothing, or nothing that is a sensor's.
                service->SetDocument(temperature, Ref(temperature));
                service->SetDocument(voltage, "{\"@odata.id\": \"" + voltage +
                                                  "\", \"Id\": [5], \"ReadingType\": null,"
                                                  " \"Reading\": {}}");
                continue;
            }
            SimFault fault;
            fault.status = chassis % 3 == 0 ? 403 : chassis % 3 == 1 ? 404 : 500;
            service->SetFault(temperature, fault);
            fault = SimFault();
            fault.cut = chassis % 2 == 0;
            if (!fault.cut)
                fault.body = "{\"Reading\": NaN}";
            service->SetFault(voltage, fault);
        }
        Read();
        const std::vector<std::string> shown = Shown();
        EXPECT_EQ(shown.size(), 4700u - 20u);
        ASSERT_EQ(shown, Expected(shown, left));
        EXPECT_NE(reader->Lines().find("4680 sensors found"), std::string::npos);
        const std::string said = "resources that cannot be read: 20, the first is "
                                 "/redfish/v1/Chassis/C1/Sensors/Temp17";
        const size_t times = expand == SimExpand::Ignored ? 1 : 0;
        EXPECT_EQ(Occurs(reader->Lines(), said), times) << reader->Lines();
        // Listed again, in another order each time: every sensor keeps its number.
        const std::string sensor = SensorPath(5, kKinds[0], 300);
        const std::string before = std::to_string(ReadingOf(5, "Temp", 300));
        const auto at = std::find(shown.begin(), shown.end(), "C5 Temp300 = " + before);
        ASSERT_NE(at, shown.end());
        const u32 index = static_cast<u32>(at - shown.begin()) + 1;
        for (const std::string &reading : {std::string("7"), before})
            ListAgain(index, sensor, reading);
        EXPECT_EQ(Shown(), shown);
        EXPECT_EQ(Occurs(reader->Lines(), said), times) << reader->Lines();
        EXPECT_EQ(Occurs(reader->Lines(), "cannot be read"), times) << reader->Lines();
        reader.reset();
    }
}

TEST_F(LargeMachine, PagesBeyondTheLimitAreNamed)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    Serve(options);
    // 440 sensors in pages of two are 220 pages.
    service->Change([](SimOptions *o) { o->page = 2; });
    Read();
    const std::vector<std::string> shown = Shown();
    EXPECT_EQ(shown.size(), kChassisCount * (400 + kFans));
    EXPECT_NE(reader->Lines().find("not all pages of /redfish/v1/Chassis/C1/Sensors are read"),
              std::string::npos)
        << reader->Lines();
}
