// system.cpp -- /system1, the managed host computer.
//
// Shows constants and three live texts, and carries out start, stop and reset. The state
// properties do not follow the host's power: kept.
#include "smclp/me/system.h"
#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/command_list.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"
#include "smclp/me/objmgr_access.h"

namespace
{

constexpr char kUnit[] = "system";

// The value is left as it is after a failure, so an earlier one shows again: kept.
u32 ReadSystemProperty(const PropertyRequest &request)
{
    ObjMgrConnection connection;
    if (!connection.Connect(kUnit, __LINE__))
        return kMeFailed;
    const CimStatus status =
        connection->GetPropertyValue(connection.Handle(), kSystemClass, request.argument,
                                     static_cast<u16>(request.length), request.value);
    return status == kCimOk ? kMeOk : kMeFailed;
}

// Fine whatever the status says: kept.
u32 ReadServiceTag(const PropertyRequest &request)
{
    ObjMgrConnection connection;
    if (!connection.Connect(kUnit, __LINE__))
        return kMeFailed;
    connection->GetPropertyValue(connection.Handle(), kSystemClass, "ServiceTag", kServiceTagSize,
                                 request.value);
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
    {"Description",       ReadSystemProperty, "Description"},
    {"ElementName",       ReadSystemProperty, "HostName"},
    // clang-format on
};
constexpr PropertyTable kTable = {kUnit, kRows};

enum PowerOperation : u8 { kStart = 0, kStop = 1, kReset = 2 };

// The method for an operation, or null with the result that says why not.
const char *ChooseMethod(u8 operation, bool hostOn, u32 *result)
{
    if (operation == kStart)
        *result = kMeHostOn;
    else if (operation == kStop || operation == kReset)
        *result = kMeHostOff;
    if (hostOn)
        return operation == kStop ? "Stop" : operation == kReset ? "Reset" : nullptr;
    return operation == kStart ? "Start" : nullptr;
}

u32 OperateOver(const ObjMgrConnection &connection, u8 operation)
{
    if (!ObjMgrHandOverPrivilege(connection.operator->(), connection.Handle()))
        return kMeNoPrivilege;

    char powerStatus[kPowerStatusSize] = "";
    CimStatus status = connection->GetPropertyValue(connection.Handle(), kSystemClass,
                                                    "PowerStatus", kPowerStatusSize, powerStatus);
    if (status == kCimAccessDenied) {
        TRACE_ACCESS_DENIED(kUnit);
        return kMeNoPrivilege;
    }
    if (status != kCimOk) {
        TRACE_CIM_STATUS(kUnit, status);
        return kMeFailed;
    }

    u32 result = kMeFailed;
    const char *method = ChooseMethod(operation, StrEqual(powerStatus, "ON"), &result);
    if (method == nullptr)
        return result;
    u32 methodResult = 0;  // not looked at: only the status counts
    status = connection->InvokeMethod(connection.Handle(), kSystemClass, method, nullptr, 0, 0,
                                      &methodResult);
    if (status == kCimAccessDenied)
        return kMeNoPrivilege;
    if (status != kCimOk) {
        TRACE_CIM_STATUS(kUnit, status);
        return kMeFailed;
    }
    return kMeOk;
}

}  // namespace

u32 MeSystemPowerOperation(u32, u32 operation)
{
    ObjMgrConnection connection;
    if (!connection.Connect(kUnit, __LINE__))
        return kMeFailed;
    return OperateOver(connection, static_cast<u8>(operation));
}

u32 MeSystemStart(ManagedElement *)
{
    return MeSystemPowerOperation(1, kStart);
}

u32 MeSystemStop(ManagedElement *)
{
    return MeSystemPowerOperation(1, kStop);
}

u32 MeSystemReset(ManagedElement *)
{
    return MeSystemPowerOperation(1, kReset);
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

u32 MeSystemInstanceTag()
{
    return 1;
}

u32 MeSystemAddVerbs(ManagedElement *element)
{
    static constexpr u32 kVerbs[] = {kCommandCd,   kCommandExit,  kCommandHelp, kCommandReset,
                                     kCommandShow, kCommandStart, kCommandStop, kCommandVersion};
    return MeAddCommands(element, kVerbs, sizeof kVerbs / sizeof kVerbs[0]);
}

u32 MeSystemAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MeSystemRefreshProperties(ManagedElement *, const char *name, char *value, u32 length)
{
    if (length < kMeMinRefreshLength || value == nullptr)
        return kMeFailed;
    const PropertyRow *row = MeFindPropertyRow(kTable, name);
    if (row == nullptr)
        return kMeFailed;
    return row->source({row->argument, 0, value, length, nullptr});
}

void MeSystem(ManagedElement *element)
{
    MeSetName(element, "system");
    MeSetDesc(element, "This target is used to manage system settings and operations");
    element->kindId = kMeSystem;
    element->parentKindId = kMeRoot;
    element->addProperties = MeSystemAddProperties;
    element->addVerbs = MeSystemAddVerbs;
    element->instanceTag = MeSystemInstanceTag;
    element->refreshProperties = MeSystemRefreshProperties;
    element->method = MeSystemMethod;
}
