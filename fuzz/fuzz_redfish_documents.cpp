// SPDX-License-Identifier: Apache-2.0
// fuzz_redfish_documents.cpp -- any bytes as each of the documents that a service sends.
#include "objmgrd/redfish/log_map.h"
#include "objmgrd/redfish/system_map.h"

#include <cstdlib>

namespace
{

const Origin kOrigin = {"https", "bmc.example", 443};

void Check(bool right)
{
    if (!right)
        abort();
}

// What clients get is one line of bounded length.
void CheckInstance(const Instance &instance)
{
    for (const PropertyValue &property : instance.properties) {
        Check(property.text.size() <= kStoreTextMax);
        Check(StoreSafeText(property.text) == property.text);
    }
}

void Sensors(const ChassisView &view)
{
    std::vector<Sensor> sensors = SensorsOf(view, ChooseSources(view));
    NameSensors(&sensors);
    u32 index = 0;
    for (const Sensor &sensor : sensors)
        CheckInstance(SensorInstance(++index, sensor));
}

void Log(JsonValue document)
{
    std::vector<LogEntry> entries = {LogEntryOf(document)};
    const JsonValue members = document["Members"];
    for (size_t i = 0; i < members.Size(); ++i)
        entries.push_back(LogEntryOf(members[i]));
    SortLog(&entries);
    for (const LogEntry &entry : entries)
        CheckInstance(SelRecordInstance(1, entry.times, entry.description));
    Check(ChooseLog({{LogOwner::System, "/l", document}}) <= 0);
}

void System(JsonValue document)
{
    CheckInstance(SystemInstance(SystemFactsOf(document, {document}, true), HostPowerOf(document)));
    ResetAction action = ResetActionOf(kOrigin, document);
    TakeActionInfo(document, &action);
    for (PowerOrder order :
         {PowerOrder::Start, PowerOrder::Stop, PowerOrder::Reset, PowerOrder::Cycle})
        ChooseReset(action, order);
    const ServiceRoot root = ServiceRootOf(kOrigin, document);
    Check(root.sessions.empty() || root.sessions[0] == '/');
    ChassisOf(kOrigin, "/s", document, false, {{"/c", document}, {"/d", document}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    JsonDocument document;
    if (!document.ReadResource({reinterpret_cast<const char *>(data), size}))
        return 0;
    const JsonValue root = document.Root();
    const Resource resource = {"/r/1", root};
    ChassisView view = {resource,   {resource, resource},
                        {resource}, {resource},
                        {resource}, resource,
                        resource,   resource,
                        resource};
    Sensors(view);
    const CollectionPage page = CollectionPageOf(kOrigin, root);
    Check(page.links.size() == page.members.size());
    for (size_t i = 0; i < page.links.size(); ++i)
        view.sensors.push_back({page.links[i], page.members[i]});
    Sensors(view);
    Log(root);
    System(root);
    return 0;
}
