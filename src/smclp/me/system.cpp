// SPDX-License-Identifier: Apache-2.0
// system.cpp -- /system1, the managed host computer.
//
// Shows constants and three live texts, and carries out start, stop and reset. The state
// properties do not follow the host's power: deliberate.
#include "smclp/me/system.h"
#include "platform/str.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/host_power.h"
#include "smclp/me/kinds.h"

namespace
{

constexpr char kUnit[] = "system";

// The value is left as it is after a failure, so an earlier one shows again: deliberate.
u32 ReadSystemProperty(const PropertyRequest &request)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    const CimStatus status = connection.GetProperty(kSystemClass, request.argument, request.value,
                                                    static_cast<u16>(request.length));
    return status == kCimOk ? kMeOk : kMeFailed;
}

// Fine whatever the status says: deliberate.
u32 ReadServiceTag(const PropertyRequest &request)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    connection.GetProperty(kSystemClass, kPropertyServiceTag, request.value, kServiceTagSize);
    return kMeOk;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"CreationClassName", FromText,           "CIM_ComputerSystem"},
    {"Name",              ReadServiceTag,     nullptr},
    {"NameFormat",        FromText,           "other"},
    {"Dedicated",         FromText,           "0"},   // CIM: not dedicated
    {"ResetCapability",   FromText,           "4"},   // CIM: enabled
    {"EnabledState",      FromText,           "2"},   // CIM: enabled
    {"RequestedState",    FromText,           "12"},  // CIM: not applicable
    {"EnabledDefault",    FromText,           "2"},   // CIM: enabled
    {"HealthState",       FromText,           "5"},   // CIM: OK
    {"OperationalStatus", FromText,           "2"},   // CIM: OK
    {"Description",       ReadSystemProperty, kPropertyDescription},
    {"ElementName",       ReadSystemProperty, kPropertyHostName},
    // clang-format on
};
constexpr u32 kVerbs[] = {kCommandCd,   kCommandExit,  kCommandHelp, kCommandReset,
                          kCommandShow, kCommandStart, kCommandStop, kCommandVersion};
constexpr ElementKind kKind = {
    .unit = kUnit,
    .name = "system",
    .description = "This target is used to manage system settings and operations",
    .kindId = kMeSystem,
    .parentKindId = kMeRoot,
    .verbs = kVerbs,
    .rows = kRows,
};

}  // namespace

u32 MeSystemPowerOperation(u32, u32 operation)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    if (!ObjMgrHandOverPrivilege(connection))
        return kMeNoPrivilege;
    char powerStatus[kPowerStatusSize];
    const u32 result = HostPowerRead(connection, kUnit, __LINE__, powerStatus);
    if (result != kMeOk)
        return result;
    const u8 wanted = static_cast<u8>(operation);
    if (wanted > kPowerReset)  // a power cycle is not the system's to do
        return kMeFailed;
    return HostPowerRequest(connection, kUnit, __LINE__, static_cast<PowerOperation>(wanted),
                            powerStatus);
}

u32 MeSystemStart(ManagedElement *)
{
    return MeSystemPowerOperation(1, kPowerStart);
}

u32 MeSystemStop(ManagedElement *)
{
    return MeSystemPowerOperation(1, kPowerStop);
}

u32 MeSystemReset(ManagedElement *)
{
    return MeSystemPowerOperation(1, kPowerReset);
}

u32 MeSystemMethod(ManagedElement *element, char *operation, u32, u32)
{
    if (element == nullptr || operation == nullptr)
        return kMeBadArgument;
    if (StrEqual(operation, "reset"))
        return MeSystemReset(element);
    if (StrEqual(operation, "stop"))
        return MeSystemStop(element);
    if (StrEqual(operation, "start"))
        return MeSystemStart(element);
    return kMeBadArgument;
}

ME_ONE_INSTANCE(MeSystem)
ME_ADD_VERBS(MeSystem, kKind)
ME_ADD_PROPERTIES(MeSystem, kKind)

u32 MeSystemRefreshProperties(ManagedElement *, const char *name, char *value, u32 length)
{
    if (length < kMeMinRefreshLength || value == nullptr)
        return kMeFailed;
    const PropertyRow *row = MeFindPropertyRow(kKind, name);
    if (row == nullptr)
        return kMeFailed;
    return row->source({row->argument, 0, value, length, nullptr});
}

void MeSystem(ManagedElement *element)
{
    ME_FILL_IN(MeSystem, kKind, element);
    element->method = MeSystemMethod;
}
