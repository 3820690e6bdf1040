// SPDX-License-Identifier: Apache-2.0
// sel_map.h -- from a record of the System Event Log to its instance of OEM_QARN_LogRecord.
//
//   LogName      "SEL"
//   RecordNum    the record's place in the log, from 1
//   Timestamp    "YYYY-MM-DD HH:MM:SS" and, as its second form, fourteen digits: the BMC's clock as
//                it was set, not shifted into any zone. "System Boot" for a record from before the
//                clock was set, fourteen asterisks for one without a time
//   Description  "SENSOR: EVENT, asserted (reading 92 C, threshold 90 C)"; event data that there
//   are
//                no words for as bytes: "(data 00 03)"
#ifndef OBJMGRD_IPMI_SEL_MAP_H
#define OBJMGRD_IPMI_SEL_MAP_H

#include "objmgrd/instances.h"
#include "objmgrd/ipmi/sdr.h"

#include <array>

constexpr size_t kSelRecordSize = 16;
using SelRecord = std::array<u8, kSelRecordSize>;

// Stands for a record that cannot be read: its id, this type, which is that of none, the completion
// code.
constexpr u8 kSelUnreadable = 0x00;
SelRecord SelUnreadableRecord(u16 id, u8 code);

Instance SelRecordInstance(u32 number, const SelRecord &record, const SdrRepository &sensors);

#endif
