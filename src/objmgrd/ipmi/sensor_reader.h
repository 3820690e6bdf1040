// SPDX-License-Identifier: Apache-2.0
// sensor_reader.h -- reads the sensors of a repository, each when it is due.
//
// How often a sensor is read its kind says. The thresholds of a sensor are read before its first
// reading, and again now and then, since somebody may have set them.
#ifndef OBJMGRD_IPMI_SENSOR_READER_H
#define OBJMGRD_IPMI_SENSOR_READER_H

#include "objmgrd/ipmi/reader.h"
#include "objmgrd/ipmi/sensor_map.h"

// Milliseconds from one reading of a sensor to the next.
struct SensorPeriods {
    u32 temperaturesMs = 2000;
    u32 voltagesMs = 2000;
    u32 currentsMs = 2000;  // amperes and watts
    u32 fansMs = 2000;
    u32 statesMs = 10000;  // sensors without a number
    u32 othersMs = 10000;  // numbers that clients are not shown
    u32 thresholdsMs = 60000;
};

// Sensors of one period are read in groups, each so long after the one before.
constexpr u32 kSensorMomentMs = 250;

class SensorReader
{
public:
    // Forgets every reading; the sensors are those of `repository`, which must outlive this
    // object or the next Reset. All are due at once.
    void Reset(const SdrRepository *repository, const SensorPeriods &periods, u64 nowMs);
    // Thresholds from an earlier process: they count until they are read, soon after everything
    // else was.
    void RecallThresholds(u32 i, u8 mask, const u8 (&values)[kThresholdCount]);

    // When the next step is due; ~0: never.
    u64 DueMs() const;
    // Reads what has been due for longest; now is not before DueMs. Never Done or Failed: a sensor
    // that cannot be read is a reading too.
    ReadStep Step(Bmc *bmc, u64 nowMs);
    // Each sensor has been read since the last Reset.
    bool Complete() const { return readOnce_ == Count(); }
    // How many have been.
    u32 ReadOnce() const { return readOnce_; }

    // Something happened that may show anywhere, or in the states of sensors.
    void HurryAll(u64 nowMs);
    void HurryStates(u64 nowMs);

    u32 Count() const { return static_cast<u32>(readings_.size()); }
    const SensorReading &Reading(u32 i) const { return readings_[i]; }
    // Whether the thresholds of each sensor that has some were read, by this process.
    bool ThresholdsComplete() const;
    bool HasChanged() const { return anyChanged_; }
    // Places (from 0) of the readings that changed since the last call.
    std::vector<u32> TakeChanged();

private:
    struct Due {
        u64 readingMs = 0;
        u64 hurriedMs = ~u64{0};
        u64 thresholdsMs = 0;
        u32 periodMs = 0;
        bool read = false;  // since the last Reset
        bool thresholdsRead = false;
        bool thresholdsRecalled = false;
    };

    bool AsksThresholds(u32 i) const;
    u64 DueOf(u32 i) const;
    ReadStep ReadThresholds(Bmc *bmc, u32 i, u64 nowMs);
    u64 SecondReadingMs(u32 i, u64 nowMs) const;
    ReadStep Read(Bmc *bmc, u32 i, u64 nowMs);
    void Set(u32 i, const SensorReading &reading);

    const SdrRepository *repository_ = nullptr;
    u64 startMs_ = 0;
    SensorPeriods periods_;
    std::vector<SensorReading> readings_;
    std::vector<Due> due_;
    std::vector<bool> changed_;
    bool anyChanged_ = false;
    u32 readOnce_ = 0;
};

#endif
