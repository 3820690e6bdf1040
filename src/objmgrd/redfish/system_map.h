// SPDX-License-Identifier: Apache-2.0
// system_map.h -- which system and chassis are the machine, who it is, and its power in words.
#ifndef OBJMGRD_REDFISH_SYSTEM_MAP_H
#define OBJMGRD_REDFISH_SYSTEM_MAP_H

#include "objmgrd/instances.h"
#include "objmgrd/redfish/sensor_map.h"

// ---- the service's root ----

struct ServiceRoot {
    std::string systems;  // addresses; "" where there is none
    std::string chassis;
    std::string managers;
    std::string sessions;  // where sessions are made
    bool expand = false;   // collections can be asked for with their members (levels=1)
    bool top = false;      // ... and for a part of their members
};
ServiceRoot ServiceRootOf(const Origin &origin, JsonValue document);

// ---- the power state ----

enum class HostPower : u8 { Unknown, On, Off };
HostPower HostPowerOf(JsonValue system);

// ---- who it is ----

struct SystemFacts {
    std::string serviceTag;
    std::string description;
    std::string hostName;
    std::string oem;  // "0": not told
    bool operator==(const SystemFacts &) const = default;
};
// chassis: of the machine, the first one that tells something counts. skuIsTag: the service tag is
// the SKU, for machines whose label shows that.
SystemFacts SystemFactsOf(JsonValue system, const std::vector<JsonValue> &chassis, bool skuIsTag);

// PowerStatus has the status kCimFailed while the state is unknown.
Instance SystemInstance(const SystemFacts &facts, HostPower power);

// ---- which chassis are the machine ----

struct ChassisDocument {
    std::string link;    // from the collection
    JsonValue document;  // none: it could not be read
};

// Those of `all` that belong to the system, in the order of `all`: linked from the system, naming
// the system, or contained in one of these. None of these: all where there is one system only,
// else the one with the system's Id. Places in `all`.
std::vector<size_t> ChassisOf(const Origin &origin, const std::string &systemLink, JsonValue system,
                              bool onlySystem, const std::vector<ChassisDocument> &all);

// ---- what the power methods send ----

enum class PowerOrder : u8 { Start, Stop, Reset, Cycle };

struct ResetAction {
    std::string target;      // address; "" where there is none
    std::string actionInfo;  // address of what tells the values; "" where there is none
    bool known = false;      // `values` is what is allowed
    std::vector<std::string> values;
};
ResetAction ResetActionOf(const Origin &origin, JsonValue system);
// The values of an ActionInfo document; the action stays unknown where it has none.
void TakeActionInfo(JsonValue document, ResetAction *action);

// The ResetType to send: the first allowed one that is right. "" where none is. offThenOn: of a
// cycle only, no single value does it but the two steps can be done. Gentle ways, the button and
// interrupts are never sent: they ask the host, which need not follow.
struct ResetChoice {
    std::string type;
    bool offThenOn = false;
};
ResetChoice ChooseReset(const ResetAction &action, PowerOrder order);

#endif
