// SPDX-License-Identifier: Apache-2.0
// sel.cpp -- /system1/logs1/log1, the System Event Log.
//
// Constants, but for the number of records.
#include "platform/trace.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"
#include "smclp/me/logs.h"
#include "smclp/me/objmgr_access.h"

#include <string.h>

namespace
{

constexpr char kUnit[] = "sel";

// A failed Open is traced here: deliberate.
u32 ReadNumRecords(const PropertyRequest &request)
{
    ObjMgrConnection connection;
    if (!connection.HasInterface() || !connection.Open()) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    const CimStatus status = connection.GetProperty(kSelPath, kPropertyNumRecords, request.value,
                                                    static_cast<u16>(request.length));
    return status == kCimOk ? kMeOk : kMeFailed;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"InstanceID",             FromText,       "IPMI:BMC1 SEL Log"},
    {"Name",                   FromText,       "IPMI SEL"},
    {"MaxNumberOfRecords",     FromText,       "512"},
    {"EnabledState",           FromText,       "2"},
    {"OperationalStatus",      FromText,       "2"},
    {"HealthState",            FromText,       "2"},  // the system says "5": deliberate
    {"ElementName",            FromText,       "IPMI SEL"},
    {"Caption",                FromText,       "IPMI SEL"},
    {"Description",            FromText,       "IPMI SEL"},
    {"CurrentNumberOfRecords", ReadNumRecords, nullptr},
    // clang-format on
};
constexpr ElementKind kKind = {
    .unit = kUnit,
    .name = "log",
    .description = "System Event Log (SEL)",
    .kindId = kMeSel,
    .parentKindId = kMeLogs,
    .rows = kRows,
};

}  // namespace

ME_ONE_INSTANCE(MeSel)
ME_ADD_VERBS(MeSel, kKind)
ME_ADD_PROPERTIES(MeSel, kKind)

// Unlike the other kinds' it traces nothing and does not look at the element: deliberate.
u32 MeSelRefreshProperties(ManagedElement *, const char *name, char *value, u32 length)
{
    if (length < kMeMinRefreshLength || value == nullptr)
        return kMeFailed;
    memset(value, 0, length);
    const PropertyRow *row = MeFindPropertyRow(kKind, name);
    return row == nullptr ? u32{kMeOk} : row->source({row->argument, 0, value, length, nullptr});
}

void MeSel(ManagedElement *element)
{
    ME_FILL_IN(MeSel, kKind, element);
    element->word11 = kMeLogWord11;
    element->word15 = kMeLogWord15;
}
