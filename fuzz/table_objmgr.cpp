// SPDX-License-Identifier: Apache-2.0
// table_objmgr.cpp -- the tables and the operations on them.
#include "table_objmgr.h"

#include "objmgr/schema.h"
#include "platform/str.h"

#include <span>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

TableObjMgr gTableObjMgr;

namespace
{

struct Property {
    const char *name;
    const char *text;
};
using Row = std::span<const Property>;

// What does not fit a sensor's text in the shell (1,024 bytes).
#define V16 "vvvvvvvvvvvvvvvv"
#define V128 V16 V16 V16 V16 V16 V16 V16 V16
constexpr char kLongText[] = V128 V128 V128 V128 V128 V128 V128 V128 V16;

constexpr Property kTemperature[] = {{kPropertyType, "1"},
                                     {kPropertyFormat, "1"},
                                     {kPropertyName, "Inlet Temp"},
                                     {kPropertyReading, "23"}};
constexpr Property kIntrusion[] = {{kPropertyType, "5"},
                                   {kPropertyFormat, "2"},
                                   {kPropertyName, "Intrusion"},
                                   {kPropertyStateValue, "521"}};
constexpr Property kFan[] = {{kPropertyType, "4"},
                             {kPropertyFormat, "1"},
                             {kPropertyName, "Fan %s%n"},
                             {kPropertyReading, "9%"},
                             {kPropertyStatusText, "normal"}};
constexpr Property kVoltage[] = {{kPropertyType, "2"},
                                 {kPropertyFormat, "2"},
                                 {kPropertyName, "3V3 PG"},
                                 {kPropertyState, "good"}};
constexpr Property kNumericVoltage[] = {{kPropertyType, "2"},
                                        {kPropertyFormat, "1"},
                                        {kPropertyName, "12V"},
                                        {kPropertyReading, kLongText}};
constexpr Property kCurrent[] = {{kPropertyType, "3"},
                                 {kPropertyFormat, "1"},
                                 {kPropertyName, "PSU1 Current"},
                                 {kPropertyReading, "0.4"}};
constexpr Property kPower[] = {{kPropertyType, "3"},
                               {kPropertyFormat, "1"},
                               {kPropertyName, "System Level"},
                               {kPropertyReading, "98"}};
constexpr Property kBattery[] = {
    {kPropertyType, "41"}, {kPropertyFormat, "2"}, {kPropertyName, "CMOS"}, {kPropertyState, ""}};
constexpr Property kPowerSupply[] = {{kPropertyType, "8"},
                                     {kPropertyFormat, "2"},
                                     {kPropertyName, "PS1"},
                                     {kPropertyState, "presence"},
                                     {kPropertyStatusText, "normal"}};
constexpr Property kPowerRedundancy[] = {{kPropertyType, "8"},
                                         {kPropertyFormat, "3"},
                                         {kPropertyName, "PS Redundancy"},
                                         {kPropertyState, "full"}};
constexpr Property kFanRedundancy[] = {{kPropertyType, "4"},
                                       {kPropertyFormat, "3"},
                                       {kPropertyName, "Fan Redundancy"},
                                       {kPropertyState, "full"}};
constexpr Property kPerformance[] = {{kPropertyType, "192"},
                                     {kPropertyFormat, "2"},
                                     {kPropertyName, "Performance"},
                                     {kPropertyStateValue, "99999999999"}};
constexpr Row kSensors[] = {kTemperature,    kIntrusion,       kFan,           kVoltage,
                            kNumericVoltage, kCurrent,         kPower,         kBattery,
                            kPowerSupply,    kPowerRedundancy, kFanRedundancy, kPerformance};
constexpr u32 kSensorsOfAnyHost = 2;

constexpr Property kBootRecord[] = {{kPropertyRecordNum, "1"},
                                    {kPropertyTimestamp, "System Boot"},
                                    {kPropertyDescription, "Log area reset/cleared"}};
constexpr Property kPowerRecord[] = {{kPropertyRecordNum, "2"},
                                     {kPropertyTimestamp, "20260301102233"},
                                     {kPropertyDescription, "Power %s on 100%"}};
constexpr Row kRecords[] = {kBootRecord, kPowerRecord};

constexpr Property kSystem[] = {{kPropertyServiceTag, "TAG1234"},
                                {kPropertyDescription, "Test Server"},
                                {kPropertyHostName, "host-a"},
                                {kPropertyOem, "0"}};
constexpr Property kSystemOn[] = {{kPropertyPowerStatus, kPowerStatusOn}};
constexpr Property kSystemOff[] = {{kPropertyPowerStatus, kPowerStatusOff}};
constexpr Property kLogs[][1] = {
    {{kPropertyNumRecords, "0"}}, {{kPropertyNumRecords, "1"}}, {{kPropertyNumRecords, "2"}}};
constexpr Property kSupply[] = {{kPropertyPowerSupplyWattage, "750"}};

bool Fails()
{
    ++gTableObjMgr.calls;
    return gTableObjMgr.calls == gTableObjMgr.failCall ||
           gTableObjMgr.calls > gTableObjMgr.callsMax;
}

// The row of that number (from 1) of a class whose paths begin with `prefix`; empty: none.
Row Numbered(const char *path, const char *prefix, std::span<const Row> rows)
{
    const size_t length = strlen(prefix);
    if (strncmp(path, prefix, length) != 0)
        return {};
    const u32 number = static_cast<u32>(strtoul(path + length, nullptr, 10));
    return number >= 1 && number <= rows.size() ? rows[number - 1] : Row{};
}

Row Find(const char *path)
{
    const u32 sensors =
        gTableObjMgr.allKinds ? static_cast<u32>(std::size(kSensors)) : kSensorsOfAnyHost;
    Row row = Numbered(path, kSensorPathHead, std::span(kSensors).first(sensors));
    if (row.empty())
        row = Numbered(path, kLogRecordPathHead, std::span(kRecords).first(gTableObjMgr.records));
    if (row.empty() && StrEqual(path, kSelPath))
        row = kLogs[gTableObjMgr.records];
    if (row.empty() && gTableObjMgr.allKinds && StrEqual(path, PowerSupplyPath(1).Text()))
        row = kSupply;
    return row;
}

const char *ValueOf(Row row, const char *name)
{
    for (const Property &property : row) {
        if (StrEqual(property.name, name))
            return property.text;
    }
    return nullptr;
}

void RequireOpen(ObjMgrHandle handle)
{
    if (handle == 0 || gTableObjMgr.openConnections <= 0)
        abort();  // called over a connection that is not open
}

u32 Open(ObjMgrHandle *handle)
{
    if (*handle != 0)
        abort();  // opened twice
    if (Fails())
        return 1;
    *handle = static_cast<ObjMgrHandle>(++gTableObjMgr.openConnections);
    return 0;
}

void Close(ObjMgrHandle handle)
{
    if (handle != 0)
        --gTableObjMgr.openConnections;
}

}  // namespace

struct ObjMgrInstance {
    Row row;
};

namespace
{

CimStatus GetInstance(ObjMgrHandle handle, const char *path, u32, ObjMgrInstance *instance)
{
    RequireOpen(handle);
    instance->row = {};
    if (Fails())
        return gTableObjMgr.failStatus;
    instance->row = Find(path);
    return instance->row.empty() ? kCimNotFound : kCimOk;
}

CimStatus GetPropertyValue(ObjMgrHandle handle, const char *path, const char *property, u16 size,
                           char *buffer)
{
    RequireOpen(handle);
    if (Fails())
        return gTableObjMgr.failStatus;
    const char *text;
    if (StrEqual(path, kSystemClass)) {
        text = ValueOf(gTableObjMgr.off ? kSystemOff : kSystemOn, property);
        if (text == nullptr)
            text = ValueOf(kSystem, property);
    } else {
        const Row row = Find(path);
        if (row.empty())
            return kCimNotFound;
        text = ValueOf(row, property);
    }
    if (text == nullptr)
        return kCimNoSuchProperty;
    StrCopy(buffer, text, size);
    return kCimOk;
}

CimStatus InvokeMethod(ObjMgrHandle handle, const char *, const char *method, const char *, u32,
                       u32, u32 *)
{
    RequireOpen(handle);
    if (Fails())
        return gTableObjMgr.failStatus;
    if (StrEqual(method, kMethodStart))
        gTableObjMgr.off = false;
    else if (StrEqual(method, kMethodStop))
        gTableObjMgr.off = true;
    else if (StrEqual(method, kMethodClear))
        gTableObjMgr.records = 0;
    return kCimOk;
}

ObjMgrInstance *InitInstance(void *storage, u32 sizeBytes)
{
    if (Fails() || sizeBytes < sizeof(ObjMgrInstance))
        return nullptr;
    auto *instance = static_cast<ObjMgrInstance *>(storage);  // aligned in the shell
    *instance = {};
    return instance;
}

const char *GetInstanceValue(const ObjMgrInstance *instance, const char *property)
{
    return Fails() ? nullptr : ValueOf(instance->row, property);
}

void SetPrivilege(ObjMgrHandle handle, const ObjMgrPrivilege *)
{
    RequireOpen(handle);
}

constexpr ObjMgrInterface kInterface = {
    .Open = Open,
    .Close = Close,
    .GetInstance = GetInstance,
    .place4To8 = {},
    .GetPropertyValue = GetPropertyValue,
    .place10 = nullptr,
    .InvokeMethod = InvokeMethod,
    .place12To14 = {},
    .InitInstance = InitInstance,
    .place16To18 = {},
    .GetInstanceValue = GetInstanceValue,
    .SetPrivilege = SetPrivilege,
};

}  // namespace

const ObjMgrInterface *ObjMgrGetInterface()
{
    return Fails() ? nullptr : &kInterface;
}
