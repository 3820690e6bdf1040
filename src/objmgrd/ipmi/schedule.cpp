// SPDX-License-Identifier: Apache-2.0
// schedule.cpp -- see schedule.h.
#include "objmgrd/ipmi/schedule.h"

#include "objmgrd/ipmi/sensor_place.h"

#include <algorithm>
#include <stdio.h>
#include <syslog.h>
#include <unistd.h>

namespace
{

constexpr u64 kNever = ~u64{0};
// Changed readings are handed over together.
constexpr u32 kTogetherMs = 100;
// While the sensors are read for the first time, how far that is is said so often.
constexpr u32 kProgressMs = 5000;
// On a slow BMC the power state is asked for with one request in eight, and after this at the
// latest.
constexpr u32 kPowerShare = 8;
constexpr u32 kPowerMostMs = 2000;
// What the BMC could not tell, though it answered, is asked again after this.
constexpr u32 kTryAgainMs = 5000;
constexpr u32 kIdleMostMs = 1000;
// Other readers of the sensor records, such as ipmi-sensors, take some 10 to 100 ms.
constexpr u32 kSdrAgainMs = 50;
constexpr u32 kSdrCollisionsMax = 20;
constexpr u32 kSkippedLinesMax = 16;

// Of Get Chassis Status (IPMI 2.0, section 28.2).
constexpr u8 kPowerIsOn = 0x01;

SensorPeriods PeriodsOf(const IpmiSettings &settings)
{
    return {.temperaturesMs = settings.temperaturesMs,
            .voltagesMs = settings.voltagesMs,
            .currentsMs = settings.currentsMs,
            .fansMs = settings.fansMs,
            .statesMs = settings.statesMs,
            .othersMs = settings.statesMs,
            .thresholdsMs = settings.thresholdsMs};
}

}  // namespace

Schedule::Schedule(const IpmiSettings *settings, PollSession *session, Publication *publication,
                   BackgroundClock clock)
    : settings_(*settings), session_(session), publication_(publication), clock_(clock),
      lostMs_(IpmiLostMs(*settings)), file_(settings->cacheDirectory, IpmiBmcAddress(*settings)),
      identity_(publication)
{
    Forget(0);
}

void Schedule::Forget(u64 now)
{
    // After a pause they may be others, and as many.
    if (!SdrStampTells(sdr_.Stamp()))
        sdr_.Forget();
    if (!log_.StampTells())
        log_.Forget();
    powerMs_ = now;
    nextPowerMs_ = now;
    sdrKnown_ = false;
    sdrSettled_ = false;
    logMs_ = now;
    identity_.Start();
    for (u32 task = 0; task < kTaskCount; ++task) {
        dueMs_[task] = now;
        running_[task] = false;
    }
}

BmcAnswer Schedule::AskPower()
{
    const u64 before = clock_();
    const BmcAnswer answer = session_->Ask({kNetFnChassis, kGetChassisStatus, 0, {}});
    const u64 now = clock_();
    const u64 share = std::min<u64>((now - before) * (kPowerShare - 1), kPowerMostMs);
    nextPowerMs_ = now + std::max<u64>(settings_.powerMs, share);
    if (!answer.came)
        return answer;
    BmcPower power = publication_->Power();
    if (answer.Done(1)) {
        power = (answer.data[0] & kPowerIsOn) != 0 ? BmcPower::On : BmcPower::Off;
        powerMs_ = now;
        powerFaultSaid_ = false;
        session_->Works();
    } else if (answer.Denied()) {
        power = BmcPower::Denied;
        powerMs_ = now;
    } else if (now - powerMs_ > lostMs_) {
        power = BmcPower::Unknown;
    }
    if (answer.code != kBmcDone && !answer.Denied() && !BmcIsBusy(answer.code) &&
        !powerFaultSaid_) {
        publication_->Say(LOG_WARNING,
                          "the power state is not known: " + BmcCodeWords(answer.code));
        powerFaultSaid_ = true;
    }
    publication_->SetPower(power);
    return answer;
}

bool Schedule::IsReady(Task task) const
{
    switch (task) {
    case kSensorTask:
        return sdrKnown_;
    case kLogTask:
        // Its records name the sensors, which come first; unless it is waited for.
        return sdrSettled_ && (logWanted_ || IsSettled());
    case kIdentityTask:
        return sdrSettled_ && IsSettled();
    default:
        return true;
    }
}

u32 Schedule::Step(u64 now)
{
    if (now >= nextPowerMs_) {
        AskPower();
        return 0;
    }
    if (IsGiveDue(now)) {
        GiveSensors(now);
        return 0;
    }
    u64 next = nextPowerMs_;
    if (WantsGiving())
        next = std::min(next, sensorsGivenMs_ + kTogetherMs);
    for (u32 i = 0; i < kTaskCount; ++i) {
        const Task task = static_cast<Task>((nextTask_ + i) % kTaskCount);
        if (!IsReady(task))
            continue;
        const u64 due = DueOf(task);
        if (now >= due) {
            nextTask_ = (task + 1) % kTaskCount;
            StepTask(task, now);
            return 0;
        }
        next = std::min(next, due);
    }
    return static_cast<u32>(std::clamp<u64>(next - std::min(next, now), 1, kIdleMostMs));
}

u64 Schedule::DueOf(Task task) const
{
    return task == kSensorTask ? sensors_.DueMs() : dueMs_[task];
}

void Schedule::StepTask(Task task, u64 now)
{
    const bool begins = !running_[task];
    running_[task] = true;
    switch (task) {
    case kSdrTask:
        return StepSdr(begins, now);
    case kSensorTask:
        return StepSensors(now);
    case kLogTask:
        return StepLog(begins, now);
    case kIdentityTask:
    case kTaskCount:
        return StepIdentity(now);
    }
}

void Schedule::LookEverywhere(u64 now)
{
    sensors_.HurryAll(now);
    if (!running_[kLogTask])
        dueMs_[kLogTask] = now;
}

// ---- sensor records ----

void Schedule::StepSdr(bool begins, u64 now)
{
    if (!fileRead_)
        RecallSdr();
    if (begins)
        sdr_.Start();
    const ReadStep step = sdr_.Step(session_);
    if (step == ReadStep::Done || step == ReadStep::Failed)
        EndSdr(step, now);
}

// Readers end each other's reservations. All begin again, each after a time of its own, so that
// one of them gets through and then the next.
bool Schedule::SdrCollided(ReadStep step, u64 now)
{
    const bool collided = step == ReadStep::Failed && sdr_.Code() == kBmcReservationLost;
    sdrCollisions_ = collided ? sdrCollisions_ + 1 : 0;
    if (sdrCollisions_ == 0 || sdrCollisions_ > kSdrCollisionsMax)
        return false;
    const u64 mixed = (now * 31 + static_cast<u64>(getpid())) * 0x9e3779b97f4a7c15;
    dueMs_[kSdrTask] = now + kSdrAgainMs + (mixed >> 32) % (sdrCollisions_ * kSdrAgainMs);
    return true;
}

void Schedule::SdrFailed(u64 now)
{
    dueMs_[kSdrTask] = now + std::min(settings_.sdrMs, kTryAgainMs);
    if (sdrKnown_ || !sdrSettled_) {
        publication_->Say(LOG_WARNING,
                          "the sensor records cannot be read: " + BmcCodeWords(sdr_.Code()));
        publication_->GiveNoSensors(BmcStatusOf(sdr_.Code()));
    }
    sdrKnown_ = false;
    sdrSettled_ = true;
    sdr_.Forget();
}

void Schedule::RecallSdr()
{
    fileRead_ = true;
    if (file_.Read(&recalled_))
        sdr_.Recall(recalled_.stamp, std::move(recalled_.records));
}

// The records, and the thresholds once all are known. What was left out may be readable next time.
void Schedule::KeepSdr()
{
    if (!SdrStampTells(sdr_.Stamp()) || !sdr_.Skipped().empty() || !sensors_.Complete() ||
        !sensors_.ThresholdsComplete())
        return;
    SdrStored stored = {.stamp = sdr_.Stamp(), .records = sdr_.Records(), .thresholds = {}};
    for (u32 i = 0; i < sensors_.Count(); ++i) {
        if (repository_.sensors[i].thresholds != SdrThresholds::Readable)
            continue;
        SdrStoredThresholds row = {
            .sensor = static_cast<u16>(i), .mask = sensors_.Reading(i).thresholdMask, .values = {}};
        std::copy_n(sensors_.Reading(i).thresholds, size_t{kThresholdCount}, row.values);
        stored.thresholds.push_back(row);
    }
    const std::string fault = file_.Write(stored);
    if (!fault.empty() && fault != keepFault_)
        publication_->Say(LOG_WARNING, "the sensor records cannot be stored: " + fault);
    keepFault_ = fault;
}

void Schedule::SayWhatWasSkipped()
{
    u32 lines = 0;
    for (const SdrSkipped &skipped : sdr_.Skipped()) {
        if (lines++ == kSkippedLinesMax)
            return;
        char text[80];
        snprintf(text, sizeof text, "sensor record 0x%04x is left out: from byte %u on, ",
                 unsigned{skipped.id}, unsigned{skipped.offset});
        publication_->Say(LOG_WARNING,
                          text + (skipped.code != 0 ? BmcCodeWords(skipped.code)
                                                    : std::string("there is no more")));
    }
    if (sdr_.LedBack())
        publication_->Say(LOG_WARNING, "the sensor records lead back to one that was read before: "
                                       "sensors may be missing");
}

void Schedule::EndSdr(ReadStep step, u64 now)
{
    running_[kSdrTask] = false;
    if (SdrCollided(step, now))
        return;
    if (step == ReadStep::Failed)
        return SdrFailed(now);
    dueMs_[kSdrTask] = now + settings_.sdrMs;
    const bool was = sdrKnown_;
    sdrKnown_ = true;
    sdrSettled_ = true;
    if (!sdr_.Changed() && was)
        return KeepSdr();
    const bool stored = sdr_.Recalled();
    if (sdr_.Changed()) {
        repository_ = sdr_.Repository();
        publication_->Say(LOG_NOTICE,
                          (stored ? "sensor records as stored: " : "sensor records read: ") +
                              std::to_string(repository_.sensors.size()) + " sensors");
        SayWhatWasSkipped();
        const std::string without = SensorsWithoutPlace(repository_);
        if (!without.empty())
            publication_->Say(LOG_NOTICE, "not shown, since no target fits: " + without);
        // Those of before stand for something else now.
        if (was)
            publication_->GiveNoSensors(kCimFailed);
        publication_->ForgetLog();  // its records name the sensors
    }
    sensors_.Reset(&repository_, PeriodsOf(settings_), now);
    for (const SdrStoredThresholds &row : recalled_.thresholds) {
        if (stored && row.sensor < sensors_.Count())
            sensors_.RecallThresholds(row.sensor, row.mask, row.values);
    }
    recalled_ = SdrStored();
    sensorsGiven_ = false;
    progressMs_ = now + kProgressMs;
    dueMs_[kLogTask] = now;
    if (identity_.NeedsRepository() || was) {
        identity_.StartSupplies();
        dueMs_[kIdentityTask] = now;
    }
}

// ---- sensors ----

// Before all of them are there, clients get none: a list that ends early looks like a small
// machine.
void Schedule::StepSensors(u64 now)
{
    if (sensors_.Step(session_, now) == ReadStep::Lost)
        return;
    if (!sensors_.Complete())
        SayHowFar(now);
}

// What changed is handed over together with what changes shortly after it.
bool Schedule::WantsGiving() const
{
    return sdrKnown_ && sensors_.Complete() && (sensors_.HasChanged() || !sensorsGiven_);
}

bool Schedule::IsGiveDue(u64 now) const
{
    return WantsGiving() && (!sensorsGiven_ || now >= sensorsGivenMs_ + kTogetherMs);
}

void Schedule::GiveSensors(u64 now)
{
    sensorsGivenMs_ = now;
    const bool first = !sensorsGiven_;
    sensorsGiven_ = true;
    publication_->GiveSensors(&sensors_, repository_);
    if (first)
        KeepSdr();
}

void Schedule::SayHowFar(u64 now)
{
    if (now < progressMs_)
        return;
    progressMs_ = now + kProgressMs;
    publication_->Say(LOG_NOTICE,
                      "sensors are still being read: " + std::to_string(sensors_.ReadOnce()) +
                          " of " + std::to_string(sensors_.Count()) + " so far");
}

// ---- the log ----

void Schedule::RereadLog(u64 now)
{
    log_.Forget();
    logWanted_ = true;
    running_[kLogTask] = false;
    dueMs_[kLogTask] = now;
}

void Schedule::StepLog(bool begins, u64 now)
{
    if (begins) {
        log_.Start();
        dueMs_[kLogTask] = now;
    }
    const ReadStep step = log_.Step(session_);
    if (step == ReadStep::Done || step == ReadStep::Failed)
        EndLog(step, now);
}

void Schedule::EndLog(ReadStep step, u64 now)
{
    running_[kLogTask] = false;
    logWanted_ = false;
    if (step == ReadStep::Done) {
        dueMs_[kLogTask] = std::max(now, dueMs_[kLogTask] + settings_.logMs);
        logMs_ = now;
        ++logReadings_;
        if (log_.LedBack() && !ledBackSaid_)
            publication_->Say(LOG_WARNING, "the log leads back to a record that was read before: "
                                           "records may be missing");
        ledBackSaid_ = log_.LedBack();
        // What is logged is a state that changed, most often.
        if (log_.FirstNew() < log_.Records().size())
            sensors_.HurryStates(now);
        publication_->GiveLog(log_, repository_);
        return;
    }
    // What cannot be read took more requests than a look that finds nothing new.
    const bool forLong = now - logMs_ > lostMs_;
    dueMs_[kLogTask] =
        now + (forLong && !BmcIsBusy(log_.Code()) ? std::max(settings_.logMs, kTryAgainMs)
                                                  : settings_.logMs);
    // A log that is being erased, or a BMC that is busy, is a matter of moments.
    if (log_.Code() == kBmcDenied || forLong)
        publication_->GiveNoLog(BmcStatusOf(log_.Code()));
}

// ---- identity ----

void Schedule::StepIdentity(u64 now)
{
    const ReadStep step = identity_.Step(session_, repository_);
    if (step == ReadStep::Failed)
        dueMs_[kIdentityTask] = now + kTryAgainMs;
    else if (step == ReadStep::Done)
        dueMs_[kIdentityTask] = kNever;
}
