// SPDX-License-Identifier: Apache-2.0
// sensor_place.h -- where clients show a sensor, and under which name: decided by the unit of its
// record and by its event/reading type, never by words in its name.
//
// Clients say a unit by the place alone: temperatures are in C, voltages in V, fans in RPM, and
// sensors of type 3 in AMP where the name contains "Current", else in Watts. So the name of such a
// sensor gets the word where the unit is A, and loses its capital where it is W; a fan that tells
// percent has them in the text of its reading. What no place fits has type 0, which no client
// shows.
#ifndef OBJMGRD_IPMI_SENSOR_PLACE_H
#define OBJMGRD_IPMI_SENSOR_PLACE_H

#include "objmgrd/ipmi/sdr.h"
#include "objmgrd/ipmi/sensor_type.h"

struct SensorPlace {
    u8 type = kTypeNoPlace;  // as clients know it
    std::string name;
    std::string unit;  // "C", "V", "A", "W", "RPM", "%", else IPMI's words for it; "" for none
    // A value in the unit: (value + before) * factor, with so many decimals more than the record's.
    double before = 0;
    double factor = 1;
    int moreDecimals = 0;
    const char *suffix = "";  // behind each value's digits
};

SensorPlace SensorPlaceOf(const SdrSensor &sensor);

// Sensors with a reading that no place fits, with their units: for one line of the administrator's
// log; "" for none.
std::string SensorsWithoutPlace(const SdrRepository &repository);

#endif
