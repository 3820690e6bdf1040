// SPDX-License-Identifier: Apache-2.0
// chassis.cpp -- /system1/chassis1, the host's enclosure.
//
// Tag, model and manufacturer come from the object manager, the rest is constant.
#include "smclp/me/chassis.h"
#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"
#include "smclp/me/objmgr_access.h"

namespace
{

constexpr char kUnit[] = "chassis";
constexpr u16 kTextSize = 64;  // bytes of a text read here, whatever the length asked for
constexpr char kDefaultManufacturer[] = "Qarn";

u32 FromSystem(const PropertyRequest &request)
{
    char text[kTextSize] = "";
    const u32 result = MeChassisGetSystemProperty(text, request.argument);
    if (result == kMeOk)
        StrCopy(request.value, text, request.length);
    return result;
}

// Never fails: "0", and no answer, mean the default.
u32 FromOem(const PropertyRequest &request)
{
    char text[kTextSize] = "";
    const bool isDefault =
        MeChassisGetSystemProperty(text, request.argument) != 0 || StrEqual(text, "0");
    StrCopy(request.value, isDefault ? kDefaultManufacturer : text, request.length);
    return kMeOk;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"Tag",                FromSystem, kPropertyServiceTag},
    {"CreationClassName",  FromText,   "CIM_Chassis"},
    {"PackageType",        FromText,   "3"},   // CIM: chassis/frame
    {"ChassisPackageType", FromText,   "17"},  // CIM: main system chassis
    {"Manufacturer",       FromOem,    kPropertyOem},
    {"Model",              FromSystem, kPropertyDescription},
    {"ElementName",        FromText,   "Chassis"},
    // clang-format on
};
constexpr ElementKind kKind = {
    .unit = kUnit,
    .name = "chassis",
    .description = "This target is used to manage the physical chassis",
    .kindId = kMeChassis,
    .parentKindId = kMeSystem,
    .rows = kRows,
};

}  // namespace

u32 MeChassisGetSystemProperty(char *out, const char *property)
{
    ObjMgrConnection connection;
    if (!connection.HasInterface() || !connection.Open()) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    const CimStatus status = connection.GetProperty(kSystemClass, property, out, kTextSize);
    return status == kCimOk ? kMeOk : kMeFailed;
}

ME_SINGLE_KIND(MeChassis, kKind)
