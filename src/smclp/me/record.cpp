// SPDX-License-Identifier: Apache-2.0
// record.cpp -- /system1/logs1/log1/recordN, the records of the System Event Log.
//
// N is the record number of the object manager. Every property that comes from there is a fetch of
// its own.
#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/kinds.h"
#include "smclp/me/logs.h"
#include "smclp/me/objmgr_access.h"

#include <stdio.h>
#include <string.h>

namespace
{

constexpr char kUnit[] = "record";

u32 Fetch(const PropertyRequest &request, const char *property, const char *suffix)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    char path[kObjectPathSize];
    snprintf(path, sizeof path, "%s%s", LogRecordPath(request.number).Text(), suffix);
    alignas(max_align_t) char storage[kRecordStorageSize] = {};
    ObjMgrInstance *record = connection.InitInstance(storage, sizeof storage);
    if (record == nullptr) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    if (connection.GetInstance(path, record) != kCimOk) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    const char *text = connection.GetValue(record, property);
    if (text == nullptr)
        return kMeFailed;
    StrCopy(request.value, text, request.length);
    return kMeOk;
}

u32 FromRecord(const PropertyRequest &request)
{
    return Fetch(request, request.argument, "");
}

// Fourteen digits and "-000"; the text of a record from before the clock was set stays as it is.
u32 FromTimestamp(const PropertyRequest &request)
{
    static constexpr char kSuffix[] = "-000";
    const u32 result = Fetch(request, kPropertyTimestamp, kTimestampDigitsSuffix);
    if (result != kMeOk || strstr(request.value, "System Boot") != nullptr)
        return result;
    const size_t used = strlen(request.value);
    if (used + sizeof kSuffix <= request.length)
        memcpy(request.value + used, kSuffix, sizeof kSuffix);
    return kMeOk;
}

constexpr PropertyRow kRows[] = {
    // clang-format off
    {"RecordID",             FromRecord,    kPropertyRecordNum},
    {"CreationClassName",    FromText,      "CIM_LogRecord"},
    {"LogCreationClassName", FromText,      "CIM_RecordLog"},
    {"LogName",              FromText,      "IPMI SEL"},
    {"ElementName",          FromText,      "IPMI SEL Record"},
    {"Caption",              FromText,      ""},
    {"RecordData",           FromText,      ""},
    {"RecordFormat",         FromText,      ""},
    {"MessageTimeStamp",     FromTimestamp, nullptr},
    {"Description",          FromRecord,    kPropertyDescription},
    // clang-format on
};
constexpr ElementKind kKind = {
    .unit = kUnit,
    .name = "record",
    .description = "Contains all the records currently in SEL",
    .kindId = kMeRecord,
    .parentKindId = kMeSel,
    .verbs = kMeCommonVerbsAndDelete,
    .rows = kRows,
};

}  // namespace

u32 MeRecordInstanceTag()
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return 0;
    char count[256] = "";
    const CimStatus status =
        connection.GetProperty(kSelPath, kPropertyNumRecords, count, sizeof count);
    if (status == kCimAccessDenied) {
        TRACE_ACCESS_DENIED(kUnit);
        return 0;
    }
    if (status != kCimOk) {
        TRACE_CIM_STATUS(kUnit, status);
        return 0;
    }
    return StrToUINT16(count);
}

ME_ADD_VERBS(MeRecord, kKind)
ME_ADD_PROPERTIES(MeRecord, kKind)
ME_REFRESH_PROPERTIES(MeRecord, kKind)

void MeRecord(ManagedElement *element)
{
    ME_FILL_IN(MeRecord, kKind, element);
    element->word11 = kMeLogWord11;
    element->word15 = kMeLogWord15;
}
