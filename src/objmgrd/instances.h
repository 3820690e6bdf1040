// SPDX-License-Identifier: Apache-2.0
// instances.h -- the instances that every source of a real machine supplies, and the words that
// clients know in them.
#ifndef OBJMGRD_INSTANCES_H
#define OBJMGRD_INSTANCES_H

#include "objmgrd/image_writer.h"
#include "objmgrd/log_time.h"

std::string SensorKey(u32 index);       // "OEM_QARN_Sensor.Index=3"
std::string SelRecordKey(u32 number);   // "OEM_QARN_LogRecord.LogName=SEL,RecordNum=7"
std::string PowerSupplyKey(u32 index);  // "OEM_QARN_PowerSupply.PowerSupplyIndex=3"

Instance SelLogInstance(u32 records);
Instance SelRecordInstance(u32 number, const LogTimes &times, std::string description);
// wattage: in watts.
Instance PowerSupplyInstance(u32 index, u32 wattage);
// One of which nothing is known: clients get the status for every property.
Instance FailedInstance(CimStatus status);

// What stands for a reading or a threshold that a sensor does not have.
constexpr char kNotAvailable[] = "N/A";
// Status texts of sensors with thresholds, as clients list them.
constexpr char kStatusUnknown[] = "unknown";
constexpr char kStatusNormal[] = "normal";
constexpr char kStatusWarning[] = "warning";
constexpr char kStatusFailed[] = "failed";
constexpr char kStatusNonRecoverable[] = "non-recoverable";

#endif
