// SPDX-License-Identifier: Apache-2.0
// system_map.cpp -- see system_map.h.
#include "objmgrd/redfish/system_map.h"

#include <algorithm>
#include <set>

namespace
{

struct PowerRow {
    const char *word;
    HostPower power;
};

constexpr PowerRow kPowerRows[] = {
    {"On", HostPower::On},   {"PoweringOff", HostPower::On}, {"Paused", HostPower::On},
    {"Off", HostPower::Off}, {"PoweringOn", HostPower::Off},
};

std::string FirstOf(JsonValue system, const std::vector<JsonValue> &chassis, const char *name)
{
    std::string text = system[name].Text();
    for (size_t i = 0; text.empty() && i < chassis.size(); ++i)
        text = chassis[i][name].Text();
    return text;
}

// The addresses in a list of links.
std::set<std::string> NamesIn(const Origin &origin, JsonValue list)
{
    std::set<std::string> names;
    for (size_t i = 0; i < list.Size(); ++i) {
        const std::string link = LinkOf(origin, list[i]);
        if (!link.empty())
            names.insert(LinkName(link));
    }
    return names;
}

// By number of PowerOrder: what does it, best first.
struct OrderRow {
    PowerOrder order;
    const char *types[2];
};

constexpr OrderRow kOrders[] = {
    {PowerOrder::Start, {"On", "ForceOn"}},
    {PowerOrder::Stop, {"ForceOff", nullptr}},
    {PowerOrder::Reset, {"ForceRestart", nullptr}},
    {PowerOrder::Cycle, {"PowerCycle", nullptr}},
};

bool Allows(const ResetAction &action, const char *type)
{
    return std::find(action.values.begin(), action.values.end(), type) != action.values.end();
}

std::vector<std::string> TextsIn(JsonValue list)
{
    std::vector<std::string> texts;
    for (size_t i = 0; i < list.Size(); ++i) {
        std::string text = list[i].Text();
        if (!text.empty())
            texts.push_back(std::move(text));
    }
    return texts;
}

}  // namespace

ServiceRoot ServiceRootOf(const Origin &origin, JsonValue document)
{
    ServiceRoot root;
    root.systems = LinkOf(origin, document["Systems"]);
    root.chassis = LinkOf(origin, document["Chassis"]);
    root.managers = LinkOf(origin, document["Managers"]);
    root.sessions = LinkOf(origin, document["Links"]["Sessions"]);
    const JsonValue features = document["ProtocolFeaturesSupported"];
    root.expand = features["ExpandQuery"]["NoLinks"].IsTrue();
    root.top = features["TopSkipQuery"].IsTrue();
    return root;
}

HostPower HostPowerOf(JsonValue system)
{
    const std::string word = system["PowerState"].Text();
    for (const PowerRow &row : kPowerRows) {
        if (word == row.word)
            return row.power;
    }
    return HostPower::Unknown;
}

SystemFacts SystemFactsOf(JsonValue system, const std::vector<JsonValue> &chassis, bool skuIsTag)
{
    SystemFacts facts;
    if (skuIsTag)
        facts.serviceTag = FirstOf(system, chassis, "SKU");
    if (facts.serviceTag.empty())
        facts.serviceTag = FirstOf(system, chassis, "SerialNumber");
    if (facts.serviceTag.empty())
        facts.serviceTag = system["UUID"].Text();
    facts.description = FirstOf(system, chassis, "Model");
    facts.hostName = system["HostName"].Text();
    facts.oem = FirstOf(system, chassis, "Manufacturer");
    if (facts.oem.empty())
        facts.oem = "0";
    return facts;
}

Instance SystemInstance(const SystemFacts &facts, HostPower power)
{
    Instance instance;
    if (power == HostPower::Unknown)
        instance.properties.push_back({"PowerStatus", kCimFailed, ""});
    else
        instance.properties.push_back(
            {"PowerStatus", kCimOk, power == HostPower::On ? "ON" : "OFF"});
    instance.properties.push_back({"ServiceTag", kCimOk, facts.serviceTag});
    instance.properties.push_back({"Description", kCimOk, facts.description});
    instance.properties.push_back({"HostName", kCimOk, facts.hostName});
    instance.properties.push_back({"Oem", kCimOk, facts.oem});
    return instance;
}

std::vector<size_t> ChassisOf(const Origin &origin, const std::string &systemLink, JsonValue system,
                              bool onlySystem, const std::vector<ChassisDocument> &all)
{
    const std::set<std::string> linked = NamesIn(origin, system["Links"]["Chassis"]);
    const std::string systemName = LinkName(systemLink);
    std::set<std::string> wanted = linked;
    for (const ChassisDocument &chassis : all) {
        const auto systems = NamesIn(origin, chassis.document["Links"]["ComputerSystems"]);
        if (systems.count(systemName) != 0)
            wanted.insert(LinkName(chassis.link));
    }
    // What these contain, and what that contains. A chassis that is not there can contain others
    // all the same: they name it.
    for (size_t before = 0; before != wanted.size();) {
        before = wanted.size();
        for (const ChassisDocument &chassis : all) {
            const JsonValue links = chassis.document["Links"];
            if (wanted.count(LinkName(chassis.link)) != 0)
                wanted.merge(NamesIn(origin, links["Contains"]));
            const std::string holder = LinkOf(origin, links["ContainedBy"]);
            if (!holder.empty() && wanted.count(LinkName(holder)) != 0)
                wanted.insert(LinkName(chassis.link));
        }
    }
    std::vector<size_t> places;
    for (size_t i = 0; i < all.size(); ++i) {
        if (wanted.count(LinkName(all[i].link)) != 0)
            places.push_back(i);
    }
    if (!places.empty())
        return places;
    for (size_t i = 0; i < all.size(); ++i) {
        const std::string id = all[i].document["Id"].Text();
        if (onlySystem || (!id.empty() && id == system["Id"].Text()))
            places.push_back(i);
    }
    return places;
}

ResetAction ResetActionOf(const Origin &origin, JsonValue system)
{
    const JsonValue reset = system["Actions"]["#ComputerSystem.Reset"];
    ResetAction action;
    action.target = LinkOf(origin, reset["target"].RawText());
    action.actionInfo = LinkOf(origin, reset["@Redfish.ActionInfo"].RawText());
    const JsonValue values = reset["ResetType@Redfish.AllowableValues"];
    action.known = values.IsArray();
    action.values = TextsIn(values);
    return action;
}

void TakeActionInfo(JsonValue document, ResetAction *action)
{
    const JsonValue parameters = document["Parameters"];
    for (size_t i = 0; i < parameters.Size(); ++i) {
        const JsonValue values = parameters[i]["AllowableValues"];
        if (!parameters[i]["Name"].IsText("ResetType") || !values.IsArray())
            continue;
        action->known = true;
        action->values = TextsIn(values);
    }
}

ResetChoice ChooseReset(const ResetAction &action, PowerOrder order)
{
    const OrderRow &row = kOrders[static_cast<u32>(order)];
    if (!action.known) {
        // PowerCycle is what few services know: the two steps are the surer way.
        if (order == PowerOrder::Cycle)
            return {"", true};
        return {row.types[0], false};
    }
    for (const char *type : row.types) {
        if (type != nullptr && Allows(action, type))
            return {type, false};
    }
    const bool both = order == PowerOrder::Cycle && Allows(action, "ForceOff") &&
                      (Allows(action, "On") || Allows(action, "ForceOn"));
    return {"", both};
}
