// SPDX-License-Identifier: Apache-2.0
// instances.cpp -- see instances.h.
#include "objmgrd/instances.h"

const char kSystemKey[] = "OEM_QARN_System";
const char kSelLogKey[] = "OEM_QARN_MessageLog.Name=SEL";

std::string SensorKey(u32 index)
{
    return "OEM_QARN_Sensor.Index=" + std::to_string(index);
}

std::string SelRecordKey(u32 number)
{
    return "OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(number);
}

std::string PowerSupplyKey(u32 index)
{
    return "OEM_QARN_PowerSupply.PowerSupplyIndex=" + std::to_string(index);
}

Instance SelLogInstance(u32 records)
{
    return {kCimOk, {{"Name", kCimOk, "SEL"}, {"NumRecords", kCimOk, std::to_string(records)}}};
}

Instance SelRecordInstance(u32 number, const LogTimes &times, std::string description)
{
    return {kCimOk,
            {{"LogName", kCimOk, "SEL"},
             {"RecordNum", kCimOk, std::to_string(number)},
             {"Timestamp", kCimOk, times.plain},
             {std::string("Timestamp") + kStoreTimestampSuffix, kCimOk, times.digits},
             {"Description", kCimOk, std::move(description)}}};
}

Instance PowerSupplyInstance(u32 index, u32 wattage)
{
    return {kCimOk,
            {{"PowerSupplyIndex", kCimOk, std::to_string(index)},
             {"PowerSupplyWattage", kCimOk, std::to_string(wattage)}}};
}

Instance FailedInstance(CimStatus status)
{
    return {status, {}};
}
