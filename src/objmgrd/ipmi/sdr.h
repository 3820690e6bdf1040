// SPDX-License-Identifier: Apache-2.0
// sdr.h -- sensor data records: what the BMC says about its sensors and FRUs.
#ifndef OBJMGRD_IPMI_SDR_H
#define OBJMGRD_IPMI_SDR_H

#include "platform/types.h"

#include <string>
#include <vector>

// Sensors taken from a repository; what comes after them is left out.
constexpr u32 kSdrSensorsMax = 4096;
constexpr u32 kSdrFrusMax = 255;

constexpr u8 kSdrBmcAddress = 0x20;
constexpr u8 kSdrEventThreshold = 0x01;       // event/reading type of sensors with thresholds
constexpr u8 kSdrEventRedundancy = 0x0B;      // ... of redundancy
constexpr u8 kSdrEventSensorSpecific = 0x6F;  // ... with states of the sensor type's own

// Places of the six thresholds, in IPMI's order; bit n of a mask is threshold n, and bit n of a
// threshold sensor's state says that it is crossed.
enum SdrThreshold : u8 {
    kLowerNonCritical,
    kLowerCritical,
    kLowerNonRecoverable,
    kUpperNonCritical,
    kUpperCritical,
    kUpperNonRecoverable,
    kThresholdCount
};

enum class SdrThresholds : u8 {
    None,
    Readable,  // Get Sensor Thresholds tells
    Fixed,     // they are those of the record
};

struct SdrSensor {
    std::string name;  // UTF-8, not empty
    u8 owner = kSdrBmcAddress;
    u8 lun = 0;
    u8 channel = 0;
    u8 number = 0;
    u8 entityId = 0;
    u8 entityInstance = 0;
    u8 type = 0;
    u8 eventType = 0;
    u8 unit1 = 0;     // flags of the unit (IPMI 2.0, table 43-1, byte 21)
    u8 baseUnit = 0;  // IPMI 2.0, table 43-15
    u8 modifierUnit = 0;
    // How a raw value becomes one in units: (M x + B 10^bExponent) 10^rExponent, then the
    // linearisation. Without an analog value they are 0.
    bool analog = false;
    u8 analogFormat = 0;  // 0 unsigned, 1 ones' complement, 2 two's complement
    u8 linearization = 0;
    int16_t m = 0;
    int16_t b = 0;
    int8_t rExponent = 0;
    int8_t bExponent = 0;
    SdrThresholds thresholds = SdrThresholds::None;
    u8 fixedMask = 0;                      // Fixed: which there are
    u8 fixedValues[kThresholdCount] = {};  // raw
};

struct SdrFru {
    u8 deviceId = 0;
    u8 lun = 0;
    u8 entityId = 0;
    u8 entityInstance = 0;
};

struct SdrRepository {
    std::vector<SdrSensor> sensors;     // full and compact records, in the order of the repository
    std::vector<SdrSensor> eventsOnly;  // sensors that only send events: known by name alone
    std::vector<SdrFru> frus;           // those that the BMC itself gives access to
};

// Takes one record, of any `sizeBytes`, header included. False: it is cut off, and nothing was
// taken; of a kind not named above nothing is taken either. A compact record that stands for
// several sensors becomes several.
bool SdrAdd(SdrRepository *repository, const u8 *record, size_t sizeBytes);

// The sensor of that owner, lun and number, or null.
const SdrSensor *SdrFind(const SdrRepository &repository, u8 owner, u8 lun, u8 number);

#endif
