// SPDX-License-Identifier: Apache-2.0
// sensor_map.h -- from a sensor's record and reading to its instance of OEM_QARN_Sensor.
//
//   Index    the sensor's place among the full and compact records, from 1
//   Type     IPMI's sensor type; where the sensor has a unit, the type of its place, and 0 where no
//            place fits (sensor_place.h)
//   Format   1: thresholds (event/reading type 0x01); 3: redundancy (0x0B); 2: every other
//   Name     of the record, made to fit the place
// Format 1:
//   Reading  in the place's unit, with as many decimals as its record's result exponent gives; one
//            more for a value in F
//   WarningThresholdMin, -Max    lower and upper non-critical
//   FailThresholdMin, -Max       lower and upper critical
//   StatusText                   unknown, non-recoverable, failed, warning or normal, from what the
//                                BMC says about the thresholds
// Formats 2 and 3:
//   State       good, bad, unknown (voltage); absent, low, failed, good, unknown (battery); else
//               IPMI's own words, "absent" for a power supply and "none" for others without a
//               state, "unknown" without a reading
//   StatusText  the same (power supplies alone are asked for it)
//   StateValue  520 to 527 (intrusion), 19221 to 19226 (type 192); only with a reading. What the
//               states mean: sensor_state.h
// "N/A" stands for a threshold that the sensor does not have, and for a reading that the BMC marks
// as unavailable or does not take, or that it does not give. What the BMC refuses to this user has
// status kCimAccessDenied.
#ifndef OBJMGRD_IPMI_SENSOR_MAP_H
#define OBJMGRD_IPMI_SENSOR_MAP_H

#include "objmgrd/instances.h"
#include "objmgrd/ipmi/sdr.h"

// What the BMC answered about one sensor.
struct SensorReading {
    bool denied = false;     // it may not be read by this user
    bool valid = false;      // there is a reading, or there are states
    bool hasStates = false;  // `states` was in the answer
    u8 raw = 0;
    u16 states = 0;                       // bits as IPMI has them
    u8 thresholdMask = 0;                 // which thresholds there are, by SdrThreshold
    u8 thresholds[kThresholdCount] = {};  // raw

    bool operator==(const SensorReading &) const = default;
};

Instance SensorInstance(u32 index, const SdrSensor &sensor, const SensorReading &reading);

// A raw value in the sensor's unit, or "N/A" when the record does not say how.
std::string SensorValueText(const SdrSensor &sensor, u8 raw);

#endif
