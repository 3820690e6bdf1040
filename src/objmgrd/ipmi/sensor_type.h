// SPDX-License-Identifier: Apache-2.0
// sensor_type.h -- types and formats of sensors as clients know them.
#ifndef OBJMGRD_IPMI_SENSOR_TYPE_H
#define OBJMGRD_IPMI_SENSOR_TYPE_H

#include "objmgrd/ipmi/sdr.h"

constexpr u8 kTypeNoPlace = 0;
constexpr u8 kTypeTemperature = 1;
constexpr u8 kTypeVoltage = 2;
constexpr u8 kTypeCurrent = 3;  // amperes and watts
constexpr u8 kTypeFan = 4;
constexpr u8 kTypeIntrusion = 5;
constexpr u8 kTypePowerSupply = 8;
constexpr u8 kTypeBattery = 41;
constexpr u8 kTypePerformance = 192;

constexpr u32 kFormatThreshold = 1;
constexpr u32 kFormatDiscrete = 2;
constexpr u32 kFormatRedundancy = 3;

// The format of a sensor, one of those above.
u32 SensorFormat(const SdrSensor &sensor);

#endif
