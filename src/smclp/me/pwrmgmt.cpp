// SPDX-License-Identifier: Apache-2.0
// pwrmgmt.cpp -- /system1/pwrmgtsvc1: the host's power as a CIM power state, to be seen and set.
#include "smclp/me/pwrmgmt.h"
#include "platform/str.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"

#include <string.h>

namespace
{

constexpr char kUnit[] = "pwrmgmt";

u32 FromPowerStatus(const PropertyRequest &request)
{
    char powerStatus[kPowerStatusSize] = "";
    const u32 result = MePwrMgtGetPowerStatus(powerStatus);
    if (result != kMeOk)
        return result;
    const PowerOperation operation =
        StrEqual(powerStatus, kPowerStatusOn) ? kPowerStart : kPowerStop;
    for (const PowerStateRow &row : PowerStateTable) {
        if (row.operation == operation)
            StrCopy(request.value, row.text, request.length);
    }
    return kMeOk;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"CreationClassName", FromText,        "CIM_PowerManagementService"},
    {"Name",              FromText,        "IPMI Power Service"},
    {"ElementName",       FromText,        "Qarn Server Power Mangement Service"},  // misspelt: deliberate
    {"powerstate",        FromPowerStatus, nullptr},  // lower case, as set is given it
    // clang-format on
};
constexpr u32 kVerbs[] = {kCommandCd,   kCommandExit,    kCommandHelp,
                          kCommandShow, kCommandVersion, kCommandSet};
constexpr ElementKind kKind = {
    .unit = kUnit,
    .name = "pwrmgtsvc",
    .description = "Power Management Service",
    .kindId = kMePwrMgtSvc,
    .parentKindId = kMeSystem,
    .verbs = kVerbs,
    .rows = kRows,
};

}  // namespace

u32 MePwrMgtGetPowerStatus(char *buffer)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    if (!ObjMgrHandOverPrivilege(connection))
        return kMeNoPrivilege;
    char powerStatus[kPowerStatusSize];
    const u32 result = HostPowerRead(connection, kUnit, __LINE__, powerStatus);
    if (result == kMeOk)
        StrCopy(buffer, powerStatus, kPowerStatusSize);
    return result;
}

u32 MePwrMgtRequestPowerState(u32 operation)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    if (!ObjMgrHandOverPrivilege(connection))
        return kMeNoPrivilege;
    char powerStatus[kPowerStatusSize] = "";
    const u32 result = MePwrMgtGetPowerStatus(powerStatus);  // over a connection of its own
    if (result != kMeOk)
        return result;

    const u8 wanted = static_cast<u8>(operation);
    if (wanted > kPowerCycle)
        return kMeFailed;
    return HostPowerRequest(connection, kUnit, __LINE__, static_cast<PowerOperation>(wanted),
                            powerStatus);
}

u32 MePwrMgtMethod(ManagedElement *, char *text, u32, u32)
{
    if (text == nullptr)
        return kMeBadArgument;
    char *rest = nullptr;
    const char *name = strtok_r(text, "=", &rest);  // "==" separates like "=": deliberate
    const char *value = name == nullptr ? nullptr : strtok_r(nullptr, "=", &rest);
    if (!StrEqual(name, "powerstate"))
        return kMeBadArgument;
    for (const PowerStateRow &row : PowerStateTable) {
        if (StrEqual(value, row.text))
            return MePwrMgtRequestPowerState(row.operation);
    }
    return kMeBadArgument;
}

ME_ONE_INSTANCE(MePwrMgtSvc)
ME_ADD_VERBS(MePwrMgtSvc, kKind)
ME_ADD_PROPERTIES(MePwrMgtSvc, kKind)
ME_REFRESH_PROPERTIES(MePwrMgtSvc, kKind)

void MePwrMgtSvc(ManagedElement *element)
{
    ME_FILL_IN(MePwrMgtSvc, kKind, element);
    element->method = MePwrMgtMethod;
}
