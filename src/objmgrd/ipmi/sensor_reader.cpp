// SPDX-License-Identifier: Apache-2.0
// sensor_reader.cpp -- see sensor_reader.h.
#include "objmgrd/ipmi/sensor_reader.h"

#include <algorithm>

namespace
{

// Flags of Get Sensor Reading (IPMI 2.0, section 35.14).
constexpr u8 kUnavailable = 0x20;
constexpr u8 kScanning = 0x40;

// Others would have to be reached through a bridge, which holds the whole bus up when one of them
// is silent.
bool IsTheBmcs(const SdrSensor &sensor)
{
    return sensor.owner == kSdrBmcAddress && sensor.channel == 0;
}

}  // namespace

void SensorReader::Reset(const SdrRepository *repository)
{
    const size_t count = repository->sensors.size();
    repository_ = repository;
    readings_.assign(count, SensorReading());
    thresholdsRead_.assign(count, false);
    changed_.assign(count, true);
    complete_ = false;
    at_ = 0;
    again_ = 0;
    for (size_t i = 0; i < count; ++i) {
        const SdrSensor &sensor = repository->sensors[i];
        readings_[i].thresholdMask = sensor.fixedMask;
        std::copy_n(sensor.fixedValues, size_t{kThresholdCount}, readings_[i].thresholds);
    }
}

void SensorReader::StartRound()
{
    at_ = 0;
    againDone_ = !complete_;
    // The next sensor whose thresholds can be read.
    for (u32 tries = 0; complete_ && tries < Count(); ++tries) {
        again_ = (again_ + 1) % Count();
        const SdrSensor &sensor = repository_->sensors[again_];
        if (sensor.thresholds == SdrThresholds::Readable && IsTheBmcs(sensor))
            return;
    }
}

std::vector<u32> SensorReader::TakeChanged()
{
    std::vector<u32> changed;
    for (u32 i = 0; i < Count(); ++i) {
        if (changed_[i])
            changed.push_back(i);
        changed_[i] = false;
    }
    return changed;
}

ReadStep SensorReader::Next()
{
    ++at_;
    if (at_ < Count())
        return ReadStep::More;
    complete_ = true;
    return ReadStep::Done;
}

void SensorReader::Set(const SensorReading &reading)
{
    if (readings_[at_] == reading)
        return;
    readings_[at_] = reading;
    changed_[at_] = true;
}

bool SensorReader::WantsThresholds(u32 i) const
{
    if (repository_->sensors[i].thresholds != SdrThresholds::Readable)
        return false;
    return !thresholdsRead_[i] || (i == again_ && !againDone_);
}

ReadStep SensorReader::Step(Bmc *bmc)
{
    // What needs no request is passed over in the same step.
    while (at_ < Count() && !IsTheBmcs(repository_->sensors[at_])) {
        if (Next() == ReadStep::Done)
            return ReadStep::Done;
    }
    if (at_ >= Count()) {
        complete_ = true;
        return ReadStep::Done;
    }
    return WantsThresholds(at_) ? ReadThresholds(bmc) : Read(bmc);
}

ReadStep SensorReader::ReadThresholds(Bmc *bmc)
{
    const SdrSensor &sensor = repository_->sensors[at_];
    BmcRequest request = {kNetFnSensor, kGetSensorThresholds, 1, {sensor.number}};
    request.lun = sensor.lun;
    const BmcAnswer answer = bmc->Ask(request);
    if (!answer.came)
        return ReadStep::Lost;
    thresholdsRead_[at_] = true;
    againDone_ = againDone_ || at_ == again_;
    SensorReading reading = readings_[at_];
    reading.thresholdMask = answer.Done(7) ? answer.data[0] & 0x3f : 0;
    std::fill(std::begin(reading.thresholds), std::end(reading.thresholds), u8{0});
    if (reading.thresholdMask != 0)
        std::copy_n(answer.data + 1, size_t{kThresholdCount}, reading.thresholds);
    Set(reading);
    return ReadStep::More;
}

ReadStep SensorReader::Read(Bmc *bmc)
{
    const SdrSensor &sensor = repository_->sensors[at_];
    BmcRequest request = {kNetFnSensor, kGetSensorReading, 1, {sensor.number}};
    request.lun = sensor.lun;
    const BmcAnswer answer = bmc->Ask(request);
    if (!answer.came)
        return ReadStep::Lost;
    SensorReading reading = readings_[at_];
    reading.denied = answer.Denied();
    reading.valid =
        answer.Done(2) && (answer.data[1] & kUnavailable) == 0 && (answer.data[1] & kScanning) != 0;
    reading.raw = reading.valid ? answer.data[0] : 0;
    reading.hasStates = reading.valid && answer.size >= 3;
    reading.states = 0;
    if (reading.hasStates) {
        const u8 high = answer.size >= 4 ? answer.data[3] & 0x7f : 0;
        reading.states = static_cast<u16>(answer.data[2] | (high << 8));
    }
    // The upper two bits of a threshold sensor's state are reserved and often set.
    if (sensor.eventType == kSdrEventThreshold)
        reading.states &= 0x3f;
    Set(reading);
    return Next();
}
