// SPDX-License-Identifier: Apache-2.0
// pwrcap.cpp -- /system1/pwrmgtsvc1/pwrmgtcap1: which power states can be requested.
//
// Constants only; they do not follow the host's power.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"
#include "smclp/me/pwrmgmt.h"

namespace
{

constexpr char kUnit[] = "pwrcap";

u32 FromPowerStates(const PropertyRequest &request)
{
    AppendListBegin(request.value, request.length);
    for (const PowerStateRow &row : PowerStateTable)
        AppendListText(request.value, request.length, row.text);
    AppendListEnd(request.value, request.length);
    return kMeOk;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"InstanceID",              FromText,        "1"},
    {"ElementName",             FromText,        "Qarn Server Power Management Capabilities"},
    {"PowerChangeCapabilities", FromText,        "3"},  // CIM: power state settable
    {"PowerStatesSupported",    FromPowerStates, nullptr},
    // clang-format on
};
constexpr PropertyTable kTable = {kUnit, kRows};

}  // namespace

u32 MePwrMgtCapInstanceTag()
{
    return 1;
}

u32 MePwrMgtCapAddVerbs(ManagedElement *element)
{
    return MeAddCommonVerbs(element);
}

u32 MePwrMgtCapAddProperties(ManagedElement *element)
{
    return MeAddTableProperties(kTable, element);
}

u32 MePwrMgtCapRefreshProperties(ManagedElement *element, const char *name, char *value, u32 length)
{
    return MeRefreshFromTable(kTable, element, name, value, length, __LINE__);
}

void MePwrMgtCap(ManagedElement *element)
{
    MeSetName(element, "pwrmgtcap");
    MeSetDesc(element, "Power Management Capabilities");
    element->kindId = kMePwrMgtCap;
    element->parentKindId = kMePwrMgtSvc;
    element->addProperties = MePwrMgtCapAddProperties;
    element->addVerbs = MePwrMgtCapAddVerbs;
    element->instanceTag = MePwrMgtCapInstanceTag;
    element->refreshProperties = MePwrMgtCapRefreshProperties;
}
