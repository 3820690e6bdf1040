// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/system_map.
#include "objmgrd/redfish/system_map.h"

#include "documents.h"

namespace
{

class SystemMap : public testing::Test
{
protected:
    // "0 2": which of the chassis, each a document under /C/ and its place.
    std::string Chassis(const char *system, bool onlySystem,
                        std::initializer_list<const char *> all)
    {
        std::vector<ChassisDocument> documents;
        for (const char *document : all)
            documents.push_back({"/C/" + std::to_string(documents.size()),
                                 *document == '\0' ? JsonValue() : read(document)});
        std::string places;
        for (size_t place : ChassisOf(kHere, "/S/1", read(system), onlySystem, documents))
            places += (places.empty() ? "" : " ") + std::to_string(place);
        return places;
    }
    std::string Reset(const char *values, PowerOrder order)
    {
        ResetAction action;
        if (*values != '\0') {
            action = ResetActionOf(
                kHere, read(std::string("{'Actions': {'#ComputerSystem.Reset': {'target': '/r',"
                                        " 'ResetType@Redfish.AllowableValues': [") +
                            values + "]}}}"));
        }
        const ResetChoice choice = ChooseReset(action, order);
        return choice.offThenOn ? "off, on" : choice.type;
    }
    Documents read;
};

}  // namespace

TEST_F(SystemMap, Root)
{
    const ServiceRoot root = ServiceRootOf(
        kHere,
        read("{'Systems': {'@odata.id': '/s'}, 'Chassis': {'@odata.id': '/c/'},"
             " 'Managers': {'@odata.id': 'https://evil/m'},"
             " 'Links': {'Sessions': {'@odata.id': '/n'}},"
             " 'ProtocolFeaturesSupported': {'ExpandQuery': {'NoLinks': true, 'Levels': true},"
             " 'TopSkipQuery': true}}"));
    EXPECT_EQ(root.systems, "/s");
    EXPECT_EQ(root.chassis, "/c/");
    EXPECT_EQ(root.managers, "");
    EXPECT_EQ(root.sessions, "/n");
    EXPECT_TRUE(root.expand);
    EXPECT_TRUE(root.top);
    EXPECT_FALSE(ServiceRootOf(kHere, read("{}")).expand);
}

TEST_F(SystemMap, PowerInWords)
{
    const auto power = [&](const char *word) {
        return HostPowerOf(read(std::string("{'PowerState': ") + word + "}"));
    };
    EXPECT_EQ(power("'On'"), HostPower::On);
    EXPECT_EQ(power("'PoweringOff'"), HostPower::On);
    EXPECT_EQ(power("'Paused'"), HostPower::On);
    EXPECT_EQ(power("'Off'"), HostPower::Off);
    EXPECT_EQ(power("'PoweringOn'"), HostPower::Off);
    EXPECT_EQ(power("null"), HostPower::Unknown);
    EXPECT_EQ(power("'on'"), HostPower::Unknown);
    EXPECT_EQ(power("true"), HostPower::Unknown);
    EXPECT_EQ(HostPowerOf(JsonValue()), HostPower::Unknown);
}

TEST_F(SystemMap, WhoItIs)
{
    EXPECT_EQ(SystemFactsOf(read("{'SerialNumber': ' QX7 ', 'Model': 'M1', 'HostName': 'db',"
                                 " 'Manufacturer': 'Maker', 'UUID': 'u', 'SKU': 's'}"),
                            {}, false),
              (SystemFacts{"QX7", "M1", "db", "Maker"}));
    EXPECT_EQ(SystemFactsOf(read("{'UUID': 'u', 'SerialNumber': null, 'SKU': 's'}"),
                            {read("{'Model': ''}"),
                             read("{'SerialNumber': 'C2', 'Model': 'CM', 'Manufacturer': 'CMF'}")},
                            false),
              (SystemFacts{"C2", "CM", "", "CMF"}));
    EXPECT_EQ(SystemFactsOf(read("{'UUID': 'u', 'SKU': 's'}"), {}, false),
              (SystemFacts{"u", "", "", "0"}));
    EXPECT_EQ(SystemFactsOf(read("{'SerialNumber': 'n', 'SKU': 's'}"), {}, true).serviceTag, "s");
    EXPECT_EQ(SystemFactsOf(read("{'SerialNumber': 'n'}"), {}, true).serviceTag, "n");
    EXPECT_EQ(SystemFactsOf(read("{}"), {}, false), (SystemFacts{"", "", "", "0"}));
}

TEST_F(SystemMap, UnknownPowerIsNeverOff)
{
    const SystemFacts facts = {"tag", "model", "name", "maker"};
    EXPECT_EQ(TextIn(SystemInstance(facts, HostPower::On), "PowerStatus"), "ON");
    EXPECT_EQ(TextIn(SystemInstance(facts, HostPower::Off), "PowerStatus"), "OFF");
    const Instance unknown = SystemInstance(facts, HostPower::Unknown);
    EXPECT_EQ(TextIn(unknown, "PowerStatus"), "(status 1)");
    EXPECT_EQ(TextIn(unknown, "ServiceTag"), "tag");
    EXPECT_EQ(TextIn(unknown, "Description"), "model");
    EXPECT_EQ(TextIn(unknown, "HostName"), "name");
    EXPECT_EQ(TextIn(unknown, "Oem"), "maker");
}

TEST_F(SystemMap, ChassisByLinks)
{
    const char *linked = "{'Links': {'Chassis': [{'@odata.id': '/C/1/'}]}}";
    EXPECT_EQ(Chassis(linked, false, {"{}", "{}", "{}"}), "1");
    EXPECT_EQ(Chassis("{}", false,
                      {"{'Links': {'ComputerSystems': [{'@odata.id': '/S/2'}]}}",
                       "{'Links': {'ComputerSystems': [{'@odata.id': '/S/1/'}]}}"}),
              "1");
    // What these contain, however deep.
    EXPECT_EQ(Chassis(linked, false,
                      {"{}", "{'Links': {'Contains': [{'@odata.id': '/C/3'}]}}", "{}",
                       "{'Links': {'Contains': [{'@odata.id': '/C/2'}]}}"}),
              "1 2 3");
    // A linked chassis that is not there; its child says whose it is.
    EXPECT_EQ(Chassis("{'Links': {'Chassis': [{'@odata.id': '/C/9'}]}}", false,
                      {"{'Links': {'ContainedBy': {'@odata.id': '/C/9'}}}", "{}"}),
              "0");
}

TEST_F(SystemMap, ChassisWithoutLinks)
{
    EXPECT_EQ(Chassis("{'Id': '1'}", true, {"{'Id': 'a'}", "{'Id': 'b'}"}), "0 1");
    EXPECT_EQ(Chassis("{'Id': '1'}", false, {"{'Id': 'a'}", "{'Id': '1'}"}), "1");
    EXPECT_EQ(Chassis("{}", false, {"{}", ""}), "");
}

TEST_F(SystemMap, WhatPowerMethodsSend)
{
    const char *all = "'On', 'ForceOff', 'GracefulShutdown', 'GracefulRestart', 'ForceRestart',"
                      " 'Nmi', 'ForceOn', 'PushPowerButton', 'PowerCycle'";
    EXPECT_EQ(Reset(all, PowerOrder::Start), "On");
    EXPECT_EQ(Reset(all, PowerOrder::Stop), "ForceOff");
    EXPECT_EQ(Reset(all, PowerOrder::Reset), "ForceRestart");
    EXPECT_EQ(Reset(all, PowerOrder::Cycle), "PowerCycle");
    EXPECT_EQ(Reset("'ForceOn', 'ForceOff'", PowerOrder::Start), "ForceOn");
    EXPECT_EQ(Reset("'ForceOn', 'ForceOff'", PowerOrder::Cycle), "off, on");
    const char *gentle = "'GracefulShutdown', 'GracefulRestart', 'PushPowerButton', 'Nmi'";
    for (PowerOrder order :
         {PowerOrder::Start, PowerOrder::Stop, PowerOrder::Reset, PowerOrder::Cycle})
        EXPECT_EQ(Reset(gentle, order), "");
    EXPECT_EQ(Reset("'ForceOff'", PowerOrder::Cycle), "");
    // Nothing is told: try.
    EXPECT_EQ(Reset("", PowerOrder::Start), "On");
    EXPECT_EQ(Reset("", PowerOrder::Stop), "ForceOff");
    EXPECT_EQ(Reset("", PowerOrder::Reset), "ForceRestart");
    EXPECT_EQ(Reset("", PowerOrder::Cycle), "off, on");
}

TEST_F(SystemMap, ValuesOfAnActionInfo)
{
    ResetAction action = ResetActionOf(
        kHere, read("{'Actions': {'#ComputerSystem.Reset': {'target': 'https://bmc.example/r',"
                    " '@Redfish.ActionInfo': '/info'}}}"));
    EXPECT_EQ(action.target, "/r");
    EXPECT_EQ(action.actionInfo, "/info");
    EXPECT_FALSE(action.known);
    TakeActionInfo(read("{'Parameters': [{'Name': 'Other', 'AllowableValues': ['x']}]}"), &action);
    EXPECT_FALSE(action.known);
    TakeActionInfo(read("{'Parameters': [{'Name': 'ResetType', 'AllowableValues': ['On', 3]}]}"),
                   &action);
    EXPECT_TRUE(action.known);
    EXPECT_EQ(action.values, (std::vector<std::string>{"On"}));
    EXPECT_EQ(ResetActionOf(kHere, read("{}")).target, "");
}
