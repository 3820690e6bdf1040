// SPDX-License-Identifier: Apache-2.0
// event_words.h -- IPMI's own words for states, events, sensor types and units.
//
// They come from libfreeipmi's tables; nothing here talks to a BMC.
#ifndef OBJMGRD_IPMI_EVENT_WORDS_H
#define OBJMGRD_IPMI_EVENT_WORDS_H

#include "objmgrd/ipmi/sdr.h"

// The states whose bits are set, in words, separated by ", "; "" for none. A state that has no
// words is told by its number: "state 9".
std::string EventStateWords(u8 eventType, u8 sensorType, u16 states);

// One event of a sensor in words: "Upper Critical - going high"; "" when it has none.
std::string EventWords(u8 eventType, u8 sensorType, u8 offset);

// What data bytes 2 and 3 of an event add in words; "" for nothing.
std::string EventData2Words(u8 sensorType, u8 offset, u8 data2);
std::string EventData3Words(u8 sensorType, u8 offset, u8 data2, u8 data3);

// "Temperature", or "Sensor type 0xc3".
std::string SensorTypeWords(u8 sensorType);

// "C", "RPM", "% V"...; "" for no unit.
std::string SensorUnitWords(const SdrSensor &sensor);
// The same spelt out: "degrees C", "coulombs".
std::string SensorUnitLongWords(const SdrSensor &sensor);

#endif
