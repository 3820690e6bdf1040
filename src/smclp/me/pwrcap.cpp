// SPDX-License-Identifier: Apache-2.0
// pwrcap.cpp -- /system1/pwrmgtsvc1/pwrmgtcap1: which power states can be requested.
//
// Constants only; they do not follow the host's power.
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"
#include "smclp/me/pwrmgmt.h"

namespace
{

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
constexpr ElementKind kKind = {
    .unit = "pwrcap",
    .name = "pwrmgtcap",
    .description = "Power Management Capabilities",
    .kindId = kMePwrMgtCap,
    .parentKindId = kMePwrMgtSvc,
    .rows = kRows,
};

}  // namespace

ME_SINGLE_KIND(MePwrMgtCap, kKind)
