// SPDX-License-Identifier: Apache-2.0
// sensor_reader.h -- reads the sensors of a repository in rounds.
//
// The thresholds of a sensor are read before its first reading. Later each round reads those of
// one sensor again, since somebody may have set them.
#ifndef OBJMGRD_IPMI_SENSOR_READER_H
#define OBJMGRD_IPMI_SENSOR_READER_H

#include "objmgrd/ipmi/reader.h"
#include "objmgrd/ipmi/sensor_map.h"

class SensorReader
{
public:
    // Forgets every reading; the sensors are those of `repository`, which must outlive this
    // object or the next Reset.
    void Reset(const SdrRepository *repository);
    void StartRound();
    // Done at the end of the round; Complete() from the first end on. Failed is never returned:
    // a sensor that cannot be read is a reading too.
    ReadStep Step(Bmc *bmc);
    bool Complete() const { return complete_; }

    u32 Count() const { return static_cast<u32>(readings_.size()); }
    const SensorReading &Reading(u32 i) const { return readings_[i]; }
    // Places (from 0) of the readings that changed since the last call.
    std::vector<u32> TakeChanged();

private:
    bool WantsThresholds(u32 i) const;
    ReadStep ReadThresholds(Bmc *bmc);
    ReadStep Read(Bmc *bmc);
    void Set(const SensorReading &reading);
    ReadStep Next();

    const SdrRepository *repository_ = nullptr;
    std::vector<SensorReading> readings_;
    std::vector<bool> thresholdsRead_;
    std::vector<bool> changed_;
    bool complete_ = false;
    u32 at_ = 0;
    u32 again_ = 0;  // the sensor whose thresholds this round reads again
    bool againDone_ = false;
};

#endif
