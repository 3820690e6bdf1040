// SPDX-License-Identifier: Apache-2.0
// instances.cpp -- see instances.h.
#include "objmgrd/instances.h"

#include "objmgr/schema.h"

std::string SensorKey(u32 index)
{
    return SensorPath(index).Text();
}

std::string SelRecordKey(u32 number)
{
    return LogRecordPath(number).Text();
}

std::string PowerSupplyKey(u32 index)
{
    return PowerSupplyPath(index).Text();
}

Instance SelLogInstance(u32 records)
{
    return {kCimOk,
            {{kPropertyName, kCimOk, kSelName},
             {kPropertyNumRecords, kCimOk, std::to_string(records)}}};
}

Instance SelRecordInstance(u32 number, const LogTimes &times, std::string description)
{
    return {kCimOk,
            {{kPropertyLogName, kCimOk, kSelName},
             {kPropertyRecordNum, kCimOk, std::to_string(number)},
             {kPropertyTimestamp, kCimOk, times.plain},
             {std::string(kPropertyTimestamp) + kStoreTimestampSuffix, kCimOk, times.digits},
             {kPropertyDescription, kCimOk, std::move(description)}}};
}

Instance PowerSupplyInstance(u32 index, u32 wattage)
{
    return {kCimOk,
            {{kPropertyPowerSupplyIndex, kCimOk, std::to_string(index)},
             {kPropertyPowerSupplyWattage, kCimOk, std::to_string(wattage)}}};
}

Instance FailedInstance(CimStatus status)
{
    return {status, {}};
}
