// SPDX-License-Identifier: Apache-2.0
// sensor_reader.cpp -- see sensor_reader.h.
#include "objmgrd/ipmi/sensor_reader.h"

#include "objmgrd/ipmi/sensor_place.h"

#include <algorithm>

namespace
{

constexpr u64 kNever = ~u64{0};

// Flags of Get Sensor Reading (IPMI 2.0, section 35.14).
constexpr u8 kUnavailable = 0x20;
constexpr u8 kScanning = 0x40;

// Others would have to be reached through a bridge, which holds the whole bus up when one of them
// is silent.
bool IsTheBmcs(const SdrSensor &sensor)
{
    return sensor.owner == kSdrBmcAddress && sensor.channel == 0;
}

u32 PeriodOf(const SdrSensor &sensor, const SensorPeriods &periods)
{
    if (SensorFormat(sensor) != kFormatThreshold)
        return periods.statesMs;
    switch (SensorPlaceOf(sensor).type) {
    case kTypeTemperature:
        return periods.temperaturesMs;
    case kTypeVoltage:
        return periods.voltagesMs;
    case kTypeCurrent:
        return periods.currentsMs;
    case kTypeFan:
        return periods.fansMs;
    default:
        return periods.othersMs;
    }
}

}  // namespace

void SensorReader::Reset(const SdrRepository *repository, const SensorPeriods &periods, u64 nowMs)
{
    const size_t count = repository->sensors.size();
    repository_ = repository;
    periods_ = periods;
    startMs_ = nowMs;
    readings_.assign(count, SensorReading());
    due_.assign(count, Due());
    changed_.assign(count, true);
    anyChanged_ = true;
    readOnce_ = 0;
    for (size_t i = 0; i < count; ++i) {
        const SdrSensor &sensor = repository->sensors[i];
        readings_[i].thresholdMask = sensor.fixedMask;
        std::copy_n(sensor.fixedValues, size_t{kThresholdCount}, readings_[i].thresholds);
        due_[i].periodMs = PeriodOf(sensor, periods);
        due_[i].readingMs = nowMs;
        due_[i].thresholdsMs = nowMs;
        if (!IsTheBmcs(sensor)) {
            due_[i].read = true;
            ++readOnce_;
        }
    }
}

bool SensorReader::AsksThresholds(u32 i) const
{
    const SdrSensor &sensor = repository_->sensors[i];
    return sensor.thresholds == SdrThresholds::Readable && IsTheBmcs(sensor);
}

void SensorReader::RecallThresholds(u32 i, u8 mask, const u8 (&values)[kThresholdCount])
{
    if (!AsksThresholds(i))
        return;
    readings_[i].thresholdMask = mask;
    std::copy_n(values, size_t{kThresholdCount}, readings_[i].thresholds);
    due_[i].thresholdsRecalled = true;
}

bool SensorReader::ThresholdsComplete() const
{
    for (u32 i = 0; i < Count(); ++i) {
        if (AsksThresholds(i) && !due_[i].thresholdsRead)
            return false;
    }
    return true;
}

// Thresholds that are known from before wait until everything was read once.
u64 SensorReader::DueOf(u32 i) const
{
    if (!IsTheBmcs(repository_->sensors[i]))
        return kNever;
    const u64 reading = std::min(due_[i].readingMs, due_[i].hurriedMs);
    const bool known = due_[i].thresholdsRead || due_[i].thresholdsRecalled;
    if (!AsksThresholds(i) || (known && !Complete()))
        return reading;
    return known ? std::min(reading, due_[i].thresholdsMs) : due_[i].thresholdsMs;
}

u64 SensorReader::DueMs() const
{
    u64 due = kNever;
    for (u32 i = 0; i < Count(); ++i) {
        // Before everything was read once, nothing is read for the second time.
        if (Complete() || !due_[i].read)
            due = std::min(due, DueOf(i));
    }
    return due;
}

ReadStep SensorReader::Step(Bmc *bmc, u64 nowMs)
{
    const u64 due = DueMs();
    for (u32 i = 0; i < Count(); ++i) {
        if ((!Complete() && due_[i].read) || DueOf(i) != due)
            continue;
        const bool known = due_[i].thresholdsRead || due_[i].thresholdsRecalled;
        const bool thresholds =
            AsksThresholds(i) && (!known || (Complete() && due_[i].thresholdsMs == due));
        return thresholds ? ReadThresholds(bmc, i, nowMs) : Read(bmc, i, nowMs);
    }
    return ReadStep::More;
}

void SensorReader::HurryAll(u64 nowMs)
{
    for (Due &due : due_)
        due.hurriedMs = std::min(due.hurriedMs, nowMs);
}

void SensorReader::HurryStates(u64 nowMs)
{
    for (u32 i = 0; i < Count(); ++i) {
        if (SensorFormat(repository_->sensors[i]) != kFormatThreshold)
            due_[i].hurriedMs = std::min(due_[i].hurriedMs, nowMs);
    }
}

std::vector<u32> SensorReader::TakeChanged()
{
    anyChanged_ = false;
    std::vector<u32> changed;
    for (u32 i = 0; i < Count(); ++i) {
        if (changed_[i])
            changed.push_back(i);
        changed_[i] = false;
    }
    return changed;
}

void SensorReader::Set(u32 i, const SensorReading &reading)
{
    if (readings_[i] == reading)
        return;
    readings_[i] = reading;
    changed_[i] = true;
    anyChanged_ = true;
}

ReadStep SensorReader::ReadThresholds(Bmc *bmc, u32 i, u64 nowMs)
{
    const SdrSensor &sensor = repository_->sensors[i];
    BmcRequest request = {kNetFnSensor, kGetSensorThresholds, 1, {sensor.number}};
    request.lun = sensor.lun;
    const BmcAnswer answer = bmc->Ask(request);
    if (!answer.came)
        return ReadStep::Lost;
    // Later in step with the time before; the first time spread over the period.
    Due &due = due_[i];
    due.thresholdsMs = due.thresholdsRead
                           ? std::max(due.thresholdsMs + periods_.thresholdsMs, nowMs)
                           : nowMs + u64{periods_.thresholdsMs} * (i + 1) / Count();
    due.thresholdsRead = true;
    SensorReading reading = readings_[i];
    reading.thresholdMask = answer.Done(7) ? answer.data[0] & 0x3f : 0;
    std::fill(std::begin(reading.thresholds), std::end(reading.thresholds), u8{0});
    if (reading.thresholdMask != 0)
        std::copy_n(answer.data + 1, size_t{kThresholdCount}, reading.thresholds);
    Set(i, reading);
    return ReadStep::More;
}

// Spread over the period, so that the BMC is not asked everything at once for ever, and some of
// them at one moment, so that this process wakes for all of these once.
u64 SensorReader::SecondReadingMs(u32 i, u64 nowMs) const
{
    const u64 period = due_[i].periodMs;
    const u64 moments = std::max<u64>(period / kSensorMomentMs, 1);
    const u64 first = startMs_ + period * (i * moments / Count() + 1) / moments;
    return first >= nowMs ? first : first + ((nowMs - first) / period + 1) * period;
}

ReadStep SensorReader::Read(Bmc *bmc, u32 i, u64 nowMs)
{
    const SdrSensor &sensor = repository_->sensors[i];
    BmcRequest request = {kNetFnSensor, kGetSensorReading, 1, {sensor.number}};
    request.lun = sensor.lun;
    const BmcAnswer answer = bmc->Ask(request);
    if (!answer.came)
        return ReadStep::Lost;
    // In step with the time before, so that no delay adds up.
    Due &due = due_[i];
    const bool early = due.readingMs > nowMs;  // somebody was in a hurry: the next comes as before
    due.hurriedMs = kNever;
    if (!early)
        due.readingMs =
            due.read ? std::max(due.readingMs + due.periodMs, nowMs) : SecondReadingMs(i, nowMs);
    readOnce_ += due.read ? 0 : 1;
    due.read = true;
    SensorReading reading = readings_[i];
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
    Set(i, reading);
    return ReadStep::More;
}
