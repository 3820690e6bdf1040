// SPDX-License-Identifier: Apache-2.0
// sensor_state.h -- what the states of a discrete sensor mean for the kinds of target that have
// words of their own: voltage, battery, intrusion, hardware performance.
//
// Other kinds get IPMI's words. An event/reading type that says nothing that a kind's words could
// tell has no place there: a sensor that says only whether it is enabled is neither good nor bad.
#ifndef OBJMGRD_IPMI_SENSOR_STATE_H
#define OBJMGRD_IPMI_SENSOR_STATE_H

#include "objmgrd/ipmi/sdr.h"

// Whether a discrete sensor's states can be told where clients show its type.
bool SensorStatesHavePlace(const SdrSensor &sensor);

// "good", "absent", IPMI's words...; never empty. For sensors with a place.
std::string SensorStateWords(const SdrSensor &sensor, u16 states);

// Whether clients know the states of this sensor by codes, and the code as text: 520 to 527
// (intrusion), 19221 to 19226 (hardware performance).
bool SensorHasStateCode(const SdrSensor &sensor);
std::string SensorStateCode(const SdrSensor &sensor, u16 states);

#endif
