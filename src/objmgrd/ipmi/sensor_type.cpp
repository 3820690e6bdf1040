// SPDX-License-Identifier: Apache-2.0
// sensor_type.cpp -- the format that a sensor record says.
#include "objmgrd/ipmi/sensor_type.h"

u32 SensorFormat(const SdrSensor &sensor)
{
    if (sensor.eventType == kSdrEventThreshold)
        return kFormatThreshold;
    return sensor.eventType == kSdrEventRedundancy ? kFormatRedundancy : kFormatDiscrete;
}
